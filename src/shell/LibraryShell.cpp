// The library's process-wide state. The chains are defined in one unit so they are constructed
// in this order when the library loads and destroyed in the reverse order when it unloads.
#include "model/Chains.h"

#include "model/PassSteps.h"
#include "model/PtrList.h"

int g_nNodeNum = 0;
int g_nRelNum = 0;
int g_nValNum = 0;
int g_nClusterNum = 0;

CNodeList g_sktGoodNodeChain(10);
CNodeList g_sktKnownNodeChain(10);
CNodeList g_sktDefinedNodeChain(10);
CNodeList g_sktUndefinedNodeChain(10);
CRelList g_sktRelChain(10);
CRelList g_sktDriveRelChain(10);
CRelList g_sktSaveRelChain(10);
CClusterList g_sktClusterChain(10);
CClusterList g_sktGoodClusterChain(10);

namespace
{
// The solver owns the clusters the last pass left in the two cluster chains (they stay there
// for the host to read until the next pass starts). Defined after the chains, so it is
// destroyed first when the library unloads and deletes them while the chains still exist.
struct ClusterChainsOwner
{
    ClusterChainsOwner() = default;
    ClusterChainsOwner(const ClusterChainsOwner&) = delete;
    ClusterChainsOwner& operator=(const ClusterChainsOwner&) = delete;
    ~ClusterChainsOwner()
    {
        sktDeleteClusters(g_sktClusterChain);
        sktDeleteClusters(g_sktGoodClusterChain);
    }
};

ClusterChainsOwner g_clusterChainsOwner;
} // namespace
