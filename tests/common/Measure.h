// What a host measures on a sketch: a node's numbers, and how far a relation is from holding.
// Free of the test framework, so that the fuzz targets use it too.
#pragma once

#include "QsolverInternal.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace measure
{

/// A point's x, y; a line's through point and direction; a circle's centre and radius.
inline std::vector<double> NodeNumbers(CNode* node)
{
    const int type = node->GetType();
    if (type == SKT_NODE_POINT)
    {
        const XYZ& p = static_cast<CVert*>(node)->m_Pos;
        return {p.x, p.y};
    }
    if (type == SKT_NODE_LINE)
    {
        const MATHLINE& l = static_cast<CMathline*>(node)->m_Line;
        return {l.m_ThroughPoint.x, l.m_ThroughPoint.y, l.m_Direction.x, l.m_Direction.y};
    }
    const CMathcir* c = static_cast<CMathcir*>(node);
    return {c->m_Center.x, c->m_Center.y, c->m_dRadius};
}

/// How far a relation is from measuring `target`. Lines are undirected, so angles count modulo
/// pi; a radius relation answers for its circle's radius whatever the target.
inline double Gap(CRel* rel, double target)
{
    const double pi = 3.14159265358979323846;
    const int type = rel->GetType();
    if (type == SKT_REL_PPDIS || type == SKT_REL_PLDIS)
    {
        return std::fabs(rel->GetActualVal() - target);
    }
    if (type == SKT_REL_LLDIS)
    {
        const VECTOR& d1 = static_cast<CMathline*>(rel->m_pNode1)->m_Line.m_Direction;
        const VECTOR& d2 = static_cast<CMathline*>(rel->m_pNode2)->m_Line.m_Direction;
        const double cross = std::fabs(d1.x * d2.y - d1.y * d2.x);
        return cross + std::fabs(rel->GetActualVal() - target);
    }
    if (type == SKT_REL_LLANG)
    {
        const double diff = std::fmod(std::fabs(rel->GetActualVal() - target), pi);
        return std::min(diff, pi - diff);
    }
    if (type == SKT_REL_RAD)
    {
        // The host puts the circle on its centre point; the solver answers for the radius.
        CMathcir* c = static_cast<CMathcir*>(rel->m_pNode2);
        return std::fabs(c->m_dRadius - c->m_pRadiusVal->m_dValue);
    }
    return 0.0;
}

/// How far a relation is from holding its value.
inline double Residual(CRel* rel)
{
    if (rel->GetType() == SKT_REL_RAD)
    {
        return Gap(rel, 0.0);
    }
    return rel->m_pVal != nullptr ? Gap(rel, rel->m_pVal->m_dValue) : 0.0;
}

} // namespace measure
