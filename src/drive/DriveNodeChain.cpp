// Opening the drive pass, stripping the nodes that neighbours place one at a time, placing them
// again after the core is solved, and the plain numeric alternative to clusters.
#include "drive/Drive.h"

#include "drive/AddressIndex.h"
#include "drive/DriveInternal.h"
#include "drive/FlatPtrMap.h"
#include "model/Boundary.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/PassSteps.h"
#include "model/Prefetch.h"
#include "construct/ConstructInternal.h"
#include "numeric/NumericInternal.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

DriveRelSet::DriveRelSet()
{
    const int count = g_sktDriveRelChain.GetCount();
    m_bLarge = static_cast<std::size_t>(count) > kScanLimit;
    POSITION pos = g_sktDriveRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = g_sktDriveRelChain.GetNext(pos);
        if (m_bLarge)
        {
            m_Large.insert(rel);
        }
        else
        {
            m_Small.push_back(rel);
        }
    }
}

int DriveRelSet::Holds(CRel* rel) const
{
    if (m_bLarge)
    {
        return m_Large.count(rel) != 0 ? 1 : 0;
    }
    return std::find(m_Small.begin(), m_Small.end(), rel) != m_Small.end() ? 1 : 0;
}

namespace
{
// How many entries ahead the walks over whole chains ask for the objects they will reach.
constexpr int kPrefetchDistance = 8;

// Asks for what testing or placing the node `distance` steps ahead will read, in stages so that
// each stage reads only what an earlier one asked for: the node, then its relation list, then
// its relations, then their values and other nodes.
void PrefetchAhead(const std::vector<CNode*>& nodes, int at, int step)
{
    const int count = static_cast<int>(nodes.size());
    auto nodeAt = [&](int distance) -> CNode*
    {
        const int j = at + step * distance;
        return j >= 0 && j < count ? nodes[static_cast<std::size_t>(j)] : nullptr;
    };
    sktPrefetch(nodeAt(4 * kPrefetchDistance / 2));
    if (CNode* node = nodeAt(3 * kPrefetchDistance / 2))
    {
        sktPrefetch(node->m_RelList.GetHeadPosition());
    }
    if (CNode* node = nodeAt(kPrefetchDistance))
    {
        POSITION pos = node->m_RelList.GetHeadPosition();
        while (pos != nullptr)
        {
            sktPrefetch(node->m_RelList.GetNext(pos));
        }
    }
    if (CNode* node = nodeAt(kPrefetchDistance / 2))
    {
        POSITION pos = node->m_RelList.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = node->m_RelList.GetNext(pos);
            sktPrefetch(rel->m_pVal);
            sktPrefetch(rel->m_pNode1 != node ? rel->m_pNode1 : rel->m_pNode2);
        }
    }
}

// The stripping sweeps walk the undefined chain from tail to head until one strips nothing.
// Whether a node is good depends only on its unused relations (their values and neighbours)
// and, for three relations sharing a value, on how many chained relations refer to that value.
// A node that was not good stays not good until one of these changes, so each sweep re-tests
// only such nodes, in the sweep's walk order: the result is that of full sweeps, without
// walking the whole chain again for every node stripped.
class GoodNodeStripper
{
public:
    void Run();

private:
    void Load();
    // Tests the node and strips it when good; returns 1 when stripped.
    int TestAndStrip(int index);
    void RemoveUsedRelations(bool fullWalk);
    void ReleaseValue(CVal* val);
    void CountValues();
    void CountValue(CVal* val, int delta);

    std::vector<CNode*> m_Nodes; // the undefined chain, head first
    std::vector<POSITION> m_NodePos;
    AddressIndex m_Index;
    // The sweeps walk from the tail to the head.
    StripSweeps<true> m_Sweeps;

    // Relations of g_sktRelChain and g_sktSaveRelChain that refer to each unknown value (known
    // flags stand still while stripping, and only unknown values are ever asked about), once
    // m_bCounted.
    FlatPtrMap<int> m_ValueRefs;
    bool m_bCounted = false;
    // Nodes whose three shared relations were refused only for the count of that value.
    std::unordered_map<CVal*, std::vector<int>> m_WaitOnValue;
    FlatPtrMap<POSITION> m_RelPos;
    std::vector<CRel*> m_SweepStripped;
    std::vector<CRel*> m_Scratch;
};

