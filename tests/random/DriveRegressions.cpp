// Faults the generated sketches found, each as the smallest sketch that shows it. Disabled tests
// reproduce faults in the solver or the host layer that are not fixed yet: each reports success
// from a drive while a relation it was asked to hold is off.
#include "drive/DriveCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace qsolver::host;
using namespace drivecheck;

namespace
{
const double kHalfPi = std::acos(0.0);

// What a host must see after any drive: either every relation holds, or the drive failed and
// every node is exactly where it was.
::testing::AssertionResult HoldsOrRestored(Sketch& s, const Snapshot& before, const DriveResult& r)
{
    if (r.IsOk())
    {
        return AllHold(s);
    }
    for (const auto& node : before)
    {
        if (!SameBits(before, Snap(s), node.first))
        {
            return ::testing::AssertionFailure() << node.first << " moved in a failed drive";
        }
    }
    return ::testing::AssertionSuccess();
}
} // namespace

TEST(DriveRegression, DISABLED_CoincidentPointsStayTogetherWhenTheirDistanceIsDriven)
{
    Sketch s;
    s.AddPoint("P", 1, 0);
    s.AddPoint("Q", 1, 0);
    s.AddFix("fixP", "P");
    s.AddPPdis("d", "P", "Q", ValueSpec::Own(0));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"d", 0.5}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

TEST(DriveRegression, DISABLED_LineThroughAFixedPointIgnoresANewDistance)
{
    Sketch s;
    s.AddPoint("P", 3, 3);
    s.AddLine("L", 3, 3, -1, 1);
    s.AddFix("fixP", "P");
    s.AddPLdis("d", "P", "L", ValueSpec::Own(0));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"d", 0.5}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

TEST(DriveRegression, DISABLED_CentrePointOfACircleIgnoresADistanceChange)
{
    Sketch s;
    s.AddPoint("P0", 0, 0);
    s.AddPoint("P1", 4, 3);
    s.AddCircle("C", 4, 3, 2);
    s.AddFix("fix", "P0");
    s.AddPPdis("d", "P1", "P0", ValueSpec::Own(5));
    s.AddRad("r", "P1", "C");
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"d", 6}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

TEST(DriveRegression, DISABLED_LineBetweenAFixedPointAndAParallelLineNeverMoves)
{
    struct Row
    {
        const char* name;
        const char* rel;
        double value;
    };
    const Row rows[] = {{"line to line", "lines", 2.5}, {"point to line", "toPoint", 2.5}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        s.AddPoint("P", 0, 3);
        s.AddLine("L0", 0, 0, 1, 0);
        s.AddLine("L1", 0, -4, 1, 0);
        s.AddFix("fix", "P");
        s.AddPLdis("toPoint", "P", "L0", ValueSpec::Own(3));
        s.AddLLdis("lines", "L0", "L1", ValueSpec::Own(4));
        ASSERT_TRUE(s.Analyse().IsOk());
        const Snapshot before = Snap(s);

        const DriveResult r = s.Drive({{row.rel, row.value}});

        EXPECT_TRUE(HoldsOrRestored(s, before, r));
    }
}

TEST(DriveRegression, DISABLED_ChainOfAnglesFromAFixedLineIgnoresEveryAngleChange)
{
    struct Row
    {
        const char* name;
        const char* rel;
        double value;
    };
    const Row rows[] = {{"first angle", "a", 1.4}, {"second angle", "b", 5.5}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        s.AddLine("L0", 0, 0, 1, 0);
        s.AddLine("L1", 0, 2, 0.5, std::sqrt(0.75));
        s.AddLine("L2", 0, 0, 0, 1);
        s.AddFix("fix", "L0");
        s.AddLLang("a", "L0", "L2", ValueSpec::Own(kHalfPi));
        s.AddLLang("b", "L2", "L1", ValueSpec::Own(11.0 * kHalfPi / 3.0));
        ASSERT_TRUE(AllHold(s));
        ASSERT_TRUE(s.Analyse().IsOk());
        const Snapshot before = Snap(s);

        const DriveResult r = s.Drive({{row.rel, row.value}});

        EXPECT_TRUE(HoldsOrRestored(s, before, r));
    }
}

