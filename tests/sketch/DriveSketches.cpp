// Whole sketches a user draws, re-solved after a dimension change through the host's drive
// sequence: every relation holds afterwards, fixed geometry stays, what does not depend on the
// change keeps its coordinates, and triangles keep their orientation.
#include "drive/DriveCheck.h"

#include "common/SketchRows.h"

#include <gtest/gtest.h>

#include <string>

using sketchrows::Distances;
using sketchrows::Points;
using namespace qsolver;
using namespace drivecheck;

namespace
{
// A fixed corner A with a fixed horizontal base line through it; B on the base, C above it.
void DrawTriangle(Sketch& s)
{
    s.AddPoint("A", 0, 0);
    s.AddLine("base", 0, 0, 1, 0);
    Points(s, {{"B", 4, 0}, {"C", 4, 3}});
    s.AddFix("fixA", "A");
    s.AddFix("fixBase", "base");
    s.AddPLdis("onBase", "B", "base", ValueSpec::Own(0));
    Distances(s, {{"ab", "A", "B", 4}, {"bc", "B", "C", 3}, {"ca", "C", "A", 5}});
}

// Two fixed edges and two edges held at a distance from them; corners on the edges.
void DrawRectangle(Sketch& s)
{
    s.AddLine("bottom", 0, 0, 1, 0);
    s.AddLine("left", 0, 0, 0, 1);
    s.AddLine("top", 0, 3, 1, 0);
    s.AddLine("right", 5, 0, 0, 1);
    s.AddFix("fixBottom", "bottom");
    s.AddFix("fixLeft", "left");
    s.AddLLdis("height", "bottom", "top", ValueSpec::Own(3));
    s.AddLLang("topFlat", "bottom", "top", ValueSpec::Own(0));
    s.AddLLdis("width", "left", "right", ValueSpec::Own(5));
    s.AddLLang("rightUp", "left", "right", ValueSpec::Own(0));
    const char* corners[4][3] = {{"P1", "bottom", "left"},
                                 {"P2", "bottom", "right"},
                                 {"P3", "top", "right"},
                                 {"P4", "top", "left"}};
    const double at[4][2] = {{0, 0}, {5, 0}, {5, 3}, {0, 3}};
    for (int i = 0; i < 4; ++i)
    {
        s.AddPoint(corners[i][0], at[i][0], at[i][1]);
    }
    for (int i = 0; i < 4; ++i)
    {
        const std::string p = corners[i][0];
        s.AddPLdis(p + "on" + corners[i][1], p, corners[i][1], ValueSpec::Own(0));
        s.AddPLdis(p + "on" + corners[i][2], p, corners[i][2], ValueSpec::Own(0));
    }
}

// A plate with three holes, each held by its distances to the plate's two fixed edges.
void DrawBracket(Sketch& s)
{
    s.AddLine("edgeX", 0, 0, 1, 0);
    s.AddLine("edgeY", 0, 0, 0, 1);
    s.AddFix("fixX", "edgeX");
    s.AddFix("fixY", "edgeY");
    const double at[3][2] = {{2, 1}, {6, 1.5}, {4, 5}};
    for (int i = 0; i < 3; ++i)
    {
        const std::string h = "H" + std::to_string(i + 1);
        s.AddPoint(h, at[i][0], at[i][1]);
        s.AddPLdis(h + "x", h, "edgeY", ValueSpec::Own(at[i][0]));
        s.AddPLdis(h + "y", h, "edgeX", ValueSpec::Own(at[i][1]));
    }
}

// The turn of every truss triangle T(i-2) T(i-1) T(i).
std::vector<double> TrussTurns(Sketch& s, int count)
{
    std::vector<double> turns;
    for (int i = 2; i < count; ++i)
    {
        const std::string a = "T" + std::to_string(i - 2);
        const std::string b = "T" + std::to_string(i - 1);
        const std::string c = "T" + std::to_string(i);
        turns.push_back(Orientation(s, a.c_str(), b.c_str(), c.c_str()));
    }
    return turns;
}
} // namespace

TEST(DriveSketch, TriangleKeepsItsOrientation)
{
    const Change rows[] = {
        {"longer base", "ab", 4.5},  {"shorter base", "ab", 3.2},      {"longer side", "bc", 3.6},
        {"shorter side", "bc", 2.5}, {"longer hypotenuse", "ca", 6.0},
    };
    for (const Change& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        DrawTriangle(s);
        const Snapshot before = Snap(s);
        const double turn = Orientation(s, "A", "B", "C");

        ASSERT_TRUE(DrivesAndHolds(s, {{row.rel, row.value}}));
        const Snapshot after = Snap(s);
        EXPECT_TRUE(SameBits(before, after, "A"));
        EXPECT_TRUE(SameBits(before, after, "base"));
        EXPECT_GT(Orientation(s, "A", "B", "C") * turn, 0.0);
    }
}

