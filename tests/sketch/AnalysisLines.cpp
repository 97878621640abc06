// Whole sketches with lines through the host's analysis sequence: rectangles, lines held by
// angles, and bodies whose relative rotation angles settle.
#include "sketch/AnalysisTestUtil.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using analysistest::Body;
using analysistest::ExpectRows;
using analysistest::Row;
using qsolver::Sketch;
using qsolver::ValueSpec;
using qsolver::Verdict;

namespace
{

const double kPi = 2 * std::acos(0.0);

// A 4 x 3 rectangle of lines on a fixed bottom line, its left side through a fixed point, with
// a corner point on each pair of neighbouring sides.
void Rectangle(Sketch& s)
{
    s.AddLine("B", 0, 0, 1, 0);
    s.AddLine("T", 0, 3, 1, 0);
    s.AddLine("L", 0, 0, 0, 1);
    s.AddLine("R", 4, 0, 0, 1);
    s.AddPoint("O", 0, -1);
    s.AddFix("fb", "B");
    s.AddFix("fo", "O");
    s.AddLLang("bl", "B", "L", ValueSpec::Own(kPi / 2));
    s.AddPLdis("ol", "O", "L", ValueSpec::Own(0));
    s.AddLLang("bt", "B", "T", ValueSpec::Own(0));
    s.AddLLdis("height", "B", "T", ValueSpec::Own(3));
    s.AddLLang("lr", "L", "R", ValueSpec::Own(0));
    s.AddLLdis("width", "L", "R", ValueSpec::Own(4));
    const char* corners[4][3] = {
        {"P1", "B", "L"}, {"P2", "B", "R"}, {"P3", "T", "R"}, {"P4", "T", "L"}};
    for (const auto& c : corners)
    {
        s.AddPoint(c[0], 0, 0);
        s.AddPLdis(std::string(c[0]) + c[1], c[0], c[1], ValueSpec::Own(0));
        s.AddPLdis(std::string(c[0]) + c[2], c[0], c[2], ValueSpec::Own(0));
    }
}

// Fixed lines B and C, a fixed point O, and a free line L.
void FixedLines(Sketch& s)
{
    s.AddLine("B", 0, 0, 1, 0);
    s.AddLine("C", 0, 0, 1, 1);
    s.AddPoint("O", 0, 5);
    s.AddFix("fb", "B");
    s.AddFix("fc", "C");
    s.AddFix("fo", "O");
    s.AddLine("L", 0, 2, 1, 0);
}

// L held parallel to B at a distance.
void ParallelGap(Sketch& s)
{
    FixedLines(s);
    s.AddLLdis("g", "B", "L", ValueSpec::Own(2));
}

// Two rigid bodies with lines along their sides, the first turned against the second.
void TurnedBodies(Sketch& s, const char* from, const char* to, double angle)
{
    Body(s, "X", 0, true);
    Body(s, "Y", 5, true);
    s.AddLLang("a", from, to, ValueSpec::Own(angle));
}

// With their rotation settled, two bodies can only slide; two distances to parallel lines both
// fix the same slide. At 45 degrees the bodies still turn and nothing is wrong.
void SlidingBodies(Sketch& s, double angle)
{
    TurnedBodies(s, "XM", "YM", angle);
    s.AddPLdis("h1", "X3", "YL", ValueSpec::Own(1));
    s.AddPLdis("h2", "X4", "YN", ValueSpec::Own(1));
}

TEST(AnalysisLines, WholeSketches)
{
    const char* const kSliding = "fixed[] [X3 X2 X1 XM X4] [Y3 Y2 Y1 YM Y4 YL YN]";
    const Row rows[] = {
        {"fully dimensioned rectangle is stripped onto its fixed geometry", Rectangle, Verdict::Ok,
         "fixed[B O]", "T L R P1 P2 P3 P4"},
        {"rectangle with one dimension too many contradicts its fixed geometry",
         [](Sketch& s)
         {
             Rectangle(s);
             s.AddLLdis("height2", "B", "T", ValueSpec::Own(3));
         },
         Verdict::FixedContradiction},
        {"an angle and a distance from a fixed point place a line",
         [](Sketch& s)
         {
             FixedLines(s);
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi / 3));
             s.AddPLdis("d", "O", "L", ValueSpec::Own(1));
         },
         Verdict::Ok},
        {"two angles to fixed lines turn a line twice",
         [](Sketch& s)
         {
             FixedLines(s);
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi / 3));
             s.AddLLang("a2", "C", "L", ValueSpec::Own(kPi / 6));
             s.AddPLdis("d", "O", "L", ValueSpec::Own(1));
         },
         Verdict::FixedContradiction},
        {"a parallel distance with an angle of zero",
         [](Sketch& s)
         {
             ParallelGap(s);
             s.AddLLang("a", "B", "L", ValueSpec::Own(0));
         },
         Verdict::Ok},
        {"a parallel distance with an angle of pi within tolerance",
         [](Sketch& s)
         {
             ParallelGap(s);
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi - 0.5e-4));
         },
         Verdict::Ok},
        {"a parallel distance with a right angle",
         [](Sketch& s)
         {
             ParallelGap(s);
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi / 2));
         },
         Verdict::FixedContradiction},
        {"a parallel distance with a distance from a point",
         [](Sketch& s)
         {
             ParallelGap(s);
             s.AddPLdis("d", "O", "L", ValueSpec::Own(1));
         },
         Verdict::FixedContradiction},
        {"an angle and two distances hold two bodies",
         [](Sketch& s)
         {
             TurnedBodies(s, "XL", "YL", 0.5);
             s.AddPPdis("j3", "X3", "Y3", ValueSpec::Own(5));
             s.AddPPdis("j4", "X4", "Y4", ValueSpec::Own(5));
         },
         Verdict::Ok, "fixed[] [X1 X3 X2 X4 XL] [Y1 Y2 Y3 YL Y4]"},
        // Two angles between rigid bodies fix one rotation twice.
        {"two angles and a distance between two bodies are over-constrained",
         [](Sketch& s)
         {
             TurnedBodies(s, "XL", "YL", 0.5);
             s.AddLLang("a2", "XM", "YM", ValueSpec::Own(0.7));
             s.AddPPdis("j3", "X3", "Y3", ValueSpec::Own(5));
         },
         Verdict::OverConstrained, "fixed[] [X2 X3 X1 XM XL] [Y2 Y1 Y3 YL YM]"},
        {"right angle makes parallel distances fix one translation twice",
         [](Sketch& s) { SlidingBodies(s, kPi / 2); }, Verdict::OverConstrained, kSliding},
        {"right angle within tolerance", [](Sketch& s) { SlidingBodies(s, kPi / 2 + 0.9e-4); },
         Verdict::OverConstrained, kSliding},
        {"right angle just past tolerance", [](Sketch& s) { SlidingBodies(s, kPi / 2 + 1.1e-4); },
         Verdict::Ok, kSliding},
        {"half a right angle", [](Sketch& s) { SlidingBodies(s, kPi / 4); }, Verdict::Ok, kSliding},
    };
    ExpectRows(rows);
}

} // namespace
