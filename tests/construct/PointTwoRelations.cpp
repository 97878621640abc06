// Points from two distances: the side tolerance of the old branch, the toggles alternating only
// when the old position is undecided, and the fallbacks by known flags with their side checks.
#include "construct/ConstructSketch.h"

using namespace constructtest;

namespace
{
// The two values of a fallback case: each with its number and known flag, or the second
// sharing the first's value.
struct Values
{
    double v1;
    int k1;
    double v2;
    int k2, shared;
};
} // namespace

TEST(PointFromTwoPLdis, IntersectsTheOffsetsOnTheOldSides)
{
    struct Row
    {
        const char* name;
        XYZ before;
        double yAxisNowX;
        XYZ expected;
    } rows[] = {
        {"first quadrant", {5, 5, 0}, 0, {2, 1, 0}},
        {"second quadrant", {-5, 5, 0}, 0, {-2, 1, 0}},
        {"fourth quadrant", {5, -5, 0}, 0, {2, -1, 0}},
        {"y axis moved right", {5, 5, 0}, 1, {3, 1, 0}},
        {"y axis moved past the old point", {5, 5, 0}, 6, {8, 1, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* xAxis = s.Line(0, 0, 1, 0);
        CMathline* yAxis = s.Line(0, 0, 0, 1);
        CVert* p = s.Point(row.before.x, row.before.y);
        CRel* r1 = s.PL(p, xAxis, 1.0, false);
        CRel* r2 = s.PL(p, yAxis, 2.0, false);
        SetLine(yAxis, row.yAxisNowX, 0, 0, 1);

        EXPECT_EQ(sktPointFromTwoPLdis(p, r1, r2), 1);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_EQ(r1->m_pVal->m_bKnown, 1);
        EXPECT_EQ(r2->m_pVal->m_bKnown, 1);
    }
}

TEST(PointFromTwoPLdis, ParallelLinesByKnownFlags)
{
    struct Row
    {
        const char* name;
        Values values;
        double lowNowY;
        int result;
        double x, y, value1, value2;
        int known1;
    } rows[] = {
        {"both known", {1, 1, 2, 1, 0}, 0.5, 0, 3, 1.2, 1, 2, 1},
        {"one shared value: the midline", {1, 0, 0, 0, 1}, 0, 1, 3, 2, 2, 2, 0},
        {"two unknown values: the first places", {1, 0, 9, 0, 0}, 0.5, 1, 3, 1.5, 1, 2.5, 1},
        {"first unknown: the second places", {7, 0, 2, 1, 0}, 0.5, 1, 3, 2, 1.5, 2, 0},
        {"second unknown: the first places", {1, 1, 9, 0, 0}, 0.5, 1, 3, 1.5, 1, 2.5, 1},
        {"placement would cross the other line", {5, 1, 9, 0, 0}, 0.5, 0, 3, 1.2, 5, 9, 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* low = s.Line(0, 0, 1, 0);
        CMathline* high = s.Line(0, 4, 1, 0);
        CVert* p = s.Point(3, 1);
        const Values& v = row.values;
        CRel* r1 = s.PL(p, low, v.v1, v.k1 != 0);
        CRel* r2 = v.shared ? s.PL(p, high, r1->m_pVal) : s.PL(p, high, v.v2, v.k2 != 0);
        SetLine(low, 0, row.lowNowY, 1, 0);
        MoveTo(p, 3, 1.2); // where the point stands on entry, restored on failure

        EXPECT_EQ(sktPointFromTwoPLdis(p, r1, r2), row.result);

        ExpectAt(p->m_Pos, row.x, row.y);
        EXPECT_NEAR(r1->m_pVal->m_dValue, row.value1, kEps);
        EXPECT_NEAR(r2->m_pVal->m_dValue, row.value2, kEps);
        EXPECT_EQ(r1->m_pVal->m_bKnown, row.known1);
    }
}

TEST(PointFromPPdisPLdis, KeepsThePointOnItsOldSideOfTheCentre)
{
    // Where the old position decides, the toggle (set to pick the other solution) must not be
    // consulted; straight above the centre (within 1e-5 along the line) it cannot decide, and
    // the toggle alternates the solutions from call to call.
    struct Row
    {
        const char* name;
        XYZ before, centreNow;
        signed char start;
        double x[3]; // at each of three calls
        double y;
        signed char after;
    } rows[] = {
        {"right of the centre", {4, 3, 0}, {0, 0, 0}, -1, {4, 4, 4}, 3, -1},
        {"left of the centre", {-4, 3, 0}, {0, 0, 0}, -1, {-4, -4, -4}, 3, -1},
        {"below the line", {4, -3, 0}, {0, 0, 0}, -1, {4, 4, 4}, -3, -1},
        {"centre moved right", {-4, 3, 0}, {1, 0, 0}, -1, {-3, -3, -3}, 3, -1},
        {"just right of the centre: decided", {0.000011, 3, 0}, {0, 0, 0}, -1, {4, 4, 4}, 3, -1},
        {"straight above the centre: alternates",
         {0.000009, 3, 0},
         {0, 0, 0},
         1,
         {4, -4, 4},
         3,
         -1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ToggleScope toggle(g_cPPdisPLdisToggle, row.start);
        for (double x : row.x)
        {
            Sketch s;
            CVert* c = s.Point(0, 0);
            CMathline* l = s.Line(0, 0, 1, 0);
            CVert* p = s.Point(row.before.x, row.before.y);
            CRel* pp = s.PP(p, c, 5.0, false);
            CRel* pl = s.PL(p, l, 3.0);
            MoveTo(c, row.centreNow.x, row.centreNow.y);

            EXPECT_EQ(sktPointFromPPdisPLdis(p, pp, pl), 1);

            ExpectAt(p->m_Pos, x, row.y);
            EXPECT_EQ(pp->m_pVal->m_bKnown, 1);
            EXPECT_EQ(pl->m_pVal->m_bKnown, 1);
        }
        EXPECT_EQ(g_cPPdisPLdisToggle, row.after);
    }
}

TEST(PointFromPPdisPLdis, LociApartByKnownFlags)
{
    // Circle of radius 1 about (0, 0), offset line y = 3 above the x axis: they do not meet.
    // With a shared value the line moves to y = -3 (offset y = -2 misses the unit circle); in
    // the last row it moves to y = 2, above the ray point (0.6, 0.8).
    const double r18 = std::sqrt(18.0);
    struct Row
    {
        const char* name;
        Values values;
        double lineNowY;
        int result;
        double x, y, circleValue, lineValue;
        int lineKnown;
    } rows[] = {
        {"both known", {1, 1, 3, 1, 0}, 0, 0, 1, 2, 1, 3, 1},
        {"one shared value", {1, 0, 0, 0, 1}, -3, 0, 1, 2, 1, 1, 0},
        {"two unknown values: the line places", {1, 0, 3, 0, 0}, 0, 1, 3, 3, r18, 3, 1},
        {"circle unknown: the line places", {1, 0, 3, 1, 0}, 0, 1, 3, 3, r18, 3, 1},
        {"line unknown: the circle places", {1, 1, 3, 0, 0}, 0, 1, 0.6, 0.8, 1, 0.8, 0},
        {"circle would cross the line", {1, 1, 3, 0, 0}, 2, 0, 1, 2, 1, 3, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* c = s.Point(0, 0);
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(3, 4);
        const Values& v = row.values;
        CRel* pp = s.PP(p, c, v.v1, v.k1 != 0);
        CRel* pl = v.shared ? s.PL(p, l, pp->m_pVal) : s.PL(p, l, v.v2, v.k2 != 0);
        SetLine(l, 0, row.lineNowY, 1, 0);
        MoveTo(p, 1, 2);

        EXPECT_EQ(sktPointFromPPdisPLdis(p, pp, pl), row.result);

        ExpectAt(p->m_Pos, row.x, row.y);
        EXPECT_NEAR(pp->m_pVal->m_dValue, row.circleValue, kEps);
        if (!v.shared)
        {
            EXPECT_NEAR(pl->m_pVal->m_dValue, row.lineValue, kEps);
        }
        EXPECT_EQ(pl->m_pVal->m_bKnown, row.lineKnown);
    }
}

TEST(PointFromTwoPPdis, CollinearOldTriangleAlternatesBetweenCalls)
{
    ToggleScope toggle(g_cTwoPPdisToggle, 1);
    // Twice the old triangle's area is 6 * 0.0000016 = 9.6e-6, inside the tolerance.
    const double expectedY[] = {4, -4, 4};
    for (double y : expectedY)
    {
        Sketch s;
        CVert* a = s.Point(0, 0);
        CVert* b = s.Point(6, 0);
        CVert* p = s.Point(3, 0.0000016);
        CRel* ra = s.PP(p, a, 5.0);
        CRel* rb = s.PP(p, b, 5.0);

        EXPECT_EQ(sktPointFromTwoPPdis(p, ra, rb), 1);

        ExpectAt(p->m_Pos, 3, y);
    }
}

TEST(PointFromTwoPPdis, TangentCirclesGiveTheTouchingPoint)
{
    Sketch s;
    CVert* a = s.Point(0, 0);
    CVert* b = s.Point(6, 0);
    CVert* p = s.Point(3, 1);
    CRel* ra = s.PP(p, a, 3.0, false);
    CRel* rb = s.PP(p, b, ra->m_pVal);

    EXPECT_EQ(sktPointFromTwoPPdis(p, ra, rb), 1);

    ExpectAt(p->m_Pos, 3, 0);
    EXPECT_EQ(ra->m_pVal->m_bKnown, 1);
}
