// The loci the constructions intersect: roots and their order, tangency before reachability,
// the degenerate-line limit and the offset of a moved line.
#include "construct/ConstructSketch.h"

using namespace constructtest;

namespace
{
// Both intersection routines: the count, and the two points in order when there are any.
struct IntersectRow
{
    const char* name;
    double ax, ay, bx, by; // the line through A and B, or the centre and radius of the first circle
    double mx, my, r;
    int count;
    double x1, y1, x2, y2;
};

void ExpectIntersections(const IntersectRow& row, int k, const XYZ& o1, const XYZ& o2)
{
    ASSERT_EQ(k, row.count);
    if (k == 0)
    {
        EXPECT_EQ(o1.x, 99.0); // the outputs are left alone
        EXPECT_EQ(o2.z, 99.0);
        return;
    }
    ExpectAt(o1, row.x1, row.y1, 1e-6);
    ExpectAt(o2, row.x2, row.y2, 1e-6);
}
} // namespace

TEST(IntersectLineCircle, CountsAndOrdersIntersections)
{
    const double h = std::sqrt(1e-5) * 0.999; // squared length just under the degenerate limit
    const double m = 5.000009;
    const IntersectRow rows[] = {
        {"secant, larger parameter first", 0, 0, 1, 0, 0, 0, 2, 2, 2, 0, -2, 0},
        {"reversed secant swaps the roots", 1, 0, 0, 0, 0, 0, 2, 2, -2, 0, 2, 0},
        {"degenerate line gives nothing", 0, 0, h, 0, 0, 0, 2, 0, 0, 0, 0, 0},
        {"misses by just under the tolerance: touches", 0, m, 1, m, 0, 0, 5, 1, 0, m, 0, m},
        {"misses by more than the tolerance", 0, 5.00002, 1, 5.00002, 0, 0, 5, 0, 0, 0, 0, 0},
        {"tangent", -3, 5, 3, 5, 0, 0, 5, 1, 0, 5, 0, 5},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        XYZ o1(99, 99, 99);
        XYZ o2(99, 99, 99);
        int k = sktIntersectLineCircle(XYZ(row.ax, row.ay, 0), XYZ(row.bx, row.by, 0),
                                       XYZ(row.mx, row.my, 0), row.r, o1, o2);
        ExpectIntersections(row, k, o1, o2);
    }
}

TEST(IntersectCircleCircle, TangencyBeforeReachability)
{
    const double t = 0.000003;
    const IntersectRow rows[] = {
        {"external tangency", 0, 0, 1, 0, 2, 0, 1, 1, 1, 0, 1, 0},
        {"tangency with a small overlap", 0, 0, 1, 0, 1.999995, 0, 1, 1, 0.9999975, 0, 0.9999975,
         0},
        {"internal tangency, first larger", 0, 0, 3, 0, 1, 0, 2, 1, 3, 0, 3, 0},
        {"internal tangency, second larger", 1, 0, 2, 0, 0, 0, 3, 1, 3, 0, 3, 0},
        {"concentric", 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0, 0},
        {"apart", 0, 0, 1, 0, 3, 0, 1, 0, 0, 0, 0, 0},
        {"one inside the other", 0, 0, 5, 0, 1, 0, 1, 0, 0, 0, 0, 0},
        {"two points, radical line across x", 0, 0, 5, 0, 6, 0, 5, 2, 3, 4, 3, -4},
        {"two points, radical line across y", 0, 0, 5, 0, 0, 6, 5, 2, 4, 3, -4, 3},
        {"tiny circles touching", 0, 0, t, 0, 0.000015, 0, t, 0, 0, 0, 0, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        XYZ o1(99, 99, 99);
        XYZ o2(99, 99, 99);
        int k = sktIntersectCircleCircle(XYZ(row.ax, row.ay, 0), row.bx, XYZ(row.mx, row.my, 0),
                                         row.r, o1, o2);
        ExpectIntersections(row, k, o1, o2);
    }
}

TEST(OffsetLine, SideFromTheOldLineAppliedToTheNewOne)
{
    struct Row
    {
        const char* name;
        double refY, refX, value, newThroughY, newDirX, newDirY, x, y;
    } rows[] = {
        {"reference left", 5, 0, 2, 0, 1, 0, 0, 2},
        {"reference right", -5, 0, 2, 0, 1, 0, 0, -2},
        {"reference on the old line goes right", 0, 7, 2, 0, 1, 0, 0, -2},
        {"negative value crosses over", 5, 0, -2, 0, 1, 0, 0, -2},
        {"line moved up keeps the reference side", 5, 0, 2, 1, 1, 0, 0, 3},
        {"line turned to +y offsets to its left", 5, 0, 2, 0, 0, 1, -2, 0},
        {"value below the tolerance keeps the line", 5, 0, 0.000009, 0, 1, 0, 0, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* p = s.Point(0, 0);
        CMathline* l = s.Line(0, 0, 1, 0);
        CRel* rel = s.PL(p, l, row.value);
        SetLine(l, 0, row.newThroughY, row.newDirX, row.newDirY);

        MATHLINE m = sktGetOffsetLine(l, XYZ(row.refX, row.refY, 0), rel);

        ExpectAt(m.GetThroughPoint(), row.x, row.y);
        EXPECT_NEAR(m.GetDirection().x, row.newDirX, kEps);
        EXPECT_NEAR(m.GetDirection().y, row.newDirY, kEps);
    }
}
