// Clusters, the counters' reset and the list operations the passes build on.
#include "model/Chains.h"

#include "model/CNode.h"
#include "model/CRel.h"

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
