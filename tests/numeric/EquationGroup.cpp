// The equation group: numbering of unknowns, which relations make equations, write-back of
// points, lines and values, and positions left over from an earlier group.
#include "QsolverInternal.h"

#include "numeric/NumericSketch.h"

#include <gtest/gtest.h>

#include <cmath>

using numtest::Deg;
using numtest::Pi;
using numtest::Sketch;

TEST(EquationGroup, NumbersUnknownsInListOrder)
{
    Sketch s;
    CVert* a = s.Point(1, 2);
    CMathline* l = s.Line(0, 5, 0.0);
    CVert* b = s.Point(3, 4);

    CEquationGrp grp(&s.nodes, &s.rels);

    EXPECT_EQ(grp.m_nVarNum, 6);
    EXPECT_EQ(a->m_nVarIndex, 0);
    EXPECT_EQ(a->m_nVarNo, 1);
    EXPECT_EQ(l->m_nVarIndex, 2);
    EXPECT_EQ(l->m_nVarNo, 3);
    EXPECT_EQ(b->m_nVarIndex, 4);
    EXPECT_EQ(b->m_nVarNo, 5);
    EXPECT_EQ(grp.m_pX[0], 1.0);
    EXPECT_EQ(grp.m_pX[1], 2.0);
    EXPECT_NEAR(grp.m_pX[2], 5.0, 1e-15);
    EXPECT_NEAR(grp.m_pX[3], 0.0, 1e-15);
    EXPECT_EQ(grp.m_pX[4], 3.0);
    EXPECT_EQ(grp.m_pX[5], 4.0);
    EXPECT_TRUE(grp.m_EquArray.empty());
}

TEST(EquationGroup, LineStartsAtOffsetAndAngleOfItsDirection)
{
    Sketch s;
    s.Line(0, 5, 0.0);
    s.Line(0, 5, Pi());

    CEquationGrp grp(&s.nodes, &s.rels);

    EXPECT_NEAR(grp.m_pX[0], 5.0, 1e-12);
    EXPECT_NEAR(grp.m_pX[1], 0.0, 1e-12);
    EXPECT_NEAR(grp.m_pX[2], -5.0, 1e-12);
    EXPECT_NEAR(grp.m_pX[3], Pi(), 1e-12);
}

TEST(EquationGroup, ValueNodeOfUnknownValueIsAppended)
{
    Sketch s;
    CVert* a = s.Point(0, 0, true);
    CVert* b = s.Point(3, 4);
    CMathcir* c = new CMathcir(XYZ(0, 0, 0), 4.5);
    CNodeList only;
    only.AddTail(b);
    CPPdis* r = s.Shared<CPPdis>(a, b, c->m_pRadiusVal);
    r->m_pValueNode = c;

    CEquationGrp grp(&only, &s.rels);

    EXPECT_EQ(grp.m_nVarNum, 3);
    EXPECT_EQ(c->m_nVarIndex, 2);
    EXPECT_EQ(grp.m_pX[2], 4.5);
    ASSERT_EQ(grp.m_EquArray.size(), 1u);
    EXPECT_EQ(grp.m_EquArray[0]->m_nVarNum, 3);
    EXPECT_EQ(grp.m_EquArray[0]->m_pVarIndex[2], 2);
    r->CutRelWithNode();
    delete c;
}

TEST(EquationGroup, RelationsWithoutAnEquation)
{
    Sketch s;
    CVert* k1 = s.Point(0, 0, true);
    CVert* k2 = s.Point(1, 0, true);
    CVert* u = s.Point(2, 2);
    CMathline* given = s.Line(0, 0, 0.0, true);
    CMathline* held = s.Line(0, 1, 0.3, false, true);
    CMathcir* c = s.Circle(1.0);
    s.Rel<CPPdis>(k1, k2, 1.0);
    s.Fix(u);
    s.Rad(u, c);
    s.Rel<CLLang>(given, held, 0.3);
    s.Rel<CLLang>(held, given, Pi() - 0.3);

    CEquationGrp grp(&s.nodes, &s.rels);

    EXPECT_TRUE(grp.m_EquArray.empty());
    EXPECT_EQ(grp.Solve(), 1);
}

TEST(EquationGroup, KnownPointGivesFixedEquations)
{
    Sketch s;
    CVert* k = s.Point(0, 0, true);
    CVert* a = s.Point(3, 0);
    CVert* b = s.Point(0, 4);
    s.Rel<CPPdis>(k, a, 3.0);
    s.Rel<CPPdis>(b, k, 4.0);
    s.Rel<CPPdis>(a, b, 5.0);

    CEquationGrp grp(&s.nodes, &s.rels);

    EXPECT_EQ(k->m_nVarIndex, -1);
    EXPECT_EQ(grp.m_nVarNum, 4);
    ASSERT_EQ(grp.m_EquArray.size(), 3u);
    EXPECT_NE(dynamic_cast<CEquPPDisFixed*>(grp.m_EquArray[0]), nullptr);
    EXPECT_NE(dynamic_cast<CEquPPDisFixed*>(grp.m_EquArray[1]), nullptr);
    EXPECT_NE(dynamic_cast<CEquPPDis*>(grp.m_EquArray[2]), nullptr);
}

