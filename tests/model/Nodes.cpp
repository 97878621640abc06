// Nodes: numbering, geometric identity, distances, backups, copies, and the relation walks
// (valid-relation collection and activation) that the passes call on a node.
#include "ModelTestSupport.h"

#include <memory>
#include <vector>

namespace
{
std::vector<CRel*> Entries(CRelList& list)
{
    std::vector<CRel*> out;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        out.push_back(list.GetNext(pos));
    }
    return out;
}
} // namespace

using NodeTest = ModelTest;

TEST_F(NodeTest, NewNodesAreUnknownAndNumberedInOrder)
{
    sktInitCountNum();
    CNode base;
    CVert point(1, 2, 0);
    CMathline line;
    CMathcir circle(XYZ(0, 0, 0), 3);
    CNode* nodes[] = {&base, &point, &line, &circle};

    for (int i = 0; i < 4; ++i)
    {
        SCOPED_TRACE(i);
        EXPECT_EQ(nodes[i]->m_nID, i);
        EXPECT_EQ(nodes[i]->m_nFreeNum, 2);
        EXPECT_EQ(nodes[i]->IsAuxObject(), 0);
        EXPECT_EQ(nodes[i]->IsRefObject(), 0);
        EXPECT_EQ(nodes[i]->m_nVarIndex, -1);
        EXPECT_EQ(nodes[i]->m_nVarNo, -1);
        EXPECT_TRUE(nodes[i]->GetRelList()->IsEmpty());
    }
    EXPECT_EQ(line.m_bDirFixed, 0);
    EXPECT_EQ(circle.m_pRadiusVal->GetValue(), 3);
    EXPECT_EQ(circle.m_pRadiusVal->IsKnown(), 0);
    EXPECT_TRUE(circle.m_pRadiusVal->GetRelSel()->IsEmpty());
    EXPECT_EQ(point.IsSuperThan(&line), 1);
    EXPECT_EQ(line.IsSuperThan(&point), 0);
    EXPECT_EQ(point.IsSuperThan(&point), 0);
}

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
        {"a base node and itself", &base, &base, 1},
        {"a base node and a circle", &base, &c1, 0},
    };

    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.a->IsSame(row.b), row.expected);
    }
}

TEST_F(NodeTest, AnswersOfEachClass)
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
    CNode base;
    XYZ far(0, 10, 0);

    EXPECT_EQ(p.IsWanted(0x100), 1);
    EXPECT_EQ(p.IsWanted(0x300), 1);
    EXPECT_EQ(p.IsWanted(0x200), 0);
    EXPECT_EQ(axis.IsWanted(0x100), 0);
    EXPECT_EQ(circle.IsWanted(0x100), 0);
    EXPECT_EQ(base.GetType(), SKT_NODE_CIRCLE);
    EXPECT_EQ(circle.GetType(), SKT_NODE_CIRCLE);
    EXPECT_EQ(circle.IsLegal(), 0);
    EXPECT_EQ(base.IsLegal(), 0);
    EXPECT_EQ(circle.Regenerate(), 1);
    EXPECT_EQ(base.Regenerate(), 1);

    EXPECT_DOUBLE_EQ(p.GetDistance(&q), 5);
    EXPECT_DOUBLE_EQ(p.GetDistance(&axis), 4);
    EXPECT_DOUBLE_EQ(axis.GetDistance(&p), 4);
    EXPECT_DOUBLE_EQ(axis.GetDistance(&axis2), 2);
    EXPECT_DOUBLE_EQ(axis.GetDistance(&slant), 0);
    EXPECT_DOUBLE_EQ(p.GetDistanceFromPoint(far), 3 * std::sqrt(5.0));
    EXPECT_DOUBLE_EQ(axis.GetDistanceFromPoint(far), 10);
    EXPECT_EQ(p.GetDistance(&circle), INFINITE3D);
    EXPECT_EQ(axis.GetDistance(&circle), INFINITE3D);
    EXPECT_EQ(circle.GetDistance(&p), INFINITE3D);
    EXPECT_EQ(circle.GetDistanceFromPoint(far), INFINITE3D);
    EXPECT_EQ(base.GetDistance(&p), INFINITE3D);
    EXPECT_EQ(base.GetDistanceFromPoint(far), INFINITE3D);
}

