// The commands of qsketch. Each reads and checks its input completely before it builds a
// sketch, and writes files only once everything has succeeded.
#include "Commands.h"

#include "qsolver/Diagnostics.h"
#include "qsolver/Drag.h"
#include "qsolver/Sketch.h"
#include "qsolver/SketchDrive.h"
#include "qsolver/SketchFile.h"
#include "qsolver/SketchSvg.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace qsketch
{

using qsolver::AnalysisResult;
using qsolver::DocNode;
using qsolver::DocNodeType;
using qsolver::DocRelation;
using qsolver::DocRelType;
using qsolver::DriveResult;
using qsolver::InputError;
using qsolver::RelationCheck;
using qsolver::Sketch;
using qsolver::SketchDoc;
using qsolver::SketchSnapshot;
using qsolver::Verdict;
using Json = nlohmann::ordered_json;

namespace
{

std::string Pretty(double v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g", std::fabs(v) < 5e-10 ? 0.0 : v);
    return buffer;
}

std::string JoinIds(const std::vector<std::string>& ids)
{
    std::string out;
    for (const std::string& id : ids)
    {
        out += (out.empty() ? "" : ", ") + id;
    }
    return out;
}

/// Collects what a command has to say, and prints it at the end as text or as JSON.
class Report
{
public:
    explicit Report(const Options& options) : m_json(options.json)
    {
        data["command"] = options.command;
        if (!options.file.empty())
        {
            data["file"] = options.file;
        }
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
        if (m_json)
        {
            std::fputs((data.dump(2) + "\n").c_str(), stdout);
        }
        else
        {
            std::fputs(m_text.c_str(), stdout);
        }
        std::fflush(stdout);
        return code;
    }

private:
    bool m_json;
    std::string m_text;
};

/// Relations that do not hold, for the report; empty when all do.
Json NotHolding(const SketchDoc& doc, const std::vector<RelationCheck>& checks, Report& report,
                const char* heading)
{
    Json list = Json::array();
    for (const RelationCheck& c : checks)
    {
        if (c.holds)
        {
            continue;
        }
        const DocRelation& r = doc.relations[c.index];
        list.push_back(Json{{"id", r.id}, {"measured", c.measured}, {"wanted", c.wanted}});
        report.Line(std::string("  ") + heading + " " + r.id + ": measures " + Pretty(c.measured) +
                    ", wants " + Pretty(c.wanted));
    }
    return list;
}

void AddAnalysis(const AnalysisResult& result, Report& report, Json& into)
{
    Json clusters = Json::array();
    report.Line("rigid clusters:" + std::string(result.clusters.empty() ? " none" : ""));
    for (size_t i = 0; i < result.clusters.size(); ++i)
    {
        const auto& c = result.clusters[i];
        clusters.push_back(Json{{"nodes", c.nodes}, {"freeNum", c.freeNum}, {"fixed", c.fixed}});
        report.Line("  " + std::to_string(i + 1) + (c.fixed ? " (fixed)" : "") + ": " +
                    (c.nodes.empty() ? "(empty)" : JoinIds(c.nodes)));
    }
    into["clusters"] = clusters;
    into["stripped"] = result.stripped;
    into["unseeded"] = result.unseeded;
    into["verdict"] = qsolver::VerdictWord(result.verdict);
    into["verdictText"] = qsolver::VerdictText(result.verdict);
    // The stripped nodes include the undetermined ones; the text names each node once.
    std::vector<std::string> placed;
    for (const std::string& id : result.stripped)
    {
        if (std::find(result.unseeded.begin(), result.unseeded.end(), id) == result.unseeded.end())
        {
            placed.push_back(id);
        }
    }
    report.Line("placed one at a time by their neighbours: " +
                (placed.empty() ? std::string("none") : JoinIds(placed)));
    if (!result.unseeded.empty())
    {
        report.Line("left undetermined: " + JoinIds(result.unseeded));
    }
    report.Line(std::string("verdict: ") + qsolver::VerdictText(result.verdict));
}

bool Load(const std::string& path, SketchDoc& doc, Sketch& sketch, SketchSnapshot& built,
          InputError& error)
{
    return qsolver::ReadSketchFile(path, doc, error) &&
           qsolver::BuildSketch(doc, path, sketch, built, error);
}

/// One parsed --set: the relation, the number in the file's unit and in the solver's.
struct Change
{
    int relation = -1;
    double value = 0.0;
    double solverValue = 0.0;
};

bool ParseSet(const std::string& text, const std::string& file, const SketchDoc& doc,
              Change& change, InputError& error)
{
    error = InputError{file, "--set " + text, ""};
    const size_t eq = text.rfind('=');
    if (eq == std::string::npos || eq == 0 || eq + 1 == text.size())
    {
        error.problem = "expected RELATION=VALUE";
        return false;
    }
    const std::string id = text.substr(0, eq);
    const std::string number = text.substr(eq + 1);
    change.relation = doc.FindRelation(id);
    if (change.relation < 0)
    {
        error.problem = "no relation has the id \"" + id + "\"";
        return false;
    }
    const DocRelation& r = doc.relations[change.relation];
    errno = 0;
    char* end = nullptr;
    change.value = std::strtod(number.c_str(), &end);
    if (end != number.c_str() + number.size() || errno == ERANGE || !std::isfinite(change.value))
    {
        error.problem = "\"" + number + "\" is not a number";
        return false;
    }
    // What a drive accepts is decided by the Sketch API (CheckDriveRequest), for every host.
    change.solverValue = change.value;
    if (r.type == DocRelType::LLang)
    {
        change.solverValue = qsolver::AngleToRadians(doc, change.value);
        change.value =
            qsolver::ReduceAngle(change.value, doc.radians ? 4.0 * std::acos(0.0) : 360.0);
    }
    return true;
}

/// Where a --set number lands in the document: the relation's value, the shared value or the
/// circle's radius. Written exactly as given, not as converted back from the solver's unit.
double* ValueSlot(SketchDoc& doc, int relation)
{
    DocRelation& r = doc.relations[relation];
    if (r.type == DocRelType::Rad)
    {
        return &doc.nodes[doc.FindNode(r.nodes[1])].radius;
    }
    if (!r.shared.empty())
    {
        return &doc.values[doc.FindValue(r.shared)].value;
    }
    return &r.value;
}

// Moves smaller than this share of the sketch's size are the solver's rounding, not motion.
constexpr double kMoveShare = 1e-9;

double SketchSize(const SketchDoc& doc)
{
    double size = 1.0;
    for (const DocNode& n : doc.nodes)
    {
        size = std::max({size, std::fabs(n.x), std::fabs(n.y), n.radius});
    }
    return size;
}

/// Whether a node really moved: a line that only slid its through point along itself did not.
bool Moved(const DocNode& a, const DocNode& b, double tol)
{
    if (a.type != DocNodeType::Line)
    {
        return std::hypot(a.x - b.x, a.y - b.y) > tol || std::fabs(a.radius - b.radius) > tol;
    }
    const double la = std::hypot(a.dx, a.dy);
    const double lb = std::hypot(b.dx, b.dy);
    const double ax = a.dx / la;
    const double ay = a.dy / la;
    const double turn = std::fabs(ax * b.dy / lb - ay * b.dx / lb);
    const double offset = std::fabs(ax * (b.y - a.y) - ay * (b.x - a.x));
    return turn > kMoveShare || ax * b.dx + ay * b.dy < 0.0 || offset > tol;
}

// The clusters of the last drive stay in the solver's chains until the next pass starts. A
// host that has read its results releases them, so nothing outlives the sketch.
void ReleaseClusters()
{
    for (CClusterList* chain : {&g_sktClusterChain, &g_sktGoodClusterChain})
    {
        POSITION pos = chain->GetHeadPosition();
        while (pos != nullptr)
        {
            delete chain->GetNext(pos);
        }
        chain->RemoveAll();
    }
}

/// Runs one drive on a built sketch and brings the document up to date. Returns the exit code
/// of the drive: done, or the solver's failure (then the document is untouched).
int DriveOnce(Sketch& sketch, SketchSnapshot& built, SketchDoc& doc,
              const std::vector<Change>& changes, Report& report, Json& into)
{
    std::vector<std::pair<std::string, double>> request;
    Json list = Json::array();
    for (const Change& c : changes)
    {
        const DocRelation& r = doc.relations[c.relation];
        const double from = *ValueSlot(doc, c.relation);
        request.emplace_back(r.id, c.solverValue);
        list.push_back(Json{{"relation", r.id}, {"from", from}, {"to", c.value}});
        report.Line("  " + r.id + ": " + Pretty(from) + " -> " + Pretty(c.value));
    }
    into["changes"] = list;

    const DriveResult result = sketch.Drive(request);
    ReleaseClusters();
    into["solved"] = result.IsOk();
    into["step"] = qsolver::DriveStepText(result.failed);
    into["strategy"] = qsolver::DriveStrategyText(result.strategy);
    into["steps"] = result.steps;
    if (!result.IsOk())
    {
        into["restored"] = result.restored;
        if (result.check != qsolver::CheckFailure::None)
        {
            into["check"] = qsolver::CheckFailureText(result.check);
        }
        if (!result.message.empty())
        {
            into["message"] = result.message;
        }
        report.Line(std::string("drive failed: ") + qsolver::DriveStepText(result.failed) +
                    (result.message.empty() ? "" : " (" + result.message + ")") +
                    (result.restored ? "; the sketch was restored" : ""));
        return kSolverFailed;
    }

    const SketchDoc before = doc;
    qsolver::UpdateDocFromSketch(sketch, built, doc);
    for (const Change& c : changes)
    {
        *ValueSlot(doc, c.relation) = c.value;
    }
    std::vector<std::string> moved;
    const double tol = kMoveShare * SketchSize(doc);
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        if (Moved(before.nodes[i], doc.nodes[i], tol))
        {
            moved.push_back(doc.nodes[i].id);
        }
    }
    into["moved"] = moved;
    report.Line("re-solved; moved: " + (moved.empty() ? std::string("nothing") : JoinIds(moved)));
    // The Sketch API checked the result (relations, fixed geometry, orientation) before it
    // reported success; the file's own measure is shown, not judged again.
    into["notHolding"] = NotHolding(doc, qsolver::CheckRelations(doc), report, "does not hold:");
    report.Line("every relation holds");
    return kDone;
}

bool WriteOutput(const std::string& path, const std::string& text, const char* what, Report& report,
                 InputError& error)
{
    if (!qsolver::WriteFileAtomically(path, text, error))
    {
        return false;
    }
    report.data["outputs"][what] = path;
    report.Line("wrote " + path);
    return true;
}

} // namespace

