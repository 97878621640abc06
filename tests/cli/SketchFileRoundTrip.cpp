// Sketch files survive reading and writing unchanged, and numbers are written in their
// shortest exact form.
#include "cli/CliSupport.h"

#include "qsolver/SketchFile.h"

#include <cmath>
#include <limits>

using qsolver::FormatNumber;
using qsolver::FormatSketch;
using qsolver::InputError;
using qsolver::ParseSketch;
using qsolver::SketchDoc;

TEST(SketchFileRoundTrip, EveryExampleIsWrittenBackByteForByte)
{
    for (const char* name : {"triangle.json", "plate.json", "slot.json", "fourbar.json",
                             "truss.json", "equal.json", "overconstrained.json"})
    {
        SCOPED_TRACE(name);
        const std::string text = clitest::ReadText(clitest::Example(name));
        SketchDoc doc;
        InputError error;

        ASSERT_TRUE(ParseSketch(text, name, doc, error)) << error.Text();

        EXPECT_EQ(FormatSketch(doc), text);
    }
}

TEST(SketchFileRoundTrip, OptionalFieldsAndOddIdsSurvive)
{
    const std::string text = R"({
  "format": 1,
  "description": "all \"optional\" fields",
  "unit": "rad",
  "nodes": [
    {"id": "p \u00e9", "type": "point", "at": [-0.1, 1e-7], "reference": -3},
    {"id": "L", "type": "line", "through": [0, 0], "direction": [0.6, 0.8], "dirFixed": true},
    {"id": "M", "type": "line", "through": [1, 2], "direction": [1, 0]},
    {"id": "C", "type": "circle", "center": [1e8, 0], "radius": 0.30000000000000004}
  ],
  "values": [
    {"id": "v", "value": 2.5, "known": false}
  ],
  "relations": [
    {"id": "a", "type": "llang", "nodes": ["L", "M"], "value": 3.141592653589793, "known": true, "reverse": [false, true]},
    {"id": "e", "type": "pldis", "nodes": ["p \u00e9", "L"], "shared": "v", "valueNode": "C"}
  ]
}
)";
    SketchDoc doc;
    InputError error;
    ASSERT_TRUE(ParseSketch(text, "t", doc, error)) << error.Text();

    const std::string written = FormatSketch(doc);
    SketchDoc again;
    ASSERT_TRUE(ParseSketch(written, "t", again, error)) << error.Text();

    EXPECT_EQ(FormatSketch(again), written);
    EXPECT_EQ(written.rfind("{\n  \"format\": 1,\n", 0), 0u) << "the format key is kept";
    EXPECT_EQ(again.nodes[0].id, "p \xc3\xa9");
    EXPECT_EQ(again.nodes[0].reference, -3);
    EXPECT_TRUE(again.nodes[1].dirFixed);
    EXPECT_FALSE(again.nodes[2].hasDirFixed);
    EXPECT_TRUE(again.radians);
    EXPECT_TRUE(again.relations[0].reverse[1]);
    EXPECT_EQ(again.relations[1].valueNode, "C");
    EXPECT_EQ(again.values[0].known, false);
}

TEST(SketchFileRoundTrip, NumbersAreShortestAndExact)
{
    struct Row
    {
        const char* name;
        double value;
        const char* text;
    };
    const Row rows[] = {
        {"integer", 80.0, "80"},
        {"negative zero", -0.0, "0"},
        {"tenth", 0.1, "0.1"},
        {"sum with rounding", 0.1 + 0.2, "0.30000000000000004"},
        {"small", 1e-5, "1e-5"},
        {"large", 1e21, "1e21"},
        {"third", 1.0 / 3.0, "0.3333333333333333"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);

        const std::string text = FormatNumber(row.value);

        EXPECT_EQ(text, row.text);
        EXPECT_EQ(std::stod(text), row.value);
    }
}
