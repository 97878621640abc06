// qsketch on format-2 sketches (entities and constraints): analyse, drive and render as for
// format 1, through the vocabulary sketch, and export to DXF.
#include "Commands.h"

#include "qsolver/VocabFile.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace qsketch
{

using qsolver::InputError;
using qsolver::VocabDoc;
using qsolver::VocabSketch;
using Json = nlohmann::ordered_json;

namespace
{

// --set numbers beyond this are typing errors (the file reader draws the same line).
constexpr double kMaxSetValue = 1e9;

std::string Pretty(double v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g", std::fabs(v) < 5e-10 ? 0.0 : v);
    return buffer;
}

class Out
{
public:
    explicit Out(const Options& options) : m_json(options.json)
    {
        data["command"] = options.command;
        data["file"] = options.file;
        data["format"] = 2;
    }

    Json data;
    void Line(const std::string& text) { m_text += text + "\n"; }

    int Fail(const InputError& error)
    {
        data["error"] = Json{{"file", error.file},
                             {"where", error.where},
                             {"problem", error.problem},
                             {"message", error.Text()}};
        std::fprintf(stderr, "qsketch: %s\n", error.Text().c_str());
        return Finish(kBadInput);
    }

    int Finish(int code)
    {
        data["exitCode"] = code;
        std::fputs(m_json ? (data.dump(2) + "\n").c_str() : m_text.c_str(), stdout);
        std::fflush(stdout);
        return code;
    }

private:
    bool m_json;
    std::string m_text;
};

bool Load(const Options& options, VocabDoc& doc, VocabSketch& sketch, InputError& error)
{
    return qsolver::ReadVocabFile(options.file, doc, error) &&
           qsolver::BuildVocabSketch(doc, options.file, sketch, error);
}

// Constraints that do not hold, named with their error.
Json NotHolding(VocabSketch& sketch, Out& out, const char* heading)
{
    Json list = Json::array();
    for (const qsolver::ConstraintCheck& c : sketch.Check())
    {
        if (!c.holds)
        {
            list.push_back(Json{{"id", c.id}, {"error", c.error}});
            out.Line(std::string("  ") + heading + " " + c.id + ": off by " + Pretty(c.error));
        }
    }
    return list;
}

// Reference dimensions and what they measure, in the file's units.
Json References(const VocabSketch& sketch, const VocabDoc& doc, Out& out)
{
    Json list = Json::array();
    for (const qsolver::VocabConstraint& c : sketch.Constraints())
    {
        if (c.driven)
        {
            const double value = qsolver::VocabValueFromSolver(doc, c, sketch.Measure(c));
            list.push_back(Json{{"id", c.id}, {"measured", value}});
            out.Line("  reference " + c.id + " measures " + Pretty(value));
        }
    }
    return list;
}

// The ids of the entities a pass moved, in order.
Json MovedEntities(const VocabDoc& before, const VocabDoc& after)
{
    Json moved = Json::array();
    for (size_t i = 0; i < after.entities.size(); ++i)
    {
        const qsolver::VocabEntity& a = before.entities[i];
        const qsolver::VocabEntity& b = after.entities[i];
        if (a.x != b.x || a.y != b.y || a.dx != b.dx || a.dy != b.dy || a.radius != b.radius)
        {
            moved.push_back(b.id);
        }
    }
    return moved;
}

bool Write(const std::string& path, const std::string& text, const char* what, Out& out,
           InputError& error)
{
    if (!qsolver::WriteFileAtomically(path, text, error))
    {
        return false;
    }
    out.data["outputs"][what] = path;
    out.Line("wrote " + path);
    return true;
}

// After a drive or a drag: the sketch (-o) and its drawing against the one before (--svg).
int Solved(const Options& options, const VocabDoc& doc, const VocabDoc& before, Out& out,
           InputError& error)
{
    if ((!options.out.empty() &&
         !Write(options.out, qsolver::FormatVocabSketch(doc), "sketch", out, error)) ||
        (!options.svg.empty() &&
         !Write(options.svg, qsolver::DrawVocabSvg(doc, &before), "svg", out, error)))
    {
        return out.Fail(error);
    }
    return out.Finish(kDone);
}

} // namespace

bool IsVocabFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return in.good() || in.eof() ? qsolver::IsVocabText(text.str()) : false;
}