int UsageError(const Options& options, const std::string& problem)
{
    Report report(options);
    return report.Fail(InputError{"", "", problem});
}

int RunAnalyse(const Options& options)
{
    Report report(options);
    SketchDoc doc;
    Sketch sketch;
    SketchSnapshot built;
    InputError error;
    if (!Load(options.file, doc, sketch, built, error))
    {
        return report.Fail(error);
    }
    report.Line(options.file + ": " + std::to_string(doc.nodes.size()) + " nodes, " +
                std::to_string(doc.relations.size()) + " relations");
    report.data["nodes"] = doc.nodes.size();
    report.data["relations"] = doc.relations.size();
    const Json off = NotHolding(doc, qsolver::CheckRelations(doc), report,
                                "not holding at the given coordinates:");
    report.data["notHolding"] = off;

    // Diagnostics first: they leave the sketch as it is, the analysis restores what it measured.
    const qsolver::Diagnostics diag = qsolver::Diagnose(sketch);
    const AnalysisResult result = sketch.Analyse();
    AddAnalysis(result, report, report.data);
    AddDiagnostics(
        diag, [&report](const std::string& line) { report.Line(line); }, report.data, "nodes",
        "relations");
    if (!options.svg.empty() &&
        !WriteOutput(options.svg, qsolver::DrawSketchSvg(doc, nullptr, "", &diag), "svg", report,
                     error))
    {
        return report.Fail(error);
    }
    // Relations that cannot hold together are a failure even where the analysis saw none.
    return report.Finish(result.IsOk() && diag.conflicting.empty() ? kDone : kSolverFailed);
}

