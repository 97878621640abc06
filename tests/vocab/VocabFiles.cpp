// Format-2 files: they round-trip without loss, refuse bad input at its place, leave format-1
// files to their own reader, and the CAD examples analyse, drive, render and export through
// qsketch as a user runs them; the DXF reads back in another program with the same geometry.
#include "cli/CliSupport.h"

#include "qsolver/SketchFile.h"
#include "qsolver/VocabFile.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

using clitest::Example;
using clitest::RunQsketch;
using clitest::ScratchDir;
using namespace qsolver;

namespace
{

const char* const kVocabExamples[] = {"bracket", "slot-cad", "symmetric-plate", "gear-lever"};

VocabDoc LoadVocab(const clitest::fs::path& path)
{
    VocabDoc doc;
    InputError error;
    EXPECT_TRUE(ReadVocabFile(path.string(), doc, error)) << error.Text();
    return doc;
}

TEST(VocabFiles, ExamplesWriteBackToTheirOwnText)
{
    for (const char* name : kVocabExamples)
    {
        SCOPED_TRACE(name);
        const clitest::fs::path file = Example(std::string(name) + ".json");
        const VocabDoc doc = LoadVocab(file);

        const std::string text = FormatVocabSketch(doc);

        EXPECT_EQ(text, clitest::ReadText(file));
    }
}

TEST(VocabFiles, EveryFieldSurvivesARoundTrip)
{
    const std::string text = R"({
  "format": 2,
  "description": "all the optional fields",
  "unit": "rad",
  "entities": [
    {"id": "A", "type": "point", "at": [0.1, -2.5e-7], "construction": true},
    {"id": "B", "type": "point", "at": [3, 4]},
    {"id": "C", "type": "point", "at": [0, 5]},
    {"id": "s", "type": "segment", "points": ["A", "B"]},
    {"id": "L", "type": "line", "through": [1, 1], "direction": [0.6, 0.8], "construction": true},
    {"id": "k", "type": "circle", "center": "C", "radius": 2},
    {"id": "a", "type": "arc", "center": "A", "start": "B", "end": "C"}
  ],
  "constraints": [
    {"id": "ang", "type": "angle", "refs": ["s", "L"], "value": 0.25, "reverse": [true, false]},
    {"id": "t", "type": "tangent", "refs": ["k", "a"], "inside": true},
    {"id": "ref", "type": "distance", "refs": ["A", "C"], "value": 5, "driven": true}
  ]
}
)";
    VocabDoc doc;
    InputError error;
    ASSERT_TRUE(ParseVocabSketch(text, "all.json", doc, error)) << error.Text();

    const std::string written = FormatVocabSketch(doc);
    VocabDoc again;
    ASSERT_TRUE(ParseVocabSketch(written, "again.json", again, error)) << error.Text();

    EXPECT_EQ(FormatVocabSketch(again), written);
    EXPECT_TRUE(again.radians);
    EXPECT_TRUE(again.entities[0].construction);
    EXPECT_EQ(again.entities[0].y, -2.5e-7);
    EXPECT_TRUE(again.constraints[0].reverse[0]);
    EXPECT_FALSE(again.constraints[0].reverse[1]);
    EXPECT_TRUE(again.constraints[1].inside);
    EXPECT_TRUE(again.constraints[2].driven);
}

struct BadRow
{
    const char* name;
    const char* entities;
    const char* constraints;
    const char* where;
    const char* problem; // a piece of the message
};

