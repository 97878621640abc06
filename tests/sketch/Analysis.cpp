// Whole sketches of points through the host's analysis sequence: verdicts, clusters, stripped
// nodes, and a sketch handed back as it was.
#include "sketch/AnalysisTestUtil.h"

#include <gtest/gtest.h>

#include <string>

using analysistest::ClusterNodes;
using analysistest::ExpectHandedBack;
using analysistest::Snapshot;
using qsolver::host::AnalysisResult;
using qsolver::host::Sketch;
using qsolver::host::ValueSpec;
using qsolver::host::Verdict;

typedef std::vector<std::string> Ids;

namespace
{

AnalysisResult AnalyseHandingBack(Sketch& sketch)
{
    const Snapshot before(sketch);
    AnalysisResult result = sketch.Analyse();
    ExpectHandedBack(sketch, before);
    return result;
}

// A triangle with A fixed and B held on a fixed horizontal line: fully dimensioned.
void Triangle(Sketch& s)
{
    s.AddPoint("A", 0, 0);
    s.AddPoint("B", 4, 0);
    s.AddPoint("C", 4, 3);
    s.AddLine("H", 0, 0, 1, 0);
    s.AddFix("fa", "A");
    s.AddFix("fh", "H");
    s.AddPPdis("ab", "A", "B", ValueSpec::Own(4));
    s.AddPPdis("bc", "B", "C", ValueSpec::Own(3));
    s.AddPPdis("ca", "C", "A", ValueSpec::Own(5));
    s.AddPLdis("bh", "B", "H", ValueSpec::Own(0));
}

// A rigid body of four points (a square with one diagonal) named prefix1..prefix4.
void Body(Sketch& s, const std::string& p, double x)
{
    for (int i = 1; i <= 4; ++i)
    {
        s.AddPoint(p + std::to_string(i), x + (i == 2 || i == 3 ? 1 : 0), i >= 3 ? 1 : 0);
    }
    for (int i = 1; i <= 4; ++i)
    {
        const std::string a = p + std::to_string(i);
        const std::string b = p + std::to_string(i % 4 + 1);
        s.AddPPdis(a + b, a, b, ValueSpec::Own(1));
    }
    s.AddPPdis(p + "13", p + "1", p + "3", ValueSpec::Own(1.4142));
}

void Join(Sketch& s, const std::string& a, const std::string& b, const ValueSpec& v)
{
    s.AddPPdis("j" + a + b, a, b, v);
}

TEST(Analysis, FullyDimensionedTriangleIsStrippedOntoItsFixedGeometry)
{
    Sketch sketch;
    Triangle(sketch);

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    ASSERT_EQ(result.clusters.size(), 1u);
    EXPECT_TRUE(result.clusters[0].fixed);
    EXPECT_EQ(result.clusters[0].nodes, (Ids{"A", "H"}));
    EXPECT_EQ(result.stripped, (Ids{"B", "C"}));
    EXPECT_TRUE(result.unseeded.empty());
}

TEST(Analysis, TriangleWithOneDimensionTooManyContradictsItsFixedGeometry)
{
    // C held on the fixed line too: B and C are both placed from the fixed geometry, and the
    // distance between them has nothing left to take.
    Sketch sketch;
    Triangle(sketch);
    sketch.AddPLdis("ch", "C", "H", ValueSpec::Own(3));

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::FixedContradiction);
}

TEST(Analysis, FreeTriangleIsUnderConstrainedNotOver)
{
    Sketch sketch;
    sketch.AddPoint("A", 0, 0);
    sketch.AddPoint("B", 4, 0);
    sketch.AddPoint("C", 4, 3);
    sketch.AddPPdis("ab", "A", "B", ValueSpec::Own(4));
    sketch.AddPPdis("bc", "B", "C", ValueSpec::Own(3));
    sketch.AddPPdis("ca", "C", "A", ValueSpec::Own(5));

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    EXPECT_EQ(ClusterNodes(result), (std::vector<Ids>{{}}));
    EXPECT_EQ(result.stripped, (Ids{"A", "B", "C"}));
}

