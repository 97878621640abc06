// Cluster systems: which lines known angles make parallel, the rigid links that hold a moving
// cluster's shape, and the rigid motion that places a cluster from the solution.
#include "common/RandomRows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

namespace
{
const double kPi = 2.0 * std::acos(0.0);

// Owns nodes and relations and detaches the relations before deleting them.
struct Parts : randomrows::OwnedSketch
{
    CMathline* Line(double px, double py, double dx, double dy)
    {
        CVert p(px, py, 0.0);
        VECTOR d(dx, dy, 0.0);
        nodes.push_back(std::make_unique<CMathline>(&p, d));
        nodes.back()->BackupNode();
        return static_cast<CMathline*>(nodes.back().get());
    }
    CVert* Point(double x, double y)
    {
        nodes.push_back(std::make_unique<CVert>(x, y, 0.0));
        nodes.back()->BackupNode();
        return static_cast<CVert*>(nodes.back().get());
    }
    template <class R> R* Attach(R* rel)
    {
        OwnedSketch::Attach(rel, rel->m_pNode1, rel->m_pNode2);
        return rel;
    }
    CLLang* Angle(CMathline* a, CMathline* b, double value, unsigned char known = 1)
    {
        return Attach(new CLLang(a, b, value, known));
    }
};

template <class T> int CountOf(CEquationGrp& g)
{
    int n = 0;
    for (CEquation* e : g.m_EquArray)
    {
        if (dynamic_cast<T*>(e) != nullptr)
        {
            ++n;
        }
    }
    return n;
}
} // namespace

TEST(ParallelByAngle, FollowsChainsOfRightAnglesWithinATenThousandthOfARadian)
{
    const double direct = std::nan("");
    struct Row
    {
        const char* name;
        double first;  // angle a -> m, or a -> b when there is no second
        double second; // angle m -> b
        int expected;
    };
    const Row rows[] = {
        {"two right angles", kPi / 2, kPi / 2, 1},
        {"right then straight", kPi / 2, kPi, 0},
        {"straight then zero", kPi, 0.0, 1},
        {"three quarter turn twice", 3 * kPi / 2, kPi / 2, 1},
        {"right then nearly straight", kPi / 2, kPi - 0.9e-4, 0},
        {"oblique", kPi / 3, kPi / 2, 0},
        {"pi less 0.9e-4", kPi - 0.9e-4, direct, 1},
        {"pi less 2e-4", kPi - 2e-4, direct, 0},
        {"0.9e-4", 0.9e-4, direct, 1},
        {"2e-4", 2e-4, direct, 0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Parts p;
        CMathline* a = p.Line(0, 0, 1, 0);
        CMathline* b = p.Line(0, 1, 1, 0);
        if (std::isnan(row.second))
        {
            p.Angle(a, b, row.first);
        }
        else
        {
            CMathline* m = p.Line(0, 0, 0, 1);
            p.Angle(a, m, row.first);
            p.Angle(m, b, row.second);
        }

        EXPECT_EQ(sktIsParallelByAngleRel(a, b), row.expected);
    }
}

TEST(ParallelByAngle, IgnoresUnknownAnglesAndLeavesVisitedRelationsUnused)
{
    Parts p;
    CMathline* a = p.Line(0, 0, 1, 0);
    CMathline* b = p.Line(0, 1, 1, 0);
    CMathline* c = p.Line(0, 2, 1, 0);
    CLLang* unknown = p.Angle(a, b, 0.0, 0);
    CLLang* ac = p.Angle(a, c, 0.0);
    CLLang* cb = p.Angle(c, b, kPi / 2);
    ac->SetActive();
    cb->SetActive();

    EXPECT_EQ(sktIsParallelByAngleRel(a, b), 0);

    EXPECT_TRUE(unknown->IsUnused());
    EXPECT_TRUE(ac->IsUnused());
    EXPECT_TRUE(cb->IsUnused());
}

TEST(ClusterSystem, MovingTriangleGetsOneFreePointAndThreeLinks)
{
    Parts p;
    CVert* f[3] = {p.Point(0, 0), p.Point(6, 0), p.Point(3, -4)};
    CVert* m[3] = {p.Point(1, 3), p.Point(4, 3.5), p.Point(2.5, 5)};
    CCluster fixed;
    CCluster moving;
    moving.m_nFreeNum = 3;
    for (int i = 0; i < 3; ++i)
    {
        f[i]->m_nFreeNum = 0;
        m[i]->m_nFreeNum = 0;
        fixed.AddNode(f[i]);
        moving.AddNode(m[i]);
        CRel* tie = p.Attach(new CPPdis(f[i], m[i], f[i]->GetDistance(m[i]), 1));
        fixed.AddRel(tie);
        moving.AddRel(tie);
    }
    CClusterList chain;
    chain.AddTail(&fixed);
    chain.AddTail(&moving);

    CEquationGrp g(&chain);

    EXPECT_EQ(g.m_nVarNum, 6);
    EXPECT_EQ(CountOf<CEquPPDis>(g), 3);
    EXPECT_EQ(CountOf<CEquPPDisFixed>(g), 3);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(m[i]->m_nFreeNum, 0);
        EXPECT_EQ(f[i]->m_nFreeNum, 0);
    }
}

