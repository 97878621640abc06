// qsolver.CadSketch: format-2 sketches (segments, arcs and the constraints CAD users draw with)
// over VocabSketch. Dimensions are in the file's units (angles in degrees unless the file says
// "rad"), as in the file.
#include "Bindings.h"

#include "Core.h"
#include "qsolver/Diagnostics.h"
#include "qsolver/Vocab.h"
#include "qsolver/VocabFile.h"

#include <pybind11/stl.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace qsolver::python
{

namespace
{

struct CadSketch
{
    std::string name;
    VocabDoc doc;
    std::unique_ptr<VocabSketch> sketch;
};

// The solver core is process-wide: its calls wait for the lock without holding the GIL.
template <class F> auto Locked(F&& f)
{
    py::gil_scoped_release nogil;
    std::lock_guard<std::recursive_mutex> lock(CoreMutex());
    return f();
}

std::unique_ptr<CadSketch> FromJson(const std::string& text, const std::string& name)
{
    auto out = std::make_unique<CadSketch>();
    out->name = name;
    out->sketch = std::make_unique<VocabSketch>();
    InputError error;
    const bool ok = Locked(
        [&]
        {
            return ParseVocabSketch(text, name, out->doc, error) &&
                   BuildVocabSketch(out->doc, name, *out->sketch, error);
        });
    if (!ok)
    {
        throw InputFailure(error.Text());
    }
    return out;
}

std::unique_ptr<CadSketch> Load(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
    {
        throw FileFailure(path + ": cannot open the file for reading");
    }
    std::ostringstream text;
    text << in.rdbuf();
    return FromJson(text.str(), path);
}

const VocabEntity& Point(const CadSketch& s, const std::string& id)
{
    const VocabEntity* e = s.sketch->FindEntity(id);
    if (e == nullptr || e->type != EntityType::Point)
    {
        throw InputFailure(e == nullptr
                               ? "no entity '" + id + "'"
                               : "'" + id + "' is a " + EntityTypeName(e->type) + ", not a point");
    }
    return *e;
}

void Drive(CadSketch& s, const py::handle& changes)
{
    std::vector<std::pair<std::string, double>> request;
    for (const auto& [id, value] : ToChanges(changes))
    {
        const int index = s.doc.FindConstraint(id);
        if (index < 0)
        {
            throw InputFailure("no constraint '" + id + "'");
        }
        VocabConstraint c = s.doc.constraints[static_cast<size_t>(index)];
        c.value = value;
        request.emplace_back(id, VocabValueToSolver(s.doc, c));
    }
    const VocabDriveResult result = Locked([&] { return s.sketch->Drive(request); });
    if (!result.IsOk())
    {
        if (result.core.failed == DriveStep::BadRequest)
        {
            throw InputFailure(result.Message());
        }
        throw SolveFailure("drive failed: " + result.Message() + "; the sketch was restored",
                           DriveStepText(result.core.failed), result.Message(), true);
    }
    Locked([&] { UpdateVocabDoc(*s.sketch, s.doc); });
}

double Drag(CadSketch& s, const std::string& id, double x, double y)
{
    Point(s, id);
    const VocabDragResult result = Locked([&] { return s.sketch->Drag(id, x, y); });
    if (!result.IsOk())
    {
        if (result.core.iterations == 0 && result.brokenConstraint.empty())
        {
            throw InputFailure("drag of '" + id + "': " + result.Message()); // refused
        }
        throw SolveFailure("drag failed: " + result.Message() + "; the sketch was restored", "drag",
                           result.Message(), true);
    }
    Locked([&] { UpdateVocabDoc(*s.sketch, s.doc); });
    return result.core.distance;
}

py::dict Diagnose(CadSketch& s)
{
    const Diagnostics d = Locked([&] { return s.sketch->Diagnose(); });
    py::dict status;
    for (const NodeDiagnosis& n : d.nodes)
    {
        status[py::str(n.id)] = py::make_tuple(NodeStatusName(n.status), n.dof);
    }
    py::dict out;
    out["dof"] = d.dof;
    out["status"] = status;
    out["conflicting"] = d.conflicting;
    out["redundant"] = d.redundant;
    return out;
}

} // namespace

void BindVocab(py::module_& m)
{
    py::class_<CadSketch>(m, "CadSketch", R"doc(A sketch in the CAD vocabulary (a format-2 file):
points, segments, arcs, circles and lines, with coincident, tangent, symmetric, dimensions...
Dimensions are in the file's units; a change the solver cannot make raises SolveError and
leaves the sketch as it was.)doc")
        .def_static("from_json", &FromJson, py::arg("text"), py::arg("name") = "sketch.json",
                    "Reads format-2 sketch text; ValueError names the place and the problem.")
        .def_static(
            "load",
            [](const py::object& path)
            { return Load(py::str(py::module_::import("os").attr("fspath")(path))); },
            py::arg("path"), "Reads a format-2 sketch file (a str or a path).")
        .def(
            "to_json", [](const CadSketch& s) { return FormatVocabSketch(s.doc); },
            "The sketch as format-2 text, ids and order as read.")
        .def_property_readonly(
            "entities",
            [](const CadSketch& s)
            {
                std::vector<std::string> ids;
                for (const VocabEntity& e : s.doc.entities)
                {
                    ids.push_back(e.id);
                }
                return ids;
            },
            "Entity ids, in file order.")
        .def(
            "point",
            [](const CadSketch& s, const std::string& id)
            {
                const VocabEntity& e = Point(s, id);
                return py::make_tuple(e.x, e.y);
            },
            py::arg("id"), "A point entity's (x, y).")
        .def(
            "value",
            [](const CadSketch& s, const std::string& id)
            {
                const int index = s.doc.FindConstraint(id);
                if (index < 0)
                {
                    throw InputFailure("no constraint '" + id + "'");
                }
                return s.doc.constraints[static_cast<size_t>(index)].value;
            },
            py::arg("id"),
            "A dimension's value in the file's units (a reference dimension's measure).")
        .def("drive", &Drive, py::arg("changes"),
             "Sets dimensions ({constraint id: value}) and re-solves; every constraint holds "
             "afterwards or SolveError is raised.")
        .def("drag", &Drag, py::arg("point"), py::arg("x"), py::arg("y"),
             "Moves a point entity as near to (x, y) as the constraints let it; returns how far "
             "from (x, y) it ended.")
        .def("diagnose", &Diagnose,
             "Freedoms and the constraints at fault: {'dof': int, 'status': {entity: (status, "
             "dof)}, 'conflicting': [ids], 'redundant': [ids]}.")
        .def("__repr__",
             [](const CadSketch& s)
             {
                 return "CadSketch(" + s.name + ": " + std::to_string(s.doc.entities.size()) +
                        " entities, " + std::to_string(s.doc.constraints.size()) + " constraints)";
             });
}

} // namespace qsolver::python