TEST(DriveSketch, BrokenTriangleInequalityFailsAndRestores)
{
    Sketch s;
    DrawTriangle(s);
    const Snapshot before = Snap(s);

    DriveResult r = s.Drive({{"ab", 9.0}});

    EXPECT_FALSE(r.IsOk());
    EXPECT_TRUE(r.restored);
    EXPECT_TRUE(HoldsOrRestored(s, before, r));
    EXPECT_EQ(s.FindRelation("ab")->m_pVal->m_dValue, 4.0);
    EXPECT_TRUE(g_sktDriveRelChain.IsEmpty());
}

TEST(DriveSketch, RectangleMovesOnlyWhatAChangeReachesOverSeveralChanges)
{
    Sketch s;
    DrawRectangle(s);
    const Snapshot before = Snap(s);

    ASSERT_TRUE(DrivesAndHolds(s, {{"width", 7.0}}));
    const Snapshot after = Snap(s);
    for (const char* id : {"bottom", "left", "top", "P1", "P4"})
    {
        EXPECT_LE(Moved(before, after, id), 1e-9) << id;
    }
    EXPECT_NEAR(s.FindPoint("P2")->m_Pos.x, 7.0, 1e-9);
    EXPECT_NEAR(s.FindPoint("P3")->m_Pos.x, 7.0, 1e-9);
    EXPECT_NEAR(s.FindPoint("P3")->m_Pos.y, 3.0, 1e-9);

    ASSERT_TRUE(s.Drive({{"height", 4.0}}).IsOk());
    ASSERT_TRUE(s.Drive({{"width", 2.0}}).IsOk());
    ASSERT_TRUE(DrivesAndHolds(s, {{"width", 6.0}, {"height", 1.0}}));
    EXPECT_NEAR(s.FindPoint("P3")->m_Pos.x, 6.0, 1e-9);
    EXPECT_NEAR(s.FindPoint("P3")->m_Pos.y, 1.0, 1e-9);
    // Back at the drawn values, the corner is back where it was drawn.
    ASSERT_TRUE(s.Drive({{"width", 5.0}, {"height", 3.0}}).IsOk());
    EXPECT_NEAR(s.FindPoint("P3")->m_Pos.x, 5.0, 1e-9);
    EXPECT_NEAR(s.FindPoint("P3")->m_Pos.y, 3.0, 1e-9);
}

TEST(DriveSketch, BracketHoleMovesAloneAndTheOthersKeepTheirBits)
{
    Sketch s;
    DrawBracket(s);
    const Snapshot before = Snap(s);

    ASSERT_TRUE(DrivesAndHolds(s, {{"H2x", 7.25}}));
    const Snapshot after = Snap(s);
    EXPECT_TRUE(SameBits(before, after, "H1"));
    EXPECT_TRUE(SameBits(before, after, "H3"));
    EXPECT_NEAR(s.FindPoint("H2")->m_Pos.x, 7.25, 1e-12);
    EXPECT_NEAR(s.FindPoint("H2")->m_Pos.y, 1.5, 1e-12);
}

TEST(DriveSketch, TrussMemberChangeMovesOnlyWhatHangsOnIt)
{
    const int count = 12;
    Sketch s;
    DrawTruss(s, count);
    // Settle the drawing onto its dimensions first, as the user's first edit would.
    ASSERT_TRUE(s.Drive({{"m0_1", 2.0}}).IsOk());
    const Snapshot before = Snap(s);
    const std::vector<double> turns = TrussTurns(s, count);

    ASSERT_TRUE(DrivesAndHolds(s, {{"m5_6", 2.3}}));
    const Snapshot after = Snap(s);
    for (int i = 0; i < 6; ++i)
    {
        EXPECT_TRUE(SameBits(before, after, "T" + std::to_string(i))) << i;
    }
    EXPECT_GT(Moved(before, after, "T6"), 1e-3);
    const std::vector<double> turnsAfter = TrussTurns(s, count);
    for (size_t i = 0; i < turns.size(); ++i)
    {
        EXPECT_GT(turnsAfter[i] * turns[i], 0.0) << "triangle ending at T" << i + 2;
    }
}
