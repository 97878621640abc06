// Seeding and growing every cluster after the main one, for the analysis and the drive pass:
// the host's loop over the exported steps, once as those steps and once with the same effects
// found through indexes, so that a sketch of many small clusters costs what its clusters touch
// rather than a walk of both chains per cluster.
#include "judge/JudgeInternal.h"

#include "judge/Judge.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/PassSteps.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <queue>
#include <unordered_map>
#include <utility>
#include <vector>

namespace
{

// Grows a seeded cluster from its two base nodes. Growing appends to the node list, so both are
// taken before it starts. False on a contradiction.
bool GrowFromBaseNodes(CCluster* cluster, SeedSteps& steps)
{
    POSITION pos = cluster->m_NodeList.GetHeadPosition();
    CNode* first = cluster->m_NodeList.GetNext(pos);
    CNode* second = cluster->m_NodeList.GetAt(pos);
    return steps.Grow(first, cluster) != 0 && steps.Grow(second, cluster) != 0;
}

// The analysis grows clusters by known-propagation and has nothing to do between base nodes.
class JudgeSteps : public SeedSteps
{
public:
    JudgeSteps() : SeedSteps(false) {}
    CCluster* NewCluster() override { return new CCluster(); }
    int BetweenBaseNodes(CCluster*, CRelList&) override { return 1; }
    int Grow(CNode* node, CCluster* cluster) override
    {
        return sktReasoningFromOneNode(node, cluster);
    }
};

// The indexed loop. While no value becomes known, a round changes relation states only on the
// relations of the nodes it takes into its cluster, and free numbers only on those nodes and
// their neighbours. A value that becomes known can reach relations anywhere (every relation
// sharing it is looked at again): such a round finishes with the plain steps and the indexes
// are built anew. Sketches the indexes cannot follow take the plain loop.
class Seeder
{
public:
    explicit Seeder(SeedSteps& steps) : m_Steps(steps) {}

    // Indexes the chains as the main cluster left them; false when the sketch is not one the
    // indexes can follow.
    bool Prepare()
    {
        m_Nodes.clear();
        m_NodeIndex.clear();
        m_Rels.clear();
        m_RelIndex.clear();
        m_Keys.clear();
        m_Buckets.clear();
        m_Touched.clear();
        if (!g_sktDefinedNodeChain.IsEmpty() || !g_sktKnownNodeChain.IsEmpty())
        {
            return false;
        }
        POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
        while (pos != nullptr)
        {
            const POSITION at = pos;
            CNode* node = g_sktUndefinedNodeChain.GetNext(pos);
            if (!m_NodeIndex.emplace(node, static_cast<int>(m_Nodes.size())).second)
            {
                return false;
            }
            NodeInfo info;
            info.node = node;
            info.at = at;
            m_Nodes.push_back(info);
        }
        pos = g_sktRelChain.GetHeadPosition();
        while (pos != nullptr)
        {
            const POSITION at = pos;
            CRel* rel = g_sktRelChain.GetNext(pos);
            const int ends[2] = {NodeIndexOf(rel->m_pNode1), NodeIndexOf(rel->m_pNode2)};
            if (!rel->IsUnused() || rel->m_pVal == nullptr || ends[0] < 0 || ends[1] < 0 ||
                ends[0] == ends[1] ||
                !m_RelIndex.emplace(rel, static_cast<int>(m_Rels.size())).second)
            {
                return false;
            }
            const bool known = rel->m_pVal->IsKnown() != 0;
            m_Rels.push_back({rel, at, true, false, known});
            if (known)
            {
                for (int end : ends)
                {
                    ++m_Nodes[static_cast<size_t>(end)].keyCount;
                }
            }
        }
        // Outside the relation chain a node may only hold relations already taken into account.
        for (NodeInfo& info : m_Nodes)
        {
            POSITION relPos = info.node->m_RelList.GetHeadPosition();
            while (relPos != nullptr)
            {
                CRel* rel = info.node->m_RelList.GetNext(relPos);
                if (m_RelIndex.count(rel) == 0 && !rel->IsUsed())
                {
                    return false;
                }
            }
        }

        // The ends of the relation chain, grouped by node, each group in chain order: a node's
        // first live end is where the walk of the first base node would meet it first.
        size_t start = 0;
        for (NodeInfo& info : m_Nodes)
        {
            info.keyBegin = start;
            info.keyNext = start;
            start += info.keyCount;
        }
        m_Keys.assign(start, 0);
        std::vector<size_t> fill(m_Nodes.size());
        for (size_t i = 0; i < m_Nodes.size(); ++i)
        {
            fill[i] = m_Nodes[i].keyBegin;
        }
        for (size_t r = 0; r < m_Rels.size(); ++r)
        {
            // The walk for the first base node looks only at relations with a known value.
            if (!m_Rels[r].known)
            {
                continue;
            }
            const int ends[2] = {NodeIndexOf(m_Rels[r].rel->m_pNode1),
                                 NodeIndexOf(m_Rels[r].rel->m_pNode2)};
            for (int slot = 0; slot < 2; ++slot)
            {
                m_Keys[fill[static_cast<size_t>(ends[slot])]++] = static_cast<int>(2 * r) + slot;
            }
        }
        for (size_t i = 0; i < m_Nodes.size(); ++i)
        {
            Rank(static_cast<int>(i));
        }
        return true;
    }

