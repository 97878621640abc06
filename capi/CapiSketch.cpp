// The C API over the Sketch API. Every entry point runs its body through Call, which catches
// everything at the boundary: a C caller cannot unwind a C++ exception, so allocation failure
// and anything unexpected become status codes and the handle's error text.
#include "qsolver/qsolver_c.h"

#include "CapiCall.h"
#include "CapiDocument.h"
#include "qsolver/Diagnostics.h"
#include "qsolver/Drag.h"
#include "qsolver/Sketch.h"
#include "qsolver/SketchDrive.h"
#include "qsolver/SketchFile.h"

#include <cmath>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

using qsolver::Sketch;
using namespace qsolver::capi;

struct qsolver_sketch
{
    std::unique_ptr<Sketch> sketch;
    /// The document the sketch was loaded from: its unit, description and optional fields are
    /// kept when the sketch is saved.
    qsolver::SketchDoc loaded;

    bool analysed = false;
    qsolver::AnalysisResult analysis;
    std::unordered_map<std::string, int> clusterOf;
    // Filled by Diagnose after each analysis: freedoms, node statuses, conflicting and
    // redundant relations.
    bool diagnosed = false;
    qsolver::Diagnostics diagnostics;

    std::string error;
    /// Set instead of `error` when there was no memory to write it.
    const char* fixedError = nullptr;
    /// The last string handed out (saved text).
    std::string text;
    /// An allocation failed half-way through a change: the sketch may be inconsistent, so only
    /// destroy is still accepted.
    bool broken = false;
};

