// The drive pass: re-solving the sketch after the host changed dimension values.
#pragma once

#include "model/Chains.h"
#include "model/PtrList.h"
#include "shell/QsolverExport.h"

class CNode;
class CCluster;

extern "C"
{
    /// Opens a drive pass: resets the chains and loads the sketch.
    QSOLVER_API void sktInitDrive(CNodeList& nodes, CRelList& rels);
    /// Moves the nodes that neighbours place one at a time into g_sktGoodNodeChain.
    QSOLVER_API void sktRemoveGoodNodeFromChain();
    /// Places the good nodes: 1 success, 0 a numeric fallback failed.
    QSOLVER_API int sktSolveGoodNodeChain();
    /// Solves all core nodes as one numeric system: 1 success, 0 failure.
    QSOLVER_API int sktSolveNodeChain();
    /// Splits the core into rigid clusters, the fixed one first: 1 built, 0 contradiction.
    QSOLVER_API int sktBuildClusterChain();
    /// 1 done, 0 contradiction among fixed and reference nodes.
    QSOLVER_API int sktBuildFixedCluster(CCluster* cluster);
    /// Grows the cluster from a node taken as known: 1 done, 0 contradiction.
    QSOLVER_API int sktBuildFromOneNode(CNode* node, CCluster* cluster);
    /// 1 seeded, 0 no seed, -1 contradiction.
    QSOLVER_API int sktFindTwoNodesForBuildCluster(CCluster* cluster);
    /// Moves the clusters held by no more relations than their free number to
    /// g_sktGoodClusterChain.
    QSOLVER_API void sktRemoveGoodClusterFromChain();
    /// Places the clusters against the fixed one: 1 success, 0 the numeric solve failed.
    QSOLVER_API int sktSolveClusterChain();
    /// Places the good clusters one by one: 1 success, 0 a numeric fallback failed.
    QSOLVER_API int sktSolveGoodClusterChain();
}
