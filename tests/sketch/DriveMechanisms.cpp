// Linkages, rigid bodies placed against each other, equal-distance groups and lines placed by
// angles and distances, re-solved through the host's drive sequence.
#include "drive/DriveCheck.h"

#include "common/SketchRows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using sketchrows::Distances;
using sketchrows::Points;
using namespace qsolver;
using namespace drivecheck;

namespace
{
const double kPi = 2.0 * std::acos(0.0);

double Dist(Sketch& s, const char* a, const char* b)
{
    return s.FindPoint(a)->m_Pos.GetDistance(s.FindPoint(b)->m_Pos);
}

double Deg(double d)
{
    return d * kPi / 180.0;
}

// Ground pivots A and D on a fixed ground line; the crank AB is held by its angle to the ground.
void DrawCrankFourBar(Sketch& s, double crankDeg)
{
    const double r = 1.5;
    Points(s, {{"A", 0, 0}, {"D", 4, 0}});
    s.AddLine("ground", 0, 0, 1, 0);
    s.AddLine("crank", 0, 0, std::cos(Deg(crankDeg)), std::sin(Deg(crankDeg)));
    Points(s, {{"B", r * std::cos(Deg(crankDeg)), r * std::sin(Deg(crankDeg))}, {"C", 3.5, 2.0}});
    s.AddFix("fixA", "A");
    s.AddFix("fixD", "D");
    s.AddFix("fixGround", "ground");
    s.AddPLdis("AonCrank", "A", "crank", ValueSpec::Own(0));
    s.AddPLdis("BonCrank", "B", "crank", ValueSpec::Own(0));
    s.AddLLang("crankAngle", "ground", "crank", ValueSpec::Own(Deg(crankDeg)));
    Distances(s, {{"ab", "A", "B", r},
                  {"bc", "B", "C", Dist(s, "B", "C")},
                  {"cd", "C", "D", Dist(s, "C", "D")}});
}

// The same linkage, but the coupler BC is a rigid body held by its angle to the ground.
void DrawCouplerFourBar(Sketch& s)
{
    Points(s, {{"A", 0, 0}, {"D", 4, 0}});
    s.AddLine("ground", 0, 0, 1, 0);
    Points(s, {{"B", 0.75, 1.5 * std::sin(Deg(60))}, {"C", 3.5, 2.0}});
    const XYZ b = s.FindPoint("B")->m_Pos;
    const XYZ c = s.FindPoint("C")->m_Pos;
    s.AddLine("coupler", b.x, b.y, c.x - b.x, c.y - b.y);
    s.AddFix("fixA", "A");
    s.AddFix("fixD", "D");
    s.AddFix("fixGround", "ground");
    s.AddPLdis("BonCoupler", "B", "coupler", ValueSpec::Own(0));
    s.AddPLdis("ConCoupler", "C", "coupler", ValueSpec::Own(0));
    Distances(s, {{"ab", "A", "B", Dist(s, "A", "B")},
                  {"bc", "B", "C", Dist(s, "B", "C")},
                  {"cd", "C", "D", Dist(s, "C", "D")}});
    s.AddLLang("couplerAngle", "ground", "coupler",
               ValueSpec::Own(std::atan2(c.y - b.y, c.x - b.x)));
}

// A rigid triangle P1 P2 P3 tied to two fixed points by three distances.
void DrawTiedBody(Sketch& s)
{
    Points(s, {{"F1", 0, 0}, {"F2", 6, 0}});
    s.AddFix("fixF1", "F1");
    s.AddFix("fixF2", "F2");
    Points(s, {{"P1", 1, 3}, {"P2", 4, 3.5}, {"P3", 2.5, 5}});
    Distances(s, {{"p12", "P1", "P2", Dist(s, "P1", "P2")},
                  {"p23", "P2", "P3", Dist(s, "P2", "P3")},
                  {"p31", "P3", "P1", Dist(s, "P3", "P1")},
                  {"tie1", "F1", "P1", Dist(s, "F1", "P1")},
                  {"tie2", "F2", "P2", Dist(s, "F2", "P2")},
                  {"tie3", "F2", "P3", Dist(s, "F2", "P3")}});
}

// Two rigid triangles, each tied to the fixed points by two distances and to each other by two:
// neither can be placed alone.
void DrawTwoBodies(Sketch& s)
{
    Points(s, {{"F1", 0, 0}, {"F2", 10, 0}});
    s.AddFix("fixF1", "F1");
    s.AddFix("fixF2", "F2");
    const char* names[2][3] = {{"P1", "P2", "P3"}, {"Q1", "Q2", "Q3"}};
    const double at[2][3][2] = {{{1, 3}, {3, 3.2}, {2, 5}}, {{7, 3}, {9, 3.3}, {8, 5.1}}};
    for (int b = 0; b < 2; ++b)
    {
        for (int i = 0; i < 3; ++i)
        {
            s.AddPoint(names[b][i], at[b][i][0], at[b][i][1]);
        }
        for (int i = 0; i < 3; ++i)
        {
            const char* u = names[b][i];
            const char* v = names[b][(i + 1) % 3];
            s.AddPPdis(std::string(u) + v, u, v, ValueSpec::Own(Dist(s, u, v)));
        }
    }
    Distances(s, {{"tP1", "F1", "P1", Dist(s, "F1", "P1")},
                  {"tP3", "F1", "P3", Dist(s, "F1", "P3")},
                  {"tQ2", "F2", "Q2", Dist(s, "F2", "Q2")},
                  {"tQ3", "F2", "Q3", Dist(s, "F2", "Q3")},
                  {"jP2Q1", "P2", "Q1", Dist(s, "P2", "Q1")},
                  {"jP3Q3", "P3", "Q3", Dist(s, "P3", "Q3")}});
}

// The triangle `body`1 `body`2 `body`3 keeps the lengths of its sides.
void ExpectBodyKept(Sketch& s, const Snapshot& before, const std::string& body)
{
    for (int i = 1; i <= 3; ++i)
    {
        const std::string a = body + std::to_string(i);
        const std::string b = body + std::to_string(i % 3 + 1);
        const double was =
            std::hypot(before.at(a)[0] - before.at(b)[0], before.at(a)[1] - before.at(b)[1]);
        EXPECT_NEAR(Dist(s, a.c_str(), b.c_str()), was, 1e-9) << a << b;
    }
}
} // namespace