int RunDrive(const Options& options)
{
    Report report(options);
    SketchDoc doc;
    InputError error;
    if (!qsolver::ReadSketchFile(options.file, doc, error))
    {
        return report.Fail(error);
    }
    std::vector<Change> changes;
    for (const std::string& set : options.sets)
    {
        Change change;
        if (!ParseSet(set, options.file, doc, change, error))
        {
            return report.Fail(error);
        }
        changes.push_back(change);
    }
    Sketch sketch;
    SketchSnapshot built;
    if (!qsolver::BuildSketch(doc, options.file, sketch, built, error))
    {
        return report.Fail(error);
    }
    // The request is judged as the Sketch API judges every request, one --set at a time so
    // that the refusal names the --set at fault.
    std::vector<std::pair<std::string, double>> request;
    std::vector<qsolver::DriveChange> checked;
    for (size_t i = 0; i < changes.size(); ++i)
    {
        request.emplace_back(doc.relations[changes[i].relation].id, changes[i].solverValue);
        if (!qsolver::CheckDriveRequest(sketch, request, checked, error.problem))
        {
            error.where = "--set " + options.sets[i];
            return report.Fail(error);
        }
    }
    report.Line("drive " + options.file);
    const SketchDoc before = doc;
    const int code = DriveOnce(sketch, built, doc, changes, report, report.data);
    if (code == kDone)
    {
        if ((!options.out.empty() &&
             !WriteOutput(options.out, qsolver::FormatSketch(doc), "sketch", report, error)) ||
            (!options.svg.empty() &&
             !WriteOutput(options.svg, qsolver::DrawSketchSvg(doc, &before), "svg", report, error)))
        {
            return report.Fail(error);
        }
    }
    else
    {
        report.Line("nothing written");
    }
    return report.Finish(code);
}