    // 1 when seeding ended without a contradiction, 0 on one.
    int Run(CClusterList& clusters)
    {
        // Free numbers are as the main cluster left them: the first reset is the whole chain's.
        bool wholeReset = true;
        bool plainFromHere = false;
        const int result = sktSeedClusterLoop(
            clusters, [&] { return !plainFromHere && !g_sktUndefinedNodeChain.IsEmpty(); },
            [&] { return m_Steps.NewCluster(); },
            [&](CCluster* cluster)
            {
                if (wholeReset)
                {
                    sktInitUndefinedNodeChain();
                    wholeReset = false;
                }
                else
                {
                    ResetTouched();
                }
                bool valueBecameKnown = false;
                const int seeded = FindBaseNodes(cluster, valueBecameKnown);
                if (seeded != 1)
                {
                    return seeded;
                }
                if (m_Steps.TakesBaseRelations() && TakeBaseRelations(cluster) != 1)
                {
                    return -1;
                }
                if (!GrowFromBaseNodes(cluster, m_Steps))
                {
                    return -1;
                }
                POSITION nodePos = cluster->m_NodeList.GetHeadPosition();
                while (nodePos != nullptr && !valueBecameKnown)
                {
                    valueBecameKnown = MadeValueKnown(cluster->m_NodeList.GetNext(nodePos));
                }
                if (!valueBecameKnown)
                {
                    CollectClusterRels(cluster);
                    RemoveTakenFromChains(cluster);
                    return 1;
                }
                sktGetClusterRelChain(cluster);
                sktRemoveKnownNodeFromChain();
                sktRemoveActiveAndUsedRelFromChain();
                plainFromHere = !Prepare();
                wholeReset = true;
                return 1;
            });
        return result == 1 && plainFromHere ? sktSeedClustersPlainWith(clusters, m_Steps) : result;
    }

private:
    struct NodeInfo
    {
        CNode* node = nullptr;
        POSITION at = nullptr; // in the undefined node chain
        bool inChain = true;
        bool touched = false;
        // Its ends of relations in the relation chain: m_Keys[keyBegin, keyBegin + keyCount),
        // ascending; those before keyNext have left the chain.
        size_t keyBegin = 0;
        size_t keyCount = 0;
        size_t keyNext = 0;
        bool ranked = false;
        int rankCount = 0;
        int rankKey = 0;
    };
    struct RelInfo
    {
        CRel* rel;
        POSITION at; // in the relation chain
        bool inChain;
        bool seen;
        bool known; // its value when the indexes were built
    };

