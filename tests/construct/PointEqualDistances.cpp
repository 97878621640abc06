// Points at equal unknown distances from lines or points: bisector of the old angle, midline
// of parallels, the sector check, and the common value written back.
#include "construct/ConstructSketch.h"

using namespace constructtest;

TEST(PointFromThreeEqualPLdis, ParallelBisectorsGiveNothing)
{
    Sketch s;
    CMathline* l0 = s.Line(0, 0, 1, 0);
    CMathline* l4 = s.Line(0, 4, 1, 0);
    CMathline* l8 = s.Line(0, 8, 1, 0);
    CVert* p = s.Point(1, 1);
    CRel* r1 = s.PL(p, l0, 0.0, false);
    CRel* r2 = s.PL(p, l4, r1->m_pVal);
    CRel* r3 = s.PL(p, l8, r1->m_pVal);

    EXPECT_EQ(sktPointFromThreeEqualPLdis(p, r1, r2, r3), 0);

    ExpectAt(p->m_Pos, 1, 1, 0.0);
}

TEST(PointFromTwoEqualPLdisPLdis, BisectorOfTheOldAngleMeetsTheOffsetLine)
{
    struct Row
    {
        const char* name;
        XYZ before;
        double thirdX, secondNowX;
        bool secondParallel;
        int result;
        XYZ expected;
        double value;
    } rows[] = {
        {"first quadrant", {1, 1, 0}, 5, 0, false, 1, {2, 2, 0}, 2},
        {"second quadrant takes the other bisector", {-1, 1, 0}, -5, 0, false, 1, {-2, 2, 0}, 2},
        {"second line moved", {1, 1, 0}, 5, 1, false, 1, {2, 1, 0}, 1},
        {"locus only on the far ray", {1, 1, 0}, -5, 0, false, 0, {1, 1, 0}, 0},
        {"parallel pair: the midline", {1, 1, 0}, 5, 0, true, 1, {2, 2, 0}, 2},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* first = s.Line(0, 0, 1, 0);
        CMathline* second = row.secondParallel ? s.Line(0, 4, 1, 0) : s.Line(0, 0, 0, 1);
        CMathline* third = s.Line(row.thirdX, 0, 0, 1);
        CVert* p = s.Point(row.before.x, row.before.y);
        CRel* r1 = s.PL(p, first, 0.0, false);
        CRel* r2 = s.PL(p, second, r1->m_pVal);
        CRel* r3 = s.PL(p, third, 3.0);
        if (!row.secondParallel)
        {
            SetLine(second, row.secondNowX, 0, 0, 1);
        }

        EXPECT_EQ(sktPointFromTwoEqualPLdisPLdis(p, r1, r2, r3), row.result);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_NEAR(r1->m_pVal->m_dValue, row.value, kEps);
    }
}

TEST(PointFromTwoEqualPLdisPPdis, BisectorMeetsTheCircleOnTheOldSideOfItsCentre)
{
    const double h = 5 / std::sqrt(2.0);
    const double k = 4 - 1 / std::sqrt(2.0);
    struct Row
    {
        const char* name;
        double beforeX;
        int parallel;
        double centreX, centreY, centreNowX, centreNowY, radius;
        int result;
        double x, y, value;
    } rows[] = {
        {"near solution", 1, 0, 0, 0, 0, 0, 5, 1, h, h, h},
        {"parallel pair: midline", 1, 1, 0, 2, 0, 2, 5, 1, 5, 2, 2},
        {"parallel pair, old point left of the centre", -1, 1, 0, 2, 0, 2, 5, 1, -5, 2, 2},
        {"circle misses the bisector", 1, 0, 10, 0, 10, 0, 1, 0, 1, 1, 0},
        {"chosen solution on the far ray", 1, 0, 3, 3, -3, -3, 1, 0, 1, 1, 0},
        {"centre moved along the bisector", 1, 0, 3, 3, 4, 4, 1, 1, k, k, k},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* first = s.Line(0, 0, 1, 0);
        CMathline* second = row.parallel ? s.Line(0, 4, 1, 0) : s.Line(0, 0, 0, 1);
        CVert* centre = s.Point(row.centreX, row.centreY);
        CVert* p = s.Point(row.beforeX, 1);
        CRel* r1 = s.PL(p, first, 0.0, false);
        CRel* r2 = s.PL(p, second, r1->m_pVal);
        CRel* r3 = s.PP(p, centre, row.radius);
        MoveTo(centre, row.centreNowX, row.centreNowY);

        EXPECT_EQ(sktPointFromTwoEqualPLdisPPdis(p, r1, r2, r3), row.result);

        ExpectAt(p->m_Pos, row.x, row.y);
        EXPECT_NEAR(r1->m_pVal->m_dValue, row.value, kEps);
    }
}

TEST(PointFromTwoEqualPPdisPLdis, PerpendicularBisectorMeetsTheOffsetLine)
{
    struct Row
    {
        const char* name;
        XYZ secondNow;
        double lineX;
        bool vertical;
        int result;
        XYZ expected;
        double value;
    } rows[] = {
        {"unmoved", {4, 0, 0}, 0, false, 1, {2, 2, 0}, 2 * std::sqrt(2.0)},
        {"second point moved", {6, 0, 0}, 0, false, 1, {3, 2, 0}, std::sqrt(13.0)},
        {"bisector parallel to the offset line", {4, 0, 0}, 7, true, 0, {2, 1, 0}, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* a = s.Point(0, 0);
        CVert* b = s.Point(4, 0);
        CMathline* l = row.vertical ? s.Line(row.lineX, 0, 0, 1) : s.Line(0, 5, 1, 0);
        CVert* p = s.Point(2, 1);
        CRel* r1 = s.PP(p, a, 0.0, false);
        CRel* r2 = s.PP(p, b, r1->m_pVal);
        CRel* r3 = s.PL(p, l, 3.0);
        MoveTo(b, row.secondNow.x, row.secondNow.y);

        EXPECT_EQ(sktPointFromTwoEqualPPdisPLdis(p, r1, r2, r3), row.result);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_NEAR(r1->m_pVal->m_dValue, row.value, kEps);
    }
}

TEST(PointFromTwoEqualPPdisPPdis, PerpendicularBisectorMeetsTheCircleOnTheOldSide)
{
    struct Row
    {
        const char* name;
        XYZ before, centre;
        double radius;
        int result;
        XYZ expected;
        double value;
    } rows[] = {
        {"above", {2, 1, 0}, {2, 0, 0}, 5, 1, {2, 5, 0}, std::sqrt(29.0)},
        {"below", {2, -1, 0}, {2, 0, 0}, 5, 1, {2, -5, 0}, std::sqrt(29.0)},
        {"circle misses the bisector", {2, 1, 0}, {10, 0, 0}, 1, 0, {2, 1, 0}, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* a = s.Point(0, 0);
        CVert* b = s.Point(4, 0);
        CVert* c = s.Point(row.centre.x, row.centre.y);
        CVert* p = s.Point(row.before.x, row.before.y);
        CRel* r1 = s.PP(p, a, 0.0, false);
        CRel* r2 = s.PP(p, b, r1->m_pVal);
        CRel* r3 = s.PP(p, c, row.radius);

        EXPECT_EQ(sktPointFromTwoEqualPPdisPPdis(p, r1, r2, r3), row.result);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_NEAR(r1->m_pVal->m_dValue, row.value, kEps);
    }
}