TEST(DriveMechanism, CrankAngleTurnsTheFourBarWithoutFlipping)
{
    const double angles[] = {70.0, 50.0, 85.0};
    for (double deg : angles)
    {
        SCOPED_TRACE(deg);
        Sketch s;
        DrawCrankFourBar(s, 60.0);
        const double turn = Orientation(s, "B", "C", "D");

        ASSERT_TRUE(DrivesAndHolds(s, {{"crankAngle", Deg(deg)}}));
        EXPECT_NEAR(s.FindPoint("B")->m_Pos.x, 1.5 * std::cos(Deg(deg)), 1e-9);
        EXPECT_NEAR(s.FindPoint("B")->m_Pos.y, 1.5 * std::sin(Deg(deg)), 1e-9);
        EXPECT_GT(Orientation(s, "B", "C", "D") * turn, 0.0);
    }
}

TEST(DriveMechanism, CouplerAngleIsSolvedNumerically)
{
    struct Row
    {
        const char* name;
        DriveOptions options;
    };
    DriveOptions clusters;
    DriveOptions nodeChain;
    nodeChain.nodeChain = true;
    const Row rows[] = {{"as clusters", clusters}, {"as one system", nodeChain}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        DrawCouplerFourBar(s);
        const Snapshot before = Snap(s);
        const double angle = s.FindRelation("couplerAngle")->m_pVal->m_dValue;

        DriveResult r = DriveSketch(s, {{"couplerAngle", angle + Deg(4)}}, row.options);

        ASSERT_TRUE(r.IsOk()) << DriveStepText(r.failed);
        EXPECT_TRUE(AllHold(s));
        const Snapshot after = Snap(s);
        for (const char* id : {"A", "D", "ground"})
        {
            EXPECT_TRUE(SameBits(before, after, id)) << id;
        }
        EXPECT_GT(s.FindPoint("B")->m_Pos.y, 0.0);
        EXPECT_GT(s.FindPoint("C")->m_Pos.y, 0.0);
    }
}

