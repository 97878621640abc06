// Over-constrained sketches name the relations at fault: a conflicting set when the values
// cannot all hold, the redundant relations when they agree but say nothing new.
#include "../cli/CliSupport.h"

#include "qsolver/Diagnostics.h"
#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace
{

using qsolver::Diagnose;
using qsolver::Diagnostics;
using qsolver::Sketch;
using qsolver::ValueSpec;
using Ids = std::vector<std::string>;

struct Row
{
    const char* name;
    std::function<void(Sketch&)> build;
    Ids conflicting;
    Ids redundant;
};

void Fixed(Sketch& s, const char* id, double x, double y)
{
    s.AddPoint(id, x, y);
    s.AddFix(std::string("f") + id, id);
}

// Two triangles X1 X2 X3 and Y1 Y2 Y3, each rigid by its sides, joined by `joins` distances.
void Bodies(Sketch& s, int joins, double lastJoin)
{
    s.AddPoint("X1", 0, 0);
    s.AddPoint("X2", 4, 0);
    s.AddPoint("X3", 1, 3);
    s.AddPoint("Y1", 10, 1);
    s.AddPoint("Y2", 13, 0);
    s.AddPoint("Y3", 11, 4);
    auto dist = [&s](const char* id, const char* a, const char* b, double value = -1.0)
    {
        const CVert* p = s.FindPoint(a);
        const CVert* q = s.FindPoint(b);
        const double measured = std::hypot(p->m_Pos.x - q->m_Pos.x, p->m_Pos.y - q->m_Pos.y);
        s.AddPPdis(id, a, b, ValueSpec::Own(value < 0.0 ? measured : value));
    };
    for (const char* body : {"X", "Y"})
    {
        const std::string p1 = std::string(body) + "1";
        const std::string p2 = std::string(body) + "2";
        const std::string p3 = std::string(body) + "3";
        dist((std::string(body) + "12").c_str(), p1.c_str(), p2.c_str());
        dist((std::string(body) + "23").c_str(), p2.c_str(), p3.c_str());
        dist((std::string(body) + "31").c_str(), p3.c_str(), p1.c_str());
    }
    const char* const pairs[4][3] = {
        {"j1", "X2", "Y1"}, {"j2", "X3", "Y3"}, {"j3", "X2", "Y3"}, {"j4", "X1", "Y1"}};
    for (int i = 0; i < joins; ++i)
    {
        dist(pairs[i][0], pairs[i][1], pairs[i][2], i + 1 == joins ? lastJoin : -1.0);
    }
}

const Row kRows[] = {
    {"a distance between two fixed points that holds says nothing new",
     [](Sketch& s)
     {
         Fixed(s, "A", 0, 0);
         Fixed(s, "B", 3, 0);
         s.AddPPdis("ab", "A", "B", ValueSpec::Own(3));
     },
     {},
     {"ab"}},
    {"a distance between two fixed points that does not hold conflicts with both fixes",
     [](Sketch& s)
     {
         Fixed(s, "A", 0, 0);
         Fixed(s, "B", 3, 0);
         s.AddPPdis("ab", "A", "B", ValueSpec::Own(4));
     },
     {"fA", "fB", "ab"},
     {}},
    {"a distance between reference points names only the distance",
     [](Sketch& s)
     {
         s.AddPoint("R1", 0, 0);
         s.AddPoint("R2", 3, 0);
         s.SetReference("R1", 1);
         s.SetReference("R2", 2);
         s.AddPPdis("r", "R1", "R2", ValueSpec::Own(3.5));
     },
     {"r"},
     {}},
    {"a fixed point at the wrong distance from a fixed line",
     [](Sketch& s)
     {
         s.AddLine("L", 0, 0, 1, 0);
         s.AddFix("fl", "L");
         Fixed(s, "P", 0, 2);
         s.AddPLdis("pl", "P", "L", ValueSpec::Own(2.5));
     },
     {"fl", "fP", "pl"},
     {}},
    {"a point placed three times from fixed points, the values a little off",
     [](Sketch& s)
     {
         Fixed(s, "A", 0, 0);
         Fixed(s, "B", 4, 0);
         Fixed(s, "C", 0, 4);
         s.AddPoint("P", 2, 2);
         s.AddPPdis("pA", "P", "A", ValueSpec::Own(2.8284));
         s.AddPPdis("pB", "P", "B", ValueSpec::Own(2.8284));
         s.AddPPdis("pC", "P", "C", ValueSpec::Own(2.8284));
     },
     // P stands between B and C, which are further apart than the two values together.
     {"fB", "fC", "pB", "pC"},
     {}},
    {"two rigid bodies joined by four distances that agree",
     [](Sketch& s) { Bodies(s, 4, 10.04987562112089); },
     {},
     {"j4"}},
    {"two rigid bodies joined by four distances, the last one off",
     [](Sketch& s) { Bodies(s, 4, 10.5); },
     // Y2 is no part of it: only Y1 and Y3 are joined.
     {"X12", "X23", "X31", "Y31", "j1", "j2", "j3", "j4"},
     {}},
    {"a parallel stated twice over a chain of three lines",
     [](Sketch& s)
     {
         s.AddLine("L1", 0, 0, 1, 0);
         s.AddLine("L2", 0, 1, 1, 0);
         s.AddLine("L3", 0, 2, 1, 0);
         s.AddLLang("p12", "L1", "L2", ValueSpec::Own(0));
         s.AddLLang("p23", "L2", "L3", ValueSpec::Own(0));
         s.AddLLang("p13", "L1", "L3", ValueSpec::Own(0));
     },
     {},
     {"p13"}},
    {"angles round a chain of three lines that do not add up",
     [](Sketch& s)
     {
         s.AddLine("L1", 0, 0, 1, 0);
         s.AddLine("L2", 0, 1, 1, 0);
         s.AddLine("L3", 0, 2, 1, 0);
         s.AddLLang("p12", "L1", "L2", ValueSpec::Own(0));
         s.AddLLang("p23", "L2", "L3", ValueSpec::Own(0));
         s.AddLLang("a13", "L1", "L3", ValueSpec::Own(0.1));
     },
     {"p12", "p23", "a13"},
     {}},
    {"an equal distance stated twice over a shared unknown value",
     [](Sketch& s)
     {
         Fixed(s, "A", 0, 0);
         Fixed(s, "B", 4, 0);
         s.AddPoint("P", 2, 3);
         s.AddValue("same", 3.605551275463989, false);
         s.AddPPdis("pa", "P", "A", ValueSpec::Shared("same"));
         s.AddPPdis("pb", "P", "B", ValueSpec::Shared("same"));
         s.AddPPdis("pa2", "P", "A", ValueSpec::Shared("same"));
     },
     {},
     {"pa2"}},
};

TEST(OverConstraint, SketchesNameTheRelationsAtFault)
{
    for (const Row& row : kRows)
    {
        SCOPED_TRACE(row.name);
        Sketch sketch;
        row.build(sketch);

        const Diagnostics d = Diagnose(sketch);

        EXPECT_EQ(d.conflicting, row.conflicting);
        EXPECT_EQ(d.redundant, row.redundant);
        EXPECT_TRUE(d.dependenciesComplete);
    }
}

// The example's third side agrees with the rest; changed, the whole chain that fixes it
// conflicts: the fixes and incidences that hold the base, the left side and C.
TEST(OverConstraint, OverconstrainedExampleWithAnOffSide)
{
    Sketch sketch;
    qsolver::SketchDoc doc;
    qsolver::SketchSnapshot built;
    qsolver::InputError error;
    const std::string path = clitest::Example("overconstrained.json").string();
    ASSERT_TRUE(qsolver::ReadSketchFile(path, doc, error) &&
                qsolver::BuildSketch(doc, path, sketch, built, error));
    sketch.FindRelation("bc")->SetValue(75.0);

    const Diagnostics d = Diagnose(sketch);

    EXPECT_EQ(d.conflicting, (Ids{"fixA", "fixBase", "bOnBase", "aOnLeft", "cOnLeft", "d1",
                                  "angleA", "ac", "bc"}));
    EXPECT_TRUE(d.redundant.empty());
    EXPECT_EQ(d.FindNode("B")->status, qsolver::NodeStatus::OverConstrained);
    EXPECT_EQ(d.FindNode("right")->status, qsolver::NodeStatus::WellConstrained);
}

TEST(AnalyseCommand, PrintsFreedomsAndTheRelationsAtFault)
{
    QSKETCH_REQUIRED();
    clitest::ScratchDir dir;
    std::string text = clitest::ReadText(clitest::Example("overconstrained.json"));
    const std::string bc = "\"nodes\": [\"B\", \"C\"], \"value\": 70";
    ASSERT_NE(text.find(bc), std::string::npos);
    clitest::WriteText(dir / "agree.json", text);
    text.replace(text.find(bc), bc.size(), "\"nodes\": [\"B\", \"C\"], \"value\": 75");
    clitest::WriteText(dir / "off.json", text);

    const auto agree = clitest::RunQsketch({"analyse", "agree.json"}, dir);
    const auto off = clitest::RunQsketch({"analyse", "off.json", "--json", "--svg", "s.svg"}, dir);

    EXPECT_EQ(agree.code, 1);
    EXPECT_NE(agree.out.find("freedoms: 0"), std::string::npos) << agree.out;
    EXPECT_NE(agree.out.find("redundant relations (implied by the others at their values): bc"),
              std::string::npos)
        << agree.out;
    EXPECT_EQ(off.code, 1) << off.err;
    const auto report = nlohmann::json::parse(off.out);
    EXPECT_EQ(report["dof"], 0);
    EXPECT_EQ(report["conflicting"], nlohmann::json(Ids{"fixA", "fixBase", "bOnBase", "aOnLeft",
                                                        "cOnLeft", "d1", "angleA", "ac", "bc"}));
    EXPECT_EQ(report["redundant"], nlohmann::json::array());
    ASSERT_EQ(report["nodeStatus"].size(), 6u);
    EXPECT_EQ(report["nodeStatus"][0],
              (nlohmann::json{{"id", "A"}, {"status", "fixed"}, {"dof", 0}}));
    EXPECT_EQ(report["nodeStatus"][2]["status"], "over-constrained");
    const std::string svg = clitest::ReadText(dir / "s.svg");
    EXPECT_NE(svg.find("over-constrained (3)"), std::string::npos) << svg;
    EXPECT_NE(svg.find("#d50000"), std::string::npos);
}

TEST(AnalyseCommand, UnderConstrainedNodesWithTheirFreedoms)
{
    QSKETCH_REQUIRED();
    clitest::ScratchDir dir;
    std::string text = clitest::ReadText(clitest::Example("fourbar.json"));
    const std::string angle =
        "    {\"id\": \"crankAngle\", \"type\": \"llang\", \"nodes\": [\"ground\", \"crank\"], "
        "\"value\": 60},\n";
    ASSERT_NE(text.find(angle), std::string::npos);
    text.erase(text.find(angle), angle.size());
    clitest::WriteText(dir / "free.json", text);

    const auto run = clitest::RunQsketch({"analyse", "free.json"}, dir);

    EXPECT_NE(run.out.find("freedoms: 1 (6 unknowns, rank 5)"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("under-constrained nodes (their freedoms): crank (1), A (1), B (1)"),
              std::string::npos)
        << run.out;
}

} // namespace

// Hosts match on these words (qsketch --json, Python, the browser): they must not drift.
TEST(VerdictWord, EveryVerdictHasItsStableWord)
{
    using qsolver::Verdict;
    const std::pair<Verdict, std::string> rows[] = {
        {Verdict::Ok, "ok"},
        {Verdict::OverConstrained, "over-constrained"},
        {Verdict::FixedContradiction, "fixed-contradiction"},
        {Verdict::SeedContradiction, "seed-contradiction"},
    };
    for (const auto& [verdict, word] : rows)
        EXPECT_EQ(qsolver::VerdictWord(verdict), word);
}
