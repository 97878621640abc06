// The equation group: what it must not write back, and positions left over from an earlier
// group. Numbering and write-back of ordinary groups are left to the drive suites.
#include "QsolverInternal.h"

#include "construct/ConstructSketch.h"

#include <gtest/gtest.h>

#include <cmath>

using constructtest::Sketch;

TEST(EquationGroup, KnownValueAndKnownNodesAreNotWritten)
{
    Sketch s;
    CVert* k = s.Point(1, 1, true);
    CVert* u = s.Point(4, 5);
    CMathcir* c = s.Circle(0, 0, 5.0);
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
    CMathcir* c = s.Circle(0, 0, 5.0);
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
