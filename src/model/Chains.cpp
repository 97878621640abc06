// Clusters, the counters' reset and the list operations the passes build on.
#include "model/Chains.h"

#include "model/Boundary.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/PassSteps.h"

#include <initializer_list>

CCluster::CCluster() : m_nID(g_nClusterNum++) {}

CCluster::~CCluster()
{
    m_NodeList.RemoveAll();
    m_RelList.RemoveAll();
}

void sktInitCountNum()
{
    g_nNodeNum = 0;
    g_nRelNum = 0;
    g_nValNum = 0;
    g_nClusterNum = 0;
}

void sktInitUndefinedNodeChain()
{
    POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        g_sktUndefinedNodeChain.GetNext(pos)->m_nFreeNum = 2;
    }
}

void sktRemoveKnownNodeFromChain()
{
    POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        // Advance before use: the entry may be removed.
        POSITION at = pos;
        CNode* node = g_sktUndefinedNodeChain.GetNext(pos);
        if (node->IsKnown())
        {
            g_sktUndefinedNodeChain.RemoveAt(at);
        }
    }
}

void sktRemoveActiveAndUsedRelFromChain()
{
    POSITION pos = g_sktRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        POSITION at = pos;
        CRel* rel = g_sktRelChain.GetNext(pos);
        if (rel->IsActive() || rel->IsUsed())
        {
            g_sktRelChain.RemoveAt(at);
        }
    }
}

void sktGetClusterRelChain(CCluster* cluster)
try
{
    POSITION pos = g_sktRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = g_sktRelChain.GetNext(pos);
        if (rel->IsActive())
        {
            cluster->m_RelList.AddTail(rel);
            rel->SetUsed();
        }
    }
}
catch (...)
{
    sktAllocFailedAtBoundary();
}

void RemoveFromList(void* p, CPtrList& list)
{
    POSITION pos = list.Find(p);
    if (pos != nullptr)
    {
        list.RemoveAt(pos);
    }
}

void RemoveListFromList(CPtrList& a, CPtrList& b)
{
    POSITION pos = a.GetHeadPosition();
    while (pos != nullptr)
    {
        RemoveFromList(a.GetNext(pos), b);
    }
}

int sktTakeBaseNodes(CCluster* cluster, CNode* first, CNode* second)
{
    first->m_nFreeNum = 0;
    second->m_nFreeNum = 0;
    cluster->AddNode(first);
    cluster->AddNode(second);
    if (g_sktDefinedNodeChain.Find(second) == nullptr)
    {
        cluster->m_nFreeNum = 3;
        return 1;
    }
    if (second->IsLegal() == 0)
    {
        return -1;
    }
    cluster->m_nFreeNum = 2;
    return 1;
}

void sktDeleteClusters(CClusterList& chain)
{
    POSITION pos = chain.GetHeadPosition();
    while (pos != nullptr)
    {
        delete chain.GetNext(pos);
    }
    chain.RemoveAll();
}

int sktIsPlacedByTwoRelations(CNode* node, CRel* first, CRel* last)
{
    for (CRel* rel : {first, last})
    {
        rel->SetActive();
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->SetKnown();
        }
    }
    const int legal = node->IsLegal();
    for (CRel* rel : {first, last})
    {
        rel->SetUnused();
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->RestoreKnownFlag();
        }
    }
    return legal;
}
