// Legality of a point or line that its relations have just determined: rejects redundant,
// contradictory or degenerate determinations, and otherwise takes the relations into account.
#include "model/CNode.h"

#include "model/CRel.h"
#include "model/CVal.h"
#include "model/ValidRels.h"

#include <cmath>

namespace
{
// An angle within this of 0 or pi keeps a line parallel to its neighbour.
constexpr double kAngleTol = 1e-4;

// Four relations must be two pairs of equal unknown values toward four distinct nodes.
int CheckFourRelations(CNode* node, CRel* r[4])
{
    int paired = (r[0]->m_pVal == r[1]->m_pVal && r[2]->m_pVal == r[3]->m_pVal) ||
                 (r[0]->m_pVal == r[2]->m_pVal && r[1]->m_pVal == r[3]->m_pVal) ||
                 (r[0]->m_pVal == r[3]->m_pVal && r[1]->m_pVal == r[2]->m_pVal);
    if (!paired)
    {
        return 0;
    }
    CNode* a[4];
    for (int i = 0; i < 4; ++i)
    {
        a[i] = r[i]->GetAnotherNode(node);
    }
    for (int i = 0; i < 4; ++i)
    {
        for (int j = i + 1; j < 4; ++j)
        {
            if (a[i]->IsSame(a[j]))
            {
                return 0;
            }
        }
    }
    return 1;
}

int IsLine(CNode* n)
{
    return n->GetType() == SKT_NODE_LINE ? 1 : 0;
}

int IsKnownValue(CRel* r)
{
    return r->m_pVal != nullptr && r->m_pVal->IsKnown() ? 1 : 0;
}

// The distance holds the line parallel to its neighbour, so the angle must not turn it.
int ParallelCheck(CMathline* a1, CMathline* a2, CRel* angle)
{
    const double pi = 2 * std::acos(0.0);
    if (a1 != a2 && !a1->IsParal(*a2))
    {
        return 0;
    }
    double v = angle->m_pVal != nullptr ? angle->m_pVal->m_dValue : 0.0;
    return (std::fabs(v) <= kAngleTol || std::fabs(v - pi) <= kAngleTol) ? 1 : 0;
}

// Steps shared by both node kinds once the class checks passed.
int TakeRelationsIntoAccount(CNode* node, const RelBuffer& valid)
{
    for (std::size_t i = 0; i < valid.Size(); ++i)
    {
        CRel* rel = valid[i];
        if (rel->m_pVal != nullptr && rel->m_pVal->IsUnknown())
        {
            rel->m_pVal->SetKnown();
            if (!rel->m_pVal->ChangeRelChainFromUnknownToKnown())
            {
                return 0;
            }
        }
    }
    POSITION pos = node->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = node->m_RelList.GetNext(pos);
        if (rel->m_pVal == nullptr || !rel->m_pVal->IsUnknown() || !rel->IsActive())
        {
            continue;
        }
        CNode* other = rel->GetAnotherNode(node);
        if (other == nullptr || !other->IsKnown())
        {
            continue;
        }
        rel->SetUsed();
        rel->m_pVal->SetValue(rel->GetActualVal());
        if (!rel->m_pVal->ChangeRelChainFromUnknownToKnown())
        {
            return 0;
        }
    }
    node->m_nFreeNum = 0;
    return 1;
}

// Collects the determining relations and marks them used; returns their count, or -1 when
// they give more than two equations.
int CollectValid(CNode* node, RelBuffer& valid)
{
    if (sktCollectValidRels(node, valid) > 2)
    {
        return -1;
    }
    for (std::size_t i = 0; i < valid.Size(); ++i)
    {
        valid[i]->SetUsed();
    }
    return static_cast<int>(valid.Size());
}

