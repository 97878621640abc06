// The equation group: numbering of unknowns, the factory that turns relations into equations,
// and the write-back of a solution into nodes and values.
#include "numeric/EquationGrp.h"

#include "numeric/Equation.h"

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"

#include <cassert>
#include <cmath>
#include <unordered_set>

namespace
{

int IsUnknownNode(CNode* pNode)
{
    return (!pNode->IsKnown() && !pNode->IsRefObject()) ? 1 : 0;
}

int IsDirHeld(CNode* pLine)
{
    return static_cast<CMathline*>(pLine)->m_bDirFixed != 0 ? 1 : 0;
}

} // namespace

CEquationGrp::CEquationGrp(CNodeList* pNodes, CRelList* pRels)
{
    CNodeList nodes;
    std::unordered_set<CNode*> held;
    if (pNodes != nullptr)
    {
        for (POSITION pos = pNodes->GetHeadPosition(); pos != nullptr;)
        {
            CNode* pNode = pNodes->GetNext(pos);
            nodes.AddTail(pNode);
            held.insert(pNode);
        }
    }
    if (pRels != nullptr)
    {
        for (POSITION pos = pRels->GetHeadPosition(); pos != nullptr;)
        {
            CRel* pRel = pRels->GetNext(pos);
            CNode* pValueNode = pRel->m_pValueNode;
            if (pValueNode != nullptr && held.insert(pValueNode).second)
            {
                nodes.AddTail(pValueNode);
            }
        }
    }

    NumberNodes(&nodes, 0);

    if (pRels != nullptr)
    {
        for (POSITION pos = pRels->GetHeadPosition(); pos != nullptr;)
        {
            AddRelation(pRels->GetNext(pos));
        }
    }
}

CEquationGrp::~CEquationGrp()
{
    delete[] m_pX;
    m_pX = nullptr;
    m_nVarNum = 0;
    for (CEquation* pEqu : m_EquArray)
    {
        delete pEqu;
    }
    m_EquArray.clear();
}

void CEquationGrp::NumberNodes(CNodeList* pNodes, int bAllUnknown)
{
    int count = 0;
    for (POSITION pos = pNodes->GetHeadPosition(); pos != nullptr;)
    {
        CNode* pNode = pNodes->GetNext(pos);
        if (bAllUnknown != 0 || IsUnknownNode(pNode))
        {
            count += pNode->GetType() == SKT_NODE_CIRCLE ? 1 : 2;
        }
    }

    delete[] m_pX;
    m_nVarNum = count;
    m_pX = new double[count > 0 ? count : 1];
    m_VarNode.assign(static_cast<size_t>(count), nullptr);

    int k = 0;
    for (POSITION pos = pNodes->GetHeadPosition(); pos != nullptr;)
    {
        CNode* pNode = pNodes->GetNext(pos);
        if (bAllUnknown == 0 && !IsUnknownNode(pNode))
        {
            // Positions outlive their group: a node this group does not solve must not carry
            // one of an earlier group into its equations.
            pNode->m_nVarIndex = -1;
            pNode->m_nVarNo = -1;
            continue;
        }
        const int type = pNode->GetType();
        if (type == SKT_NODE_POINT)
        {
            CVert* pPoint = static_cast<CVert*>(pNode);
            m_pX[k] = pPoint->m_Pos.x;
            m_pX[k + 1] = pPoint->m_Pos.y;
            pNode->m_nVarIndex = k;
            pNode->m_nVarNo = k + 1;
            m_VarNode[k] = pNode;
            m_VarNode[k + 1] = pNode;
            k += 2;
        }
        else if (type == SKT_NODE_LINE)
        {
            CMathline* pLine = static_cast<CMathline*>(pNode);
            // A held direction is the one the line had before the pass.
            const XYZ p = pLine->m_Line.m_ThroughPoint;
            const VECTOR d = (pLine->m_bDirFixed != 0 && pLine->m_pBackupLine != nullptr)
                                 ? pLine->m_pBackupLine->m_Direction
                                 : pLine->m_Line.m_Direction;
            double a = 0.0;
            double b = 0.0;
            double c = 0.0;
            sktGetLineCoef(p.x, p.y, p.x + d.x, p.y + d.y, a, b, c);
            m_pX[k] = sktGetSignedDistance(0.0, 0.0, a, b, c);
            sktGetLineAngle(a, b, m_pX[k + 1]);
            pNode->m_nVarIndex = k;
            pNode->m_nVarNo = k + 1;
            m_VarNode[k] = pNode;
            m_VarNode[k + 1] = pNode;
            k += 2;
        }
        else
        {
            CMathcir* pCircle = static_cast<CMathcir*>(pNode);
            m_pX[k] = pCircle->m_pRadiusVal != nullptr ? pCircle->m_pRadiusVal->m_dValue
                                                       : pCircle->m_dRadius;
            pNode->m_nVarIndex = k;
            m_VarNode[k] = pNode;
            k += 1;
        }
    }
    assert(k == m_nVarNum);
}

