// Points from two distances: the old branch kept, the toggles alternating only when the old
// position is undecided, and the fallbacks by known flags with their side checks.
#include "construct/ConstructSketch.h"

using namespace constructtest;

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

TEST(PointFromTwoPLdis, OneLineTwiceIsRefused)
{
    Sketch s;
    CMathline* l = s.Line(0, 0, 1, 0);
    CVert* p = s.Point(1, 1);
    CRel* r1 = s.PL(p, l, 1.0);
    CRel* r2 = s.PL(p, l, 2.0);

    EXPECT_EQ(sktPointFromTwoPLdis(p, r1, r2), 0);

    ExpectAt(p->m_Pos, 1, 1, 0.0);
}

TEST(PointFromTwoPLdis, ParallelLinesByKnownFlags)
{
    enum Values
    {
        BothKnown,
        Shared,
        BothUnknown,
        FirstUnknown,
        SecondUnknown,
        SecondUnknownCrossesTheFirst,
    };
    struct Row
    {
        const char* name;
        Values values;
        double lowNowY;
        int result;
        XYZ expected;
        double firstValue;
        double secondValue;
        bool firstKnown;
    } rows[] = {
        {"both known", BothKnown, 0.5, 0, {3, 1.2, 0}, 1, 2, true},
        {"one shared value: the midline", Shared, 0, 1, {3, 2, 0}, 2, 2, false},
        {"two unknown values: the first places", BothUnknown, 0.5, 1, {3, 1.5, 0}, 1, 2.5, true},
        {"first unknown: the second places", FirstUnknown, 0.5, 1, {3, 2, 0}, 1.5, 2, false},
        {"second unknown: the first places", SecondUnknown, 0.5, 1, {3, 1.5, 0}, 1, 2.5, true},
        {"placement would cross the other line",
         SecondUnknownCrossesTheFirst,
         0.5,
         0,
         {3, 1.2, 0},
         5,
         9,
         true},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* low = s.Line(0, 0, 1, 0);
        CMathline* high = s.Line(0, 4, 1, 0);
        CVert* p = s.Point(3, 1);
        CRel* r1 = nullptr;
        CRel* r2 = nullptr;
        switch (row.values)
        {
            case BothKnown:
                r1 = s.PL(p, low, 1.0);
                r2 = s.PL(p, high, 2.0);
                break;
            case Shared:
                r1 = s.PL(p, low, 1.0, false);
                r2 = s.PL(p, high, r1->m_pVal);
                break;
            case BothUnknown:
            case SecondUnknown:
                r1 = s.PL(p, low, 1.0, row.values == SecondUnknown);
                r2 = s.PL(p, high, 9.0, false);
                break;
            case FirstUnknown:
                r1 = s.PL(p, low, 7.0, false);
                r2 = s.PL(p, high, 2.0);
                break;
            case SecondUnknownCrossesTheFirst:
                r1 = s.PL(p, low, 5.0);
                r2 = s.PL(p, high, 9.0, false);
                break;
        }
        SetLine(low, 0, row.lowNowY, 1, 0);
        MoveTo(p, 3, 1.2); // where the point stands on entry, restored on failure

        EXPECT_EQ(sktPointFromTwoPLdis(p, r1, r2), row.result);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_NEAR(r1->m_pVal->m_dValue, row.firstValue, kEps);
        EXPECT_NEAR(r2->m_pVal->m_dValue, row.secondValue, kEps);
        EXPECT_EQ(r1->m_pVal->m_bKnown != 0, row.firstKnown);
    }
}