bool ParseDragTarget(const Options& options, double target[2], InputError& error)
{
    error = InputError{options.file, "--to " + options.to, ""};
    const size_t comma = options.to.find(',');
    const std::string parts[2] = {options.to.substr(0, comma),
                                  comma == std::string::npos ? "" : options.to.substr(comma + 1)};
    for (int k = 0; k < 2; ++k)
    {
        errno = 0;
        char* end = nullptr;
        target[k] = std::strtod(parts[k].c_str(), &end);
        if (parts[k].empty() || end != parts[k].c_str() + parts[k].size() || errno == ERANGE ||
            !std::isfinite(target[k]))
        {
            error.problem = "expected X,Y";
            return false;
        }
    }
    return true;
}

int RunDrag(const Options& options)
{
    Report report(options);
    SketchDoc doc;
    Sketch sketch;
    SketchSnapshot built;
    InputError error;
    if (!Load(options.file, doc, sketch, built, error))
    {
        return report.Fail(error);
    }
    double target[2] = {0.0, 0.0};
    if (!ParseDragTarget(options, target, error))
    {
        return report.Fail(error);
    }
    const int n = doc.FindNode(options.point);
    if (n < 0 || doc.nodes[n].type != DocNodeType::Point)
    {
        error.where = "--point " + options.point;
        error.problem = "no point has the id \"" + options.point + "\"";
        return report.Fail(error);
    }
    report.Line("drag " + options.point + " of " + options.file + " to " + Pretty(target[0]) +
                ", " + Pretty(target[1]));
    const qsolver::DragResult result = sketch.Drag(options.point, target[0], target[1]);
    report.data["point"] = options.point;
    report.data["to"] = Json::array({target[0], target[1]});
    report.data["solved"] = result.IsOk();
    report.data["iterations"] = result.iterations;
    if (!result.IsOk())
    {
        if (result.check != qsolver::CheckFailure::None)
        {
            report.data["check"] = qsolver::CheckFailureText(result.check);
        }
        report.data["message"] = result.message;
        report.Line("drag failed: " + result.message + "; the sketch was restored");
        report.Line("nothing written");
        return report.Finish(kSolverFailed);
    }
    const SketchDoc before = doc;
    qsolver::UpdateDocFromSketch(sketch, built, doc);
    std::vector<std::string> moved;
    const double tol = kMoveShare * SketchSize(doc);
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        if (Moved(before.nodes[i], doc.nodes[i], tol))
        {
            moved.push_back(doc.nodes[i].id);
        }
    }
    report.data["moved"] = moved;
    report.data["distance"] = result.distance;
    report.data["at"] = Json::array({doc.nodes[n].x, doc.nodes[n].y});
    report.Line("moved: " + (moved.empty() ? std::string("nothing") : JoinIds(moved)));
    report.Line(options.point + " is at " + Pretty(doc.nodes[n].x) + ", " + Pretty(doc.nodes[n].y) +
                " (" + Pretty(result.distance) + " from the target)");
    if ((!options.out.empty() &&
         !WriteOutput(options.out, qsolver::FormatSketch(doc), "sketch", report, error)) ||
        (!options.svg.empty() &&
         !WriteOutput(options.svg, qsolver::DrawSketchSvg(doc, &before), "svg", report, error)))
    {
        return report.Fail(error);
    }
    return report.Finish(kDone);
}

int RunRender(const Options& options)
{
    Report report(options);
    SketchDoc doc;
    InputError error;
    if (!qsolver::ReadSketchFile(options.file, doc, error))
    {
        return report.Fail(error);
    }
    std::string out = options.out;
    if (out.empty())
    {
        // plate.json draws to plate.svg beside it.
        const size_t slash = options.file.find_last_of('/');
        const size_t dot = options.file.find_last_of('.');
        out = (dot != std::string::npos && (slash == std::string::npos || dot > slash)
                   ? options.file.substr(0, dot)
                   : options.file) +
              ".svg";
    }
    if (!WriteOutput(out, qsolver::DrawSketchSvg(doc), "svg", report, error))
    {
        return report.Fail(error);
    }
    return report.Finish(kDone);
}

