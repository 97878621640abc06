// The calls of the Sketch API that are optional in a build (diagnostics) and the solver's
// chains a host releases; everything the session needs from them goes through here.
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <string>

namespace qsolver::web
{

using Json = nlohmann::ordered_json;

/// {"available": bool, "dof", "unknowns", "rank", "nodes": [{id, status, dof}], "conflicting",
/// "redundant", "complete"}; only "available": false when the library has no diagnostics.
Json DiagnoseSketch(Sketch& sketch);

/// The clusters the last drive left in the solver's chains; released once its results are read.
void ReleaseDriveClusters();

} // namespace qsolver::web
