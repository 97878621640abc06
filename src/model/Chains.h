// The global chains host and solver share, the object counters, clusters and list operations.
#pragma once

#include "model/PtrList.h"
#include "shell/QsolverExport.h"

class CNode;
class CRel;

/// A rigid group of nodes with the relations that tie it to the rest of the sketch.
class QSOLVER_API CCluster : public CObject
{
public:
    int m_nID = 0;
    unsigned short m_wDriven = 0;
    CNodeList m_NodeList;
    signed char m_nFreeNum = 3;
    CRelList m_RelList;

    CCluster();
    CCluster(const CCluster&) = delete;
    CCluster& operator=(const CCluster&) = delete;
    ~CCluster() override;

    void AddNode(CNode* node) { m_NodeList.AddTail(node); }
    void AddRel(CRel* rel) { m_RelList.AddTail(rel); }
    int GetNodeNum() { return m_NodeList.GetCount(); }
    int GetRelNum() { return m_RelList.GetCount(); }
    int GetFreeNum() { return m_nFreeNum; }
    void RemoveAllNode() { m_NodeList.RemoveAll(); }
    void RemoveAllRel() { m_RelList.RemoveAll(); }
};

extern QSOLVER_API CNodeList g_sktGoodNodeChain;
extern QSOLVER_API CNodeList g_sktKnownNodeChain;
extern QSOLVER_API CNodeList g_sktDefinedNodeChain;
extern QSOLVER_API CNodeList g_sktUndefinedNodeChain;
extern QSOLVER_API CRelList g_sktRelChain;
extern QSOLVER_API CRelList g_sktDriveRelChain;
extern QSOLVER_API CRelList g_sktSaveRelChain;
extern QSOLVER_API CClusterList g_sktClusterChain;
extern QSOLVER_API CClusterList g_sktGoodClusterChain;

// Sequence numbers of new nodes, relations, values and clusters.
extern int g_nNodeNum;
extern int g_nRelNum;
extern int g_nValNum;
extern int g_nClusterNum;

extern "C"
{
    /// Restarts the numbering: the next node, relation, value and cluster each get number 0.
    QSOLVER_API void sktInitCountNum();
    /// Sets the free number of every node of g_sktUndefinedNodeChain to 2.
    QSOLVER_API void sktInitUndefinedNodeChain();
    /// Drops the known nodes from g_sktUndefinedNodeChain, keeping the order of the rest.
    QSOLVER_API void sktRemoveKnownNodeFromChain();
    /// Drops the active and used relations from g_sktRelChain.
    QSOLVER_API void sktRemoveActiveAndUsedRelFromChain();
    /// Moves every active relation of g_sktRelChain into the cluster's list, marking it used.
    QSOLVER_API void sktGetClusterRelChain(CCluster* cluster);
}

/// Removes the first entry equal to p from the list; nothing when absent.
void RemoveFromList(void* p, CPtrList& list);
/// Removes each entry of a, in order, from b.
void RemoveListFromList(CPtrList& a, CPtrList& b);
