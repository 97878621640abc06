// Growing rigid clusters in the analysis pass: known-propagation from a node, the main cluster of
// fixed and reference geometry, and the choice of two base nodes that seed each further cluster.
#include "judge/Judge.h"

#include "judge/JudgeInternal.h"

#include "model/Boundary.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/PassSteps.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace
{

int HasKnownValue(CRel* rel)
{
    return rel->m_pVal != nullptr && rel->m_pVal->IsKnown() ? 1 : 0;
}

// Counts of unused known relations met during one read-only walk of the relation chain. A node
// ends several relations that usually stand close together in the chain, so a small table
// keyed by the node's address saves most of the repeated counting.
class UnusedKnownCounts
{
public:
    UnusedKnownCounts() : m_Slots(kSlots) {}

    int Of(CNode* node)
    {
        Slot& slot = m_Slots[(reinterpret_cast<std::uintptr_t>(node) >> 4) % kSlots];
        if (slot.node != node)
        {
            slot.node = node;
            slot.count = node->GetUnusedKnownRelNum();
        }
        return slot.count;
    }

private:
    static constexpr std::size_t kSlots = 509;
    struct Slot
    {
        CNode* node = nullptr;
        int count = 0;
    };
    std::vector<Slot> m_Slots;
};

// The first base node: an end of a known-valued relation with the most unused known relations.
// Strictly greater replaces, so the earliest relation and, within it, the first node win ties.
CNode* ChooseFirstBaseNode()
{
    UnusedKnownCounts counts;
    CNode* best = nullptr;
    int bestCount = -1;
    POSITION pos = g_sktRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = g_sktRelChain.GetNext(pos);
        if (!HasKnownValue(rel))
        {
            continue;
        }
        CNode* ends[2] = {rel->m_pNode1, rel->m_pNode2};
        for (CNode* end : ends)
        {
            // A node cannot count more relations than it has: skip the walk when it cannot win.
            if (end->m_RelList.GetCount() <= bestCount)
            {
                continue;
            }
            const int count = counts.Of(end);
            if (count > bestCount)
            {
                bestCount = count;
                best = end;
            }
        }
    }
    return best;
}

} // namespace

namespace
{
// Calls f with every relation of the chain, in chain order.
template <class F> void ForEachChainRel(F f)
{
    POSITION pos = g_sktRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        f(g_sktRelChain.GetNext(pos));
    }
}
} // namespace

CNode* sktChooseSecondBaseNode(CNode* first)
{
    return sktChooseSecondBaseNodeAmong(first, [](auto f) { ForEachChainRel(f); });
}

void sktUndoFirstActivation(CNode* first, CNode* second)
{
    sktUndoFirstActivationAmong(first, second, [](auto f) { ForEachChainRel(f); });
}

int sktReasoningFromOneNode(CNode* node, CCluster* cluster)
try
{
    // Each layer waits in g_sktKnownNodeChain between its checks and its activations.
    return sktGrowFromNode(
        node, cluster, g_sktKnownNodeChain, [](CNode* defined) { return defined->IsLegal(); },
        [](CNode*) {});
}
catch (...)
{
    return sktFailAtBoundary(0);
}

int sktCreateMainCluster(CCluster* cluster)
try
{
    return sktFillFixedCluster(cluster, sktReasoningFromOneNode);
}
catch (...)
{
    return sktFailAtBoundary(0);
}

int sktFindBaseNodesForCluster(CCluster* cluster)
try
{
    if (g_sktUndefinedNodeChain.GetCount() < 2)
    {
        return 0;
    }
    CNode* first = ChooseFirstBaseNode();
    if (first == nullptr)
    {
        return 0;
    }
    first->m_nFreeNum = 0;
    if (first->ActiveRel() == 0)
    {
        return -1;
    }
    CNode* second = sktChooseSecondBaseNode(first);
    if (second == nullptr)
    {
        g_sktDefinedNodeChain.RemoveAll();
        return 0;
    }

    if (sktTakeBaseNodes(cluster, first, second) != 1)
    {
        return -1;
    }

    sktUndoFirstActivation(first, second);
    g_sktDefinedNodeChain.RemoveAll();
    return 1;
}
catch (...)
{
    return sktFailAtBoundary(0);
}