namespace
{

// The results of the last analysis describe the sketch as it was; any change drops them.
void Changed(qsolver_sketch& h)
{
    h.analysed = false;
    h.analysis = qsolver::AnalysisResult();
    h.clusterOf.clear();
    h.diagnosed = false;
    h.diagnostics = qsolver::Diagnostics();
}

bool Taken(const Sketch& s, const std::string& id)
{
    return s.FindNode(id) != nullptr || s.FindRelation(id) != nullptr || s.FindValue(id) != nullptr;
}

// The checks every builder shares: arguments present, the id free.
int CheckNewId(qsolver_sketch& h, const char* id)
{
    if (id == nullptr)
    {
        return Fail(h, QSOLVER_ERR_ARGUMENT, "no id given");
    }
    if (*id == '\0' || Taken(*h.sketch, id))
    {
        return Fail(h, QSOLVER_ERR_DUPLICATE_ID,
                    *id == '\0' ? "empty id" : "duplicate id '" + std::string(id) + "'");
    }
    return QSOLVER_OK;
}

int CheckNode(qsolver_sketch& h, const char* id)
{
    if (id == nullptr)
    {
        return Fail(h, QSOLVER_ERR_ARGUMENT, "no node id given");
    }
    if (h.sketch->FindNode(id) == nullptr)
    {
        return Fail(h, QSOLVER_ERR_UNKNOWN_ID, "unknown node '" + std::string(id) + "'");
    }
    return QSOLVER_OK;
}

// A builder's answer: the Sketch API refuses with its own message and changes nothing.
int Built(qsolver_sketch& h, bool made)
{
    Changed(h);
    return made ? QSOLVER_OK : Fail(h, QSOLVER_ERR_REFUSED, h.sketch->LastError());
}

int AddRelation(qsolver_sketch& h, const char* id, int kind, const char* node1, const char* node2,
                const qsolver::ValueSpec& value, int flags)
{
    if (int status = CheckNewId(h, id))
    {
        return status;
    }
    if (kind < QSOLVER_REL_FIX || kind > QSOLVER_REL_RAD)
    {
        return Fail(h, QSOLVER_ERR_ARGUMENT, "relation kind " + std::to_string(kind) + " unknown");
    }
    if (int status = CheckNode(h, node1))
    {
        return status;
    }
    if (kind != QSOLVER_REL_FIX)
    {
        if (int status = CheckNode(h, node2))
        {
            return status;
        }
    }
    if (!value.shared.empty() && h.sketch->FindValue(value.shared) == nullptr)
    {
        return Fail(h, QSOLVER_ERR_UNKNOWN_ID, "unknown value '" + value.shared + "'");
    }
    Sketch& s = *h.sketch;
    CRel* rel = nullptr;
    switch (kind)
    {
        case QSOLVER_REL_FIX:
            rel = s.AddFix(id, node1);
            break;
        case QSOLVER_REL_PPDIS:
            rel = s.AddPPdis(id, node1, node2, value);
            break;
        case QSOLVER_REL_PLDIS:
            rel = s.AddPLdis(id, node1, node2, value);
            break;
        case QSOLVER_REL_LLDIS:
            rel = s.AddLLdis(id, node1, node2, value);
            break;
        case QSOLVER_REL_LLANG:
            rel = s.AddLLang(id, node1, node2, value, (flags & QSOLVER_REVERSE1) != 0,
                             (flags & QSOLVER_REVERSE2) != 0);
            break;
        default:
            rel = s.AddRad(id, node1, node2);
            break;
    }
    return Built(h, rel != nullptr);
}

// The clusters stay in the solver's lists after a drive until the next pass; nothing of this
// sketch may outlive it there.
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

int ToVerdict(qsolver::Verdict verdict)
{
    switch (verdict)
    {
        case qsolver::Verdict::Ok:
            return QSOLVER_VERDICT_OK;
        case qsolver::Verdict::OverConstrained:
            return QSOLVER_VERDICT_OVER_CONSTRAINED;
        case qsolver::Verdict::FixedContradiction:
            return QSOLVER_VERDICT_FIXED_CONTRADICTION;
        case qsolver::Verdict::SeedContradiction:
            break;
    }
    return QSOLVER_VERDICT_SEED_CONTRADICTION;
}

// The ids of a list, or null with the handle's error set.
const std::vector<std::string>* ListOf(qsolver_sketch& h, int list, int& status)
{
    status = QSOLVER_OK;
    switch (list)
    {
        case QSOLVER_LIST_NODES:
            return &h.sketch->NodeIds();
        case QSOLVER_LIST_RELATIONS:
            return &h.sketch->RelationIds();
        case QSOLVER_LIST_VALUES:
            return &h.sketch->ValueIds();
        case QSOLVER_LIST_STRIPPED:
        case QSOLVER_LIST_UNSEEDED:
            if (!h.analysed)
            {
                status = Fail(h, QSOLVER_ERR_NO_ANALYSIS, "the sketch has not been analysed");
                return nullptr;
            }
            return list == QSOLVER_LIST_STRIPPED ? &h.analysis.stripped : &h.analysis.unseeded;
        case QSOLVER_LIST_CONFLICTING:
        case QSOLVER_LIST_REDUNDANT:
            if (!h.diagnosed)
            {
                status = Fail(h, QSOLVER_ERR_NO_ANALYSIS, "the sketch has not been analysed");
                return nullptr;
            }
            return list == QSOLVER_LIST_CONFLICTING ? &h.diagnostics.conflicting
                                                    : &h.diagnostics.redundant;
        default:
            status = Fail(h, QSOLVER_ERR_ARGUMENT, "list " + std::to_string(list) + " unknown");
            return nullptr;
    }
}

} // namespace

// C linkage comes from the declarations in qsolver_c.h.

qsolver_sketch* qsolver_sketch_create(void)
{
    return CreateHandle<qsolver_sketch>([] { return new Sketch(); });
}

void qsolver_sketch_destroy(qsolver_sketch* sketch)
{
    DestroyHandle(sketch);
}

const char* qsolver_sketch_last_error(const qsolver_sketch* sketch)
{
    return LastError(sketch);
}