int CEquationGrp::IsNodeNumbered(CNode* pNode)
{
    if (pNode == nullptr)
    {
        return 0;
    }
    const int k = pNode->m_nVarIndex;
    return (k >= 0 && k < m_nVarNum && m_VarNode[k] == pNode) ? 1 : 0;
}

void CEquationGrp::AddRelation(CRel* pRel)
{
    if (pRel == nullptr)
    {
        return;
    }
    CNode* pNode1 = pRel->m_pNode1;
    CNode* pNode2 = pRel->m_pNode2;
    if (pNode1 == nullptr || pNode2 == nullptr)
    {
        return;
    }
    const int bUnknown1 = IsUnknownNode(pNode1);
    const int bUnknown2 = IsUnknownNode(pNode2);
    if (!bUnknown1 && !bUnknown2)
    {
        return;
    }
    // An unknown node that this group did not number has no place in its vector: the relation
    // cannot be solved here, and reading the node's positions would read another group's.
    if ((bUnknown1 && !IsNodeNumbered(pNode1)) || (bUnknown2 && !IsNodeNumbered(pNode2)))
    {
        return;
    }
    // An equation takes the value as an unknown by its value node's position alone.
    CNode* pValueNode = pRel->m_pValueNode;
    if (pValueNode != nullptr && !IsNodeNumbered(pValueNode))
    {
        pValueNode->m_nVarIndex = -1;
        pValueNode->m_nVarNo = -1;
    }

    const int type1 = pNode1->GetType();
    const int type2 = pNode2->GetType();
    CEquation* pEqu = nullptr;
    switch (pRel->GetType())
    {
        case SKT_REL_PPDIS:
            if (type1 != SKT_NODE_POINT || type2 != SKT_NODE_POINT)
            {
                break;
            }
            if (bUnknown1 && bUnknown2)
            {
                pEqu = new CEquPPDis(pRel);
            }
            else
            {
                pEqu = new CEquPPDisFixed(pRel);
            }
            break;

        case SKT_REL_PLDIS:
        {
            CNode* pPoint = nullptr;
            CNode* pLine = nullptr;
            if (type1 == SKT_NODE_POINT && type2 == SKT_NODE_LINE)
            {
                pPoint = pNode1;
                pLine = pNode2;
            }
            else if (type1 == SKT_NODE_LINE && type2 == SKT_NODE_POINT)
            {
                pPoint = pNode2;
                pLine = pNode1;
            }
            else
            {
                break;
            }
            const int bPointUnknown = IsUnknownNode(pPoint);
            const int bLineUnknown = IsUnknownNode(pLine);
            if (bPointUnknown && bLineUnknown)
            {
                if (IsDirHeld(pLine))
                {
                    pEqu = new CEquOrthoPLDis(pRel);
                }
                else
                {
                    pEqu = new CEquPLDis(pRel);
                }
            }
            else if (bPointUnknown)
            {
                pEqu = new CEquPLDisFixed(pRel);
            }
            else if (IsDirHeld(pLine))
            {
                pEqu = new CEquOrthoLPDisFixed(pRel);
            }
            else
            {
                pEqu = new CEquLPDisFixed(pRel);
            }
            break;
        }

        case SKT_REL_LLDIS:
            if (type1 != SKT_NODE_LINE || type2 != SKT_NODE_LINE)
            {
                break;
            }
            if (bUnknown1 && bUnknown2)
            {
                pEqu = new CEquLLDis(pRel);
            }
            else
            {
                pEqu = new CEquLLDisFixed(pRel);
            }
            break;

        case SKT_REL_LLANG:
            if (type1 != SKT_NODE_LINE || type2 != SKT_NODE_LINE)
            {
                break;
            }
            if (!bUnknown1)
            {
                if (!IsDirHeld(pNode2))
                {
                    pEqu = new CEquLLAngFixed(pRel);
                }
            }
            else if (!bUnknown2)
            {
                if (!IsDirHeld(pNode1))
                {
                    pEqu = new CEquLLAngFixed(pRel);
                }
            }
            else if (!IsDirHeld(pNode1) && !IsDirHeld(pNode2))
            {
                pEqu = new CEquLLAng(pRel);
            }
            else
            {
                pEqu = new CEquLLAngFixed(pRel);
            }
            break;

        default:
            break;
    }
    if (pEqu != nullptr)
    {
        m_EquArray.push_back(pEqu);
    }
}