TEST(DriveMechanism, TiedBodyMovesRigidlyOrReshapesKeepingItsOrientation)
{
    struct Row
    {
        const char* name;
        const char* rel;
        const char* a;
        const char* b;
        double step;
        bool rigid; // only a tie changed: the body keeps its shape
    };
    const Row rows[] = {{"tie changed", "tie1", "F1", "P1", 0.3, true},
                        {"own dimension changed", "p12", "P1", "P2", -0.2, false}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        DrawTiedBody(s);
        const Snapshot before = Snap(s);
        const double turn = Orientation(s, "P1", "P2", "P3");

        ASSERT_TRUE(DrivesAndHolds(s, {{row.rel, Dist(s, row.a, row.b) + row.step}}));
        if (row.rigid)
        {
            ExpectBodyKept(s, before, "P");
        }
        EXPECT_GT(Orientation(s, "P1", "P2", "P3") * turn, 0.0);
        const Snapshot after = Snap(s);
        EXPECT_TRUE(SameBits(before, after, "F1"));
        EXPECT_TRUE(SameBits(before, after, "F2"));
    }
}

TEST(DriveMechanism, TwoBodiesAreSolvedTogether)
{
    Sketch s;
    DrawTwoBodies(s);
    const Snapshot before = Snap(s);

    // Lengthening: the pair stands near a fold, where shortening it much has no solution.
    ASSERT_TRUE(DrivesAndHolds(s, {{"jP2Q1", Dist(s, "P2", "Q1") + 0.25}}));
    ExpectBodyKept(s, before, "P");
    ExpectBodyKept(s, before, "Q");
}

TEST(DriveEqualDistance, IsoscelesApexFollowsTheBase)
{
    Sketch s;
    s.AddPoint("A", 0, 0);
    s.AddLine("base", 0, 0, 1, 0);
    Points(s, {{"B", 4, 0}, {"C", 2, 3}});
    s.AddFix("fixA", "A");
    s.AddFix("fixBase", "base");
    s.AddValue("leg", 0.0, false);
    s.AddPLdis("onBase", "B", "base", ValueSpec::Own(0));
    s.AddPPdis("ab", "A", "B", ValueSpec::Own(4));
    s.AddPPdis("ac", "A", "C", ValueSpec::Shared("leg"));
    s.AddPPdis("bc", "B", "C", ValueSpec::Shared("leg"));
    s.AddPLdis("height", "C", "base", ValueSpec::Own(3));

    DriveResult r = s.Drive({{"ab", 6.0}});

    ASSERT_TRUE(r.IsOk()) << DriveStepText(r.failed);
    EXPECT_NEAR(s.FindPoint("C")->m_Pos.x, 3.0, 1e-9);
    EXPECT_NEAR(s.FindPoint("C")->m_Pos.y, 3.0, 1e-9);
    EXPECT_NEAR(Dist(s, "A", "C"), Dist(s, "B", "C"), 1e-9);
    EXPECT_NEAR(s.FindValue("leg")->m_dValue, std::hypot(3.0, 3.0), 1e-9);
    EXPECT_EQ(s.FindValue("leg")->m_bKnown, 0) << "the shared value stays the sketch's unknown";
}