void GoodNodeStripper::Load()
{
    // Distinct nodes never share an entry of the index, so what it finds is the node asked for.
    static_assert(sizeof(CNode) >= (std::size_t(1) << AddressIndex::kGranuleBits),
                  "nodes are indexed by address");
    const std::size_t chained = static_cast<std::size_t>(g_sktUndefinedNodeChain.GetCount());
    m_Nodes.reserve(chained);
    m_NodePos.reserve(chained);
    POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        m_NodePos.push_back(pos);
        m_Nodes.push_back(g_sktUndefinedNodeChain.GetNext(pos));
    }
    m_Index.Plan(m_Nodes.data(), m_Nodes.size());
    // A node chained twice is tested at its first place only.
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_Nodes.size(); ++i)
    {
        if (m_Index.insert(m_Nodes[i], static_cast<int>(kept)))
        {
            m_Nodes[kept] = m_Nodes[i];
            m_NodePos[kept] = m_NodePos[i];
            ++kept;
        }
    }
    m_Nodes.resize(kept);
    m_NodePos.resize(kept);
    m_Sweeps.Reset(m_Nodes.size());
    // m_RelPos is not sized up front: it holds only the relations the first sweep leaves unused,
    // often none, and clearing a table for every relation cost more than growing it.
}

void GoodNodeStripper::CountValues()
{
    // The counts are first needed when a node with three relations sharing a value comes up,
    // which most sketches never have: until then nothing is counted, and from then on the
    // counts follow every change the stripping makes to the two chains.
    m_bCounted = true;
    for (CRelList* chain : {&g_sktRelChain, &g_sktSaveRelChain})
    {
        POSITION pos = chain->GetHeadPosition();
        while (pos != nullptr)
        {
            CountValue(chain->GetNext(pos)->m_pVal, 1);
        }
    }
}

void GoodNodeStripper::CountValue(CVal* val, int delta)
{
    if (m_bCounted && val != nullptr && val->m_bKnown == 0)
    {
        m_ValueRefs[val] += delta;
    }
}

int GoodNodeStripper::TestAndStrip(int index)
{
    CNode* node = m_Nodes[index];
    if (node->IsRefObject())
    {
        return 0;
    }
    // One walk both refuses a fixed node and gathers the unused relations.
    m_Scratch.clear();
    POSITION pos = node->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = node->m_RelList.GetNext(pos);
        if (rel->GetType() == SKT_REL_FIX)
        {
            return 0;
        }
        if (rel->IsUnused())
        {
            m_Scratch.push_back(rel);
        }
    }
    const std::size_t k = m_Scratch.size();
    bool good = false;
    if (k <= 1)
    {
        good = true;
    }
    else if (k == 2)
    {
        good = sktIsPlacedByTwoRelations(node, m_Scratch.front(), m_Scratch.back()) != 0;
    }
    else if (k == 3)
    {
        // Three relations sharing one unknown value: the point is placed at equal distances,
        // provided no further relation ties that value to the rest of the sketch.
        CVal* val = m_Scratch[0]->m_pVal;
        if (val != nullptr && val->m_bKnown == 0 && m_Scratch[1]->m_pVal == val &&
            m_Scratch[2]->m_pVal == val)
        {
            if (!m_bCounted)
            {
                CountValues();
            }
            if (m_ValueRefs[val] <= 3)
            {
                good = true;
            }
            else
            {
                m_WaitOnValue[val].push_back(index);
            }
        }
    }
    if (!good)
    {
        return 0;
    }

    for (CRel* rel : m_Scratch)
    {
        rel->SetUsed();
        g_sktSaveRelChain.AddHead(rel);
        CountValue(rel->m_pVal, 1);
        m_SweepStripped.push_back(rel);
    }
    g_sktUndefinedNodeChain.RemoveAt(m_NodePos[index]);
    m_Sweeps.Retire(index);
    // Lines held by two relations or fewer are placed after every other good node.
    if (node->GetType() == SKT_NODE_LINE && node->m_RelList.GetCount() <= 2)
    {
        g_sktGoodNodeChain.AddTail(node);
    }
    else
    {
        g_sktGoodNodeChain.AddHead(node);
    }
    for (CRel* rel : m_Scratch)
    {
        const int* other = m_Index.find(rel->GetAnotherNode(node));
        if (other != nullptr)
        {
            m_Sweeps.Touch(*other, index);
        }
    }
    return 1;
}

