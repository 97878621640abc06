// Splitting the core of the sketch into rigid clusters after a dimension change. Clusters that
// hold a changed dimension are driven: the nodes they determine are recomputed, the others are
// only checked and keep their geometry.
#include "drive/Drive.h"

#include "drive/DriveInternal.h"
#include "judge/Judge.h"
#include "judge/JudgeInternal.h"
#include "model/Boundary.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/Chains.h"
#include "model/PassSteps.h"

#include <new>

CCluster* sktDriveNewCluster()
{
    CCluster* cluster = new (std::nothrow) CCluster;
    if (cluster == nullptr)
    {
        // The handler must not return into the build; if it does, the build gives up.
        sktAllocFailed();
    }
    return cluster;
}

namespace
{
int HasActiveDrivenRel(CNode* node, const DriveRelSet& drive)
{
    POSITION pos = node->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = node->m_RelList.GetNext(pos);
        if (rel->IsActive() && drive.Holds(rel))
        {
            return 1;
        }
    }
    return 0;
}

int BuildFixedCluster(CCluster* cluster, const DriveRelSet& drive)
{
    return sktFillFixedCluster(cluster, [&drive](CNode* node, CCluster* grown)
                               { return sktDriveGrowFromNode(node, grown, drive); });
}
} // namespace

int sktDriveGrowFromNode(CNode* node, CCluster* cluster, const DriveRelSet& drive)
{
    const bool drivenAtStart = cluster->m_wDriven == 1;
    bool driven = drivenAtStart;
    CNodeList layer;
    const int grown = sktGrowFromNode(
        node, cluster, layer,
        // Only nodes determined once the cluster is driven are recomputed; the others keep
        // their geometry and are only checked.
        [&driven](CNode* next) { return driven ? next->Regenerate() : next->IsLegal(); },
        [&driven, &drive](CNode* next)
        {
            if (!driven && HasActiveDrivenRel(next, drive))
            {
                driven = true;
            }
        });
    if (grown == 0)
    {
        return 0;
    }
    if (driven && !drivenAtStart)
    {
        cluster->m_wDriven = 1;
    }
    return 1;
}

namespace
{
// Clusters of the drive pass: grown with regeneration once driven, and driven from the start
// when a relation between the base nodes is.
class DriveSteps : public SeedSteps
{
public:
    explicit DriveSteps(const DriveRelSet& drive) : SeedSteps(true), m_Drive(drive) {}
    CCluster* NewCluster() override { return sktDriveNewCluster(); }
    int BetweenBaseNodes(CCluster* cluster, CRelList& used) override
    {
        POSITION pos = used.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = used.GetNext(pos);
            rel->SetActive();
            if (cluster->m_wDriven == 0 && m_Drive.Holds(rel))
            {
                cluster->m_wDriven = 1;
            }
        }
        if (cluster->m_wDriven == 1)
        {
            // Place the second base node from the first by the changed relations.
            return cluster->m_NodeList.GetTail()->Regenerate() == 0 ? -1 : 1;
        }
        pos = used.GetHeadPosition();
        while (pos != nullptr)
        {
            used.GetNext(pos)->SetUsed();
        }
        return 1;
    }
    int Grow(CNode* node, CCluster* cluster) override
    {
        return sktDriveGrowFromNode(node, cluster, m_Drive);
    }

private:
    const DriveRelSet& m_Drive;
};
} // namespace

int sktDriveSeedCluster(CCluster* cluster, const DriveRelSet& drive)
{
    const int found = sktFindBaseNodesForCluster(cluster);
    if (found != 1)
    {
        return found;
    }
    // The relations still used here are those with known values between the two base nodes.
    CRelList used;
    sktUsedChainRelations(used);
    DriveSteps steps(drive);
    const int taken = steps.BetweenBaseNodes(cluster, used);
    used.RemoveAll();
    return taken;
}

int sktBuildFromOneNode(CNode* node, CCluster* cluster)
try
{
    DriveRelSet drive;
    return sktDriveGrowFromNode(node, cluster, drive);
}
catch (...)
{
    return sktFailAtBoundary(0);
}

int sktBuildFixedCluster(CCluster* cluster)
try
{
    DriveRelSet drive;
    return BuildFixedCluster(cluster, drive);
}
catch (...)
{
    return sktFailAtBoundary(0);
}

int sktFindTwoNodesForBuildCluster(CCluster* cluster)
try
{
    DriveRelSet drive;
    return sktDriveSeedCluster(cluster, drive);
}
catch (...)
{
    return sktFailAtBoundary(0);
}

namespace
{
int BuildClusterChain(bool plain)
{
    DriveRelSet drive;
    CCluster* fixed = sktDriveNewCluster();
    if (fixed == nullptr)
    {
        return 0;
    }
    if (BuildFixedCluster(fixed, drive) == 0)
    {
        delete fixed;
        return 0;
    }
    g_sktClusterChain.AddTail(fixed);

    DriveSteps steps(drive);
    const int seeded = plain ? sktSeedClustersPlainWith(g_sktClusterChain, steps)
                             : sktSeedClustersWith(g_sktClusterChain, steps);
    if (seeded == 0)
    {
        return 0;
    }

    // Nodes that no relation with a known value joins stand alone: each can only move.
    while (!g_sktUndefinedNodeChain.IsEmpty())
    {
        CNode* node = g_sktUndefinedNodeChain.RemoveHead();
        CCluster* cluster = sktDriveNewCluster();
        if (cluster == nullptr)
        {
            return 0;
        }
        cluster->m_nFreeNum = 2;
        node->m_nFreeNum = 0;
        node->ActiveRel();
        cluster->AddNode(node);
        sktGetClusterRelChain(cluster);
        sktRemoveActiveAndUsedRelFromChain();
        g_sktClusterChain.AddTail(cluster);
    }
    // A loose node's activations can determine a neighbour through shared values; nothing is
    // grown from it here, and the pass leaves no node waiting.
    g_sktDefinedNodeChain.RemoveAll();

    // Every cluster's relations go to the clusters that hold their nodes.
    CRelList pool;
    sktPoolClusterRelations(g_sktClusterChain, pool);
    sktDistributeRelations(pool, g_sktClusterChain);
    return 1;
}
} // namespace

int sktBuildClusterChain()
try
{
    return BuildClusterChain(false);
}
catch (...)
{
    return sktFailAtBoundary(0);
}

int sktDriveBuildClusterChainPlain()
{
    return BuildClusterChain(true);
}
