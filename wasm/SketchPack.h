// A sketch handed over as arrays instead of text: what qsolver.js packs a JavaScript description
// into, read here into the same document a sketch file gives, with the same checks and messages.
//
// ints:    nodeCount, valueCount, relationCount, radians (0 or 1), then
//          per node: type (0 point, 1 line, 2 circle), dirFixed (0 or 1);
//          per value: known (0 or 1);
//          per relation: type (DocRelType), first node, second node (-1 for none),
//          flags (1 has a value, 2 known, 4 reverse first, 8 reverse second), shared value (-1).
// numbers: per node x, y and dx, dy (lines) or radius, 0 (circles) or 0, 0 (points);
//          per value its number; per relation its value (0 without one). Angles in the unit.
// ids:     the ids of the nodes, values and relations in that order, each ended by a NUL.
#pragma once

#include "qsolver/SketchFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace qsolver::web
{

struct PackedSketch
{
    const std::int32_t* ints = nullptr;
    std::size_t intCount = 0;
    const double* numbers = nullptr;
    std::size_t numberCount = 0;
    const std::string* ids = nullptr;
};

enum PackedFlag : std::int32_t
{
    kHasValue = 1,
    kKnown = 2,
    kReverseFirst = 4,
    kReverseSecond = 8,
};

/// Reads the arrays into `doc`; false with `error` (places as in a file: `relations[2].value`)
/// when they are malformed or describe a sketch a file could not.
bool UnpackSketch(const PackedSketch& packed, const std::string& file, SketchDoc& doc,
                  InputError& error);

} // namespace qsolver::web
