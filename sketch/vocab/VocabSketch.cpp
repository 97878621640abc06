// The vocabulary sketch: entities and constraints by id, the checks that refuse what cannot be
// compiled, and the drive that accepts a result only when every constraint holds.
#include "qsolver/Vocab.h"

#include "vocab/VocabGeometry.h"

#include <algorithm>
#include <cmath>

namespace qsolver
{

namespace
{

struct ConstraintName
{
    ConstraintType type;
    const char* name;
};

const ConstraintName kConstraintNames[] = {
    {ConstraintType::Coincident, "coincident"},
    {ConstraintType::On, "on"},
    {ConstraintType::Horizontal, "horizontal"},
    {ConstraintType::Vertical, "vertical"},
    {ConstraintType::Parallel, "parallel"},
    {ConstraintType::Perpendicular, "perpendicular"},
    {ConstraintType::Angle, "angle"},
    {ConstraintType::Distance, "distance"},
    {ConstraintType::Length, "length"},
    {ConstraintType::Radius, "radius"},
    {ConstraintType::Diameter, "diameter"},
    {ConstraintType::Equal, "equal"},
    {ConstraintType::Tangent, "tangent"},
    {ConstraintType::Concentric, "concentric"},
    {ConstraintType::Midpoint, "midpoint"},
    {ConstraintType::Symmetric, "symmetric"},
    {ConstraintType::Fix, "fix"},
};

bool IsLinear(EntityType t)
{
    return t == EntityType::Segment || t == EntityType::Line;
}

bool IsRound(EntityType t)
{
    return t == EntityType::Circle || t == EntityType::Arc;
}

} // namespace

bool IsDimension(ConstraintType type)
{
    switch (type)
    {
        case ConstraintType::Angle:
        case ConstraintType::Distance:
        case ConstraintType::Length:
        case ConstraintType::Radius:
        case ConstraintType::Diameter:
            return true;
        default:
            return false;
    }
}

const char* EntityTypeName(EntityType type)
{
    switch (type)
    {
        case EntityType::Point:
            return "point";
        case EntityType::Segment:
            return "segment";
        case EntityType::Arc:
            return "arc";
        case EntityType::Circle:
            return "circle";
        case EntityType::Line:
            return "line";
    }
    return "entity";
}

const char* ConstraintTypeName(ConstraintType type)
{
    for (const ConstraintName& n : kConstraintNames)
    {
        if (n.type == type)
        {
            return n.name;
        }
    }
    return "constraint";
}

bool ConstraintTypeFromName(const std::string& name, ConstraintType& type)
{
    for (const ConstraintName& n : kConstraintNames)
    {
        if (name == n.name)
        {
            type = n.type;
            return true;
        }
    }
    return false;
}

std::string VocabDragResult::Message() const
{
    if (!core.IsOk())
    {
        return core.message;
    }
    if (!brokenConstraint.empty())
    {
        return "constraint '" + brokenConstraint + "' does not hold after the drag";
    }
    return "";
}

std::string VocabDriveResult::Message() const
{
    if (!core.IsOk())
    {
        return std::string(DriveStepText(core.failed)) +
               (core.message.empty() ? "" : " (" + core.message + ")");
    }
    if (!brokenConstraint.empty())
    {
        return "constraint '" + brokenConstraint + "' does not hold after the drive";
    }
    return DriveStepText(core.failed);
}

VocabSketch::VocabSketch() = default;
VocabSketch::~VocabSketch() = default;

bool VocabSketch::Fail(const std::string& message)
{
    m_error = message;
    return false;
}

const VocabEntity* VocabSketch::Entity(const std::string& id) const
{
    for (const VocabEntity& e : m_entities)
    {
        if (e.id == id)
        {
            return &e;
        }
    }
    return nullptr;
}

const VocabEntity* VocabSketch::FindEntity(const std::string& id) const
{
    return Entity(id);
}

const VocabConstraint* VocabSketch::FindConstraint(const std::string& id) const
{
    for (const VocabConstraint& c : m_constraints)
    {
        if (c.id == id)
        {
            return &c;
        }
    }
    return nullptr;
}

double VocabSketch::RadiusOf(const VocabEntity& entity) const
{
    if (entity.type == EntityType::Arc)
    {
        const VocabEntity* c = Entity(entity.points[0]);
        const VocabEntity* s = Entity(entity.points[1]);
        return std::hypot(s->x - c->x, s->y - c->y);
    }
    return entity.radius;
}

bool VocabSketch::CheckEntity(const VocabEntity& e)
{
    const std::string what = std::string(EntityTypeName(e.type)) + " '" + e.id + "'";
    if (e.id.empty())
    {
        return Fail("an entity needs an id");
    }
    if (e.id.find('#') != std::string::npos)
    {
        return Fail(what + ": '#' is kept for the helpers of constraints");
    }
    if (Entity(e.id) != nullptr || FindConstraint(e.id) != nullptr)
    {
        return Fail("duplicate id '" + e.id + "'");
    }
    for (double n : {e.x, e.y, e.dx, e.dy, e.radius})
    {
        if (!std::isfinite(n))
        {
            return Fail(what + ": a number is not finite");
        }
    }
    size_t want = 0;
    switch (e.type)
    {
        case EntityType::Point:
        case EntityType::Line:
            want = 0;
            break;
        case EntityType::Segment:
            want = 2;
            break;
        case EntityType::Arc:
            want = 3;
            break;
        case EntityType::Circle:
            want = 1;
            break;
    }
    if (e.points.size() != want)
    {
        return Fail(what + " needs " + std::to_string(want) + " point ids");
    }
    for (size_t i = 0; i < e.points.size(); ++i)
    {
        const VocabEntity* p = Entity(e.points[i]);
        if (p == nullptr || p->type != EntityType::Point)
        {
            return Fail(what + ": '" + e.points[i] + "' is not a point made before it");
        }
        for (size_t j = 0; j < i; ++j)
        {
            if (e.points[j] == e.points[i])
            {
                return Fail(what + " uses the point '" + e.points[i] + "' twice");
            }
        }
    }
    if (e.type == EntityType::Line && e.dx == 0.0 && e.dy == 0.0)
    {
        return Fail(what + " has no direction");
    }
    if (e.type == EntityType::Circle && !(e.radius > 0.0))
    {
        return Fail(what + ": a radius must be greater than 0");
    }
    return true;
}

bool VocabSketch::AddEntity(const VocabEntity& entity)
{
    if (!CheckEntity(entity))
    {
        return false;
    }
    m_entities.push_back(entity);
    m_dirty = true;
    return true;
}

bool VocabSketch::AddPoint(const std::string& id, double x, double y, bool construction)
{
    VocabEntity e;
    e.id = id;
    e.type = EntityType::Point;
    e.x = x;
    e.y = y;
    e.construction = construction;
    return AddEntity(e);
}

bool VocabSketch::AddSegment(const std::string& id, const std::string& p1, const std::string& p2,
                             bool construction)
{
    VocabEntity e;
    e.id = id;
    e.type = EntityType::Segment;
    e.points = {p1, p2};
    e.construction = construction;
    return AddEntity(e);
}

bool VocabSketch::AddArc(const std::string& id, const std::string& centre, const std::string& start,
                         const std::string& end, bool construction)
{
    VocabEntity e;
    e.id = id;
    e.type = EntityType::Arc;
    e.points = {centre, start, end};
    e.construction = construction;
    return AddEntity(e);
}

bool VocabSketch::AddCircle(const std::string& id, const std::string& centre, double radius,
                            bool construction)
{
    VocabEntity e;
    e.id = id;
    e.type = EntityType::Circle;
    e.points = {centre};
    e.radius = radius;
    e.construction = construction;
    return AddEntity(e);
}

bool VocabSketch::AddLine(const std::string& id, double px, double py, double dx, double dy,
                          bool construction)
{
    VocabEntity e;
    e.id = id;
    e.type = EntityType::Line;
    e.x = px;
    e.y = py;
    e.dx = dx;
    e.dy = dy;
    e.construction = construction;
    return AddEntity(e);
}

bool VocabSketch::CheckConstraint(const VocabConstraint& c)
{
    const std::string what = std::string(ConstraintTypeName(c.type)) + " '" + c.id + "'";
    if (c.id.empty())
    {
        return Fail("a constraint needs an id");
    }
    if (c.id.find('#') != std::string::npos)
    {
        return Fail(what + ": '#' is kept for the helpers of constraints");
    }
    if (Entity(c.id) != nullptr || FindConstraint(c.id) != nullptr)
    {
        return Fail("duplicate id '" + c.id + "'");
    }
    std::vector<const VocabEntity*> refs;
    for (const std::string& id : c.refs)
    {
        const VocabEntity* e = Entity(id);
        if (e == nullptr)
        {
            return Fail(what + ": no entity '" + id + "'");
        }
        if (std::count(c.refs.begin(), c.refs.end(), id) > 1)
        {
            return Fail(what + " names '" + id + "' twice");
        }
        refs.push_back(e);
    }
    if (!std::isfinite(c.value))
    {
        return Fail(what + ": the value is not finite");
    }
    auto types = [&](std::initializer_list<std::initializer_list<EntityType>> shapes)
    {
        // One of the shapes, entity for entity.
        for (const auto& shape : shapes)
        {
            if (shape.size() != refs.size())
            {
                continue;
            }
            bool fits = true;
            size_t i = 0;
            for (EntityType t : shape)
            {
                fits = fits && refs[i++]->type == t;
            }
            if (fits)
            {
                return true;
            }
        }
        return false;
    };
    using T = EntityType;
    bool fits = false;
    const char* wants = "";
    switch (c.type)
    {
        case ConstraintType::Coincident:
            fits = types({{T::Point, T::Point}});
            wants = "two points";
            break;
        case ConstraintType::On:
            fits = refs.size() == 2 && refs[0]->type == T::Point && refs[1]->type != T::Point;
            wants = "a point, then a line, segment, circle or arc";
            if (fits && IsRound(refs[1]->type) && refs[1]->points[0] == refs[0]->id)
            {
                return Fail(what + ": a centre is not on its own circle");
            }
            break;
        case ConstraintType::Horizontal:
        case ConstraintType::Vertical:
            fits = types({{T::Segment}, {T::Line}, {T::Point, T::Point}});
            wants = "a segment or line, or two points";
            break;
        case ConstraintType::Parallel:
        case ConstraintType::Perpendicular:
        case ConstraintType::Angle:
            fits = refs.size() == 2 && IsLinear(refs[0]->type) && IsLinear(refs[1]->type);
            wants = "two segments or lines";
            break;
        case ConstraintType::Distance:
            fits = refs.size() == 2 && ((refs[0]->type == T::Point || IsLinear(refs[0]->type)) &&
                                        (refs[1]->type == T::Point || IsLinear(refs[1]->type)));
            wants = "two of points, segments and lines";
            break;
        case ConstraintType::Length:
            fits = types({{T::Segment}});
            wants = "a segment";
            break;
        case ConstraintType::Radius:
        case ConstraintType::Diameter:
            fits = refs.size() == 1 && IsRound(refs[0]->type);
            wants = "a circle or arc";
            break;
        case ConstraintType::Equal:
            fits = types({{T::Segment, T::Segment}}) ||
                   (refs.size() == 2 && IsRound(refs[0]->type) && IsRound(refs[1]->type));
            wants = "two segments, or two circles or arcs";
            break;
        case ConstraintType::Tangent:
            fits = refs.size() == 2 && IsRound(refs[1]->type) &&
                   (IsLinear(refs[0]->type) || IsRound(refs[0]->type));
            wants = "a line, segment, circle or arc, then a circle or arc";
            if (fits && IsRound(refs[0]->type) && refs[0]->points[0] == refs[1]->points[0])
            {
                return Fail(what + ": circles with one centre do not touch");
            }
            break;
        case ConstraintType::Concentric:
            fits = refs.size() == 2 && IsRound(refs[0]->type) && IsRound(refs[1]->type);
            wants = "two circles or arcs";
            break;
        case ConstraintType::Midpoint:
            fits = types({{T::Point, T::Segment}, {T::Point, T::Point, T::Point}});
            wants = "a point, then a segment or its two end points";
            break;
        case ConstraintType::Symmetric:
            fits = types({{T::Point, T::Point, T::Line}, {T::Point, T::Point, T::Segment}});
            wants = "two points, then the line or segment between them";
            break;
        case ConstraintType::Fix:
            fits = refs.size() == 1;
            wants = "one entity";
            break;
    }
    if (!fits)
    {
        return Fail(what + " takes " + wants);
    }
    if (c.type == ConstraintType::Distance && refs[0]->type != T::Point &&
        refs[1]->type == T::Point)
    {
        return Fail(what + ": name the point first, then the line");
    }
    if (IsDimension(c.type) && c.type != ConstraintType::Angle && !c.driven)
    {
        const bool positive =
            c.type == ConstraintType::Radius || c.type == ConstraintType::Diameter;
        if (positive ? !(c.value > 0.0) : c.value < 0.0)
        {
            return Fail(what + (positive ? ": the value must be greater than 0"
                                         : ": a distance cannot be negative"));
        }
    }
    if (c.driven && !IsDimension(c.type))
    {
        return Fail(what + ": only a dimension can be a reference (driven) dimension");
    }
    return true;
}

bool VocabSketch::AddConstraint(const VocabConstraint& constraint)
{
    if (!CheckConstraint(constraint))
    {
        return false;
    }
    m_constraints.push_back(constraint);
    m_dirty = true;
    return true;
}

bool VocabSketch::Constrain(const std::string& id, ConstraintType type,
                            std::vector<std::string> refs, double value)
{
    VocabConstraint c;
    c.id = id;
    c.type = type;
    c.refs = std::move(refs);
    c.value = value;
    return AddConstraint(c);
}

Sketch* VocabSketch::Core()
{
    if (m_dirty && !Compile())
    {
        return nullptr;
    }
    return m_core.get();
}

std::string VocabSketch::SourceOf(const std::string& coreId) const
{
    const std::string head = coreId.substr(0, coreId.find('#'));
    return Entity(head) != nullptr || FindConstraint(head) != nullptr ? head : std::string();
}

AnalysisResult VocabSketch::Analyse()
{
    Sketch* core = Core();
    if (core == nullptr)
    {
        AnalysisResult refused;
        refused.verdict = Verdict::FixedContradiction;
        return refused;
    }
    return core->Analyse();
}

void VocabSketch::ReadBack()
{
    for (VocabEntity& e : m_entities)
    {
        if (e.type == EntityType::Point)
        {
            const CVert* p = m_core->FindPoint(e.id);
            e.x = p->m_Pos.x;
            e.y = p->m_Pos.y;
        }
        else if (e.type == EntityType::Line)
        {
            const CMathline* l = m_core->FindLine(e.id);
            e.x = l->m_Line.m_ThroughPoint.x;
            e.y = l->m_Line.m_ThroughPoint.y;
            e.dx = l->m_Line.m_Direction.x;
            e.dy = l->m_Line.m_Direction.y;
        }
    }
    for (const auto& [entity, carrier] : m_carriers)
    {
        const CMathcir* c = m_core->FindCircle(carrier);
        for (VocabEntity& e : m_entities)
        {
            if (e.id == entity && e.type == EntityType::Circle && c->m_pRadiusVal != nullptr)
            {
                e.radius = c->m_pRadiusVal->m_dValue;
            }
        }
    }
}

VocabDriveResult VocabSketch::Drive(const std::vector<std::pair<std::string, double>>& changes,
                                    const DriveOptions& options)
{
    VocabDriveResult result;
    auto refuse = [&](const std::string& message)
    {
        result.core.failed = DriveStep::BadRequest;
        result.core.message = message;
        return result;
    };
    Sketch* core = Core();
    if (core == nullptr)
    {
        return refuse(m_error);
    }
    std::vector<std::pair<std::string, double>> request;
    for (const auto& change : changes)
    {
        // Named, not bound: a lambda may not capture a structured binding before C++20.
        const std::string& id = change.first;
        const double value = change.second;
        const VocabConstraint* c = FindConstraint(id);
        if (c == nullptr)
        {
            return refuse("no constraint '" + id + "'");
        }
        if (c->driven)
        {
            return refuse("'" + id + "' is a reference dimension: it is measured, not driven");
        }
        auto link = std::find_if(m_links.begin(), m_links.end(),
                                 [&](const DimensionLink& l) { return l.constraint == id; });
        if (link == m_links.end())
        {
            return refuse("'" + id + "' has no value to change");
        }
        if (!std::isfinite(value))
        {
            return refuse("'" + id + "' cannot take a value that is not finite");
        }
        if (c->type != ConstraintType::Angle && value < 0.0)
        {
            return refuse("'" + id + "' cannot take a negative value");
        }
        // Relations that share the value (points on a circle whose radius this is) change
        // with it: the core re-solves only the parts that hold a changed relation.
        CRel* rel = core->FindRelation(link->relation);
        request.emplace_back(link->relation, value * link->factor);
        POSITION pos = rel->m_pVal->m_RelSel.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* sharing = rel->m_pVal->m_RelSel.GetNext(pos);
            if (sharing != rel)
            {
                request.emplace_back(core->IdOf(sharing), value * link->factor);
            }
        }
    }

