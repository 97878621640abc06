// Handing relations to the clusters that hold their nodes, and the counts the over-constraint
// test makes over relation lists.
#include "judge/JudgeInternal.h"

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"

#include <unordered_map>
#include <unordered_set>
#include <vector>

void sktPoolClusterRelations(CClusterList& clusters, CRelList& pool)
{
    POSITION pos = clusters.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = clusters.GetNext(pos);
        POSITION relPos = cluster->m_RelList.GetHeadPosition();
        while (relPos != nullptr)
        {
            pool.AddTail(cluster->m_RelList.GetNext(relPos));
        }
    }
}

void sktDistributeRelations(CRelList& pool, CClusterList& clusters)
{
    // Index the clusters of every node once instead of searching node lists per relation.
    // Indices are ascending per node, so merging two of them walks the clusters in list order.
    std::unordered_map<CNode*, std::vector<int>> clustersOfNode;
    std::vector<CCluster*> order;
    POSITION pos = clusters.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = clusters.GetNext(pos);
        const int index = static_cast<int>(order.size());
        order.push_back(cluster);
        cluster->RemoveAllRel();
        POSITION nodePos = cluster->m_NodeList.GetHeadPosition();
        while (nodePos != nullptr)
        {
            std::vector<int>& of = clustersOfNode[cluster->m_NodeList.GetNext(nodePos)];
            if (of.empty() || of.back() != index)
            {
                of.push_back(index);
            }
        }
    }

    static const std::vector<int> none;
    pos = pool.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = pool.GetNext(pos);
        auto it1 = clustersOfNode.find(rel->m_pNode1);
        auto it2 = clustersOfNode.find(rel->m_pNode2);
        const std::vector<int>& a = it1 != clustersOfNode.end() ? it1->second : none;
        const std::vector<int>& b = it2 != clustersOfNode.end() ? it2->second : none;
        size_t i = 0;
        size_t j = 0;
        int given = 0;
        int last = -1;
        // A relation goes to at most two clusters: the ones of its two ends.
        while (given < 2 && (i < a.size() || j < b.size()))
        {
            int next;
            if (j >= b.size() || (i < a.size() && a[i] <= b[j]))
            {
                next = a[i++];
            }
            else
            {
                next = b[j++];
            }
            if (next == last)
            {
                continue;
            }
            order[static_cast<size_t>(next)]->AddRel(rel);
            last = next;
            ++given;
        }
    }
}

int sktGetEffectiveRelNum(CRelList& rels)
{
    int count = 0;
    std::unordered_set<CVal*> unknownSeen;
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        // A relation without a value object is taken as an equation of its own.
        if (rel->m_pVal == nullptr || rel->m_pVal->IsKnown())
        {
            ++count;
        }
        else if (!unknownSeen.insert(rel->m_pVal).second)
        {
            ++count;
        }
    }
    return count;
}

int sktGetAngleSurplus(CCluster* cluster)
{
    const int free = cluster->GetFreeNum();
    int angles = 0;
    int others = 0;
    POSITION pos = cluster->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        if (cluster->m_RelList.GetNext(pos)->GetType() == SKT_REL_LLANG)
        {
            ++angles;
        }
        else
        {
            ++others;
        }
    }
    return sktAngleSurplusOf(free, angles, others);
}

int sktAngleSurplusOf(int free, int angles, int others)
{
    if (others >= free - 1)
    {
        return 0;
    }
    const int taken = angles < free - others ? angles : free - others;
    return taken > 1 ? taken - 1 : 0;
}
