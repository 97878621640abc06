// The drive's check holds fixed nodes where they were: it learns them from the sketch's fixes,
// so removing a fix must free its node, and a node fixed twice stays held while one fix remains.
#include "qsolver/Sketch.h"
#include "qsolver/SketchDrive.h"

#include <gtest/gtest.h>

#include <cmath>

using qsolver::Sketch;
using qsolver::ValueSpec;

namespace
{
// Two fixed points and an apex at distances from both; the apex carries two extra fixes.
void BuildTriangle(Sketch& sketch)
{
    sketch.AddPoint("a", 0, 0);
    sketch.AddPoint("b", 4, 0);
    sketch.AddPoint("c", 0, 3);
    sketch.AddFix("fa", "a");
    sketch.AddFix("fb", "b");
    sketch.AddPPdis("ac", "a", "c", ValueSpec::Own(3));
    sketch.AddPPdis("bc", "b", "c", ValueSpec::Own(5));
    sketch.AddFix("fc1", "c");
    sketch.AddFix("fc2", "c");
}
} // namespace

TEST(HeldNodes, RemovingEveryFixOfANodeLetsTheDriveMoveIt)
{
    Sketch sketch;
    BuildTriangle(sketch);
    // One fix left: the apex may not move, so a longer side cannot be had.
    ASSERT_TRUE(sketch.RemoveRelation("fc1"));
    EXPECT_FALSE(sketch.Drive({{"ac", 3.5}}).IsOk());
    EXPECT_EQ(sketch.FindPoint("c")->m_Pos.y, 3.0);

    ASSERT_TRUE(sketch.RemoveRelation("fc2"));
    const auto result = sketch.Drive({{"ac", 3.5}});
    ASSERT_TRUE(result.IsOk()) << qsolver::DriveStepText(result.failed) << " " << result.message;
    const XYZ& c = sketch.FindPoint("c")->m_Pos;
    EXPECT_NEAR(std::hypot(c.x, c.y), 3.5, 1e-9);
    EXPECT_NEAR(std::hypot(c.x - 4, c.y), 5.0, 1e-9);
    EXPECT_GT(c.y, 0.0);
}
