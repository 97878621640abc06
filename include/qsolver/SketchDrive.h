// The drive sequence of a host: back up, change dimension values, re-solve, and restore the
// backups when the solver cannot re-solve the sketch.
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/SolveCheck.h"

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
    Verify, ///< the solver reported success but the result failed its check (see `check`)
};

/// How a drive was solved.
enum class DriveStrategy
{
    None,         ///< not solved
    Faithful,     ///< the solver's own passes, rigid clusters first
    NodeChain,    ///< the solver's passes with the core as one numeric system
    LeastSquares, ///< a damped least-squares solve of every relation from the current geometry
    Continuation, ///< the change split into steps, each solved from the last
};

/// A short English name for the strategy ("faithful", "node chain", ...).
const char* DriveStrategyText(DriveStrategy strategy);

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
    /// Which check of the result failed (Verify), or None.
    CheckFailure check = CheckFailure::None;
    /// What solved the drive, and in how many steps (1 unless split by continuation).
    DriveStrategy strategy = DriveStrategy::None;
    int steps = 0;

    bool IsOk() const { return failed == DriveStep::None; }
};

/// How to re-solve the core of the sketch.
struct DriveOptions
{
    /// Solve the core as one numeric system instead of as rigid clusters.
    bool nodeChain = false;
    /// When the solver's passes fail or give a result that fails its check, try the other
    /// strategies in turn (Sketch::Drive does).
    bool robust = false;
    /// With robust: try only this strategy, to compare them (None: all in turn).
    DriveStrategy only = DriveStrategy::None;
};

/// One checked change of a drive request: the relation and the value it takes.
struct DriveChange
{
    CRel* relation = nullptr;
    double value = 0.0;
};

/// The rule for drive requests, the same for every host: each change names a relation with a
/// value (a fix has none); the value is finite and at most 1e9 in magnitude; a distance is not
/// negative and a radius is positive; an angle may be any such number (it holds modulo a full
/// turn, and is kept as given); no two changes set one value to different numbers (one
/// relation twice, relations sharing a value, or two radii of one circle). Returns false with
/// `message` naming the change and the problem.
bool CheckDriveRequest(Sketch& sketch, const std::vector<std::pair<std::string, double>>& changes,
                       std::vector<DriveChange>& checked, std::string& message);

/// An angle in any unit reduced modulo `fullTurn` into [0, fullTurn).
double ReduceAngle(double angle, double fullTurn);

/// Sketch::Drive with a choice of how the core is solved.
DriveResult DriveSketch(Sketch& sketch, const std::vector<std::pair<std::string, double>>& changes,
                        const DriveOptions& options);

} // namespace qsolver
