// The sketch a host owns, and the analysis sequence it runs over it.
#include "qsolver/Sketch.h"
#include "qsolver/SolveEquations.h"

#include "ObjectArena.h"

#include "model/Prefetch.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <unordered_set>

namespace qsolver
{

namespace
{

const std::string kNoId;

const char* TypeName(int type)
{
    switch (type)
    {
        case SKT_NODE_POINT:
            return "point";
        case SKT_NODE_LINE:
            return "line";
        default:
            return "circle";
    }
}

bool AllFinite(std::initializer_list<double> numbers)
{
    for (double n : numbers)
    {
        if (!std::isfinite(n))
        {
            return false;
        }
    }
    return true;
}

void EraseId(std::vector<std::string>& ids, const std::string& id)
{
    auto it = std::find(ids.begin(), ids.end(), id);
    if (it != ids.end())
    {
        ids.erase(it);
    }
}

} // namespace

const char* VerdictText(Verdict verdict)
{
    switch (verdict)
    {
        case Verdict::Ok:
            return "well constrained or under-constrained";
        case Verdict::OverConstrained:
            return "over-constrained";
        case Verdict::FixedContradiction:
            return "contradiction in fixed geometry";
        case Verdict::SeedContradiction:
            return "contradiction while seeding clusters";
    }
    return "unknown";
}

const char* VerdictWord(Verdict verdict)
{
    switch (verdict)
    {
        case Verdict::Ok:
            return "ok";
        case Verdict::OverConstrained:
            return "over-constrained";
        case Verdict::FixedContradiction:
            return "fixed-contradiction";
        case Verdict::SeedContradiction:
            return "seed-contradiction";
    }
    return "unknown";
}

Sketch::Sketch()
    : m_objects(std::make_unique<ObjectArena>()), m_index(std::make_unique<ObjectArena>()),
      m_nodeById(detail::ArenaAllocator<std::pair<const std::string, CNode*>>(m_index.get())),
      m_relById(detail::ArenaAllocator<std::pair<const std::string, CRel*>>(m_index.get())),
      m_valueById(detail::ArenaAllocator<std::pair<const std::string, CVal*>>(m_index.get())),
      m_idOf(detail::ArenaAllocator<std::pair<const void* const, std::string>>(m_index.get()))
{
}

Sketch::~Sketch()
{
    // Relations are cut from their nodes first. Nodes go next: a circle whose radius is still
    // shared leaves it to the last radius relation. Named values are ours, so relations let go
    // of them before they are deleted.
    POSITION pos = m_rels.GetHeadPosition();
    while (pos != nullptr)
    {
        m_rels.GetNext(pos)->CutRelWithNode();
    }
    pos = m_nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        m_objects->Destroy(m_nodes.GetNext(pos));
    }
    m_nodes.RemoveAll();
    const std::unordered_set<CVal*> named(m_values.begin(), m_values.end());
    pos = m_rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = m_rels.GetNext(pos);
        if (rel->m_pVal != nullptr && named.count(rel->m_pVal) != 0)
        {
            RemoveFromList(rel, rel->m_pVal->m_RelSel);
            rel->m_pVal = nullptr;
        }
        m_objects->Destroy(rel);
    }
    m_rels.RemoveAll();
    for (CVal* value : m_values)
    {
        delete value;
    }
}

bool Sketch::Fail(const std::string& message)
{
    m_error = message;
    return false;
}

bool Sketch::ClaimId(const std::string& id)
{
    if (id.empty())
    {
        return Fail("empty id");
    }
    if (m_nodeById.count(id) != 0 || m_relById.count(id) != 0 || m_valueById.count(id) != 0)
    {
        return Fail("duplicate id '" + id + "'");
    }
    return true;
}

CVert* Sketch::AddPoint(const std::string& id, double x, double y)
{
    if (!AllFinite({x, y}))
    {
        Fail("point '" + id + "': coordinates are not finite");
        return nullptr;
    }
    if (!ClaimId(id))
    {
        return nullptr;
    }
    CVert* point = m_objects->Make<CVert>(x, y, 0.0);
    m_nodes.AddTail(point);
    m_nodeIds.push_back(id);
    m_nodeById[id] = point;
    m_idOf[point] = id;
    return point;
}

