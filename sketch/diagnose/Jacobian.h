// The relations' Jacobian at the current geometry, written from the relation classes'
// geometry: the columns are the nodes' and unknown values' freedoms, the rows the equations.
#pragma once

#include "Qsolver.h"

#include <vector>

namespace qsolver
{
class Sketch;
}

namespace qsolver::diagnose
{

struct Entry
{
    int col = 0;
    double value = 0.0;
};

/// One equation: its derivatives (entries[first .. first + count) of the Jacobian, sorted by
/// column, unit norm when not empty), its residual (measured minus wanted, divided by the same
/// norm) and the relation it comes from.
struct JacRow
{
    int first = 0;
    int count = 0;
    double residual = 0.0;
    int relation = -1;
};

/// A node's or an unknown value's consecutive columns.
struct Variable
{
    int firstCol = 0;
    int cols = 0;
    int node = -1; ///< index in creation order, or -1 for a value
};

struct Jacobian
{
    std::vector<Variable> vars;
    std::vector<int> colVar; ///< the variable of each column
    std::vector<JacRow> rows;
    std::vector<Entry> entries; ///< the rows' derivatives, row after row
    /// Per node in creation order: its variable, or -1 when it is given (fixed or reference).
    std::vector<int> nodeVar;
    std::vector<bool> nodeGiven;
    std::vector<CNode*> nodes;
    std::vector<CRel*> rels;
    /// The rows of each relation: rows[relFirstRow[r] .. relFirstRow[r + 1]).
    std::vector<int> relFirstRow;
    /// Lengths and turns share one scale: a turn is measured as an arc of this radius.
    double extent = 1.0;

    int Cols() const { return static_cast<int>(colVar.size()); }
    const Entry* Begin(const JacRow& row) const { return entries.data() + row.first; }
    const Entry* End(const JacRow& row) const { return entries.data() + row.first + row.count; }
};

/// Builds the Jacobian of the sketch. Normally fixed and reference nodes have no columns and
/// fixes give no rows; with `fixesAsRows` fixed nodes keep their columns and each fix gives a
/// row per column, so that a fix can be named in a dependency.
Jacobian BuildJacobian(Sketch& sketch, bool fixesAsRows);

} // namespace qsolver::diagnose
