// The rank of the Jacobian by eliminating one variable at a time, in the reverse of the order
// in which the variables can be placed one at a time (from the given geometry, then from seeds
// in each rigid part): a variable's placing rows then fix it with no fill, and only rows that
// close loops carry on to the variables placed before it.
#pragma once

#include "Jacobian.h"

#include <vector>

namespace qsolver::diagnose
{

/// Rows that elimination reduced to nothing: a dependency among the original rows.
struct Dependency
{
    /// The relations whose rows were combined (a superset of the dependency's support).
    std::vector<int> relations;
    /// The combined residual: far from zero when the relations cannot hold together.
    double residual = 0.0;
};

/// The rows that fixed one variable's pivot columns, kept for back substitution.
struct PivotBlock
{
    int var = -1;
    int rank = 0;
    /// The variable's columns, pivots first.
    std::vector<int> perm;
    /// rank rows over the variable's columns (in perm order), row-major, upper triangular on
    /// the pivots.
    std::vector<double> own;
    /// Per pivot row, its entries on columns of variables placed before this one.
    std::vector<std::vector<Entry>> rest;
};

struct Elimination
{
    int rank = 0;
    /// Variables in the order they can be placed; elimination ran in reverse.
    std::vector<int> order;
    std::vector<PivotBlock> blocks; ///< in elimination order
    std::vector<Dependency> dependencies;
};

Elimination Eliminate(const Jacobian& jac);

/// Per variable, the freedoms of its columns that the null space reaches (0 to its columns).
std::vector<int> VariableFreedoms(const Jacobian& jac, const Elimination& elim);

} // namespace qsolver::diagnose