void GoodNodeStripper::ReleaseValue(CVal* val)
{
    // Before counting began there is neither a count nor a waiting node.
    if (!m_bCounted || val == nullptr || val->m_bKnown != 0)
    {
        return;
    }
    CountValue(val, -1);
    auto it = m_WaitOnValue.find(val);
    if (it == m_WaitOnValue.end())
    {
        return;
    }
    for (int j : it->second)
    {
        m_Sweeps.DueNextSweep(j);
    }
    m_WaitOnValue.erase(it);
}

void GoodNodeStripper::RemoveUsedRelations(bool fullWalk)
{
    if (fullWalk)
    {
        // The first sweep also drops relations that were used before the call, and records
        // where the others stand so later sweeps remove theirs without a walk.
        CLookahead ahead(g_sktRelChain, kPrefetchDistance);
        POSITION pos = g_sktRelChain.GetHeadPosition();
        while (pos != nullptr)
        {
            sktPrefetch(ahead.Next());
            POSITION at = pos;
            CRel* rel = g_sktRelChain.GetNext(pos);
            if (rel->IsUsed())
            {
                g_sktRelChain.RemoveAt(at);
                ReleaseValue(rel->m_pVal);
            }
            else
            {
                m_RelPos.emplace(rel, at);
            }
        }
    }
    else
    {
        for (CRel* rel : m_SweepStripped)
        {
            POSITION* at = m_RelPos.find(rel);
            if (at != nullptr)
            {
                g_sktRelChain.RemoveAt(*at);
                m_RelPos.erase(rel);
                ReleaseValue(rel->m_pVal);
            }
        }
    }
    m_SweepStripped.clear();
}

void GoodNodeStripper::Run()
{
    Load();
    m_Sweeps.Run(
        [this](int i, bool firstSweep)
        {
            // The first sweep walks the whole chain: what it will read can be asked for early.
            if (firstSweep)
            {
                PrefetchAhead(m_Nodes, i, -1);
            }
            return TestAndStrip(i) != 0;
        },
        [this](bool firstSweep) { RemoveUsedRelations(firstSweep); });
}

// The construction run and its numeric fallback share the good nodes and consumed relations
// as they stood when placing began.
class GoodNodePlacer
{
public:
    GoodNodePlacer();
    int Place();

private:
    int ConstructionRun();
    int SolveHandledSoFar();
    void TakeFromSaveChain(CRel* rel);
    void IndexSaveChain();

    // How far past the first untaken entry of m_B a relation is looked for before the index.
    static constexpr std::size_t kNearWindow = 8;

    std::vector<CNode*> m_A;
    std::vector<CRel*> m_B;
    std::vector<POSITION> m_BPos;
    std::vector<char> m_bTaken;
    std::size_t m_nFirstUntaken = 0;
    // Built when a relation is first not found near the front: first entry of m_B for each
    // relation, then the next entry holding the same relation.
    bool m_bIndexed = false;
    FlatPtrMap<int> m_FirstOf;
    std::vector<int> m_NextSame;
    std::size_t m_nHandled = 0;
    // Set while the good nodes' free numbers are as the next construction run starts them.
    bool m_bFreeNumsSet = false;
    CRelList m_Scratch;
};

GoodNodePlacer::GoodNodePlacer()
{
    m_A.reserve(static_cast<std::size_t>(g_sktGoodNodeChain.GetCount()));
    // The first construction run counts every good node unknown again; this walk does it for
    // that run.
    CLookahead ahead(g_sktGoodNodeChain, 2 * kPrefetchDistance);
    POSITION pos = g_sktGoodNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        sktPrefetch(ahead.Next());
        CNode* node = g_sktGoodNodeChain.GetNext(pos);
        node->m_nFreeNum = 2;
        m_A.push_back(node);
    }
    m_bFreeNumsSet = true;
    const std::size_t count = static_cast<std::size_t>(g_sktSaveRelChain.GetCount());
    m_B.reserve(count);
    m_BPos.reserve(count);
    pos = g_sktSaveRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        POSITION at = pos;
        m_B.push_back(g_sktSaveRelChain.GetNext(pos));
        m_BPos.push_back(at);
    }
    m_bTaken.assign(m_B.size(), 0);
}

