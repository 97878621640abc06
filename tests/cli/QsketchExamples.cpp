// The example sketches through the command line as a user runs them: each analyses with the
// expected verdict, holds at its own coordinates, and re-solves a realistic change with every
// relation holding, fixed geometry unmoved and the configuration kept.
#include "cli/CliSupport.h"

#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <functional>

using clitest::Example;
using clitest::RunQsketch;
using clitest::ScratchDir;
using qsolver::DocNode;
using qsolver::SketchDoc;

namespace
{

const DocNode& NodeOf(const SketchDoc& doc, const std::string& id)
{
    const int i = doc.FindNode(id);
    EXPECT_GE(i, 0) << id;
    return doc.nodes[i < 0 ? 0 : i];
}

SketchDoc Load(const clitest::fs::path& path)
{
    SketchDoc doc;
    qsolver::InputError error;
    EXPECT_TRUE(qsolver::ReadSketchFile(path.string(), doc, error)) << error.Text();
    return doc;
}

struct ExampleRow
{
    const char* name; // the example file is name.json
    std::vector<std::string> sets;
    std::function<void(const SketchDoc&)> expect;
    int analyseCode = 0;

    clitest::fs::path File() const { return Example(std::string(name) + ".json"); }
};

const std::vector<ExampleRow>& Rows()
{
    static const std::vector<ExampleRow> rows = {
        {"triangle",
         {"angleA=75", "ac=60"},
         [](const SketchDoc& d)
         {
             // C stays above the base, at 60 from A along a side at 75 degrees.
             const DocNode& c = NodeOf(d, "C");
             const double rad = 75.0 * std::acos(-1.0) / 180.0;
             EXPECT_NEAR(c.x, 60.0 * std::cos(rad), 1e-6);
             EXPECT_NEAR(c.y, 60.0 * std::sin(rad), 1e-6);
         }},
        {"plate",
         {"width=120", "h1x=30"},
         [](const SketchDoc& d)
         {
             EXPECT_NEAR(NodeOf(d, "P3").x, 120.0, 1e-5);
             EXPECT_NEAR(NodeOf(d, "P3").y, 60.0, 1e-5);
             EXPECT_NEAR(NodeOf(d, "H1").x, 30.0, 1e-6);
             // The second hole keeps its place from the right edge, and each circle its centre.
             EXPECT_NEAR(NodeOf(d, "H2").x, 100.0, 1e-5);
             EXPECT_EQ(NodeOf(d, "hole1").x, NodeOf(d, "H1").x);
             EXPECT_EQ(NodeOf(d, "hole2").y, NodeOf(d, "H2").y);
         }},
        {"slot",
         {"upperGap=10", "r1=10", "r2=10"},
         [](const SketchDoc& d)
         {
             // One shared value widens both sides; each side stays on its own side of the axis.
             EXPECT_NEAR(NodeOf(d, "upper").y, 10.0, 1e-6);
             EXPECT_NEAR(NodeOf(d, "lower").y, -10.0, 1e-6);
             EXPECT_EQ(d.values[0].value, 10.0);
             // Together with the radii, the whole slot widens.
             EXPECT_EQ(NodeOf(d, "end2").radius, 10.0);
         }},
        {"fourbar",
         {"crankAngle=90"},
         [](const SketchDoc& d)
         {
             EXPECT_NEAR(NodeOf(d, "A").x, 0.0, 1e-6);
             EXPECT_NEAR(NodeOf(d, "A").y, 40.0, 1e-6);
             EXPECT_GT(NodeOf(d, "B").y, 0.0) << "the coupler flipped below the ground";
         }},
        {"truss",
         {"tt=50"},
         [](const SketchDoc& d)
         {
             EXPECT_GT(NodeOf(d, "T1").y, 0.0);
             EXPECT_GT(NodeOf(d, "T2").y, 0.0);
             EXPECT_NEAR(NodeOf(d, "N4").y, 0.0, 1e-6);
         }},
        {"equal",
         {"span=80"},
         [](const SketchDoc& d)
         {
             // The unknown shared value follows the geometry: the middle hole stays central.
             EXPECT_NEAR(NodeOf(d, "H2").x, 40.0, 1e-6);
             EXPECT_NEAR(d.values[0].value, 40.0, 1e-6);
         }},
        {"overconstrained", {}, nullptr, 1},
    };
    return rows;
}

} // namespace