TEST_F(NodeTest, LineDirectionPredicates)
{
    CVert o(0, 0, 0);
    CVert e(2, 0, 0);
    CVert n(0, 3, 0);
    CVert d(1, 1, 0);
    CVert n2(5, 3, 0);
    CMathline hor(&o, &e);
    CMathline ver(&o, &n);
    CMathline diag(&o, &d);
    CMathline hor2(&n2, &n);

    EXPECT_NE(hor.IsHor(), 0);
    EXPECT_EQ(hor.IsVer(), 0);
    EXPECT_NE(ver.IsVer(), 0);
    EXPECT_NE(hor.IsPerp(ver), 0);
    EXPECT_EQ(hor.IsPerp(diag), 0);
    EXPECT_NE(hor.IsParal(hor2), 0);
    EXPECT_EQ(hor.IsParal(diag), 0);
}

TEST_F(NodeTest, TransMovesPointsAndLinesButNotCirclesOrBackups)
{
    CVert p(1, 0, 0);
    CVert o(0, 0, 0);
    VECTOR x(1, 0, 0);
    CMathline axis(&o, x);
    CMathcir circle(XYZ(1, 0, 0), 1);
    TRANSF quarter = TRANSF().RotateAroundZAxis(Pi() / 2).Move(XYZ(0, 0, 0));
    p.BackupNode();
    axis.BackupNode();

    p.Trans(quarter);
    axis.Trans(quarter);
    circle.Trans(quarter);

    EXPECT_NEAR(p.m_Pos.x, 0, 1e-12);
    EXPECT_NEAR(p.m_Pos.y, 1, 1e-12);
    EXPECT_NEAR(axis.m_Line.GetDirection().y, 1, 1e-12);
    EXPECT_EQ(circle.m_Center.x, 1);
    EXPECT_EQ(circle.m_Center.y, 0);
    EXPECT_EQ(p.m_pBackupPos->x, 1);
    EXPECT_EQ(axis.m_pBackupLine->GetDirection().x, 1);
}

TEST_F(NodeTest, BackupAndRestoreEveryClass)
{
    CVert p(1, 2, 0);
    CVert o(0, 0, 0);
    VECTOR x(1, 0, 0);
    CMathline line(&o, x);
    CMathcir circle(XYZ(1, 1, 0), 2);
    EXPECT_EQ(p.m_pBackupPos, nullptr);
    EXPECT_EQ(line.m_pBackupLine, nullptr);
    EXPECT_EQ(circle.m_pBackupCenter, nullptr);
    EXPECT_EQ(circle.m_pBackupRadius, nullptr);

    p.BackupNode();
    line.BackupNode();
    circle.BackupNode();
    XYZ* firstBackup = p.m_pBackupPos;
    p.m_Pos = XYZ(9, 9, 0);
    p.BackupNode();
    p.m_Pos = XYZ(5, 5, 0);
    line.m_Line = MATHLINE(XYZ(3, 3, 0), VECTOR(0, 1, 0));
    circle.m_Center = XYZ(7, 7, 0);
    circle.m_dRadius = 4;
    p.RestoreNode();
    line.RestoreNode();
    circle.RestoreNode();

    EXPECT_EQ(p.m_pBackupPos, firstBackup);
    EXPECT_EQ(p.m_Pos.x, 9);
    EXPECT_EQ(line.m_Line.GetThroughPoint().x, 0);
    EXPECT_EQ(line.m_Line.GetDirection().x, 1);
    EXPECT_EQ(circle.m_Center.x, 1);
    EXPECT_EQ(circle.m_dRadius, 2);
}

