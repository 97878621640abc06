// The seeding loop of cluster building without walking the whole undefined-node and relation
// chains for every cluster. Each seed would reset every undefined node, search every relation
// for the base nodes and sweep both chains after growing; here every such step visits only what
// the seed can have changed, and gives the same clusters, chains and states.
#include "drive/DriveInternal.h"

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/PassSteps.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace
{
// What one seed can change: relation states and free numbers only move through activation,
// checks and regeneration of the nodes it handles, and through the re-evaluation that a value
// becoming known starts at every node its sharing relations constrain. The reach of a set of
// nodes follows those shared values (only values that were unknown when seeding began can
// become known) and so bounds every change.
class Seeder
{
public:
    explicit Seeder(const DriveRelSet& drive) : m_Drive(drive) {}
    void Load();
    /// One seed: 1 a cluster was grown, 0 no seed, -1 a contradiction.
    int Seed(CCluster* cluster);
    bool Done() const { return g_sktUndefinedNodeChain.IsEmpty(); }

private:
    int FindBaseNodes(CCluster* cluster);
    void Reach(const std::vector<CNode*>& seeds, std::vector<CNode*>& out);
    // Appends to `nodes`, breadth first and in relation order, every node not yet seen that
    // shares a value `passes` admits with a node already in it.
    template <class Passes> void Spread(std::vector<CNode*>& nodes, Passes passes);
    // The chained relations of the nodes, each once, in chain order.
    std::vector<int> ChainedRelationsOf(const std::vector<CNode*>& nodes);
    void Finish(CCluster* cluster);
    static int IsUnusedKnown(CRel* rel);
    int Count(CNode* node);
    void Refile(int ord);

    const DriveRelSet& m_Drive;

    // g_sktRelChain as it stood when seeding began: order, positions, and what is left of it.
    std::unordered_map<CRel*, int> m_Ord;
    std::vector<CRel*> m_Rels;
    std::vector<POSITION> m_RelPos;
    std::vector<char> m_bChained;

    std::unordered_map<CNode*, POSITION> m_Undefined;
    // Undefined nodes whose free number may differ from 2 since the last reset.
    std::vector<CNode*> m_Reset;

    std::unordered_set<CVal*> m_WasUnknown;

    // Unused relations with known values per node, and the chained relations with known values
    // filed under the counts of their nodes, in chain order.
    std::unordered_map<CNode*, int> m_Count;
    std::unordered_map<CRel*, char> m_UnusedKnown;
    std::vector<std::set<int>> m_ByCount;
    std::vector<std::pair<int, int>> m_FiledAs;

    // Scratch marks, cleared after each use.
    std::unordered_set<CNode*> m_SeenNodes;
    std::unordered_set<CVal*> m_SeenValues;
    std::vector<char> m_bRelSeen;
};

template <class Passes> void Seeder::Spread(std::vector<CNode*>& nodes, Passes passes)
{
    for (std::size_t i = 0; i < nodes.size(); ++i)
    {
        POSITION rpos = nodes[i]->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            CVal* val = nodes[i]->m_RelList.GetNext(rpos)->m_pVal;
            if (val == nullptr || !passes(val))
            {
                continue;
            }
            POSITION spos = val->m_RelSel.GetHeadPosition();
            while (spos != nullptr)
            {
                CRel* sharing = val->m_RelSel.GetNext(spos);
                for (CNode* end : {sharing->m_pNode1, sharing->m_pNode2})
                {
                    if (end != nullptr && m_SeenNodes.insert(end).second)
                    {
                        nodes.push_back(end);
                    }
                }
            }
        }
    }
}

