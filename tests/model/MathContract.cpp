// The math value types: the results every construction and measure relies on.
#include "ModelTestSupport.h"

namespace
{
struct ScalarRow
{
    const char* name;
    double (*compute)();
    double expected;
};

struct PointRow
{
    const char* name;
    XYZ (*compute)();
    XYZ expected;
};

MATHLINE XAxis()
{
    return MATHLINE(XYZ(0, 0, 0), VECTOR(1, 0, 0));
}
} // namespace

TEST(MathContract, ScalarResults)
{
    const ScalarRow rows[] = {
        {"point below the x axis is 2 away, never -2",
         []
         {
             XYZ p(3, -2, 0);
             return XAxis().GetDistance(p);
         },
         2.0},
        {"parallel lines 3 apart",
         [] { return XAxis().GetDistance(MATHLINE(XYZ(7, 3, 0), VECTOR(-2, 0, 0))); }, 3.0},
        {"perpendicular lines meet: distance 0",
         [] { return XAxis().GetDistance(MATHLINE(XYZ(5, 3, 0), VECTOR(0, 1, 0))); }, 0.0},
        {"angle to x axis of (0,-1) is unsigned", [] { return VECTOR(0, -1, 0).AngleToXAxis(); },
         Pi() / 2},
        {"angle to x axis of (-1,0) is pi", [] { return VECTOR(-1, 0, 0).AngleToXAxis(); }, Pi()},
        {"line direction is stored as a unit vector",
         [] { return MATHLINE(XYZ(1, 1, 0), VECTOR(3, 4, 0)).GetDirection().Length(); }, 1.0},
        {"line through two points has a unit direction",
         [] { return MATHLINE(XYZ(1, 1, 0), XYZ(1, 9, 0)).GetDirection().y; }, 1.0},
        {"line angle is counterclockwise: x axis to y axis",
         [] { return XAxis().GetAngle(MATHLINE(XYZ(0, 0, 0), VECTOR(0, 1, 0))); }, Pi() / 2},
        {"line angle is counterclockwise: y axis to x axis",
         [] { return MATHLINE(XYZ(0, 0, 0), VECTOR(0, 1, 0)).GetAngle(XAxis()); }, 3 * Pi() / 2},
        {"zero vector stays zero when normalised",
         []
         {
             VECTOR v(0, 0, 0);
             v.Unit();
             return v.Length();
         },
         0.0},
    };
    for (const ScalarRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_NEAR(row.compute(), row.expected, 1e-12);
    }
}

TEST(MathContract, PointResults)
{
    const PointRow rows[] = {
        {"x axis meets x = 2 at (2, 0)",
         []
         {
             XYZ out(9, 9, 9);
             EXPECT_NE(XAxis().Intersect(MATHLINE(XYZ(2, 5, 0), VECTOR(0, 1, 0)), out), 0);
             return out;
         },
         XYZ(2, 0, 0)},
        {"inverse of a frame turned a quarter maps y to x",
         []
         {
             TRANSF t(XYZ(0, 0, 0), VECTOR(0, 0, 1), VECTOR(0, 1, 0));
             return XYZ(VECTOR(0, 1, 0) * t.Inverse());
         },
         XYZ(1, 0, 0)},
        {"identity moved by x then rotated a quarter maps origin to y",
         []
         {
             TRANSF t;
             t = t.Move(XYZ(1, 0, 0));
             t = t.RotateAroundZAxis(Pi() / 2);
             return XYZ(0, 0, 0) * t;
         },
         XYZ(0, 1, 0)},
        {"a vector is mapped by the rotation only",
         []
         {
             TRANSF t = TRANSF().Move(XYZ(5, 5, 0));
             return XYZ(VECTOR(1, 0, 0) * t);
         },
         XYZ(1, 0, 0)},
        {"a frame maps its own coordinates to the world",
         []
         {
             TRANSF t(XYZ(1, 2, 0), VECTOR(0, 0, 1), VECTOR(0, 1, 0));
             return XYZ(1, 0, 0) * t;
         },
         XYZ(1, 3, 0)},
        {"frame and inverse cancel",
         []
         {
             TRANSF t(XYZ(3, -1, 0), VECTOR(0, 0, 1), VECTOR(1, 1, 0));
             return (XYZ(2, 7, 0) * t) * t.Inverse();
         },
         XYZ(2, 7, 0)},
        {"projection onto a slanted line",
         [] { return MATHLINE(XYZ(0, 0, 0), VECTOR(1, 1, 0)).GetProjectPoint(XYZ(2, 0, 0)); },
         XYZ(1, 1, 0)},
        {"perpendicular line passes the point across the line",
         []
         {
             MATHLINE perp = XAxis().GetPerpendicularLine(XYZ(4, 3, 0));
             XYZ out;
             XAxis().Intersect(perp, out);
             return out;
         },
         XYZ(4, 0, 0)},
        {"parallel line keeps the direction",
         [] { return XYZ(XAxis().GetParallelLine(XYZ(0, 2, 0)).GetDirection()); }, XYZ(1, 0, 0)},
        {"a line mapped by a transform moves its point and turns its direction",
         []
         {
             MATHLINE l = XAxis() * TRANSF().Move(XYZ(0, 2, 0)).RotateAroundZAxis(Pi() / 2);
             XYZ p = l.GetThroughPoint();
             VECTOR d = l.GetDirection();
             return XYZ(p.x + d.x, p.y + d.y, 0);
         },
         XYZ(-2, 1, 0)},
    };
    for (const PointRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        XYZ got = row.compute();
        EXPECT_NEAR(got.x, row.expected.x, 1e-12);
        EXPECT_NEAR(got.y, row.expected.y, 1e-12);
        EXPECT_NEAR(got.z, row.expected.z, 1e-12);
    }
}
