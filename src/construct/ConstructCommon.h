// Helpers shared by the construction cases: the old (backed-up) geometry every tie-break reads,
// the tolerances of construction, and small value operations.
#pragma once

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/QMath.h"

#include <cmath>

namespace construct
{

// Geometric decisions of construction: tangency, coincident solutions, degenerate lines, and on
// which side of a line a point lies.
constexpr double kGeomTol = 1e-5;

inline double HalfPi()
{
    return std::acos(0.0);
}
inline double Pi()
{
    return 2.0 * std::acos(0.0);
}
inline double TwoPi()
{
    return 4.0 * std::acos(0.0);
}

// The geometry before the drive pass. A node the host never backed up has no older
// configuration than its present one, so that is what the tie-breaks compare with.
inline const XYZ& OldPos(CVert* p)
{
    return p->m_pBackupPos != nullptr ? *p->m_pBackupPos : p->m_Pos;
}
inline const MATHLINE& OldLine(CMathline* l)
{
    return l->m_pBackupLine != nullptr ? *l->m_pBackupLine : l->m_Line;
}

inline CVert* OtherPoint(CRel* rel, CNode* self)
{
    return static_cast<CVert*>(rel->GetAnotherNode(self));
}
inline CMathline* OtherLine(CRel* rel, CNode* self)
{
    return static_cast<CMathline*>(rel->GetAnotherNode(self));
}

inline double ValueOf(CRel* rel)
{
    return rel->m_pVal->m_dValue;
}
inline bool IsValueKnown(CRel* rel)
{
    return rel->m_pVal->m_bKnown != 0;
}
inline void SetValueKnown(CRel* rel)
{
    rel->m_pVal->m_bKnown = 1;
}

// Of two relations that cannot both hold, the one that places the node and the one left to be
// measured: a known value places, the first when neither is known. False when neither can give
// way (both known, or both sharing one unknown value).
inline bool ChooseGivingWay(CRel* rel1, CRel* rel2, CRel*& placing, CRel*& measured)
{
    const bool k1 = IsValueKnown(rel1);
    const bool k2 = IsValueKnown(rel2);
    if ((k1 && k2) || (!k1 && !k2 && rel1->m_pVal == rel2->m_pVal))
    {
        return false;
    }
    placing = k2 && !k1 ? rel2 : rel1;
    measured = placing == rel1 ? rel2 : rel1;
    return true;
}

// Stores the present distance of the point from the neighbour as the relation's number.
inline void MeasureValue(CVert* point, CRel* rel)
{
    rel->m_pVal->m_dValue = point->GetDistance(rel->GetAnotherNode(point));
}

inline VECTOR Vec(const XYZ& p)
{
    return VECTOR(p.x, p.y, p.z);
}
inline double CrossZ(const VECTOR& a, const VECTOR& b)
{
    return a.x * b.y - a.y * b.x;
}

// The direction (cos phi, sin phi) after folding phi back into the turn: above 2pi loses a
// turn, then below 0 gains one.
inline double WrapAngle(double phi)
{
    if (phi > TwoPi())
    {
        phi -= TwoPi();
    }
    if (phi < 0.0)
    {
        phi += TwoPi();
    }
    return phi;
}

// The direction that gives the line the angle relation's value to the relation's other line,
// counterclockwise from the first line to the second, each reversed when its flag says so.
VECTOR DirectionFromAngle(CMathline* line, CRel* angle);

} // namespace construct