void Seeder::Load()
{
    POSITION pos = g_sktRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        POSITION at = pos;
        CRel* rel = g_sktRelChain.GetNext(pos);
        if (m_Ord.emplace(rel, static_cast<int>(m_Rels.size())).second)
        {
            m_Rels.push_back(rel);
            m_RelPos.push_back(at);
        }
    }
    m_bChained.assign(m_Rels.size(), 1);
    m_bRelSeen.assign(m_Rels.size(), 0);
    m_FiledAs.assign(m_Rels.size(), std::make_pair(-1, -1));

    // Every value that can become known while seeding is reached from the undefined nodes
    // through values that are unknown now.
    std::vector<CNode*> queue;
    pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        POSITION at = pos;
        CNode* node = g_sktUndefinedNodeChain.GetNext(pos);
        m_Undefined.emplace(node, at);
        m_Reset.push_back(node);
        if (m_SeenNodes.insert(node).second)
        {
            queue.push_back(node);
        }
    }
    Spread(queue,
           [this](CVal* val) { return val->m_bKnown == 0 && m_WasUnknown.insert(val).second; });
    // A fresh set: clearing one sized for every node would cost that much on every seed.
    m_SeenNodes = std::unordered_set<CNode*>();

    for (std::size_t ord = 0; ord < m_Rels.size(); ++ord)
    {
        Refile(static_cast<int>(ord));
    }
}

int Seeder::IsUnusedKnown(CRel* rel)
{
    return rel->IsUnused() && rel->m_pVal != nullptr && rel->m_pVal->IsKnown() ? 1 : 0;
}

int Seeder::Count(CNode* node)
{
    auto it = m_Count.find(node);
    if (it != m_Count.end())
    {
        return it->second;
    }
    // What GetUnusedKnownRelNum counts, remembered per relation so that later changes of a
    // relation adjust the counts of both its nodes without recounting a busy node.
    int count = 0;
    POSITION pos = node->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = node->m_RelList.GetNext(pos);
        count += m_UnusedKnown.emplace(rel, static_cast<char>(IsUnusedKnown(rel))).first->second;
    }
    m_Count.emplace(node, count);
    return count;
}

void Seeder::Refile(int ord)
{
    std::pair<int, int>& filed = m_FiledAs[ord];
    for (int c : {filed.first, filed.second})
    {
        if (c >= 0)
        {
            m_ByCount[c].erase(ord);
        }
    }
    filed = std::make_pair(-1, -1);
    CRel* rel = m_Rels[ord];
    if (!m_bChained[ord] || rel->m_pVal == nullptr || rel->m_pVal->m_bKnown == 0)
    {
        return;
    }
    const int c1 = rel->m_pNode1 != nullptr ? Count(rel->m_pNode1) : -1;
    const int c2 = rel->m_pNode2 != nullptr ? Count(rel->m_pNode2) : -1;
    filed = std::make_pair(c1, c2 != c1 ? c2 : -1);
    for (int c : {filed.first, filed.second})
    {
        if (c >= 0)
        {
            if (static_cast<std::size_t>(c) >= m_ByCount.size())
            {
                m_ByCount.resize(static_cast<std::size_t>(c) + 1);
            }
            m_ByCount[c].insert(ord);
        }
    }
}

void Seeder::Reach(const std::vector<CNode*>& seeds, std::vector<CNode*>& out)
{
    out.clear();
    for (CNode* node : seeds)
    {
        if (m_SeenNodes.insert(node).second)
        {
            out.push_back(node);
        }
    }
    Spread(out, [this](CVal* val)
           { return m_WasUnknown.count(val) != 0 && m_SeenValues.insert(val).second; });
    m_SeenNodes.clear();
    m_SeenValues.clear();
}

std::vector<int> Seeder::ChainedRelationsOf(const std::vector<CNode*>& nodes)
{
    std::vector<int> ords;
    for (CNode* node : nodes)
    {
        POSITION rpos = node->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            auto it = m_Ord.find(node->m_RelList.GetNext(rpos));
            if (it != m_Ord.end() && m_bChained[it->second] && !m_bRelSeen[it->second])
            {
                m_bRelSeen[it->second] = 1;
                ords.push_back(it->second);
            }
        }
    }
    for (int ord : ords)
    {
        m_bRelSeen[ord] = 0;
    }
    std::sort(ords.begin(), ords.end());
    return ords;
}