TEST_F(NodeTest, CopyConstructedPointIsAFreshUnknownPoint)
{
    CVert a(1, 2, 0);
    CVert b(3, 4, 0);
    CPPdis r(&a, &b, 5, 1);
    Link(r);
    a.SetKnown();
    a.BackupNode();

    CVert copy(a);

    EXPECT_NE(copy.m_nID, a.m_nID);
    EXPECT_EQ(copy.m_nFreeNum, 2);
    EXPECT_EQ(copy.m_Pos.x, 1);
    EXPECT_EQ(copy.m_Pos.y, 2);
    EXPECT_TRUE(copy.GetRelList()->IsEmpty());
    EXPECT_EQ(copy.m_pBackupPos, nullptr);
}

TEST_F(NodeTest, CopyOfAPointIsDetached)
{
    CVert p(1, 2, 0);
    CVert q1(0, 0, 0);
    CVert q2(5, 0, 0);
    CVert q3(0, 5, 0);
    CPPdis r1(&p, &q1, 1, 1);
    CPPdis r2(&p, &q2, 1, 1);
    CPPdis r3(&p, &q3, 1, 1);
    Link(r1);
    Link(r2);
    Link(r3);
    p.m_bAux = 1;
    p.m_pRefID = new int(42);
    p.m_nFreeNum = 1;
    p.m_nVarIndex = 4;
    p.m_nVarNo = 5;
    p.BackupNode();
    int counter = g_nNodeNum;

    std::unique_ptr<CNode> copy(p.Copy());

    ASSERT_NE(copy, nullptr);
    CVert* c = static_cast<CVert*>(copy.get());
    EXPECT_EQ(c->GetType(), SKT_NODE_POINT);
    EXPECT_EQ(g_nNodeNum, counter + 1);
    EXPECT_EQ(c->m_nID, p.m_nID);
    EXPECT_EQ(c->m_bAux, 0);
    EXPECT_EQ(c->m_nFreeNum, 1);
    EXPECT_EQ(c->m_nVarIndex, 4);
    EXPECT_EQ(c->m_nVarNo, 5);
    EXPECT_TRUE(c->GetRelList()->IsEmpty());
    EXPECT_EQ(p.GetRelList()->GetCount(), 3);
    ASSERT_NE(c->m_pRefID, nullptr);
    EXPECT_NE(c->m_pRefID, p.m_pRefID);
    EXPECT_EQ(*c->m_pRefID, 42);
    ASSERT_NE(c->m_pBackupPos, nullptr);
    EXPECT_NE(c->m_pBackupPos, p.m_pBackupPos);
    EXPECT_EQ(c->m_pBackupPos->y, 2);
    EXPECT_EQ(c->m_Pos.y, 2);
}

TEST_F(NodeTest, CopyOfALineAndOfACircle)
{
    CVert o(0, 0, 0);
    VECTOR y(0, 1, 0);
    CMathline line(&o, y);
    line.m_bDirFixed = 1;
    line.BackupNode();
    CVert centre(1, 2, 0);
    std::unique_ptr<CRad> rad;
    CMathcir circle(XYZ(1, 2, 0), 3);
    rad.reset(new CRad(&centre, &circle));
    Link(*rad);
    circle.m_pRadiusVal->BackupValue();

    std::unique_ptr<CNode> lineCopy(line.Copy());
    std::unique_ptr<CNode> circleCopy(circle.Copy());
    std::unique_ptr<CNode> baseCopy(CNode().Copy());

    CMathline* lc = static_cast<CMathline*>(lineCopy.get());
    EXPECT_EQ(lc->GetType(), SKT_NODE_LINE);
    EXPECT_EQ(lc->m_bDirFixed, 1);
    EXPECT_EQ(lc->m_Line.GetDirection().y, 1);
    ASSERT_NE(lc->m_pBackupLine, nullptr);
    EXPECT_NE(lc->m_pBackupLine, line.m_pBackupLine);
    CMathcir* cc = static_cast<CMathcir*>(circleCopy.get());
    EXPECT_EQ(cc->m_Center.y, 2);
    EXPECT_EQ(cc->m_dRadius, 3);
    ASSERT_NE(cc->m_pRadiusVal, nullptr);
    EXPECT_NE(cc->m_pRadiusVal, circle.m_pRadiusVal);
    EXPECT_EQ(cc->m_pRadiusVal->m_nID, circle.m_pRadiusVal->m_nID);
    EXPECT_EQ(cc->m_pRadiusVal->IsKnown(), 1);
    EXPECT_TRUE(cc->m_pRadiusVal->GetRelSel()->IsEmpty());
    EXPECT_EQ(cc->m_pBackupCenter, nullptr);
    EXPECT_EQ(baseCopy->GetType(), SKT_NODE_CIRCLE);
}

