// Whole sketches with lines through the host's analysis sequence: rectangles, lines held by
// angles, and bodies whose relative rotation angles settle.
#include "sketch/AnalysisTestUtil.h"

#include "common/SketchRows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using analysistest::AnalyseHandingBack;
using analysistest::Body;
using analysistest::ClusterNodes;
using qsolver::host::AnalysisResult;
using qsolver::host::Sketch;
using qsolver::host::ValueSpec;
using qsolver::host::Verdict;
using sketchrows::Distances;
using sketchrows::Points;

typedef std::vector<std::string> Ids;

namespace
{

const double kPi = 2 * std::acos(0.0);

// A w x h rectangle of lines on a fixed bottom line, its left side through a fixed point, with
// a corner point on each pair of neighbouring sides.
void Rectangle(Sketch& s, double w, double h)
{
    s.AddLine("B", 0, 0, 1, 0);
    s.AddLine("T", 0, h, 1, 0);
    s.AddLine("L", 0, 0, 0, 1);
    s.AddLine("R", w, 0, 0, 1);
    s.AddPoint("O", 0, -1);
    s.AddFix("fb", "B");
    s.AddFix("fo", "O");
    s.AddLLang("bl", "B", "L", ValueSpec::Own(kPi / 2));
    s.AddPLdis("ol", "O", "L", ValueSpec::Own(0));
    s.AddLLang("bt", "B", "T", ValueSpec::Own(0));
    s.AddLLdis("height", "B", "T", ValueSpec::Own(h));
    s.AddLLang("lr", "L", "R", ValueSpec::Own(0));
    s.AddLLdis("width", "L", "R", ValueSpec::Own(w));
    const char* corners[4][3] = {
        {"P1", "B", "L"}, {"P2", "B", "R"}, {"P3", "T", "R"}, {"P4", "T", "L"}};
    for (const auto& c : corners)
    {
        s.AddPoint(c[0], 0, 0);
        s.AddPLdis(std::string(c[0]) + c[1], c[0], c[1], ValueSpec::Own(0));
        s.AddPLdis(std::string(c[0]) + c[2], c[0], c[2], ValueSpec::Own(0));
    }
}

TEST(AnalysisLines, FullyDimensionedRectangleIsStrippedOntoItsFixedGeometry)
{
    Sketch sketch;
    Rectangle(sketch, 4, 3);

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    EXPECT_EQ(ClusterNodes(result), (std::vector<Ids>{{"B", "O"}}));
    EXPECT_EQ(result.stripped, (Ids{"T", "L", "R", "P1", "P2", "P3", "P4"}));
}

TEST(AnalysisLines, RectangleWithOneDimensionTooManyContradictsItsFixedGeometry)
{
    Sketch sketch;
    Rectangle(sketch, 4, 3);
    sketch.AddLLdis("height2", "B", "T", ValueSpec::Own(3));

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::FixedContradiction);
}