int Seeder::FindBaseNodes(CCluster* cluster)
{
    if (g_sktUndefinedNodeChain.GetCount() < 2)
    {
        return 0;
    }
    // First base node: the node with the most unused known relations, the earliest relation
    // and within it the first node winning a tie.
    int best = -1;
    for (int c = static_cast<int>(m_ByCount.size()) - 1; c >= 0; --c)
    {
        if (!m_ByCount[c].empty())
        {
            best = c;
            break;
        }
    }
    if (best < 0)
    {
        return 0;
    }
    CRel* firstRel = m_Rels[*m_ByCount[best].begin()];
    CNode* base1 = (firstRel->m_pNode1 != nullptr && Count(firstRel->m_pNode1) == best)
                       ? firstRel->m_pNode1
                       : firstRel->m_pNode2;

    base1->m_nFreeNum = 0;
    if (base1->ActiveRel() == 0)
    {
        return -1;
    }

    std::vector<CNode*> reach;
    Reach({base1}, reach);
    CNode* base2 = nullptr;
    int bestCount = -1;
    for (int ord : ChainedRelationsOf(reach))
    {
        CRel* rel = m_Rels[ord];
        if (rel->m_pVal == nullptr || rel->m_pVal->m_bKnown == 0 || !rel->IsActive())
        {
            continue;
        }
        CNode* candidate = rel->m_pNode1 == base1 ? rel->m_pNode2 : rel->m_pNode1;
        const int count = candidate->GetUnusedKnownRelNum();
        if (count > bestCount)
        {
            bestCount = count;
            base2 = candidate;
        }
    }
    if (base2 == nullptr)
    {
        g_sktDefinedNodeChain.RemoveAll();
        return 0;
    }

    if (sktTakeBaseNodes(cluster, base1, base2) != 1)
    {
        return -1;
    }

    // Undo the rest of the first node's activation: only relations within this reach can have
    // left the unused state.
    Reach({base1, base2}, reach);
    for (int ord : ChainedRelationsOf(reach))
    {
        CRel* rel = m_Rels[ord];
        const bool pair = (rel->m_pNode1 == base1 && rel->m_pNode2 == base2) ||
                          (rel->m_pNode1 == base2 && rel->m_pNode2 == base1);
        if (pair)
        {
            if (rel->m_pVal != nullptr && rel->m_pVal->m_bKnown != 0)
            {
                rel->SetUsed();
            }
            else
            {
                rel->SetUnused();
            }
            continue;
        }
        rel->SetUnused();
        if (rel->m_pNode1 == base1)
        {
            rel->m_pNode2->m_nFreeNum = 2;
        }
        else if (rel->m_pNode2 == base1)
        {
            rel->m_pNode1->m_nFreeNum = 2;
        }
    }
    g_sktDefinedNodeChain.RemoveAll();
    return 1;
}

int Seeder::Seed(CCluster* cluster)
{
    for (CNode* node : m_Reset)
    {
        if (m_Undefined.count(node) != 0)
        {
            node->m_nFreeNum = 2;
        }
    }
    m_Reset.clear();

    const int found = FindBaseNodes(cluster);
    if (found != 1)
    {
        return found;
    }
    CNode* base1 = cluster->m_NodeList.GetHead();
    CNode* base2 = cluster->m_NodeList.GetTail();

    // The relations still used are those with known values between the two base nodes.
    CRelList between;
    for (int ord : ChainedRelationsOf({base1}))
    {
        CRel* rel = m_Rels[ord];
        if (!rel->IsUsed())
        {
            continue;
        }
        rel->SetActive();
        between.AddTail(rel);
        if (cluster->m_wDriven == 0 && m_Drive.Holds(rel))
        {
            cluster->m_wDriven = 1;
        }
    }
    if (cluster->m_wDriven == 1)
    {
        if (base2->Regenerate() == 0)
        {
            return -1;
        }
    }
    else
    {
        POSITION pos = between.GetHeadPosition();
        while (pos != nullptr)
        {
            between.GetNext(pos)->SetUsed();
        }
    }
    between.RemoveAll();

    if (sktDriveGrowFromNode(base1, cluster, m_Drive) == 0 ||
        sktDriveGrowFromNode(base2, cluster, m_Drive) == 0)
    {
        return -1;
    }
    Finish(cluster);
    return 1;
}

