// Bad input through the command line: refused with exit code 2, a message that names the file,
// the place and the problem, and no file written.
#include "cli/CliSupport.h"

#include <nlohmann/json.hpp>

#include <algorithm>

using clitest::RunQsketch;
using clitest::ScratchDir;

namespace
{

struct BadFile
{
    const char* name;
    const char* text;
    const char* where;
    const char* problem;
};

// A valid frame for the rows below: two points and a line.
#define NODES                                                                                      \
    R"({"id": "A", "type": "point", "at": [0, 0]}, {"id": "B", "type": "point", "at": [4, 0]}, )"  \
    R"({"id": "L", "type": "line", "through": [0, 0], "direction": [1, 0]})"
// The frame with one relation.
#define RELATION(rel) R"({"nodes": [)" NODES R"(], "relations": [)" rel R"(]})"

const BadFile kBadFiles[] = {
    {"trailing comma", R"({"nodes": [{"id": "A", "type": "point", "at": [0, 0]},]})",
     "line 1, column", "invalid JSON"},
    {"empty file", "", "", "the file is empty"},
    {"array at the top", "[]", "", "expected a sketch"},
    {"no nodes", R"({"relations": []})", "", "missing field \"nodes\""},
    {"point without position", R"({"nodes": [{"id": "A", "type": "point"}]})", "nodes[0]",
     "missing field \"at\""},
    {"unknown node type", R"({"nodes": [{"id": "A", "type": "arc", "at": [0, 0]}]})",
     "nodes[0].type", "unknown node type \"arc\""},
    {"empty id", R"({"nodes": [)" NODES R"(, {"id": "", "type": "point", "at": [1, 1]}]})",
     "nodes[3].id", "the id is empty"},
    {"duplicate id", R"({"nodes": [)" NODES R"(, {"id": "B", "type": "point", "at": [1, 1]}]})",
     "nodes[3].id", "duplicate id \"B\" (already used by nodes[1])"},
    {"relation id taken by a node", RELATION(R"({"id": "A", "type": "fix", "nodes": ["A"]})"),
     "relations[0].id", "duplicate id \"A\""},
    {"unknown node in relation",
     RELATION(R"({"id": "d", "type": "ppdis", "nodes": ["A", "Q"], "value": 1})"),
     "relations[0].nodes[1]", "no node has the id \"Q\""},
    {"ppdis to a line",
     RELATION(R"({"id": "d", "type": "ppdis", "nodes": ["A", "L"], "value": 1})"),
     "relations[0].nodes[1]", "\"L\" is a line; a ppdis joins two points"},
    {"pldis with the line first",
     RELATION(R"({"id": "d", "type": "pldis", "nodes": ["L", "A"], "value": 1})"),
     "relations[0].nodes[0]", "a pldis joins a point (first) and a line (second)"},
    {"rad without a circle", RELATION(R"({"id": "r", "type": "rad", "nodes": ["A", "B"]})"),
     "relations[0].nodes[1]", "is a point; a rad joins"},
    {"relation joins a node to itself",
     RELATION(R"({"id": "d", "type": "ppdis", "nodes": ["A", "A"], "value": 1})"),
     "relations[0].nodes[1]", "joins \"A\" to itself"},
    {"wrong node count", RELATION(R"({"id": "f", "type": "fix", "nodes": ["A", "B"]})"),
     "relations[0].nodes", "expected one node id"},
    {"absurd coordinate", R"({"nodes": [{"id": "A", "type": "point", "at": [0, 1e300]}]})",
     "nodes[0].at[1]", "absurdly large"},
    {"overflowing number", R"({"nodes": [{"id": "A", "type": "point", "at": [0, 1e999]}]})",
     "line 1, column", "the number 1e999 is not finite"},
    {"text for a number", R"({"nodes": [{"id": "A", "type": "point", "at": ["0", 0]}]})",
     "nodes[0].at[0]", "expected a number, found string"},
    {"zero line direction",
     R"({"nodes": [{"id": "L", "type": "line", "through": [1, 2], "direction": [0, 0]}]})",
     "nodes[0].direction", "the direction is zero"},
    {"zero radius", R"({"nodes": [{"id": "C", "type": "circle", "center": [0, 0], "radius": 0}]})",
     "nodes[0].radius", "greater than 0"},
    {"negative distance",
     RELATION(R"({"id": "d", "type": "ppdis", "nodes": ["A", "B"], "value": -4})"),
     "relations[0].value", "a distance cannot be negative"},
    {"angle beyond a full turn",
     R"({"nodes": [)" NODES
     R"(, {"id": "M", "type": "line", "through": [0, 0], "direction": [0, 1]}],
        "relations": [{"id": "a", "type": "llang", "nodes": ["L", "M"], "value": 400}]})",
     "relations[0].value", "an angle must lie in [0, 360)"},
    {"distance without value", RELATION(R"({"id": "d", "type": "ppdis", "nodes": ["A", "B"]})"),
     "relations[0]", "missing field \"value\""},
    {"missing shared value",
     RELATION(R"({"id": "d", "type": "ppdis", "nodes": ["A", "B"], "shared": "w"})"),
     "relations[0].shared", "no entry of values has the id \"w\""},
    {"misspelt field", RELATION(R"({"id": "d", "type": "ppdis", "nodes": ["A", "B"], "valeu": 4})"),
     "relations[0].valeu", "unknown field \"valeu\""},
    {"reverse on a distance",
     R"({"nodes": [)" NODES R"(], "relations": [{"id": "d", "type": "ppdis", "nodes": ["A", "B"],
        "value": 4, "reverse": [true, false]}]})",
     "relations[0].reverse", "only an llang"},
    {"value node not a circle",
     R"({"nodes": [)" NODES R"(], "relations": [{"id": "d", "type": "ppdis", "nodes": ["A", "B"],
        "value": 4, "valueNode": "L"}]})",
     "relations[0].valueNode", "a value node is a circle"},
    {"field given twice",
     R"({"nodes": [)" NODES R"(], "relations": [{"id": "d", "type": "ppdis", "nodes": ["A", "B"],
        "value": 4, "value": 5}]})",
     "relations[0].value", "the field appears twice"},
    {"reference not a whole number",
     R"({"nodes": [{"id": "A", "type": "point", "at": [0, 0], "reference": 1.5}]})",
     "nodes[0].reference", "expected a whole number"},
    {"unknown unit", R"({"unit": "grad", "nodes": []})", "unit", "unknown unit \"grad\""},
    {"value entry without number", R"({"nodes": [], "values": [{"id": "w"}]})", "values[0]",
     "missing field \"value\""},
    {"angle and distance share a value",
     R"({"nodes": [)" NODES
     R"(, {"id": "M", "type": "line", "through": [0, 0], "direction": [0, 1]}],
        "values": [{"id": "v", "value": 1}],
        "relations": [{"id": "a", "type": "llang", "nodes": ["L", "M"], "shared": "v"},
                      {"id": "d", "type": "ppdis", "nodes": ["A", "B"], "shared": "v"}]})",
     "relations[1].shared", "shared by an angle and a distance"},
};

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(QsketchBadInput, BadFilesAreRefusedWithPlaceAndProblemAndNothingWritten)
{
    QSKETCH_REQUIRED();
    for (const BadFile& row : kBadFiles)
    {
        SCOPED_TRACE(row.name);
        ScratchDir dir;
        clitest::WriteText(dir / "bad.json", row.text);

        const auto run = RunQsketch(
            {"drive", "bad.json", "--set", "d=1", "-o", "out.json", "--svg", "out.svg"}, dir);

        EXPECT_EQ(run.code, 2);
        EXPECT_TRUE(Contains(run.err, "bad.json: ")) << run.err;
        EXPECT_TRUE(Contains(run.err, row.where)) << run.err;
        EXPECT_TRUE(Contains(run.err, row.problem)) << run.err;
        EXPECT_EQ(dir.Files(), std::vector<std::string>{"bad.json"});
    }
}