TEST_F(NodeTest, RelationListOperations)
{
    CVert a(0, 0, 0);
    CVert b(1, 0, 0);
    CPPdis r1(&a, &b, 1, 1);
    CPPdis r2(&a, &b, 1, 0);
    CFix fix(&a);
    CRel bare;

    EXPECT_EQ(a.AddRel(&r1), &r1);
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
    a.RemoveAllRel();
    EXPECT_TRUE(a.GetRelList()->IsEmpty());
}

TEST_F(NodeTest, ValidRelChainListsKnownThenGroupMembersThenGroupHeads)
{
    CVert p(0, 0, 0);
    CVert q1(1, 0, 0);
    CVert q2(0, 1, 0);
    CVert q3(-1, 0, 0);
    CVert q4(0, -1, 0);
    CVert q5(2, 2, 0);
    CVal* shared = new CVal();
    CPPdis r1(&p, &q1, 1, 1);
    CPPdis r2(&p, &q2, shared);
    CPPdis r3(&p, &q3, shared);
    CPPdis r4(&p, &q4, 1, 0);
    CPPdis unusedKnown(&p, &q5, 3, 1);
    CRel* rels[] = {&r1, &r2, &r3, &r4, &unusedKnown};
    for (CRel* r : rels)
    {
        Link(*r);
        r->SetActive();
    }
    unusedKnown.SetUnused();
    CRelList out;

    int count = p.GetValidRelChain(out);

    EXPECT_EQ(count, 2);
    EXPECT_EQ(Entries(out), (std::vector<CRel*>{&r1, &r3, &r2}));
}

TEST_F(NodeTest, ValidRelChainCountsEveryGroupMemberButTheFirst)
{
    CVert p(0, 0, 0);
    CVert q[5] = {CVert(1, 0, 0), CVert(0, 1, 0), CVert(-1, 0, 0), CVert(0, -1, 0), CVert(2, 2, 0)};
    CVal* a = new CVal();
    CVal* b = new CVal();
    CPPdis a1(&p, &q[0], a);
    CPPdis b1(&p, &q[1], b);
    CPPdis a2(&p, &q[2], a);
    CPPdis b2(&p, &q[3], b);
    CPPdis a3(&p, &q[4], a);
    CRel* rels[] = {&a1, &b1, &a2, &b2, &a3};
    for (CRel* r : rels)
    {
        Link(*r);
        r->SetActive();
    }
    CRelList out;

    int count = p.GetValidRelChain(out);

    EXPECT_EQ(count, 3);
    EXPECT_EQ(Entries(out), (std::vector<CRel*>{&a2, &b2, &a3, &a1, &b1}));
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
    CRel* rels[] = {&unused, &used, &activeKnown, &activeUnknown};
    for (CRel* r : rels)
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
    Link(first);
    Link(refused);
    Link(later);
    q2.SetKnown();
    p.SetKnown();

    EXPECT_EQ(p.ActiveRel(), 0);

    EXPECT_EQ(first.IsActive(), 1);
    EXPECT_EQ(q1.m_nFreeNum, 1);
    EXPECT_EQ(refused.IsUnused(), 1);
    EXPECT_EQ(later.IsUnused(), 1);
    EXPECT_EQ(q3.m_nFreeNum, 2);
    CVert lonely(0, 0, 0);
    EXPECT_EQ(lonely.ActiveRel(), 1);
}
