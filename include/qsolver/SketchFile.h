// Sketch files: the JSON text a person writes and qsketch reads and writes back. The file is
// parsed into a plain document that remembers every id, order, number and optional field, so
// writing it again gives the same text. BuildSketch and UpdateDocFromSketch join it to Sketch.
#pragma once

#include <string>
#include <vector>

namespace qsolver
{

class Sketch;

enum class DocNodeType
{
    Point,
    Line,
    Circle,
};

enum class DocRelType
{
    Fix,
    PPdis,
    PLdis,
    LLdis,
    LLang,
    Rad,
};

/// A node as the file states it. `x`, `y` are the point, the line's through point or the
/// circle's centre; `dx`, `dy` the line's direction.
struct DocNode
{
    std::string id;
    DocNodeType type = DocNodeType::Point;
    double x = 0.0;
    double y = 0.0;
    double dx = 1.0;
    double dy = 0.0;
    double radius = 0.0;
    bool dirFixed = false;
    bool hasDirFixed = false;
    bool hasReference = false;
    long long reference = 0;
};

/// A named value that relations share ("equal" dimensions).
struct DocValue
{
    std::string id;
    double value = 0.0;
    bool known = true;
    bool hasKnown = false;
};

struct DocRelation
{
    std::string id;
    DocRelType type = DocRelType::Fix;
    std::vector<std::string> nodes;
    bool hasValue = false;
    double value = 0.0;
    bool known = true;
    bool hasKnown = false;
    std::string shared;
    std::string valueNode;
    bool reverse[2] = {false, false};
    bool hasReverse = false;
};

struct SketchDoc
{
    /// The file said "format": 1 (written back when it did).
    bool hasFormat = false;
    std::string description;
    bool hasDescription = false;
    /// Angles in radians ("unit": "rad") instead of degrees.
    bool radians = false;
    bool hasUnit = false;
    std::vector<DocNode> nodes;
    std::vector<DocValue> values;
    std::vector<DocRelation> relations;
    bool hasValues = false;
    bool hasRelations = false;

    int FindNode(const std::string& id) const;
    int FindValue(const std::string& id) const;
    int FindRelation(const std::string& id) const;
};

/// What is wrong with an input and where: the file, a JSON path such as
/// `relations[3].nodes[1]` (empty for the file as a whole) and the problem.
struct InputError
{
    std::string file;
    std::string where;
    std::string problem;

    /// "file: where: problem", the form every message of qsketch takes.
    std::string Text() const;
};

const char* DocNodeTypeName(DocNodeType type);
const char* DocRelTypeName(DocRelType type);

/// Parses and checks sketch text; `file` names it in errors. Returns false with `error` set.
bool ParseSketch(const std::string& text, const std::string& file, SketchDoc& doc,
                 InputError& error);

/// Reads and checks a sketch file.
bool ReadSketchFile(const std::string& path, SketchDoc& doc, InputError& error);

/// The file text of a document: fixed key order, shortest round-trip numbers.
std::string FormatSketch(const SketchDoc& doc);

/// The shortest text that reads back as the same double.
std::string FormatNumber(double value);

/// Writes the whole text or nothing: a temporary file beside `path`, renamed over it.
bool WriteFileAtomically(const std::string& path, const std::string& text, InputError& error);

/// Angle values are kept in the file's unit; the solver works in radians.
double AngleToRadians(const SketchDoc& doc, double value);
double AngleFromRadians(const SketchDoc& doc, double radians);

/// How well one relation holds at the document's coordinates, in the file's units.
struct RelationCheck
{
    int index = 0;
    double measured = 0.0;
    /// What the relation asks for; for an unknown shared value, the first member's measure.
    double wanted = 0.0;
    /// Distance from holding: a length, or an angle in the file's unit.
    double error = 0.0;
    bool holds = true;
    /// False for a fix and for a lone relation whose value is unknown: nothing to measure.
    bool constrains = true;
};

/// Measures every relation of the document (in order) against its value.
std::vector<RelationCheck> CheckRelations(const SketchDoc& doc);

/// The sketch's numbers right after it was built, to tell what a pass changed.
struct SketchSnapshot
{
    std::vector<double> numbers;
};

/// Builds the sketch a checked document describes. On refusal `error` names the place.
bool BuildSketch(const SketchDoc& doc, const std::string& file, Sketch& sketch,
                 SketchSnapshot& built, InputError& error);

/// Takes back into `doc` what the solver changed since `last` (positions, lines, radii,
/// values), and moves each circle onto the centre point of its rad relation. What did not
/// change keeps its text exactly. `last` then holds the sketch as it is now.
void UpdateDocFromSketch(Sketch& sketch, SketchSnapshot& last, SketchDoc& doc);

} // namespace qsolver