TEST(QsketchExamples, AnalyseGivesTheExpectedVerdictAndRenderDrawsEveryNodeWithItsId)
{
    QSKETCH_REQUIRED();
    for (const ExampleRow& row : Rows())
    {
        SCOPED_TRACE(row.name);
        ScratchDir dir;

        const auto run = RunQsketch({"analyse", row.File().string(), "--json"}, dir);
        const auto render = RunQsketch({"render", row.File().string(), "-o", "x.svg"}, dir);

        EXPECT_EQ(run.code, row.analyseCode) << run.out << run.err;
        const auto report = nlohmann::json::parse(run.out);
        EXPECT_EQ(report["exitCode"], row.analyseCode);
        EXPECT_EQ(report["verdict"] == "ok", row.analyseCode == 0);
        EXPECT_TRUE(report["notHolding"].empty()) << report["notHolding"].dump();
        EXPECT_FALSE(report["clusters"].empty());
        ASSERT_EQ(render.code, 0) << render.err;
        const std::string svg = clitest::ReadText(dir / "x.svg");
        EXPECT_EQ(svg.rfind("<svg ", 0), 0u);
        EXPECT_NE(svg.find("</svg>"), std::string::npos);
        for (const DocNode& n : Load(row.File()).nodes)
        {
            EXPECT_NE(svg.find(">" + n.id + "</text>"), std::string::npos) << n.id;
        }
    }
}

TEST(QsketchExamples, DriveKeepsConfigurationAndEveryRelationHolds)
{
    QSKETCH_REQUIRED();
    for (const ExampleRow& row : Rows())
    {
        if (row.sets.empty())
        {
            continue;
        }
        SCOPED_TRACE(row.name);
        ScratchDir dir;
        std::vector<std::string> args = {"drive",  row.File().string(), "-o", "out.json", "--svg",
                                         "out.svg"};
        for (const std::string& set : row.sets)
        {
            args.insert(args.end(), {"--set", set});
        }

        const auto run = RunQsketch(args, dir);

        ASSERT_EQ(run.code, 0) << run.out << run.err;
        const SketchDoc before = Load(row.File());
        const SketchDoc after = Load(dir / "out.json");
        EXPECT_EQ(qsolver::FormatSketch(after), clitest::ReadText(dir / "out.json"));
        for (const auto& check : qsolver::CheckRelations(after))
        {
            EXPECT_TRUE(check.holds) << after.relations[check.index].id << " measures "
                                     << check.measured << ", wants " << check.wanted;
        }
        for (const auto& rel : before.relations)
        {
            if (rel.type == qsolver::DocRelType::Fix)
            {
                const DocNode& was = NodeOf(before, rel.nodes[0]);
                const DocNode& is = NodeOf(after, rel.nodes[0]);
                EXPECT_TRUE(was.x == is.x && was.y == is.y && was.dx == is.dx && was.dy == is.dy)
                    << "fixed " << was.id << " moved";
            }
        }
        for (const std::string& set : row.sets)
        {
            // The value is written as given, not as converted to radians and back.
            const std::string id = set.substr(0, set.find('='));
            const auto& rel = after.relations[after.FindRelation(id)];
            const double wanted = std::stod(set.substr(set.find('=') + 1));
            double got =
                rel.shared.empty() ? rel.value : after.values[after.FindValue(rel.shared)].value;
            if (rel.type == qsolver::DocRelType::Rad)
            {
                got = NodeOf(after, rel.nodes[1]).radius;
            }
            EXPECT_EQ(got, wanted) << id;
        }
        row.expect(after);
        const std::string svg = clitest::ReadText(dir / "out.svg");
        EXPECT_NE(svg.find("#b8b8b8"), std::string::npos) << "the old sketch is not drawn";
    }
}

