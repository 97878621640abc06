// The one place the corpus reaches Qsolver's drag (Sketch::Drag), so that the runner sees a
// drag result of its own whatever the library's drag reports.
#pragma once

#include "qsolver/Sketch.h"

#include <string>

namespace qsolver::corpus
{

struct DragStepResult
{
    /// False when the library has no drag: the runner then reports Qsolver's drags as absent.
    bool available = false;
    /// What the drag reported.
    bool ok = false;
    std::string message;
};

/// Moves `point` as near as it can to (x, y), every relation kept.
DragStepResult QsolverDrag(Sketch& sketch, const std::string& point, double x, double y);

} // namespace qsolver::corpus
