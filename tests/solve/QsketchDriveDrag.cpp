// qsketch drive and drag as a script uses them: the JSON report says what solved a drive, and
// a drag writes a sketch whose relations hold with the point moved.
#include "cli/CliSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace
{

using Json = nlohmann::json;

TEST(QsketchRobust, DriveReportsTheStrategyAndAMirroredPassIsNotTheAnswer)
{
    QSKETCH_REQUIRED();
    clitest::ScratchDir dir;
    const std::string truss =
        (clitest::SourceRoot() / "tests/solve/cases/truss_flip.json").string();
    const auto run = clitest::RunQsketch(
        {"drive", truss, "--set", "ppdis_N4_N5=20.94301709155515", "--json", "-o", "out.json"},
        dir);
    ASSERT_EQ(run.code, 0) << run.out << run.err;
    const Json report = Json::parse(run.out);
    EXPECT_EQ(report["solved"], true);
    EXPECT_NE(report["strategy"], "faithful");
    EXPECT_NE(report["strategy"], "none");
    EXPECT_GE(report["steps"].get<int>(), 1);
    EXPECT_TRUE(report["notHolding"].empty());
}

TEST(QsketchRobust, DragMovesThePointAndWritesTheSketch)
{
    QSKETCH_REQUIRED();
    clitest::ScratchDir dir;
    clitest::WriteText(dir / "arm.json", R"({
  "nodes": [
    {"id": "A", "type": "point", "at": [0, 0]},
    {"id": "B", "type": "point", "at": [3, 4]}
  ],
  "relations": [
    {"id": "fixA", "type": "fix", "nodes": ["A"]},
    {"id": "ab", "type": "ppdis", "nodes": ["A", "B"], "value": 5}
  ]
})");
    const auto run = clitest::RunQsketch(
        {"drag", "arm.json", "--point", "B", "--to", "10,0", "--json", "-o", "out.json"}, dir);
    ASSERT_EQ(run.code, 0) << run.out << run.err;
    const Json report = Json::parse(run.out);
    EXPECT_EQ(report["solved"], true);
    EXPECT_NEAR(report["distance"].get<double>(), 5.0, 1e-9);
    const Json out = Json::parse(clitest::ReadText(dir / "out.json"));
    EXPECT_NEAR(out["nodes"][1]["at"][0].get<double>(), 5.0, 1e-9);
    EXPECT_NEAR(out["nodes"][1]["at"][1].get<double>(), 0.0, 1e-9);

    const struct
    {
        std::vector<std::string> args;
        const char* problem;
    } refused[] = {
        {{"drag", "arm.json", "--point", "B", "--to", "10"}, "expected X,Y"},
        {{"drag", "arm.json", "--point", "Z", "--to", "1,1"}, "no point has the id \"Z\""},
        {{"drag", "arm.json", "--point", "B"}, "drag needs --point P and --to X,Y"},
        {{"drive", "arm.json", "--point", "B", "--set", "ab=4"}, "--point and --to belong to drag"},
    };
    for (const auto& row : refused)
    {
        SCOPED_TRACE(row.problem);
        const auto bad = clitest::RunQsketch(row.args, dir);
        EXPECT_EQ(bad.code, 2);
        EXPECT_NE(bad.err.find(row.problem), std::string::npos) << bad.err;
    }
    const auto fixed =
        clitest::RunQsketch({"drag", "arm.json", "--point", "A", "--to", "1,1"}, dir);
    EXPECT_EQ(fixed.code, 1);
    EXPECT_NE(fixed.out.find("point 'A' is fixed"), std::string::npos) << fixed.out;
}

} // namespace