TEST(ClusterSystem, ParallelLinesOfAClusterAreLinkedByDistanceToo)
{
    struct Row
    {
        const char* name;
        bool throughThird; // the two lines are square to a third line
        int distances;
    };
    const Row rows[] = {{"square to each other", false, 0}, {"both square to a third", true, 1}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Parts p;
        CMathline* outside = p.Line(0, -5, 1, 0);
        CMathline* l1 = p.Line(0, 0, 1, 0);
        CMathline* l2 = row.throughThird ? p.Line(0, 2, 1, 0) : p.Line(0, 0, 0, 1);
        if (row.throughThird)
        {
            CMathline* l3 = p.Line(0, 0, 0, 1);
            p.Angle(l1, l3, kPi / 2);
            p.Angle(l3, l2, kPi / 2);
        }
        else
        {
            p.Angle(l1, l2, kPi / 2);
        }
        outside->m_nFreeNum = 0;
        CCluster c;
        c.AddNode(l1);
        c.AddNode(l2);
        c.AddRel(p.Attach(new CLLdis(outside, l1, 5.0, 1)));
        c.AddRel(p.Attach(new CLLdis(outside, l2, row.throughThird ? 7.0 : 0.0, 1)));

        CEquationGrp g(&c);

        EXPECT_EQ(CountOf<CEquLLAng>(g), 1);
        EXPECT_EQ(CountOf<CEquLLDis>(g), row.distances);
    }
}

TEST(ClusterSystem, PlacedClusterTurnsWithItsLineAndFollowsItsFirstPoint)
{
    Parts p;
    CVert* anchor = p.Point(1, 0);
    CMathline* guide = p.Line(0, 0, 1, 0);
    CVert* passenger = p.Point(2, 0);
    CMathline* rider = p.Line(0, 1, 1, 0);
    CVert* outPoint = p.Point(1, -3);
    CMathline* outLine = p.Line(0, -1, 1, 0);
    outPoint->m_nFreeNum = 0;
    outLine->m_nFreeNum = 0;
    CCluster c;
    for (CNode* n : {static_cast<CNode*>(anchor), static_cast<CNode*>(guide),
                     static_cast<CNode*>(passenger), static_cast<CNode*>(rider)})
    {
        c.AddNode(n);
    }
    c.AddRel(p.Attach(new CPPdis(anchor, outPoint, 3.0, 1)));
    c.AddRel(p.Attach(new CLLdis(outLine, guide, 1.0, 1)));
    CEquationGrp g(&c);
    // Pretend the solve put the anchor at (3, 1) and turned the guide a quarter turn.
    g.m_pX[anchor->m_nVarIndex] = 3.0;
    g.m_pX[anchor->m_nVarNo] = 1.0;
    g.m_pX[guide->m_nVarIndex] = 0.0;
    g.m_pX[guide->m_nVarNo] = kPi / 2;

    g.PlaceCluster(&c, &c.m_RelList);

    EXPECT_NEAR(passenger->m_Pos.x, 3.0, 1e-12);
    EXPECT_NEAR(passenger->m_Pos.y, 2.0, 1e-12);
    EXPECT_NEAR(anchor->m_Pos.x, 3.0, 1e-12);
    EXPECT_NEAR(anchor->m_Pos.y, 1.0, 1e-12);
    EXPECT_NEAR(rider->m_Line.m_Direction.x, 0.0, 1e-12);
    EXPECT_NEAR(rider->m_Line.m_Direction.y, 1.0, 1e-12);
    EXPECT_NEAR(rider->m_Line.GetDistance(XYZ(2.0, 1.0, 0.0)), 0.0, 1e-12);
}

TEST(ClusterSystem, ClusterHeldByOnePointIsOnlyTranslated)
{
    Parts p;
    CVert* a = p.Point(1, 1);
    CVert* b = p.Point(4, 5);
    CVert* out = p.Point(0, 0);
    out->m_nFreeNum = 0;
    CCluster c;
    c.AddNode(a);
    c.AddNode(b);
    c.AddRel(p.Attach(new CPPdis(out, a, 2.0, 1)));
    CEquationGrp g(&c);
    g.m_pX[a->m_nVarIndex] = 2.0;
    g.m_pX[a->m_nVarNo] = -1.0;

    g.PlaceCluster(&c, &c.m_RelList);

    EXPECT_NEAR(b->m_Pos.x, 5.0, 1e-12);
    EXPECT_NEAR(b->m_Pos.y, 3.0, 1e-12);
}
