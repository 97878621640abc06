// Opening and closing of the analysis pass: loading the sketch into the chains, stripping the
// nodes that at most two relations place, and handing the sketch back unchanged at the end.
#include "judge/Judge.h"

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"

namespace
{

void DeleteClusters(CClusterList& chain)
{
    POSITION pos = chain.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = chain.GetNext(pos);
        delete cluster;
    }
    chain.RemoveAll();
}

// Whether two unused relations determine the node: both are tried as active with their values
// taken as known, and everything the test touched is put back except the node's own known mark.
int IsPlacedByTwoRelations(CNode* node, CRel* first, CRel* last)
{
    first->SetActive();
    last->SetActive();
    if (first->m_pVal != nullptr)
    {
        first->m_pVal->SetKnown();
    }
    if (last->m_pVal != nullptr)
    {
        last->m_pVal->SetKnown();
    }

    const int legal = node->IsLegal();

    first->SetUnused();
    last->SetUnused();
    if (first->m_pVal != nullptr)
    {
        first->m_pVal->RestoreKnownFlag();
    }
    if (last->m_pVal != nullptr)
    {
        last->m_pVal->RestoreKnownFlag();
    }
    return legal;
}

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

        const int unused = node->GetUnusedRelSel(scratch);
        bool strip = false;
        if (unused < 2)
        {
            strip = true;
        }
        else if (unused == 2)
        {
            strip = IsPlacedByTwoRelations(node, scratch.GetHead(), scratch.GetTail()) != 0;
        }
        scratch.RemoveAll();

        if (strip)
        {
            changed = true;
            MarkAllRelationsUsed(node);
            g_sktUndefinedNodeChain.RemoveAt(at);
        }
    }
    return changed;
}

} // namespace

void sktInitJudge(CNodeList& nodes, CRelList& rels)
{
    g_sktGoodNodeChain.RemoveAll();
    g_sktKnownNodeChain.RemoveAll();
    g_sktUndefinedNodeChain.RemoveAll();
    g_sktDefinedNodeChain.RemoveAll();
    g_sktRelChain.RemoveAll();
    g_sktDriveRelChain.RemoveAll();
    DeleteClusters(g_sktClusterChain);
    DeleteClusters(g_sktGoodClusterChain);

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

void sktFinishJudge(CRelList& rels)
{
    while (!g_sktClusterChain.IsEmpty())
    {
        CCluster* cluster = g_sktClusterChain.RemoveHead();
        delete cluster;
    }
    g_sktGoodNodeChain.RemoveAll();
    g_sktKnownNodeChain.RemoveAll();
    g_sktUndefinedNodeChain.RemoveAll();
    g_sktDefinedNodeChain.RemoveAll();
    g_sktRelChain.RemoveAll();
    g_sktDriveRelChain.RemoveAll();

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