void Seeder::Finish(CCluster* cluster)
{
    std::vector<CNode*> grown;
    POSITION pos = cluster->m_NodeList.GetHeadPosition();
    while (pos != nullptr)
    {
        grown.push_back(cluster->m_NodeList.GetNext(pos));
    }
    std::vector<CNode*> reach;
    Reach(grown, reach);
    const std::vector<int> changed = ChainedRelationsOf(reach);

    // The cluster collects its active relations in chain order, and they become used.
    for (int ord : changed)
    {
        CRel* rel = m_Rels[ord];
        if (rel->IsActive())
        {
            cluster->m_RelList.AddTail(rel);
            rel->SetUsed();
        }
    }

    // Every node whose free number can have moved: the reach and its neighbours.
    std::vector<CNode*> touched = reach;
    std::vector<CRel*> rels;
    std::unordered_set<CRel*> relSeen;
    for (CNode* node : reach)
    {
        m_SeenNodes.insert(node);
    }
    for (CNode* node : reach)
    {
        POSITION rpos = node->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            CRel* rel = node->m_RelList.GetNext(rpos);
            if (relSeen.insert(rel).second)
            {
                rels.push_back(rel);
            }
            CNode* other = rel->GetAnotherNode(node);
            if (other != nullptr && m_SeenNodes.insert(other).second)
            {
                touched.push_back(other);
            }
        }
    }
    m_SeenNodes.clear();

    for (CNode* node : touched)
    {
        auto it = m_Undefined.find(node);
        if (it == m_Undefined.end())
        {
            continue;
        }
        if (node->IsKnown())
        {
            g_sktUndefinedNodeChain.RemoveAt(it->second);
            m_Undefined.erase(it);
        }
        else
        {
            m_Reset.push_back(node);
        }
    }
    for (int ord : changed)
    {
        CRel* rel = m_Rels[ord];
        if (rel->IsActive() || rel->IsUsed())
        {
            g_sktRelChain.RemoveAt(m_RelPos[ord]);
            m_bChained[ord] = 0;
        }
    }

    // Only the relations of the reach can have changed state or value; each change moves the
    // counts of its two nodes, and a moved count files that node's relations anew.
    std::vector<CNode*> recounted;
    for (CRel* rel : rels)
    {
        const char now = static_cast<char>(IsUnusedKnown(rel));
        auto it = m_UnusedKnown.find(rel);
        if (it == m_UnusedKnown.end() || it->second == now)
        {
            continue;
        }
        const int delta = now - it->second;
        it->second = now;
        for (CNode* end : {rel->m_pNode1, rel->m_pNode2})
        {
            auto count = end != nullptr ? m_Count.find(end) : m_Count.end();
            if (count != m_Count.end())
            {
                count->second += delta;
                recounted.push_back(end);
            }
        }
    }
    std::vector<int> refile = ChainedRelationsOf(recounted);
    for (CRel* rel : rels)
    {
        auto it = m_Ord.find(rel);
        if (it != m_Ord.end())
        {
            refile.push_back(it->second);
        }
    }
    for (int ord : refile)
    {
        Refile(ord);
    }
}
} // namespace

int sktDriveSeedClusters(const DriveRelSet& drive)
{
    Seeder seeder(drive);
    seeder.Load();
    return sktSeedClusterLoop(
        g_sktClusterChain, [&seeder] { return !seeder.Done(); }, sktDriveNewCluster,
        [&seeder](CCluster* cluster) { return seeder.Seed(cluster); });
}
