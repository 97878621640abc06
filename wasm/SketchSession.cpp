#include "SketchSession.h"

#include "Adapter.h"
#include "qsolver/Drag.h"
#include "qsolver/SketchDrive.h"

#include <cmath>
#include <utility>
#include <vector>

namespace qsolver::web
{

namespace
{

/// Where a relation's value lives in the document: its own, the shared value or the radius.
const double* ValueSlot(const SketchDoc& doc, int relation)
{
    const DocRelation& r = doc.relations[relation];
    if (r.type == DocRelType::Rad)
    {
        return &doc.nodes[doc.FindNode(r.nodes[1])].radius;
    }
    if (!r.shared.empty())
    {
        return &doc.values[doc.FindValue(r.shared)].value;
    }
    return r.hasValue ? &r.value : nullptr;
}

double* ValueSlot(SketchDoc& doc, int relation)
{
    return const_cast<double*>(ValueSlot(static_cast<const SketchDoc&>(doc), relation));
}

Json NotHolding(const SketchDoc& doc)
{
    Json list = Json::array();
    for (const RelationCheck& c : CheckRelations(doc))
    {
        if (!c.holds)
        {
            list.push_back(Json{
                {"id", doc.relations[c.index].id}, {"measured", c.measured}, {"wanted", c.wanted}});
        }
    }
    return list;
}

std::string ErrorJson(const std::string& message, const std::string& where = "")
{
    return Json{{"ok", false}, {"error", message}, {"where", where}}.dump();
}

} // namespace

SketchSession::SketchSession() : m_sketch(std::make_unique<Sketch>()) {}

SketchSession::~SketchSession() = default;

std::string SketchSession::Refuse(const std::string& where, const std::string& problem)
{
    m_error = InputError{m_name, where, problem}.Text();
    return ErrorJson(m_error, where);
}

std::string SketchSession::Load(const std::string& text, const std::string& name)
{
    SketchDoc doc;
    InputError error;
    auto sketch = std::make_unique<Sketch>();
    SketchSnapshot built;
    if (!ParseSketch(text, name, doc, error) || !BuildSketch(doc, name, *sketch, built, error))
    {
        m_error = error.Text();
        return Json{{"ok", false},
                    {"error", m_error},
                    {"file", error.file},
                    {"where", error.where},
                    {"problem", error.problem}}
            .dump();
    }
    m_name = name;
    m_doc = std::move(doc);
    m_sketch = std::move(sketch);
    m_built = std::move(built);
    return Json{{"ok", true},
                {"nodes", m_doc.nodes.size()},
                {"relations", m_doc.relations.size()},
                {"description", m_doc.description}}
        .dump();
}

std::string SketchSession::Analyse()
{
    const AnalysisResult result = m_sketch->Analyse();
    Json clusters = Json::array();
    for (const ClusterInfo& c : result.clusters)
    {
        clusters.push_back(Json{{"nodes", c.nodes}, {"freeNum", c.freeNum}, {"fixed", c.fixed}});
    }
    return Json{{"ok", result.IsOk()},
                {"verdict", VerdictWord(result.verdict)},
                {"verdictText", VerdictText(result.verdict)},
                {"clusters", clusters},
                {"stripped", result.stripped},
                {"unseeded", result.unseeded},
                {"notHolding", NotHolding(m_doc)}}
        .dump();
}

std::string SketchSession::Drive(const std::string& changesText)
{
    const Json changes = Json::parse(changesText, nullptr, false);
    if (changes.is_discarded() || !changes.is_object() || changes.empty())
    {
        return Refuse("drive", "the changes must be a non-empty object {relation: value}");
    }
    std::vector<std::pair<std::string, double>> request;
    std::vector<std::pair<int, double>> slots;
    for (const auto& item : changes.items())
    {
        const int index = m_doc.FindRelation(item.key());
        if (index < 0)
        {
            return Refuse("drive." + item.key(), "no such relation");
        }
        if (!item.value().is_number() || !std::isfinite(item.value().get<double>()))
        {
            return Refuse("drive." + item.key(), "the value must be a finite number");
        }
        if (ValueSlot(m_doc, index) == nullptr)
        {
            return Refuse("drive." + item.key(), "the relation has no value to change");
        }
        const double value = item.value().get<double>();
        const bool angle = m_doc.relations[index].type == DocRelType::LLang;
        request.emplace_back(item.key(), angle ? AngleToRadians(m_doc, value) : value);
        slots.emplace_back(index, value);
    }

    const DriveResult result = m_sketch->Drive(request);
    ReleaseDriveClusters();
    if (!result.IsOk())
    {
        m_error = std::string(DriveStepText(result.failed)) +
                  (result.message.empty() ? "" : " (" + result.message + ")");
        return Json{{"ok", false},
                    {"solved", false},
                    {"step", DriveStepText(result.failed)},
                    {"error", m_error},
                    {"restored", result.restored}}
            .dump();
    }
    UpdateDocFromSketch(*m_sketch, m_built, m_doc);
    for (const auto& slot : slots)
    {
        *ValueSlot(m_doc, slot.first) = slot.second;
    }
    // The drive checks its own result; the document's check is the one a user sees.
    const Json off = NotHolding(m_doc);
    if (!off.empty())
    {
        m_error = "the solver reported success, but a relation does not hold";
    }
    return Json{{"ok", off.empty()},
                {"solved", off.empty()},
                {"step", DriveStepText(result.failed)},
                {"notHolding", off}}
        .dump();
}

std::string SketchSession::Drag(const std::string& pointId, double x, double y)
{
    const int index = m_doc.FindNode(pointId);
    if (index < 0 || m_doc.nodes[index].type != DocNodeType::Point)
    {
        return Refuse("drag." + pointId, "no such point");
    }
    if (!std::isfinite(x) || !std::isfinite(y))
    {
        return Refuse("drag." + pointId, "the target must be finite");
    }
    const DragResult result = m_sketch->Drag(pointId, x, y);
    ReleaseDriveClusters();
    if (!result.IsOk())
    {
        m_error = "the point cannot move there: " + result.message;
        return Json{{"ok", false}, {"solved", false}, {"error", m_error}}.dump();
    }
    UpdateDocFromSketch(*m_sketch, m_built, m_doc);
    const Json off = NotHolding(m_doc);
    if (!off.empty())
    {
        m_error = "the solver reported success, but a relation does not hold";
    }
    return Json{{"ok", off.empty()},
                {"solved", off.empty()},
                {"distance", result.distance},
                {"iterations", result.iterations},
                {"notHolding", off}}
        .dump();
}

std::string SketchSession::Diagnose()
{
    Json d = DiagnoseSketch(*m_sketch);
    d["ok"] = true;
    return d.dump();
}

namespace
{

Json NodePlace(const DocNode& n)
{
    Json j{{"x", n.x}, {"y", n.y}};
    if (n.type == DocNodeType::Line)
    {
        j["dx"] = n.dx;
        j["dy"] = n.dy;
    }
    if (n.type == DocNodeType::Circle)
    {
        j["radius"] = n.radius;
    }
    return j;
}

} // namespace

std::string SketchSession::Coordinates() const
{
    Json out = Json::object();
    for (const DocNode& n : m_doc.nodes)
    {
        out[n.id] = NodePlace(n);
    }
    return out.dump();
}

std::string SketchSession::Document() const
{
    Json nodes = Json::array();
    for (const DocNode& n : m_doc.nodes)
    {
        Json j = NodePlace(n);
        j["id"] = n.id;
        j["type"] = DocNodeTypeName(n.type);
        nodes.push_back(j);
    }
    Json relations = Json::array();
    for (size_t i = 0; i < m_doc.relations.size(); ++i)
    {
        const DocRelation& r = m_doc.relations[i];
        Json j{{"id", r.id}, {"type", DocRelTypeName(r.type)}, {"nodes", r.nodes}};
        if (const double* slot = ValueSlot(m_doc, static_cast<int>(i)))
        {
            j["value"] = *slot;
        }
        if (!r.shared.empty())
        {
            j["shared"] = r.shared;
        }
        relations.push_back(j);
    }
    return Json{{"ok", true},
                {"description", m_doc.description},
                {"angleUnit", m_doc.radians ? "rad" : "deg"},
                {"nodes", nodes},
                {"relations", relations}}
        .dump();
}

std::string SketchSession::Save() const
{
    return FormatSketch(m_doc);
}

} // namespace qsolver::web