int RunDemo(const Options& options)
{
    Report report(options);
    SketchDoc doc;
    InputError error;
    if (!qsolver::ParseSketch(DemoSketchText(), "demo sketch", doc, error))
    {
        return report.Fail(error);
    }
    Sketch sketch;
    SketchSnapshot built;
    if (!qsolver::BuildSketch(doc, "demo sketch", sketch, built, error))
    {
        return report.Fail(error);
    }
    report.Line("Qsolver demo: " + doc.description);
    report.Line("");
    report.Line("analysis pass");
    const AnalysisResult analysis = sketch.Analyse();
    Json analysed;
    AddAnalysis(analysis, report, analysed);
    report.data["analysis"] = analysed;
    if (!analysis.IsOk())
    {
        return report.Finish(kSolverFailed);
    }

    // Turn the crank, then lengthen two bars in one pass: each drive keeps the linkage on the
    // branch it was on.
    const std::vector<std::vector<std::pair<std::string, double>>> steps = {
        {{"crankAngle", 75}},
        {{"crankAngle", 90}},
        {{"crankAngle", 110}},
        {{"coupler", 95}, {"rocker", 75}}};
    const SketchDoc start = doc;
    Json drives = Json::array();
    for (const auto& step : steps)
    {
        std::vector<Change> changes;
        for (const auto& [id, value] : step)
        {
            Change change;
            if (!ParseSet(id + "=" + Pretty(value), "demo sketch", doc, change, error))
            {
                return report.Fail(error);
            }
            changes.push_back(change);
        }
        report.Line("");
        report.Line("drive pass");
        Json drive;
        const int code = DriveOnce(sketch, built, doc, changes, report, drive);
        drives.push_back(drive);
        if (code != kDone)
        {
            report.data["drives"] = drives;
            return report.Finish(code);
        }
    }
    report.data["drives"] = drives;
    report.Line("");
    const std::string out = options.out.empty() ? "demo.svg" : options.out;
    if (!WriteOutput(out, qsolver::DrawSketchSvg(doc, &start, "Qsolver demo: " + doc.description),
                     "svg", report, error))
    {
        return report.Fail(error);
    }
    return report.Finish(kDone);
}

void AddDiagnostics(const qsolver::Diagnostics& diag,
                    const std::function<void(const std::string&)>& line,
                    nlohmann::ordered_json& into, const std::string& nodes,
                    const std::string& relations)
{
    into["dof"] = diag.dof;
    into["unknowns"] = diag.unknowns;
    into["rank"] = diag.rank;
    Json status = Json::array();
    std::vector<std::string> under;
    std::vector<std::string> over;
    for (const qsolver::NodeDiagnosis& n : diag.nodes)
    {
        status.push_back(
            Json{{"id", n.id}, {"status", qsolver::NodeStatusName(n.status)}, {"dof", n.dof}});
        if (n.status == qsolver::NodeStatus::UnderConstrained)
        {
            under.push_back(n.id + " (" + std::to_string(n.dof) + ")");
        }
        else if (n.status == qsolver::NodeStatus::OverConstrained)
        {
            over.push_back(n.id);
        }
    }
    into["nodeStatus"] = status;
    into["conflicting"] = diag.conflicting;
    into["redundant"] = diag.redundant;
    into["dependenciesComplete"] = diag.dependenciesComplete;
    line("freedoms: " + std::to_string(diag.dof) + " (" + std::to_string(diag.unknowns) +
         " unknowns, rank " + std::to_string(diag.rank) + ")");
    if (!under.empty())
    {
        line("under-constrained " + nodes + " (their freedoms): " + JoinIds(under));
    }
    if (!over.empty())
    {
        line("over-constrained " + nodes + ": " + JoinIds(over));
    }
    if (!diag.conflicting.empty())
    {
        line("conflicting " + relations + " (cannot hold together): " + JoinIds(diag.conflicting));
    }
    if (!diag.redundant.empty())
    {
        line("redundant " + relations +
             " (implied by the others at their values): " + JoinIds(diag.redundant));
    }
    if (!diag.dependenciesComplete)
    {
        line("(the search for conflicting " + relations + " was cut short: too many dependent)");
    }
}

} // namespace qsketch
