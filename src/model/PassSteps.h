// Steps the analysis and the drive pass both take: the seeding loop, deleting the clusters a
// chain holds, and trying whether two relations place a node. Written once so the passes, and
// their plain and indexed ways, cannot drift apart.
#pragma once

#include "model/Chains.h"
#include "model/PtrList.h"

class CNode;
class CRel;

/// Takes the two base nodes of a new cluster as known. When the first alone determined the
/// second (it waits in g_sktDefinedNodeChain), the pair cannot turn about each other: the second
/// must be legal and the cluster keeps its two translations (free number 2); otherwise it keeps
/// three. 1, or -1 when the second is not legal.
int sktTakeBaseNodes(CCluster* cluster, CNode* first, CNode* second);
/// Deletes every cluster of the chain, in chain order, and empties the chain.
void sktDeleteClusters(CClusterList& chain);
/// Whether two unused relations place the node: both are tried as active with their values
/// taken as known, and everything the trial touched is put back except the node's own known
/// mark. The node's IsLegal result.
int sktIsPlacedByTwoRelations(CNode* node, CRel* first, CRel* last);

/// The host's seeding loop after the first cluster. While `more()` holds, a cluster from
/// `make()` (null ends the loop with 0) is seeded and grown by `seed`, which answers 1 grown
/// and taken out of the chains, 0 no seed, -1 a contradiction; a grown cluster goes to the end
/// of `clusters`, any other is deleted. 1 when seeding ends without a contradiction, else 0.
template <class More, class Make, class Seed>
int sktSeedClusterLoop(CClusterList& clusters, More more, Make make, Seed seed)
{
    while (more())
    {
        CCluster* cluster = make();
        if (cluster == nullptr)
        {
            return 0;
        }
        const int seeded = seed(cluster);
        if (seeded != 1)
        {
            delete cluster;
            return seeded == 0 ? 1 : 0;
        }
        clusters.AddTail(cluster);
    }
    return 1;
}