TEST(QsketchExamples, SeveralSetsChangeTheSketchInOnePass)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;

    const auto run = RunQsketch({"drive", Example("fourbar.json").string(), "--set", "coupler=95",
                                 "--set", "rocker=75", "--json"},
                                dir);

    ASSERT_EQ(run.code, 0) << run.out << run.err;
    const auto report = nlohmann::json::parse(run.out);
    ASSERT_EQ(report["changes"].size(), 2u);
    EXPECT_EQ(report["changes"][1]["relation"], "rocker");
    EXPECT_EQ(report["changes"][1]["from"], 70);
    EXPECT_EQ(report["changes"][1]["to"], 75);
    EXPECT_EQ(report["moved"], nlohmann::json::array({"B"}));
}

TEST(QsketchExamples, UnsolvableChangeFailsRestoresAndWritesNothing)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;
    clitest::WriteText(dir / "out.json", "old");

    // A coupler longer than the other three bars together cannot close the linkage.
    const auto run = RunQsketch({"drive", Example("fourbar.json").string(), "--set", "coupler=300",
                                 "-o", "out.json", "--svg", "out.svg", "--json"},
                                dir);

    EXPECT_EQ(run.code, 1) << run.out << run.err;
    const auto report = nlohmann::json::parse(run.out);
    EXPECT_EQ(report["solved"], false);
    EXPECT_EQ(report["restored"], true);
    EXPECT_EQ(clitest::ReadText(dir / "out.json"), "old");
    EXPECT_FALSE(clitest::fs::exists(dir / "out.svg"));
}

TEST(QsketchExamples, DemoRunsThePassesAndWritesItsDrawing)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;

    const auto run = RunQsketch({}, dir);

    EXPECT_EQ(run.code, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("analysis pass"), std::string::npos);
    EXPECT_NE(run.out.find("drive pass"), std::string::npos);
    EXPECT_NE(clitest::ReadText(dir / "demo.svg").find("</svg>"), std::string::npos);
}

TEST(QsketchExamples, RadianSketchIsDrivenInRadians)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;
    std::string text = clitest::ReadText(Example("triangle.json"));
    text.replace(text.find("{\n"), 2, "{\n  \"unit\": \"rad\",\n");
    text.replace(text.find("\"value\": 60"), 11, "\"value\": 1.0471975511965976");
    clitest::WriteText(dir / "t.json", text);

    const auto run = RunQsketch(
        {"drive", "t.json", "--set", "angleA=1.5707963267948966", "-o", "out.json"}, dir);

    ASSERT_EQ(run.code, 0) << run.out << run.err;
    const SketchDoc after = Load(dir / "out.json");
    EXPECT_TRUE(after.radians);
    EXPECT_NEAR(NodeOf(after, "C").x, 0.0, 1e-6);
    EXPECT_NEAR(NodeOf(after, "C").y, 50.0, 1e-6);
    EXPECT_EQ(after.relations[after.FindRelation("angleA")].value, 1.5707963267948966);
}

TEST(QsketchExamples, AnalyseNamesRelationsThatDoNotHoldAtTheGivenCoordinates)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;
    std::string text = clitest::ReadText(Example("triangle.json"));
    text.replace(text.find("\"value\": 50"), 11, "\"value\": 52");
    clitest::WriteText(dir / "t.json", text);

    const auto run = RunQsketch({"analyse", "t.json", "--json"}, dir);

    const auto report = nlohmann::json::parse(run.out);
    ASSERT_EQ(report["notHolding"].size(), 1u) << run.out;
    EXPECT_EQ(report["notHolding"][0]["id"], "ac");
    EXPECT_EQ(report["notHolding"][0]["wanted"], 52);
    EXPECT_NEAR(report["notHolding"][0]["measured"].get<double>(), 50.0, 1e-9);
}

TEST(QsketchExamples, RenderWritesBesideTheSketchByDefault)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;
    clitest::WriteText(dir / "slot.v2.json", clitest::ReadText(Example("slot.json")));

    const auto run = RunQsketch({"render", "slot.v2.json", "--json"}, dir);

    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(nlohmann::json::parse(run.out)["outputs"]["svg"], "slot.v2.svg");
    EXPECT_TRUE(clitest::fs::exists(dir / "slot.v2.svg"));
}
