// One numeric system: the unknowns of a set of nodes, the equations of a set of relations, the
// solve and the write-back of the solution.
#pragma once

#include "model/PtrList.h"

#include <vector>

class CNode;
class CRel;
class CCluster;
class CEquation;

class CEquationGrp : public CObject
{
public:
    /// Number of unknowns N.
    int m_nVarNum = 0;
    /// The variable vector, N doubles owned by the group.
    double* m_pX = nullptr;
    /// The equations, owned by the group; Solve refers to them by index.
    std::vector<CEquation*> m_EquArray;
    /// For each position of m_pX the node that owns it. Node positions outlive the group that
    /// wrote them, so this tells a position of this group from a stale one of an earlier group.
    std::vector<CNode*> m_VarNode;

    /// Node-chain system: the nodes to solve and the relations to satisfy.
    CEquationGrp(CNodeList* pNodes, CRelList* pRels);
    /// Cluster-chain system: the first cluster stays, the others move rigidly.
    explicit CEquationGrp(CClusterList* pClusters);
    /// One-cluster system: the cluster moves rigidly against the geometry outside it.
    explicit CEquationGrp(CCluster* pCluster);
    CEquationGrp(const CEquationGrp&) = delete;
    CEquationGrp& operator=(const CEquationGrp&) = delete;
    ~CEquationGrp() override;

    /// Numbers the unknowns of `pNodes` (in order, without repeats) and sets their starting
    /// values: every node when bAllUnknown is non-zero, otherwise those neither known nor
    /// reference objects. The other nodes of the list lose their positions (-1). Every
    /// constructor calls it once, before adding equations.
    void NumberNodes(CNodeList* pNodes, int bAllUnknown);
    /// 1 when this group gave the node its positions.
    int IsNodeNumbered(CNode* pNode);

    /// Appends the relation's equation, if it has one.
    void AddRelation(CRel* pRel);
    /// Appends the equations that hold b at its present distance or angle to a.
    void AddRigidLink(CNode* a, CNode* b);

    /// Solves the system: 1 success (m_pX holds the solution), 0 failure (m_pX unchanged).
    int Solve();

    /// Stores the solution in the nodes of the list and in the unknown values of the relations.
    void WriteBack(CNodeList* pNodes, CRelList* pRels);
    /// Stores one node's solution.
    void WriteNode(CNode* pNode);

    /// Places every cluster of the list but the first from the solution.
    void PlaceClusters(CClusterList* pClusters);
    /// Moves the cluster's nodes rigidly as the solved nodes of the relations define.
    void PlaceCluster(CCluster* pCluster, CRelList* pRels);
};