TEST(QsketchBadInput, RelationPlaceIsCountedInTheFile)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;
    // The fourth relation names a line where a point belongs.
    clitest::WriteText(dir / "s.json", R"({"nodes": [)" NODES R"(], "relations": [
        {"id": "f", "type": "fix", "nodes": ["A"]},
        {"id": "d1", "type": "ppdis", "nodes": ["A", "B"], "value": 4},
        {"id": "h", "type": "pldis", "nodes": ["B", "L"], "value": 0},
        {"id": "d2", "type": "ppdis", "nodes": ["B", "L"], "value": 3}]})");

    const auto run = RunQsketch({"analyse", "s.json", "--json"}, dir);

    EXPECT_EQ(run.code, 2);
    const auto report = nlohmann::json::parse(run.out);
    EXPECT_EQ(report["error"]["file"], "s.json");
    EXPECT_EQ(report["error"]["where"], "relations[3].nodes[1]");
    EXPECT_EQ(report["error"]["problem"], "\"L\" is a line; a ppdis joins two points");
}

TEST(QsketchBadInput, BadSetIsRefusedAndOldOutputKept)
{
    struct Row
    {
        const char* name;
        std::vector<std::string> sets;
        const char* problem;
    };
    const Row rows[] = {
        {"unknown relation", {"nosuch=3"}, "no relation has the id \"nosuch\""},
        {"no equals sign", {"d1"}, "expected RELATION=VALUE"},
        {"nothing after the equals sign", {"d1="}, "expected RELATION=VALUE"},
        {"trailing garbage", {"d1=4x"}, "\"4x\" is not a number"},
        {"not a number", {"d1=nan"}, "\"nan\" is not a number"},
        {"infinite", {"d1=1e999"}, "is not a number"},
        {"absurd", {"d1=1e12"}, "a finite number of at most 1e9"},
        {"negative distance", {"d1=-1"}, "a distance cannot be negative"},
        {"fix", {"fixA=1"}, "is a fix: it has no value to set"},
        {"same relation twice", {"d1=5", "d1=6"}, "changes the same value as relation 'd1'"},
    };
    QSKETCH_REQUIRED();
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        ScratchDir dir;
        clitest::WriteText(dir / "t.json", clitest::ReadText(clitest::Example("triangle.json")));
        clitest::WriteText(dir / "out.json", "old");
        std::vector<std::string> args = {"drive", "t.json", "-o", "out.json", "--svg", "out.svg"};
        for (const std::string& set : row.sets)
        {
            args.insert(args.end(), {"--set", set});
        }

        const auto run = RunQsketch(args, dir);

        EXPECT_EQ(run.code, 2);
        EXPECT_TRUE(Contains(run.err, "t.json: --set " + row.sets.back() + ": ")) << run.err;
        EXPECT_TRUE(Contains(run.err, row.problem)) << run.err;
        EXPECT_EQ(clitest::ReadText(dir / "out.json"), "old");
        EXPECT_FALSE(clitest::fs::exists(dir / "out.svg"));
    }
}

