// A point at equal (unknown) distances from two or three lines: on an angle bisector, or on the
// midline of two parallels, met by a third locus. The bisector is the one through the angle in
// which the point lay before the change.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"

using namespace construct;

namespace
{
// Side value of the old point against an old line: positive to the left of its direction.
double SideValue(const XYZ& q, const MATHLINE& old)
{
    return CrossZ(VECTOR(old.GetThroughPoint(), q), old.GetDirection());
}

MATHLINE Reversed(const MATHLINE& l)
{
    VECTOR d = l.GetDirection();
    d.Reverse();
    return MATHLINE(l.GetThroughPoint(), d);
}

XYZ Midpoint(const XYZ& a, const XYZ& b)
{
    return XYZ((a.x + b.x) * 0.5, (a.y + b.y) * 0.5, (a.z + b.z) * 0.5);
}

// The second point of the bisector of two lines that cross in x: the midpoint of the unit steps
// along both directions.
XYZ BisectorPoint(const XYZ& x, const MATHLINE& na, const MATHLINE& nb)
{
    VECTOR da = na.GetDirection();
    VECTOR db = nb.GetDirection();
    da.Unit();
    db.Unit();
    return Midpoint(x + da, x + db);
}

// The midpoint between two parallels, on the perpendicular through na's through point.
XYZ MidlinePoint(const MATHLINE& na, const MATHLINE& nb)
{
    MATHLINE perp = na.GetPerpendicularLine(na.GetThroughPoint());
    XYZ a;
    XYZ b;
    perp.Intersect(na, a);
    perp.Intersect(nb, b);
    return Midpoint(a, b);
}

// The bisector of (na, nb), or the midline when they are parallel.
MATHLINE BisectorOrMidline(const MATHLINE& na, const MATHLINE& nb)
{
    XYZ x;
    if (na.Intersect(nb, x) == 0)
    {
        x = MidlinePoint(na, nb);
    }
    return MATHLINE(x, BisectorPoint(x, na, nb));
}

// From the old point toward where the old lines crossed; zero for old parallels.
VECTOR SectorVector(const XYZ& q, const MATHLINE& o1, const MATHLINE& o2)
{
    XYZ x0;
    if (o1.Intersect(o2, x0) == 0)
    {
        return VECTOR(0.0, 0.0, 0.0);
    }
    return VECTOR(x0, q);
}

// Of the two intersections with a circle about p3, the one on the old point's side of p3.
const XYZ& SameSideOfCentre(const XYZ& o1, const XYZ& o2, const XYZ& p3, const VECTOR& r)
{
    return VECTOR(p3, o1).Iproduct(r) > 0.0 ? o1 : o2;
}
} // namespace

int sktPointFromThreeEqualPLdis(CVert* point, CRel* r1, CRel* r2, CRel* r3)
{
    CMathline* l1 = OtherLine(r1, point);
    CMathline* l2 = OtherLine(r2, point);
    CMathline* l3 = OtherLine(r3, point);
    const XYZ& q = OldPos(point);
    double w1 = SideValue(q, OldLine(l1));
    double w2 = SideValue(q, OldLine(l2));
    double w3 = SideValue(q, OldLine(l3));

    // A reversal picks, of the two bisectors, the one through the angle the point lay in.
    MATHLINE n1 = w1 * w2 > 0.0 ? Reversed(l1->m_Line) : l1->m_Line;
    MATHLINE n2 = l2->m_Line;
    MATHLINE n3 = l3->m_Line;
    MATHLINE b12 = BisectorOrMidline(n1, n2);
    if (w2 * w3 > 0.0)
    {
        n2 = Reversed(n2);
    }
    MATHLINE b23 = BisectorOrMidline(n2, n3);

    XYZ y;
    if (b12.Intersect(b23, y) == 0)
    {
        return 0;
    }
    point->m_Pos = y;
    r1->m_pVal->m_dValue = n1.GetDistance(y);
    return 1;
}

int sktPointFromTwoEqualPLdisPLdis(CVert* point, CRel* r1, CRel* r2, CRel* r3)
{
    CMathline* l1 = OtherLine(r1, point);
    CMathline* l2 = OtherLine(r2, point);
    CMathline* l3 = OtherLine(r3, point);
    const XYZ& q = OldPos(point);
    const MATHLINE& o1 = OldLine(l1);
    const MATHLINE& o2 = OldLine(l2);
    const MATHLINE& o3 = OldLine(l3);

    MATHLINE n1 = l1->m_Line;
    MATHLINE n2 = SideValue(q, o1) * SideValue(q, o2) > 0.0 ? Reversed(l2->m_Line) : l2->m_Line;
    const MATHLINE& n3 = l3->m_Line;
    VECTOR v = SectorVector(q, o1, o2);

    // The real distance's locus: the old offset direction applied at the new foot point.
    VECTOR u(o3.GetProjectPoint(q), q);
    u.Unit();
    XYZ t = n3.GetProjectPoint(q) + u * ValueOf(r3);
    MATHLINE k(t, n3.GetDirection());

    XYZ y;
    XYZ x;
    if (n1.Intersect(n2, x) != 0)
    {
        MATHLINE bisector(x, BisectorPoint(x, n1, n2));
        if (bisector.Intersect(k, y) == 0)
        {
            return 0;
        }
        // The point must not jump to the opposite ray of the bisector.
        if (VECTOR(x, y).Iproduct(v) < 0.0)
        {
            return 0;
        }
    }
    else
    {
        MATHLINE midline(MidlinePoint(n1, n2), n1.GetDirection());
        if (k.Intersect(midline, y) == 0)
        {
            return 0;
        }
    }
    point->m_Pos = y;
    r1->m_pVal->m_dValue = l1->m_Line.GetDistance(y);
    return 1;
}

int sktPointFromTwoEqualPLdisPPdis(CVert* point, CRel* r1, CRel* r2, CRel* r3)
{
    CMathline* l1 = OtherLine(r1, point);
    CMathline* l2 = OtherLine(r2, point);
    CVert* p3 = OtherPoint(r3, point);
    double d3 = ValueOf(r3);
    const XYZ& q = OldPos(point);
    const MATHLINE& o1 = OldLine(l1);
    const MATHLINE& o2 = OldLine(l2);

    MATHLINE n1 = l1->m_Line;
    MATHLINE n2 = SideValue(q, o1) * SideValue(q, o2) > 0.0 ? Reversed(l2->m_Line) : l2->m_Line;
    VECTOR v = SectorVector(q, o1, o2);
    VECTOR r(OldPos(p3), q);

    XYZ o1Pt;
    XYZ o2Pt;
    XYZ y;
    XYZ x;
    if (n1.Intersect(n2, x) != 0)
    {
        XYZ m = BisectorPoint(x, n1, n2);
        if (sktIntersectLineCircle(x, m, p3->m_Pos, d3, o1Pt, o2Pt) == 0)
        {
            return 0;
        }
        y = SameSideOfCentre(o1Pt, o2Pt, p3->m_Pos, r);
        // The point must not jump to the opposite ray of the bisector.
        if (VECTOR(x, y).Iproduct(v) < 0.0)
        {
            return 0;
        }
    }
    else
    {
        XYZ mid = MidlinePoint(n1, n2);
        if (sktIntersectLineCircle(mid, mid + n1.GetDirection(), p3->m_Pos, d3, o1Pt, o2Pt) == 0)
        {
            return 0;
        }
        y = SameSideOfCentre(o1Pt, o2Pt, p3->m_Pos, r);
    }
    point->m_Pos = y;
    r1->m_pVal->m_dValue = l1->m_Line.GetDistance(y);
    return 1;
}