TEST(PointFromPPdisPLdis, KeepsThePointOnItsOldSideOfTheCentre)
{
    struct Row
    {
        const char* name;
        XYZ before;
        XYZ centreNow;
        XYZ expected;
    } rows[] = {
        {"right of the centre", {4, 3, 0}, {0, 0, 0}, {4, 3, 0}},
        {"left of the centre", {-4, 3, 0}, {0, 0, 0}, {-4, 3, 0}},
        {"below the line", {4, -3, 0}, {0, 0, 0}, {4, -3, 0}},
        {"centre moved right", {-4, 3, 0}, {1, 0, 0}, {-3, 3, 0}},
        {"just right of the centre: decided", {0.000011, 3, 0}, {0, 0, 0}, {4, 3, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        // The toggle would pick the other solution: these cases must not consult it.
        ToggleScope toggle(g_cPPdisPLdisToggle, -1);
        Sketch s;
        CVert* c = s.Point(0, 0);
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(row.before.x, row.before.y);
        CRel* pp = s.PP(p, c, 5.0, false);
        CRel* pl = s.PL(p, l, 3.0);
        MoveTo(c, row.centreNow.x, row.centreNow.y);

        EXPECT_EQ(sktPointFromPPdisPLdis(p, pp, pl), 1);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_EQ(pp->m_pVal->m_bKnown, 1);
        EXPECT_EQ(pl->m_pVal->m_bKnown, 1);
        EXPECT_EQ(g_cPPdisPLdisToggle, -1);
    }
}

TEST(PointFromPPdisPLdis, UndecidedOldPositionAlternatesBetweenCalls)
{
    // Straight above the centre (within 1e-5 along the line): the old position cannot choose.
    ToggleScope toggle(g_cPPdisPLdisToggle, 1);
    const double expectedX[] = {4, -4, 4};
    for (double x : expectedX)
    {
        Sketch s;
        CVert* c = s.Point(0, 0);
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(0.000009, 3);
        CRel* pp = s.PP(p, c, 5.0);
        CRel* pl = s.PL(p, l, 3.0);

        EXPECT_EQ(sktPointFromPPdisPLdis(p, pp, pl), 1);

        ExpectAt(p->m_Pos, x, 3);
    }
    EXPECT_EQ(g_cPPdisPLdisToggle, -1);
}

TEST(PointFromPPdisPLdis, LociApartByKnownFlags)
{
    // Circle of radius 1 about (0, 0), offset line y = 3 above the x axis: they do not meet.
    enum Values
    {
        BothKnown,
        Shared,
        BothUnknown,
        CircleUnknown,
        LineUnknown,
        LineUnknownCircleCrossesTheLine,
    };
    struct Row
    {
        const char* name;
        Values values;
        int result;
        XYZ expected;
        double circleValue;
        double lineValue;
        bool lineKnown;
    } rows[] = {
        {"both known", BothKnown, 0, {1, 2, 0}, 1, 3, true},
        {"one shared value", Shared, 0, {1, 2, 0}, 1, 1, false},
        {"two unknown values: the line places",
         BothUnknown,
         1,
         {3, 3, 0},
         std::sqrt(18.0),
         3,
         true},
        {"circle unknown: the line places", CircleUnknown, 1, {3, 3, 0}, std::sqrt(18.0), 3, true},
        {"line unknown: the circle places", LineUnknown, 1, {0.6, 0.8, 0}, 1, 0.8, false},
        {"circle would cross the line", LineUnknownCircleCrossesTheLine, 0, {1, 2, 0}, 1, 3, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* c = s.Point(0, 0);
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(3, 4);
        CRel* pp = nullptr;
        CRel* pl = nullptr;
        switch (row.values)
        {
            case BothKnown:
                pp = s.PP(p, c, 1.0);
                pl = s.PL(p, l, 3.0);
                break;
            case Shared:
                pp = s.PP(p, c, 1.0, false);
                pl = s.PL(p, l, pp->m_pVal);
                SetLine(l, 0, -3, 1, 0); // offset y = -2 misses the unit circle
                break;
            case BothUnknown:
            case CircleUnknown:
                pp = s.PP(p, c, 1.0, false);
                pl = s.PL(p, l, 3.0, row.values == CircleUnknown);
                break;
            case LineUnknown:
                pp = s.PP(p, c, 1.0);
                pl = s.PL(p, l, 3.0, false);
                break;
            case LineUnknownCircleCrossesTheLine:
                pp = s.PP(p, c, 1.0);
                pl = s.PL(p, l, 3.0, false);
                SetLine(l, 0, 2, 1, 0); // the ray point (0.6, 0.8) lies under the moved line
                break;
        }
        MoveTo(p, 1, 2);

        EXPECT_EQ(sktPointFromPPdisPLdis(p, pp, pl), row.result);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_NEAR(pp->m_pVal->m_dValue, row.circleValue, kEps);
        if (row.values != Shared)
        {
            EXPECT_NEAR(pl->m_pVal->m_dValue, row.lineValue, kEps);
        }
        EXPECT_EQ(pl->m_pVal->m_bKnown != 0, row.lineKnown);
    }
}

TEST(PointFromTwoPPdis, KeepsTheTriangleOrientation)
{
    struct Row
    {
        const char* name;
        XYZ before;
        XYZ secondNow;
        XYZ expected;
    } rows[] = {
        {"above", {3, 4, 0}, {6, 0, 0}, {3, 4, 0}},
        {"below", {3, -4, 0}, {6, 0, 0}, {3, -4, 0}},
        {"second moved, above", {3, 4, 0}, {8, 0, 0}, {4, 3, 0}},
        {"second moved, below", {3, -4, 0}, {8, 0, 0}, {4, -3, 0}},
        {"second turned over the first", {3, 4, 0}, {-6, 0, 0}, {-3, -4, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ToggleScope toggle(g_cTwoPPdisToggle, 1);
        Sketch s;
        CVert* a = s.Point(0, 0);
        CVert* b = s.Point(6, 0);
        CVert* p = s.Point(row.before.x, row.before.y);
        CRel* ra = s.PP(p, a, 5.0);
        CRel* rb = s.PP(p, b, 5.0);
        MoveTo(b, row.secondNow.x, row.secondNow.y);

        EXPECT_EQ(sktPointFromTwoPPdis(p, ra, rb), 1);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_EQ(g_cTwoPPdisToggle, 1);
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

TEST(PointFromTwoPPdis, CirclesApartByKnownFlags)
{
    // Circles of radius 1 about (0, 0) and (5, 0) do not meet. The old point (3, 4) seen from
    // (5, 0) lies along (-2, 4).
    const double fx = 2 / std::sqrt(20.0);
    const double fy = 4 / std::sqrt(20.0);
    enum Values
    {
        BothKnown,
        Shared,
        BothUnknown,
        FirstUnknown,
        SecondUnknown,
    };
    struct Row
    {
        const char* name;
        Values values;
        int result;
        XYZ expected;
        double firstValue;
        double secondValue;
        bool firstKnown;
    } rows[] = {
        {"both known", BothKnown, 0, {2, 2, 0}, 1, 1, true},
        {"one shared value", Shared, 0, {2, 2, 0}, 1, 1, false},
        {"two unknown values: the first places",
         BothUnknown,
         1,
         {0.6, 0.8, 0},
         1,
         std::sqrt(4.4 * 4.4 + 0.64),
         true},
        {"first unknown: the second places",
         FirstUnknown,
         1,
         {5 - fx, fy, 0},
         std::sqrt((5 - fx) * (5 - fx) + fy * fy),
         1,
         false},
        {"second unknown: the first places",
         SecondUnknown,
         1,
         {0.6, 0.8, 0},
         1,
         std::sqrt(4.4 * 4.4 + 0.64),
         true},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* a = s.Point(0, 0);
        CVert* b = s.Point(5, 0);
        CVert* p = s.Point(3, 4);
        CRel* ra = nullptr;
        CRel* rb = nullptr;
        switch (row.values)
        {
            case BothKnown:
                ra = s.PP(p, a, 1.0);
                rb = s.PP(p, b, 1.0);
                break;
            case Shared:
                ra = s.PP(p, a, 1.0, false);
                rb = s.PP(p, b, ra->m_pVal);
                break;
            case BothUnknown:
            case FirstUnknown:
            case SecondUnknown:
                ra = s.PP(p, a, 1.0, row.values == SecondUnknown);
                rb = s.PP(p, b, 1.0, row.values == FirstUnknown);
                break;
        }
        MoveTo(p, 2, 2);

        EXPECT_EQ(sktPointFromTwoPPdis(p, ra, rb), row.result);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
        EXPECT_NEAR(ra->m_pVal->m_dValue, row.firstValue, kEps);
        EXPECT_NEAR(rb->m_pVal->m_dValue, row.secondValue, kEps);
        EXPECT_EQ(ra->m_pVal->m_bKnown != 0, row.firstKnown);
    }
}