const char* qsolver_status_text(int status)
{
    switch (status)
    {
        case QSOLVER_OK:
            return "ok";
        case QSOLVER_ERR_ARGUMENT:
            return "bad argument";
        case QSOLVER_ERR_JSON:
            return "bad sketch text";
        case QSOLVER_ERR_UNKNOWN_ID:
            return "unknown id";
        case QSOLVER_ERR_DUPLICATE_ID:
            return "duplicate id";
        case QSOLVER_ERR_REFUSED:
            return "refused";
        case QSOLVER_ERR_SOLVER:
            return "the solver failed; the sketch was restored";
        case QSOLVER_ERR_NO_ANALYSIS:
            return "no analysis yet";
        case QSOLVER_ERR_RANGE:
            return "index out of range";
        case QSOLVER_ERR_UNSUPPORTED:
            return "not supported by this build";
        case QSOLVER_ERR_NO_MEMORY:
            return "out of memory";
        case QSOLVER_ERR_INTERNAL:
            return "internal error";
        default:
            return "unknown status";
    }
}

int qsolver_sketch_load_json(qsolver_sketch* sketch, const char* text, size_t length)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (text == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no text given");
                    }
                    // Built aside and swapped in, so a refused text leaves the sketch as it
                    // was (and an allocation failure too: hence Effect::Reads).
                    qsolver::SketchDoc doc;
                    qsolver::InputError error;
                    auto fresh = std::make_unique<Sketch>();
                    qsolver::SketchSnapshot built;
                    if (!qsolver::ParseSketch(std::string(text, length), "sketch", doc, error) ||
                        !qsolver::BuildSketch(doc, "sketch", *fresh, built, error))
                    {
                        return Fail(h, QSOLVER_ERR_JSON, error.Text());
                    }
                    h.sketch.swap(fresh);
                    h.loaded = std::move(doc);
                    Changed(h);
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_save_json(qsolver_sketch* sketch, const char** text, size_t* length)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (text == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the text given");
                    }
                    h.text = qsolver::FormatSketch(qsolver::DocFromSketch(*h.sketch, h.loaded));
                    *text = h.text.c_str();
                    if (length != nullptr)
                    {
                        *length = h.text.size();
                    }
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_add_point(qsolver_sketch* sketch, const char* id, double x, double y)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (int status = CheckNewId(h, id))
                    {
                        return status;
                    }
                    return Built(h, h.sketch->AddPoint(id, x, y) != nullptr);
                });
}

int qsolver_sketch_add_line(qsolver_sketch* sketch, const char* id, double px, double py, double dx,
                            double dy, int dir_fixed)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (int status = CheckNewId(h, id))
                    {
                        return status;
                    }
                    return Built(h,
                                 h.sketch->AddLine(id, px, py, dx, dy, dir_fixed != 0) != nullptr);
                });
}

int qsolver_sketch_add_circle(qsolver_sketch* sketch, const char* id, double cx, double cy,
                              double radius)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (int status = CheckNewId(h, id))
                    {
                        return status;
                    }
                    return Built(h, h.sketch->AddCircle(id, cx, cy, radius) != nullptr);
                });
}

int qsolver_sketch_set_reference(qsolver_sketch* sketch, const char* node_id, int ref_id)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (int status = CheckNode(h, node_id))
                    {
                        return status;
                    }
                    return Built(h, h.sketch->SetReference(node_id, ref_id));
                });
}

int qsolver_sketch_add_value(qsolver_sketch* sketch, const char* id, double value, int known)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (int status = CheckNewId(h, id))
                    {
                        return status;
                    }
                    return Built(h, h.sketch->AddValue(id, value, known != 0) != nullptr);
                });
}

int qsolver_sketch_add_relation(qsolver_sketch* sketch, const char* id, int kind, const char* node1,
                                const char* node2, double value, int flags)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    return AddRelation(
                        h, id, kind, node1, node2,
                        qsolver::ValueSpec::Own(value, (flags & QSOLVER_VALUE_UNKNOWN) == 0),
                        flags);
                });
}

