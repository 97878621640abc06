// The check of a result with the hooks the drive needs to save walks over the sketch.
#pragma once

#include "qsolver/SolveCheck.h"

#include <vector>

namespace qsolver::solve
{

struct CheckHooks
{
    /// Called on every relation the check walks past, before it is judged.
    void (*onRelation)(CRel* rel) = nullptr;
    /// Out: the first relation met on each unknown value that relations share, in relation
    /// order; filled only when every relation held.
    std::vector<CRel*>* firstOfUnknown = nullptr;
    /// Out: whether the check walked every relation.
    bool walkedAll = false;
};

ResultCheck CheckResult(Sketch& sketch, CheckHooks& hooks);

/// The angle the relation constructs (each set reverse flag adds a half turn).
double ConstructedAngle(CRel* rel);

} // namespace qsolver::solve
