// Opening and closing of the analysis pass: loading the sketch into the chains, stripping the
// nodes that at most two relations place, and handing the sketch back unchanged at the end.
#include "judge/Judge.h"

#include "judge/JudgeInternal.h"

#include "model/Boundary.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/PassSteps.h"

#include <unordered_map>
#include <vector>

namespace
{

void MarkAllRelationsUsed(CNode* node)
{
    POSITION pos = node->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        node->m_RelList.GetNext(pos)->SetUsed();
    }
}

void RemoveUsedRelations(CRelList& chain)
{
    POSITION pos = chain.GetHeadPosition();
    while (pos != nullptr)
    {
        const POSITION at = pos;
        // Advance before use: the entry may be removed.
        CRel* rel = chain.GetNext(pos);
        if (rel->IsUsed())
        {
            chain.RemoveAt(at);
        }
    }
}

// Whether the node goes: fewer than two unused relations, or two that place it legally.
bool IsStrippable(CNode* node, CRelList& scratch)
{
    const int unused = node->GetUnusedRelSel(scratch);
    bool strip = false;
    if (unused < 2)
    {
        strip = true;
    }
    else if (unused == 2)
    {
        strip = sktIsPlacedByTwoRelations(node, scratch.GetHead(), scratch.GetTail()) != 0;
    }
    scratch.RemoveAll();
    return strip;
}

// One walk over the undefined chain; returns whether any node was stripped.
bool StripSweep(CRelList& scratch)
{
    bool changed = false;
    POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        const POSITION at = pos;
        // Advance before use: the node may be stripped.
        CNode* node = g_sktUndefinedNodeChain.GetNext(pos);
        if (node->IsRefObject() || node->IsFixed())
        {
            continue;
        }
        if (IsStrippable(node, scratch))
        {
            changed = true;
            MarkAllRelationsUsed(node);
            g_sktUndefinedNodeChain.RemoveAt(at);
        }
    }
    return changed;
}

void StripBySweeps()
{
    // Each sweep that goes on has stripped at least one node, so the loop ends.
    CRelList scratch(10);
    while (!g_sktUndefinedNodeChain.IsEmpty())
    {
        if (!StripSweep(scratch))
        {
            break;
        }
        RemoveUsedRelations(g_sktRelChain);
    }
}

// The sweeps above, visiting only what can have changed. Whether a node is stripped depends
// only on its unused relations (with both tried as known, the geometry decides the rest), and
// they change only when a neighbour is stripped.
class StripWorklist
{
public:
    // False when the sweeps cannot be followed this way (a node listed twice, or a relation in
    // the list of a node that is not one of its ends); nothing is changed then.
    bool Load()
    {
        const size_t n = static_cast<size_t>(g_sktUndefinedNodeChain.GetCount());
        m_Nodes.reserve(n);
        m_Positions.reserve(n);
        m_IndexOf.reserve(n);
        POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
        while (pos != nullptr)
        {
            const POSITION at = pos;
            CNode* node = g_sktUndefinedNodeChain.GetNext(pos);
            if (!m_IndexOf.emplace(node, static_cast<int>(m_Nodes.size())).second)
            {
                return false;
            }
            m_Nodes.push_back(node);
            m_Positions.push_back(at);
        }
        m_Sweeps.Reset(n);
        for (size_t i = 0; i < n; ++i)
        {
            CNode* node = m_Nodes[i];
            // Fixed and reference nodes stay whatever their neighbours do.
            bool keep = node->IsRefObject() != 0;
            POSITION relPos = node->m_RelList.GetHeadPosition();
            while (relPos != nullptr)
            {
                CRel* rel = node->m_RelList.GetNext(relPos);
                if (rel->m_pNode1 != node && rel->m_pNode2 != node)
                {
                    return false;
                }
                keep = keep || rel->GetType() == SKT_REL_FIX;
            }
            if (keep)
            {
                m_Sweeps.Retire(static_cast<int>(i));
            }
        }
        return true;
    }

    void Run()
    {
        CRelList scratch(10);
        bool stripped = false;
        m_Sweeps.Run(
            [&](int i, bool)
            {
                if (!IsStrippable(m_Nodes[static_cast<size_t>(i)], scratch))
                {
                    return false;
                }
                Strip(i);
                stripped = true;
                return true;
            },
            [](bool) {});
        if (stripped)
        {
            RemoveUsedRelations(g_sktRelChain);
        }
    }

private:
    void Strip(int i)
    {
        m_Sweeps.Retire(i);
        CNode* node = m_Nodes[static_cast<size_t>(i)];
        POSITION pos = node->m_RelList.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = node->m_RelList.GetNext(pos);
            const bool changed = !rel->IsUsed();
            rel->SetUsed();
            if (changed)
            {
                Touch(rel->m_pNode1, i);
                Touch(rel->m_pNode2, i);
            }
        }
        g_sktUndefinedNodeChain.RemoveAt(m_Positions[static_cast<size_t>(i)]);
    }

    // A neighbour of node `from` lost an unused relation.
    void Touch(CNode* node, int from)
    {
        if (node == nullptr)
        {
            return;
        }
        auto it = m_IndexOf.find(node);
        if (it != m_IndexOf.end())
        {
            m_Sweeps.Touch(it->second, from);
        }
    }

    std::vector<CNode*> m_Nodes;
    std::vector<POSITION> m_Positions;
    std::unordered_map<CNode*, int> m_IndexOf;
    StripSweeps<false> m_Sweeps;
};

// The chains an analysis fills; the save chain is the drive pass's alone.
void EmptyChains()
{
    g_sktGoodNodeChain.RemoveAll();
    g_sktKnownNodeChain.RemoveAll();
    g_sktUndefinedNodeChain.RemoveAll();
    g_sktDefinedNodeChain.RemoveAll();
    g_sktRelChain.RemoveAll();
    g_sktDriveRelChain.RemoveAll();
}

void LoadChains(CNodeList& nodes, CRelList& rels)
{
    EmptyChains();
    sktDeleteClusters(g_sktClusterChain);
    sktDeleteClusters(g_sktGoodClusterChain);

    POSITION pos = nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = nodes.GetNext(pos);
        node->m_nFreeNum = 2;
        g_sktUndefinedNodeChain.AddTail(node);
    }
    pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        rel->SetUnused();
        if (rel->GetType() != SKT_REL_FIX)
        {
            g_sktRelChain.AddTail(rel);
        }
    }
}

} // namespace

void sktInitJudge(CNodeList& nodes, CRelList& rels)
try
{
    LoadChains(nodes, rels);
    StripWorklist worklist;
    if (worklist.Load())
    {
        worklist.Run();
    }
    else
    {
        StripBySweeps();
    }
}
catch (...)
{
    sktAllocFailedAtBoundary();
}

void sktInitJudgePlain(CNodeList& nodes, CRelList& rels)
{
    LoadChains(nodes, rels);
    StripBySweeps();
}

void sktFinishJudge(CRelList& rels)
try
{
    sktDeleteClusters(g_sktClusterChain);
    EmptyChains();

    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        rel->SetUnused();
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->RestoreKnownFlag();
        }
    }
}
catch (...)
{
    sktAllocFailedAtBoundary();
}