TEST(Analysis, TwoBodiesJoinedByThreeDistancesAreRigidTogether)
{
    Sketch sketch;
    Body(sketch, "X", 0);
    Body(sketch, "Y", 5);
    for (int i = 1; i <= 3; ++i)
    {
        Join(sketch, "X" + std::to_string(i), "Y" + std::to_string(i), ValueSpec::Own(5));
    }

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    EXPECT_EQ(ClusterNodes(result), (std::vector<Ids>{{}, {"X1", "X2", "X3"}, {"Y1", "Y2", "Y3"}}));
    EXPECT_EQ(result.stripped, (Ids{"X4", "Y4"}));
}

TEST(Analysis, TwoBodiesJoinedByFourDistancesAreOverConstrained)
{
    Sketch sketch;
    Body(sketch, "X", 0);
    Body(sketch, "Y", 5);
    for (int i = 1; i <= 4; ++i)
    {
        Join(sketch, "X" + std::to_string(i), "Y" + std::to_string(i), ValueSpec::Own(5));
    }

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::OverConstrained);
    EXPECT_EQ(ClusterNodes(result),
              (std::vector<Ids>{{}, {"X1", "X3", "X2", "X4"}, {"Y1", "Y3", "Y2", "Y4"}}));
    EXPECT_TRUE(result.stripped.empty());
}

// Two bodies joined by two known distances and an equal pair on the diagonal corners: the pair
// adds one unknown and two equations, one equation net, three in all.
void EqualPairBodies(Sketch& sketch)
{
    Body(sketch, "X", 0);
    Body(sketch, "Y", 5);
    sketch.AddValue("same", 5, false);
    Join(sketch, "X1", "Y1", ValueSpec::Shared("same"));
    Join(sketch, "X2", "Y2", ValueSpec::Own(5));
    Join(sketch, "X3", "Y3", ValueSpec::Shared("same"));
    Join(sketch, "X4", "Y4", ValueSpec::Own(5));
}

TEST(Analysis, TwoBodiesJoinedByTwoDistancesAndAnEqualPairAreRigid)
{
    Sketch sketch;
    EqualPairBodies(sketch);

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    EXPECT_EQ(ClusterNodes(result),
              (std::vector<Ids>{{}, {"X1", "X2", "X3", "X4"}, {"Y1", "Y3", "Y2", "Y4"}}));
    EXPECT_FALSE(sketch.FindValue("same")->IsKnown());
}

TEST(Analysis, EqualPairAndThreeDistancesBetweenTwoBodiesAreOverConstrained)
{
    Sketch sketch;
    EqualPairBodies(sketch);
    Join(sketch, "X1", "Y3", ValueSpec::Own(6));

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::OverConstrained);
}

TEST(Analysis, BodiesThatTheSeedingCannotSeparateCountTheirOpenRelations)
{
    // The join partner of the first base node has more known relations than its own
    // neighbours, so clusters straddle both bodies and relations toward the two corners left
    // unseeded still count as equations: the verdict errs on the side of over-constraint.
    Sketch sketch;
    Body(sketch, "X", 0);
    Body(sketch, "Y", 5);
    sketch.AddValue("same", 5, false);
    Join(sketch, "X1", "Y1", ValueSpec::Own(5));
    Join(sketch, "X2", "Y2", ValueSpec::Own(5));
    Join(sketch, "X3", "Y3", ValueSpec::Shared("same"));
    Join(sketch, "X4", "Y4", ValueSpec::Shared("same"));

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(ClusterNodes(result),
              (std::vector<Ids>{{}, {"X1", "Y1"}, {"X2", "X3"}, {"Y3", "Y2"}}));
    EXPECT_EQ(result.unseeded, (Ids{"X4", "Y4"}));
    EXPECT_EQ(result.verdict, Verdict::OverConstrained);
}