int RunVocabAnalyse(const Options& options)
{
    Out out(options);
    VocabDoc doc;
    VocabSketch sketch;
    InputError error;
    if (!Load(options, doc, sketch, error))
    {
        return out.Fail(error);
    }
    out.Line(options.file + ": " + std::to_string(doc.entities.size()) + " entities, " +
             std::to_string(doc.constraints.size()) + " constraints");
    out.data["entities"] = doc.entities.size();
    out.data["constraints"] = doc.constraints.size();
    out.data["notHolding"] = NotHolding(sketch, out, "not holding as drawn:");
    out.data["references"] = References(sketch, doc, out);
    const qsolver::Diagnostics diag = sketch.Diagnose();
    const qsolver::AnalysisResult result = sketch.Analyse();
    Json clusters = Json::array();
    for (const qsolver::ClusterInfo& c : result.clusters)
    {
        clusters.push_back(Json{{"nodes", c.nodes}, {"freeNum", c.freeNum}, {"fixed", c.fixed}});
        std::string ids;
        for (const std::string& id : c.nodes)
        {
            ids += (ids.empty() ? "" : ", ") + id;
        }
        out.Line(std::string("  rigid cluster") + (c.fixed ? " (fixed)" : "") + ": " +
                 (ids.empty() ? "(empty)" : ids));
    }
    out.data["clusters"] = clusters;
    out.data["stripped"] = result.stripped;
    out.data["unseeded"] = result.unseeded;
    out.data["verdict"] = qsolver::VerdictWord(result.verdict);
    out.data["verdictText"] = qsolver::VerdictText(result.verdict);
    out.Line(std::string("verdict: ") + qsolver::VerdictText(result.verdict));
    AddDiagnostics(
        diag, [&out](const std::string& line) { out.Line(line); }, out.data, "entities",
        "constraints");
    return out.Finish(result.IsOk() && diag.conflicting.empty() ? kDone : kSolverFailed);
}

int RunVocabDrive(const Options& options)
{
    Out out(options);
    VocabDoc doc;
    VocabSketch sketch;
    InputError error;
    if (!Load(options, doc, sketch, error))
    {
        return out.Fail(error);
    }
    std::vector<std::pair<std::string, double>> request;
    std::vector<std::pair<int, double>> typed;
    for (const std::string& set : options.sets)
    {
        error = InputError{options.file, "--set " + set, ""};
        const size_t eq = set.rfind('=');
        if (eq == std::string::npos || eq == 0 || eq + 1 == set.size())
        {
            error.problem = "expected CONSTRAINT=VALUE";
            return out.Fail(error);
        }
        const std::string id = set.substr(0, eq);
        const std::string number = set.substr(eq + 1);
        const int index = doc.FindConstraint(id);
        if (index < 0)
        {
            error.problem = "no constraint has the id \"" + id + "\"";
            return out.Fail(error);
        }
        errno = 0;
        char* end = nullptr;
        const double value = std::strtod(number.c_str(), &end);
        if (end != number.c_str() + number.size() || errno == ERANGE || !std::isfinite(value))
        {
            error.problem = "\"" + number + "\" is not a number";
            return out.Fail(error);
        }
        if (std::fabs(value) > kMaxSetValue)
        {
            error.problem = "the value " + number + " is absurdly large (the limit is 1e9)";
            return out.Fail(error);
        }
        qsolver::VocabConstraint c = doc.constraints[index];
        c.value = value;
        request.emplace_back(id, qsolver::VocabValueToSolver(doc, c));
        typed.emplace_back(index, value);
    }
    out.Line("drive " + options.file);
    const VocabDoc before = doc;
    const qsolver::VocabDriveResult result = sketch.Drive(request);
    out.data["solved"] = result.IsOk();
    out.data["step"] = result.Message();
    if (!result.IsOk())
    {
        out.data["restored"] = result.core.restored;
        if (!result.brokenConstraint.empty())
        {
            out.data["brokenConstraint"] = result.brokenConstraint;
        }
        // A request the sketch refuses is bad input, not a failure of the solver.
        if (result.core.failed == qsolver::DriveStep::BadRequest)
        {
            return out.Fail(InputError{options.file, "--set", result.core.message});
        }
        out.Line("drive failed: " + result.Message() + "; the sketch was restored");
        out.Line("nothing written");
        return out.Finish(kSolverFailed);
    }
    qsolver::UpdateVocabDoc(sketch, doc);
    for (const auto& [index, value] : typed)
    {
        // Written as typed, not as converted back from the solver's unit.
        doc.constraints[index].value = value;
    }
    const Json moved = MovedEntities(before, doc);
    out.data["moved"] = moved;
    out.Line("re-solved; " + std::to_string(moved.size()) + " entities moved");
    out.data["references"] = References(sketch, doc, out);
    out.Line("every constraint holds");
    return Solved(options, doc, before, out, error);
}

