// The C API over format-2 sketches (VocabSketch): the same boundary as qsolver_sketch's calls.
#include "qsolver/qsolver_c.h"

#include "CapiCall.h"
#include "qsolver/Diagnostics.h"
#include "qsolver/Vocab.h"
#include "qsolver/VocabFile.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace qsolver::capi;

struct qsolver_vocab
{
    std::unique_ptr<qsolver::VocabSketch> sketch;
    /// The document as loaded and as last solved: ids, order, units and text kept for saving.
    qsolver::VocabDoc doc;
    bool diagnosed = false;
    qsolver::Diagnostics diagnostics;

    std::string error;
    const char* fixedError = nullptr;
    std::string text;
    bool broken = false;
};

namespace
{

void Solved(qsolver_vocab& h)
{
    qsolver::UpdateVocabDoc(*h.sketch, h.doc);
    h.diagnosed = false;
    h.diagnostics = qsolver::Diagnostics();
}

int StatusCode(qsolver::NodeStatus status)
{
    switch (status)
    {
        case qsolver::NodeStatus::Fixed:
            return QSOLVER_STATUS_FIXED;
        case qsolver::NodeStatus::WellConstrained:
            return QSOLVER_STATUS_WELL;
        case qsolver::NodeStatus::UnderConstrained:
            return QSOLVER_STATUS_UNDER;
        case qsolver::NodeStatus::OverConstrained:
            break;
    }
    return QSOLVER_STATUS_OVER;
}

const std::vector<std::string>* List(const qsolver_vocab& h, int list)
{
    return list == QSOLVER_LIST_CONFLICTING ? &h.diagnostics.conflicting
           : list == QSOLVER_LIST_REDUNDANT ? &h.diagnostics.redundant
                                            : nullptr;
}

} // namespace

qsolver_vocab* qsolver_vocab_create(void)
{
    return CreateHandle<qsolver_vocab>([] { return new qsolver::VocabSketch(); });
}

void qsolver_vocab_destroy(qsolver_vocab* sketch)
{
    DestroyHandle(sketch);
}

const char* qsolver_vocab_last_error(const qsolver_vocab* sketch)
{
    return LastError(sketch);
}

int qsolver_vocab_load_json(qsolver_vocab* sketch, const char* text, size_t length)
{
    return Call(
        sketch, Effect::Reads,
        [&](qsolver_vocab& h) -> int
        {
            if (text == nullptr)
            {
                return Fail(h, QSOLVER_ERR_ARGUMENT, "no text given");
            }
            // Built aside and swapped in: a refused text leaves the sketch as it was.
            qsolver::VocabDoc doc;
            qsolver::InputError error;
            auto fresh = std::make_unique<qsolver::VocabSketch>();
            if (!qsolver::ParseVocabSketch(std::string(text, length), "sketch", doc, error) ||
                !qsolver::BuildVocabSketch(doc, "sketch", *fresh, error))
            {
                return Fail(h, QSOLVER_ERR_JSON, error.Text());
            }
            h.sketch.swap(fresh);
            h.doc = std::move(doc);
            h.diagnosed = false;
            return QSOLVER_OK;
        });
}

int qsolver_vocab_save_json(qsolver_vocab* sketch, const char** text, size_t* length)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_vocab& h) -> int
                {
                    if (text == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no place for the text given");
                    }
                    h.text = qsolver::FormatVocabSketch(h.doc);
                    *text = h.text.c_str();
                    if (length != nullptr)
                    {
                        *length = h.text.size();
                    }
                    return QSOLVER_OK;
                });
}

int qsolver_vocab_drive(qsolver_vocab* sketch, const char* const* constraint_ids,
                        const double* values, size_t count)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_vocab& h) -> int
                {
                    if (count > 0 && (constraint_ids == nullptr || values == nullptr))
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no ids or values given");
                    }
                    std::vector<std::pair<std::string, double>> changes;
                    for (size_t i = 0; i < count; ++i)
                    {
                        if (constraint_ids[i] == nullptr)
                        {
                            return Fail(h, QSOLVER_ERR_ARGUMENT, "a constraint id is NULL");
                        }
                        if (h.sketch->FindConstraint(constraint_ids[i]) == nullptr)
                        {
                            return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                        std::string("no constraint '") + constraint_ids[i] + "'");
                        }
                        changes.emplace_back(constraint_ids[i], values[i]);
                    }
                    const qsolver::VocabDriveResult result = h.sketch->Drive(changes);
                    if (!result.IsOk())
                    {
                        return Fail(h,
                                    result.core.failed == qsolver::DriveStep::BadRequest
                                        ? QSOLVER_ERR_REFUSED
                                        : QSOLVER_ERR_SOLVER,
                                    result.Message());
                    }
                    Solved(h);
                    return QSOLVER_OK;
                });
}