    int NodeIndexOf(CNode* node) const
    {
        auto it = m_NodeIndex.find(node);
        return it == m_NodeIndex.end() ? -1 : it->second;
    }

    RelInfo* RelInfoOf(CRel* rel)
    {
        auto it = m_RelIndex.find(rel);
        return it == m_RelIndex.end() ? nullptr : &m_Rels[static_cast<size_t>(it->second)];
    }

    // Puts the node in the ranking of first base nodes: most unused known relations first, then
    // the earliest end in the relation chain (2 * chain index, +1 for a second node). Entries
    // left behind by a node's earlier rank are dropped when they come to the top.
    void Rank(int index)
    {
        NodeInfo& info = m_Nodes[static_cast<size_t>(index)];
        info.ranked = false;
        const size_t end = info.keyBegin + info.keyCount;
        while (info.keyNext < end && !m_Rels[static_cast<size_t>(m_Keys[info.keyNext] / 2)].inChain)
        {
            ++info.keyNext;
        }
        if (!info.inChain || info.keyNext == end)
        {
            return;
        }
        info.rankCount = info.node->GetUnusedKnownRelNum();
        info.rankKey = m_Keys[info.keyNext];
        info.ranked = true;
        const size_t bucket = static_cast<size_t>(info.rankCount);
        if (bucket >= m_Buckets.size())
        {
            m_Buckets.resize(bucket + 1);
        }
        m_Buckets[bucket].push({info.rankKey, index});
    }

    // The node the walk of the relation chain would choose as first base node, or -1.
    int BestRanked()
    {
        for (size_t bucket = m_Buckets.size(); bucket-- > 0;)
        {
            Bucket& heap = m_Buckets[bucket];
            while (!heap.empty())
            {
                const NodeInfo& info = m_Nodes[static_cast<size_t>(heap.top().second)];
                if (info.ranked && static_cast<size_t>(info.rankCount) == bucket &&
                    info.rankKey == heap.top().first)
                {
                    return heap.top().second;
                }
                heap.pop();
            }
            m_Buckets.pop_back();
        }
        return -1;
    }

    // Whether a value of one of the node's relations has become known since the indexes were
    // built. A value becomes known only through a relation of a node being activated or
    // checked, so asking the nodes a round took finds every such round.
    bool MadeValueKnown(CNode* node)
    {
        POSITION pos = node->m_RelList.GetHeadPosition();
        while (pos != nullptr)
        {
            RelInfo* info = RelInfoOf(node->m_RelList.GetNext(pos));
            if (info != nullptr && !info->known && info->rel->m_pVal->IsKnown())
            {
                return true;
            }
        }
        return false;
    }

    void ResetTouched()
    {
        for (int index : m_Touched)
        {
            NodeInfo& info = m_Nodes[static_cast<size_t>(index)];
            info.touched = false;
            if (info.inChain)
            {
                info.node->m_nFreeNum = 2;
            }
        }
        m_Touched.clear();
    }

    // The node's relations that are still in the relation chain, each once, in chain order.
    void ChainRelsOf(CNode* node, std::vector<int>& rels)
    {
        rels.clear();
        POSITION pos = node->m_RelList.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = node->m_RelList.GetNext(pos);
            auto it = m_RelIndex.find(rel);
            if (it != m_RelIndex.end() && m_Rels[static_cast<size_t>(it->second)].inChain)
            {
                rels.push_back(it->second);
            }
        }
        std::sort(rels.begin(), rels.end());
        rels.erase(std::unique(rels.begin(), rels.end()), rels.end());
    }

