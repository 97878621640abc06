#include "SketchSession.h"

#include "Adapter.h"
#include "SketchPack.h"
#include "qsolver/Drag.h"
#include "qsolver/SketchDrive.h"

#include <algorithm>
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

} // namespace

SketchSession::SketchSession() : m_sketch(std::make_unique<Sketch>()) {}

SketchSession::~SketchSession() = default;

std::string SketchSession::Refuse(const std::string& file, const std::string& where,
                                  const std::string& problem)
{
    m_error = InputError{file.empty() ? m_name : file, where, problem}.Text();
    m_where = where;
    return m_error;
}

bool SketchSession::Adopt(SketchDoc& doc, const std::string& name, InputError& error)
{
    auto sketch = std::make_unique<Sketch>();
    SketchSnapshot built;
    if (!BuildSketch(doc, name, *sketch, built, error))
    {
        return false;
    }
    m_name = name;
    m_doc = std::move(doc);
    m_sketch = std::move(sketch);
    m_built = std::move(built);
    m_nodeIndex.clear();
    return true;
}

std::string SketchSession::Load(const std::string& text, const std::string& name)
{
    SketchDoc doc;
    InputError error;
    if (!ParseSketch(text, name, doc, error) || !Adopt(doc, name, error))
    {
        m_error = error.Text();
        return Json{{"ok", false},
                    {"error", m_error},
                    {"file", error.file},
                    {"where", error.where},
                    {"problem", error.problem}}
            .dump();
    }
    return Json{{"ok", true},
                {"nodes", m_doc.nodes.size()},
                {"relations", m_doc.relations.size()},
                {"description", m_doc.description}}
        .dump();
}

int SketchSession::Build(int intCount, int numberCount, const std::string& ids,
                         const std::string& name)
{
    SketchDoc doc;
    InputError error;
    const PackedSketch packed{m_ints.data(), std::min<std::size_t>(intCount, m_ints.size()),
                              m_numbers.data(),
                              std::min<std::size_t>(numberCount, m_numbers.size()), &ids};
    if (!UnpackSketch(packed, name, doc, error) || !Adopt(doc, name, error))
    {
        m_error = error.Text();
        m_where = error.where;
        return 0;
    }
    return 1;
}

std::uintptr_t SketchSession::Ints(int count)
{
    if (count > 0 && m_ints.size() < static_cast<std::size_t>(count))
    {
        m_ints.resize(count);
    }
    return reinterpret_cast<std::uintptr_t>(m_ints.data());
}

std::uintptr_t SketchSession::Numbers(int count)
{
    if (count > 0 && m_numbers.size() < static_cast<std::size_t>(count))
    {
        m_numbers.resize(count);
    }
    return reinterpret_cast<std::uintptr_t>(m_numbers.data());
}

int SketchSession::NodeIndex(const std::string& id) const
{
    const auto it = m_nodeIndex.find(id);
    return it == m_nodeIndex.end() ? -1 : it->second;
}

void SketchSession::NotHolding(std::size_t ints, std::size_t numbers)
{
    m_ints.resize(ints + 1);
    m_numbers.resize(numbers);
    for (const RelationCheck& c : CheckRelations(m_doc))
    {
        if (!c.holds)
        {
            m_ints.push_back(c.index);
            m_numbers.push_back(c.measured);
            m_numbers.push_back(c.wanted);
        }
    }
    m_ints[ints] = static_cast<std::int32_t>(m_ints.size() - ints - 1);
}

int SketchSession::Analyse()
{
    const AnalysisResult result = m_sketch->Analyse();
    if (m_nodeIndex.empty())
    {
        m_nodeIndex.reserve(m_doc.nodes.size());
        for (std::size_t i = 0; i < m_doc.nodes.size(); ++i)
        {
            m_nodeIndex.emplace(m_doc.nodes[i].id, static_cast<int>(i));
        }
    }
    m_ints.clear();
    const auto list = [this](const std::vector<std::string>& ids)
    {
        m_ints.push_back(static_cast<std::int32_t>(ids.size()));
        for (const std::string& id : ids)
        {
            m_ints.push_back(NodeIndex(id));
        }
    };
    m_ints.push_back(static_cast<std::int32_t>(result.verdict));
    m_ints.push_back(static_cast<std::int32_t>(result.clusters.size()));
    for (const ClusterInfo& c : result.clusters)
    {
        m_ints.push_back(c.freeNum);
        m_ints.push_back(c.fixed ? 1 : 0);
        list(c.nodes);
    }
    list(result.stripped);
    list(result.unseeded);
    NotHolding(m_ints.size(), 0);
    return result.IsOk() ? 1 : 0;
}

