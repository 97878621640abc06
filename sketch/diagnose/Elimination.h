// The rank of the Jacobian by eliminating one variable at a time, in the reverse of the order
// in which the variables can be placed one at a time (from the given geometry, then from seeds
// in each rigid part): a variable's placing rows then fix it with no fill, and only rows that
// close loops carry on to the variables placed before it.
#pragma once

#include "Jacobian.h"

#include <utility>
#include <vector>

namespace qsolver::diagnose
{

/// The rows that fixed one variable's pivot columns, kept for back substitution: its columns
/// (pivots first) at perm[permFirst ..), `rank` rows over them (row-major, upper triangular on
/// the pivots) at own[ownFirst ..), and per pivot row its entries on columns of variables placed
/// before this one, restRows[restFirst + i] = (first, count) in restEntries.
struct PivotBlock
{
    int var = -1;
    int rank = 0;
    int cols = 0;
    int permFirst = 0;
    int ownFirst = 0;
    int restFirst = 0;
};

struct Elimination
{
    int rank = 0;
    /// Variables in the order they can be placed; elimination ran in reverse.
    std::vector<int> order;
    std::vector<PivotBlock> blocks; ///< in elimination order
    std::vector<int> perm;
    std::vector<double> own;
    std::vector<std::pair<int, int>> restRows;
    std::vector<Entry> restEntries;
    /// Rows that elimination reduced to nothing: dependencies among the original rows.
    int dependencies = 0;
    /// The relations whose rows were combined into them (a superset of the dependencies'
    /// support), sorted; cut short at the limit given to Eliminate.
    std::vector<int> dependentRelations;
    bool dependentRelationsComplete = true;
};

/// Eliminates every variable; names at most `maxDependent` dependent relations.
Elimination Eliminate(const Jacobian& jac, size_t maxDependent);

/// Per variable, the freedoms of its columns that the null space reaches (0 to its columns).
std::vector<int> VariableFreedoms(const Jacobian& jac, const Elimination& elim);

} // namespace qsolver::diagnose