void GoodNodePlacer::IndexSaveChain()
{
    const std::size_t count = m_B.size();
    m_NextSame.assign(count, -1);
    m_FirstOf.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        const int idx = static_cast<int>(i);
        auto ins = m_FirstOf.emplace(m_B[i], idx);
        if (!ins.second)
        {
            // A relation saved twice: chain its entries in chain order.
            int last = *ins.first;
            while (m_NextSame[last] != -1)
            {
                last = m_NextSame[last];
            }
            m_NextSame[last] = idx;
        }
    }
    m_bIndexed = true;
}

void GoodNodePlacer::TakeFromSaveChain(CRel* rel)
{
    // Nodes are placed about in the reverse order of stripping, and the save chain holds the
    // relations most recently stripped first, so the relation is nearly always among the first
    // entries not yet taken. Every entry before the first untaken one is taken, so the first
    // match from there is the relation's first occurrence in the chain.
    while (m_nFirstUntaken < m_B.size() && m_bTaken[m_nFirstUntaken])
    {
        ++m_nFirstUntaken;
    }
    const std::size_t end = std::min(m_B.size(), m_nFirstUntaken + kNearWindow);
    for (std::size_t i = m_nFirstUntaken; i < end; ++i)
    {
        if (m_B[i] == rel && !m_bTaken[i])
        {
            g_sktSaveRelChain.RemoveAt(m_BPos[i]);
            m_bTaken[i] = 1;
            return;
        }
    }
    if (!m_bIndexed)
    {
        IndexSaveChain();
    }
    int* first = m_FirstOf.find(rel);
    if (first == nullptr)
    {
        return;
    }
    int idx = *first;
    while (idx != -1 && m_bTaken[idx])
    {
        idx = m_NextSame[idx];
    }
    if (idx == -1)
    {
        return;
    }
    g_sktSaveRelChain.RemoveAt(m_BPos[idx]);
    m_bTaken[idx] = 1;
    *first = idx;
}

int GoodNodePlacer::ConstructionRun()
{
    if (!m_bFreeNumsSet)
    {
        CLookahead ahead(g_sktGoodNodeChain, 2 * kPrefetchDistance);
        POSITION pos = g_sktGoodNodeChain.GetHeadPosition();
        while (pos != nullptr)
        {
            sktPrefetch(ahead.Next());
            g_sktGoodNodeChain.GetNext(pos)->m_nFreeNum = 2;
        }
    }
    m_bFreeNumsSet = false;
    // The run always takes the head, so the nodes it handles come in the order of m_A.
    while (!g_sktGoodNodeChain.IsEmpty())
    {
        if (m_nHandled < m_A.size() && g_sktGoodNodeChain.GetHead() == m_A[m_nHandled])
        {
            PrefetchAhead(m_A, static_cast<int>(m_nHandled), 1);
        }
        CNode* node = g_sktGoodNodeChain.GetHead();
        POSITION rpos = node->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            CRel* rel = node->m_RelList.GetNext(rpos);
            const bool known1 = rel->m_pNode1 != nullptr && rel->m_pNode1->IsKnown();
            const bool known2 = rel->m_pNode2 != nullptr && rel->m_pNode2->IsKnown();
            if (rel->GetType() == SKT_REL_RAD || known1 || known2)
            {
                rel->SetActive();
                m_Scratch.AddTail(rel);
                TakeFromSaveChain(rel);
            }
        }
        const int placed = sktRegenerateNode(node, m_Scratch);
        node->m_nFreeNum = 0;
        while (!m_Scratch.IsEmpty())
        {
            CRel* rel = m_Scratch.RemoveHead();
            if (rel->m_pVal != nullptr)
            {
                rel->m_pVal->SetKnown();
            }
        }
        // The node at the head is its own first occurrence.
        g_sktGoodNodeChain.RemoveHead();
        g_sktKnownNodeChain.AddTail(node);
        ++m_nHandled;
        if (placed == 0)
        {
            return 0;
        }
    }
    return 1;
}

