// How a solver's result on an edit is judged: every relation holds, fixed geometry stays, and
// every part is on the side the reference keeps it on.
#pragma once

#include "qsolver/SketchFile.h"

#include <string>
#include <vector>

namespace qsolver::corpus
{

/// A sign the sketch's geometry must keep through an edit.
struct Invariant
{
    enum class Kind
    {
        Triangle, ///< the orientation of three mutually dimensioned points
        Side,     ///< a point's (or a line's) side of a line it is dimensioned to
        Mode,     ///< a point dimensioned to two points that are not dimensioned to each other
        Order,    ///< two dimensioned points on one line, or a point between two on a line
    };
    Kind kind = Kind::Triangle;
    int a = -1;
    int b = -1;
    int c = -1;
    double sign = 0.0;
};

/// The signs the document's geometry has now, for every triangle, side, mode and order its
/// relations make. Nearly degenerate ones are left out: they have no side to keep.
std::vector<Invariant> FindInvariants(const SketchDoc& doc);

/// The first invariant the geometry breaks (an index), or -1.
int FirstBroken(const std::vector<Invariant>& invariants, const SketchDoc& doc);

/// A few words naming the invariant and its nodes.
std::string InvariantText(const Invariant& invariant, const SketchDoc& doc);

enum class Outcome
{
    Solved,  ///< reported solved, every relation holds, every part on its side
    Failed,  ///< reported failure
    Flipped, ///< reported solved, relations hold, but a part is mirrored against the reference
    Wrong,   ///< reported solved, but a relation is off or fixed geometry moved
};
const char* OutcomeText(Outcome outcome);

struct Judgement
{
    Outcome outcome = Outcome::Failed;
    std::string detail;
};

/// Judges a result. `before` is the edited sketch at its old geometry, `after` the result with
/// the changed relation at its new value; `reported` is what the solver said.
Judgement JudgeResult(const SketchDoc& before, const std::vector<Invariant>& invariants,
                      bool reported, const SketchDoc& after);

/// Whether the result holds every relation and keeps fixed geometry; `detail` says what is off.
bool RelationsHold(const SketchDoc& before, const SketchDoc& after, std::string& detail);

} // namespace qsolver::corpus
