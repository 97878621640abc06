// A damped least-squares solve (Levenberg-Marquardt) of every relation of a sketch and of its
// extra equations, from the geometry the sketch has now. The faithful passes place nodes by
// construction and rigid clusters; this solve sees the whole sketch as one sparse system, so
// it places what they cannot (many rigid bodies, large changes) while staying near where the
// geometry started.
#pragma once

#include "qsolver/Sketch.h"

namespace qsolver::solve
{

struct LeastSquaresOptions
{
    int maxIterations = 200;
    /// Drag: pull this point towards (targetX, targetY) as well; the relations then hold only
    /// as nearly as the pull allows, and a second solve without it makes them hold.
    CVert* pulled = nullptr;
    double targetX = 0.0;
    double targetY = 0.0;
    /// How much the pull weighs against a relation: small, so that the relations nearly hold
    /// where the pulled solve settles and the point slides along what they allow.
    double pullWeight = 1e-2;
};

struct LeastSquaresResult
{
    /// The relations hold to the solve's own precision (without a pull), or the pulled
    /// solve settled.
    bool converged = false;
    int iterations = 0;
    /// The largest residual at the end, as a length.
    double residual = 0.0;
    /// The name of the relation or equation with that residual.
    std::string worst;
};

/// Solves from the current geometry, with the relations' current values, and writes the
/// result into the nodes (lines keep their through point as near as it was) and into the
/// unknown values that relations share. Fixed and reference geometry and known values are
/// given. Circles take the radius of their radius relation.
LeastSquaresResult SolveLeastSquares(Sketch& sketch, const LeastSquaresOptions& options);

} // namespace qsolver::solve
