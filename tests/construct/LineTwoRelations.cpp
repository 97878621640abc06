// Lines at given distances from two points: the common tangent of two circles with its sense,
// toggle and fallbacks.
#include "construct/ConstructSketch.h"

using namespace constructtest;

TEST(LineFromTwoPLdis, CommonTangentKeepsSidesAndSense)
{
    const double g = 1 / std::sqrt(2.0);
    struct Row
    {
        const char* name;
        double d1, d2, oldX, oldY, oldDx, oldDy, p2x, p2y;
        double e1, e2, senseX, senseY; // signed distances, and the sense the new line must keep
    } rows[] = {
        {"both right of y = 1", 1, 1, 0, 1, 1, 0, 10, 0, -1, -1, 1, 0},
        {"both right of a reversed line", 1, 1, 0, -1, -1, 0, 10, 0, -1, -1, -1, 0},
        {"crossing between them", 1, 2, 5, 0, g, g, 10, 0, 1, -2, 1, 0},
        {"crossing, second point turned a quarter about the first", 1, 2, 5, 0, g, g, 0, 10, 1, -2,
         0, 1},
        {"ratio 1.000005 counts as a perpendicular tangent", 5, 5.00005, 5, 0, g, g, 10, 0, 5, -5,
         0, 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ToggleScope toggle(g_cTwoPLdisToggle, 1);
        Sketch s;
        CVert* p1 = s.Point(0, 0);
        CVert* p2 = s.Point(10, 0);
        CMathline* l = s.Line(row.oldX, row.oldY, row.oldDx, row.oldDy);
        CRel* r1 = s.PL(p1, l, row.d1);
        CRel* r2 = s.PL(p2, l, row.d2, false);
        MoveTo(p2, row.p2x, row.p2y);

        EXPECT_EQ(sktLineFromTwoPLdis(l, r1, r2), 1);

        EXPECT_NEAR(SignedDistance(l->m_Line, p1->m_Pos), row.e1, 1e-4);
        EXPECT_NEAR(SignedDistance(l->m_Line, p2->m_Pos), row.e2, 1e-4);
        EXPECT_GT(l->m_Line.GetDirection().Iproduct(VECTOR(row.senseX, row.senseY, 0)), 0.5);
        EXPECT_EQ(r2->m_pVal->m_bKnown, 1);
        EXPECT_EQ(g_cTwoPLdisToggle, 1);
    }
}
TEST(LineFromTwoPLdis, OldLineSquareToThePointsAlternatesTheTangent)
{
    // The old line through (5, 0) along -y, turned by `turn`: P1 on its right, P2 on its left,
    // each at 1. Within the square band the toggle alternates the tangents from call to call;
    // turned 2e-5 either way the old line decides, whatever the toggle holds, and leaves it. The
    // unturned tangent (along -x) ends with its through point at the foot of P2, the turned one
    // at the foot of P1.
    struct Row
    {
        const char* name;
        double turn;
        signed char start;
        double dirX[3]; // the sign of the direction's x at each of three calls
        signed char after;
    } rows[] = {
        {"square: alternates", 0.000001, 1, {-1, 1, -1}, -1},
        {"past square: the turned tangent", 2e-5, 1, {1, 1, 1}, 1},
        {"past square, toggle the other way", 2e-5, -1, {1, 1, 1}, -1},
        {"short of square: the other tangent", -2e-5, 1, {-1, -1, -1}, 1},
        {"short of square, toggle the other way", -2e-5, -1, {-1, -1, -1}, -1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ToggleScope toggle(g_cTwoPLdisToggle, row.start);
        for (double dirX : row.dirX)
        {
            Sketch s;
            CVert* p1 = s.Point(0, 0);
            CVert* p2 = s.Point(10, 0);
            const double a = 3 * kHalfPi + row.turn;
            CMathline* l = s.Line(5, 0, std::cos(a), std::sin(a));
            CRel* r1 = s.PL(p1, l, 1.0);
            CRel* r2 = s.PL(p2, l, 1.0);

            EXPECT_EQ(sktLineFromTwoPLdis(l, r1, r2), 1);

            EXPECT_GT(l->m_Line.GetDirection().x * dirX, 0.9);
            EXPECT_NEAR(SignedDistance(l->m_Line, p1->m_Pos), -1, 1e-9);
            EXPECT_NEAR(SignedDistance(l->m_Line, p2->m_Pos), 1, 1e-9);
            const XYZ foot = l->m_Line.GetProjectPoint(dirX < 0 ? p2->m_Pos : p1->m_Pos);
            ExpectAt(l->m_Line.GetThroughPoint(), foot.x, foot.y);
        }
        EXPECT_EQ(g_cTwoPLdisToggle, row.after);
    }
}

TEST(LineFromTwoPLdis, TwoZeroDistancesKeepTheOldSenseAlongThePoints)
{
    struct Row
    {
        const char* name;
        VECTOR oldDir;
        VECTOR expected;
    } rows[] = {
        {"along P1 to P2", {1, 0, 0}, {1, 1, 0}},
        {"along P2 to P1", {-1, 0, 0}, {-1, -1, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* p1 = s.Point(0, 0);
        CVert* p2 = s.Point(10, 0);
        CMathline* l = s.Line(0, 0, row.oldDir.x, row.oldDir.y);
        CRel* r1 = s.PL(p1, l, 0.0);
        CRel* r2 = s.PL(p2, l, 0.000009, false);
        MoveTo(p2, 10, 10);

        EXPECT_EQ(sktLineFromTwoPLdis(l, r1, r2), 1);

        ExpectLine(l->m_Line, 10, 10, row.expected.x, row.expected.y);
        ExpectLine(l->m_Line, 0, 0, row.expected.x, row.expected.y);
        EXPECT_EQ(r2->m_pVal->m_bKnown, 1);
    }
}

TEST(LineFromTwoPLdis, NoTangentFallsBackByKnownFlags)
{
    // Old line y = 1 along +x, both points to its right. P2 moves to (0.5, 0): the distances 2
    // and 1 ask for |e1 - e2| = 1 over 0.5 apart, and no tangent exists. The last row starts
    // from the old line through (5, 0) along (1, 1), P1 left and P2 right of it.
    struct Row
    {
        const char* name;
        double v1;
        int k1;
        double v2;
        int k2; // -1: shares the first value
        double p2x, p2y;
        int slanted, result;
        double lineY, value1, value2;
        int known1, known2;
    } rows[] = {
        {"both known", 2, 1, 1, 1, 0.5, 0, 0, 0, 1, 2, 1, 1, 1},
        {"one shared value", 2, 0, 0, -1, 0, 0.000005, 0, 0, 1, 2, 2, 0, 0},
        {"two unknown values: the first places", 2, 0, 1, 0, 0.5, 0, 0, 1, 2, 2, 2, 1, 0},
        {"first known: the first places", 2, 1, 1, 0, 0.5, 0, 0, 1, 2, 2, 2, 1, 0},
        {"second known: the second places", 2, 0, 1, 1, 0.5, 0, 0, 1, 1, 1, 1, 0, 1},
        {"placement would move the other point across", 2, 1, 5, 0, 0.5, 2.5, 0, 0, 1, 2, 5, 1, 0},
        {"points coincide", 2, 1, 1, 0, 0.000005, 0, 0, 1, 2, 2, 2, 1, 0},
        {"ratio 1.00002", 5, 1, 5.0002, 1, 10, 0, 1, 0, 1, 5, 5.0002, 1, 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ToggleScope toggle(g_cTwoPLdisToggle, 1);
        Sketch s;
        CVert* p1 = s.Point(0, 0);
        CVert* p2 = s.Point(10, 0);
        CMathline* l = s.Line(0, 1, 1, 0);
        CRel* r1 = s.PL(p1, l, row.v1, row.k1 != 0);
        CRel* r2 = row.k2 < 0 ? s.PL(p2, l, r1->m_pVal) : s.PL(p2, l, row.v2, row.k2 != 0);
        if (row.slanted)
        {
            SetLine(l, 5, 0, 1, 1);
            l->BackupNode();
        }
        MoveTo(p2, row.p2x, row.p2y);
        MATHLINE before = l->m_Line;

        EXPECT_EQ(sktLineFromTwoPLdis(l, r1, r2), row.result);

        if (row.result == 0)
        {
            ExpectLine(l->m_Line, before.GetThroughPoint().x, before.GetThroughPoint().y,
                       before.GetDirection().x, before.GetDirection().y);
        }
        else
        {
            ExpectLine(l->m_Line, 0, row.lineY, 1, 0);
        }
        EXPECT_NEAR(r1->m_pVal->m_dValue, row.value1, 1e-6);
        EXPECT_NEAR(r2->m_pVal->m_dValue, row.value2, 1e-6);
        EXPECT_EQ(r1->m_pVal->m_bKnown, row.known1);
        EXPECT_EQ(r2->m_pVal->m_bKnown, row.known2);
    }
}
