// Choosing how a line is placed from its relations, and the placements from a single relation:
// a distance to a point, an angle to a line, a distance to a line. What the relation leaves
// free stays as it was: the direction, the through point, or the old side of the neighbour.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/VectorAngle.h"

#include <cmath>

using namespace construct;

namespace
{
int PlaceFromTwo(CMathline* line, CRel* first, CRel* last)
{
    int t1 = first->GetType();
    int t2 = last->GetType();
    int placed = 1;
    if (t1 == SKT_REL_PLDIS && t2 == SKT_REL_PLDIS)
    {
        placed = sktLineFromTwoPLdis(line, first, last);
    }
    else if (t1 == SKT_REL_PLDIS && t2 == SKT_REL_LLANG)
    {
        placed = sktLineFromPLdisLLang(line, first, last);
    }
    else if (t1 == SKT_REL_LLANG && t2 == SKT_REL_PLDIS)
    {
        placed = sktLineFromPLdisLLang(line, last, first);
    }
    else if (t1 == SKT_REL_LLDIS && t2 == SKT_REL_LLANG)
    {
        placed = sktLineFromLLdisLLang(line, first, last);
    }
    else if (t1 == SKT_REL_LLANG && t2 == SKT_REL_LLDIS)
    {
        placed = sktLineFromLLdisLLang(line, last, first);
    }
    return placed != 0 ? 1 : 0;
}

int PlaceFromOne(CMathline* line, CRel* rel)
{
    int placed = 1;
    switch (rel->GetType())
    {
        case SKT_REL_PLDIS:
            placed = sktLineFromPLdis(line, rel);
            break;
        case SKT_REL_LLANG:
            placed = sktLineFromLLang(line, rel);
            break;
        case SKT_REL_LLDIS:
            placed = sktLineFromLLdis(line, rel);
            break;
        default:
            break;
    }
    return placed != 0 ? 1 : 0;
}
} // namespace

namespace construct
{
VECTOR DirectionFromAngle(CMathline* line, CRel* angle)
{
    bool otherIsFirst = angle->m_pNode1 != line;
    CMathline* other = OtherLine(angle, line);
    double signedAngle = otherIsFirst ? ValueOf(angle) : -ValueOf(angle);

    VECTOR k = other->m_Line.GetDirection();
    if ((otherIsFirst ? angle->m_bReverse1 : angle->m_bReverse2) != 0)
    {
        k.Reverse();
    }
    VECTOR xAxis(1.0, 0.0, 0.0);
    double phi = WrapAngle(sktGetVectorToVectorAngle(xAxis, k) + signedAngle);
    VECTOR u(std::cos(phi), std::sin(phi), 0.0);
    if ((otherIsFirst ? angle->m_bReverse2 : angle->m_bReverse1) != 0)
    {
        u.Reverse();
    }
    return u;
}
} // namespace construct

int sktRegenerateLine(CMathline* line, CRelList& rels)
{
    int n = rels.GetCount();
    if (n > 4)
    {
        return 0;
    }
    // No construction takes three relations, whatever their types.
    if (n == 3)
    {
        return 0;
    }
    if (n == 4 || n == 0)
    {
        return 1;
    }
    if (n == 1)
    {
        return PlaceFromOne(line, rels.GetHead());
    }
    return PlaceFromTwo(line, rels.GetHead(), rels.GetTail());
}

int sktLineFromPLdis(CMathline* line, CRel* rel)
{
    CVert* p = OtherPoint(rel, line);
    const MATHLINE& oldLine = OldLine(line);
    const XYZ& pOld = OldPos(p);

    // The side the point lay on: the normal from the point to its foot, compared with the line's
    // direction, before and now.
    VECTOR nOld(pOld, oldLine.GetProjectPoint(pOld));
    double zOld = CrossZ(nOld, oldLine.GetDirection());
    VECTOR n(p->m_Pos, line->m_Line.GetProjectPoint(p->m_Pos));
    double z = CrossZ(n, line->m_Line.GetDirection());
    if (z * zOld < 0.0)
    {
        n.Reverse();
    }
    // A point on the line has no normal; the line then passes through the point.
    n.Unit();
    line->m_Line.Set(p->m_Pos + n * ValueOf(rel), line->m_Line.GetDirection());
    return 1;
}

int sktLineFromLLang(CMathline* line, CRel* rel)
{
    VECTOR u = DirectionFromAngle(line, rel);
    line->m_Line.Set(line->m_Line.GetThroughPoint(), u);
    return 1;
}

int sktLineFromLLdis(CMathline* line, CRel* rel)
{
    CMathline* k = OtherLine(rel, line);
    const MATHLINE& kOld = OldLine(k);
    const MATHLINE& lOld = OldLine(line);

    // Keep the sense: a line that pointed against its partner (anywhere in the half turn
    // around pi) points against it again.
    VECTOR kOldDir = kOld.GetDirection();
    VECTOR lOldDir = lOld.GetDirection();
    double a0 = sktGetVectorToVectorAngle(kOldDir, lOldDir);
    double alpha = (a0 >= HalfPi() && a0 <= 3.0 * HalfPi()) ? Pi() : 0.0;

    VECTOR xAxis(1.0, 0.0, 0.0);
    VECTOR kDir = k->m_Line.GetDirection();
    double phi = WrapAngle(sktGetVectorToVectorAngle(xAxis, kDir) + alpha);
    VECTOR u(std::cos(phi), std::sin(phi), 0.0);

    // Keep the side: the partner stays on the side of the line it lay on.
    int s = sktGetPointSideOfLine(kOld.GetThroughPoint(), lOld);
    XYZ q = k->m_Line.GetThroughPoint();
    double d = ValueOf(rel);
    if (s == 0)
    {
        line->m_Line.Set(q, u);
    }
    else
    {
        VECTOR n = s == 1 ? VECTOR(u.y, -u.x, 0.0) : VECTOR(-u.y, u.x, 0.0);
        n.Unit();
        line->m_Line.Set(q + n * d, u);
    }
    return 1;
}
