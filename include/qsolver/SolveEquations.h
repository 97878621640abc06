// Equations the least-squares strategies solve beyond the sketch's relations. A helper that
// adds a kind of constraint (tangency, symmetry, a midpoint...) appends one equation per
// constraint to Sketch::Equations(); the least-squares drive and Drag honour them, and a result
// in which one does not hold is refused like a relation that is off.
#pragma once

#include "Qsolver.h"

#include <functional>
#include <string>
#include <vector>

namespace qsolver
{

/// What a residual depends on, and how fast it changes with it. The parameters:
/// - a point (CVert): 0 is x, 1 is y;
/// - a line (CMathline) in normal form, the points X with n . X = c where the normal
///   n = (-sin theta, cos theta) and the direction is (cos theta, sin theta): 0 is c, 1 is theta;
/// - a value (CVal, `node` null): its number.
/// Partials with respect to given geometry (fixed or reference nodes, known values) may be
/// listed; the solve skips them.
struct SolvePartial
{
    CNode* node = nullptr;
    CVal* value = nullptr;
    int param = 0;
    double derivative = 0.0;
};

/// One equation: zero when it holds. `residual` reads the geometry the nodes and values have
/// now (the solve writes each iterate into them), appends its partials, and returns the
/// residual as a length: an angle is multiplied by the `scale` it is given (the sketch's
/// size), so that a turn weighs as much as the movement it causes.
struct SolveEquation
{
    /// Named in the message when the equation does not hold in a result.
    std::string name;
    std::function<double(double scale, std::vector<SolvePartial>& partials)> residual;
};

} // namespace qsolver
