// The Python module qsolver._qsolver: the Sketch class over the Sketch API, its exceptions and
// the batch drive. Angles are in the sketch's unit (degrees unless made with unit="rad"), as in
// sketch files.
#include "Bindings.h"

#include "Core.h"
#include "qsolver/SketchSvg.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <cmath>

namespace qsolver::python
{

namespace
{

// Made once at import and kept for the life of the process, as Python keeps its own types.
PyObject* g_solveError = nullptr;

void TranslateErrors(std::exception_ptr p)
{
    try
    {
        if (p)
        {
            std::rethrow_exception(p);
        }
    }
    catch (const SolveFailure& e)
    {
        py::object error = py::reinterpret_borrow<py::object>(g_solveError)(e.what());
        error.attr("step") = e.step;
        error.attr("detail") = e.detail;
        error.attr("restored") = e.restored;
        PyErr_SetObject(g_solveError, error.ptr());
    }
    catch (const FileFailure& e)
    {
        PyErr_SetString(PyExc_OSError, e.what());
    }
}

std::vector<std::pair<std::string, double>> Changes(const py::handle& changes)
{
    return ToChanges(changes);
}

py::array_t<double> Pair(double x, double y)
{
    py::array_t<double> out(2);
    out.mutable_at(0) = x;
    out.mutable_at(1) = y;
    return out;
}

std::string PathText(const py::object& path)
{
    return py::str(py::module_::import("os").attr("fspath")(path));
}

/// What analyse() returns.
struct Analysis
{
    std::string verdict;
    std::string verdictText;
    std::vector<ClusterInfo> clusters;
    std::vector<std::string> stripped;
    std::vector<std::string> unseeded;
    int dof = 0;
    /// Node id -> (status, freedoms), in creation order.
    std::vector<std::pair<std::string, std::pair<std::string, int>>> status;
    std::vector<std::string> conflicting;
    std::vector<std::string> redundant;
};

Analysis RunAnalyse(PySketch& sketch)
{
    AnalysisResult result;
    Diagnostics diagnostics;
    {
        Busy busy(sketch);
        py::gil_scoped_release nogil;
        std::lock_guard<std::recursive_mutex> lock(CoreMutex());
        result = sketch.Analyse();
        diagnostics = sketch.Diagnose();
    }
    Analysis out;
    out.verdict = VerdictWord(result.verdict);
    out.verdictText = VerdictText(result.verdict);
    out.clusters = std::move(result.clusters);
    out.stripped = std::move(result.stripped);
    out.unseeded = std::move(result.unseeded);
    out.dof = diagnostics.dof;
    for (const NodeDiagnosis& node : diagnostics.nodes)
    {
        out.status.push_back({node.id, {NodeStatusName(node.status), node.dof}});
    }
    out.conflicting = std::move(diagnostics.conflicting);
    out.redundant = std::move(diagnostics.redundant);
    return out;
}

void RunDrive(PySketch& sketch, const py::handle& changes, bool nodeChain, bool robust)
{
    DriveRequest request = Idle(sketch).PrepareDrive(Changes(changes), nodeChain);
    request.robust = robust;
    DriveResult result;
    {
        Busy busy(sketch);
        py::gil_scoped_release nogil;
        {
            std::lock_guard<std::recursive_mutex> lock(CoreMutex());
            result = sketch.RunDrive(request);
        }
        sketch.FinishDrive(request, result);
    }
    if (result.failed == DriveStep::BadRequest)
    {
        throw InputFailure(result.message);
    }
    if (!result.IsOk())
    {
        throw SolveFailure(result);
    }
}

double RunDrag(PySketch& sketch, const std::string& point, double x, double y)
{
    Idle(sketch).CheckDrag(point, x, y);
    DragResult result;
    {
        Busy busy(sketch);
        py::gil_scoped_release nogil;
        std::lock_guard<std::recursive_mutex> lock(CoreMutex());
        result = sketch.RunDrag(point, x, y);
    }
    if (!result.IsOk())
    {
        if (result.iterations == 0)
        {
            throw InputFailure("drag of '" + point + "': " + result.message); // refused
        }
        throw SolveFailure("drag failed: " + result.message + "; the sketch was restored", "drag",
                           result.message, true);
    }
    return result.distance;
}

/// The C++ baseline of the benchmark: the same drives through Sketch::Drive alone, as a C++ host
/// makes them. Returns the seconds they took.
double TimeCppDrives(PySketch& sketch, const std::string& relation,
                     const std::vector<double>& values)
{
    if (values.empty())
    {
        throw InputFailure("no values to drive through");
    }
    // Checked as a drive of the last value: the document takes that one in afterwards.
    const DriveRequest last = Idle(sketch).PrepareDrive({{relation, values.back()}}, false);
    const bool angle = sketch.Relation(relation).type == DocRelType::LLang;
    std::vector<double> solverValues;
    for (double v : values)
    {
        solverValues.push_back(angle ? AngleToRadians(sketch.Doc(), v) : v);
    }
    Busy busy(sketch);
    py::gil_scoped_release nogil;
    std::lock_guard<std::recursive_mutex> lock(CoreMutex());
    Sketch& live = sketch.Live();
    const auto start = std::chrono::steady_clock::now();
    for (double v : solverValues)
    {
        const DriveResult r = live.Drive({{relation, v}});
        ReleaseClusters();
        if (!r.IsOk())
        {
            throw SolveFailure(r);
        }
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    sketch.FinishDrive(last, DriveResult());
    return took.count();
}

/// Idle check and core lock for a builder.
class Edit
{
public:
    explicit Edit(PySketch& sketch) { Idle(sketch); }

private:
    CoreLock m_lock;
};

std::unique_ptr<PySketch> Build(const std::function<std::unique_ptr<PySketch>()>& make)
{
    CoreLock lock;
    return make();
}

py::dict CheckDict(const PySketch& s, const RelationCheck& c)
{
    py::dict d;
    d["id"] = s.Doc().relations[c.index].id;
    d["measured"] = c.measured;
    d["wanted"] = c.wanted;
    d["error"] = c.error;
    d["holds"] = c.holds;
    d["constrains"] = c.constrains;
    return d;
}

} // namespace

std::vector<std::pair<std::string, double>> ToChanges(const py::handle& changes)
{
    if (!py::hasattr(changes, "items"))
    {
        throw py::type_error("changes must be a mapping of relation ids to values, such as "
                             "{\"d1\": 90.0}");
    }
    std::vector<std::pair<std::string, double>> out;
    for (const py::handle item : changes.attr("items")())
    {
        const py::tuple pair = py::reinterpret_borrow<py::tuple>(item);
        if (!py::isinstance<py::str>(pair[0]))
        {
            throw py::type_error("a relation id must be a str, not " +
                                 std::string(py::str(pair[0].get_type().attr("__name__"))));
        }
        if (py::isinstance<py::str>(pair[1]) || !PyNumber_Check(pair[1].ptr()))
        {
            throw py::type_error("the value for '" + pair[0].cast<std::string>() +
                                 "' must be a number");
        }
        out.emplace_back(pair[0].cast<std::string>(), py::float_(pair[1]).cast<double>());
    }
    return out;
}

} // namespace qsolver::python

using namespace qsolver;
using namespace qsolver::python;

PYBIND11_MODULE(_qsolver, m)
{
    m.doc() = "Qsolver's Sketch API for Python: build, load, analyse, drive and save 2D sketches.";

    g_solveError = PyErr_NewExceptionWithDoc(
        "qsolver.SolveError",
        "The solver could not re-solve the sketch after a change; the sketch is as it was "
        "before the call. Attributes: step (the failed step's key), detail (the library's "
        "detail, may be empty), restored (True).",
        PyExc_RuntimeError, nullptr);
    m.attr("SolveError") = py::handle(g_solveError);
    py::register_exception_translator(&TranslateErrors);

    py::class_<ClusterInfo>(m, "Cluster", "One rigid cluster found by the analysis.")
        .def_readonly("nodes", &ClusterInfo::nodes, "Node ids, in the order they were found.")
        .def_readonly("free_num", &ClusterInfo::freeNum,
                      "Rigid-body freedoms: 3 may move and turn, 2 may only move.")
        .def_readonly("fixed", &ClusterInfo::fixed,
                      "True for the cluster of fixed and reference geometry.")
        .def("__repr__",
             [](const ClusterInfo& c)
             {
                 return "Cluster(nodes=" + std::string(py::repr(py::cast(c.nodes))) +
                        ", free_num=" + std::to_string(c.freeNum) +
                        ", fixed=" + (c.fixed ? "True" : "False") + ")";
             });

    py::class_<Analysis>(m, "Analysis", "What the analysis pass concluded.")
        .def_readonly("verdict", &Analysis::verdict,
                      "\"ok\", \"over-constrained\", \"fixed-contradiction\" or "
                      "\"seed-contradiction\".")
        .def_readonly("verdict_text", &Analysis::verdictText, "The verdict in words.")
        .def_property_readonly(
            "ok", [](const Analysis& a) { return a.verdict == "ok"; },
            "True when the relations do not over-constrain or contradict the sketch.")
        .def_readonly("clusters", &Analysis::clusters,
                      "The rigid clusters, the fixed one first (taken before the "
                      "over-constraint test merges them).")
        .def_readonly("stripped", &Analysis::stripped,
                      "Nodes in no cluster, in creation order: those their neighbours place "
                      "one at a time, and the undetermined ones.")
        .def_readonly("dof", &Analysis::dof,
                      "Remaining freedoms of the sketch at its current geometry.")
        .def_property_readonly(
            "status",
            [](const Analysis& a)
            {
                py::dict d;
                for (const auto& entry : a.status)
                {
                    d[py::str(entry.first)] =
                        py::make_tuple(entry.second.first, entry.second.second);
                }
                return d;
            },
            "Node id -> (status, freedoms): status is \"fixed\", \"well-constrained\", "
            "\"under-constrained\" or \"over-constrained\".")
        .def_readonly("conflicting", &Analysis::conflicting,
                      "Ids of a smallest set of relations that cannot hold together.")
        .def_readonly("redundant", &Analysis::redundant,
                      "Ids of relations the others already imply.")
        .def_readonly("unseeded", &Analysis::unseeded,
                      "Nodes still undetermined when no further cluster could be seeded.")
        .def("__bool__", [](const Analysis& a) { return a.verdict == "ok"; })
        .def("__repr__",
             [](const Analysis& a)
             {
                 return "Analysis(verdict='" + a.verdict +
                        "', clusters=" + std::to_string(a.clusters.size()) +
                        ", stripped=" + std::to_string(a.stripped.size()) + ")";
             });

    py::class_<PySketch>(m, "Sketch", R"doc(A 2D sketch: points, lines and circles, and the
relations between them, under string ids (one namespace for all).

Angles are in the sketch's unit: degrees, unless made with ``unit="rad"`` or read from a
file that says ``"unit": "rad"``. Builders refuse bad input with ``ValueError`` and the
library's message, and then change nothing. The solver runs without the GIL.)doc")
        .def(py::init(
                 [](const std::string& unit, const std::optional<std::string>& description)
                 {
                     if (unit != "deg" && unit != "rad")
                     {
                         throw InputFailure("unknown unit '" + unit +
                                            "' (expected \"deg\" or \"rad\")");
                     }
                     auto s = Build([&] { return std::make_unique<PySketch>(unit == "rad"); });
                     if (description)
                     {
                         s->SetDescription(*description);
                     }
                     return s;
                 }),
             py::arg("unit") = "deg", py::arg("description") = py::none(),
             "An empty sketch; ``unit`` is \"deg\" or \"rad\".")
        .def_static(
            "from_json",
            [](const std::string& text, const std::string& name)
            { return Build([&] { return PySketch::FromJson(text, name); }); },
            py::arg("text"), py::arg("name") = "<json>",
            "A sketch from sketch-file text; ``name`` stands for the file in error messages. "
            "Raises ValueError naming the place and the problem.")
        .def_static(
            "load",
            [](const py::object& path)
            {
                const std::string p = PathText(path);
                return Build([&] { return PySketch::Load(p); });
            },
            py::arg("path"),
            "Reads a sketch file. Raises OSError when it cannot be read, ValueError when it "
            "is not a valid sketch.")
        .def(
            "to_json", [](const PySketch& s) { return Idle(s).ToJson(); },
            "The sketch-file text of the sketch as it is now (Sketch.from_json reads it back).")
        .def(
            "save", [](const PySketch& s, const py::object& path) { Idle(s).Save(PathText(path)); },
            py::arg("path"), "Writes the sketch file: the whole text or, on failure, nothing.")
        .def(
            "to_svg",
            [](const PySketch& s, const PySketch* before, const std::string& title) {
                return DrawSketchSvg(Idle(s).Doc(), before ? &Idle(*before).Doc() : nullptr, title);
            },
            py::arg("before") = nullptr, py::arg("title") = "",
            "An SVG drawing; ``before`` is drawn under it in grey.")
        .def("_repr_svg_", [](const PySketch& s) { return DrawSketchSvg(Idle(s).Doc()); })
        .def(
            "copy", [](const PySketch& s) { return Build([&] { return Idle(s).Copy(); }); },
            "An independent copy.")
        .def("__copy__", [](const PySketch& s) { return Build([&] { return Idle(s).Copy(); }); })
        .def("__deepcopy__", [](const PySketch& s, const py::object&)
             { return Build([&] { return Idle(s).Copy(); }); })
        .def(py::pickle([](const PySketch& s)
                        { return py::make_tuple(Idle(s).ToJson(), s.Name()); },
                        [](const py::tuple& state)
                        {
                            if (state.size() != 2)
                            {
                                throw InputFailure("not a pickled qsolver.Sketch");
                            }
                            const std::string text = state[0].cast<std::string>();
                            const std::string name = state[1].cast<std::string>();
                            return Build([&] { return PySketch::FromJson(text, name); });
                        }))
        .def("__repr__",
             [](const PySketch& s)
             {
                 return "<qsolver.Sketch '" + s.Name() + "': " + std::to_string(s.NodeCount()) +
                        " nodes, " + std::to_string(s.RelationCount()) + " relations>";
             })

        // ---- The document
        .def_property_readonly(
            "name", [](const PySketch& s) { return s.Name(); },
            "The file it was loaded from, or what stands for it in messages.")
        .def_property_readonly(
            "unit", [](const PySketch& s) { return s.Radians() ? "rad" : "deg"; },
            "The unit of angles: \"deg\" or \"rad\".")
        .def_property(
            "description", [](const PySketch& s) { return Idle(s).Doc().description; },
            [](PySketch& s, const std::string& text) { Idle(s).SetDescription(text); },
            "The sketch's description.")
        .def_property_readonly(
            "node_ids",
            [](const PySketch& s)
            {
                std::vector<std::string> ids;
                for (const DocNode& n : Idle(s).Doc().nodes)
                {
                    ids.push_back(n.id);
                }
                return ids;
            },
            "Node ids in creation order.")
        .def_property_readonly(
            "point_ids",
            [](const PySketch& s)
            {
                std::vector<std::string> ids;
                for (const DocNode& n : Idle(s).Doc().nodes)
                {
                    if (n.type == DocNodeType::Point)
                    {
                        ids.push_back(n.id);
                    }
                }
                return ids;
            },
            "Point ids in creation order: the rows of points().")
        .def_property_readonly(
            "relation_ids",
            [](const PySketch& s)
            {
                std::vector<std::string> ids;
                for (const DocRelation& r : Idle(s).Doc().relations)
                {
                    ids.push_back(r.id);
                }
                return ids;
            },
            "Relation ids in creation order.")
        .def_property_readonly(
            "value_ids",
            [](const PySketch& s)
            {
                std::vector<std::string> ids;
                for (const DocValue& v : Idle(s).Doc().values)
                {
                    ids.push_back(v.id);
                }
                return ids;
            },
            "Named (shared) value ids in creation order.")
        .def(
            "kind", [](const PySketch& s, const std::string& id) { return Idle(s).KindOf(id); },
            py::arg("id"),
            "\"point\", \"line\", \"circle\", a relation type (\"fix\", \"ppdis\", \"pldis\", "
            "\"lldis\", \"llang\", \"rad\") or \"value\".")
        .def(
            "point",
            [](const PySketch& s, const std::string& id)
            {
                const auto [x, y] = Idle(s).PointAt(id);
                return Pair(x, y);
            },
            py::arg("id"), "The point's coordinates, a numpy array [x, y].")
        .def(
            "line",
            [](const PySketch& s, const std::string& id)
            {
                const DocNode& n = Idle(s).Node(id, DocNodeType::Line);
                const double len = std::hypot(n.dx, n.dy);
                return py::make_tuple(Pair(n.x, n.y), Pair(n.dx / len, n.dy / len));
            },
            py::arg("id"), "The line's through point and unit direction, two numpy arrays.")
        .def(
            "circle",
            [](const PySketch& s, const std::string& id)
            {
                const DocNode& n = Idle(s).Node(id, DocNodeType::Circle);
                return py::make_tuple(Pair(n.x, n.y), n.radius);
            },
            py::arg("id"), "The circle's centre (numpy array) and radius.")
        .def(
            "points",
            [](const PySketch& s, const std::optional<std::vector<std::string>>& ids)
            {
                std::vector<double> xy;
                if (ids)
                {
                    for (const std::string& id : *ids)
                    {
                        const auto [x, y] = Idle(s).PointAt(id);
                        xy.push_back(x);
                        xy.push_back(y);
                    }
                }
                else
                {
                    xy = Idle(s).AllPoints();
                }
                py::array_t<double> out({static_cast<py::ssize_t>(xy.size() / 2), py::ssize_t{2}});
                std::copy(xy.begin(), xy.end(), out.mutable_data());
                return out;
            },
            py::arg("ids") = py::none(),
            "Coordinates of points as an (N, 2) numpy array: those named, or every point in "
            "the order of point_ids.")
        .def(
            "value", [](const PySketch& s, const std::string& id) { return Idle(s).Value(id); },
            py::arg("id"),
            "A relation's value (a rad's: its circle's radius) or a named value, in the "
            "sketch's unit. After a drive, unknown values carry what their relations measure.")
        .def(
            "check",
            [](const PySketch& s)
            {
                py::list out;
                for (const RelationCheck& c : Idle(s).Check())
                {
                    out.append(CheckDict(s, c));
                }
                return out;
            },
            "How well every relation holds at the current coordinates: a list of dicts with "
            "id, measured, wanted, error, holds and constrains (False for a fix or a lone "
            "unknown value), in the sketch's unit.")
        .def(
            "measure",
            [](const PySketch& s, const std::string& id)
            {
                const int r = &Idle(s).Relation(id) - s.Doc().relations.data();
                return s.Check()[r].measured;
            },
            py::arg("id"),
            "What the relation measures at the current coordinates, in the sketch's unit.")
        .def(
            "holds",
            [](const PySketch& s)
            {
                for (const RelationCheck& c : Idle(s).Check())
                {
                    if (!c.holds)
                    {
                        return false;
                    }
                }
                return true;
            },
            "True when every relation holds at the current coordinates.")

        // ---- Builders
        .def(
            "add_point",
            [](PySketch& s, const std::string& id, double x, double y)
            {
                Edit edit(s);
                s.AddPoint(id, x, y);
            },
            py::arg("id"), py::arg("x"), py::arg("y"), "Adds a point.")
        .def(
            "add_line",
            [](PySketch& s, const std::string& id, double x, double y, double dx, double dy,
               bool dirFixed)
            {
                Edit edit(s);
                s.AddLine(id, x, y, dx, dy, dirFixed);
            },
            py::arg("id"), py::arg("x"), py::arg("y"), py::arg("dx"), py::arg("dy"),
            py::arg("dir_fixed") = false,
            "Adds a line through (x, y) with direction (dx, dy); ``dir_fixed`` holds its "
            "direction.")
        .def(
            "add_circle",
            [](PySketch& s, const std::string& id, double x, double y, double radius)
            {
                Edit edit(s);
                s.AddCircle(id, x, y, radius);
            },
            py::arg("id"), py::arg("x"), py::arg("y"), py::arg("radius"),
            "Adds a circle. Its radius becomes a dimension once a rad relation names it.")
        .def(
            "set_reference",
            [](PySketch& s, const std::string& node, long long ref)
            {
                Edit edit(s);
                s.SetReference(node, ref);
            },
            py::arg("node"), py::arg("ref"),
            "Marks a node as reference geometry (given, never solved for), with the host's "
            "number for it.")
        .def(
            "add_value",
            [](PySketch& s, const std::string& id, double value, bool known)
            {
                Edit edit(s);
                s.AddValue(id, value, known);
            },
            py::arg("id"), py::arg("value"), py::arg("known") = true,
            "Adds a named value that relations share (shared=id): equal dimensions.")
        .def(
            "add_fix",
            [](PySketch& s, const std::string& id, const std::string& node)
            {
                Edit edit(s);
                s.AddFix(id, node);
            },
            py::arg("id"), py::arg("node"), "Fixes a node where it is.")
        .def(
            "add_ppdis",

            [](PySketch& s, const std::string& id, const std::string& a, const std::string& b,
               std::optional<double> value, const std::string& shared, bool known)
            {
                Edit edit(s);
                s.AddRelation(DocRelType::PPdis, id, a, b,
                              {value.has_value(), value.value_or(0.0), known, shared});
            },
            py::arg("id"), py::arg("a"), py::arg("b"), py::arg("value") = py::none(), py::kw_only(),
            py::arg("shared") = "", py::arg("known") = true,
            "A distance between two points: its own ``value`` (``known=False`` for a "
            "reference dimension) or a named value ``shared``.")
        .def(
            "add_pldis",

            [](PySketch& s, const std::string& id, const std::string& point,
               const std::string& line, std::optional<double> value, const std::string& shared,
               bool known)
            {
                Edit edit(s);
                s.AddRelation(DocRelType::PLdis, id, point, line,
                              {value.has_value(), value.value_or(0.0), known, shared});
            },
            py::arg("id"), py::arg("point"), py::arg("line"), py::arg("value") = py::none(),
            py::kw_only(), py::arg("shared") = "", py::arg("known") = true,
            "A distance between a point and a line (0 puts the point on the line).")
        .def(
            "add_lldis",

            [](PySketch& s, const std::string& id, const std::string& a, const std::string& b,
               std::optional<double> value, const std::string& shared, bool known)
            {
                Edit edit(s);
                s.AddRelation(DocRelType::LLdis, id, a, b,
                              {value.has_value(), value.value_or(0.0), known, shared});
            },
            py::arg("id"), py::arg("a"), py::arg("b"), py::arg("value") = py::none(), py::kw_only(),
            py::arg("shared") = "", py::arg("known") = true,
            "A distance between two parallel lines.")
        .def(
            "add_llang",

            [](PySketch& s, const std::string& id, const std::string& a, const std::string& b,
               std::optional<double> value, const std::string& shared, bool known,
               std::pair<bool, bool> reverse)
            {
                Edit edit(s);
                s.AddRelation(DocRelType::LLang, id, a, b,
                              {value.has_value(), value.value_or(0.0), known, shared},
                              reverse.first, reverse.second);
            },
            py::arg("id"), py::arg("a"), py::arg("b"), py::arg("value") = py::none(), py::kw_only(),
            py::arg("shared") = "", py::arg("known") = true,
            py::arg("reverse") = std::pair<bool, bool>(false, false),
            "The angle from line ``a`` to line ``b`` in [0, a full turn); ``reverse`` turns a "
            "line's direction round for the angle.")
        .def(
            "add_rad",
            [](PySketch& s, const std::string& id, const std::string& point,
               const std::string& circle)
            {
                Edit edit(s);
                s.AddRad(id, point, circle);
            },
            py::arg("id"), py::arg("point"), py::arg("circle"),
            "Makes ``point`` the centre of ``circle`` and the circle's radius its value.")
        .def(
            "set_value_node",
            [](PySketch& s, const std::string& relation, const std::string& circle)
            {
                Edit edit(s);
                s.SetValueNode(relation, circle);
            },
            py::arg("relation"), py::arg("circle"),
            "Names the circle whose radius stands for the relation's unknown value.")
        .def(
            "remove_relation",
            [](PySketch& s, const std::string& id)
            {
                Edit edit(s);
                s.RemoveRelation(id);
            },
            py::arg("id"), "Removes a relation.")
        .def(
            "remove_node",
            [](PySketch& s, const std::string& id)
            {
                Edit edit(s);
                s.RemoveNode(id);
            },
            py::arg("id"), "Removes a node and its relations.")

        // ---- Passes
        .def("analyse", &RunAnalyse,
             "The analysis pass: rigid clusters, stripped nodes and the verdict. Changes no "
             "geometry.")
        .def("drag", &RunDrag, py::arg("point"), py::arg("x"), py::arg("y"),
             R"doc(Drags a point towards (x, y): it ends as near as the relations let it, every
relation holding and the rest of the sketch moved as little as it can; fixed geometry stays.
Returns how far from (x, y) the point ended (0 when it got there). Raises ``ValueError``
for an unknown or fixed point and ``SolveError`` when no placement satisfies every
relation; then the sketch is as it was.)doc")
        .def("drive", &RunDrive, py::arg("changes"), py::kw_only(), py::arg("node_chain") = false,
             py::arg("robust") = true,
             R"doc(Sets dimension values and re-solves the sketch.

``changes`` maps relation ids to new values in the sketch's unit: ``{"d1": 90.0}``.
Several changes are made in one pass. Raises ``ValueError`` for a bad request (unknown
id, a fix, an unknown value, a negative distance) and ``SolveError`` when the solver
cannot re-solve the sketch; then every node and value is as it was. ``node_chain``
solves the core as one numeric system instead of as rigid clusters. ``robust`` (the
default) tries the library's other strategies (least squares, continuation) when the
solver's own passes fail; ``robust=False`` reports their failure.)doc");

    m.def("_time_cpp_drives", &TimeCppDrives, py::arg("sketch"), py::arg("relation"),
          py::arg("values"),
          "Benchmark baseline: drives the relation through the values with Sketch::Drive in "
          "C++ and returns the seconds taken. The sketch's document is not updated.");

    BindBatch(m);
    BindVocab(m);
}