int GoodNodePlacer::SolveHandledSoFar()
{
    // The run always takes the head, so the nodes handled so far are A's first ones.
    CNodeList nodes;
    for (std::size_t i = 0; i < m_nHandled && i < m_A.size(); ++i)
    {
        nodes.AddTail(m_A[i]);
        m_A[i]->m_nFreeNum = 2;
    }
    CRelList rels;
    for (std::size_t i = 0; i < m_B.size(); ++i)
    {
        if (m_bTaken[i])
        {
            rels.AddTail(m_B[i]);
            if (m_B[i]->m_pVal != nullptr)
            {
                m_B[i]->m_pVal->RestoreKnownFlag();
            }
        }
    }
    CEquationGrp group(&nodes, &rels);
    if (group.Solve() == 0)
    {
        return 0;
    }
    group.WriteBack(&nodes, &rels);
    POSITION pos = nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        nodes.GetNext(pos)->m_nFreeNum = 0;
    }
    pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->SetKnown();
        }
    }
    return 1;
}

int GoodNodePlacer::Place()
{
    // Every run removes at least one node from the good-node chain, so this ends.
    while (ConstructionRun() == 0)
    {
        if (SolveHandledSoFar() == 0)
        {
            return 0;
        }
    }
    return 1;
}
} // namespace

void sktInitDrive(CNodeList& nodes, CRelList& rels)
try
{
    g_sktGoodNodeChain.RemoveAll();
    g_sktKnownNodeChain.RemoveAll();
    g_sktUndefinedNodeChain.RemoveAll();
    g_sktDefinedNodeChain.RemoveAll();
    g_sktRelChain.RemoveAll();
    g_sktSaveRelChain.RemoveAll();
    sktDeleteClusters(g_sktClusterChain);
    sktDeleteClusters(g_sktGoodClusterChain);
    sktDriveRetiredClusters().DeleteAll();

    CLookahead nodeAhead(nodes, kPrefetchDistance);
    POSITION pos = nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        sktPrefetch(nodeAhead.Next());
        CNode* node = nodes.GetNext(pos);
        const int type = node->GetType();
        if (type == SKT_NODE_POINT)
        {
            static_cast<CVert*>(node)->m_Pos.z = 0.0;
        }
        else if (type == SKT_NODE_LINE)
        {
            CMathline* line = static_cast<CMathline*>(node);
            XYZ through = line->m_Line.GetThroughPoint();
            VECTOR dir = line->m_Line.GetDirection();
            through.z = 0.0;
            dir.z = 0.0;
            line->m_Line.Set(through, dir);
        }
        node->m_nFreeNum = 2;
        g_sktUndefinedNodeChain.AddTail(node);
    }

    // Relations are asked for two steps ahead, their values one step, from the relation that
    // arrived by then.
    CLookahead relAhead(rels, 2 * kPrefetchDistance);
    CLookahead valAhead(rels, kPrefetchDistance);
    pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        sktPrefetch(relAhead.Next());
        if (CRel* near = static_cast<CRel*>(valAhead.Next()))
        {
            sktPrefetch(near->m_pVal);
        }
        CRel* rel = rels.GetNext(pos);
        rel->SetUnused();
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->RestoreKnownFlag();
        }
        if (rel->GetType() != SKT_REL_FIX)
        {
            g_sktRelChain.AddTail(rel);
        }
    }
}
catch (...)
{
    sktAllocFailedAtBoundary();
}

void sktRemoveGoodNodeFromChain()
try
{
    GoodNodeStripper stripper;
    stripper.Run();
}
catch (...)
{
    sktAllocFailedAtBoundary();
}

int sktSolveGoodNodeChain()
try
{
    GoodNodePlacer placer;
    return placer.Place();
}
catch (...)
{
    return sktFailAtBoundary(0);
}

int sktSolveNodeChain()
try
{
    CEquationGrp group(&g_sktUndefinedNodeChain, &g_sktRelChain);
    if (group.Solve() == 0)
    {
        return 0;
    }
    group.WriteBack(&g_sktUndefinedNodeChain, &g_sktRelChain);
    return 1;
}
catch (...)
{
    return sktFailAtBoundary(0);
}
