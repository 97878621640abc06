// The over-constraint test of the analysis pass: after the translation test, clusters that hang
// loosely on the others are stripped, pairs joined rigidly by three relations are merged, and
// what remains is counted against the clusters' degrees of freedom.
#include "judge/Judge.h"

#include "judge/JudgeInternal.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"

#include <unordered_set>
#include <vector>

namespace
{

// Removes the first cluster that its relations cannot over-constrain, with its relations, from
// the other clusters and the pool; returns whether one was found.
bool StripOneLooseCluster(CClusterList& clusters, CRelList& pool)
{
    POSITION pos = clusters.GetHeadPosition();
    POSITION loosePos = nullptr;
    while (pos != nullptr)
    {
        const POSITION at = pos;
        CCluster* cluster = clusters.GetNext(pos);
        if (cluster->GetRelNum() <= cluster->GetFreeNum() && sktGetAngleSurplus(cluster) == 0)
        {
            loosePos = at;
            break;
        }
    }
    if (loosePos == nullptr)
    {
        return false;
    }

    CCluster* loose = clusters.GetAt(loosePos);
    POSITION relPos = loose->m_RelList.GetHeadPosition();
    while (relPos != nullptr)
    {
        CRel* rel = loose->m_RelList.GetNext(relPos);
        POSITION otherPos = clusters.GetHeadPosition();
        while (otherPos != nullptr)
        {
            CCluster* other = clusters.GetNext(otherPos);
            if (other == loose)
            {
                continue;
            }
            POSITION found = other->m_RelList.Find(rel);
            if (found != nullptr)
            {
                other->m_RelList.RemoveAt(found);
                RemoveFromList(rel, pool);
            }
        }
    }
    clusters.RemoveAt(loosePos);
    delete loose;
    return true;
}

void StripLooseClusters(CClusterList& clusters, CRelList& pool)
{
    while (StripOneLooseCluster(clusters, pool))
    {
    }
}

// 1 when y was merged into x, 0 when the two are not joined rigidly, -1 when over-constrained.
int PairTest(CCluster* x, CCluster* y, CRelList& pool)
{
    std::unordered_set<CRel*> inY;
    POSITION pos = y->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        inY.insert(y->m_RelList.GetNext(pos));
    }

    // The first relation of each unknown value carries the value; the rest are equations.
    std::vector<CRel*> carriers;
    std::vector<CRel*> equations;
    std::unordered_set<CVal*> carried;
    pos = x->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = x->m_RelList.GetNext(pos);
        if (inY.count(rel) == 0)
        {
            continue;
        }
        if (rel->m_pVal != nullptr && rel->m_pVal->IsUnknown() &&
            carried.insert(rel->m_pVal).second)
        {
            carriers.push_back(rel);
        }
        else
        {
            equations.push_back(rel);
        }
    }

    const size_t q = equations.size();
    if (q > 3)
    {
        return -1;
    }
    if (q < 3)
    {
        return 0;
    }
    if (x->GetFreeNum() < 3 || y->GetFreeNum() < 3)
    {
        return -1;
    }
    int angles = 0;
    for (CRel* rel : equations)
    {
        if (rel->GetType() == SKT_REL_LLANG)
        {
            ++angles;
        }
    }
    if (angles > 1)
    {
        return -1;
    }

    for (const std::vector<CRel*>* part : {&carriers, &equations})
    {
        for (CRel* rel : *part)
        {
            RemoveFromList(rel, pool);
            RemoveFromList(rel, x->m_RelList);
            RemoveFromList(rel, y->m_RelList);
        }
    }
    // The merged body fixes the carried values.
    for (CRel* rel : carriers)
    {
        rel->m_pVal->SetKnown();
    }
    while (!y->m_NodeList.IsEmpty())
    {
        x->AddNode(y->m_NodeList.RemoveHead());
    }
    while (!y->m_RelList.IsEmpty())
    {
        x->AddRel(y->m_RelList.RemoveHead());
    }
    return 1;
}

// Merges pairs until none merges: 1 over-constrained, 0 otherwise.
int MergeRigidPairs(CClusterList& clusters, CRelList& pool)
{
    bool merged = true;
    while (merged)
    {
        merged = false;
        POSITION xPos = clusters.GetHeadPosition();
        while (xPos != nullptr && !merged)
        {
            CCluster* x = clusters.GetNext(xPos);
            POSITION yPos = clusters.GetHeadPosition();
            while (yPos != nullptr)
            {
                const POSITION at = yPos;
                CCluster* y = clusters.GetNext(yPos);
                if (y == x)
                {
                    continue;
                }
                const int result = PairTest(x, y, pool);
                if (result < 0)
                {
                    return 1;
                }
                if (result > 0)
                {
                    clusters.RemoveAt(at);
                    delete y;
                    merged = true;
                    break;
                }
            }
        }
    }
    return 0;
}

int CountAngles(CRelList& rels)
{
    int count = 0;
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        if (rels.GetNext(pos)->GetType() == SKT_REL_LLANG)
        {
            ++count;
        }
    }
    return count;
}

// The degree-of-freedom count over the clusters left in the chain: 1 over-constrained.
int CountOverConstrained(CRelList& pool)
{
    int s = 0;
    int t = 0;
    POSITION pos = g_sktClusterChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = g_sktClusterChain.GetNext(pos);
        s += cluster->GetFreeNum();
        if (cluster->GetFreeNum() == 3)
        {
            ++t;
        }
        else if (!cluster->m_NodeList.IsEmpty() &&
                 cluster->m_NodeList.GetHead()->GetType() == SKT_NODE_LINE)
        {
            // A line alone can still turn.
            ++t;
        }
    }

    // Three freedoms belong to the sketch as a whole and are not the relations' to take.
    const int e = sktGetEffectiveRelNum(pool);
    if (e > s - 3)
    {
        return 1;
    }
    int rest = s - e - 3;
    if (CountAngles(pool) > t - 1)
    {
        return 1;
    }

    const int e2 = sktGetEffectiveRelNum(pool);
    pos = g_sktClusterChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = g_sktClusterChain.GetNext(pos);
        int limit = cluster->GetRelNum() - cluster->GetFreeNum() - e2 + s - 3;
        if (limit > rest)
        {
            limit = rest;
        }
        const int surplus = sktGetAngleSurplus(cluster);
        rest -= surplus;
        if (surplus > limit || rest < 0)
        {
            return 1;
        }
    }
    return 0;
}

} // namespace

int sktIsClusterChainOverConstrain(CClusterList& clusters)
{
    CRelList pool(10);
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
    sktDistributeRelations(pool, clusters);

    if (sktIsTranslationOverConstrained(clusters) != 0)
    {
        return 1;
    }
    StripLooseClusters(clusters, pool);
    if (clusters.IsEmpty())
    {
        return 0;
    }
    if (MergeRigidPairs(clusters, pool) != 0)
    {
        return 1;
    }
    StripLooseClusters(clusters, pool);
    if (clusters.GetCount() < 2)
    {
        return pool.IsEmpty() ? 0 : 1;
    }
    return CountOverConstrained(pool);
}
