// Edits users make that the passes fail or get wrong, pinned as the passes answer them: groups
// tied by one unknown shared value (a point at one unknown distance from three corners or three
// lines, holes on a rail at one unknown pitch) and assemblies that come back in the other mode.
// Where the passes cannot re-solve a group, the drive must fail and restore the sketch; where a
// carrier circle stands for the shared value, the numeric solves take the value as an unknown
// and the group re-solves.
#include "drive/DriveCheck.h"

#include "qsolver/SketchFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

using namespace qsolver;
using namespace drivecheck;

namespace
{
// The clusters of the last drive stay in the chains until the next pass opens.
class ReleaseCaseClusters : public ::testing::Environment
{
public:
    void TearDown() override { ClosePass(); }
};
::testing::Environment* const kReleaseCaseClusters =
    ::testing::AddGlobalTestEnvironment(new ReleaseCaseClusters);

std::string CaseFile(const char* name)
{
    return (std::filesystem::path(QSOLVER_SOURCE_ROOT) / "tests" / "sketch" / "cases" / name)
        .string();
}

void LoadCase(const char* name, Sketch& s)
{
    SketchDoc doc;
    InputError error;
    ASSERT_TRUE(ReadSketchFile(CaseFile(name), doc, error)) << error.Text();
    SketchSnapshot built;
    ASSERT_TRUE(BuildSketch(doc, CaseFile(name), s, built, error)) << error.Text();
}

// The passes in the host's order without the host's check of the result: the step that
// failed, or None. The caller closes the pass.
DriveStep RunPasses(Sketch& s, const char* rel, double value)
{
    OpenPass(s, rel, value);
    if (sktBuildClusterChain() == 0)
    {
        return DriveStep::BuildClusterChain;
    }
    sktRemoveGoodClusterFromChain();
    if (sktSolveClusterChain() == 0)
    {
        return DriveStep::SolveClusterChain;
    }
    if (sktSolveGoodClusterChain() == 0)
    {
        return DriveStep::SolveGoodClusterChain;
    }
    if (sktSolveGoodNodeChain() == 0)
    {
        return DriveStep::SolveGoodNodeChain;
    }
    return DriveStep::None;
}

// A circle whose radius stands for the shared value in the numeric solves: every relation that
// shares the value names it.
void AddCarrier(Sketch& s, const char* valueId, const std::vector<std::string>& rels)
{
    ASSERT_NE(s.AddCircle("carrier", 0, 0, s.FindValue(valueId)->m_dValue), nullptr);
    for (const std::string& rel : rels)
    {
        ASSERT_TRUE(s.SetValueNode(rel, "carrier")) << s.LastError();
    }
}

// The largest difference between what the relations measure.
double Spread(Sketch& s, const std::vector<std::string>& rels)
{
    double lo = INFINITY;
    double hi = -INFINITY;
    for (const std::string& id : rels)
    {
        const double v = s.FindRelation(id)->GetActualVal();
        lo = std::min(lo, v);
        hi = std::max(hi, v);
    }
    return hi - lo;
}

// Expects the drive to fail at `step` and give back every bit.
void ExpectFailsAndRestores(Sketch& s, const char* rel, double value, DriveStep step)
{
    const Snapshot before = Snap(s);
    // The passes alone, checked: the robust strategies of Sketch::Drive go on from there.
    const DriveResult r = DriveSketch(s, {{rel, value}}, DriveOptions());
    EXPECT_EQ(r.failed, step) << r.message;
    EXPECT_TRUE(r.restored);
    EXPECT_TRUE(HoldsOrRestored(s, before, r));
}

// ---- Holes on a fixed rail, consecutive distances sharing one unknown pitch, the span given.

const char* const kSpan = "span";

std::vector<std::string> DrawRail(Sketch& s, int holes)
{
    s.AddLine("rail", 0, 0, 1, 0);
    s.AddFix("fixRail", "rail");
    s.AddValue("pitch", 20, false);
    std::vector<std::string> pitches;
    for (int k = 0; k < holes; ++k)
    {
        const std::string h = "H" + std::to_string(k);
        s.AddPoint(h, 20.0 * k, 0);
        if (k == 0)
        {
            s.AddFix("fixH0", h);
            continue;
        }
        s.AddPLdis(h + "on", h, "rail", ValueSpec::Own(0));
        pitches.push_back("s" + std::to_string(k));
        s.AddPPdis(pitches.back(), "H" + std::to_string(k - 1), h, ValueSpec::Shared("pitch"));
    }
    s.AddPPdis(kSpan, "H0", "H" + std::to_string(holes - 1), ValueSpec::Own(20.0 * (holes - 1)));
    return pitches;
}

struct RailRow
{
    int holes;
    bool carrier;
    Verdict verdict;
    DriveStep failed;
};

TEST(DriveCases, RailAtOneUnknownPitchReSolvesOnlyWhenThePitchIsSolvedFor)
{
    // Three holes: the middle one hangs on both ends and is built on their bisector. From four
    // on, the inner holes wait for each other and are left as single-point clusters, which the
    // cluster system places with the pitch held at its old number: the span cannot change.
    // The analysis cannot seed a cluster from the inner holes either (no relation with a known
    // value is left between them) and, with the fixed cluster alone holding relations, calls
    // the rail over-constrained.
    const RailRow rows[] = {
        {3, false, Verdict::Ok, DriveStep::None},
        {4, false, Verdict::OverConstrained, DriveStep::SolveClusterChain},
        {5, false, Verdict::OverConstrained, DriveStep::SolveClusterChain},
        {4, true, Verdict::OverConstrained, DriveStep::None},
        {5, true, Verdict::OverConstrained, DriveStep::None},
    };
    for (const RailRow& row : rows)
    {
        SCOPED_TRACE(std::to_string(row.holes) + (row.carrier ? " holes, carrier" : " holes"));
        for (double change : {1.001, 1.25, 0.8})
        {
            Sketch s;
            const std::vector<std::string> pitches = DrawRail(s, row.holes);
            if (row.carrier)
            {
                AddCarrier(s, "pitch", pitches);
            }
            EXPECT_EQ(s.Analyse().verdict, row.verdict);
            const double span = 20.0 * (row.holes - 1) * change;
            if (row.failed != DriveStep::None)
            {
                ExpectFailsAndRestores(s, kSpan, span, row.failed);
                continue;
            }
            ASSERT_TRUE(DrivesAndHolds(s, {{kSpan, span}}));
            EXPECT_LT(Spread(s, pitches), 1e-9);
            for (int k = 1; k < row.holes; ++k)
            {
                // In order along the rail, at one pitch.
                EXPECT_NEAR(s.FindPoint("H" + std::to_string(k))->m_Pos.x,
                            span * k / (row.holes - 1), 1e-9);
            }
        }
    }
}

TEST(DriveCases, RailWithPitchCarrierShrunkFarFoldsBack)
{
    // Newton keeps no order along the rail: from the old holes, a span 40 percent shorter is
    // met with the pitch grown to the whole span, the third hole folded back onto the last.
    Sketch s;
    const std::vector<std::string> pitches = DrawRail(s, 4);
    AddCarrier(s, "pitch", pitches);
    ASSERT_TRUE(DrivesAndHolds(s, {{kSpan, 36}}));
    EXPECT_NEAR(s.FindPoint("H1")->m_Pos.x, 36, 1e-9);
    EXPECT_NEAR(s.FindPoint("H2")->m_Pos.x, 72, 1e-9);
    EXPECT_NEAR(s.FindPoint("H3")->m_Pos.x, 36, 1e-9);
}

// ---- A point M at one unknown distance R from the three sides of a triangle.

// The triangle of the corner case file, its sides drawn as lines through the corners.
void DrawInscribed(Sketch& s, bool hole)
{
    const double o[2] = {26.12597783052712, -30.58962335441307};
    const double b[2] = {158.8747790449163, -30.58962335441307};
    const double c[2] = {69.06752628687158, 67.49741056434121};
    s.AddPoint("O", o[0], o[1]);
    s.AddLine("base", o[0], o[1], 1, 0);
    s.AddPoint("B", b[0], b[1]);
    s.AddPoint("C", c[0], c[1]);
    s.AddLine("left", o[0], o[1], c[0] - o[0], c[1] - o[1]);
    s.AddLine("right", b[0], b[1], c[0] - b[0], c[1] - b[1]);
    s.AddFix("fixO", "O");
    s.AddFix("fixBase", "base");
    s.AddPLdis("BonBase", "B", "base", ValueSpec::Own(0));
    s.AddPPdis("ob", "O", "B", ValueSpec::Own(std::hypot(b[0] - o[0], b[1] - o[1])));
    s.AddPPdis("oc", "O", "C", ValueSpec::Own(std::hypot(c[0] - o[0], c[1] - o[1])));
    s.AddPPdis("bc", "B", "C", ValueSpec::Own(std::hypot(c[0] - b[0], c[1] - b[1])));
    s.AddPLdis("OonLeft", "O", "left", ValueSpec::Own(0));
    s.AddPLdis("ConLeft", "C", "left", ValueSpec::Own(0));
    s.AddPLdis("BonRight", "B", "right", ValueSpec::Own(0));
    s.AddPLdis("ConRight", "C", "right", ValueSpec::Own(0));
    // The incentre, the corners weighted by the opposite sides.
    const double la = std::hypot(c[0] - b[0], c[1] - b[1]);
    const double lb = std::hypot(c[0] - o[0], c[1] - o[1]);
    const double lc = std::hypot(b[0] - o[0], b[1] - o[1]);
    const double sum = la + lb + lc;
    const double mx = (la * o[0] + lb * b[0] + lc * c[0]) / sum;
    const double my = (la * o[1] + lb * b[1] + lc * c[1]) / sum;
    s.AddPoint("M", mx, my);
    s.AddValue("R", my - o[1], false);
    for (const char* side : {"base", "left", "right"})
    {
        s.AddPLdis(std::string("to") + side, "M", side, ValueSpec::Shared("R"));
    }
    if (hole)
    {
        s.AddCircle("hole", mx, my, 5);
        s.AddRad("holeAtM", "M", "hole");
    }
}

TEST(DriveCases, PointAtOneUnknownDistanceFromThreeLinesFollowsTheTriangle)
{
    const std::vector<std::string> toSides = {"tobase", "toleft", "toright"};
    for (double bc : {133.1, 163.2148155367979, 110.0})
    {
        Sketch s;
        DrawInscribed(s, false);
        const double sides[3] = {Orientation(s, "O", "B", "M"), Orientation(s, "B", "C", "M"),
                                 Orientation(s, "C", "O", "M")};
        ASSERT_TRUE(DrivesAndHolds(s, {{"bc", bc}}));
        EXPECT_LT(Spread(s, toSides), 1e-9);
        EXPECT_GT(Orientation(s, "O", "B", "M") * sides[0], 0.0);
        EXPECT_GT(Orientation(s, "B", "C", "M") * sides[1], 0.0);
        EXPECT_GT(Orientation(s, "C", "O", "M") * sides[2], 0.0);
    }
}

TEST(DriveCases, HoleAtTheEqualDistancePointLeavesItWhereItWas)
{
    // The placing run hands the point its radius relation besides the three equal distances:
    // four relations, which the point cases take as placed without moving the point. Nothing
    // fails, so no numeric fallback runs; the host's check must refuse the result.
    {
        Sketch s;
        DrawInscribed(s, true);
        const XYZ m = s.FindPoint("M")->m_Pos;
        const XYZ c = s.FindPoint("C")->m_Pos;
        EXPECT_EQ(RunPasses(s, "bc", 133.1), DriveStep::None);
        EXPECT_NE(s.FindPoint("C")->m_Pos.x, c.x);
        EXPECT_EQ(s.FindPoint("M")->m_Pos.x, m.x);
        EXPECT_EQ(s.FindPoint("M")->m_Pos.y, m.y);
        ClosePass();
    }
    {
        Sketch s;
        DrawInscribed(s, true);
        ExpectFailsAndRestores(s, "bc", 133.1, DriveStep::Verify);
    }
    {
        Sketch s;
        LoadCase("point_at_three_corners.json", s);
        const XYZ m = s.FindPoint("M")->m_Pos;
        EXPECT_EQ(RunPasses(s, "ppdis_B_C", 133.0 * 1.001), DriveStep::None);
        EXPECT_EQ(s.FindPoint("M")->m_Pos.x, m.x);
        EXPECT_EQ(s.FindPoint("M")->m_Pos.y, m.y);
        ClosePass();
    }
    {
        Sketch s;
        LoadCase("point_at_three_corners.json", s);
        ExpectFailsAndRestores(s, "ppdis_B_C", 163.2148155367979, DriveStep::Verify);
    }
}

TEST(DriveCases, PointAtOneUnknownDistanceFromThreeCornersNeedsTheDistanceSolvedFor)
{
    // Without the hole: no construction takes three equal distances to points, and the
    // fallback holds the shared distance at its old number, which the new triangle's corners
    // cannot all keep. A carrier for the distance lets the fallback find the new circumcentre.
    const std::vector<std::string> toCorners = {"ppdis_M_O", "ppdis_M_B", "ppdis_M_C"};
    for (double bc : {132.9902585565055 * 1.001, 163.2148155367979})
    {
        {
            Sketch s;
            LoadCase("point_at_three_corners.json", s);
            ASSERT_TRUE(s.RemoveNode("cM"));
            ExpectFailsAndRestores(s, "ppdis_B_C", bc, DriveStep::SolveGoodNodeChain);
        }
        Sketch s;
        LoadCase("point_at_three_corners.json", s);
        ASSERT_TRUE(s.RemoveNode("cM"));
        AddCarrier(s, "R", toCorners);
        const double side = Orientation(s, "O", "B", "M");
        ASSERT_TRUE(DrivesAndHolds(s, {{"ppdis_B_C", bc}}));
        EXPECT_LT(Spread(s, toCorners), 1e-6);
        EXPECT_GT(Orientation(s, "O", "B", "M") * side, 0.0);
    }
}

// ---- Assemblies placed by the numeric cluster solve: it keeps no orientation.

TEST(DriveCases, TrussPlacedByNewtonComesBackWithItsFirstPanelMirrored)
{
    // The driven cluster is rebuilt about its base nodes mid-span, so its end near the fixed
    // support swings far off; placing it on the support and the roller from there, Newton
    // lands in the other assembly: the fixed N0 on the far side of N1-T1. The passes report
    // success and every relation holds.
    Sketch s;
    LoadCase("pratt_truss.json", s);
    const double panel = Orientation(s, "N0", "N1", "T1");
    const double next = Orientation(s, "N1", "T1", "N2");
    EXPECT_EQ(RunPasses(s, "ppdis_N4_N5", 20.94301709155515), DriveStep::None);
    EXPECT_TRUE(AllHold(s, 1e-6));
    EXPECT_LT(Orientation(s, "N0", "N1", "T1") * panel, 0.0);
    EXPECT_GT(Orientation(s, "N1", "T1", "N2") * next, 0.0);
    ClosePass();
}

TEST(DriveCases, BarredTriangleComesBackInAnotherAssemblyMode)
{
    // The second triangle is a good cluster placed by three bars from where it stood; the
    // undamped Newton steps take it to another of its assembly modes.
    Sketch s;
    LoadCase("barred_triangles.json", s);
    const double mode = Orientation(s, "C0", "A0", "B1");
    EXPECT_EQ(RunPasses(s, "ppdis_A0_B0", 15.715841488750446), DriveStep::None);
    EXPECT_TRUE(AllHold(s, 1e-6));
    EXPECT_LT(Orientation(s, "C0", "A0", "B1") * mode, 0.0);
    ClosePass();
}
} // namespace
