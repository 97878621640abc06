// Regressions of the sketch model, each named after the symptom it guards against.
#include "Qsolver.h"

#include <gtest/gtest.h>

// Deleting the last radius relation before its circle left the circle pointing at the freed
// radius value, and the circle's destructor then read it.
TEST(ModelRegression, CircleDeletedAfterItsLastRadiusRelationDoesNotTouchFreedValue)
{
    CVert* p = new CVert(0.0, 0.0, 0.0);
    CMathcir* c = new CMathcir(XYZ(1.0, 1.0, 0.0), 2.0);
    CRad* r = new CRad(p, c);
    p->AddRel(r);
    c->AddRel(r);

    r->CutRelWithNode();
    delete r;

    EXPECT_EQ(c->m_pRadiusVal, nullptr);
    delete c;
    delete p;
}

// The other order: the circle goes first while a relation still shares its radius value; the
// relation then deletes the value without reaching back into the deleted circle.
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
    EXPECT_EQ(shared->m_pRadiusOwner, nullptr);
    delete r;
    delete p;
}
