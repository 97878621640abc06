// A point at equal (unknown) distances from two points: on their perpendicular bisector, met by
// an offset line or by a circle about a third point.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"

using namespace construct;

namespace
{
MATHLINE PerpendicularBisector(const XYZ& p1, const XYZ& p2)
{
    XYZ m((p1.x + p2.x) * 0.5, (p1.y + p2.y) * 0.5, (p1.z + p2.z) * 0.5);
    return MATHLINE(p1, p2).GetPerpendicularLine(m);
}
} // namespace

int sktPointFromTwoEqualPPdisPLdis(CVert* point, CRel* r1, CRel* r2, CRel* r3)
{
    CVert* p1 = OtherPoint(r1, point);
    CVert* p2 = OtherPoint(r2, point);
    CMathline* line = OtherLine(r3, point);
    const XYZ& q = OldPos(point);
    MATHLINE bisector = PerpendicularBisector(p1->m_Pos, p2->m_Pos);

    // The side the point lay on, taken from the old line and applied to the new one.
    VECTOR u(OldLine(line).GetProjectPoint(q), q);
    u.Unit();
    XYZ t = line->m_Line.GetThroughPoint() + u * ValueOf(r3);
    MATHLINE k = line->m_Line.GetParallelLine(t);

    XYZ x;
    if (bisector.Intersect(k, x) == 0)
    {
        return 0;
    }
    point->m_Pos = x;
    r1->m_pVal->m_dValue = QDistance(p1->m_Pos, x);
    return 1;
}

int sktPointFromTwoEqualPPdisPPdis(CVert* point, CRel* r1, CRel* r2, CRel* r3)
{
    CVert* p1 = OtherPoint(r1, point);
    CVert* p2 = OtherPoint(r2, point);
    CVert* p3 = OtherPoint(r3, point);
    MATHLINE bisector = PerpendicularBisector(p1->m_Pos, p2->m_Pos);

    XYZ a = bisector.GetThroughPoint();
    XYZ b = a + bisector.GetDirection();
    XYZ o1;
    XYZ o2;
    if (sktIntersectLineCircle(a, b, p3->m_Pos, ValueOf(r3), o1, o2) == 0)
    {
        return 0;
    }
    // The solution on the same side of the circle's centre as the old point.
    VECTOR r(OldPos(p3), OldPos(point));
    XYZ y = VECTOR(p3->m_Pos, o1).Iproduct(r) > 0.0 ? o1 : o2;
    point->m_Pos = y;
    r1->m_pVal->m_dValue = QDistance(p1->m_Pos, y);
    return 1;
}
