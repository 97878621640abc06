// The drive sequence of a host: back up, change dimension values, re-solve, and restore the
// backups when the solver cannot re-solve the sketch.
#pragma once

#include "qsolver/Sketch.h"

#include <string>
#include <utility>
#include <vector>

namespace qsolver
{

/// The step of the drive sequence that ended it.
enum class DriveStep
{
    None,                  ///< every step succeeded
    BadRequest,            ///< a change named no relation with a value; nothing was touched
    BuildClusterChain,     ///< the changed values contradict the rigid clusters
    SolveNodeChain,        ///< the numeric solve of the whole core failed
    SolveClusterChain,     ///< the clusters could not be placed against each other
    SolveGoodClusterChain, ///< a good cluster could not be placed
    SolveGoodNodeChain,    ///< a good node could not be placed, even numerically
    Verify, ///< the solver reported success but a relation is off or fixed geometry moved
};

/// A short English text for the step, for printing.
const char* DriveStepText(DriveStep step);

/// What Sketch::Drive did.
struct DriveResult
{
    /// The step that failed, or None.
    DriveStep failed = DriveStep::None;
    /// Why a request was refused (BadRequest) or which relation or node failed the check of the
    /// result (Verify); empty otherwise.
    std::string message;
    /// On failure every node and value is as it was before the call.
    bool restored = false;

    bool IsOk() const { return failed == DriveStep::None; }
};

/// How to re-solve the core of the sketch.
struct DriveOptions
{
    /// Solve the core as one numeric system instead of as rigid clusters.
    bool nodeChain = false;
};

/// Sketch::Drive with a choice of how the core is solved.
DriveResult DriveSketch(Sketch& sketch, const std::vector<std::pair<std::string, double>>& changes,
                        const DriveOptions& options);

} // namespace qsolver