TEST(VocabFiles, BadInputIsRefusedAtItsPlace)
{
    const BadRow rows[] = {
        {"UnknownEntityType", R"({"id": "A", "type": "spline", "at": [0, 0]})", "",
         "entities[0].type", "unknown entity type"},
        {"SegmentOfAMissingPoint", R"({"id": "s", "type": "segment", "points": ["A", "B"]})", "",
         "entities[0]", "is not a point"},
        {"DuplicateId",
         R"({"id": "A", "type": "point", "at": [0, 0]}, {"id": "A", "type": "point", "at": [1, 0]})",
         "", "entities[1]", "duplicate id"},
        {"ZeroRadius",
         R"({"id": "C", "type": "point", "at": [0, 0]}, {"id": "k", "type": "circle", "center": "C", "radius": 0})",
         "", "entities[1]", "greater than 0"},
        {"TangentOfTwoPoints",
         R"({"id": "A", "type": "point", "at": [0, 0]}, {"id": "B", "type": "point", "at": [1, 0]})",
         R"({"id": "t", "type": "tangent", "refs": ["A", "B"]})", "constraints[0]",
         "takes a line, segment, circle or arc"},
        {"DimensionWithoutValue",
         R"({"id": "A", "type": "point", "at": [0, 0]}, {"id": "B", "type": "point", "at": [1, 0]})",
         R"({"id": "d", "type": "distance", "refs": ["A", "B"]})", "constraints[0]",
         "missing field \"value\""},
        {"ValueOnACoincidence",
         R"({"id": "A", "type": "point", "at": [0, 0]}, {"id": "B", "type": "point", "at": [1, 0]})",
         R"({"id": "c", "type": "coincident", "refs": ["A", "B"], "value": 1})",
         "constraints[0].value", "has no value"},
        {"UnknownReference", R"({"id": "A", "type": "point", "at": [0, 0]})",
         R"({"id": "f", "type": "fix", "refs": ["Z"]})", "constraints[0]", "no entity 'Z'"},
        {"NegativeLength",
         R"({"id": "A", "type": "point", "at": [0, 0]}, {"id": "B", "type": "point", "at": [1, 0]}, {"id": "s", "type": "segment", "points": ["A", "B"]})",
         R"({"id": "l", "type": "length", "refs": ["s"], "value": -1})", "constraints[0]",
         "cannot be negative"},
        {"InsideOnAParallel",
         R"({"id": "A", "type": "point", "at": [0, 0]}, {"id": "B", "type": "point", "at": [1, 0]}, {"id": "s", "type": "segment", "points": ["A", "B"]}, {"id": "t", "type": "segment", "points": ["B", "A"]})",
         R"({"id": "p", "type": "parallel", "refs": ["s", "t"], "inside": true})",
         "constraints[0].inside", "only a tangent"},
    };
    for (const BadRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        const std::string text = std::string("{\"format\": 2, \"entities\": [") + row.entities +
                                 "], \"constraints\": [" + row.constraints + "]}";
        VocabDoc doc;
        InputError error;

        EXPECT_FALSE(ParseVocabSketch(text, "bad.json", doc, error));

        EXPECT_EQ(error.file, "bad.json");
        EXPECT_EQ(error.where, row.where);
        EXPECT_NE(error.problem.find(row.problem), std::string::npos) << error.problem;
    }
}

TEST(VocabFiles, EachReaderNamesTheOtherFormat)
{
    SketchDoc format1;
    InputError error;

    EXPECT_FALSE(ParseSketch(clitest::ReadText(Example("bracket.json")), "b.json", format1, error));
    EXPECT_EQ(error.where, "format");
    EXPECT_NE(error.problem.find("format 2"), std::string::npos);
    EXPECT_FALSE(IsVocabText(clitest::ReadText(Example("triangle.json"))));
    EXPECT_TRUE(IsVocabText(clitest::ReadText(Example("bracket.json"))));
}

struct DriveRow
{
    const char* name;
    std::vector<std::string> sets;
    const char* dragged; // a point dragged to (5, 5)
};

