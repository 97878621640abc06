// The check of a drive result: relations hold within a tolerance scaled to the sketch, fixed
// geometry stays, and no triangle, side or body comes back mirrored. Results are made by hand
// over the backups (as a pass would leave them), and by the solver's own passes on edits that
// came back mirrored.
#include "solve/SolveTestUtil.h"

#include "common/SketchRows.h"
#include "qsolver/SolveCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

using namespace qsolver;
using sketchrows::Distances;
using sketchrows::Points;

namespace
{

void Move(Sketch& s, const std::string& id, double x, double y)
{
    CVert* p = s.FindPoint(id);
    p->m_Pos.x = x;
    p->m_Pos.y = y;
}

void SetLine(Sketch& s, const std::string& id, double px, double py, double turn)
{
    CMathline* l = s.FindLine(id);
    l->m_Line.m_ThroughPoint.x = px;
    l->m_Line.m_ThroughPoint.y = py;
    l->m_Line.m_Direction.x = std::cos(turn);
    l->m_Line.m_Direction.y = std::sin(turn);
}

// A fixed corner A, B on a fixed base line, C above: the three sides dimensioned.
void Triangle(Sketch& s)
{
    s.AddPoint("A", 0, 0);
    s.AddLine("base", 0, 0, 1, 0);
    Points(s, {{"B", 4, 0}, {"C", 4, 3}});
    s.AddFix("fixA", "A");
    s.AddFix("fixBase", "base");
    s.AddPLdis("onBase", "B", "base", ValueSpec::Own(0));
    Distances(s, {{"ab", "A", "B", 4}, {"bc", "B", "C", 3}, {"ca", "C", "A", 5}});
}

// P hangs from the fixed points A and B by two bars; A and B are not dimensioned to each other.
void Hanger(Sketch& s)
{
    Points(s, {{"A", 0, 0}, {"B", 6, 0}, {"P", 3, 4}});
    s.AddFix("fixA", "A");
    s.AddFix("fixB", "B");
    Distances(s, {{"ap", "A", "P", 5}, {"bp", "B", "P", 5}});
}

// As Hanger, with P also on a free line through A: a crank's end that may swing past A-B.
void CrankEnd(Sketch& s)
{
    Hanger(s);
    s.AddLine("crank", 0, 0, 0.6, 0.8);
    s.AddPLdis("aOn", "A", "crank", ValueSpec::Own(0));
    s.AddPLdis("pOn", "P", "crank", ValueSpec::Own(0));
}

// A point 2 above a fixed line.
void Offset(Sketch& s)
{
    s.AddLine("L", 0, 0, 1, 0);
    s.AddFix("fixL", "L");
    s.AddPoint("P", 1, 2);
    s.AddPLdis("pl", "P", "L", ValueSpec::Own(2));
}

// A plate 300 units across: a fixed base and side, a top edge 150 above the base, two holes.
void Bracket(Sketch& s)
{
    s.AddLine("base", 0, 0, 1, 0);
    s.AddLine("side", 0, 0, 0, 1);
    s.AddLine("top", 0, 150, 1, 0);
    s.AddFix("fixBase", "base");
    s.AddFix("fixSide", "side");
    s.AddLLdis("height", "base", "top", ValueSpec::Own(150));
    s.AddLLang("flat", "base", "top", ValueSpec::Own(0));
    Points(s, {{"H1", 100, 50}, {"H2", 300, 100}});
    s.AddPLdis("h1y", "H1", "base", ValueSpec::Own(50));
    s.AddPLdis("h1x", "H1", "side", ValueSpec::Own(100));
    s.AddPLdis("h2y", "H2", "base", ValueSpec::Own(100));
    s.AddPLdis("h2x", "H2", "side", ValueSpec::Own(300));
}

// Three points of a chord in line, each dimensioned to the next, and a post under the middle.
void Chord(Sketch& s)
{
    Points(s, {{"A", 0, 0}, {"M", 5, 0}, {"B", 10, 0}});
    s.AddFix("fixA", "A");
    Distances(s, {{"am", "A", "M", 5}, {"mb", "M", "B", 5}});
}

struct CheckRow
{
    const char* name;
    std::function<void(Sketch&)> draw;
    // Turns the backed-up sketch into the result to judge.
    std::function<void(Sketch&)> result;
    CheckFailure expected;
    const char* names; // what the message must say
};

TEST(ResultCheck, JudgesResultsAsAUserWould)
{
    const double tiny = 5e-9; // a turn the numeric solves leave on lines of a large sketch
    const CheckRow rows[] = {
        {"triangle as it was", Triangle, [](Sketch&) {}, CheckFailure::None, ""},
        {"triangle mirrored across its base", Triangle, [](Sketch& s) { Move(s, "C", 4, -3); },
         CheckFailure::TriangleMirrored, "triangle 'C', 'B', 'A' mirrored"},
        {"triangle mirrored by moving a corner off the fixed line", Triangle,
         [](Sketch& s)
         {
             // A mirror image across the line A-C: B moves below, C stays.
             Move(s, "B", 4 * 0.28, -4 * 0.96);
             s.FindLine("base")->m_Line.m_Direction = VECTOR{0.28, -0.96, 0};
         },
         CheckFailure::FixedMoved, "node 'base' is fixed but moved"},
        {"hanger flipped below its supports", Hanger, [](Sketch& s) { Move(s, "P", 3, -4); },
         CheckFailure::BodyMirrored, "point 'P' turned the other way between 'A' and 'B'"},
        {"crank end swung past its supports", CrankEnd,
         [](Sketch& s)
         {
             Move(s, "P", 3, -4);
             s.FindLine("crank")->m_Line.m_Direction = VECTOR{0.6, -0.8, 0};
         },
         CheckFailure::None, ""},
        {"point crossed its line", Offset, [](Sketch& s) { Move(s, "P", 1, -2); },
         CheckFailure::PointCrossedLine, "point 'P' crossed line 'L'"},
        {"point slid along its line", Offset, [](Sketch& s) { Move(s, "P", 7, 2); },
         CheckFailure::None, ""},
        {"relation off", Offset, [](Sketch& s) { Move(s, "P", 1, 2.001); },
         CheckFailure::RelationOff, "relation 'pl' is off by"},
        {"bracket left by a numeric solve", Bracket,
         [tiny](Sketch& s)
         {
             SetLine(s, "base", 0, 0, tiny);
             SetLine(s, "top", 0, 150 + 7e-6, tiny);
         },
         CheckFailure::None, ""},
        {"bracket at the tolerance", Bracket,
         [](Sketch& s) { SetLine(s, "top", 0, 150 + 2.9e-5, 0); }, CheckFailure::None, ""},
        {"bracket beyond the tolerance", Bracket,
         [](Sketch& s) { SetLine(s, "top", 0, 150 + 3.1e-5, 0); }, CheckFailure::RelationOff,
         "relation 'height' is off by"},
        {"bracket base turned visibly", Bracket, [](Sketch& s) { SetLine(s, "base", 0, 0, 1e-6); },
         CheckFailure::FixedMoved, "node 'base' is fixed but moved"},
        {"fixed line slid along itself", Bracket, [](Sketch& s) { SetLine(s, "base", 40, 0, 0); },
         CheckFailure::None, ""},
        {"fixed line turned round", Bracket,
         [](Sketch& s) {
             s.FindLine("base")->m_Line.m_Direction = VECTOR{-1, 0, 0};
         },
         CheckFailure::FixedMoved, "node 'base' is fixed but moved"},
        {"chord in line bends either way", Chord,
         [](Sketch& s)
         {
             Move(s, "M", 5 * std::cos(-0.1), 5 * std::sin(-0.1));
             Move(s, "B", 5 * std::cos(-0.1) + 5 * std::cos(0.1),
                  5 * std::sin(-0.1) + 5 * std::sin(0.1));
         },
         CheckFailure::None, ""},
        {"chord straight, far end swung", Chord, [](Sketch& s) { Move(s, "B", 5, 5); },
         CheckFailure::None, ""},
    };
    for (const CheckRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        row.draw(s);
        s.BackupAll();
        row.result(s);
        const ResultCheck check = CheckResult(s);
        EXPECT_EQ(check.failure, row.expected) << check.message;
        EXPECT_NE(check.message.find(row.names), std::string::npos) << check.message;
    }
}

TEST(ResultCheck, HeldNodesMovedByRoundingArePutBack)
{
    Sketch s;
    Bracket(s);
    s.BackupAll();
    SetLine(s, "base", 25, 0, 5e-9);
    ASSERT_TRUE(CheckResult(s).IsOk());
    const MATHLINE& base = s.FindLine("base")->m_Line;
    EXPECT_EQ(base.m_ThroughPoint.x, 0.0);
    EXPECT_EQ(base.m_Direction.y, 0.0);
}

// Edits on which the solver's own passes assemble a part in its mirror position (a truss
// triangle, a linkage body against its neighbour). Whatever the passes do, the drive never
// reports a mirrored result: it solves the edit as the reference does, or refuses it naming
// the part and restores the sketch.
TEST(ResultCheck, FaithfulDriveNeverReportsAMirroredPart)
{
    const struct
    {
        const char* name;
        CheckFailure failure;
        const char* part;
    } rows[] = {
        {"truss_flip", CheckFailure::TriangleMirrored, "triangle '"},
        {"linkage_flip", CheckFailure::BodyMirrored, "turned the other way between"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        solvetest::EditCase c = solvetest::LoadCase(row.name);
        ASSERT_TRUE(c.sketch);
        const std::vector<double> before = solvetest::Coordinates(*c.sketch);
        const DriveResult r = DriveSketch(*c.sketch, c.change, DriveOptions());
        if (r.IsOk())
        {
            EXPECT_LT(solvetest::OffReference(*c.sketch, c.reference), 1e-5);
            continue;
        }
        EXPECT_EQ(r.failed, DriveStep::Verify);
        EXPECT_EQ(r.check, row.failure) << r.message;
        EXPECT_NE(r.message.find(row.part), std::string::npos) << r.message;
        EXPECT_TRUE(r.restored);
        EXPECT_EQ(solvetest::Coordinates(*c.sketch), before);
    }
}

// Angles of a request may be any finite number and hold modulo a full turn; everything else
// outside its range is refused, by the API as by qsketch, before anything is touched.
TEST(DriveRequest, OneRuleForEveryHost)
{
    const double pi = 2.0 * std::acos(0.0);
    auto arm = [](Sketch& s)
    {
        Triangle(s);
        s.AddLine("arm", 4, 3, 1, 1);
        s.AddPLdis("cOnArm", "C", "arm", ValueSpec::Own(0));
        s.AddLLang("tilt", "base", "arm", ValueSpec::Own(std::atan2(1.0, 1.0)));
    };
    auto draw = [&arm](Sketch& s)
    {
        arm(s);
        s.AddValue("unknownV", 1, false);
        s.AddPoint("D", 8, 8);
        s.AddPPdis("cd", "C", "D", ValueSpec::Shared("unknownV"));
        s.AddValue("w", 2, true);
        s.AddPoint("E", 9, 9);
        s.AddPPdis("de", "D", "E", ValueSpec::Shared("w"));
        s.AddPPdis("ce", "C", "E", ValueSpec::Shared("w"));
    };
    const struct
    {
        std::vector<std::pair<std::string, double>> change;
        const char* problem;
    } refused[] = {
        {{{"nosuch", 1}}, "no relation 'nosuch'"},
        {{{"fixA", 1}}, "relation 'fixA' is a fix: it has no value to set"},
        {{{"ab", -1}}, "relation 'ab': a distance cannot be negative"},
        {{{"ab", std::nan("")}}, "is not a finite number"},
        {{{"ab", 2e9}}, "is not a finite number of at most 1e9"},
        {{{"ab", 4.5}, {"ab", 4.6}}, "relation 'ab' changes the same value as relation 'ab'"},
        {{{"de", 3}, {"ce", 4}}, "relation 'ce' changes the same value as relation 'de'"},
    };
    for (const auto& row : refused)
    {
        SCOPED_TRACE(row.problem);
        Sketch s;
        draw(s);
        const std::vector<double> before = solvetest::Coordinates(s);
        const DriveResult r = s.Drive(row.change);
        EXPECT_EQ(r.failed, DriveStep::BadRequest);
        EXPECT_NE(r.message.find(row.problem), std::string::npos) << r.message;
        EXPECT_EQ(solvetest::Coordinates(s), before);
    }
    // -30 degrees, 330 degrees and 330 degrees plus a turn are one angle.
    std::vector<std::vector<double>> results;
    for (const double angle : {-pi / 6, 11 * pi / 6, 11 * pi / 6 + 2 * pi})
    {
        Sketch s;
        arm(s);
        const DriveResult r = DriveSketch(s, {{"tilt", angle}}, DriveOptions());
        ASSERT_TRUE(r.IsOk()) << r.message;
        EXPECT_EQ(s.FindRelation("tilt")->m_pVal->m_dValue, angle);
        results.push_back(solvetest::Coordinates(s));
    }
    for (size_t i = 1; i < results.size(); ++i)
    {
        for (size_t k = 0; k < results[0].size(); ++k)
        {
            EXPECT_NEAR(results[i][k], results[0][k], 1e-9);
        }
    }
}

} // namespace