    // sktFindBaseNodesForCluster, with the walks of the relation chain narrowed to what can
    // answer them: the ranking for the first base node, its own relations for the rest.
    int FindBaseNodes(CCluster* cluster, bool& valueBecameKnown)
    {
        if (g_sktUndefinedNodeChain.GetCount() < 2)
        {
            return 0;
        }
        const int best = BestRanked();
        if (best < 0)
        {
            return 0;
        }
        CNode* first = m_Nodes[static_cast<size_t>(best)].node;
        first->m_nFreeNum = 0;
        if (first->ActiveRel() == 0)
        {
            return -1;
        }
        valueBecameKnown = MadeValueKnown(first);
        // Unless a value became known, only the first node's relations can be active now.
        ChainRelsOf(first, m_FirstRels);
        auto forFirstRels = [this](auto f)
        {
            for (int r : m_FirstRels)
            {
                f(m_Rels[static_cast<size_t>(r)].rel);
            }
        };
        CNode* second = valueBecameKnown ? sktChooseSecondBaseNode(first)
                                         : sktChooseSecondBaseNodeAmong(first, forFirstRels);
        if (second == nullptr)
        {
            g_sktDefinedNodeChain.RemoveAll();
            return 0;
        }

        if (sktTakeBaseNodes(cluster, first, second) != 1)
        {
            return -1;
        }
        // Only a second node that the first determined has been checked, and so can have made
        // a value known.
        if (cluster->m_nFreeNum == 2)
        {
            valueBecameKnown = valueBecameKnown || MadeValueKnown(second);
        }

        if (valueBecameKnown)
        {
            sktUndoFirstActivation(first, second);
        }
        else
        {
            // Undoing the first node's activation touches only its relations: the rest of the
            // chain is unused already.
            sktUndoFirstActivationAmong(first, second, forFirstRels);
        }
        g_sktDefinedNodeChain.RemoveAll();
        return 1;
    }

    // The used relations of the chain are among the first base node's: its activation was
    // taken back except towards the second.
    int TakeBaseRelations(CCluster* cluster)
    {
        CRelList used;
        for (int r : m_FirstRels)
        {
            CRel* rel = m_Rels[static_cast<size_t>(r)].rel;
            if (rel->IsUsed())
            {
                used.AddTail(rel);
            }
        }
        const int taken = m_Steps.BetweenBaseNodes(cluster, used);
        used.RemoveAll();
        return taken;
    }

    // sktGetClusterRelChain: the active relations are those of the cluster's nodes.
    void CollectClusterRels(CCluster* cluster)
    {
        std::vector<int>& active = m_Active;
        active.clear();
        POSITION pos = cluster->m_NodeList.GetHeadPosition();
        while (pos != nullptr)
        {
            CNode* node = cluster->m_NodeList.GetNext(pos);
            POSITION relPos = node->m_RelList.GetHeadPosition();
            while (relPos != nullptr)
            {
                RelInfo* info = RelInfoOf(node->m_RelList.GetNext(relPos));
                if (info != nullptr && info->inChain && !info->seen && info->rel->IsActive())
                {
                    info->seen = true;
                    active.push_back(static_cast<int>(info - m_Rels.data()));
                }
            }
        }
        std::sort(active.begin(), active.end());
        for (int r : active)
        {
            RelInfo& info = m_Rels[static_cast<size_t>(r)];
            info.seen = false;
            cluster->AddRel(info.rel);
            info.rel->SetUsed();
        }
    }