TEST(AnalysisLines, LinesHeldByAngles)
{
    struct Row
    {
        const char* name;
        void (*build)(Sketch&);
        Verdict expected;
    };
    static const Row rows[] = {
        {"an angle and a distance from a fixed point place a line",
         [](Sketch& s)
         {
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi / 3));
             s.AddPLdis("d", "O", "L", ValueSpec::Own(1));
         },
         Verdict::Ok},
        {"two angles to fixed lines turn a line twice",
         [](Sketch& s)
         {
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi / 3));
             s.AddLLang("a2", "C", "L", ValueSpec::Own(kPi / 6));
             s.AddPLdis("d", "O", "L", ValueSpec::Own(1));
         },
         Verdict::FixedContradiction},
        {"a parallel distance with an angle of zero",
         [](Sketch& s)
         {
             s.AddLLdis("g", "B", "L", ValueSpec::Own(2));
             s.AddLLang("a", "B", "L", ValueSpec::Own(0));
         },
         Verdict::Ok},
        {"a parallel distance with an angle of pi within tolerance",
         [](Sketch& s)
         {
             s.AddLLdis("g", "B", "L", ValueSpec::Own(2));
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi - 0.5e-4));
         },
         Verdict::Ok},
        {"a parallel distance with a right angle",
         [](Sketch& s)
         {
             s.AddLLdis("g", "B", "L", ValueSpec::Own(2));
             s.AddLLang("a", "B", "L", ValueSpec::Own(kPi / 2));
         },
         Verdict::FixedContradiction},
        {"a parallel distance with a distance from a point",
         [](Sketch& s)
         {
             s.AddLLdis("g", "B", "L", ValueSpec::Own(2));
             s.AddPLdis("d", "O", "L", ValueSpec::Own(1));
         },
         Verdict::FixedContradiction},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch sketch;
        sketch.AddLine("B", 0, 0, 1, 0);
        sketch.AddLine("C", 0, 0, 1, 1);
        sketch.AddPoint("O", 0, 5);
        sketch.AddFix("fb", "B");
        sketch.AddFix("fc", "C");
        sketch.AddFix("fo", "O");
        sketch.AddLine("L", 0, 2, 1, 0);
        row.build(sketch);

        AnalysisResult result = AnalyseHandingBack(sketch);

        EXPECT_EQ(result.verdict, row.expected);
    }
}

TEST(AnalysisLines, AngleAndTwoDistancesHoldTwoBodies)
{
    Sketch sketch;
    Body(sketch, "X", 0, true);
    Body(sketch, "Y", 5, true);
    sketch.AddLLang("a", "XL", "YL", ValueSpec::Own(0.5));
    Distances(sketch, {{"j3", "X3", "Y3", 5}, {"j4", "X4", "Y4", 5}});

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    EXPECT_EQ(
        ClusterNodes(result),
        (std::vector<Ids>{{}, {"X1", "X3", "X2", "X4", "XL"}, {"Y1", "Y2", "Y3", "YL", "Y4"}}));
}

TEST(AnalysisLines, TwoAnglesAndADistanceBetweenTwoBodiesAreOverConstrained)
{
    // Two angles between rigid bodies fix one rotation twice.
    Sketch sketch;
    Body(sketch, "X", 0, true);
    Body(sketch, "Y", 5, true);
    sketch.AddLLang("a", "XL", "YL", ValueSpec::Own(0.5));
    sketch.AddLLang("a2", "XM", "YM", ValueSpec::Own(0.7));
    sketch.AddPPdis("j3", "X3", "Y3", ValueSpec::Own(5));

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::OverConstrained);
    EXPECT_EQ(result.clusters.size(), 3u);
}

TEST(AnalysisLines, RightAngleMakesParallelDistancesFixOneTranslationTwice)
{
    // With their rotation settled, the two bodies can only slide; two distances to parallel
    // lines both fix the same slide. At 45 degrees the bodies still turn and nothing is wrong.
    struct Row
    {
        const char* name;
        double angle;
        Verdict expected;
    };
    static const Row rows[] = {
        {"right angle", kPi / 2, Verdict::OverConstrained},
        {"right angle within tolerance", kPi / 2 + 0.9e-4, Verdict::OverConstrained},
        {"right angle just past tolerance", kPi / 2 + 1.1e-4, Verdict::Ok},
        {"half a right angle", kPi / 4, Verdict::Ok},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch sketch;
        Body(sketch, "X", 0, true);
        Body(sketch, "Y", 5, true);
        sketch.AddLLang("a", "XM", "YM", ValueSpec::Own(row.angle));
        sketch.AddPLdis("h1", "X3", "YL", ValueSpec::Own(1));
        sketch.AddPLdis("h2", "X4", "YN", ValueSpec::Own(1));

        AnalysisResult result = AnalyseHandingBack(sketch);

        EXPECT_EQ(result.verdict, row.expected);
        EXPECT_EQ(result.clusters.size(), 3u);
    }
}

} // namespace
