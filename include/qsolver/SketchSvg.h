// SVG drawings of sketches for people: points with their ids, lines clipped to the drawing,
// circles, dimension labels and fixed geometry; a drive is drawn over the sketch it started from.
#pragma once

#include "qsolver/SketchFile.h"

#include <string>

namespace qsolver
{

struct Diagnostics;

/// The drawing of `doc`. When `before` is given it is drawn first, in grey, and the view
/// covers both. `title` heads the drawing (the sketch's description when empty). With
/// `diagnostics` the nodes take the colours of their status, with a key to them.
std::string DrawSketchSvg(const SketchDoc& doc, const SketchDoc* before = nullptr,
                          const std::string& title = "", const Diagnostics* diagnostics = nullptr);

} // namespace qsolver
