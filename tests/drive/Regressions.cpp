// Drives that once reported success while a relation was off, and requests a host must refuse.
// A host must see either every relation holding or a failed drive with every node exactly where
// it was.
#include "drive/DriveCheck.h"
#include "common/SketchRows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

using sketchrows::Points;
using namespace qsolver;
using namespace drivecheck;

namespace
{
const double kHalfPi = std::acos(0.0);

// A fixed point, a line at a distance from it, and a line parallel to that one: either distance
// changed must move the lines.
void LineBetweenFixedPointAndParallelLine(Sketch& s)
{
    s.AddPoint("P", 0, 3);
    s.AddLine("L0", 0, 0, 1, 0);
    s.AddLine("L1", 0, -4, 1, 0);
    s.AddFix("fix", "P");
    s.AddPLdis("toPoint", "P", "L0", ValueSpec::Own(3));
    s.AddLLdis("lines", "L0", "L1", ValueSpec::Own(4));
}

// An angle chain from a fixed line: the driven angle's line turned but the line after it kept
// its direction, so the second angle was off.
void ChainOfAnglesFromAFixedLine(Sketch& s)
{
    s.AddLine("L0", 0, 0, 1, 0);
    s.AddLine("L1", 0, 2, 0.5, std::sqrt(0.75));
    s.AddLine("L2", 0, 0, 0, 1);
    s.AddFix("fix", "L0");
    s.AddLLang("a", "L0", "L2", ValueSpec::Own(kHalfPi));
    s.AddLLang("b", "L2", "L1", ValueSpec::Own(11.0 * kHalfPi / 3.0));
}

void RunCase(const DriveCase& row)
{
    SCOPED_TRACE(row.name);
    Sketch s;
    row.build(s);
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{row.rel, row.value}});

    EXPECT_TRUE(HoldsOrRestored(s, before, r)) << DriveStepText(r.failed) << ": " << r.message;
}
} // namespace

// Each of these placed a node by a construction that cannot meet the new value (a direction
// taken from two coincident points, a line through its own point, a line placed before the line
// it hangs on, a node left in place because nothing it is built from changed) and the drive
// still reported success. The host's check of the result now reports them and restores.
TEST(DriveRegression, ConstructionsThatCannotMeetTheNewValueFailAndRestore)
{
    const DriveCase cases[] = {
        {"line through a fixed point ignores a new distance",
         [](Sketch& s)
         {
             s.AddPoint("P", 3, 3);
             s.AddLine("L", 3, 3, -1, 1);
             s.AddFix("fixP", "P");
             s.AddPLdis("d", "P", "L", ValueSpec::Own(0));
         },
         "d", 0.5},
        {"centre point of a circle ignores a distance change",
         [](Sketch& s)
         {
             Points(s, {{"P0", 0, 0}, {"P1", 4, 3}});
             s.AddCircle("C", 4, 3, 2);
             s.AddFix("fix", "P0");
             s.AddPPdis("d", "P1", "P0", ValueSpec::Own(5));
             s.AddRad("r", "P1", "C");
         },
         "d", 6},
        {"line between a fixed point and a parallel line: line to line",
         &LineBetweenFixedPointAndParallelLine, "lines", 2.5},
        {"line between a fixed point and a parallel line: point to line",
         &LineBetweenFixedPointAndParallelLine, "toPoint", 2.5},
        {"chain of angles from a fixed line: first angle", &ChainOfAnglesFromAFixedLine, "a", 1.4},
        {"chain of angles from a fixed line: second angle", &ChainOfAnglesFromAFixedLine, "b", 5.5},
        {"line at a distance from a turned line stays where it was",
         [](Sketch& s)
         {
             s.AddLine("L0", 0, 0, 1, 0);
             s.AddLine("L2", 0, 0, 0, 1);
             s.AddLine("L1", 2, 0, 0, 1);
             s.AddFix("fix", "L0");
             s.AddLLang("a", "L0", "L2", ValueSpec::Own(kHalfPi));
             s.AddLLdis("d", "L2", "L1", ValueSpec::Own(2));
         },
         "a", 1.4},
        {"nearly flat triangle misses a distance by microns",
         [](Sketch& s)
         {
             Points(s, {{"P0", -4, -5.587358694916491},
                        {"P1", -4.033127423528609, -6.4794709665790675},
                        {"P2", -4, 1.3947270066427713},
                        {"P3", -4, 1.0060417688540042}});
             s.AddPPdis("r0", "P3", "P2", ValueSpec::Own(0.38868523778876707));
             s.AddPPdis("r1", "P1", "P2", ValueSpec::Own(7.874267657863845));
             s.AddPPdis("r2", "P1", "P0", ValueSpec::Own(0.892727131569668));
             s.AddPPdis("r3", "P3", "P1", ValueSpec::Own(7.485586038415453));
         },
         "r2", 0.797034382867309},
        {"second unknown angle between the same lines loses a distance",
         [](Sketch& s)
         {
             s.AddPoint("P0", 2.4936458935424266, 2.3056070299771907);
             s.AddLine("L0", 3, 1, -0.7071067811865477, -0.7071067811865475);
             s.AddLine("L1", 4.449768799141475, -2.749038987652847, 0.8533680975315464,
                       -0.5213088241296027);
             s.AddFix("r0", "P0");
             s.AddLLang("r1", "L0", "L1", ValueSpec::Own(1.8078105409158634), false, true);
             s.AddPLdis("r2", "P0", "L1", ValueSpec::Own(3.2937295239895317));
             s.AddLLang("r3", "L1", "L0", ValueSpec::Own(4.475374766263723, false));
             s.AddPLdis("r4", "P0", "L0", ValueSpec::Own(1.281250006819505));
         },
         "r1", 1.5906966297632852},
        {"relation sharing the changed value in a rigid part keeps the old value",
         [](Sketch& s)
         {
             Points(s, {{"P0", 3, 2}, {"P1", 3, 2}, {"P2", 0, 0}});
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
         },
         "p1L0", 1.5},
        // Not a construction: a finite distance whose square overflows cannot be measured again,
        // and the drive reported a sketch of infinities.
        {"distance whose square overflows",
         [](Sketch& s)
         {
             Points(s, {{"P", 0, 0}, {"Q", 1, 0}});
             s.AddFix("fix", "P");
             s.AddPPdis("d", "P", "Q", ValueSpec::Own(1));
         },
         "d", 2.9491568921462592e290},
    };
    for (const DriveCase& row : cases)
    {
        RunCase(row);
    }
}

