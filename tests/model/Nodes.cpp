// Nodes: geometric identity, distances, copies, and the relation walks (valid-relation
// collection and activation) that the passes call on a node.
#include "ModelTestSupport.h"

#include <memory>
#include <vector>

using NodeTest = ModelTest;

TEST_F(NodeTest, IsSameAtTheIdentityTolerance)
{
    CVert origin(0, 0, 0);
    CVert near(0.99e-4, 0, 0);
    CVert atTol(1e-4, 0, 0);
    CVert diagonal(0.6e-4, 0.6e-4, 0);
    VECTOR x(1, 0, 0);
    VECTOR minusX(-1, 0, 0);
    CVert onAxis(5, 0, 0);
    CMathline axis(&origin, x);
    CMathline sameAxis(&onAxis, minusX);
    CVert up(0, 1, 0);
    CMathline parallel(&up, x);
    CMathcir c1(XYZ(0, 0, 0), 1);
    CMathcir c2(XYZ(0, 0, 0), 1);
    CNode base;
    struct Row
    {
        const char* name;
        CNode* a;
        CNode* b;
        int expected;
    };
    const Row rows[] = {
        {"points 0.99e-4 apart", &origin, &near, 1},
        {"points exactly 1e-4 apart", &origin, &atTol, 0},
        {"points 0.85e-4 apart diagonally", &origin, &diagonal, 1},
        {"point and line through it", &origin, &axis, 0},
        {"line and point on it", &axis, &origin, 0},
        {"one line given twice, opposite directions", &axis, &sameAxis, 1},
        {"parallel distinct lines", &axis, &parallel, 0},
        {"two equal circles", &c1, &c2, 0},
        {"a circle and itself", &c1, &c1, 1},
        {"a base node and a circle", &base, &c1, 0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.a->IsSame(row.b), row.expected);
    }
}

TEST_F(NodeTest, DistancesOfEachClass)
{
    CVert p(3, 4, 0);
    CVert q(0, 0, 0);
    VECTOR x(1, 0, 0);
    CMathline axis(&q, x);
    CVert two(0, 2, 0);
    CMathline axis2(&two, x);
    CVert slantEnd(1, 1, 0);
    CMathline slant(&q, &slantEnd);
    CMathcir circle(XYZ(1, 1, 0), 2);
    XYZ far(0, 10, 0);

    EXPECT_DOUBLE_EQ(p.GetDistance(&q), 5);
    EXPECT_DOUBLE_EQ(p.GetDistance(&axis), 4);
    EXPECT_DOUBLE_EQ(axis.GetDistance(&p), 4);
    EXPECT_DOUBLE_EQ(axis.GetDistance(&axis2), 2);
    EXPECT_DOUBLE_EQ(axis.GetDistance(&slant), 0);
    EXPECT_DOUBLE_EQ(axis.GetDistanceFromPoint(far), 10);
    EXPECT_EQ(p.GetDistance(&circle), INFINITE3D);
    EXPECT_EQ(circle.GetDistance(&p), INFINITE3D);
}

TEST_F(NodeTest, CopyOfAPointIsDetached)
{
    CVert p(1, 2, 0);
    CVert q(0, 0, 0);
    CPPdis r(&p, &q, 1, 1);
    Link(r);
    p.m_bAux = 1;
    p.m_pRefID = new int(42);
    p.m_nFreeNum = 1;
    p.m_nVarIndex = 4;
    p.BackupNode();

    std::unique_ptr<CNode> copy(p.Copy());

    CVert* c = static_cast<CVert*>(copy.get());
    EXPECT_EQ(c->m_nID, p.m_nID);
    EXPECT_EQ(c->m_bAux, 0);
    EXPECT_EQ(c->m_nFreeNum, 1);
    EXPECT_EQ(c->m_nVarIndex, 4);
    EXPECT_TRUE(c->GetRelList()->IsEmpty());
    ASSERT_NE(c->m_pRefID, nullptr);
    EXPECT_NE(c->m_pRefID, p.m_pRefID);
    EXPECT_EQ(*c->m_pRefID, 42);
    ASSERT_NE(c->m_pBackupPos, nullptr);
    EXPECT_NE(c->m_pBackupPos, p.m_pBackupPos);
    EXPECT_EQ(c->m_Pos.y, 2);
}