TEST(VocabFiles, ExamplesAnalyseDriveRenderAndExport)
{
    QSKETCH_REQUIRED();
    const DriveRow rows[] = {
        {"bracket", {"width=90", "innerR=8", "holeDia=8"}, "A"},
        {"slot-cad", {"centres=60", "width=20"}, "T1"},
        {"symmetric-plate", {"baseWidth=100", "topWidth=40", "holeR=6"}, "P2"},
        {"gear-lever", {"shift=80"}, "K"},
    };
    for (const DriveRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        ScratchDir dir;
        const std::string file = Example(std::string(row.name) + ".json").string();

        const auto analyse = RunQsketch({"analyse", file, "--json"}, dir);
        std::vector<std::string> args = {"drive", file, "-o", "out.json", "--svg", "out.svg"};
        for (const std::string& set : row.sets)
        {
            args.push_back("--set");
            args.push_back(set);
        }
        const auto drive = RunQsketch(args, dir);
        const auto render = RunQsketch({"render", file, "-o", "view.svg"}, dir);
        const auto dxf = RunQsketch({"export", file, "--dxf", "out.dxf"}, dir);

        EXPECT_EQ(analyse.code, 0) << analyse.out << analyse.err;
        const auto report = nlohmann::json::parse(analyse.out);
        // The same verdict word as a format-1 report, so a host reads both alike.
        EXPECT_EQ(report["verdict"], "ok");
        EXPECT_TRUE(report["notHolding"].empty());
        ASSERT_EQ(drive.code, 0) << drive.out << drive.err;
        EXPECT_EQ(render.code, 0) << render.err;
        EXPECT_EQ(dxf.code, 0) << dxf.err;
        // The driven file holds its new dimensions and every constraint.
        const VocabDoc after = LoadVocab(dir / "out.json");
        VocabSketch sketch;
        InputError error;
        ASSERT_TRUE(BuildVocabSketch(after, "out.json", sketch, error)) << error.Text();
        for (const ConstraintCheck& c : sketch.Check())
        {
            EXPECT_TRUE(c.holds) << c.id << " off by " << c.error;
        }
        for (const std::string& set : row.sets)
        {
            const std::string id = set.substr(0, set.find('='));
            const double value = std::stod(set.substr(set.find('=') + 1));
            EXPECT_EQ(after.constraints[after.FindConstraint(id)].value, value) << id;
        }
        // Each changed dimension is labelled in the drawing of the drive.
        const std::string svg = clitest::ReadText(dir / "out.svg");
        for (const std::string& set : row.sets)
        {
            EXPECT_NE(svg.find(">" + set.substr(0, set.find('=')) + " "), std::string::npos);
        }
        EXPECT_NE(clitest::ReadText(dir / "view.svg").find("</svg>"), std::string::npos);

        // A drag of a fully dimensioned sketch solves and leaves every constraint holding.
        const auto drag = RunQsketch(
            {"drag", file, "--point", row.dragged, "--to", "5,5", "-o", "dragged.json", "--json"},
            dir);
        ASSERT_EQ(drag.code, 0) << drag.out << drag.err;
        EXPECT_TRUE(nlohmann::json::parse(drag.out)["solved"].get<bool>());
        VocabSketch dragged;
        ASSERT_TRUE(
            BuildVocabSketch(LoadVocab(dir / "dragged.json"), "dragged.json", dragged, error))
            << error.Text();
        for (const ConstraintCheck& c : dragged.Check())
        {
            EXPECT_TRUE(c.holds) << "after the drag: " << c.id << " off by " << c.error;
        }
    }
}

TEST(VocabFiles, ConstructionIsDashedAndDimensionsAreLabelled)
{
    const VocabDoc doc = LoadVocab(Example("slot-cad.json"));

    const std::string svg = DrawVocabSvg(doc);

    // The centre line is construction geometry; the width a diameter; overall a reference.
    EXPECT_NE(svg.find("stroke-dasharray=\"6 4\""), std::string::npos);
    EXPECT_NE(svg.find("width \xE2\x8C\x80"
                       "16"),
              std::string::npos);
    EXPECT_NE(svg.find("overall (40)"), std::string::npos);
}

TEST(VocabFiles, DrivingAReferenceOrAFormatOneExportIsBadInput)
{
    QSKETCH_REQUIRED();
    ScratchDir dir;

    const auto reference =
        RunQsketch({"drive", Example("bracket.json").string(), "--set", "reach=90"}, dir);
    const auto format1 =
        RunQsketch({"export", Example("triangle.json").string(), "--dxf", "t.dxf"}, dir);

    EXPECT_EQ(reference.code, 2);
    EXPECT_NE(reference.err.find("reference dimension"), std::string::npos) << reference.err;
    EXPECT_EQ(format1.code, 2);
    EXPECT_NE(format1.err.find("format 2"), std::string::npos) << format1.err;
    EXPECT_TRUE(dir.Files().empty());
}

