// The loci the constructions intersect: roots and their order, tangency before reachability,
// the degenerate-line limit, the side band and the offset of a moved line.
#include "construct/ConstructSketch.h"

using namespace constructtest;

namespace
{
struct LineCircleRow
{
    const char* name;
    XYZ a;
    XYZ b;
    XYZ m;
    double r;
    int count;
    XYZ out1;
    XYZ out2;
};

struct CircleCircleRow
{
    const char* name;
    XYZ m1;
    double r1;
    XYZ m2;
    double r2;
    int count;
    XYZ out1;
    XYZ out2;
};
} // namespace

TEST(IntersectLineCircle, CountsAndOrdersIntersections)
{
    const double h = std::sqrt(1e-5) * 0.999; // squared length just under the degenerate limit
    const LineCircleRow rows[] = {
        {"secant, larger parameter first",
         {0, 0, 0},
         {1, 0, 0},
         {0, 0, 0},
         2,
         2,
         {2, 0, 0},
         {-2, 0, 0}},
        {"reversed secant swaps the roots",
         {1, 0, 0},
         {0, 0, 0},
         {0, 0, 0},
         2,
         2,
         {-2, 0, 0},
         {2, 0, 0}},
        {"degenerate line gives nothing", {0, 0, 0}, {h, 0, 0}, {0, 0, 0}, 2, 0, {}, {}},
        {"misses by just under the tolerance: touches",
         {0, 5.000009, 0},
         {1, 5.000009, 0},
         {0, 0, 0},
         5,
         1,
         {0, 5.000009, 0},
         {0, 5.000009, 0}},
        {"misses by more than the tolerance",
         {0, 5.00002, 0},
         {1, 5.00002, 0},
         {0, 0, 0},
         5,
         0,
         {},
         {}},
        {"tangent", {-3, 5, 0}, {3, 5, 0}, {0, 0, 0}, 5, 1, {0, 5, 0}, {0, 5, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        XYZ o1(99, 99, 99);
        XYZ o2(99, 99, 99);

        int k = sktIntersectLineCircle(row.a, row.b, row.m, row.r, o1, o2);

        ASSERT_EQ(k, row.count);
        if (k == 0)
        {
            EXPECT_EQ(o1.x, 99.0);
            EXPECT_EQ(o2.z, 99.0);
            continue;
        }
        ExpectAt(o1, row.out1.x, row.out1.y, 1e-6);
        ExpectAt(o2, row.out2.x, row.out2.y, 1e-6);
    }
}

TEST(IntersectCircleCircle, TangencyBeforeReachability)
{
    const CircleCircleRow rows[] = {
        {"external tangency", {0, 0, 0}, 1, {2, 0, 0}, 1, 1, {1, 0, 0}, {1, 0, 0}},
        {"external tangency with a small overlap",
         {0, 0, 0},
         1,
         {1.999995, 0, 0},
         1,
         1,
         {0.9999975, 0, 0},
         {0.9999975, 0, 0}},
        {"internal tangency, first larger", {0, 0, 0}, 3, {1, 0, 0}, 2, 1, {3, 0, 0}, {3, 0, 0}},
        {"internal tangency, second larger", {1, 0, 0}, 2, {0, 0, 0}, 3, 1, {3, 0, 0}, {3, 0, 0}},
        {"concentric", {0, 0, 0}, 1, {0, 0, 0}, 2, 0, {}, {}},
        {"apart", {0, 0, 0}, 1, {3, 0, 0}, 1, 0, {}, {}},
        {"one inside the other", {0, 0, 0}, 5, {1, 0, 0}, 1, 0, {}, {}},
        {"two points, radical line across x", {0, 0, 0}, 5, {6, 0, 0}, 5, 2, {3, 4, 0}, {3, -4, 0}},
        {"two points, radical line across y", {0, 0, 0}, 5, {0, 6, 0}, 5, 2, {4, 3, 0}, {-4, 3, 0}},
        {"tiny circles touching", {0, 0, 0}, 0.000003, {0.000015, 0, 0}, 0.000003, 0, {}, {}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        XYZ o1(99, 99, 99);
        XYZ o2(99, 99, 99);

        int k = sktIntersectCircleCircle(row.m1, row.r1, row.m2, row.r2, o1, o2);

        ASSERT_EQ(k, row.count);
        if (k == 0)
        {
            EXPECT_EQ(o1.x, 99.0);
            continue;
        }
        ExpectAt(o1, row.out1.x, row.out1.y, 1e-6);
        ExpectAt(o2, row.out2.x, row.out2.y, 1e-6);
    }
}

TEST(PointToLineDistance, MeasuresFromTheFootOrFromAWhenDegenerate)
{
    EXPECT_NEAR(sktGetPointToLineDistance(XYZ(3, -2, 0), XYZ(0, 0, 0), XYZ(1, 0, 0)), 2.0, kEps);
    // A and B closer than the tolerance: the distance from A.
    EXPECT_NEAR(sktGetPointToLineDistance(XYZ(3, 4, 0), XYZ(0, 0, 0), XYZ(0.000009, 0, 0)), 5.0,
                kEps);
}

TEST(PointSideOfLine, BandOfTheSineAroundTheLine)
{
    MATHLINE xAxis(XYZ(0, 0, 0), VECTOR(1, 0, 0));
    struct Row
    {
        const char* name;
        XYZ p;
        int side;
    } rows[] = {
        {"left", {0, 1, 0}, 1},
        {"right", {0, -1, 0}, -1},
        {"inside the band above", {5, 0.00001, 0}, 0},
        {"inside the band below", {5, -0.00004, 0}, 0},
        {"just outside the band", {1, 0.0000101, 0}, 1},
        {"just outside the band below", {1, -0.0000101, 0}, -1},
        {"the through point itself", {0, 0, 0}, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(sktGetPointSideOfLine(row.p, xAxis), row.side);
    }
}

TEST(OffsetLine, SideFromTheOldLineAppliedToTheNewOne)
{
    struct Row
    {
        const char* name;
        XYZ ref;
        double value;
        double newThroughY;
        double newDirX;
        double newDirY;
        XYZ expectedThrough;
    } rows[] = {
        {"reference left", {0, 5, 0}, 2, 0, 1, 0, {0, 2, 0}},
        {"reference right", {0, -5, 0}, 2, 0, 1, 0, {0, -2, 0}},
        {"reference on the old line goes right", {7, 0, 0}, 2, 0, 1, 0, {0, -2, 0}},
        {"negative value crosses over", {0, 5, 0}, -2, 0, 1, 0, {0, -2, 0}},
        {"line moved up keeps the reference side", {0, 5, 0}, 2, 1, 1, 0, {0, 3, 0}},
        {"line turned to +y offsets to its left", {0, 5, 0}, 2, 0, 0, 1, {-2, 0, 0}},
        {"value below the tolerance keeps the line", {0, 5, 0}, 0.000009, 0, 1, 0, {0, 0, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* p = s.Point(0, 0);
        CMathline* l = s.Line(0, 0, 1, 0);
        CRel* rel = s.PL(p, l, row.value);
        SetLine(l, 0, row.newThroughY, row.newDirX, row.newDirY);

        MATHLINE m = sktGetOffsetLine(l, row.ref, rel);

        ExpectAt(m.GetThroughPoint(), row.expectedThrough.x, row.expectedThrough.y);
        EXPECT_NEAR(m.GetDirection().x, row.newDirX, kEps);
        EXPECT_NEAR(m.GetDirection().y, row.newDirY, kEps);
    }
}