TEST(DriveRegression, DISABLED_LineAtADistanceFromATurnedLineStaysWhereItWas)
{
    Sketch s;
    s.AddLine("L0", 0, 0, 1, 0);
    s.AddLine("L2", 0, 0, 0, 1);
    s.AddLine("L1", 2, 0, 0, 1);
    s.AddFix("fix", "L0");
    s.AddLLang("a", "L0", "L2", ValueSpec::Own(kHalfPi));
    s.AddLLdis("d", "L2", "L1", ValueSpec::Own(2));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"a", 1.4}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

TEST(DriveRegression, DISABLED_RelationSharingTheChangedValueInARigidPartKeepsTheOldValue)
{
    // L0 and L1 are parallel, L1 through the fixed P2; the fixed P0 and the free P1 lie at the
    // shared distance v from L0, and P1 also from L1.
    Sketch s;
    s.AddPoint("P0", 3, 2);
    s.AddPoint("P1", 3, 2);
    s.AddPoint("P2", 0, 0);
    s.AddLine("L0", 0, 0, 1, 0);
    s.AddLine("L1", 0, 0, 1, 0);
    s.AddValue("v", 2, true);
    s.AddPLdis("onL1", "P1", "L1", ValueSpec::Shared("v"));
    s.AddFix("fixP2", "P2");
    s.AddPLdis("onL0", "P0", "L0", ValueSpec::Shared("v"));
    s.AddFix("fixP0", "P0");
    s.AddPLdis("p2L1", "P2", "L1", ValueSpec::Own(0));
    s.AddPLdis("p1L0", "P1", "L0", ValueSpec::Shared("v"));
    s.AddLLang("flat", "L1", "L0", ValueSpec::Own(0));
    ASSERT_TRUE(AllHold(s));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"p1L0", 1.5}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

TEST(DriveRegression, DISABLED_FixedLineDirectionChangesInItsLastBitsInADrive)
{
    // (1, 1) normalised once gives 0.70710678118654746 per component; normalising that again
    // gives 0.70710678118654757.
    Sketch s;
    s.AddLine("base", 0, 0, 1, 1);
    s.AddPoint("B", 3, 3);
    s.AddFix("fixBase", "base");
    s.AddPLdis("bOnBase", "B", "base", ValueSpec::Own(0));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"bOnBase", 0.01}});

    ASSERT_TRUE(r.IsOk());
    EXPECT_TRUE(SameBits(before, Snap(s), "base"));
}

TEST(DriveRegression, DISABLED_NearlyFlatTriangleMissesADistanceByMicrons)
{
    // P1, P3, P2 lie almost on one line: P3 sits where two nearly tangent circles meet.
    Sketch s;
    s.AddPoint("P0", -4, -5.587358694916491);
    s.AddPoint("P1", -4.033127423528609, -6.4794709665790675);
    s.AddPoint("P2", -4, 1.3947270066427713);
    s.AddPoint("P3", -4, 1.0060417688540042);
    s.AddPPdis("r0", "P3", "P2", ValueSpec::Own(0.38868523778876707));
    s.AddPPdis("r1", "P1", "P2", ValueSpec::Own(7.874267657863845));
    s.AddPPdis("r2", "P1", "P0", ValueSpec::Own(0.892727131569668));
    s.AddPPdis("r3", "P3", "P1", ValueSpec::Own(7.485586038415453));
    ASSERT_TRUE(AllHold(s, 1e-9));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"r2", 0.797034382867309}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

