// The Python user's sketch: the document and the Sketch API's sketch, kept in step.
#include "PySketch.h"

#include "Core.h"
#include "qsolver/VocabFile.h"

#include <cmath>
#include <fstream>
#include <sstream>

namespace qsolver::python
{

namespace
{

// The file reader refuses larger numbers as typing errors; builders draw the same line, so that
// whatever they build reads back.
constexpr double kMaxMagnitude = 1e9;

std::string Quoted(const std::string& s)
{
    return "'" + s + "'";
}

double FullTurn(const SketchDoc& doc)
{
    return doc.radians ? 4.0 * std::acos(0.0) : 360.0;
}

} // namespace

SolveFailure::SolveFailure(const DriveResult& r)
    : SolveFailure(DriveFailureText(r), DriveStepKey(r.failed), r.message, r.restored)
{
}

SolveFailure::SolveFailure(const std::string& text, std::string stepKey, std::string why,
                           bool wasRestored)
    : std::runtime_error(text), step(std::move(stepKey)), detail(std::move(why)),
      restored(wasRestored)
{
}

const char* DriveStepKey(DriveStep step)
{
    switch (step)
    {
        case DriveStep::None:
            return "none";
        case DriveStep::BadRequest:
            return "bad-request";
        case DriveStep::BuildClusterChain:
            return "build-cluster-chain";
        case DriveStep::SolveNodeChain:
            return "solve-node-chain";
        case DriveStep::SolveClusterChain:
            return "solve-cluster-chain";
        case DriveStep::SolveGoodClusterChain:
            return "solve-good-cluster-chain";
        case DriveStep::SolveGoodNodeChain:
            return "solve-good-node-chain";
        case DriveStep::Verify:
            return "verify";
    }
    return "unknown";
}

std::string DriveFailureText(const DriveResult& result)
{
    std::string text = std::string("drive failed: ") + DriveStepText(result.failed);
    if (!result.message.empty())
    {
        text += " (" + result.message + ")";
    }
    if (result.restored)
    {
        text += "; the sketch was restored";
    }
    return text;
}

PySketch::PySketch(bool radians) : m_live(std::make_unique<Sketch>())
{
    m_doc.radians = radians;
    m_doc.hasUnit = radians;
    m_doc.hasRelations = true;
}

PySketch::~PySketch()
{
    CoreLock lock;
    m_live.reset();
}

std::unique_ptr<PySketch> PySketch::FromDoc(const SketchDoc& doc, const std::string& name)
{
    auto sketch = std::make_unique<PySketch>(doc.radians);
    sketch->m_doc = doc;
    sketch->m_name = name;
    InputError error;
    if (!BuildSketch(sketch->m_doc, name, *sketch->m_live, sketch->m_snapshot, error))
    {
        throw InputFailure(error.Text());
    }
    sketch->Reindex();
    return sketch;
}

std::unique_ptr<PySketch> PySketch::FromJson(const std::string& text, const std::string& name)
{
    if (IsVocabText(text))
    {
        throw InputFailure(name + ": a format 2 sketch (entities and CAD constraints): read it "
                                  "with qsolver.CadSketch");
    }
    SketchDoc doc;
    InputError error;
    if (!ParseSketch(text, name, doc, error))
    {
        throw InputFailure(error.Text());
    }
    return FromDoc(doc, name);
}

std::unique_ptr<PySketch> PySketch::Load(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
    {
        throw FileFailure(path + ": cannot open the file");
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad())
    {
        throw FileFailure(path + ": cannot read the file");
    }
    return FromJson(text.str(), path);
}

std::unique_ptr<PySketch> PySketch::Copy() const
{
    return FromDoc(Doc(), m_name);
}

void PySketch::Save(const std::string& path) const
{
    InputError error;
    if (!WriteFileAtomically(path, ToJson(), error))
    {
        throw FileFailure(error.Text());
    }
}

void PySketch::SetDescription(const std::string& text)
{
    SyncDoc();
    m_doc.description = text;
    m_doc.hasDescription = true;
}

void PySketch::Refuse(const std::string& problem) const
{
    throw InputFailure(problem);
}

void PySketch::RefuseLive() const
{
    Refuse(m_live->LastError());
}

void PySketch::CheckNumber(const std::string& what, double value) const
{
    if (!std::isfinite(value))
    {
        Refuse(what + ": the number is not finite");
    }
    if (std::fabs(value) > kMaxMagnitude)
    {
        Refuse(what + ": the number " + FormatNumber(value) +
               " is absurdly large (the limit is 1e9)");
    }
}

void PySketch::CheckNewId(const std::string& id) const
{
    if (id.empty())
    {
        Refuse("empty id");
    }
    if (m_nodeIndex.count(id) != 0 || m_relIndex.count(id) != 0 || m_valueIndex.count(id) != 0)
    {
        Refuse("duplicate id " + Quoted(id));
    }
}

int PySketch::NodeIndex(const std::string& id) const
{
    auto it = m_nodeIndex.find(id);
    return it == m_nodeIndex.end() ? -1 : it->second;
}

int PySketch::RelationIndex(const std::string& id) const
{
    auto it = m_relIndex.find(id);
    return it == m_relIndex.end() ? -1 : it->second;
}

int PySketch::ValueIndex(const std::string& id) const
{
    auto it = m_valueIndex.find(id);
    return it == m_valueIndex.end() ? -1 : it->second;
}

void PySketch::Reindex()
{
    m_nodeIndex.clear();
    m_relIndex.clear();
    m_valueIndex.clear();
    for (size_t i = 0; i < m_doc.nodes.size(); ++i)
    {
        m_nodeIndex[m_doc.nodes[i].id] = static_cast<int>(i);
    }
    for (size_t i = 0; i < m_doc.relations.size(); ++i)
    {
        m_relIndex[m_doc.relations[i].id] = static_cast<int>(i);
    }
    for (size_t i = 0; i < m_doc.values.size(); ++i)
    {
        m_valueIndex[m_doc.values[i].id] = static_cast<int>(i);
    }
}

std::string PySketch::KindOf(const std::string& id) const
{
    if (int n = NodeIndex(id); n >= 0)
    {
        return DocNodeTypeName(m_doc.nodes[n].type);
    }
    if (int r = RelationIndex(id); r >= 0)
    {
        return DocRelTypeName(m_doc.relations[r].type);
    }
    if (ValueIndex(id) >= 0)
    {
        return "value";
    }
    Refuse("no node, relation or value has the id " + Quoted(id));
}

const DocNode& PySketch::Node(const std::string& id, DocNodeType type) const
{
    SyncDoc();
    const int n = NodeIndex(id);
    if (n < 0)
    {
        Refuse("no node has the id " + Quoted(id));
    }
    const DocNode& node = m_doc.nodes[n];
    if (node.type != type)
    {
        Refuse(Quoted(id) + " is a " + DocNodeTypeName(node.type) + ", not a " +
               DocNodeTypeName(type));
    }
    return node;
}

const DocRelation& PySketch::Relation(const std::string& id) const
{
    const int r = RelationIndex(id);
    if (r < 0)
    {
        Refuse("no relation has the id " + Quoted(id));
    }
    return m_doc.relations[r];
}

double* PySketch::ValueSlot(int relation) const
{
    DocRelation& r = m_doc.relations[relation];
    if (r.type == DocRelType::Rad)
    {
        return &m_doc.nodes[NodeIndex(r.nodes[1])].radius;
    }
    if (!r.shared.empty())
    {
        return &m_doc.values[ValueIndex(r.shared)].value;
    }
    return &r.value;
}

double PySketch::Value(const std::string& id) const
{
    SyncDoc();
    if (int v = ValueIndex(id); v >= 0)
    {
        return m_doc.values[v].value;
    }
    const int r = RelationIndex(id);
    if (r < 0)
    {
        Refuse("no relation or value has the id " + Quoted(id));
    }
    if (m_doc.relations[r].type == DocRelType::Fix)
    {
        Refuse(Quoted(id) + " is a fix: it has no value");
    }
    return *ValueSlot(r);
}

// ---- Builders -------------------------------------------------------------------------------

void PySketch::AddPoint(const std::string& id, double x, double y)
{
    SyncDoc();
    CheckNumber("point " + Quoted(id), x);
    CheckNumber("point " + Quoted(id), y);
    CheckNewId(id);
    if (m_live->AddPoint(id, x, y) == nullptr)
    {
        RefuseLive();
    }
    DocNode node;
    node.id = id;
    node.type = DocNodeType::Point;
    node.x = x;
    node.y = y;
    m_nodeIndex[id] = static_cast<int>(m_doc.nodes.size());
    m_doc.nodes.push_back(node);
    m_stale = true;
}

void PySketch::AddLine(const std::string& id, double px, double py, double dx, double dy,
                       bool dirFixed)
{
    SyncDoc();
    for (double v : {px, py, dx, dy})
    {
        CheckNumber("line " + Quoted(id), v);
    }
    CheckNewId(id);
    if (m_live->AddLine(id, px, py, dx, dy, dirFixed) == nullptr)
    {
        RefuseLive();
    }
    DocNode node;
    node.id = id;
    node.type = DocNodeType::Line;
    node.x = px;
    node.y = py;
    node.dx = dx;
    node.dy = dy;
    node.dirFixed = dirFixed;
    node.hasDirFixed = dirFixed;
    m_nodeIndex[id] = static_cast<int>(m_doc.nodes.size());
    m_doc.nodes.push_back(node);
    m_stale = true;
}

void PySketch::AddCircle(const std::string& id, double cx, double cy, double radius)
{
    SyncDoc();
    for (double v : {cx, cy, radius})
    {
        CheckNumber("circle " + Quoted(id), v);
    }
    if (!(radius > 0.0))
    {
        Refuse("circle " + Quoted(id) + ": a radius must be greater than 0");
    }
    CheckNewId(id);
    if (m_live->AddCircle(id, cx, cy, radius) == nullptr)
    {
        RefuseLive();
    }
    DocNode node;
    node.id = id;
    node.type = DocNodeType::Circle;
    node.x = cx;
    node.y = cy;
    node.radius = radius;
    m_nodeIndex[id] = static_cast<int>(m_doc.nodes.size());
    m_doc.nodes.push_back(node);
    m_stale = true;
}

void PySketch::SetReference(const std::string& nodeId, long long refId)
{
    SyncDoc();
    const int n = NodeIndex(nodeId);
    if (n < 0)
    {
        Refuse("no node has the id " + Quoted(nodeId));
    }
    if (refId < INT32_MIN || refId > INT32_MAX)
    {
        Refuse("node " + Quoted(nodeId) + ": the reference identifier " + std::to_string(refId) +
               " does not fit in 32 bits");
    }
    if (!m_live->SetReference(nodeId, static_cast<int>(refId)))
    {
        RefuseLive();
    }
    m_doc.nodes[n].hasReference = true;
    m_doc.nodes[n].reference = refId;
    m_stale = true;
}

void PySketch::AddValue(const std::string& id, double value, bool known)
{
    SyncDoc();
    CheckNumber("value " + Quoted(id), value);
    CheckNewId(id);
    // The live number is only for checking: a pass rebuilds from the document, which converts
    // a value that angles share into radians.
    if (m_live->AddValue(id, value, known) == nullptr)
    {
        RefuseLive();
    }
    DocValue v;
    v.id = id;
    v.value = value;
    v.known = known;
    v.hasKnown = !known;
    m_valueIndex[id] = static_cast<int>(m_doc.values.size());
    m_doc.values.push_back(v);
    m_doc.hasValues = true;
    m_stale = true;
}

void PySketch::AppendRelation(const DocRelation& rel)
{
    m_relIndex[rel.id] = static_cast<int>(m_doc.relations.size());
    m_doc.relations.push_back(rel);
    m_doc.hasRelations = true;
    m_stale = true;
}

void PySketch::AddFix(const std::string& id, const std::string& node)
{
    SyncDoc();
    CheckNewId(id);
    if (m_live->AddFix(id, node) == nullptr)
    {
        RefuseLive();
    }
    DocRelation rel;
    rel.id = id;
    rel.type = DocRelType::Fix;
    rel.nodes = {node};
    AppendRelation(rel);
}

void PySketch::AddRelation(DocRelType type, const std::string& id, const std::string& a,
                           const std::string& b, const ValueArg& value, bool reverse1,
                           bool reverse2)
{
    SyncDoc();
    const std::string what = "relation " + Quoted(id);
    CheckNewId(id);
    if (value.hasValue == !value.shared.empty())
    {
        Refuse(what + ": give either a value or a shared value, not both or neither");
    }
    if (!value.shared.empty() && !value.known)
    {
        Refuse(what + ": a shared value says whether it is known where it is made (add_value)");
    }
    const bool angle = type == DocRelType::LLang;
    if (value.hasValue)
    {
        CheckNumber(what, value.value);
        if (angle && (value.value < 0.0 || value.value >= FullTurn(m_doc)))
        {
            Refuse(what + ": an angle must lie in [0, " + (m_doc.radians ? "2pi" : "360") + ")");
        }
    }
    else
    {
        // A shared value is one number: an angle and a length cannot share it.
        for (const DocRelation& other : m_doc.relations)
        {
            if (other.shared == value.shared && (other.type == DocRelType::LLang) != angle)
            {
                Refuse(what + ": value " + Quoted(value.shared) +
                       " is shared by an angle and a distance (" + Quoted(other.id) +
                       " and this one)");
            }
        }
    }
    const double number = angle ? AngleToRadians(m_doc, value.value) : value.value;
    const ValueSpec valueSpec =
        value.hasValue ? ValueSpec::Own(number, value.known) : ValueSpec::Shared(value.shared);
    CRel* made = nullptr;
    switch (type)
    {
        case DocRelType::PPdis:
            made = m_live->AddPPdis(id, a, b, valueSpec);
            break;
        case DocRelType::PLdis:
            made = m_live->AddPLdis(id, a, b, valueSpec);
            break;
        case DocRelType::LLdis:
            made = m_live->AddLLdis(id, a, b, valueSpec);
            break;
        case DocRelType::LLang:
            made = m_live->AddLLang(id, a, b, valueSpec, reverse1, reverse2);
            break;
        case DocRelType::Fix:
        case DocRelType::Rad:
            Refuse(what + ": not a relation with a value");
    }
    if (made == nullptr)
    {
        RefuseLive();
    }
    DocRelation rel;
    rel.id = id;
    rel.type = type;
    rel.nodes = {a, b};
    rel.hasValue = value.hasValue;
    rel.value = value.value;
    rel.known = value.known;
    rel.hasKnown = value.hasValue && !value.known;
    rel.shared = value.shared;
    rel.reverse[0] = reverse1;
    rel.reverse[1] = reverse2;
    rel.hasReverse = reverse1 || reverse2;
    AppendRelation(rel);
}

void PySketch::AddRad(const std::string& id, const std::string& node, const std::string& circle)
{
    SyncDoc();
    CheckNewId(id);
    const int n = NodeIndex(node);
    if (n >= 0 && m_doc.nodes[n].type != DocNodeType::Point)
    {
        Refuse("relation " + Quoted(id) + ": node " + Quoted(node) + " is a " +
               DocNodeTypeName(m_doc.nodes[n].type) + ", not a point (the circle's centre)");
    }
    if (m_live->AddRad(id, node, circle) == nullptr)
    {
        RefuseLive();
    }
    DocRelation rel;
    rel.id = id;
    rel.type = DocRelType::Rad;
    rel.nodes = {node, circle};
    AppendRelation(rel);
}

void PySketch::SetValueNode(const std::string& relationId, const std::string& circleId)
{
    SyncDoc();
    const int r = RelationIndex(relationId);
    if (r >= 0 &&
        (m_doc.relations[r].type == DocRelType::Fix || m_doc.relations[r].type == DocRelType::Rad))
    {
        Refuse("relation " + Quoted(relationId) +
               ": only a relation with a value has a value node");
    }
    if (!m_live->SetValueNode(relationId, circleId))
    {
        RefuseLive();
    }
    m_doc.relations[r].valueNode = circleId;
    m_stale = true;
}

void PySketch::RemoveRelation(const std::string& id)
{
    SyncDoc();
    const int r = RelationIndex(id);
    if (!m_live->RemoveRelation(id))
    {
        RefuseLive();
    }
    m_doc.relations.erase(m_doc.relations.begin() + r);
    Reindex();
    m_stale = true;
}

void PySketch::RemoveNode(const std::string& id)
{
    SyncDoc();
    if (!m_live->RemoveNode(id))
    {
        RefuseLive();
    }
    std::vector<DocRelation> kept;
    for (DocRelation& rel : m_doc.relations)
    {
        bool joined = false;
        for (const std::string& n : rel.nodes)
        {
            joined = joined || n == id;
        }
        if (!joined)
        {
            if (rel.valueNode == id)
            {
                rel.valueNode.clear();
            }
            kept.push_back(rel);
        }
    }
    m_doc.relations.swap(kept);
    m_doc.nodes.erase(m_doc.nodes.begin() + NodeIndex(id));
    Reindex();
    m_stale = true;
}

// ---- Passes ---------------------------------------------------------------------------------

Sketch& PySketch::Live()
{
    if (m_stale)
    {
        SyncDoc();
        auto fresh = std::make_unique<Sketch>();
        SketchSnapshot snapshot;
        InputError error;
        if (!BuildSketch(m_doc, m_name, *fresh, snapshot, error))
        {
            // The builders checked every step on the live sketch, so the document builds.
            throw std::logic_error("rebuilding the sketch failed: " + error.Text());
        }
        m_live = std::move(fresh);
        m_snapshot = std::move(snapshot);
        m_stale = false;
    }
    return *m_live;
}

AnalysisResult PySketch::Analyse()
{
    return Live().Analyse();
}

Diagnostics PySketch::Diagnose()
{
    return qsolver::Diagnose(Live());
}

DriveRequest PySketch::PrepareDrive(const std::vector<std::pair<std::string, double>>& changes,
                                    bool nodeChain) const
{
    DriveRequest request;
    request.nodeChain = nodeChain;
    std::vector<const double*> slots;
    for (const auto& [id, value] : changes)
    {
        const std::string what = "change of " + Quoted(id);
        const int r = RelationIndex(id);
        if (r < 0)
        {
            Refuse(what + ": no relation has the id " + Quoted(id));
        }
        const DocRelation& rel = m_doc.relations[r];
        if (rel.type == DocRelType::Fix)
        {
            Refuse(what + ": it is a fix: it has no value to set");
        }
        const bool known =
            rel.shared.empty() ? rel.known : m_doc.values[ValueIndex(rel.shared)].known;
        if (!known)
        {
            Refuse(what + ": its value is unknown: only known dimensions are driven");
        }
        CheckNumber(what, value);
        double number = value;
        if (rel.type == DocRelType::LLang)
        {
            // An angle holds modulo a full turn; the file keeps it in [0, a full turn).
            const double full = FullTurn(m_doc);
            number = std::fmod(value, full);
            number = number < 0.0 ? number + full : number;
            number = number >= full ? 0.0 : number;
        }
        else if (rel.type == DocRelType::Rad ? !(value > 0.0) : value < 0.0)
        {
            Refuse(what + (rel.type == DocRelType::Rad ? ": a radius must be greater than 0"
                                                       : ": a distance cannot be negative"));
        }
        const double* slot = ValueSlot(r);
        for (size_t i = 0; i < slots.size(); ++i)
        {
            if (slots[i] == slot)
            {
                Refuse(what + ": it changes the same value as the change of " +
                       Quoted(changes[i].first));
            }
        }
        slots.push_back(slot);
        const bool angle = rel.type == DocRelType::LLang;
        request.changes.emplace_back(id, angle ? AngleToRadians(m_doc, number) : number);
        request.typed.emplace_back(r, number);
    }
    return request;
}

DriveResult PySketch::RunDrive(const DriveRequest& request)
{
    DriveOptions options;
    options.nodeChain = request.nodeChain;
    options.robust = request.robust;
    const DriveResult result = DriveSketch(Live(), request.changes, options);
    ReleaseClusters();
    return result;
}

void PySketch::FinishDrive(const DriveRequest& request, const DriveResult& result)
{
    if (!result.IsOk())
    {
        return;
    }
    m_docBehind = true;
    m_typed.insert(m_typed.end(), request.typed.begin(), request.typed.end());
}

void PySketch::CheckDrag(const std::string& point, double x, double y) const
{
    PointAt(point);
    CheckNumber("drag of " + Quoted(point), x);
    CheckNumber("drag of " + Quoted(point), y);
}

DragResult PySketch::RunDrag(const std::string& point, double x, double y)
{
    const DragResult result = Live().Drag(point, x, y);
    ReleaseClusters();
    if (result.IsOk())
    {
        m_docBehind = true;
    }
    return result;
}

void PySketch::SyncDoc() const
{
    if (!m_docBehind)
    {
        return;
    }
    UpdateDocFromSketch(*m_live, m_snapshot, m_doc);
    // The numbers as given, not as converted back from radians.
    for (const auto& [relation, value] : m_typed)
    {
        *ValueSlot(relation) = value;
    }
    m_typed.clear();
    m_docBehind = false;
}

std::pair<double, double> PySketch::PointAt(const std::string& id) const
{
    const int n = NodeIndex(id);
    if (n < 0 || m_doc.nodes[n].type != DocNodeType::Point)
    {
        Node(id, DocNodeType::Point); // refuses with the reason
    }
    const CVert* p = m_live->FindPoint(id);
    return {p->m_Pos.x, p->m_Pos.y};
}

std::vector<double> PySketch::AllPoints() const
{
    std::vector<double> xy;
    CNodeList& nodes = m_live->Nodes();
    POSITION pos = nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = nodes.GetNext(pos);
        if (node->GetType() == SKT_NODE_POINT)
        {
            const XYZ& at = static_cast<CVert*>(node)->m_Pos;
            xy.push_back(at.x);
            xy.push_back(at.y);
        }
    }
    return xy;
}

} // namespace qsolver::python