int qsolver_sketch_add_shared_relation(qsolver_sketch* sketch, const char* id, int kind,
                                       const char* node1, const char* node2, const char* value_id,
                                       int flags)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (value_id == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no value id given");
                    }
                    if (kind == QSOLVER_REL_FIX || kind == QSOLVER_REL_RAD)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT,
                                    "only a distance or an angle shares a value");
                    }
                    return AddRelation(h, id, kind, node1, node2,
                                       qsolver::ValueSpec::Shared(value_id), flags);
                });
}

int qsolver_sketch_set_value_node(qsolver_sketch* sketch, const char* relation_id,
                                  const char* circle_id)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (relation_id == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no relation id given");
                    }
                    if (h.sketch->FindRelation(relation_id) == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    "unknown relation '" + std::string(relation_id) + "'");
                    }
                    if (int status = CheckNode(h, circle_id))
                    {
                        return status;
                    }
                    return Built(h, h.sketch->SetValueNode(relation_id, circle_id));
                });
}

int qsolver_sketch_remove(qsolver_sketch* sketch, const char* id)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (id == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no id given");
                    }
                    Sketch& s = *h.sketch;
                    if (s.FindNode(id) != nullptr)
                    {
                        return Built(h, s.RemoveNode(id));
                    }
                    if (s.FindRelation(id) != nullptr)
                    {
                        return Built(h, s.RemoveRelation(id));
                    }
                    if (s.FindValue(id) != nullptr)
                    {
                        return Built(h, s.RemoveValue(id));
                    }
                    return Fail(h, QSOLVER_ERR_UNKNOWN_ID, "unknown id '" + std::string(id) + "'");
                });
}

int qsolver_sketch_analyse(qsolver_sketch* sketch, int* verdict)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    Changed(h);
                    h.analysis = h.sketch->Analyse();
                    for (size_t c = 0; c < h.analysis.clusters.size(); ++c)
                    {
                        for (const std::string& node : h.analysis.clusters[c].nodes)
                        {
                            h.clusterOf[node] = static_cast<int>(c);
                        }
                    }
                    h.analysed = true;
                    h.diagnostics = qsolver::Diagnose(*h.sketch);
                    h.diagnosed = true;
                    if (verdict != nullptr)
                    {
                        *verdict = ToVerdict(h.analysis.verdict);
                    }
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_drive(qsolver_sketch* sketch, const char* const* relation_ids,
                         const double* values, size_t count)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (count > 0 && (relation_ids == nullptr || values == nullptr))
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no relations or values given");
                    }
                    std::vector<std::pair<std::string, double>> changes;
                    for (size_t i = 0; i < count; ++i)
                    {
                        if (relation_ids[i] == nullptr)
                        {
                            return Fail(h, QSOLVER_ERR_ARGUMENT, "no relation id given");
                        }
                        if (h.sketch->FindRelation(relation_ids[i]) == nullptr)
                        {
                            return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                        "unknown relation '" + std::string(relation_ids[i]) + "'");
                        }
                        changes.emplace_back(relation_ids[i], values[i]);
                    }
                    Changed(h);
                    const qsolver::DriveResult result = h.sketch->Drive(changes);
                    ReleaseClusters();
                    if (result.IsOk())
                    {
                        return QSOLVER_OK;
                    }
                    if (result.failed == qsolver::DriveStep::BadRequest)
                    {
                        return Fail(h, QSOLVER_ERR_REFUSED, result.message);
                    }
                    std::string why = qsolver::DriveStepText(result.failed);
                    if (!result.message.empty())
                    {
                        why += " (" + result.message + ")";
                    }
                    if (!result.restored)
                    {
                        // Never report a half-solved sketch as restored.
                        h.broken = true;
                        return Fail(h, QSOLVER_ERR_INTERNAL, why + "; the sketch was not restored");
                    }
                    return Fail(h, QSOLVER_ERR_SOLVER, why + "; the sketch was restored");
                });
}