int SketchSession::Drive(int count)
{
    if (count <= 0 || m_ints.size() < static_cast<std::size_t>(count) ||
        m_numbers.size() < static_cast<std::size_t>(count))
    {
        Refuse("", "drive", "the changes must be a non-empty object {relation: value}");
        return -1;
    }
    m_request.clear();
    for (int i = 0; i < count; ++i)
    {
        const int index = m_ints[i];
        if (index < 0 || static_cast<std::size_t>(index) >= m_doc.relations.size())
        {
            Refuse("", "drive", "no such relation");
            return -1;
        }
        const std::string& id = m_doc.relations[index].id;
        const double value = m_numbers[i];
        if (!std::isfinite(value))
        {
            Refuse("", "drive." + id, "the value must be a finite number");
            return -1;
        }
        if (ValueSlot(m_doc, index) == nullptr)
        {
            Refuse("", "drive." + id, "the relation has no value to change");
            return -1;
        }
        const bool angle = m_doc.relations[index].type == DocRelType::LLang;
        m_request.emplace_back(id, angle ? AngleToRadians(m_doc, value) : value);
    }

    const DriveResult result = m_sketch->Drive(m_request);
    ReleaseDriveClusters();
    if (!result.IsOk())
    {
        m_error = std::string(DriveStepText(result.failed)) +
                  (result.message.empty() ? "" : " (" + result.message + ")");
        m_where.clear();
        m_ints.assign({static_cast<std::int32_t>(result.failed), result.restored ? 1 : 0, 0});
        return 0;
    }
    UpdateDocFromSketch(*m_sketch, m_built, m_doc);
    // The solver's values come back in radians; the document keeps what was asked for.
    for (int i = 0; i < count; ++i)
    {
        *ValueSlot(m_doc, m_ints[i]) = m_numbers[i];
    }
    m_ints.assign({static_cast<std::int32_t>(result.failed), 0});
    // The drive checks its own result; the document's check is the one a user sees.
    NotHolding(2, 0);
    if (m_ints[2] > 0)
    {
        m_error = "the solver reported success, but a relation does not hold";
        return 0;
    }
    return 1;
}

int SketchSession::Drag(int node, double x, double y)
{
    if (node < 0 || static_cast<std::size_t>(node) >= m_doc.nodes.size() ||
        m_doc.nodes[node].type != DocNodeType::Point)
    {
        Refuse("", "drag", "no such point");
        return -1;
    }
    const std::string& id = m_doc.nodes[node].id;
    if (!std::isfinite(x) || !std::isfinite(y))
    {
        Refuse("", "drag." + id, "the target must be finite");
        return -1;
    }
    const DragResult result = m_sketch->Drag(id, x, y);
    ReleaseDriveClusters();
    if (!result.IsOk())
    {
        m_error = "the point cannot move there: " + result.message;
        m_where.clear();
        m_ints.assign({result.iterations, 0});
        m_numbers.assign({result.distance});
        return 0;
    }
    UpdateDocFromSketch(*m_sketch, m_built, m_doc);
    m_ints.assign({result.iterations});
    m_numbers.assign({result.distance});
    NotHolding(1, 1);
    if (m_ints[1] > 0)
    {
        m_error = "the solver reported success, but a relation does not hold";
        return 0;
    }
    return 1;
}

int SketchSession::Places()
{
    m_numbers.resize(4 * m_doc.nodes.size());
    double* out = m_numbers.data();
    for (const DocNode& n : m_doc.nodes)
    {
        out[0] = n.x;
        out[1] = n.y;
        out[2] = n.type == DocNodeType::Line     ? n.dx
                 : n.type == DocNodeType::Circle ? n.radius
                                                 : 0.0;
        out[3] = n.type == DocNodeType::Line ? n.dy : 0.0;
        out += 4;
    }
    return static_cast<int>(m_doc.nodes.size());
}

int SketchSession::Kinds()
{
    m_ints.clear();
    m_ints.push_back(static_cast<std::int32_t>(m_doc.nodes.size()));
    m_ints.push_back(static_cast<std::int32_t>(m_doc.relations.size()));
    for (const DocNode& n : m_doc.nodes)
    {
        m_ints.push_back(static_cast<std::int32_t>(n.type));
    }
    for (const DocRelation& r : m_doc.relations)
    {
        m_ints.push_back(static_cast<std::int32_t>(r.type));
    }
    return static_cast<int>(m_doc.nodes.size());
}

std::string SketchSession::Ids() const
{
    Json ids = Json::array();
    for (const DocNode& n : m_doc.nodes)
    {
        ids.push_back(n.id);
    }
    for (const DocRelation& r : m_doc.relations)
    {
        ids.push_back(r.id);
    }
    return ids.dump();
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
