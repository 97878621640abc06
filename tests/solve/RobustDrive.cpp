// The robust drive: strategies in turn, each from the backups, and never a result that fails
// its check. Whole sketches, driven as a host drives them.
#include "solve/SolveTestUtil.h"

#include "../../bench/Families.h"
#include "../../bench/HostSketch.h"

#include "common/SketchRows.h"
#include "qsolver/SolveCheck.h"
#include "qsolver/SolveEquations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace qsolver;
using sketchrows::Distances;
using sketchrows::Points;

namespace
{

DriveOptions Only(DriveStrategy strategy)
{
    DriveOptions o;
    o.robust = true;
    o.only = strategy;
    return o;
}

// Whether every triangle of a benchmark family kept its turn.
int Flipped(Sketch& s, const bench::Family& f, const std::vector<double>& before)
{
    int flips = 0;
    for (const auto& t : f.triangles)
    {
        auto turn = [&](auto pos)
        {
            const auto a = pos(t[0]);
            const auto b = pos(t[1]);
            const auto c = pos(t[2]);
            return (b.first - a.first) * (c.second - a.second) -
                   (b.second - a.second) * (c.first - a.first);
        };
        auto now = [&](int i)
        {
            CVert* p = s.FindPoint(bench::NodeId(i));
            return std::make_pair(p->m_Pos.x, p->m_Pos.y);
        };
        auto old = [&](int i) { return std::make_pair(before[2 * i], before[2 * i + 1]); };
        flips += (turn(now) < 0.0) != (turn(old) < 0.0) ? 1 : 0;
    }
    return flips;
}

// The edits on which the solver's passes bring a part back mirrored are solved, with every
// part on its side, by a strategy after them.
TEST(RobustDrive, MirroredEditsAreSolvedOnTheirSide)
{
    for (const char* name : {"truss_flip", "linkage_flip", "linkage_joint_flip"})
    {
        SCOPED_TRACE(name);
        solvetest::EditCase c = solvetest::LoadCase(name);
        ASSERT_TRUE(c.sketch);
        const DriveResult r = c.sketch->Drive(c.change);
        ASSERT_TRUE(r.IsOk()) << r.message;
        EXPECT_NE(r.strategy, DriveStrategy::Faithful);
        EXPECT_GE(r.steps, 1);
        EXPECT_LT(solvetest::OffReference(*c.sketch, c.reference), 1e-6 * 100);
    }
}

// Where the passes succeed, the robust drive gives their result bit for bit.
TEST(RobustDrive, PassesThatSucceedKeepTheirResult)
{
    const bench::Family f = bench::MakeFamily("truss", 40);
    auto faithful = bench::BuildHostSketch(f);
    auto robust = bench::BuildHostSketch(f);
    const auto changes = bench::HostChanges(f);
    const DriveResult a = DriveSketch(*faithful, changes, DriveOptions());
    const DriveResult b = robust->Drive(changes);
    ASSERT_TRUE(a.IsOk()) << a.message;
    ASSERT_TRUE(b.IsOk()) << b.message;
    EXPECT_EQ(b.strategy, DriveStrategy::Faithful);
    EXPECT_EQ(solvetest::Coordinates(*faithful), solvetest::Coordinates(*robust));
}

// The linkage of 34 rigid bodies the passes give up on: solved, every relation holding and
// every triangle on its side, by each strategy after the passes.
TEST(RobustDrive, LinkageOfManyBodiesSolves)
{
    const bench::Family f = bench::MakeFamily("linkage", 33);
    for (const DriveStrategy strategy :
         {DriveStrategy::None, DriveStrategy::LeastSquares, DriveStrategy::Continuation})
    {
        SCOPED_TRACE(DriveStrategyText(strategy));
        auto s = bench::BuildHostSketch(f);
        const std::vector<double> before = solvetest::Coordinates(*s);
        const DriveResult r = strategy == DriveStrategy::None
                                  ? s->Drive(bench::HostChanges(f))
                                  : DriveSketch(*s, bench::HostChanges(f), Only(strategy));
        ASSERT_TRUE(r.IsOk()) << r.message;
        if (strategy != DriveStrategy::None)
        {
            EXPECT_EQ(r.strategy, strategy);
        }
        EXPECT_EQ(Flipped(*s, f, before), 0);
        s->BackupAll();
        EXPECT_TRUE(CheckResult(*s).IsOk());
    }
}

// A change too large for one solve from the start: the chain of bars swings through most of a
// half turn; continuation takes it in steps, each checked against the last.
TEST(RobustDrive, ContinuationTakesALargeChangeInSteps)
{
    Sketch s;
    // A fixed base, a crank line turning about A, and a chain of bars hanging from its end to
    // a fixed anchor: the crank's angle drives them.
    s.AddLine("base", 0, 0, 1, 0);
    s.AddFix("fixBase", "base");
    Points(s, {{"A", 0, 0}, {"E", 10, 0}, {"K", 1, 2}, {"M", 5, 5}});
    s.AddFix("fixA", "A");
    s.AddFix("fixE", "E");
    s.AddLine("crank", 0, 0, 1, 2);
    s.AddPLdis("aOn", "A", "crank", ValueSpec::Own(0));
    s.AddPLdis("kOn", "K", "crank", ValueSpec::Own(0));
    s.AddLLang("turn", "base", "crank", ValueSpec::Own(std::atan2(2.0, 1.0)));
    Distances(s, {{"ak", "A", "K", std::sqrt(5.0)},
                  {"km", "K", "M", 5},
                  {"me", "M", "E", std::hypot(5.0, 5.0)}});
    const DriveResult r = DriveSketch(s, {{"turn", 2.5}}, Only(DriveStrategy::Continuation));
    ASSERT_TRUE(r.IsOk()) << r.message;
    EXPECT_EQ(r.strategy, DriveStrategy::Continuation);
    EXPECT_GE(r.steps, 2);
    EXPECT_GT(s.FindPoint("M")->m_Pos.y, 0.0); // the coupler stays above, as it started
    s.BackupAll();
    EXPECT_TRUE(CheckResult(s).IsOk());
}

// An equation of a helper: the passes know nothing of it and leave it off; the check refuses
// that, and least squares solves it with every relation. An equation no geometry satisfies
// fails honestly, naming it, with the sketch restored.
TEST(RobustDrive, ExtraEquationsAreHonoured)
{
    auto draw = [](Sketch& s)
    {
        s.AddLine("base", 0, 0, 1, 0);
        s.AddFix("fixBase", "base");
        s.AddPoint("A", 0, 0);
        s.AddFix("fixA", "A");
        Points(s, {{"B", 4, 0}, {"C", 2, 3}});
        s.AddPLdis("bOn", "B", "base", ValueSpec::Own(0));
        Distances(s, {{"ab", "A", "B", 4}, {"ac", "A", "C", std::hypot(2.0, 3.0)}});
    };
    // C above the midpoint of A and B (an equation a vocabulary helper would add).
    auto above = [](Sketch& s, double shift)
    {
        CVert* a = s.FindPoint("A");
        CVert* b = s.FindPoint("B");
        CVert* c = s.FindPoint("C");
        s.Equations().push_back({"cAboveMid", [a, b, c, shift](double, std::vector<SolvePartial>& d)
                                 {
                                     d.push_back({c, nullptr, 0, 1.0});
                                     d.push_back({a, nullptr, 0, -0.5});
                                     d.push_back({b, nullptr, 0, -0.5});
                                     return c->m_Pos.x - 0.5 * (a->m_Pos.x + b->m_Pos.x) - shift;
                                 }});
    };
    {
        Sketch s;
        draw(s);
        above(s, 0.0);
        const DriveResult r = s.Drive({{"ab", 6}});
        ASSERT_TRUE(r.IsOk()) << r.message;
        EXPECT_EQ(r.strategy, DriveStrategy::LeastSquares);
        EXPECT_NEAR(s.FindPoint("C")->m_Pos.x, 3.0, 1e-9);
        EXPECT_GT(s.FindPoint("C")->m_Pos.y, 0.0);
    }
    {
        Sketch s;
        draw(s);
        above(s, 50.0); // C cannot reach 50 beyond the midpoint
        const std::vector<double> before = solvetest::Coordinates(s);
        const DriveResult r = s.Drive({{"ab", 6}});
        EXPECT_FALSE(r.IsOk());
        EXPECT_TRUE(r.restored);
        EXPECT_NE(r.message.find("cAboveMid"), std::string::npos) << r.message;
        EXPECT_EQ(solvetest::Coordinates(s), before);
    }
}

// A change no geometry satisfies fails with the sketch restored, whichever strategy tried it.
TEST(RobustDrive, ImpossibleChangeFailsHonestly)
{
    Sketch s;
    s.AddPoint("A", 0, 0);
    s.AddFix("fixA", "A");
    Points(s, {{"B", 4, 0}, {"C", 4, 3}});
    s.AddLine("base", 0, 0, 1, 0);
    s.AddFix("fixBase", "base");
    s.AddPLdis("bOn", "B", "base", ValueSpec::Own(0));
    Distances(s, {{"ab", "A", "B", 4}, {"bc", "B", "C", 3}, {"ca", "C", "A", 5}});
    const std::vector<double> before = solvetest::Coordinates(s);
    const DriveResult r = s.Drive({{"ab", 9}}); // 9 > 3 + 5
    EXPECT_FALSE(r.IsOk());
    EXPECT_TRUE(r.restored);
    EXPECT_EQ(r.strategy, DriveStrategy::None);
    EXPECT_NE(r.message.find("least squares"), std::string::npos) << r.message;
    EXPECT_NE(r.message.find("continuation"), std::string::npos) << r.message;
    EXPECT_EQ(solvetest::Coordinates(s), before);
}

} // namespace

