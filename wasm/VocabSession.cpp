#include "VocabSession.h"

#include "Adapter.h"

#include <cmath>
#include <utility>
#include <vector>

namespace qsolver::web
{

VocabSession::VocabSession() : m_sketch(std::make_unique<VocabSketch>()) {}

VocabSession::~VocabSession() = default;

std::string VocabSession::Refuse(const std::string& where, const std::string& problem)
{
    m_error = InputError{m_name, where, problem}.Text();
    return Json{{"ok", false}, {"error", m_error}, {"where", where}}.dump();
}

std::string VocabSession::Load(const std::string& text, const std::string& name)
{
    VocabDoc doc;
    InputError error;
    auto sketch = std::make_unique<VocabSketch>();
    if (!ParseVocabSketch(text, name, doc, error) || !BuildVocabSketch(doc, name, *sketch, error))
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
    return Json{{"ok", true},
                {"format", 2},
                {"entities", m_doc.entities.size()},
                {"constraints", m_doc.constraints.size()},
                {"description", m_doc.description}}
        .dump();
}

std::string VocabSession::Analyse()
{
    const AnalysisResult result = m_sketch->Analyse();
    Json off = Json::array();
    for (const ConstraintCheck& c : m_sketch->Check())
    {
        if (!c.holds)
        {
            off.push_back(Json{{"id", c.id}, {"error", c.error}});
        }
    }
    return Json{{"ok", result.IsOk()},
                {"verdict", VerdictWord(result.verdict)},
                {"verdictText", VerdictText(result.verdict)},
                {"notHolding", off}}
        .dump();
}

std::string VocabSession::Drive(const std::string& changesText)
{
    const Json changes = Json::parse(changesText, nullptr, false);
    if (changes.is_discarded() || !changes.is_object() || changes.empty())
    {
        return Refuse("drive", "the changes must be a non-empty object {constraint: value}");
    }
    std::vector<std::pair<std::string, double>> request;
    std::vector<std::pair<int, double>> typed;
    for (const auto& item : changes.items())
    {
        const std::string where = "drive." + item.key();
        const int index = m_doc.FindConstraint(item.key());
        if (index < 0)
        {
            return Refuse(where, "no such constraint");
        }
        if (!item.value().is_number() || !std::isfinite(item.value().get<double>()))
        {
            return Refuse(where, "the value must be a finite number");
        }
        VocabConstraint c = m_doc.constraints[index];
        if (!IsDimension(c.type))
        {
            return Refuse(where, "the constraint has no value to change");
        }
        c.value = item.value().get<double>();
        request.emplace_back(c.id, VocabValueToSolver(m_doc, c));
        typed.emplace_back(index, c.value);
    }
    const VocabDriveResult result = m_sketch->Drive(request);
    ReleaseDriveClusters();
    if (!result.IsOk())
    {
        if (result.core.failed == DriveStep::BadRequest)
        {
            return Refuse("drive", result.core.message);
        }
        m_error = result.Message();
        return Json{{"ok", false},
                    {"solved", false},
                    {"error", m_error},
                    {"brokenConstraint", result.brokenConstraint},
                    {"restored", result.core.restored}}
            .dump();
    }
    UpdateVocabDoc(*m_sketch, m_doc);
    for (const auto& [index, value] : typed)
    {
        // As typed, not as converted back from the solver's unit.
        m_doc.constraints[index].value = value;
    }
    return Json{{"ok", true}, {"solved", true}, {"step", result.Message()}}.dump();
}

std::string VocabSession::Drag(const std::string& pointId, double x, double y)
{
    const int index = m_doc.FindEntity(pointId);
    if (index < 0 || m_doc.entities[index].type != EntityType::Point)
    {
        return Refuse("drag." + pointId, "no such point");
    }
    if (!std::isfinite(x) || !std::isfinite(y))
    {
        return Refuse("drag." + pointId, "the target must be finite");
    }
    const VocabDragResult result = m_sketch->Drag(pointId, x, y);
    ReleaseDriveClusters();
    if (!result.IsOk())
    {
        m_error = "the point cannot move there: " + result.Message();
        return Json{{"ok", false}, {"solved", false}, {"error", m_error}}.dump();
    }
    UpdateVocabDoc(*m_sketch, m_doc);
    return Json{{"ok", true}, {"solved", true}, {"distance", result.core.distance}}.dump();
}

std::string VocabSession::Diagnose()
{
    const Diagnostics d = m_sketch->Diagnose();
    Json nodes = Json::array();
    for (const NodeDiagnosis& n : d.nodes)
    {
        nodes.push_back(Json{{"id", n.id}, {"status", NodeStatusName(n.status)}, {"dof", n.dof}});
    }
    return Json{{"ok", true},
                {"available", true},
                {"dof", d.dof},
                {"unknowns", d.unknowns},
                {"rank", d.rank},
                {"nodes", nodes},
                {"conflicting", d.conflicting},
                {"redundant", d.redundant},
                {"complete", d.dependenciesComplete}}
        .dump();
}

namespace
{

/// Where an entity is: a point's place, a line's point and direction, a circle's or arc's
/// centre and radius; null for a segment (its end points say it).
Json PlaceOf(const VocabSketch& sketch, const VocabEntity& e)
{
    switch (e.type)
    {
        case EntityType::Point:
            return Json{{"x", e.x}, {"y", e.y}};
        case EntityType::Line:
            return Json{{"x", e.x}, {"y", e.y}, {"dx", e.dx}, {"dy", e.dy}};
        case EntityType::Circle:
        case EntityType::Arc:
        {
            const VocabEntity* centre = sketch.FindEntity(e.points[0]);
            return Json{{"x", centre->x}, {"y", centre->y}, {"radius", sketch.RadiusOf(e)}};
        }
        case EntityType::Segment:
            break;
    }
    return Json();
}

} // namespace

std::string VocabSession::Document() const
{
    Json entities = Json::array();
    for (const VocabEntity& e : m_sketch->Entities())
    {
        Json j = PlaceOf(*m_sketch, e);
        if (j.is_null())
        {
            j = Json::object();
        }
        j["id"] = e.id;
        j["type"] = EntityTypeName(e.type);
        j["construction"] = e.construction;
        if (!e.points.empty())
        {
            j["points"] = e.points;
        }
        entities.push_back(j);
    }
    Json constraints = Json::array();
    for (const VocabConstraint& c : m_doc.constraints)
    {
        Json j{{"id", c.id}, {"type", ConstraintTypeName(c.type)}, {"refs", c.refs}};
        if (IsDimension(c.type))
        {
            j["value"] = c.value;
            j["driven"] = c.driven;
            const VocabConstraint* live = m_sketch->FindConstraint(c.id);
            j["measured"] = VocabValueFromSolver(m_doc, c, m_sketch->Measure(*live));
        }
        constraints.push_back(j);
    }
    return Json{{"ok", true},
                {"format", 2},
                {"description", m_doc.description},
                {"angleUnit", m_doc.radians ? "rad" : "deg"},
                {"entities", entities},
                {"constraints", constraints}}
        .dump();
}

std::string VocabSession::Coordinates() const
{
    Json out = Json::object();
    for (const VocabEntity& e : m_sketch->Entities())
    {
        Json place = PlaceOf(*m_sketch, e);
        if (!place.is_null())
        {
            out[e.id] = std::move(place);
        }
    }
    return out.dump();
}

std::string VocabSession::Save() const
{
    return FormatVocabSketch(m_doc);
}

} // namespace qsolver::web
