// The strategies the drive tries once the solver's own passes fail, and the pieces they share
// with Drag.
#pragma once

#include "qsolver/SketchDrive.h"
#include "solve/LeastSquares.h"

#include <vector>

namespace qsolver::solve
{

/// Every node's geometry and every value's number, to go back to or to judge against.
class GeometryState
{
public:
    void Save(Sketch& sketch);
    /// Puts the saved geometry and numbers back.
    void Load(Sketch& sketch) const;
    /// Makes the saved geometry the nodes' backups (what the check of a result compares with).
    void LoadAsBackups(Sketch& sketch) const;

private:
    std::vector<double> m_numbers;
    std::vector<double> m_values;
};

/// The name of the first of the sketch's extra equations that does not hold, or empty.
std::string EquationOff(Sketch& sketch);

/// The check of a result no pass state hangs on: the result check, then the extra equations;
/// on success unknown values take what their relations measure.
ResultCheck CheckSolved(Sketch& sketch);

/// One drag move: pulled towards (x, y), then every relation made to hold from there. The
/// geometry is left where the last solve put it; `iterations` grows by what it took.
LeastSquaresResult DragTowards(Sketch& sketch, CVert* p, double x, double y, int& iterations);

/// A damped least-squares solve of the whole sketch from its current geometry (the driven
/// values set), checked. On failure `message` says why; the geometry is then undefined.
bool DriveByLeastSquares(Sketch& sketch, DriveResult& result);

/// The change from the backed-up values to the targets in adaptive steps, each solved by least
/// squares from the last and checked against it; the last step is checked against the backups.
/// On failure the geometry is undefined.
bool DriveByContinuation(Sketch& sketch, const std::vector<DriveChange>& targets,
                         DriveResult& result);

} // namespace qsolver::solve
