// The sketch file document of a sketch as it stands now, for saving through the C API: the
// sketch may have been edited call by call since it was loaded, so the document is rebuilt
// from the sketch rather than brought up to date.
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"

namespace qsolver
{

/// The document of `sketch`. `hints` is the document it was loaded from (or an empty one): its
/// description and unit are kept, and where a node, value or relation of the same id is
/// unchanged, its optional fields and its numbers are written as the file had them.
SketchDoc DocFromSketch(Sketch& sketch, const SketchDoc& hints);

/// Where a circle is drawn: on the point of its radius relation when it has one (the solver
/// moves that point, never the circle), else at its own centre.
XYZ CircleCenter(Sketch& sketch, CMathcir* circle);

/// The radius the circle has now: its radius value when it has one.
double CircleRadius(CMathcir* circle);

} // namespace qsolver