TEST(QsketchBadInput, CommandLineMistakesAreRefusedWithoutWritingAnything)
{
    QSKETCH_REQUIRED();
    const std::string equal = clitest::Example("equal.json").string();
    const std::string slot = clitest::Example("slot.json").string();
    const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
        {{"analyse"}, "usage: qsketch"},
        {{"frobnicate", "x.json"}, "usage: qsketch"},
        {{"analyse", "x.json", "--fast"}, "usage: qsketch"},
        {{"drive", "x.json"}, "usage: qsketch"},
        {{"render", "x.json", "--set", "a=1"}, "usage: qsketch"},
        {{"drive", "x.json", "--set", "a=1", "-o", "same", "--svg", "same"}, "usage: qsketch"},
        {{"drive", "x.json", "--set"}, "usage: qsketch"},
        {{"analyse", "nowhere.json"}, "nowhere.json: cannot open the file"},
        {{"render", "."}, "is a directory"},
        {{"render", slot, "-o", "missing/dir/x.svg"}, "missing/dir/x.svg: cannot create the file"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.first[0] + (row.first.size() > 1 ? " " + row.first[1] : ""));
        ScratchDir dir;

        const auto run = RunQsketch(row.first, dir);

        EXPECT_EQ(run.code, 2);
        EXPECT_TRUE(Contains(run.err, row.second)) << run.err;
        EXPECT_TRUE(dir.Files().empty());
    }
}