    const std::vector<VocabEntity> entitiesBefore = m_entities;
    const std::vector<VocabConstraint> constraintsBefore = m_constraints;
    result.core = DriveSketch(*core, request, options);
    if (!result.core.IsOk())
    {
        return result;
    }
    ReadBack();
    for (const auto& [id, value] : changes)
    {
        for (VocabConstraint& c : m_constraints)
        {
            if (c.id == id)
            {
                c.value = value;
            }
        }
    }
    result.brokenConstraint = FirstBroken();
    if (!result.brokenConstraint.empty())
    {
        // The core's geometry is not ours any more: it is compiled again from what we kept.
        m_entities = entitiesBefore;
        m_constraints = constraintsBefore;
        m_dirty = true;
        result.core.restored = true;
    }
    return result;
}

std::string VocabSketch::FirstBroken() const
{
    for (const ConstraintCheck& check : Check())
    {
        if (!check.holds)
        {
            return check.id;
        }
    }
    return "";
}

VocabDragResult VocabSketch::Drag(const std::string& point, double x, double y)
{
    VocabDragResult result;
    const VocabEntity* entity = FindEntity(point);
    if (entity == nullptr || entity->type != EntityType::Point)
    {
        result.core.message = entity == nullptr
                                  ? "no point '" + point + "'"
                                  : "'" + point + "' is a " + EntityTypeName(entity->type) +
                                        "; drag one of its points";
        return result;
    }
    Sketch* core = Core();
    if (core == nullptr)
    {
        result.core.message = m_error;
        return result;
    }
    const std::vector<VocabEntity> entitiesBefore = m_entities;
    result.core = core->Drag(point, x, y);
    if (!result.core.IsOk())
    {
        return result;
    }
    ReadBack();
    result.brokenConstraint = FirstBroken();
    if (!result.brokenConstraint.empty())
    {
        m_entities = entitiesBefore;
        m_dirty = true;
    }
    return result;
}