int qsolver_sketch_drag(qsolver_sketch* sketch, const char* point_id, double x, double y,
                        double* distance)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_sketch& h) -> int
                {
                    if (int status = CheckNode(h, point_id))
                    {
                        return status;
                    }
                    // Refusals are told apart from failures here: Sketch::Drag answers both
                    // with a message only.
                    CVert* p = h.sketch->FindPoint(point_id);
                    if (p == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_REFUSED,
                                    "'" + std::string(point_id) + "' is not a point");
                    }
                    if (p->IsRefObject() != 0 || p->IsFixed() != 0 || !std::isfinite(x) ||
                        !std::isfinite(y))
                    {
                        const qsolver::DragResult refused = h.sketch->Drag(point_id, x, y);
                        return Fail(h, QSOLVER_ERR_REFUSED, refused.message);
                    }
                    Changed(h);
                    const qsolver::DragResult result = h.sketch->Drag(point_id, x, y);
                    if (!result.IsOk())
                    {
                        return Fail(h, QSOLVER_ERR_SOLVER,
                                    result.message + "; the sketch was restored");
                    }
                    if (distance != nullptr)
                    {
                        *distance = result.distance;
                    }
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_kind(qsolver_sketch* sketch, const char* id, int* kind)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (id == nullptr || kind == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no id or no place for the kind");
                    }
                    if (CNode* node = h.sketch->FindNode(id))
                    {
                        *kind = node->GetType() == SKT_NODE_POINT  ? QSOLVER_NODE_POINT
                                : node->GetType() == SKT_NODE_LINE ? QSOLVER_NODE_LINE
                                                                   : QSOLVER_NODE_CIRCLE;
                        return QSOLVER_OK;
                    }
                    if (CRel* rel = h.sketch->FindRelation(id))
                    {
                        *kind = rel->GetType() - SKT_REL_BASE;
                        return QSOLVER_OK;
                    }
                    return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                "no node or relation '" + std::string(id) + "'");
                });
}

int qsolver_sketch_point(qsolver_sketch* sketch, const char* id, double* x, double* y)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (id == nullptr || x == nullptr || y == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no id or no place for the point");
                    }
                    CVert* p = h.sketch->FindPoint(id);
                    if (p == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    "no point '" + std::string(id) + "'");
                    }
                    *x = p->m_Pos.x;
                    *y = p->m_Pos.y;
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_line(qsolver_sketch* sketch, const char* id, double* px, double* py, double* dx,
                        double* dy)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (id == nullptr || px == nullptr || py == nullptr || dx == nullptr ||
                        dy == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no id or no place for the line");
                    }
                    CMathline* l = h.sketch->FindLine(id);
                    if (l == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID, "no line '" + std::string(id) + "'");
                    }
                    *px = l->m_Line.m_ThroughPoint.x;
                    *py = l->m_Line.m_ThroughPoint.y;
                    *dx = l->m_Line.m_Direction.x;
                    *dy = l->m_Line.m_Direction.y;
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_circle(qsolver_sketch* sketch, const char* id, double* cx, double* cy,
                          double* radius)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (id == nullptr || cx == nullptr || cy == nullptr || radius == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no id or no place for the circle");
                    }
                    CMathcir* c = h.sketch->FindCircle(id);
                    if (c == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    "no circle '" + std::string(id) + "'");
                    }
                    const XYZ center = qsolver::CircleCenter(*h.sketch, c);
                    *cx = center.x;
                    *cy = center.y;
                    *radius = qsolver::CircleRadius(c);
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_value(qsolver_sketch* sketch, const char* id, double* value, int* known)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (id == nullptr || value == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no id or no place for the value");
                    }
                    CVal* val = h.sketch->FindValue(id);
                    if (CRel* rel = h.sketch->FindRelation(id))
                    {
                        val = rel->m_pVal;
                        if (val == nullptr)
                        {
                            return Fail(h, QSOLVER_ERR_REFUSED,
                                        "relation '" + std::string(id) + "' has no value");
                        }
                    }
                    if (val == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    "no relation or value '" + std::string(id) + "'");
                    }
                    *value = val->m_dValue;
                    if (known != nullptr)
                    {
                        *known = val->m_bKnown != 0 ? 1 : 0;
                    }
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_list_size(qsolver_sketch* sketch, int list, size_t* size)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (size == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the size");
                    }
                    int status = QSOLVER_OK;
                    const std::vector<std::string>* ids = ListOf(h, list, status);
                    if (ids != nullptr)
                    {
                        *size = ids->size();
                    }
                    return status;
                });
}

