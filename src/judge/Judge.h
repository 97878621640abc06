// The analysis pass: which nodes the relations determine, rigid clusters, over-constraint.
#pragma once

#include "model/Chains.h"
#include "model/PtrList.h"
#include "shell/QsolverExport.h"

class CNode;
class CCluster;

extern "C"
{
    /// Opens an analysis pass: loads the sketch into the chains and strips what two relations
    /// place.
    QSOLVER_API void sktInitJudge(CNodeList& nodes, CRelList& rels);
    /// Grows the cluster from a node taken as known: 1 done, 0 contradiction.
    QSOLVER_API int sktReasoningFromOneNode(CNode* node, CCluster* cluster);
    /// Fills the main cluster with fixed and reference nodes and what they determine: 1, or 0 for
    /// contradictory fixed geometry.
    QSOLVER_API int sktCreateMainCluster(CCluster* cluster);
    /// Seeds a new cluster: 1 two base nodes chosen, 0 no cluster can be seeded, -1 contradiction.
    QSOLVER_API int sktFindBaseNodesForCluster(CCluster* cluster);
    /// 1 when the relations between the clusters over-constrain them, 0 otherwise.
    QSOLVER_API int sktIsClusterChainOverConstrain(CClusterList& clusters);
    /// Closes the pass: deletes clusters, empties chains, every relation unused, known flags
    /// restored.
    QSOLVER_API void sktFinishJudge(CRelList& rels);
}