// Coincident points kept together when their distance was driven, and the drive reported
// success. The failed check names the relation that is off, so that a host can point at it.
TEST(DriveRegression, FailedCheckNamesTheRelationThatIsOff)
{
    Sketch s;
    Points(s, {{"P", 1, 0}, {"Q", 1, 0}});
    s.AddFix("fixP", "P");
    s.AddPPdis("d", "P", "Q", ValueSpec::Own(0));

    // The value is back too: the next drive starts from the sketch as it was.
    ExpectCheckFailsAndRestores(s, "d", 0.5, "relation 'd' is off by");
    EXPECT_EQ(s.FindRelation("d")->m_pVal->m_dValue, 0.0);
    EXPECT_STREQ(DriveStepText(DriveStep::Verify), "the re-solved sketch breaks a relation");
}

// Re-setting a fixed line from its own direction rounds the direction in its last bits; a
// fixed node must come out of a drive exactly as it went in.
TEST(DriveRegression, FixedLineDirectionKeepsItsBitsInADrive)
{
    Sketch s;
    s.AddLine("base", 0, 0, 1, 1);
    s.AddPoint("B", 3, 3);
    s.AddFix("fixBase", "base");
    s.AddPLdis("bOnBase", "B", "base", ValueSpec::Own(0));
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);

    const DriveResult r = s.Drive({{"bOnBase", 0.01}});

    ASSERT_TRUE(r.IsOk()) << r.message;
    EXPECT_TRUE(SameBits(before, Snap(s), "base"));
    EXPECT_TRUE(AllHold(s));
}

// Values that cannot be a dimension are refused before anything is touched; angles may be
// typed as any finite number.
TEST(DriveRegression, RequestCheckRefusesValuesNoDimensionCanTake)
{
    const double inf = std::numeric_limits<double>::infinity();
    struct Row
    {
        const char* name;
        const char* rel;
        double value;
        bool refused;
    };
    const Row rows[] = {
        {"NaN distance", "d", std::numeric_limits<double>::quiet_NaN(), true},
        {"infinite distance", "d", inf, true},
        {"negative distance", "d", -2, true},
        {"smallest negative distance", "d", -std::numeric_limits<double>::denorm_min(), true},
        {"zero distance", "d", 0, false},
        {"infinite angle", "a", -inf, true},
        {"negative angle", "a", -kHalfPi / 3.0, false},
        {"angle beyond a turn", "a", 9.0 * kHalfPi / 2.0, false},
        {"zero radius", "r", 0, true},
        {"negative radius", "r", -1, true},
        {"new radius", "r", 3, false},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        Points(s, {{"P", 0, 0}, {"Q", 1, 0}});
        s.AddLine("L0", 0, 0, 1, 0);
        s.AddLine("L1", 0, 0, 1, 1);
        s.AddCircle("C", 5, 5, 1);
        s.AddFix("fixP", "P");
        s.AddFix("fixL0", "L0");
        s.AddPPdis("d", "P", "Q", ValueSpec::Own(1));
        s.AddLLang("a", "L0", "L1", ValueSpec::Own(kHalfPi / 2.0));
        s.AddRad("r", "P", "C");
        ASSERT_TRUE(s.Analyse().IsOk());
        const Snapshot before = Snap(s);
        const double oldValue = s.FindRelation(row.rel)->m_pVal->m_dValue;

        const DriveResult r = s.Drive({{row.rel, row.value}});

        if (row.refused)
        {
            EXPECT_EQ(r.failed, DriveStep::BadRequest);
            EXPECT_FALSE(r.message.empty());
            EXPECT_EQ(s.FindRelation(row.rel)->m_pVal->m_dValue, oldValue);
            EXPECT_TRUE(HoldsOrRestored(s, before, r));
        }
        else
        {
            EXPECT_TRUE(r.IsOk()) << DriveStepText(r.failed) << ": " << r.message;
            EXPECT_TRUE(AllHold(s));
        }
    }
}

// Far from the origin rounding alone exceeds 1e-6; a drive that holds as well as doubles allow
// there must not be refused.
TEST(DriveRegression, FarOutSketchIsJudgedRelativeToItsSize)
{
    Sketch s;
    Points(s, {{"P", 3e7, -2e7}, {"Q", 3e7 + 3, -2e7 + 4}, {"R", 3e7 + 6, -2e7}});
    s.AddFix("fix", "P");
    s.AddPPdis("pq", "P", "Q", ValueSpec::Own(5));
    s.AddPPdis("qr", "Q", "R", ValueSpec::Own(5));
    s.AddPPdis("pr", "P", "R", ValueSpec::Own(6));
    ASSERT_TRUE(s.Analyse().IsOk());

    const DriveResult r = s.Drive({{"pr", 7}});

    EXPECT_TRUE(r.IsOk()) << DriveStepText(r.failed) << ": " << r.message;
    EXPECT_TRUE(AllHold(s, 1e-6 * 3e7 / 1e4));
}