TEST(EquationGroup, HeldDirectionStartsAndStaysAtBackupAngle)
{
    Sketch s;
    CMathline* l = s.Line(0, 2, Deg(30), false, true);
    l->m_Line.Set(XYZ(0, 2, 0), VECTOR(1, 0, 0));

    CEquationGrp grp(&s.nodes, &s.rels);
    ASSERT_EQ(grp.Solve(), 1);
    grp.WriteBack(&s.nodes, &s.rels);

    EXPECT_NEAR(grp.m_pX[1], Deg(30), 1e-12);
    EXPECT_NEAR(l->m_Line.m_Direction.x, std::cos(Deg(30)), 1e-12);
    EXPECT_NEAR(l->m_Line.m_Direction.y, std::sin(Deg(30)), 1e-12);
    EXPECT_NEAR(l->m_Line.GetDistance(XYZ(0, 2, 0)), 0.0, 1e-12);
}

TEST(EquationGroup, WritesBackPointsLinesAndValues)
{
    Sketch s;
    CVert* p = s.Point(0, 0);
    p->m_Pos.z = 0.5;
    CMathline* l1 = s.Line(0, 0, 0.0);
    CMathline* l2 = s.Line(0, 0, 0.0);
    CVert* q = s.Point(0, 0);
    CMathcir* c = s.Circle(1.0);
    CPPdis* r = s.Shared<CPPdis>(p, q, c->m_pRadiusVal);
    r->m_pValueNode = c;
    CEquationGrp grp(&s.nodes, &s.rels);
    const double x[] = {7, 8, 5, 0, 5, Pi() / 2, 1, 2, 2.5};
    ASSERT_EQ(grp.m_nVarNum, 9);
    for (int i = 0; i < 9; ++i)
    {
        grp.m_pX[i] = x[i];
    }

    grp.WriteBack(&s.nodes, &s.rels);

    EXPECT_EQ(p->m_Pos.x, 7.0);
    EXPECT_EQ(p->m_Pos.y, 8.0);
    EXPECT_EQ(p->m_Pos.z, 0.5);
    EXPECT_NEAR(l1->m_Line.m_ThroughPoint.x, 0.0, 1e-15);
    EXPECT_NEAR(l1->m_Line.m_ThroughPoint.y, 5.0, 1e-15);
    EXPECT_NEAR(l1->m_Line.m_Direction.x, 1.0, 1e-15);
    EXPECT_NEAR(l1->m_Line.m_Direction.y, 0.0, 1e-15);
    EXPECT_NEAR(l2->m_Line.m_ThroughPoint.x, -5.0, 1e-15);
    EXPECT_NEAR(l2->m_Line.m_ThroughPoint.y, 0.0, 1e-15);
    EXPECT_NEAR(l2->m_Line.m_Direction.x, 0.0, 1e-15);
    EXPECT_NEAR(l2->m_Line.m_Direction.y, 1.0, 1e-15);
    EXPECT_EQ(q->m_Pos.x, 1.0);
    EXPECT_EQ(c->m_pRadiusVal->m_dValue, 2.5);
    EXPECT_EQ(c->m_dRadius, 2.5);
}

TEST(EquationGroup, KnownValueAndKnownNodesAreNotWritten)
{
    Sketch s;
    CVert* k = s.Point(1, 1, true);
    CVert* u = s.Point(4, 5);
    CMathcir* c = s.Circle(5.0);
    CPPdis* r = s.Shared<CPPdis>(k, u, c->m_pRadiusVal);
    r->m_pValueNode = c;
    c->m_pRadiusVal->m_bKnown = 1;
    CEquationGrp grp(&s.nodes, &s.rels);
    grp.m_pX[0] = 10.0;
    grp.m_pX[2] = 99.0;

    grp.WriteBack(&s.nodes, &s.rels);

    EXPECT_EQ(k->m_Pos.x, 1.0);
    EXPECT_EQ(u->m_Pos.x, 10.0);
    EXPECT_EQ(c->m_pRadiusVal->m_dValue, 5.0);
}

// A node keeps the positions of the last group that numbered it: a later group that does not
// number it must neither read them in its equations nor write through them.
TEST(EquationGroup, IgnoresPositionsLeftByAnEarlierGroup)
{
    Sketch s;
    CVert* a = s.Point(0, 0, true);
    CVert* b = s.Point(3, 4);
    CVert* stray = s.Point(9, 9);
    CMathcir* c = s.Circle(5.0);
    CPPdis* r = s.Shared<CPPdis>(a, b, c->m_pRadiusVal);
    r->m_pValueNode = c;
    s.Rel<CPPdis>(b, stray, 7.0);
    {
        CEquationGrp earlier(&s.nodes, &s.rels);
        ASSERT_EQ(earlier.m_nVarNum, 5);
    }
    c->SetKnown();
    CNodeList only;
    only.AddTail(b);

    CEquationGrp grp(&only, &s.rels);

    EXPECT_EQ(grp.m_nVarNum, 2);
    EXPECT_EQ(c->m_nVarIndex, -1);
    ASSERT_EQ(grp.m_EquArray.size(), 1u);
    EXPECT_EQ(grp.m_EquArray[0]->m_nVarNum, 2);
    grp.WriteBack(&s.nodes, &s.rels);
    EXPECT_EQ(stray->m_Pos.x, 9.0);
}