CMathline* Sketch::AddLine(const std::string& id, double px, double py, double dx, double dy,
                           bool dirFixed)
{
    if (!AllFinite({px, py, dx, dy}))
    {
        Fail("line '" + id + "': coordinates are not finite");
        return nullptr;
    }
    // Exact: only a true zero vector has no direction.
    if (dx == 0.0 && dy == 0.0)
    {
        Fail("line '" + id + "' has no direction");
        return nullptr;
    }
    if (!ClaimId(id))
    {
        return nullptr;
    }
    CMathline* line = m_objects->Make<CMathline>();
    line->m_Line.Set(XYZ(px, py, 0.0), VECTOR(dx, dy, 0.0));
    line->m_bDirFixed = dirFixed ? 1 : 0;
    m_nodes.AddTail(line);
    m_nodeIds.push_back(id);
    m_nodeById[id] = line;
    m_idOf[line] = id;
    return line;
}

CMathcir* Sketch::AddCircle(const std::string& id, double cx, double cy, double radius)
{
    if (!AllFinite({cx, cy, radius}))
    {
        Fail("circle '" + id + "': coordinates are not finite");
        return nullptr;
    }
    if (!ClaimId(id))
    {
        return nullptr;
    }
    CMathcir* circle = m_objects->Make<CMathcir>(XYZ(cx, cy, 0.0), radius);
    if (circle->m_pRadiusVal != nullptr)
    {
        m_radiusValues.push_back(circle->m_pRadiusVal);
    }
    m_nodes.AddTail(circle);
    m_nodeIds.push_back(id);
    m_nodeById[id] = circle;
    m_idOf[circle] = id;
    return circle;
}

bool Sketch::SetReference(const std::string& nodeId, int refId)
{
    CNode* node = FindNode(nodeId);
    if (node == nullptr)
    {
        return Fail("unknown node '" + nodeId + "'");
    }
    if (node->m_pRefID == nullptr)
    {
        node->m_pRefID = new int(refId);
    }
    else
    {
        *node->m_pRefID = refId;
    }
    return true;
}

CVal* Sketch::AddValue(const std::string& id, double value, bool known)
{
    if (!AllFinite({value}))
    {
        Fail("value '" + id + "' is not finite");
        return nullptr;
    }
    if (!ClaimId(id))
    {
        return nullptr;
    }
    CVal* val = new CVal();
    val->SetValue(value);
    val->m_bKnown = known ? 1 : 0;
    m_values.push_back(val);
    m_valueIds.push_back(id);
    m_valueById[id] = val;
    m_idOf[val] = id;
    return val;
}

CNode* Sketch::NodeOfType(const std::string& relId, const std::string& nodeId, int type,
                          const char* what)
{
    CNode* node = FindNode(nodeId);
    if (node == nullptr)
    {
        Fail("relation '" + relId + "': unknown node '" + nodeId + "'");
        return nullptr;
    }
    if (type != 0 && node->GetType() != type)
    {
        Fail("relation '" + relId + "': node '" + nodeId + "' is a " + TypeName(node->GetType()) +
             ", not a " + what);
        return nullptr;
    }
    return node;
}

CVal* Sketch::ResolveValue(const std::string& relId, const ValueSpec& value)
{
    if (!value.radiusOf.empty())
    {
        CMathcir* circle = FindCircle(value.radiusOf);
        if (circle == nullptr || circle->m_pRadiusVal == nullptr)
        {
            Fail("relation '" + relId + "': no circle '" + value.radiusOf + "' with a radius");
            return nullptr;
        }
        return circle->m_pRadiusVal;
    }
    CVal* val = FindValue(value.shared);
    if (val == nullptr)
    {
        Fail("relation '" + relId + "': unknown value '" + value.shared + "'");
    }
    return val;
}

CRel* Sketch::Register(const std::string& id, CRel* rel, bool ownValue)
{
    // A value a relation made for itself is held by no other object of ours.
    if (ownValue && rel->m_pVal != nullptr)
    {
        m_ownValues.push_back(rel->m_pVal);
    }
    rel->m_pNode1->AddRel(rel);
    if (rel->m_pNode2 != nullptr)
    {
        rel->m_pNode2->AddRel(rel);
    }
    m_rels.AddTail(rel);
    m_relIds.push_back(id);
    m_relById[id] = rel;
    m_idOf[rel] = id;
    return rel;
}

CRel* Sketch::AddFix(const std::string& id, const std::string& node)
{
    if (!ClaimId(id))
    {
        return nullptr;
    }
    CNode* n = NodeOfType(id, node, 0, "node");
    if (n == nullptr)
    {
        return nullptr;
    }
    CRel* fix = Register(id, m_objects->Make<CFix>(n));
    m_fixedNodes.push_back(n);
    return fix;
}