// Two or three determining relations.
int PointChecks(CVert* node, CRel* r[4], int k)
{
    if (k == 3)
    {
        CNode* a[3] = {r[0]->GetAnotherNode(node), r[1]->GetAnotherNode(node),
                       r[2]->GetAnotherNode(node)};
        const int pairs[3][2] = {{0, 1}, {0, 2}, {1, 2}};
        for (const auto& p : pairs)
        {
            if (a[p[0]]->IsSame(a[p[1]]))
            {
                return 0;
            }
        }
        // Only the first pair of lines is tested.
        for (const auto& p : pairs)
        {
            if (IsLine(a[p[0]]) && IsLine(a[p[1]]))
            {
                CMathline* l1 = static_cast<CMathline*>(a[p[0]]);
                CMathline* l2 = static_cast<CMathline*>(a[p[1]]);
                return l1->m_Line.IsParallel(l2->m_Line) ? 0 : 1;
            }
        }
        return 1;
    }
    CNode* a1 = r[0]->GetAnotherNode(node);
    CNode* a2 = r[1]->GetAnotherNode(node);
    if (a1->IsSame(a2))
    {
        return 0;
    }
    if (IsLine(a1) && IsLine(a2) &&
        static_cast<CMathline*>(a1)->m_Line.IsParallel(static_cast<CMathline*>(a2)->m_Line) &&
        IsKnownValue(r[0]) && IsKnownValue(r[1]))
    {
        return 0;
    }
    return 1;
}

// Two or three determining relations.
int LineChecks(CMathline* node, CRel* r[4], int k)
{
    if (k == 3)
    {
        int t1 = r[0]->GetType();
        int t2 = r[1]->GetType();
        int t3 = r[2]->GetType();
        switch (t1)
        {
            case SKT_REL_PLDIS:
                return ((t2 == SKT_REL_LLDIS && t3 == SKT_REL_LLDIS) ||
                        (t2 == SKT_REL_LLANG && t3 == SKT_REL_LLANG))
                           ? 0
                           : 1;
            case SKT_REL_LLDIS:
                return (t2 == SKT_REL_LLDIS || t3 == SKT_REL_LLDIS ||
                        (t2 == SKT_REL_LLANG && t3 == SKT_REL_LLANG))
                           ? 0
                           : 1;
            case SKT_REL_LLANG:
                return (t2 == SKT_REL_LLANG || t3 == SKT_REL_LLANG ||
                        (t2 == SKT_REL_LLDIS && t3 == SKT_REL_LLDIS))
                           ? 0
                           : 1;
            default:
                return 1;
        }
    }
    CNode* a1 = r[0]->GetAnotherNode(node);
    CNode* a2 = r[1]->GetAnotherNode(node);
    if (a1->IsSame(a2) && a1->GetType() == SKT_NODE_POINT)
    {
        return 0;
    }
    int t1 = r[0]->GetType();
    int t2 = r[1]->GetType();
    if (t1 == SKT_REL_LLDIS && t2 == SKT_REL_LLANG)
    {
        return ParallelCheck(static_cast<CMathline*>(a1), static_cast<CMathline*>(a2), r[1]);
    }
    if (t1 == SKT_REL_LLANG && t2 == SKT_REL_LLDIS)
    {
        return ParallelCheck(static_cast<CMathline*>(a1), static_cast<CMathline*>(a2), r[0]);
    }
    if (t1 == SKT_REL_LLDIS || t2 == SKT_REL_LLDIS)
    {
        return 0;
    }
    if (t1 == SKT_REL_LLANG && t2 == SKT_REL_LLANG)
    {
        return 0;
    }
    return 1;
}

// The legality test of either node kind: its determining relations, its kind's checks when
// there are two or more, then the relations taken into account.
template <class Node, class Checks> int CheckAndTake(Node* node, Checks checks)
{
    RelBuffer valid;
    const int k = CollectValid(node, valid);
    if (k < 0 || k > 4)
    {
        return 0;
    }
    if (k >= 2)
    {
        CRel* r[4] = {};
        for (int i = 0; i < k; ++i)
        {
            r[i] = valid[static_cast<std::size_t>(i)];
        }
        if (!(k == 4 ? CheckFourRelations(node, r) : checks(node, r, k)))
        {
            return 0;
        }
    }
    return TakeRelationsIntoAccount(node, valid);
}
} // namespace

int CVert::IsLegal()
{
    return CheckAndTake(this, PointChecks);
}

int CMathline::IsLegal()
{
    return CheckAndTake(this, LineChecks);
}
