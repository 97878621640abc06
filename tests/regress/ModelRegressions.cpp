// Regressions of the sketch model, each named after the symptom it guards against.
#include "Qsolver.h"

#include <gtest/gtest.h>

// The circle goes first while a relation still shares its radius value; the relation then
// deletes the value without reaching back into the deleted circle.
TEST(ModelRegression, RadiusRelationDeletedAfterItsCircleFreesTheValueOnce)
{
    CVert* p = new CVert(0.0, 0.0, 0.0);
    CMathcir* c = new CMathcir(XYZ(1.0, 1.0, 0.0), 2.0);
    CRad* r = new CRad(p, c);
    p->AddRel(r);
    c->AddRel(r);
    CVal* shared = c->m_pRadiusVal;

    r->CutRelWithNode();
    delete c;

    EXPECT_EQ(r->m_pVal, shared);
    delete r;
    delete p;
}

// A host written against the node's contract sets backups and reference identifiers with its own
// new, and the node frees them: they once went back to the library's slot store as its own.
TEST(ModelRegression, BackupsAHostSetsWithNewAreFreedByTheirOwner)
{
    CVert* p = new CVert(1.0, 2.0, 0.0);
    p->m_pBackupPos = new XYZ(1.0, 2.0, 0.0);
    p->m_pRefID = new int(7);
    CMathline* l = new CMathline();
    l->m_pBackupLine = new MATHLINE(XYZ(0.0, 0.0, 0.0), VECTOR(1.0, 0.0, 0.0));
    CMathcir* c = new CMathcir(XYZ(0.0, 0.0, 0.0), 1.0);
    c->m_pBackupCenter = new XYZ(0.0, 0.0, 0.0);
    c->m_pBackupRadius = new double(1.0);
    CVal* v = new CVal();
    v->m_pBackupValue = new double(3.0);

    p->BackupNode();
    CNode* copy = p->Copy();

    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(static_cast<CVert*>(copy)->m_pBackupPos->y, 2.0);
    EXPECT_EQ(*copy->m_pRefID, 7);
    for (CObject* object :
         {static_cast<CObject*>(copy), static_cast<CObject*>(p), static_cast<CObject*>(l),
          static_cast<CObject*>(c), static_cast<CObject*>(v)})
    {
        delete object;
    }
}
