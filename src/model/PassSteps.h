// Steps the analysis and the drive pass both take: the seeding loop, deleting the clusters a
// chain holds, trying whether two relations place a node, and the sweeps that strip nodes.
// Written once so the passes, and their plain and indexed ways, cannot drift apart.
#pragma once

#include "model/CNode.h"
#include "model/Chains.h"
#include "model/PtrList.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <queue>
#include <type_traits>
#include <vector>

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

/// Known-propagation from a node taken as known, layer by layer: its relations are activated,
/// every node that thereby became determined (g_sktDefinedNodeChain) is checked by `check`
/// and waits in `layer`, then each of those has its relations activated, is told to
/// `activated` and joins the cluster, until nothing more is determined. `activated` hears of
/// the first node too. 1, or 0 when an activation or a check refuses.
template <class Check, class Activated>
int sktGrowFromNode(CNode* node, CCluster* cluster, CNodeList& layer, Check check,
                    Activated activated)
{
    if (node->ActiveRel() == 0)
    {
        return 0;
    }
    activated(node);
    while (!g_sktDefinedNodeChain.IsEmpty())
    {
        while (!g_sktDefinedNodeChain.IsEmpty())
        {
            CNode* defined = g_sktDefinedNodeChain.RemoveHead();
            if (check(defined) == 0)
            {
                return 0;
            }
            layer.AddTail(defined);
        }
        while (!layer.IsEmpty())
        {
            CNode* known = layer.RemoveHead();
            if (known->ActiveRel() == 0)
            {
                return 0;
            }
            activated(known);
            cluster->AddNode(known);
        }
    }
    return 1;
}

/// Fills the first cluster with the fixed and reference nodes, in chain order, each grown by
/// `grow` (1, or 0 on a contradiction), then takes its relations and what it determined out of
/// the chains. 1, or 0 when such a node was already placed by other fixed geometry or growing
/// refused.
template <class Grow> int sktFillFixedCluster(CCluster* cluster, Grow grow)
{
    cluster->m_nFreeNum = 3;
    POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = g_sktUndefinedNodeChain.GetNext(pos);
        if (!node->IsRefObject() && !node->IsFixed())
        {
            continue;
        }
        // Other fixed or reference geometry has already placed it, partly or wholly.
        if (node->IsDecreaseFreeNum())
        {
            return 0;
        }
        node->m_nFreeNum = 0;
        cluster->AddNode(node);
        if (grow(node, cluster) == 0)
        {
            return 0;
        }
    }
    sktGetClusterRelChain(cluster);
    sktRemoveKnownNodeFromChain();
    sktRemoveActiveAndUsedRelFromChain();
    return 1;
}

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

/// Stripping nodes by sweeps over a chain, repeated until one strips nothing, where each sweep
/// tests only the nodes whose test a strip can have changed since they were last tested. Nodes
/// are numbered in chain order; the sweeps walk from the head or (kFromTail) from the tail. A
/// node touched by the strip of one it stands behind in the walk is due later in the same
/// sweep, any other in the next: the strips happen in the order of the full sweeps.
template <bool kFromTail> class StripSweeps
{
public:
    void Reset(std::size_t count)
    {
        m_bRetired.assign(count, 0);
        m_bInCurrent.assign(count, 0);
        m_bInNext.assign(count, 0);
        m_Current = Queue();
        m_Next.clear();
    }
    /// The node is never tested again (stripped, or kept whatever its neighbours do).
    void Retire(int i) { m_bRetired[static_cast<std::size_t>(i)] = 1; }
    bool IsRetired(int i) const { return m_bRetired[static_cast<std::size_t>(i)] != 0; }
    /// The test of node j may have changed through the strip of node `from`.
    void Touch(int j, int from)
    {
        if (IsRetired(j))
        {
            return;
        }
        if (kFromTail ? j < from : j > from)
        {
            if (!m_bInCurrent[static_cast<std::size_t>(j)])
            {
                m_bInCurrent[static_cast<std::size_t>(j)] = 1;
                m_Current.push(j);
            }
        }
        else
        {
            DueNextSweep(j);
        }
    }
    /// The test of node j may have changed otherwise: it is due in the next sweep.
    void DueNextSweep(int j)
    {
        if (!IsRetired(j) && !m_bInNext[static_cast<std::size_t>(j)])
        {
            m_bInNext[static_cast<std::size_t>(j)] = 1;
            m_Next.push_back(j);
        }
    }
    /// visit(i, firstSweep) tests node i, strips it when it goes and answers whether it did;
    /// endSweep(firstSweep) follows every sweep.
    template <class Visit, class EndSweep> void Run(Visit visit, EndSweep endSweep)
    {
        // The first sweep visits every node, so it needs no queue: a node touched ahead of the
        // walk is due anyway.
        const int count = static_cast<int>(m_bRetired.size());
        std::fill(m_bInCurrent.begin(), m_bInCurrent.end(), 1);
        bool changed = false;
        for (int k = 0; k < count; ++k)
        {
            const int i = kFromTail ? count - 1 - k : k;
            m_bInCurrent[static_cast<std::size_t>(i)] = 0;
            if (!IsRetired(i) && visit(i, true))
            {
                changed = true;
            }
        }
        bool firstSweep = true;
        for (;;)
        {
            while (!m_Current.empty())
            {
                const int i = m_Current.top();
                m_Current.pop();
                m_bInCurrent[static_cast<std::size_t>(i)] = 0;
                if (!IsRetired(i) && visit(i, false))
                {
                    changed = true;
                }
            }
            endSweep(firstSweep);
            firstSweep = false;
            if (!changed)
            {
                break;
            }
            changed = false;
            for (int j : m_Next)
            {
                m_bInNext[static_cast<std::size_t>(j)] = 0;
                if (!IsRetired(j) && !m_bInCurrent[static_cast<std::size_t>(j)])
                {
                    m_bInCurrent[static_cast<std::size_t>(j)] = 1;
                    m_Current.push(j);
                }
            }
            m_Next.clear();
        }
    }

private:
    // The next node of the walk on top.
    typedef std::priority_queue<
        int, std::vector<int>,
        typename std::conditional<kFromTail, std::less<int>, std::greater<int>>::type>
        Queue;
    std::vector<char> m_bRetired;
    std::vector<char> m_bInCurrent;
    std::vector<char> m_bInNext;
    Queue m_Current;
    std::vector<int> m_Next;
};