TEST(Analysis, FixedGeometryThatContradictsItself)
{
    struct Row
    {
        const char* name;
        void (*build)(Sketch&);
    };
    static const Row rows[] = {
        {"distance between two fixed points",
         [](Sketch& s)
         {
             s.AddPoint("A", 0, 0);
             s.AddPoint("B", 3, 0);
             s.AddFix("fa", "A");
             s.AddFix("fb", "B");
             s.AddPPdis("ab", "A", "B", ValueSpec::Own(3));
         }},
        {"fixed point at a distance from a fixed line",
         [](Sketch& s)
         {
             s.AddLine("L", 0, 0, 1, 0);
             s.AddPoint("P", 0, 2);
             s.AddFix("fl", "L");
             s.AddFix("fp", "P");
             s.AddPLdis("pl", "P", "L", ValueSpec::Own(2));
         }},
        {"distance between two reference points",
         [](Sketch& s)
         {
             s.AddPoint("R1", 0, 0);
             s.AddPoint("R2", 3, 0);
             s.SetReference("R1", 1);
             s.SetReference("R2", 2);
             s.AddPPdis("r", "R1", "R2", ValueSpec::Own(3));
         }},
        {"point placed twice from fixed points",
         [](Sketch& s)
         {
             s.AddPoint("A", 0, 0);
             s.AddPoint("B", 4, 0);
             s.AddPoint("C", 0, 4);
             s.AddPoint("P", 2, 2);
             for (const char* f : {"A", "B", "C"})
             {
                 s.AddFix(std::string("f") + f, f);
                 s.AddPPdis(std::string("p") + f, "P", f, ValueSpec::Own(2.8284));
             }
         }},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch sketch;
        row.build(sketch);

        AnalysisResult result = AnalyseHandingBack(sketch);

        EXPECT_EQ(result.verdict, Verdict::FixedContradiction);
    }
}

TEST(Analysis, ReferencePointsPlaceAnEquidistantPoint)
{
    // P at one unknown distance from three reference points: the circumcentre.
    Sketch sketch;
    sketch.AddPoint("R1", 0, 0);
    sketch.AddPoint("R2", 4, 0);
    sketch.AddPoint("R3", 0, 4);
    sketch.AddPoint("P", 2, 2);
    for (const char* r : {"R1", "R2", "R3"})
    {
        sketch.SetReference(r, 7);
    }
    sketch.AddValue("radius", 1, false);
    for (const char* r : {"R1", "R2", "R3"})
    {
        sketch.AddPPdis(std::string("p") + r, "P", r, ValueSpec::Shared("radius"));
    }

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    EXPECT_EQ(ClusterNodes(result), (std::vector<Ids>{{"R1", "R2", "R3", "P"}}));
    EXPECT_TRUE(result.stripped.empty());
    EXPECT_FALSE(sketch.FindValue("radius")->IsKnown());
}

TEST(Analysis, ValueMeasuredByThePassIsGivenBack)
{
    // P is placed by R1 and R2; the unknown distance to R3 is then measured from the geometry.
    Sketch sketch;
    sketch.AddPoint("R1", 0, 0);
    sketch.AddPoint("R2", 4, 0);
    sketch.AddPoint("R3", 0, 4);
    sketch.AddPoint("P", 2, 2);
    for (const char* r : {"R1", "R2", "R3"})
    {
        sketch.SetReference(r, 7);
    }
    sketch.AddPPdis("p1", "P", "R1", ValueSpec::Own(2.8284));
    sketch.AddPPdis("p2", "P", "R2", ValueSpec::Own(2.8284));
    sketch.AddPPdis("p3", "P", "R3", ValueSpec::Own(123.0, false));

    AnalysisResult result = AnalyseHandingBack(sketch);

    EXPECT_EQ(result.verdict, Verdict::Ok);
    // P is placed before R3 is reached; R3 then measures the open distance.
    EXPECT_EQ(ClusterNodes(result), (std::vector<Ids>{{"R1", "R2", "P", "R3"}}));
    EXPECT_EQ(sketch.FindRelation("p3")->m_pVal->m_dValue, 123.0);
}

TEST(Analysis, SecondPassGivesTheSameResult)
{
    Sketch sketch;
    Body(sketch, "X", 0);
    Body(sketch, "Y", 5);
    for (int i = 1; i <= 4; ++i)
    {
        Join(sketch, "X" + std::to_string(i), "Y" + std::to_string(i), ValueSpec::Own(5));
    }

    AnalysisResult first = sketch.Analyse();
    AnalysisResult second = sketch.Analyse();

    EXPECT_EQ(second.verdict, first.verdict);
    EXPECT_EQ(ClusterNodes(second), ClusterNodes(first));
    EXPECT_EQ(second.stripped, first.stripped);
}

} // namespace
