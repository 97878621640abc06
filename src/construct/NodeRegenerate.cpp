// Placing one node from its placed neighbours: the virtual Regenerate of points and lines, the
// dispatch that skips nodes whose inputs did not change, and the circle case.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"

#include <cmath>

namespace
{
// A neighbour (or a circle radius) that differs from its backup by about this much has changed.
constexpr double kChangedTol = 1e-6;

// Gathers the relations that constrain the node, places it from them, and then makes known
// every value that the placement fixed: the common number of each equal-value group, and the
// unknown values that tie the node to neighbours already known.
int RegenerateFromChain(CNode* node)
{
    CRelList chain;
    int equations = node->GetValidRelChain(chain);
    if (equations > 2)
    {
        chain.RemoveAll();
        return 0;
    }
    for (POSITION pos = chain.GetHeadPosition(); pos != nullptr;)
    {
        chain.GetNext(pos)->SetUsed();
    }
    if (sktRegenerateNode(node, chain) == 0)
    {
        chain.RemoveAll();
        return 0;
    }
    for (POSITION pos = chain.GetHeadPosition(); pos != nullptr;)
    {
        CVal* val = chain.GetNext(pos)->m_pVal;
        if (val != nullptr && val->m_bKnown == 0)
        {
            val->m_bKnown = 1;
            if (val->ChangeRelChainFromUnknownToKnown() == 0)
            {
                chain.RemoveAll();
                return 0;
            }
        }
    }
    chain.RemoveAll();

    for (POSITION pos = node->m_RelList.GetHeadPosition(); pos != nullptr;)
    {
        CRel* rel = node->m_RelList.GetNext(pos);
        CVal* val = rel->m_pVal;
        if (val == nullptr || val->m_bKnown != 0 || rel->IsActive() == 0)
        {
            continue;
        }
        CNode* other = rel->GetAnotherNode(node);
        if (other == nullptr || other->IsKnown() == 0)
        {
            continue;
        }
        rel->SetUsed();
        val->m_dValue = rel->GetActualVal();
        if (val->ChangeRelChainFromUnknownToKnown() == 0)
        {
            return 0;
        }
    }
    node->m_nFreeNum = 0;
    return 1;
}

// Whether the value's number changed since its backup (exactly: the host wrote a new number)
// or one of the relations sharing it is driven.
bool IsValueChanged(CVal* val)
{
    if (val == nullptr)
    {
        return false;
    }
    if (val->m_pBackupValue != nullptr && *val->m_pBackupValue != val->m_dValue)
    {
        return true;
    }
    // The driven chain is short: walk it once and look for a relation sharing this value,
    // rather than searching it for every relation of the value.
    for (POSITION pos = g_sktDriveRelChain.GetHeadPosition(); pos != nullptr;)
    {
        if (g_sktDriveRelChain.GetNext(pos)->m_pVal == val)
        {
            return true;
        }
    }
    return false;
}

// Whether the neighbour's geometry left its backup. A neighbour without a backup cannot show
// that it stayed, so it counts as moved and the node is recomputed.
bool IsNeighbourMoved(CNode* other)
{
    switch (other->GetType())
    {
        case SKT_NODE_POINT:
        {
            CVert* p = static_cast<CVert*>(other);
            return p->m_pBackupPos == nullptr ||
                   p->m_pBackupPos->IsSame(p->m_Pos, kChangedTol) == 0;
        }
        case SKT_NODE_LINE:
        {
            CMathline* l = static_cast<CMathline*>(other);
            return l->m_pBackupLine == nullptr || l->m_pBackupLine->IsSame(l->m_Line) == 0;
        }
        case SKT_NODE_CIRCLE:
        {
            CMathcir* c = static_cast<CMathcir*>(other);
            if (c->m_pBackupCenter == nullptr || c->m_pBackupRadius == nullptr)
            {
                return true;
            }
            return c->m_pBackupCenter->IsSame(c->m_Center, kChangedTol) == 0 ||
                   std::fabs(*c->m_pBackupRadius - c->m_dRadius) > kChangedTol;
        }
        default:
            return false;
    }
}
} // namespace

int CVert::Regenerate()
{
    return RegenerateFromChain(this);
}

int CMathline::Regenerate()
{
    return RegenerateFromChain(this);
}

int sktRegenerateNode(CNode* node, CRelList& rels)
{
    if (sktIsRegenerateNeeded(node, rels) == 0)
    {
        return 1;
    }
    switch (node->GetType())
    {
        case SKT_NODE_POINT:
            return sktRegeneratePoint(static_cast<CVert*>(node), rels);
        case SKT_NODE_LINE:
            return sktRegenerateLine(static_cast<CMathline*>(node), rels);
        case SKT_NODE_CIRCLE:
            return sktRegenerateCircle(node, rels);
        default:
            return 1;
    }
}

int sktIsRegenerateNeeded(CNode* node, CRelList& rels)
{
    if (node->GetType() == SKT_NODE_CIRCLE)
    {
        return 1;
    }
    // Only the inputs are compared, never the node itself: a node whose inputs are as they were
    // keeps the position it had.
    for (POSITION pos = rels.GetHeadPosition(); pos != nullptr;)
    {
        CRel* rel = rels.GetNext(pos);
        CNode* other = rel->GetAnotherNode(node);
        if (other != nullptr && IsNeighbourMoved(other))
        {
            return 1;
        }
        if (IsValueChanged(rel->m_pVal))
        {
            return 1;
        }
    }
    return 0;
}

int sktRegenerateCircle(CNode* circle, CRelList& /*rels*/)
{
    CMathcir* c = static_cast<CMathcir*>(circle);
    if (c->m_pRadiusVal != nullptr)
    {
        c->m_dRadius = c->m_pRadiusVal->m_dValue;
    }
    return 1;
}