TEST(DriveRegression, DISABLED_SecondUnknownAngleBetweenTheSameLinesLosesADistance)
{
    // Without the unknown angle r3 the same drive holds every relation.
    Sketch s;
    s.AddPoint("P0", 2.4936458935424266, 2.3056070299771907);
    s.AddLine("L0", 3, 1, -0.7071067811865477, -0.7071067811865475);
    s.AddLine("L1", 4.449768799141475, -2.749038987652847, 0.8533680975315464, -0.5213088241296027);
    s.AddFix("r0", "P0");
    s.AddLLang("r1", "L0", "L1", ValueSpec::Own(1.8078105409158634), false, true);
    s.AddPLdis("r2", "P0", "L1", ValueSpec::Own(3.2937295239895317));
    s.AddLLang("r3", "L1", "L0", ValueSpec::Own(4.475374766263723, false));
    s.AddPLdis("r4", "P0", "L0", ValueSpec::Own(1.281250006819505));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"r1", 1.5906966297632852}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

TEST(DriveRegression, DISABLED_LineWithAFixedDirectionTurnsInADriveThatChangesNothing)
{
    Sketch s;
    s.AddPoint("P0", 5.25792019264207, -4);
    s.AddPoint("P2", -5.368646173729481, 6.559538233980298);
    s.AddPoint("P3", -1, 1);
    s.AddLine("L0", -5.368646173729481, 6.559538233980298, 0.7071067811865476, 0.7071067811865475,
              true);
    s.AddPLdis("r0", "P2", "L0", ValueSpec::Own(0));
    s.AddPLdis("r1", "P0", "L0", ValueSpec::Own(14.980838229836301));
    s.AddPPdis("r2", "P2", "P3", ValueSpec::Own(7.0706106360292535));
    ASSERT_TRUE(AllHold(s, 1e-9));
    ASSERT_TRUE(s.Analyse().IsOk());
    const VECTOR before = s.FindLine("L0")->m_Line.m_Direction;

    const DriveResult r = s.Drive({{"r0", 0}});

    ASSERT_TRUE(r.IsOk());
    const VECTOR after = s.FindLine("L0")->m_Line.m_Direction;
    EXPECT_NEAR(after.x, before.x, 1e-15);
    EXPECT_NEAR(after.y, before.y, 1e-15);
    EXPECT_TRUE(AllHold(s));
}

// The file reader refuses these; a host that calls the layer directly gets no such check.
TEST(DriveRegression, DISABLED_HostTakesARelationOfAPointWithItself)
{
    Sketch s;
    s.AddPoint("P", 1, 1);
    EXPECT_EQ(s.AddPPdis("d", "P", "P", ValueSpec::Own(3)), nullptr);
}

TEST(DriveRegression, DISABLED_HostTakesANegativeDistance)
{
    Sketch s;
    s.AddPoint("P", 0, 0);
    s.AddPoint("Q", 1, 0);
    s.AddFix("fix", "P");
    EXPECT_EQ(s.AddPPdis("bad", "P", "Q", ValueSpec::Own(-1)), nullptr);
    s.AddPPdis("d", "P", "Q", ValueSpec::Own(1));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"d", -2}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

// The fuzzer's raw doubles: a distance whose square overflows cannot be measured again.
TEST(DriveRegression, DISABLED_HostDrivesToANonFiniteOrOverflowingValue)
{
    const double values[] = {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(), 2.9491568921462592e290};
    for (double value : values)
    {
        SCOPED_TRACE(value);
        Sketch s;
        s.AddPoint("P", 0, 0);
        s.AddPoint("Q", 1, 0);
        s.AddFix("fix", "P");
        s.AddPPdis("d", "P", "Q", ValueSpec::Own(1));
        ASSERT_TRUE(s.Analyse().IsOk());
        const Snapshot before = Snap(s);

        const DriveResult r = s.Drive({{"d", value}});

        EXPECT_TRUE(HoldsOrRestored(s, before, r));
    }
}