TEST_F(NodeTest, RelationListOperations)
{
    CVert a(0, 0, 0);
    CVert b(1, 0, 0);
    CPPdis r1(&a, &b, 1, 1);
    CPPdis r2(&a, &b, 1, 0);
    CFix fix(&a);
    CRel bare;

    a.AddRel(&r1);
    a.AddRel(&r2);
    a.AddRel(&r1);
    EXPECT_EQ(a.IsFixed(), 0);
    a.AddRel(&fix);

    EXPECT_EQ(a.IsFixed(), 1);
    EXPECT_EQ(a.RemoveRel(&bare), nullptr);
    EXPECT_EQ(a.RemoveRel(&r1), &r1);
    EXPECT_EQ(Entries(a.m_RelList), (std::vector<CRel*>{&r2, &r1, &fix}));
    EXPECT_EQ(a.GetUnusedKnownRelNum(), 1);
    r1.SetActive();
    EXPECT_EQ(a.GetUnusedKnownRelNum(), 0);
    CRelList unused;
    EXPECT_EQ(a.GetUnusedRelSel(unused), 2);
    EXPECT_EQ(Entries(unused), (std::vector<CRel*>{&r2, &fix}));
}

// Known relations first, then every later member of an equal-value group as met, then each
// group's first member; the count is the number of equations.
TEST_F(NodeTest, ValidRelChainOrderAndCount)
{
    CVert p(0, 0, 0);
    CVert q[6] = {CVert(1, 0, 0),  CVert(0, 1, 0), CVert(-1, 0, 0),
                  CVert(0, -1, 0), CVert(2, 2, 0), CVert(3, 3, 0)};
    CVal* a = new CVal();
    CVal* b = new CVal();
    CPPdis a1(&p, &q[0], a);
    CPPdis known(&p, &q[5], 1, 1);
    CPPdis b1(&p, &q[1], b);
    CPPdis a2(&p, &q[2], a);
    CPPdis b2(&p, &q[3], b);
    CPPdis a3(&p, &q[4], a);
    CPPdis unusedKnown(&p, &q[5], 3, 1);
    CPPdis lone(&p, &q[4], 1, 0); // a group of one gives no equation and is not listed
    for (CRel* r : {static_cast<CRel*>(&a1), static_cast<CRel*>(&known), static_cast<CRel*>(&b1),
                    static_cast<CRel*>(&a2), static_cast<CRel*>(&b2), static_cast<CRel*>(&a3),
                    static_cast<CRel*>(&unusedKnown), static_cast<CRel*>(&lone)})
    {
        Link(*r);
        r->SetActive();
    }
    unusedKnown.SetUnused();
    CRelList out;

    EXPECT_EQ(p.GetValidRelChain(out), 4);

    EXPECT_EQ(Entries(out), (std::vector<CRel*>{&known, &a2, &b2, &a3, &a1, &b1}));
}

TEST_F(NodeTest, ActiveRelWalksUnusedAndUnknownActiveRelations)
{
    CVert p(0, 0, 0);
    CVert q1(3, 0, 0);
    CVert q2(0, 4, 0);
    CVert q3(5, 5, 0);
    CVert q4(6, 6, 0);
    CPPdis unused(&p, &q1, 3, 1);
    CPPdis used(&p, &q2, 4, 1);
    CPPdis activeKnown(&p, &q3, 1, 1);
    CPPdis activeUnknown(&p, &q4, 1, 0);
    for (CPPdis* r : {&unused, &used, &activeKnown, &activeUnknown})
    {
        Link(*r);
    }
    used.SetUsed();
    activeKnown.SetActive();
    activeUnknown.SetActive();
    q4.m_nFreeNum = 1;
    p.SetKnown();

    EXPECT_EQ(p.ActiveRel(), 1);

    EXPECT_EQ(unused.IsActive(), 1);
    EXPECT_EQ(q1.m_nFreeNum, 1);
    EXPECT_EQ(q2.m_nFreeNum, 2);
    EXPECT_EQ(q3.m_nFreeNum, 2);
    // Re-activated: the relation finds itself as the active sharer of its value on q4.
    EXPECT_EQ(q4.m_nFreeNum, 0);
    EXPECT_EQ(used.IsUsed(), 1);
}

TEST_F(NodeTest, ActiveRelStopsAtTheFirstRefusal)
{
    CVert p(0, 0, 0);
    CVert q1(3, 0, 0);
    CVert q2(0, 4, 0);
    CVert q3(5, 5, 0);
    CPPdis first(&p, &q1, 3, 1);
    CPPdis refused(&p, &q2, 4, 1);
    CPPdis later(&p, &q3, 1, 1);
    for (CPPdis* r : {&first, &refused, &later})
    {
        Link(*r);
    }
    q2.SetKnown();
    p.SetKnown();

    EXPECT_EQ(p.ActiveRel(), 0);

    EXPECT_EQ(first.IsActive(), 1);
    EXPECT_EQ(q1.m_nFreeNum, 1);
    EXPECT_EQ(refused.IsUnused(), 1);
    EXPECT_EQ(later.IsUnused(), 1);
    EXPECT_EQ(q3.m_nFreeNum, 2);
}