CRel* Sketch::AddDistance(const std::string& id, const End& first, const End& second,
                          const ValueSpec& value, MakeDistance make)
{
    if (!ClaimId(id))
    {
        return nullptr;
    }
    if (value.IsOwn() && !AllFinite({value.value}))
    {
        Fail("relation '" + id + "': value is not finite");
        return nullptr;
    }
    if (first.id == second.id)
    {
        Fail("relation '" + id + "' joins '" + first.id + "' to itself");
        return nullptr;
    }
    if (value.IsOwn() && value.value < 0.0)
    {
        Fail("relation '" + id + "': a distance cannot be negative");
        return nullptr;
    }
    CNode* a = NodeOfType(id, first.id, first.type, first.kind);
    CNode* b = a != nullptr ? NodeOfType(id, second.id, second.type, second.kind) : nullptr;
    if (b == nullptr)
    {
        return nullptr;
    }
    if (value.IsOwn())
    {
        return Register(id, make(*m_objects, a, b, value, nullptr), true);
    }
    CVal* val = ResolveValue(id, value);
    return val != nullptr ? Register(id, make(*m_objects, a, b, value, val)) : nullptr;
}

namespace
{
// A distance relation of class Rel between nodes of classes A and B, with its own value or the
// shared one.
template <class Rel, class A, class B>
CRel* MakeDistanceRel(ObjectArena& objects, CNode* a, CNode* b, const ValueSpec& v, CVal* shared)
{
    auto* first = static_cast<A*>(a);
    auto* second = static_cast<B*>(b);
    return shared != nullptr ? objects.Make<Rel>(first, second, shared)
                             : objects.Make<Rel>(first, second, v.value,
                                                 static_cast<unsigned char>(v.known ? 1 : 0));
}
} // namespace

CRel* Sketch::AddPPdis(const std::string& id, const std::string& pointA, const std::string& pointB,
                       const ValueSpec& value)
{
    return AddDistance(id, {pointA, SKT_NODE_POINT, "point"}, {pointB, SKT_NODE_POINT, "point"},
                       value, &MakeDistanceRel<CPPdis, CVert, CVert>);
}

CRel* Sketch::AddPLdis(const std::string& id, const std::string& point, const std::string& line,
                       const ValueSpec& value)
{
    return AddDistance(id, {point, SKT_NODE_POINT, "point"}, {line, SKT_NODE_LINE, "line"}, value,
                       &MakeDistanceRel<CPLdis, CVert, CMathline>);
}

CRel* Sketch::AddLLdis(const std::string& id, const std::string& lineA, const std::string& lineB,
                       const ValueSpec& value)
{
    return AddDistance(id, {lineA, SKT_NODE_LINE, "line"}, {lineB, SKT_NODE_LINE, "line"}, value,
                       &MakeDistanceRel<CLLdis, CMathline, CMathline>);
}

CRel* Sketch::AddLLang(const std::string& id, const std::string& lineA, const std::string& lineB,
                       const ValueSpec& value, bool reverse1, bool reverse2)
{
    if (!ClaimId(id))
    {
        return nullptr;
    }
    if (value.shared.empty() && !AllFinite({value.value}))
    {
        Fail("relation '" + id + "': value is not finite");
        return nullptr;
    }
    if (lineA == lineB)
    {
        Fail("relation '" + id + "' joins '" + lineA + "' to itself");
        return nullptr;
    }
    auto* a = static_cast<CMathline*>(NodeOfType(id, lineA, SKT_NODE_LINE, "line"));
    auto* b = a != nullptr ? static_cast<CMathline*>(NodeOfType(id, lineB, SKT_NODE_LINE, "line"))
                           : nullptr;
    if (b == nullptr)
    {
        return nullptr;
    }
    CRel* rel = nullptr;
    if (value.shared.empty())
    {
        rel = m_objects->Make<CLLang>(a, b, value.value,
                                      static_cast<unsigned char>(value.known ? 1 : 0));
    }
    else
    {
        CVal* val = ResolveValue(id, value);
        if (val == nullptr)
        {
            return nullptr;
        }
        // The angle class has no sharing constructor: join the value as that constructor would.
        rel = m_objects->Make<CLLang>();
        rel->m_pNode1 = a;
        rel->m_pNode2 = b;
        rel->m_pVal = val;
        val->m_RelSel.AddTail(rel);
        val->m_bAngle = 1;
    }
    rel->m_bReverse1 = reverse1 ? 1 : 0;
    rel->m_bReverse2 = reverse2 ? 1 : 0;
    return Register(id, rel, value.shared.empty());
}

