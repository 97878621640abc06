// Node-chain systems built from real sketches: after a dimension change the group solves, the
// write-back makes every relation hold, given geometry stays put and shapes keep their side.
#include "QsolverInternal.h"

#include "numeric/NumericSketch.h"

#include <gtest/gtest.h>

#include <cmath>

using numtest::Deg;
using numtest::Pi;
using numtest::Sketch;

namespace
{

// Side of c from the directed line a -> b: positive to the left.
double Cross(CVert* a, CVert* b, CVert* c)
{
    return (b->m_Pos.x - a->m_Pos.x) * (c->m_Pos.y - a->m_Pos.y) -
           (b->m_Pos.y - a->m_Pos.y) * (c->m_Pos.x - a->m_Pos.x);
}

int SolveAndWrite(Sketch& s)
{
    CEquationGrp grp(&s.nodes, &s.rels);
    const int ok = grp.Solve();
    if (ok)
    {
        grp.WriteBack(&s.nodes, &s.rels);
    }
    return ok;
}

void ExpectRelationsHold(Sketch& s, double tol)
{
    for (POSITION pos = s.rels.GetHeadPosition(); pos != nullptr;)
    {
        CRel* r = s.rels.GetNext(pos);
        if (r->GetType() >= SKT_REL_PPDIS && r->GetType() < SKT_REL_LLANG)
        {
            EXPECT_NEAR(r->GetActualVal(), r->m_pVal->m_dValue, tol) << "relation " << r->m_nID;
        }
        else if (r->GetType() == SKT_REL_LLANG)
        {
            // Angles are compared on the circle: 2pi less a hair is a hair.
            const double diff = std::remainder(r->GetActualVal() - r->m_pVal->m_dValue, 2 * Pi());
            EXPECT_NEAR(diff, 0.0, tol) << "relation " << r->m_nID;
        }
    }
}

} // namespace

TEST(NodeChainSolve, TriangleFollowsChangedSideAndKeepsOrientation)
{
    Sketch s;
    CVert* a = s.Point(0, 0, true);
    CVert* b = s.Point(4, 0);
    CVert* c = s.Point(0, 3);
    CPPdis* ab = s.Rel<CPPdis>(a, b, 4.0);
    s.Rel<CPPdis>(a, c, 3.0);
    s.Rel<CPPdis>(b, c, 5.0);
    ab->SetValue(4.5);

    ASSERT_EQ(SolveAndWrite(s), 1);

    ExpectRelationsHold(s, 1e-6);
    EXPECT_EQ(a->m_Pos.x, 0.0);
    EXPECT_EQ(a->m_Pos.y, 0.0);
    EXPECT_GT(Cross(a, b, c), 0.0);
}

TEST(NodeChainSolve, RectangleOfLinesWithCornerPoints)
{
    Sketch s;
    CMathline* bottom = s.Line(0, 0, 0.0, true);
    CMathline* left = s.Line(0, 0, Deg(90));
    CMathline* top = s.Line(0, 2, 0.0);
    CMathline* right = s.Line(3, 0, Deg(90));
    CVert* corner = s.Point(3, 2);
    s.Rel<CLLang>(bottom, left, Deg(90));
    CLLdis* height = s.Rel<CLLdis>(bottom, top, 2.0);
    s.Rel<CLLang>(bottom, top, 0.0);
    CLLdis* width = s.Rel<CLLdis>(left, right, 3.0);
    s.Rel<CLLang>(left, right, 0.0);
    s.Rel<CPLdis>(corner, top, 0.0);
    s.Rel<CPLdis>(corner, right, 0.0);
    height->SetValue(2.5);
    width->SetValue(3.5);

    ASSERT_EQ(SolveAndWrite(s), 1);

    ExpectRelationsHold(s, 1e-6);
    EXPECT_NEAR(top->m_Line.GetDistance(XYZ(0, 2.5, 0)), 0.0, 1e-6);
    EXPECT_NEAR(right->m_Line.GetDistance(corner->m_Pos), 0.0, 1e-6);
    EXPECT_EQ(bottom->m_Line.m_ThroughPoint.y, 0.0);
    // The top stays above the bottom and the right side right of the left one.
    EXPECT_GT(corner->m_Pos.y, 0.0);
    EXPECT_GT(corner->m_Pos.x, 0.0);
}

TEST(NodeChainSolve, SharedUnknownValueFindsEqualDistances)
{
    // A point at one unknown distance from three given points: the circumcentre, with the
    // common distance written into the value and the circle that carries it.
    Sketch s;
    CVert* p1 = s.Point(0, 0, true);
    CVert* p2 = s.Point(4, 0, true);
    CVert* p3 = s.Point(0, 6, true);
    CVert* centre = s.Point(1.5, 2.5);
    CMathcir* carrier = s.Circle(3.0);
    CVal* same = carrier->m_pRadiusVal;
    for (CVert* p : {p1, p2, p3})
    {
        s.Shared<CPPdis>(p, centre, same)->m_pValueNode = carrier;
    }

    ASSERT_EQ(SolveAndWrite(s), 1);

    EXPECT_NEAR(centre->m_Pos.x, 2.0, 1e-6);
    EXPECT_NEAR(centre->m_Pos.y, 3.0, 1e-6);
    EXPECT_NEAR(same->m_dValue, std::sqrt(13.0), 1e-6);
    EXPECT_NEAR(carrier->m_dRadius, std::sqrt(13.0), 1e-6);
    EXPECT_EQ(same->m_bKnown, 0);
}

TEST(NodeChainSolve, PointKeepsItsSideOfTheLine)
{
    Sketch s;
    CMathline* l = s.Line(0, 0, Deg(45), true);
    CVert* p = s.Point(0, 2);
    CPLdis* d = s.Rel<CPLdis>(p, l, std::sqrt(2.0));
    d->SetValue(3.0);
    const double side = p->m_Pos.y - p->m_Pos.x;

    ASSERT_EQ(SolveAndWrite(s), 1);

    ExpectRelationsHold(s, 1e-6);
    EXPECT_GT((p->m_Pos.y - p->m_Pos.x) * side, 0.0);
}

TEST(NodeChainSolve, ReferenceNodesStayAndUnreachableDistanceFails)
{
    Sketch s;
    CVert* ref = s.Point(0, 0);
    ref->m_pRefID = new int(7);
    CVert* a = s.Point(1, 0);
    CVert* b = s.Point(2, 0);
    s.Rel<CPPdis>(ref, a, 1.0);
    s.Rel<CPPdis>(ref, b, 2.0);
    CPPdis* ab = s.Rel<CPPdis>(a, b, 1.0);
    ab->SetValue(5.0); // longer than the two radii allow

    EXPECT_EQ(SolveAndWrite(s), 0);

    EXPECT_EQ(a->m_Pos.x, 1.0);
    EXPECT_EQ(b->m_Pos.x, 2.0);
    EXPECT_EQ(ref->m_nVarIndex, -1);
}

TEST(NodeChainSolve, LongChainSolvesBlockByBlock)
{
    // Forty independent pendulums on one given pivot row: forty blocks of one equation each.
    Sketch s;
    for (int i = 0; i < 40; ++i)
    {
        CVert* pivot = s.Point(i, 0, true);
        CVert* bob = s.Point(i, -1);
        s.Rel<CPPdis>(pivot, bob, 1.0)->SetValue(1.0 + 0.01 * i);
    }

    ASSERT_EQ(SolveAndWrite(s), 1);

    ExpectRelationsHold(s, 1e-6);
}