Diagnostics VocabSketch::Diagnose()
{
    Sketch* core = Core();
    if (core == nullptr)
    {
        return Diagnostics();
    }
    const Diagnostics compiled = qsolver::Diagnose(*core);
    Diagnostics out = compiled;
    // A value the compiler shares between relations (a symmetric pair's distance from the
    // mirror, a midpoint's half length) rides on a helper circle's radius. The circle itself
    // (centre and radius) is in no relation: three unknowns and freedoms no entity has; the
    // shared value is counted on its own.
    CNodeList& nodes = core->Nodes();
    POSITION pos = nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = nodes.GetNext(pos);
        if (node->GetType() == SKT_NODE_CIRCLE && node->m_RelList.IsEmpty() &&
            SourceOf(core->IdOf(node)) != core->IdOf(node))
        {
            out.unknowns -= 3;
            out.dof -= 3;
        }
    }
    out.nodes.clear();
    for (const VocabEntity& e : m_entities)
    {
        if (const NodeDiagnosis* n = compiled.FindNode(e.id))
        {
            out.nodes.push_back(*n);
        }
    }
    // A constraint may compile to several relations: named once, where it first appears.
    auto toConstraints = [this](const std::vector<std::string>& relations)
    {
        std::vector<std::string> ids;
        for (const std::string& relation : relations)
        {
            const std::string id = SourceOf(relation);
            if (!id.empty() && std::find(ids.begin(), ids.end(), id) == ids.end())
            {
                ids.push_back(id);
            }
        }
        return ids;
    };
    out.conflicting = toConstraints(compiled.conflicting);
    out.redundant = toConstraints(compiled.redundant);
    return out;
}

} // namespace qsolver