int qsolver_sketch_list_item(qsolver_sketch* sketch, int list, size_t index, const char** id)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (id == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the id");
                    }
                    int status = QSOLVER_OK;
                    const std::vector<std::string>* ids = ListOf(h, list, status);
                    if (ids == nullptr)
                    {
                        return status;
                    }
                    if (index >= ids->size())
                    {
                        return Fail(h, QSOLVER_ERR_RANGE,
                                    "index " + std::to_string(index) + " past the end (" +
                                        std::to_string(ids->size()) + " ids)");
                    }
                    *id = (*ids)[index].c_str();
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_cluster_count(qsolver_sketch* sketch, size_t* count)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (count == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the count");
                    }
                    if (!h.analysed)
                    {
                        return Fail(h, QSOLVER_ERR_NO_ANALYSIS, "the sketch has not been analysed");
                    }
                    *count = h.analysis.clusters.size();
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_node_cluster(qsolver_sketch* sketch, const char* node_id, int* cluster)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (cluster == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the cluster");
                    }
                    if (int status = CheckNode(h, node_id))
                    {
                        return status;
                    }
                    if (!h.analysed)
                    {
                        return Fail(h, QSOLVER_ERR_NO_ANALYSIS, "the sketch has not been analysed");
                    }
                    auto it = h.clusterOf.find(node_id);
                    *cluster = it != h.clusterOf.end() ? it->second : -1;
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_dof(qsolver_sketch* sketch, int* dof)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (dof == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the freedoms");
                    }
                    if (!h.diagnosed)
                    {
                        return Fail(h, QSOLVER_ERR_NO_ANALYSIS, "the sketch has not been analysed");
                    }
                    *dof = h.diagnostics.dof;
                    return QSOLVER_OK;
                });
}

int qsolver_sketch_node_status(qsolver_sketch* sketch, const char* node_id, int* status, int* dof)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_sketch& h) -> int
                {
                    if (status == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the status");
                    }
                    if (int checked = CheckNode(h, node_id))
                    {
                        return checked;
                    }
                    if (!h.diagnosed)
                    {
                        return Fail(h, QSOLVER_ERR_NO_ANALYSIS, "the sketch has not been analysed");
                    }
                    const qsolver::NodeDiagnosis* node = h.diagnostics.FindNode(node_id);
                    if (node == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    std::string("node '") + node_id + "' was not analysed");
                    }
                    switch (node->status)
                    {
                        case qsolver::NodeStatus::Fixed:
                            *status = QSOLVER_STATUS_FIXED;
                            break;
                        case qsolver::NodeStatus::WellConstrained:
                            *status = QSOLVER_STATUS_WELL;
                            break;
                        case qsolver::NodeStatus::UnderConstrained:
                            *status = QSOLVER_STATUS_UNDER;
                            break;
                        case qsolver::NodeStatus::OverConstrained:
                            *status = QSOLVER_STATUS_OVER;
                            break;
                    }
                    if (dof != nullptr)
                    {
                        *dof = node->dof;
                    }
                    return QSOLVER_OK;
                });
}
