// What a CAD user asks of a sketch that will not solve, or solves too freely: how many freedoms
// remain, which nodes are fully defined, and which relations conflict or say nothing new.
#pragma once

#include <string>
#include <vector>

namespace qsolver
{

class Sketch;

/// How far a node is defined, in the sense a sketcher colours it.
enum class NodeStatus
{
    Fixed,            ///< fixed or reference geometry: given, never solved for
    WellConstrained,  ///< the relations determine it completely
    UnderConstrained, ///< it can still move (NodeDiagnosis::dof says in how many ways)
    OverConstrained,  ///< it is an end of a conflicting or redundant relation
};

/// "fixed", "well-constrained", "under-constrained" or "over-constrained".
const char* NodeStatusName(NodeStatus status);

struct NodeDiagnosis
{
    std::string id;
    NodeStatus status = NodeStatus::WellConstrained;
    /// Freedoms of this node's own coordinates that the relations leave (0 to 3): how many
    /// freedoms of the sketch fixing this node would take away.
    int dof = 0;
};

struct Diagnostics
{
    /// Remaining freedoms of the sketch: unknowns minus the rank of the relations' Jacobian at
    /// the current geometry.
    int dof = 0;
    /// Unknown coordinates (nodes that are neither fixed nor reference, and unknown values that
    /// relations use) and the rank found.
    int unknowns = 0;
    int rank = 0;
    /// Every node, in creation order.
    std::vector<NodeDiagnosis> nodes;
    /// Relation ids, in creation order, of a smallest minimal set that cannot hold together at
    /// its values (drop any one and the rest can); empty when none.
    std::vector<std::string> conflicting;
    /// Relation ids, in creation order, of relations that the earlier ones imply at their
    /// current values: they agree, but say nothing new. A fix counts before other relations.
    std::vector<std::string> redundant;
    /// False when the search for conflicting and redundant relations was cut short because the
    /// dependent part of the sketch was too large; dof and statuses are complete regardless.
    bool dependenciesComplete = true;

    /// The entry for a node id, or null.
    const NodeDiagnosis* FindNode(const std::string& id) const;
    bool IsOverConstrained() const { return !conflicting.empty() || !redundant.empty(); }
};

/// Counts the freedoms of the sketch, each node's status and the conflicting and redundant
/// relations, at the sketch's current geometry and values. Leaves the sketch unchanged. Cost
/// grows about linearly with the sketch (the nodes are eliminated in the order they can be
/// placed one at a time).
Diagnostics Diagnose(Sketch& sketch);

/// The plain rank the diagnostics cross-check against: the same Jacobian factorised whole.
enum class RankMethod
{
    SparseQR, ///< Eigen's sparse QR with COLAMD ordering: the reference, slow on big sketches
    Dense,    ///< a dense rank-revealing QR: for small sketches only
};

/// Unknowns minus the plain rank of the Jacobian, for tests and debugging.
int CountFreedomsPlain(Sketch& sketch, RankMethod method);

} // namespace qsolver
