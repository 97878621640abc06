// Whole sketches of points through the host's analysis sequence: verdicts, clusters, stripped
// nodes, and a sketch handed back as it was (values, their flags and geometry included).
#include "sketch/AnalysisTestUtil.h"

#include "common/SketchRows.h"

#include <gtest/gtest.h>

#include <string>

using analysistest::AnalyseHandingBack;
using analysistest::Body;
using analysistest::ExpectRows;
using analysistest::Row;
using analysistest::Text;
using qsolver::AnalysisResult;
using qsolver::Sketch;
using qsolver::ValueSpec;
using qsolver::Verdict;
using sketchrows::Distances;
using sketchrows::Points;

namespace
{

// A triangle with A fixed and B held on a fixed horizontal line: fully dimensioned.
void Triangle(Sketch& s, bool fixed = true)
{
    Points(s, {{"A", 0, 0}, {"B", 4, 0}, {"C", 4, 3}});
    Distances(s, {{"ab", "A", "B", 4}, {"bc", "B", "C", 3}, {"ca", "C", "A", 5}});
    if (fixed)
    {
        s.AddLine("H", 0, 0, 1, 0);
        s.AddFix("fa", "A");
        s.AddFix("fh", "H");
        s.AddPLdis("bh", "B", "H", ValueSpec::Own(0));
    }
}

void Join(Sketch& s, const std::string& a, const std::string& b, const ValueSpec& v)
{
    s.AddPPdis("j" + a + b, a, b, v);
}

// Bodies X and Y with corner i of one joined to corner i of the other by a distance of 5, for
// the first `joins` corners.
void Bodies(Sketch& s, int joins)
{
    Body(s, "X", 0);
    Body(s, "Y", 5);
    for (int i = 1; i <= joins; ++i)
    {
        Join(s, "X" + std::to_string(i), "Y" + std::to_string(i), ValueSpec::Own(5));
    }
}

// Two bodies joined by two known distances and an equal pair on the diagonal corners: the pair
// adds one unknown and two equations, one equation net, three in all.
void EqualPairBodies(Sketch& s)
{
    Bodies(s, 0);
    s.AddValue("same", 5, false);
    Join(s, "X1", "Y1", ValueSpec::Shared("same"));
    Join(s, "X2", "Y2", ValueSpec::Own(5));
    Join(s, "X3", "Y3", ValueSpec::Shared("same"));
    Join(s, "X4", "Y4", ValueSpec::Own(5));
}

// Three reference points and P among them.
void References(Sketch& s)
{
    Points(s, {{"R1", 0, 0}, {"R2", 4, 0}, {"R3", 0, 4}, {"P", 2, 2}});
    for (const char* r : {"R1", "R2", "R3"})
    {
        s.SetReference(r, 7);
    }
}

TEST(Analysis, WholeSketches)
{
    const Row rows[] = {
        {"fully dimensioned triangle is stripped onto its fixed geometry",
         [](Sketch& s) { Triangle(s); }, Verdict::Ok, "fixed[A H]", "B C", ""},
        // B and C are both placed from the fixed geometry, and the distance between them has
        // nothing left to take.
        {"triangle with one dimension too many contradicts its fixed geometry",
         [](Sketch& s)
         {
             Triangle(s);
             s.AddPLdis("ch", "C", "H", ValueSpec::Own(3));
         },
         Verdict::FixedContradiction},
        {"free triangle is under-constrained, not over", [](Sketch& s) { Triangle(s, false); },
         Verdict::Ok, "fixed[]", "A B C", nullptr},
        {"two bodies joined by three distances are rigid together", [](Sketch& s) { Bodies(s, 3); },
         Verdict::Ok, "fixed[] [X1 X2 X3] [Y1 Y2 Y3]", "X4 Y4", nullptr},
        {"two bodies joined by four distances are over-constrained",
         [](Sketch& s) { Bodies(s, 4); }, Verdict::OverConstrained,
         "fixed[] [X1 X3 X2 X4] [Y1 Y3 Y2 Y4]", "", nullptr},
        {"two bodies joined by two distances and an equal pair are rigid", EqualPairBodies,
         Verdict::Ok, "fixed[] [X1 X2 X3 X4] [Y1 Y3 Y2 Y4]"},
        {"an equal pair and three distances between two bodies are over-constrained",
         [](Sketch& s)
         {
             EqualPairBodies(s);
             Join(s, "X1", "Y3", ValueSpec::Own(6));
         },
         Verdict::OverConstrained},
        // The join partner of the first base node has more known relations than its own
        // neighbours, so clusters straddle both bodies and relations toward the two corners left
        // unseeded still count as equations: the verdict errs on the side of over-constraint.
        {"bodies that the seeding cannot separate count their open relations",
         [](Sketch& s)
         {
             Bodies(s, 2);
             s.AddValue("same", 5, false);
             Join(s, "X3", "Y3", ValueSpec::Shared("same"));
             Join(s, "X4", "Y4", ValueSpec::Shared("same"));
         },
         Verdict::OverConstrained, "fixed[] [X1 Y1] [X2 X3] [Y3 Y2]", nullptr, "X4 Y4"},
        {"distance between two fixed points",
         [](Sketch& s)
         {
             Points(s, {{"A", 0, 0}, {"B", 3, 0}});
             s.AddFix("fa", "A");
             s.AddFix("fb", "B");
             s.AddPPdis("ab", "A", "B", ValueSpec::Own(3));
         },
         Verdict::FixedContradiction},
        {"fixed point at a distance from a fixed line",
         [](Sketch& s)
         {
             s.AddLine("L", 0, 0, 1, 0);
             s.AddPoint("P", 0, 2);
             s.AddFix("fl", "L");
             s.AddFix("fp", "P");
             s.AddPLdis("pl", "P", "L", ValueSpec::Own(2));
         },
         Verdict::FixedContradiction},
        {"distance between two reference points",
         [](Sketch& s)
         {
             Points(s, {{"R1", 0, 0}, {"R2", 3, 0}});
             s.SetReference("R1", 1);
             s.SetReference("R2", 2);
             s.AddPPdis("r", "R1", "R2", ValueSpec::Own(3));
         },
         Verdict::FixedContradiction},
        {"point placed twice from fixed points",
         [](Sketch& s)
         {
             Points(s, {{"A", 0, 0}, {"B", 4, 0}, {"C", 0, 4}, {"P", 2, 2}});
             for (const char* f : {"A", "B", "C"})
             {
                 s.AddFix(std::string("f") + f, f);
                 s.AddPPdis(std::string("p") + f, "P", f, ValueSpec::Own(2.8284));
             }
         },
         Verdict::FixedContradiction},
        {"reference points place a point at one unknown distance from all three",
         [](Sketch& s)
         {
             References(s);
             s.AddValue("radius", 1, false);
             for (const char* r : {"R1", "R2", "R3"})
             {
                 s.AddPPdis(std::string("p") + r, "P", r, ValueSpec::Shared("radius"));
             }
         },
         Verdict::Ok, "fixed[R1 R2 R3 P]", "", nullptr},
        // P is placed before R3 is reached; R3 then measures the open distance, and the pass
        // gives the value back as it was.
        {"value measured by the pass is given back",
         [](Sketch& s)
         {
             References(s);
             Distances(s, {{"p1", "P", "R1", 2.8284},
                           {"p2", "P", "R2", 2.8284},
                           {"p3", "P", "R3", 123.0, false}});
         },
         Verdict::Ok, "fixed[R1 R2 P R3]"},
    };
    ExpectRows(rows);
}

TEST(Analysis, SecondPassGivesTheSameResult)
{
    Sketch sketch;
    Bodies(sketch, 4);

    AnalysisResult first = sketch.Analyse();
    AnalysisResult second = sketch.Analyse();

    EXPECT_EQ(second.verdict, first.verdict);
    EXPECT_EQ(Text(second), Text(first));
    EXPECT_EQ(second.stripped, first.stripped);
}

} // namespace
