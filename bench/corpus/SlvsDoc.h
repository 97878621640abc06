// The other solver on a sketch document: the same nodes and relations as its own points, line
// segments and constraints, solved from the document's geometry and read back into it.
#pragma once

#include "qsolver/SketchFile.h"

#include <string>

namespace qsolver::corpus
{

/// A point dragged towards a target: its parameters are the solver's dragged ones.
struct SlvsDrag
{
    int node = -1;
    double x = 0.0;
    double y = 0.0;
};

struct SlvsOutcome
{
    /// The library's result code (0: solved).
    int result = -1;
    /// Freedoms left, as the library counts them.
    int dof = 0;
    double ms = 0.0;

    bool Solved() const { return result == 0; }
};

/// Solves the document's relations from its geometry, relation `changed` (an index, or -1) at
/// `value` in the file's units. On success the document holds the solved geometry (circles on
/// their centre points); on failure it is left as it was.
SlvsOutcome SolveWithSlvs(SketchDoc& doc, int changed, double value,
                          const SlvsDrag* drag = nullptr);

/// The library's name for its result code.
std::string SlvsResultText(int result);

} // namespace qsolver::corpus