int qsolver_vocab_drag(qsolver_vocab* sketch, const char* point_id, double x, double y,
                       double* distance)
{
    return Call(sketch, Effect::Changes,
                [&](qsolver_vocab& h) -> int
                {
                    if (point_id == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no point id given");
                    }
                    const qsolver::VocabEntity* e = h.sketch->FindEntity(point_id);
                    if (e == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    std::string("no entity '") + point_id + "'");
                    }
                    const qsolver::VocabDragResult result = h.sketch->Drag(point_id, x, y);
                    if (!result.IsOk())
                    {
                        // A refusal (not a point, fixed, a target not finite) solved nothing.
                        const bool refused = result.core.iterations == 0 &&
                                             result.brokenConstraint.empty() &&
                                             result.core.check == qsolver::CheckFailure::None;
                        return Fail(h, refused ? QSOLVER_ERR_REFUSED : QSOLVER_ERR_SOLVER,
                                    result.Message());
                    }
                    if (distance != nullptr)
                    {
                        *distance = result.core.distance;
                    }
                    Solved(h);
                    return QSOLVER_OK;
                });
}

int qsolver_vocab_point(qsolver_vocab* sketch, const char* id, double* x, double* y)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_vocab& h) -> int
                {
                    if (id == nullptr || x == nullptr || y == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "a NULL argument");
                    }
                    const qsolver::VocabEntity* e = h.sketch->FindEntity(id);
                    if (e == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    std::string("no entity '") + id + "'");
                    }
                    if (e->type != qsolver::EntityType::Point)
                    {
                        return Fail(h, QSOLVER_ERR_REFUSED,
                                    std::string("'") + id + "' is a " +
                                        qsolver::EntityTypeName(e->type) + ", not a point");
                    }
                    *x = e->x;
                    *y = e->y;
                    return QSOLVER_OK;
                });
}

int qsolver_vocab_diagnose(qsolver_vocab* sketch, int* dof)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_vocab& h) -> int
                {
                    h.diagnostics = h.sketch->Diagnose();
                    h.diagnosed = true;
                    if (dof != nullptr)
                    {
                        *dof = h.diagnostics.dof;
                    }
                    return QSOLVER_OK;
                });
}

int qsolver_vocab_entity_status(qsolver_vocab* sketch, const char* entity_id, int* status, int* dof)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_vocab& h) -> int
                {
                    if (entity_id == nullptr || status == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "a NULL argument");
                    }
                    if (!h.diagnosed)
                    {
                        return Fail(h, QSOLVER_ERR_NO_ANALYSIS,
                                    "the sketch has not been diagnosed");
                    }
                    const qsolver::NodeDiagnosis* n = h.diagnostics.FindNode(entity_id);
                    if (n == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_UNKNOWN_ID,
                                    std::string("entity '") + entity_id + "' has no status");
                    }
                    *status = StatusCode(n->status);
                    if (dof != nullptr)
                    {
                        *dof = n->dof;
                    }
                    return QSOLVER_OK;
                });
}

int qsolver_vocab_list_size(qsolver_vocab* sketch, int list, size_t* size)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_vocab& h) -> int
                {
                    const std::vector<std::string>* ids = List(h, list);
                    if (ids == nullptr || size == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT,
                                    "a format-2 sketch lists conflicting and redundant "
                                    "constraints");
                    }
                    if (!h.diagnosed)
                    {
                        return Fail(h, QSOLVER_ERR_NO_ANALYSIS,
                                    "the sketch has not been diagnosed");
                    }
                    *size = ids->size();
                    return QSOLVER_OK;
                });
}

int qsolver_vocab_list_item(qsolver_vocab* sketch, int list, size_t index, const char** id)
{
    return Call(sketch, Effect::Reads,
                [&](qsolver_vocab& h) -> int
                {
                    const std::vector<std::string>* ids = List(h, list);
                    if (ids == nullptr || id == nullptr)
                    {
                        return Fail(h, QSOLVER_ERR_ARGUMENT, "no such list, or a NULL argument");
                    }
                    if (!h.diagnosed)
                    {
                        return Fail(h, QSOLVER_ERR_NO_ANALYSIS,
                                    "the sketch has not been diagnosed");
                    }
                    if (index >= ids->size())
                    {
                        return Fail(h, QSOLVER_ERR_RANGE, "index past the end of the list");
                    }
                    *id = (*ids)[index].c_str();
                    return QSOLVER_OK;
                });
}