int RunVocabDrag(const Options& options)
{
    Out out(options);
    VocabDoc doc;
    VocabSketch sketch;
    InputError error;
    if (!Load(options, doc, sketch, error))
    {
        return out.Fail(error);
    }
    double target[2] = {0.0, 0.0};
    if (!ParseDragTarget(options, target, error))
    {
        return out.Fail(error);
    }
    const int index = doc.FindEntity(options.point);
    if (index < 0 || doc.entities[index].type != qsolver::EntityType::Point)
    {
        return out.Fail(InputError{options.file, "--point " + options.point,
                                   "no point has the id \"" + options.point + "\""});
    }
    out.Line("drag " + options.point + " of " + options.file + " to " + Pretty(target[0]) + ", " +
             Pretty(target[1]));
    const VocabDoc before = doc;
    const qsolver::VocabDragResult result = sketch.Drag(options.point, target[0], target[1]);
    out.data["point"] = options.point;
    out.data["to"] = Json::array({target[0], target[1]});
    out.data["solved"] = result.IsOk();
    if (!result.IsOk())
    {
        if (!result.brokenConstraint.empty())
        {
            out.data["brokenConstraint"] = result.brokenConstraint;
        }
        out.data["message"] = result.Message();
        out.Line("drag failed: " + result.Message() + "; the sketch was restored");
        out.Line("nothing written");
        return out.Finish(kSolverFailed);
    }
    qsolver::UpdateVocabDoc(sketch, doc);
    const Json moved = MovedEntities(before, doc);
    out.data["moved"] = moved;
    out.data["distance"] = result.core.distance;
    out.data["at"] = Json::array({doc.entities[index].x, doc.entities[index].y});
    out.Line(std::to_string(moved.size()) + " entities moved; " + options.point + " is at " +
             Pretty(doc.entities[index].x) + ", " + Pretty(doc.entities[index].y) + " (" +
             Pretty(result.core.distance) + " from the target)");
    out.Line("every constraint holds");
    return Solved(options, doc, before, out, error);
}

int RunVocabRender(const Options& options)
{
    Out out(options);
    VocabDoc doc;
    InputError error;
    if (!qsolver::ReadVocabFile(options.file, doc, error))
    {
        return out.Fail(error);
    }
    std::string path = options.out;
    if (path.empty())
    {
        const size_t slash = options.file.find_last_of('/');
        const size_t dot = options.file.find_last_of('.');
        path = (dot != std::string::npos && (slash == std::string::npos || dot > slash)
                    ? options.file.substr(0, dot)
                    : options.file) +
               ".svg";
    }
    if (!Write(path, qsolver::DrawVocabSvg(doc), "svg", out, error))
    {
        return out.Fail(error);
    }
    return out.Finish(kDone);
}

int RunExport(const Options& options)
{
    Out out(options);
    VocabDoc doc;
    VocabSketch sketch;
    InputError error;
    if (!Load(options, doc, sketch, error))
    {
        qsolver::SketchDoc format1;
        InputError ignored;
        if (qsolver::ReadSketchFile(options.file, format1, ignored))
        {
            // Infinite lines and bare circles make no outline.
            error = InputError{options.file, "",
                               "export needs a format 2 sketch (entities and constraints)"};
        }
        return out.Fail(error);
    }
    if (!Write(options.dxf, qsolver::WriteVocabDxf(doc), "dxf", out, error))
    {
        return out.Fail(error);
    }
    return out.Finish(kDone);
}

} // namespace qsketch
