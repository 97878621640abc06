// A small sketch re-placed one node at a time after dimension changes, as the drive pass
// places its good nodes: every relation holds and nothing flips.
#include "construct/ConstructSketch.h"

using namespace constructtest;

namespace
{
// A sketch placed one node at a time from fixed geometry, as the drive pass places its good
// nodes: A and B fixed on the base line K; C by its distances to A and B; M square to K at a
// distance from C; D by a distance from M and one from C; E on its own chord of circles.
struct Triangle
{
    Sketch s;
    CVert* a = s.Point(0, 0);
    CVert* b = s.Point(6, 0);
    CMathline* k = s.Line(0, 0, 1, 0);
    CVert* c = s.Point(3, 4);
    CMathline* m = s.Line(5, 0, 0, 1);
    CVert* d = s.Point(6, 5);
    CRel* ca = s.PP(c, a, 5.0);
    CRel* cb = s.PP(c, b, 5.0);
    CRel* cm = s.PL(c, m, 2.0);
    CRel* km = s.Ang(k, m, std::acos(0.0));
    CRel* dm = s.PL(d, m, 1.0);
    CRel* dc = s.PP(d, c, std::sqrt(10.0));
    std::vector<CNode*> order{c, m, d};

    Triangle()
    {
        a->m_nFreeNum = 0;
        b->m_nFreeNum = 0;
        k->m_nFreeNum = 0;
    }

    // One drive: back up, change one value, then place each node from its active relations.
    int Drive(CRel* changed, double value)
    {
        for (CNode* n : {static_cast<CNode*>(a), static_cast<CNode*>(b), static_cast<CNode*>(k),
                         static_cast<CNode*>(c), static_cast<CNode*>(m), static_cast<CNode*>(d)})
        {
            n->BackupNode();
        }
        for (CRel* r : {ca, cb, cm, km, dm, dc})
        {
            r->m_pVal->BackupValue();
            r->SetUnused();
        }
        for (CNode* n : order)
        {
            n->m_nFreeNum = 2;
        }
        changed->m_pVal->m_dValue = value;
        g_sktDriveRelChain.AddTail(changed);
        int ok = 1;
        for (CNode* n : order)
        {
            // The relations toward nodes already placed become active.
            for (POSITION pos = n->m_RelList.GetHeadPosition(); pos != nullptr;)
            {
                CRel* r = n->m_RelList.GetNext(pos);
                if (r->IsUnused() && r->GetAnotherNode(n)->IsKnown())
                {
                    r->SetActive();
                }
            }
            if (n->Regenerate() == 0)
            {
                ok = 0;
                break;
            }
        }
        g_sktDriveRelChain.RemoveAll();
        return ok;
    }

    void ExpectAllRelationsHold()
    {
        for (CRel* r : {ca, cb, cm, dm, dc})
        {
            EXPECT_NEAR(r->GetActualVal(), r->m_pVal->m_dValue, 1e-9);
        }
        VECTOR kd = k->m_Line.GetDirection();
        VECTOR md = m->m_Line.GetDirection();
        EXPECT_NEAR(sktGetVectorToVectorAngle(kd, md), km->m_pVal->m_dValue, 1e-9);
    }
};

} // namespace

TEST(ConstructiveChain, SuccessiveDrivesReplaceEveryNodeWithoutFlips)
{
    Triangle t;
    const double values[] = {5.5, 4.0, 6.5, 3.2, 5.0};

    for (double v : values)
    {
        SCOPED_TRACE(v);
        ASSERT_EQ(t.Drive(t.ca, v), 1);

        t.ExpectAllRelationsHold();
        EXPECT_GT(t.c->m_Pos.y, 0.0);
        EXPECT_GT(SignedDistance(t.m->m_Line, t.c->m_Pos), 0.0); // C stays left of M
        EXPECT_GT(t.m->m_Line.GetDirection().y, 0.0);            // M keeps pointing up
        EXPECT_LT(SignedDistance(t.m->m_Line, t.d->m_Pos), 0.0); // D stays right of M
        EXPECT_GT(t.d->m_Pos.y, t.c->m_Pos.y);                   // and above C
        ExpectAt(t.a->m_Pos, 0, 0, 0.0);
        ExpectAt(t.b->m_Pos, 6, 0, 0.0);
    }
    // Back at the starting values, every node is back where it began.
    ExpectAt(t.c->m_Pos, 3, 4);
    ExpectAt(t.d->m_Pos, 6, 5);
    ExpectLine(t.m->m_Line, 5, 0, 0, 1);
}

TEST(ConstructiveChain, ChangeDownstreamLeavesUpstreamNodesBitForBit)
{
    Triangle t;
    XYZ c = t.c->m_Pos;
    MATHLINE m = t.m->m_Line;

    ASSERT_EQ(t.Drive(t.dc, 3.5), 1);

    EXPECT_EQ(t.c->m_Pos.x, c.x);
    EXPECT_EQ(t.c->m_Pos.y, c.y);
    EXPECT_EQ(t.m->m_Line.GetThroughPoint().x, m.GetThroughPoint().x);
    EXPECT_EQ(t.m->m_Line.GetDirection().y, m.GetDirection().y);
    t.ExpectAllRelationsHold();
}

TEST(ConstructiveChain, ImpossibleDimensionFailsAtTheNodeItBreaks)
{
    Triangle t;
    XYZ c = t.c->m_Pos;

    EXPECT_EQ(t.Drive(t.ca, 11.5), 0); // C cannot be 11.5 from A and 5 from B, 6 apart

    ExpectAt(t.c->m_Pos, c.x, c.y, 0.0);
}
