// The over-constraint test of the analysis pass: after the translation test, clusters that hang
// loosely on the others are stripped, pairs joined rigidly by three relations are merged, and
// what remains is counted against the clusters' degrees of freedom.
#include "judge/Judge.h"

#include "judge/JudgeInternal.h"
#include "model/Boundary.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace
{

// Removing relations from the pool by value, first occurrence first, without searching it: the
// positions of every relation's entries are indexed once, in pool order.
class PoolIndex
{
public:
    explicit PoolIndex(CRelList& pool) : m_Pool(pool)
    {
        m_First.reserve(static_cast<size_t>(pool.GetCount()));
        POSITION pos = pool.GetHeadPosition();
        while (pos != nullptr)
        {
            const POSITION at = pos;
            CRel* rel = pool.GetNext(pos);
            const int entry = static_cast<int>(m_At.size());
            m_At.push_back(at);
            m_Next.push_back(-1);
            auto inserted = m_First.emplace(rel, Chain{entry, entry});
            if (!inserted.second)
            {
                m_Next[static_cast<size_t>(inserted.first->second.last)] = entry;
                inserted.first->second.last = entry;
            }
        }
    }

    void Remove(CRel* rel)
    {
        auto it = m_First.find(rel);
        if (it == m_First.end() || it->second.first < 0)
        {
            return;
        }
        const size_t entry = static_cast<size_t>(it->second.first);
        m_Pool.RemoveAt(m_At[entry]);
        it->second.first = m_Next[entry];
    }

private:
    // The entries of one relation, linked in pool order.
    struct Chain
    {
        int first;
        int last;
    };
    CRelList& m_Pool;
    std::vector<POSITION> m_At;
    std::vector<int> m_Next;
    std::unordered_map<CRel*, Chain> m_First;
};

// Stripping clusters that hang loosely on the others. Which cluster is loose depends only on its
// own relation list, so the loose ones are kept in a heap ordered by list position and only the
// clusters that lose a relation are looked at again; each relation knows where it stands in
// every list, so no list is searched.
class LooseStripper
{
public:
    LooseStripper(CClusterList& clusters, PoolIndex& pool) : m_Clusters(clusters), m_Pool(pool)
    {
        POSITION pos = clusters.GetHeadPosition();
        while (pos != nullptr)
        {
            const POSITION at = pos;
            CCluster* cluster = clusters.GetNext(pos);
            const int index = static_cast<int>(m_Entries.size());
            Entry entry;
            entry.cluster = cluster;
            entry.at = at;
            POSITION relPos = cluster->m_RelList.GetHeadPosition();
            while (relPos != nullptr)
            {
                const POSITION relAt = relPos;
                CRel* rel = cluster->m_RelList.GetNext(relPos);
                const int holding = static_cast<int>(m_Holdings.size());
                m_Holdings.push_back({index, relAt, true, -1});
                auto inserted = m_HoldingsOf.emplace(rel, Chain{holding, holding});
                if (!inserted.second)
                {
                    m_Holdings[static_cast<size_t>(inserted.first->second.last)].next = holding;
                    inserted.first->second.last = holding;
                }
                ++(rel->GetType() == SKT_REL_LLANG ? entry.angles : entry.others);
            }
            m_Entries.push_back(entry);
            if (IsLoose(entry))
            {
                m_Loose.push(index);
            }
        }
    }

    void Run()
    {
        // A cluster may stand in the heap more than once, or no longer be loose: the first entry
        // that is still alive and loose is the first loose cluster of the list.
        while (!m_Loose.empty())
        {
            const int k = m_Loose.top();
            m_Loose.pop();
            const Entry& entry = m_Entries[static_cast<size_t>(k)];
            if (entry.cluster != nullptr && IsLoose(entry))
            {
                StripOne(k);
            }
        }
    }

private:
    struct Entry
    {
        CCluster* cluster = nullptr;
        POSITION at = nullptr;
        int angles = 0;
        int others = 0;
    };
    // Where a relation stands in one cluster's list; those of one relation are linked.
    struct Holding
    {
        int cluster;
        POSITION at;
        bool alive;
        int next;
    };
    struct Chain
    {
        int first;
        int last;
    };

    static bool IsLoose(const Entry& e)
    {
        const int free = e.cluster->GetFreeNum();
        return e.angles + e.others <= free && sktAngleSurplusOf(free, e.angles, e.others) == 0;
    }

    void StripOne(int k)
    {
        CCluster* loose = m_Entries[static_cast<size_t>(k)].cluster;
        POSITION relPos = loose->m_RelList.GetHeadPosition();
        while (relPos != nullptr)
        {
            CRel* rel = loose->m_RelList.GetNext(relPos);
            auto it = m_HoldingsOf.find(rel);
            if (it == m_HoldingsOf.end())
            {
                continue;
            }
            // Holdings stand in list order of the clusters, and within one cluster in the order
            // of its list: the first live one of each other cluster is its first occurrence.
            int done = -1;
            for (int at = it->second.first; at >= 0; at = m_Holdings[static_cast<size_t>(at)].next)
            {
                Holding& h = m_Holdings[static_cast<size_t>(at)];
                if (!h.alive || h.cluster == k || h.cluster == done)
                {
                    continue;
                }
                Entry& other = m_Entries[static_cast<size_t>(h.cluster)];
                if (other.cluster == nullptr)
                {
                    continue;
                }
                done = h.cluster;
                h.alive = false;
                other.cluster->m_RelList.RemoveAt(h.at);
                --(rel->GetType() == SKT_REL_LLANG ? other.angles : other.others);
                m_Pool.Remove(rel);
                if (IsLoose(other))
                {
                    m_Loose.push(h.cluster);
                }
            }
        }
        m_Clusters.RemoveAt(m_Entries[static_cast<size_t>(k)].at);
        m_Entries[static_cast<size_t>(k)].cluster = nullptr;
        delete loose;
    }

    CClusterList& m_Clusters;
    PoolIndex& m_Pool;
    std::vector<Entry> m_Entries;
    std::vector<Holding> m_Holdings;
    std::unordered_map<CRel*, Chain> m_HoldingsOf;
    std::priority_queue<int, std::vector<int>, std::greater<int>> m_Loose;
};

// Removes, one at a time and always the first in list order, every cluster that its relations
// cannot over-constrain, with its relations, from the other clusters and the pool.
void StripLooseClusters(CClusterList& clusters, PoolIndex& pool)
{
    LooseStripper stripper(clusters, pool);
    stripper.Run();
}

// 1 when y was merged into x, 0 when the two are not joined rigidly, -1 when over-constrained.
int PairTest(CCluster* x, CCluster* y, PoolIndex& pool)
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
            pool.Remove(rel);
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

// Merges pairs until none merges: 1 over-constrained, 0 otherwise. A pair that shares no
// relation cannot be joined by one, so each cluster is tested only against the clusters that
// hold one of its relations, in list order.
int MergeRigidPairs(CClusterList& clusters, PoolIndex& pool)
{
    std::vector<CCluster*> order;
    std::vector<POSITION> at;
    std::unordered_map<CRel*, std::vector<int>> holders;
    std::vector<int> candidates;
    bool merged = true;
    while (merged)
    {
        merged = false;
        order.clear();
        at.clear();
        holders.clear();
        POSITION pos = clusters.GetHeadPosition();
        while (pos != nullptr)
        {
            at.push_back(pos);
            CCluster* cluster = clusters.GetNext(pos);
            const int index = static_cast<int>(order.size());
            order.push_back(cluster);
            POSITION relPos = cluster->m_RelList.GetHeadPosition();
            while (relPos != nullptr)
            {
                std::vector<int>& of = holders[cluster->m_RelList.GetNext(relPos)];
                if (of.empty() || of.back() != index)
                {
                    of.push_back(index);
                }
            }
        }
        for (size_t xi = 0; xi < order.size() && !merged; ++xi)
        {
            CCluster* x = order[xi];
            candidates.clear();
            POSITION relPos = x->m_RelList.GetHeadPosition();
            while (relPos != nullptr)
            {
                for (int yi : holders[x->m_RelList.GetNext(relPos)])
                {
                    if (order[static_cast<size_t>(yi)] != x)
                    {
                        candidates.push_back(yi);
                    }
                }
            }
            std::sort(candidates.begin(), candidates.end());
            candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
            for (int yi : candidates)
            {
                CCluster* y = order[static_cast<size_t>(yi)];
                const int result = PairTest(x, y, pool);
                if (result < 0)
                {
                    return 1;
                }
                if (result > 0)
                {
                    clusters.RemoveAt(at[static_cast<size_t>(yi)]);
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
try
{
    CRelList pool(10);
    sktPoolClusterRelations(clusters, pool);
    sktDistributeRelations(pool, clusters);
    PoolIndex poolIndex(pool);

    if (sktIsTranslationOverConstrained(clusters) != 0)
    {
        return 1;
    }
    StripLooseClusters(clusters, poolIndex);
    if (clusters.IsEmpty())
    {
        return 0;
    }
    if (MergeRigidPairs(clusters, poolIndex) != 0)
    {
        return 1;
    }
    StripLooseClusters(clusters, poolIndex);
    if (clusters.GetCount() < 2)
    {
        return pool.IsEmpty() ? 0 : 1;
    }
    return CountOverConstrained(pool);
}
catch (...)
{
    // A test that could not finish does not vouch for the sketch.
    return sktFailAtBoundary(1);
}