// Debian's ezdxf reads the file back: the same entities on the same layers, the same numbers.
TEST(VocabFiles, DxfReadsBackInAnotherProgram)
{
    const char* python = "/usr/bin/python3";
    ASSERT_EQ(std::system((std::string(python) + " -c 'import ezdxf' 2>/dev/null").c_str()), 0)
        << "python3-ezdxf is missing: scripts/install-deps.sh installs it";
    ScratchDir dir;
    const VocabDoc doc = LoadVocab(Example("slot-cad.json"));
    clitest::WriteText(dir / "slot.dxf", WriteVocabDxf(doc));
    const std::string script =
        "import ezdxf, json, sys\n"
        "d = ezdxf.readfile(sys.argv[1])\n"
        "out = []\n"
        "for e in d.modelspace():\n"
        "    t = e.dxftype(); x = {'type': t, 'layer': e.dxf.layer}\n"
        "    if t == 'LINE': x['v'] = [e.dxf.start.x, e.dxf.start.y, e.dxf.end.x, e.dxf.end.y]\n"
        "    if t == 'CIRCLE': x['v'] = [e.dxf.center.x, e.dxf.center.y, e.dxf.radius]\n"
        "    if t == 'ARC': x['v'] = [e.dxf.center.x, e.dxf.center.y, e.dxf.radius,\n"
        "                              e.dxf.start_angle, e.dxf.end_angle]\n"
        "    out.append(x)\n"
        "json.dump(out, open(sys.argv[2], 'w'))\n";
    clitest::WriteText(dir / "read.py", script);

    const int code = std::system((std::string(python) + " " + (dir / "read.py").string() + " " +
                                  (dir / "slot.dxf").string() + " " + (dir / "read.json").string())
                                     .c_str());

    ASSERT_EQ(code, 0);
    const auto read = nlohmann::json::parse(clitest::ReadText(dir / "read.json"));
    // axis (construction), upper, lower, then the two end arcs; points are not written.
    ASSERT_EQ(read.size(), 5u);
    const std::vector<std::string> types = {"LINE", "LINE", "LINE", "ARC", "ARC"};
    for (size_t i = 0; i < types.size(); ++i)
    {
        EXPECT_EQ(read[i]["type"], types[i]) << i;
    }
    EXPECT_EQ(read[0]["layer"], "CONSTRUCTION");
    EXPECT_EQ(read[1]["layer"], "OUTLINE");
    const std::vector<double> upper = read[1]["v"];
    EXPECT_EQ(upper, (std::vector<double>{0, 8, 40, 8}));
    // The left end runs counter-clockwise from the top (90 degrees) to the bottom (270).
    const std::vector<double> left = read[3]["v"];
    EXPECT_EQ(left[0], 0.0);
    EXPECT_EQ(left[2], 8.0);
    EXPECT_NEAR(left[3], 90.0, 1e-12);
    EXPECT_NEAR(left[4], 270.0, 1e-12);
    const std::vector<double> right = read[4]["v"];
    EXPECT_EQ(right[0], 40.0);
    EXPECT_NEAR(right[3], 270.0, 1e-12);
    EXPECT_NEAR(right[4], 90.0, 1e-12);
}

} // namespace

namespace
{

// Damaged format-2 files: each is refused with the file's name, or read into a document that
// writes a text which reads back to itself and builds a sketch that analyses.
TEST(VocabFiles, DamagedExamplesAreRefusedOrReadBackStably)
{
    std::vector<std::string> texts;
    for (const char* name : kVocabExamples)
    {
        texts.push_back(clitest::ReadText(Example(std::string(name) + ".json")));
    }
    const char* const tokens[] = {"\"refs\"", "\"points\"", "\"arc\"", "\"tangent\"", "\"value\"",
                                  "true",     "0",          "-1",      "[]",          "{}",
                                  ",",        "\"",         "1e999",   "\"driven\"",  "\"inside\""};
    std::mt19937 random(21);
    int read = 0;
    for (int seed = 0; seed < 1500; ++seed)
    {
        std::string text = texts[seed % texts.size()];
        const size_t at = random() % text.size();
        switch (random() % 4)
        {
            case 0:
                text[at] = static_cast<char>(random() % 128);
                break;
            case 1:
                text.insert(at, tokens[random() % (sizeof tokens / sizeof tokens[0])]);
                break;
            case 2:
                text.erase(at, 1 + random() % 8);
                break;
            default:
            {
                const size_t digit = text.find_first_of("0123456789", at);
                if (digit != std::string::npos)
                {
                    text[digit] = static_cast<char>('0' + random() % 10);
                }
                break;
            }
        }
        VocabDoc doc;
        InputError error;
        if (!ParseVocabSketch(text, "damaged.json", doc, error))
        {
            ASSERT_EQ(error.file, "damaged.json") << text;
            ASSERT_FALSE(error.problem.empty()) << text;
            continue;
        }
        ++read;
        const std::string written = FormatVocabSketch(doc);
        VocabDoc again;
        ASSERT_TRUE(ParseVocabSketch(written, "written.json", again, error)) << error.Text();
        ASSERT_EQ(FormatVocabSketch(again), written);
        VocabSketch sketch;
        ASSERT_TRUE(BuildVocabSketch(again, "written.json", sketch, error)) << error.Text();
        sketch.Analyse();
        sketch.Check();
    }
    EXPECT_GT(read, 0);
}

} // namespace
