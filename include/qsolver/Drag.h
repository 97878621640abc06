// Dragging a point: Sketch::Drag moves it as near as it can to where the user's pointer is
// while every relation holds, moving the rest of the sketch as little as it can.
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/SolveCheck.h"

#include <string>

namespace qsolver
{

/// What Sketch::Drag did.
struct DragResult
{
    /// The point was moved and every relation holds.
    bool solved = false;
    /// Why the drag was refused or failed; empty on success.
    std::string message;
    /// Which check of the result failed, or None.
    CheckFailure check = CheckFailure::None;
    /// How far the point ended from the target (0 when it reached it).
    double distance = 0.0;
    /// Least-squares iterations taken.
    int iterations = 0;
    /// Moves the drag took: 1, or more when the pointer's path was followed in steps.
    int steps = 0;

    bool IsOk() const { return solved; }
};

} // namespace qsolver
