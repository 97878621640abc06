// The check every re-solved sketch passes before a host is told it solved: relations hold,
// fixed geometry stayed, and nothing came back mirrored. The drive, the robust strategies and
// the tools all judge a result here, so that they agree on what "solved" means.
#pragma once

#include "qsolver/Sketch.h"

#include <string>

namespace qsolver
{

/// What the check of a result found wrong first.
enum class CheckFailure
{
    None,
    NotFinite,        ///< some coordinate is not a number
    FixedMoved,       ///< fixed or reference geometry moved
    RelationOff,      ///< a relation does not hold
    PointCrossedLine, ///< a point went to the other side of a line it is dimensioned to
    TriangleMirrored, ///< three mutually dimensioned points turned the other way round
    BodyMirrored,     ///< a point dimensioned to two points turned the other way between them
};

/// A short English text for the failure, for printing.
const char* CheckFailureText(CheckFailure failure);

/// The verdict on a result; `message` names the relation or the part that failed.
struct ResultCheck
{
    CheckFailure failure = CheckFailure::None;
    std::string message;

    bool IsOk() const { return failure == CheckFailure::None; }
};

/// How far a length may be off and still hold, on a sketch whose coordinates reach `size`.
double LengthTolerance(double size);

/// How far an angle (radians) may be off and still hold.
double AngleTolerance();

/// Judges the sketch's geometry against the backups taken before the pass (Sketch::BackupAll)
/// and the relations' values. Fixed and reference nodes that moved by rounding only are put
/// back exactly. Relations sharing an unknown value must agree with each other.
ResultCheck CheckResult(Sketch& sketch);

} // namespace qsolver
