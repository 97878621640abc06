// Placing the rigid clusters against each other: the clusters that hang on the others by no
// more relations than their freedom are stripped and placed one by one after the rest are
// solved together.
#include "drive/Drive.h"

#include "drive/DriveInternal.h"
#include "model/Boundary.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "numeric/NumericInternal.h"

#include <set>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace
{
// Stripping good clusters restarts its walk at the head after each one, and each relation of
// a stripped cluster leaves the first cluster of the chain whose list holds it. Relation counts
// only fall, so the first good cluster is the smallest chain index among those whose count has
// reached their free number: an ordered set of them, and for each relation where it stands in
// which cluster's list, give the same result without walking the chain again.
class GoodClusterStripper
{
public:
    void Run();

private:
    struct Entry
    {
        int cluster;
        POSITION pos;
    };
    void Check(int idx);

    std::vector<CCluster*> m_Clusters;
    std::vector<POSITION> m_ChainPos;
    std::vector<char> m_bRemoved;
    std::set<int> m_Good;
    // Where each relation stands, in chain order of the clusters and list order within one.
    std::unordered_map<CRel*, std::vector<Entry>> m_Entries;
};

void GoodClusterStripper::Check(int idx)
{
    CCluster* cluster = m_Clusters[idx];
    if (idx != 0 && !m_bRemoved[idx] && cluster->GetRelNum() <= cluster->GetFreeNum())
    {
        m_Good.insert(idx);
    }
}

void GoodClusterStripper::Run()
{
    POSITION pos = g_sktClusterChain.GetHeadPosition();
    while (pos != nullptr)
    {
        POSITION at = pos;
        CCluster* cluster = g_sktClusterChain.GetNext(pos);
        const int idx = static_cast<int>(m_Clusters.size());
        m_Clusters.push_back(cluster);
        m_ChainPos.push_back(at);
        POSITION rpos = cluster->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            POSITION rat = rpos;
            CRel* rel = cluster->m_RelList.GetNext(rpos);
            m_Entries[rel].push_back(Entry{idx, rat});
        }
    }
    m_bRemoved.assign(m_Clusters.size(), 0);
    // The head is the fixed cluster: it is never stripped.
    for (int i = 1; i < static_cast<int>(m_Clusters.size()); ++i)
    {
        Check(i);
    }
    while (!m_Good.empty())
    {
        const int idx = *m_Good.begin();
        m_Good.erase(m_Good.begin());
        CCluster* good = m_Clusters[idx];
        g_sktClusterChain.RemoveAt(m_ChainPos[idx]);
        m_bRemoved[idx] = 1;
        g_sktGoodClusterChain.AddHead(good);

        POSITION rpos = good->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            CRel* rel = good->m_RelList.GetNext(rpos);
            std::vector<Entry>& entries = m_Entries[rel];
            for (std::size_t e = 0; e < entries.size(); ++e)
            {
                const int holder = entries[e].cluster;
                if (m_bRemoved[holder])
                {
                    continue;
                }
                m_Clusters[holder]->m_RelList.RemoveAt(entries[e].pos);
                entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(e));
                Check(holder);
                break;
            }
        }
    }
}

// Solves the clusters of the list together, the first one staying; 1 placed, 0 failed.
int SolveClusterList(CClusterList* clusters)
{
    CEquationGrp group(clusters);
    if (group.Solve() == 0)
    {
        return 0;
    }
    group.PlaceClusters(clusters);
    return 1;
}

// Places the good clusters one at a time; 1 all placed, 0 one failed (and left the chain).
int GoodClusterRun()
{
    POSITION pos = g_sktGoodClusterChain.GetHeadPosition();
    while (pos != nullptr)
    {
        // Advance before use: the entry is removed.
        POSITION at = pos;
        CCluster* cluster = g_sktGoodClusterChain.GetNext(pos);
        if (cluster->m_RelList.IsEmpty())
        {
            continue;
        }
        CEquationGrp group(cluster);
        const int solved = group.Solve();
        g_sktGoodClusterChain.RemoveAt(at);
        sktDriveRetiredClusters().Add(cluster);
        if (solved == 0)
        {
            return 0;
        }
        group.PlaceCluster(cluster, &cluster->m_RelList);
        POSITION rpos = cluster->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            CRel* rel = cluster->m_RelList.GetNext(rpos);
            if (rel->m_pVal != nullptr)
            {
                rel->m_pVal->SetKnown();
            }
        }
    }
    return 1;
}
} // namespace

void RetiredClusters::DeleteAll()
{
    for (CCluster* cluster : m_List)
    {
        delete cluster;
    }
    m_List.clear();
}

RetiredClusters& sktDriveRetiredClusters()
{
    static RetiredClusters retired;
    return retired;
}

void sktRemoveGoodClusterFromChain()
{
    GoodClusterStripper stripper;
    stripper.Run();
}

int sktSolveClusterChain()
try
{
    if (g_sktClusterChain.GetCount() == 1)
    {
        return 1;
    }
    return SolveClusterList(&g_sktClusterChain);
}
catch (...)
{
    return sktFailAtBoundary(0);
}

int sktSolveGoodClusterChain()
try
{
    std::vector<CCluster*> copy;
    POSITION pos = g_sktGoodClusterChain.GetHeadPosition();
    while (pos != nullptr)
    {
        copy.push_back(g_sktGoodClusterChain.GetNext(pos));
    }
    if (GoodClusterRun() == 1)
    {
        return 1;
    }
    for (;;)
    {
        if (g_sktClusterChain.IsEmpty())
        {
            // Nothing stays where it is to place the good clusters against.
            return 0;
        }
        std::unordered_set<CCluster*> waiting;
        pos = g_sktGoodClusterChain.GetHeadPosition();
        while (pos != nullptr)
        {
            waiting.insert(g_sktGoodClusterChain.GetNext(pos));
        }
        // The fixed cluster and every good cluster handled so far, the failed one included.
        CClusterList joint;
        joint.AddTail(g_sktClusterChain.GetHead());
        for (CCluster* cluster : copy)
        {
            if (waiting.count(cluster) == 0)
            {
                joint.AddTail(cluster);
            }
        }
        if (SolveClusterList(&joint) == 0)
        {
            return 0;
        }
        // Every run removes a cluster from the chain or succeeds, so this ends.
        if (GoodClusterRun() == 1)
        {
            return 1;
        }
    }
}
catch (...)
{
    return sktFailAtBoundary(0);
}