namespace
{

// Each kind of relation, driven through least squares and continuation alone: a relation left
// out of the equations or a wrong partial leaves the result off or the solve unconverged.
TEST(RobustDrive, EveryRelationKindIsSolvedByLeastSquares)
{
    const struct
    {
        const char* name;
        void (*draw)(Sketch&);
        const char* rel;
        double value;
    } rows[] = {
        {"point distances",
         [](Sketch& s)
         {
             s.AddPoint("A", 0, 0);
             s.AddFix("fixA", "A");
             s.AddLine("base", 0, 0, 1, 0);
             s.AddFix("fixBase", "base");
             Points(s, {{"B", 4, 0}, {"C", 4, 3}});
             s.AddPLdis("bOn", "B", "base", ValueSpec::Own(0));
             Distances(s, {{"ab", "A", "B", 4}, {"bc", "B", "C", 3}, {"ca", "C", "A", 5}});
         },
         "ab", 5.5},
        {"point-line distances",
         [](Sketch& s)
         {
             s.AddLine("edgeX", 0, 0, 1, 0);
             s.AddLine("edgeY", 0, 0, 0, 1);
             s.AddFix("fixX", "edgeX");
             s.AddFix("fixY", "edgeY");
             s.AddPoint("H", 2, 1);
             s.AddPLdis("hx", "H", "edgeY", ValueSpec::Own(2));
             s.AddPLdis("hy", "H", "edgeX", ValueSpec::Own(1));
         },
         "hy", 3},
        {"line distances and angles",
         [](Sketch& s)
         {
             s.AddLine("bottom", 0, 0, 1, 0);
             s.AddLine("left", 0, 0, 0, 1);
             s.AddLine("top", 0, 3, 1, 0);
             s.AddLine("slant", 5, 0, 1, 1);
             s.AddFix("fixBottom", "bottom");
             s.AddFix("fixLeft", "left");
             s.AddLLdis("height", "bottom", "top", ValueSpec::Own(3));
             s.AddLLang("flat", "bottom", "top", ValueSpec::Own(0));
             s.AddLLang("tilt", "bottom", "slant", ValueSpec::Own(std::atan2(1.0, 1.0)));
             s.AddPoint("P", 5, 0);
             s.AddPLdis("pOnBottom", "P", "bottom", ValueSpec::Own(0));
             s.AddPLdis("pOnSlant", "P", "slant", ValueSpec::Own(0));
             s.AddPLdis("pFromLeft", "P", "left", ValueSpec::Own(5));
         },
         "tilt", 1.2},
        {"line distance",
         [](Sketch& s)
         {
             s.AddLine("bottom", 0, 0, 1, 0);
             s.AddLine("top", 0, 3, 1, 0);
             s.AddFix("fixBottom", "bottom");
             s.AddLLdis("height", "bottom", "top", ValueSpec::Own(3));
             s.AddLLang("flat", "bottom", "top", ValueSpec::Own(0));
         },
         "height", 7},
        {"a value shared by two distances",
         [](Sketch& s)
         {
             s.AddPoint("A", 0, 0);
             s.AddFix("fixA", "A");
             s.AddLine("base", 0, 0, 1, 0);
             s.AddFix("fixBase", "base");
             Points(s, {{"B", 4, 0}, {"C", 2, 3}});
             s.AddPLdis("bOn", "B", "base", ValueSpec::Own(0));
             s.AddValue("leg", std::hypot(2.0, 3.0), false);
             s.AddPPdis("ab", "A", "B", ValueSpec::Own(4));
             s.AddPPdis("ac", "A", "C", ValueSpec::Shared("leg"));
             s.AddPPdis("bc", "B", "C", ValueSpec::Shared("leg"));
             s.AddPLdis("cUp", "C", "base", ValueSpec::Own(3));
         },
         "ab", 6},
    };
    for (const DriveStrategy strategy : {DriveStrategy::LeastSquares, DriveStrategy::Continuation})
    {
        for (const auto& row : rows)
        {
            SCOPED_TRACE(std::string(row.name) + " by " + DriveStrategyText(strategy));
            Sketch s;
            row.draw(s);
            const DriveResult r = DriveSketch(s, {{row.rel, row.value}}, Only(strategy));
            ASSERT_TRUE(r.IsOk()) << r.message;
            EXPECT_EQ(r.strategy, strategy);
            CRel* rel = s.FindRelation(row.rel);
            const double measured = rel->GetType() == SKT_REL_LLANG
                                        ? std::fmod(rel->GetActualVal(), 4.0 * std::acos(0.0))
                                        : rel->GetActualVal();
            EXPECT_NEAR(measured, row.value, 1e-6);
            s.BackupAll();
            const ResultCheck check = CheckResult(s);
            EXPECT_TRUE(check.IsOk()) << check.message;
        }
    }
}

} // namespace