    // sktRemoveKnownNodeFromChain and sktRemoveActiveAndUsedRelFromChain: the known nodes are
    // the cluster's, the relations taken are theirs. Their other ends are the nodes whose free
    // numbers and counts the round changed.
    void RemoveTakenFromChains(CCluster* cluster)
    {
        std::vector<int>& ends = m_Ends;
        ends.clear();
        POSITION pos = cluster->m_NodeList.GetHeadPosition();
        while (pos != nullptr)
        {
            CNode* node = cluster->m_NodeList.GetNext(pos);
            const int index = NodeIndexOf(node);
            if (index < 0)
            {
                continue;
            }
            NodeInfo& info = m_Nodes[static_cast<size_t>(index)];
            if (info.inChain && node->IsKnown())
            {
                g_sktUndefinedNodeChain.RemoveAt(info.at);
                info.inChain = false;
                ends.push_back(index);
            }
            POSITION relPos = node->m_RelList.GetHeadPosition();
            while (relPos != nullptr)
            {
                RelInfo* rel = RelInfoOf(node->m_RelList.GetNext(relPos));
                if (rel == nullptr || !rel->inChain ||
                    (!rel->rel->IsActive() && !rel->rel->IsUsed()))
                {
                    continue;
                }
                g_sktRelChain.RemoveAt(rel->at);
                rel->inChain = false;
                ends.push_back(NodeIndexOf(rel->rel->m_pNode1));
                ends.push_back(NodeIndexOf(rel->rel->m_pNode2));
            }
        }
        for (int index : ends)
        {
            NodeInfo& info = m_Nodes[static_cast<size_t>(index)];
            if (info.touched)
            {
                continue;
            }
            info.touched = true;
            m_Touched.push_back(index);
            Rank(index);
        }
    }

    SeedSteps& m_Steps;
    std::vector<NodeInfo> m_Nodes;
    std::unordered_map<CNode*, int> m_NodeIndex;
    std::vector<RelInfo> m_Rels;
    std::unordered_map<CRel*, int> m_RelIndex;
    std::vector<int> m_Keys;
    // Per count of unused known relations, the ranked nodes by their earliest end.
    typedef std::priority_queue<std::pair<int, int>, std::vector<std::pair<int, int>>,
                                std::greater<std::pair<int, int>>>
        Bucket;
    std::vector<Bucket> m_Buckets;
    std::vector<int> m_Touched;
    // Scratch lists of one round, kept to save allocating them per cluster.
    std::vector<int> m_FirstRels;
    std::vector<int> m_Active;
    std::vector<int> m_Ends;
};

} // namespace

void sktUsedChainRelations(CRelList& used)
{
    POSITION pos = g_sktRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = g_sktRelChain.GetNext(pos);
        if (rel->IsUsed())
        {
            used.AddTail(rel);
        }
    }
}

int sktSeedClustersPlainWith(CClusterList& clusters, SeedSteps& steps)
{
    return sktSeedClusterLoop(
        clusters, [] { return !g_sktUndefinedNodeChain.IsEmpty(); },
        [&steps] { return steps.NewCluster(); },
        [&steps](CCluster* cluster)
        {
            sktInitUndefinedNodeChain();
            const int seeded = sktFindBaseNodesForCluster(cluster);
            if (seeded != 1)
            {
                return seeded;
            }
            if (steps.TakesBaseRelations())
            {
                CRelList used;
                sktUsedChainRelations(used);
                const int taken = steps.BetweenBaseNodes(cluster, used);
                used.RemoveAll();
                if (taken != 1)
                {
                    return -1;
                }
            }
            if (!GrowFromBaseNodes(cluster, steps))
            {
                return -1;
            }
            sktGetClusterRelChain(cluster);
            sktRemoveKnownNodeFromChain();
            sktRemoveActiveAndUsedRelFromChain();
            return 1;
        });
}

int sktSeedClustersWith(CClusterList& clusters, SeedSteps& steps)
{
    Seeder seeder(steps);
    if (!seeder.Prepare())
    {
        return sktSeedClustersPlainWith(clusters, steps);
    }
    return seeder.Run(clusters);
}

int sktSeedClustersPlain(CClusterList& clusters)
{
    JudgeSteps steps;
    return sktSeedClustersPlainWith(clusters, steps);
}

int sktSeedClusters(CClusterList& clusters)
{
    JudgeSteps steps;
    return sktSeedClustersWith(clusters, steps);
}