CRel* Sketch::AddRad(const std::string& id, const std::string& node, const std::string& circle)
{
    if (!ClaimId(id))
    {
        return nullptr;
    }
    CNode* n = NodeOfType(id, node, 0, "node");
    CNode* c = n != nullptr ? NodeOfType(id, circle, SKT_NODE_CIRCLE, "circle") : nullptr;
    if (c == nullptr)
    {
        return nullptr;
    }
    if (static_cast<CMathcir*>(c)->m_pRadiusVal == nullptr)
    {
        Fail("relation '" + id + "': circle '" + circle + "' has no radius value");
        return nullptr;
    }
    return Register(id, m_objects->Make<CRad>(n, c));
}

bool Sketch::SetValueNode(const std::string& relationId, const std::string& circleId)
{
    CRel* rel = FindRelation(relationId);
    if (rel == nullptr)
    {
        return Fail("unknown relation '" + relationId + "'");
    }
    CNode* circle = NodeOfType(relationId, circleId, SKT_NODE_CIRCLE, "circle");
    if (circle == nullptr)
    {
        return false;
    }
    rel->m_pValueNode = circle;
    return true;
}

// Deletes a relation already out of our lists. Values the sketch or a circle keeps are let go
// of by hand first: the relation would delete them as their last user.
void Sketch::ReleaseRelation(CRel* rel)
{
    rel->CutRelWithNode();
    CVal* val = rel->m_pVal;
    if (val != nullptr)
    {
        const bool named = std::find(m_values.begin(), m_values.end(), val) != m_values.end();
        // Not only rad relations: points on a circle and tangents share its radius too.
        const bool radius =
            std::find(m_radiusValues.begin(), m_radiusValues.end(), val) != m_radiusValues.end();
        if (named || radius)
        {
            RemoveFromList(rel, val->m_RelSel);
            rel->m_pVal = nullptr;
        }
    }
    RemoveFromList(rel, g_sktDriveRelChain);
    if (rel->GetType() == SKT_REL_FIX)
    {
        auto fixed = std::find(m_fixedNodes.begin(), m_fixedNodes.end(), rel->m_pNode1);
        if (fixed != m_fixedNodes.end())
        {
            m_fixedNodes.erase(fixed);
        }
    }
    if (rel->m_pVal != nullptr)
    {
        // Its own value goes with it.
        auto own = std::find(m_ownValues.begin(), m_ownValues.end(), rel->m_pVal);
        if (own != m_ownValues.end())
        {
            m_ownValues.erase(own);
        }
    }
    m_objects->Destroy(rel);
}

bool Sketch::RemoveRelation(const std::string& id)
{
    CRel* rel = FindRelation(id);
    if (rel == nullptr)
    {
        return Fail("unknown relation '" + id + "'");
    }
    RemoveFromList(rel, m_rels);
    EraseId(m_relIds, id);
    m_relById.erase(id);
    m_idOf.erase(rel);
    ReleaseRelation(rel);
    return true;
}

bool Sketch::RemoveNode(const std::string& id)
{
    CNode* node = FindNode(id);
    if (node == nullptr)
    {
        return Fail("unknown node '" + id + "'");
    }
    // Each removal takes the relation out of this node's list.
    while (!node->m_RelList.IsEmpty())
    {
        RemoveRelation(IdOf(node->m_RelList.GetHead()));
    }
    POSITION pos = m_rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = m_rels.GetNext(pos);
        if (rel->m_pValueNode == node)
        {
            rel->m_pValueNode = nullptr;
        }
    }
    RemoveFromList(node, m_nodes);
    EraseId(m_nodeIds, id);
    m_nodeById.erase(id);
    m_idOf.erase(node);
    if (node->GetType() == SKT_NODE_CIRCLE)
    {
        auto radius = std::find(m_radiusValues.begin(), m_radiusValues.end(),
                                static_cast<CMathcir*>(node)->m_pRadiusVal);
        if (radius != m_radiusValues.end())
        {
            m_radiusValues.erase(radius);
        }
    }
    m_objects->Destroy(node);
    return true;
}

