// Faults the generated sketches found, each as the smallest sketch that shows it, asserting
// what a host sees now: every relation holding, or a failed drive that gave back every bit.
#include "drive/DriveCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

using namespace qsolver;
using namespace drivecheck;

// The line is placed as a common tangent of its two point distances. P0 lies 7.5e-5 further from
// P2 than its distance to the line, a ratio within the 1e-5 that counts as an exact tangent, so
// the tangent is taken square to P0P2: the line turns by 3e-3 rad (placing a line from two
// distances does not look at a held direction) and r1 ends up off by 7.5e-5. The solver reports
// success; the host's check must fail the drive and give back every bit.
TEST(DriveRegression, NoOpDriveThatTurnsAHeldLineFailsAndRestoresEveryBit)
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

    ExpectCheckFailsAndRestores(s, "r0", 0, "relation 'r1' is off by");
}

// A pass that places nodes by construction does not measure unknown values again: these drives
// left the number of a shared unknown value stale although its relations measured alike. A host
// shows that number, so it must be what the relations measure.
TEST(DriveRegression, SharedUnknownValueShowsWhatItsRelationsMeasureAfterADrive)
{
    const DriveCase rows[] = {
        {"two coincident points tied to a point that moves",
         [](Sketch& s)
         {
             s.AddPoint("P0", -2, 3.175498915613675);
             s.AddPoint("P1", -3, -6.019943467084894);
             s.AddPoint("P2", -2, 3.175498915613675);
             s.AddPoint("P3", 8.178941455788856, -1);
             s.AddValue("v0", 0, false);
             s.AddValue("v1", 9.249657324113642, false);
             s.AddPPdis("r0", "P0", "P2", ValueSpec::Shared("v0"));
             s.AddPPdis("r1", "P0", "P2", ValueSpec::Shared("v0"));
             s.AddFix("r3", "P3");
             s.AddPPdis("r4", "P3", "P1", ValueSpec::Own(12.25432839794507));
             s.AddPPdis("r5", "P1", "P2", ValueSpec::Shared("v1"));
             s.AddPPdis("r6", "P0", "P1", ValueSpec::Shared("v1"));
         },
         "r4", 14.180355133195018},
        {"duplicate distances from a fixed point to lines an angle turns",
         [](Sketch& s)
         {
             s.AddPoint("P0", 4.573860134778595, 9.862662143061712);
             s.AddLine("L0", 0, 2, 0.9366325715062488, -0.3503133254582128);
             s.AddLine("L1", 0.5454003432145846, -4.733822868614936, 0.9366325715062488,
                       -0.3503133254582128);
             s.AddLine("L2", 4.573860134778595, 9.862662143061712, -0.6723240997281535,
                       0.7402569181876842);
             s.AddLine("L3", -3, -1.1686341155905549, 0.2934884252918592, -0.955962626999458);
             s.AddValue("v0", 0, false);
             s.AddValue("v1", 15.082766437496606, false);
             s.AddValue("v2", 10.477884998849246, false);
             s.AddFix("r0", "P0");
             s.AddPLdis("r1", "P0", "L2", ValueSpec::Shared("v0"));
             s.AddPLdis("r2", "P0", "L1", ValueSpec::Shared("v1"));
             s.AddLLang("r3", "L1", "L3", ValueSpec::Own(5.368168513578298));
             s.AddPLdis("r4", "P0", "L1", ValueSpec::Shared("v1"));
             s.AddLLang("r5", "L1", "L0", ValueSpec::Own(0));
             s.AddPLdis("r6", "P0", "L3", ValueSpec::Shared("v2"));
             s.AddPLdis("r7", "P0", "L2", ValueSpec::Shared("v0"));
             s.AddPLdis("r8", "P0", "L3", ValueSpec::Shared("v2"));
         },
         "r8", 11.41639553975507},
    };
    for (const DriveCase& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        row.build(s);
        ASSERT_TRUE(s.Analyse().IsOk());
        const Snapshot before = Snap(s);

        const DriveResult r = s.Drive({{row.rel, row.value}});

        EXPECT_TRUE(r.IsOk()) << DriveStepText(r.failed) << ": " << r.message;
        EXPECT_TRUE(AllHold(s)); // unknown values included
        bool moved = false;
        for (const auto& node : before)
        {
            moved = moved || !SameBits(before, Snap(s), node.first);
        }
        EXPECT_TRUE(moved);
    }
}