TEST(DriveEqualDistance, IncentreFollowsAMovedSide)
{
    struct Row
    {
        const char* name;
        bool extraUse; // a fourth relation shares the value: the centre joins the core
    };
    const Row rows[] = {{"centre stripped", false}, {"centre in the core", true}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        s.AddPoint("O", 0, 0);
        s.AddLine("L1", 0, 0, 1, 0);
        s.AddLine("L2", 0, 0, 0, 1);
        s.AddLine("L3", 6, 0, -1, 1);
        s.AddFix("fixO", "O");
        s.AddFix("fixL1", "L1");
        s.AddFix("fixL2", "L2");
        s.AddLLang("slope", "L1", "L3", ValueSpec::Own(Deg(135)));
        s.AddPLdis("reach", "O", "L3", ValueSpec::Own(6 / std::sqrt(2.0)));
        s.AddValue("r", 0.0, false);
        s.AddPoint("I", 1.5, 1.5);
        s.AddPLdis("i1", "I", "L1", ValueSpec::Shared("r"));
        s.AddPLdis("i2", "I", "L2", ValueSpec::Shared("r"));
        s.AddPLdis("i3", "I", "L3", ValueSpec::Shared("r"));
        if (row.extraUse)
        {
            s.AddPoint("J", 4, 1.5);
            s.AddPLdis("j1", "J", "L1", ValueSpec::Shared("r"));
            s.AddPLdis("j2", "J", "L3", ValueSpec::Own(1.0));
        }

        ASSERT_TRUE(DrivesAndHolds(s, {{"reach", 8 / std::sqrt(2.0)}}));
        // Legs of 8 along both axes: the incircle's radius is 8 - 8 / sqrt(2) ... of the
        // right isosceles triangle, (a + b - c) / 2.
        const double radius = (8.0 + 8.0 - 8.0 * std::sqrt(2.0)) / 2.0;
        EXPECT_NEAR(s.FindPoint("I")->m_Pos.x, radius, 1e-9);
        EXPECT_NEAR(s.FindPoint("I")->m_Pos.y, radius, 1e-9);
    }
}

TEST(DriveLines, LinesFollowTheirAnglesAndDistances)
{
    const Change rows[] = {
        {"steeper", "tilt", Deg(45)},
        {"flatter", "tilt", Deg(20)},
        {"wider gap", "gap", 3.0},
        {"narrower gap", "gap", 0.5},
    };
    for (const Change& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        s.AddPoint("Q", 1, 1);
        s.AddLine("base", 0, 0, 1, 0);
        s.AddFix("fixQ", "Q");
        s.AddFix("fixBase", "base");
        s.AddLine("M", 1, 1, std::cos(Deg(30)), std::sin(Deg(30)));
        s.AddPLdis("QonM", "Q", "M", ValueSpec::Own(0));
        s.AddLLang("tilt", "base", "M", ValueSpec::Own(Deg(30)));
        s.AddLine("N", 1 - 2 * std::sin(Deg(30)), 1 + 2 * std::cos(Deg(30)), std::cos(Deg(30)),
                  std::sin(Deg(30)));
        s.AddLLdis("gap", "M", "N", ValueSpec::Own(2));
        s.AddLLang("along", "M", "N", ValueSpec::Own(0));
        s.AddPoint("R", 1 + 3 * std::cos(Deg(30)), 1 + 3 * std::sin(Deg(30)));
        s.AddPLdis("RonM", "R", "M", ValueSpec::Own(0));
        s.AddPPdis("qr", "Q", "R", ValueSpec::Own(3));
        const Snapshot before = Snap(s);
        const MATHLINE nBefore = s.FindLine("N")->m_Line;
        const double side =
            nBefore.m_Direction.Xproduct(VECTOR(nBefore.m_ThroughPoint, s.FindPoint("Q")->m_Pos)).z;

        ASSERT_TRUE(DrivesAndHolds(s, {{row.rel, row.value}}));
        const Snapshot after = Snap(s);
        EXPECT_TRUE(SameBits(before, after, "Q"));
        EXPECT_TRUE(SameBits(before, after, "base"));
        EXPECT_NEAR(s.FindLine("M")->m_Line.GetDistance(s.FindPoint("Q")->m_Pos), 0.0, 1e-9);
        const MATHLINE& nAfter = s.FindLine("N")->m_Line;
        const double sideAfter =
            nAfter.m_Direction.Xproduct(VECTOR(nAfter.m_ThroughPoint, s.FindPoint("Q")->m_Pos)).z;
        EXPECT_GT(side * sideAfter * (nBefore.m_Direction.Iproduct(nAfter.m_Direction)), 0.0)
            << "N stays on its side of M";
    }
}