bool Sketch::RemoveValue(const std::string& id)
{
    CVal* val = FindValue(id);
    if (val == nullptr)
    {
        return Fail("unknown value '" + id + "'");
    }
    if (!val->m_RelSel.IsEmpty())
    {
        return Fail("value '" + id + "' is shared by relation '" + IdOf(val->m_RelSel.GetHead()) +
                    "'");
    }
    m_values.erase(std::find(m_values.begin(), m_values.end(), val));
    EraseId(m_valueIds, id);
    m_valueById.erase(id);
    m_idOf.erase(val);
    delete val;
    return true;
}

CNode* Sketch::FindNode(const std::string& id) const
{
    auto it = m_nodeById.find(id);
    return it != m_nodeById.end() ? it->second : nullptr;
}

CVert* Sketch::FindPoint(const std::string& id) const
{
    CNode* node = FindNode(id);
    return node != nullptr && node->GetType() == SKT_NODE_POINT ? static_cast<CVert*>(node)
                                                                : nullptr;
}

CMathline* Sketch::FindLine(const std::string& id) const
{
    CNode* node = FindNode(id);
    return node != nullptr && node->GetType() == SKT_NODE_LINE ? static_cast<CMathline*>(node)
                                                               : nullptr;
}

CMathcir* Sketch::FindCircle(const std::string& id) const
{
    CNode* node = FindNode(id);
    return node != nullptr && node->GetType() == SKT_NODE_CIRCLE ? static_cast<CMathcir*>(node)
                                                                 : nullptr;
}

CRel* Sketch::FindRelation(const std::string& id) const
{
    auto it = m_relById.find(id);
    return it != m_relById.end() ? it->second : nullptr;
}

CVal* Sketch::FindValue(const std::string& id) const
{
    auto it = m_valueById.find(id);
    return it != m_valueById.end() ? it->second : nullptr;
}

const std::string& Sketch::IdOf(const void* object) const
{
    auto it = m_idOf.find(object);
    return it != m_idOf.end() ? it->second : kNoId;
}

// Named values, circle radii, then the relations' own values: each group in creation order,
// and no value in two groups, so the list has each value once.
template <class F> void Sketch::ForEachValue(F&& f) const
{
    for (CVal* val : m_values)
    {
        f(val);
    }
    for (CVal* val : m_radiusValues)
    {
        f(val);
    }
    for (CVal* val : m_ownValues)
    {
        f(val);
    }
}

std::vector<CVal*> Sketch::AllValues() const
{
    std::vector<CVal*> all;
    all.reserve(m_values.size() + m_radiusValues.size() + m_ownValues.size());
    ForEachValue([&](CVal* val) { all.push_back(val); });
    return all;
}

std::vector<CVal*> Sketch::AllValuesByWalk() const
{
    std::vector<CVal*> all;
    std::unordered_set<CVal*> seen;
    auto take = [&](CVal* val)
    {
        if (val != nullptr && seen.insert(val).second)
        {
            all.push_back(val);
        }
    };
    for (CVal* val : m_values)
    {
        take(val);
    }
    POSITION pos = m_nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = m_nodes.GetNext(pos);
        if (node->GetType() == SKT_NODE_CIRCLE)
        {
            take(static_cast<CMathcir*>(node)->m_pRadiusVal);
        }
    }
    pos = m_rels.GetHeadPosition();
    while (pos != nullptr)
    {
        take(m_rels.GetNext(pos)->m_pVal);
    }
    return all;
}

namespace
{
// A host backs up every node and value of a large sketch: asking for the objects a few steps
// ahead lets the waits for memory overlap where a host made them out of order.
constexpr int kBackupLookahead = 8;

void BackupValues(const std::vector<CVal*>& values)
{
    const std::size_t count = values.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        if (i + kBackupLookahead < count)
        {
            sktPrefetch(values[i + kBackupLookahead]);
        }
        values[i]->BackupValue();
        values[i]->BackupKnownFlag();
    }
}
} // namespace

void Sketch::BackupAll()
{
    CLookahead ahead(m_nodes, kBackupLookahead);
    POSITION pos = m_nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        sktPrefetch(ahead.Next());
        m_nodes.GetNext(pos)->BackupNode();
    }
    // The same order as ForEachValue.
    BackupValues(m_values);
    BackupValues(m_radiusValues);
    BackupValues(m_ownValues);
}

void Sketch::RestoreAll()
{
    POSITION pos = m_nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        m_nodes.GetNext(pos)->RestoreNode();
    }
    ForEachValue(
        [](CVal* val)
        {
            val->RestoreValue();
            val->RestoreKnownFlag();
        });
}

} // namespace qsolver
