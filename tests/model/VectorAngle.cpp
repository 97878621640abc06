// The directed angle between two planar directions.
#include "ModelTestSupport.h"

TEST(VectorAngle, CounterclockwiseInZeroToTwoPi)
{
    struct Row
    {
        const char* name;
        VECTOR a;
        VECTOR b;
        double expected;
    };
    const Row rows[] = {
        {"x to y", VECTOR(1, 0, 0), VECTOR(0, 1, 0), Pi() / 2},
        {"y to x", VECTOR(0, 1, 0), VECTOR(1, 0, 0), 3 * Pi() / 2},
        {"opposite", VECTOR(1, 0, 0), VECTOR(-1, 0, 0), Pi()},
        {"same direction, other length", VECTOR(1, 0, 0), VECTOR(2, 0, 0), 0.0},
        {"nearly opposite: below the cross threshold", VECTOR(1, 0, 0), VECTOR(-1, -0.0000001, 0),
         Pi()},
        {"nearly same: below the cross threshold", VECTOR(1, 0, 0), VECTOR(1, -0.00005, 0), 0.0},
        {"short vectors above the threshold", VECTOR(0.02, 0, 0), VECTOR(0, 0.02, 0), Pi() / 2},
        {"short vectors below the threshold count as opposite", VECTOR(0.005, 0, 0),
         VECTOR(0, 0.005, 0), Pi()},
        {"just above the threshold from a slant", VECTOR(1, 0, 0), VECTOR(1, 0.0002, 0),
         std::atan2(0.0002, 1.0)},
        {"a turned frame", VECTOR(1, 1, 0), VECTOR(-1, 1, 0), Pi() / 2},
        {"clockwise eighth", VECTOR(0, 1, 0), VECTOR(1, 1, 0), 2 * Pi() - Pi() / 4},
        {"z components are ignored", VECTOR(1, 0, 5), VECTOR(0, -1, -3), 3 * Pi() / 2},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        VECTOR a = row.a;
        VECTOR b = row.b;

        double angle = sktGetVectorToVectorAngle(a, b);

        EXPECT_NEAR(angle, row.expected, 1e-12);
        EXPECT_GE(angle, 0.0);
        EXPECT_LT(angle, 2 * Pi());
    }
}

// Parallel results are exact, and z is discarded in the caller's own vectors.
TEST(VectorAngle, ParallelResultsExactAndZDiscarded)
{
    VECTOR a(1, 0, 2);
    VECTOR b(-1, -0.0000001, -7);
    VECTOR c(3, 0, 0);

    EXPECT_EQ(sktGetVectorToVectorAngle(a, b), 2 * std::acos(0.0));
    EXPECT_EQ(sktGetVectorToVectorAngle(a, c), 0.0);
    EXPECT_EQ(a.z, 0.0);
    EXPECT_EQ(b.z, 0.0);
    EXPECT_EQ(a.x, 1.0);
}
