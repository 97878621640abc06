// Internal steps of the analysis that the drive pass and the tests reuse: the distribution of
// relations over clusters, the two counts, the translation test and the seeding of clusters.
#pragma once

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/PtrList.h"

class CCluster;

/// Empties every cluster's relation list, then gives each relation of the pool, in pool order,
/// to the first two clusters (in list order) whose node list holds one of its nodes.
void sktDistributeRelations(CRelList& pool, CClusterList& clusters);
/// Appends every cluster's relations to the pool, cluster by cluster in list order.
void sktPoolClusterRelations(CClusterList& clusters, CRelList& pool);

/// Relations that each remove one degree of freedom: every known-valued relation, and every
/// unknown-valued one except the first of its value (a shared unknown is one more unknown).
int sktGetEffectiveRelNum(CRelList& rels);

/// How many of the cluster's angle relations are more than its rotation can absorb.
int sktGetAngleSurplus(CCluster* cluster);

/// The same from the counts: free number, angle relations, other relations.
int sktAngleSurplusOf(int free, int angles, int others);

/// 1 when point-line distances between clusters whose relative rotation is settled fix a
/// translation twice (a third direction, or a cycle of distances along one direction).
int sktIsTranslationOverConstrained(CClusterList& clusters);

/// sktInitJudge with the stripping done as plain sweeps over the whole chain, as a reference.
void sktInitJudgePlain(CNodeList& nodes, CRelList& rels);

/// The two walks of the relation chain that finish seeding a cluster once its first base node
/// is active: the second base node (null when there is none), and taking back the first node's
/// activation except between the two.
CNode* sktChooseSecondBaseNode(CNode* first);
void sktUndoFirstActivation(CNode* first, CNode* second);

/// sktChooseSecondBaseNode over the relations `forEach` visits (it calls its argument with
/// each, in chain order): the best neighbour of the first over a known-valued relation that the
/// first node's activation made active. Strictly greater replaces, so the earliest wins ties.
template <class ForEach> CNode* sktChooseSecondBaseNodeAmong(CNode* first, ForEach forEach)
{
    CNode* best = nullptr;
    int bestCount = -1;
    forEach(
        [&](CRel* rel)
        {
            if (rel->m_pVal == nullptr || !rel->m_pVal->IsKnown() || !rel->IsActive())
            {
                return;
            }
            CNode* candidate = rel->m_pNode1 == first ? rel->m_pNode2 : rel->m_pNode1;
            // A node cannot count more relations than it has: skip the walk when it cannot win.
            if (candidate->m_RelList.GetCount() <= bestCount)
            {
                return;
            }
            const int count = candidate->GetUnusedKnownRelNum();
            if (count > bestCount)
            {
                bestCount = count;
                best = candidate;
            }
        });
    return best;
}

/// sktUndoFirstActivation over the relations `forEach` visits: the cluster is grown from both
/// base nodes afterwards, so only the relations between them stay taken.
template <class ForEach>
void sktUndoFirstActivationAmong(CNode* first, CNode* second, ForEach forEach)
{
    forEach(
        [&](CRel* rel)
        {
            const bool joinsBases = (rel->m_pNode1 == first && rel->m_pNode2 == second) ||
                                    (rel->m_pNode1 == second && rel->m_pNode2 == first);
            if (joinsBases)
            {
                if (rel->m_pVal != nullptr && rel->m_pVal->IsKnown())
                {
                    rel->SetUsed();
                }
                else
                {
                    rel->SetUnused();
                }
                return;
            }
            rel->SetUnused();
            if (rel->m_pNode1 == first)
            {
                rel->m_pNode2->m_nFreeNum = 2;
            }
            else if (rel->m_pNode2 == first)
            {
                rel->m_pNode1->m_nFreeNum = 2;
            }
        });
}

/// What the analysis and the drive pass do differently while seeding clusters: how a cluster
/// is made and grown, and (the drive pass) what is done with the relations between the two
/// base nodes before growing.
class SeedSteps
{
public:
    /// takesBaseRelations: BetweenBaseNodes is called.
    explicit SeedSteps(bool takesBaseRelations) : m_bTakesBaseRelations(takesBaseRelations) {}
    virtual ~SeedSteps() = default;
    bool TakesBaseRelations() const { return m_bTakesBaseRelations; }
    /// A new cluster, or null (seeding then ends with 0).
    virtual CCluster* NewCluster() = 0;
    /// After the base nodes are taken, with the relations of the chain still used (those
    /// between the two with a known value) in chain order: 1, or -1 on a contradiction.
    virtual int BetweenBaseNodes(CCluster* cluster, CRelList& used) = 0;
    /// Grows the cluster from a node taken as known: 1, or 0 on a contradiction.
    virtual int Grow(CNode* node, CCluster* cluster) = 0;

private:
    bool m_bTakesBaseRelations;
};

/// The host's loop after the main cluster: while undetermined nodes are left, seeds a cluster
/// with two base nodes, grows it from both, collects its relations, takes what it determined
/// out of the chains and appends it to the list. 1 when no further cluster can be seeded or
/// none is needed, 0 on a contradiction (the cluster being built is deleted). The walks of the
/// chains are narrowed by indexes to what each cluster touches.
int sktSeedClustersWith(CClusterList& clusters, SeedSteps& steps);
/// The same loop as the exported steps themselves, as a reference.
int sktSeedClustersPlainWith(CClusterList& clusters, SeedSteps& steps);
/// The relations of g_sktRelChain in the used state, in chain order.
void sktUsedChainRelations(CRelList& used);

/// sktSeedClustersWith for the analysis pass.
int sktSeedClusters(CClusterList& clusters);
/// sktSeedClustersPlainWith for the analysis pass.
int sktSeedClustersPlain(CClusterList& clusters);