void CEquationGrp::WriteBack(CNodeList* pNodes, CRelList* pRels)
{
    if (pNodes != nullptr)
    {
        for (POSITION pos = pNodes->GetHeadPosition(); pos != nullptr;)
        {
            WriteNode(pNodes->GetNext(pos));
        }
    }
    if (pRels == nullptr)
    {
        return;
    }
    for (POSITION pos = pRels->GetHeadPosition(); pos != nullptr;)
    {
        CRel* pRel = pRels->GetNext(pos);
        if (pRel->m_pVal == nullptr || pRel->m_pVal->m_bKnown != 0)
        {
            continue;
        }
        CNode* pValueNode = pRel->m_pValueNode;
        if (pValueNode == nullptr || pValueNode->IsKnown() || pValueNode->IsRefObject() ||
            !IsNodeNumbered(pValueNode) || pValueNode->GetType() != SKT_NODE_CIRCLE)
        {
            continue;
        }
        CMathcir* pCircle = static_cast<CMathcir*>(pValueNode);
        if (pCircle->m_pRadiusVal != nullptr)
        {
            pCircle->m_pRadiusVal->m_dValue = m_pX[pValueNode->m_nVarIndex];
        }
    }
}

void CEquationGrp::WriteNode(CNode* pNode)
{
    if (pNode == nullptr || pNode->IsRefObject() || pNode->IsKnown() || !IsNodeNumbered(pNode))
    {
        return;
    }
    const int type = pNode->GetType();
    if (type == SKT_NODE_POINT)
    {
        CVert* pPoint = static_cast<CVert*>(pNode);
        pPoint->m_Pos.x = m_pX[pNode->m_nVarIndex];
        pPoint->m_Pos.y = m_pX[pNode->m_nVarNo];
    }
    else if (type == SKT_NODE_LINE)
    {
        const double c = m_pX[pNode->m_nVarIndex];
        const double theta = m_pX[pNode->m_nVarNo];
        // The through point is the foot of the perpendicular from the origin.
        const XYZ through(-c * std::sin(theta), c * std::cos(theta), 0.0);
        const VECTOR dir(std::cos(theta), std::sin(theta), 0.0);
        static_cast<CMathline*>(pNode)->m_Line.Set(through, dir);
    }
    else
    {
        static_cast<CMathcir*>(pNode)->m_dRadius = m_pX[pNode->m_nVarIndex];
    }
}
