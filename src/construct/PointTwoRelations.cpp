// A point from two distances: two offset lines, an offset line and a circle, or two circles.
// Of two solutions the one that keeps the old configuration is taken; when the loci miss, a
// single-distance placement measures the distance that is still free.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"

using namespace construct;

signed char g_cPPdisPLdisToggle = 1;
signed char g_cTwoPPdisToggle = 1;

namespace
{
// Whether the point still lies on the side of the line it lay on before the change.
bool KeepsSide(CVert* point, CMathline* line)
{
    return sktGetPointSideOfLine(OldPos(point), OldLine(line)) ==
           sktGetPointSideOfLine(point->m_Pos, line->m_Line);
}

// The undecided old configuration takes the toggle's choice, and the next undecided one the
// other solution.
int TakeToggle(signed char& toggle)
{
    int s = toggle;
    toggle = static_cast<signed char>(-toggle);
    return s;
}

int SignOf(double z, signed char& toggle)
{
    if (z > kGeomTol)
    {
        return 1;
    }
    if (z < -kGeomTol)
    {
        return -1;
    }
    return TakeToggle(toggle);
}

// s = +1 wants a positive z for the taken solution, s = -1 a negative one.
const XYZ& Choose(int s, double z1, const XYZ& o1, const XYZ& o2)
{
    if (s == 1)
    {
        return z1 > 0.0 ? o1 : o2;
    }
    return z1 < 0.0 ? o1 : o2;
}
} // namespace

int sktPointFromTwoPLdis(CVert* point, CRel* rel1, CRel* rel2)
{
    CMathline* l1 = OtherLine(rel1, point);
    CMathline* l2 = OtherLine(rel2, point);
    if (l1->IsSame(l2))
    {
        return 0;
    }
    const XYZ& q = OldPos(point);
    MATHLINE m1 = sktGetOffsetLine(l1, q, rel1);
    MATHLINE m2 = sktGetOffsetLine(l2, q, rel2);
    if (l1->m_Line.IsParallel(l2->m_Line) == 0)
    {
        // The offsets of two crossing lines always meet.
        m1.Intersect(m2, point->m_Pos);
        SetValueKnown(rel1);
        SetValueKnown(rel2);
        return 1;
    }

    XYZ entry = point->m_Pos;
    const bool neitherKnown = !IsValueKnown(rel1) && !IsValueKnown(rel2);
    if (neitherKnown && rel1->m_pVal == rel2->m_pVal)
    {
        // Equal distances from two parallels: the midline, on the old side of the first line.
        rel1->m_pVal->m_dValue = l1->GetDistance(l2) / 2.0;
        return sktPointFromPLdis(point, rel1) != 0 ? 1 : 0;
    }
    // One distance places the point; the other is measured, provided the point did not cross
    // the other line.
    CRel* placing = nullptr;
    CRel* measured = nullptr;
    if (!ChooseGivingWay(rel1, rel2, placing, measured))
    {
        return 0;
    }
    CMathline* other = placing == rel1 ? l2 : l1;
    if (sktPointFromPLdis(point, placing) == 0)
    {
        return 0;
    }
    if (!KeepsSide(point, other))
    {
        point->m_Pos = entry;
        return 0;
    }
    if (neitherKnown)
    {
        SetValueKnown(rel1);
    }
    MeasureValue(point, measured);
    return 1;
}

int sktPointFromPPdisPLdis(CVert* point, CRel* relPP, CRel* relPL)
{
    CVert* p = OtherPoint(relPP, point);
    CMathline* line = OtherLine(relPL, point);
    double r = ValueOf(relPP);
    const XYZ& q = OldPos(point);

    MATHLINE m = sktGetOffsetLine(line, q, relPL);
    XYZ a = m.GetThroughPoint();
    XYZ b = a + m.GetDirection();
    XYZ o1;
    XYZ o2;
    int k = sktIntersectLineCircle(a, b, p->m_Pos, r, o1, o2);

    if (k == 0)
    {
        XYZ entry = point->m_Pos;
        bool kPP = IsValueKnown(relPP);
        bool kPL = IsValueKnown(relPL);
        if (kPP && kPL)
        {
            return 0;
        }
        if (!kPP && !kPL && relPP->m_pVal == relPL->m_pVal)
        {
            return 0;
        }
        if (kPP)
        {
            // The circle places the point; it must not cross the line.
            if (sktPointFromPPdis(point, relPP) == 0)
            {
                return 0;
            }
            if (!KeepsSide(point, line))
            {
                point->m_Pos = entry;
                return 0;
            }
            MeasureValue(point, relPL);
            return 1;
        }
        if (sktPointFromPLdis(point, relPL) == 0)
        {
            return 0;
        }
        if (!kPL)
        {
            SetValueKnown(relPL);
        }
        MeasureValue(point, relPP);
        return 1;
    }

    if (k == 1)
    {
        point->m_Pos = o1;
    }
    else
    {
        // Keep the point on the same side, along the line, of the circle's centre.
        const XYZ& pOld = OldPos(p);
        VECTOR oldDir = OldLine(line).GetDirection();
        double z = (q.x - pOld.x) * oldDir.x + (q.y - pOld.y) * oldDir.y;
        int s = SignOf(z, g_cPPdisPLdisToggle);
        VECTOR newDir = line->m_Line.GetDirection();
        double z1 = (o1.x - p->m_Pos.x) * newDir.x + (o1.y - p->m_Pos.y) * newDir.y;
        point->m_Pos = Choose(s, z1, o1, o2);
    }
    SetValueKnown(relPP);
    SetValueKnown(relPL);
    return 1;
}

int sktPointFromTwoPPdis(CVert* point, CRel* rel1, CRel* rel2)
{
    CVert* p1 = OtherPoint(rel1, point);
    CVert* p2 = OtherPoint(rel2, point);
    double r1 = ValueOf(rel1);
    double r2 = ValueOf(rel2);
    XYZ o1;
    XYZ o2;
    int k = sktIntersectCircleCircle(p1->m_Pos, r1, p2->m_Pos, r2, o1, o2);

    if (k == 0)
    {
        const bool neitherKnown = !IsValueKnown(rel1) && !IsValueKnown(rel2);
        CRel* placing = nullptr;
        CRel* measured = nullptr;
        if (!ChooseGivingWay(rel1, rel2, placing, measured))
        {
            return 0;
        }
        sktPointFromPPdis(point, placing);
        if (neitherKnown)
        {
            SetValueKnown(rel1);
        }
        MeasureValue(point, measured);
        return 1;
    }

    if (k == 1)
    {
        point->m_Pos = o1;
    }
    else
    {
        // Keep the orientation of the triangle (P1, P2, point).
        const XYZ& q = OldPos(point);
        VECTOR v1(OldPos(p1), q);
        VECTOR v2(OldPos(p2), q);
        int s = SignOf(CrossZ(v1, v2), g_cTwoPPdisToggle);
        double z1 = CrossZ(VECTOR(p1->m_Pos, o1), VECTOR(p2->m_Pos, o1));
        point->m_Pos = Choose(s, z1, o1, o2);
    }
    SetValueKnown(rel1);
    SetValueKnown(rel2);
    return 1;
}
