// Each solver's side of the corpus: one edit driven as a user would (Qsolver through its Sketch
// API in qsketch's sequence, the other solver in one solve from the old geometry), and drags.
#pragma once

#include "Corpus.h"
#include "Judge.h"

#include <string>
#include <vector>

namespace qsolver::corpus
{

struct SideResult
{
    Judgement judgement;
    /// What the solver said when it failed.
    std::string message;
    /// Qsolver: which strategy solved the drive, and in how many steps.
    std::string how;
    double ms = 0.0;
};

SideResult DriveWithQsolver(const Edit& e, const std::vector<Invariant>& invariants);
SideResult DriveWithSlvs(const Edit& e, const std::vector<Invariant>& invariants);

/// A drag on an edit's sketch with the changed dimension taken away: its most-moved point
/// dragged in equal steps to where the reference puts it.
struct DragCase
{
    SketchDoc sketch;
    int point = -1;
    double x = 0.0;
    double y = 0.0;
};

/// False when the edit makes no drag (no point moved).
bool MakeDragCase(const Edit& e, DragCase& drag);

struct DragRun
{
    /// False when the solver has no drag.
    bool available = true;
    int steps = 0;
    /// Steps reported solved with every relation holding and every part on its side.
    int solved = 0;
    int failed = 0;
    int flipped = 0;
    int wrong = 0;
    /// The point ended on the target.
    bool reached = false;
    std::vector<double> stepMs;
    std::string detail;
};

DragRun DragWithQsolver(const DragCase& drag, int steps);

/// Counts one judged drag step into the result.
void CountStep(DragRun& result, const Judgement& step);
/// Whether the dragged point ended on its target.
bool ReachedTarget(const DragCase& drag, const SketchDoc& doc);
DragRun DragWithSlvs(const DragCase& drag, int steps);

} // namespace qsolver::corpus
