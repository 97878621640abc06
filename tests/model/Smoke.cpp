#include "Qsolver.h"

#include <gtest/gtest.h>

TEST(Smoke, Builds)
{
    CVert a(0.0, 0.0, 0.0);
    EXPECT_EQ(a.GetType(), SKT_NODE_POINT);
}
