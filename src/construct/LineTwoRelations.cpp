// A line from two relations: a common tangent of two circles about points, or a direction from
// an angle placed beside a point or a line. Of several lines the one that keeps the old sides
// of the points and the old sense of the line is taken.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/VectorAngle.h"

#include <cmath>

using namespace construct;

signed char g_cTwoPLdisToggle = 1;

namespace
{
// The largest ratio of distance difference to point distance that still counts as a tangent.
constexpr double kMaxTangentRatio = 1.00001;

// Sets the line with direction u beside the anchor: through it for
// side 0, else at distance d with the anchor on the given side (1 left, -1 right).
void PlaceBeside(CMathline* line, const XYZ& anchor, int side, double d, const VECTOR& u)
{
    if (side == 0)
    {
        line->m_Line.Set(anchor, u);
        return;
    }
    // Side 1: the anchor lay to the left, so the line goes to its right; -1 the other way.
    VECTOR n = side == 1 ? VECTOR(u.y, -u.x, 0.0) : VECTOR(-u.y, u.x, 0.0);
    n.Unit();
    line->m_Line.Set(anchor + n * d, u);
}

double SignedBySide(int side, double d)
{
    if (side == 1)
    {
        return d;
    }
    if (side == -1)
    {
        return -d;
    }
    return 0.0;
}

// No tangent meets both circles: one distance places the line, provided the other point keeps
// its side, and the other distance is measured.
int TwoPLdisFallback(CMathline* line, CRel* rel1, CRel* rel2)
{
    const bool neitherKnown = !IsValueKnown(rel1) && !IsValueKnown(rel2);
    CRel* placing = nullptr;
    CRel* measured = nullptr;
    if (!ChooseGivingWay(rel1, rel2, placing, measured))
    {
        return 0;
    }
    CVert* other = OtherPoint(measured, line);

    MATHLINE entry = line->m_Line;
    sktLineFromPLdis(line, placing);
    if (sktGetPointSideOfLine(OldPos(other), OldLine(line)) !=
        sktGetPointSideOfLine(other->m_Pos, line->m_Line))
    {
        line->m_Line = entry;
        return 0;
    }
    measured->m_pVal->m_dValue = line->GetDistance(other);
    if (neitherKnown)
    {
        SetValueKnown(rel1);
    }
    return 1;
}
} // namespace

int sktLineFromPLdisLLang(CMathline* line, CRel* relPL, CRel* relAng)
{
    VECTOR u = DirectionFromAngle(line, relAng);
    CVert* p = OtherPoint(relPL, line);
    int s = sktGetPointSideOfLine(OldPos(p), OldLine(line));
    PlaceBeside(line, p->m_Pos, s, ValueOf(relPL), u);
    if (!IsValueKnown(relPL))
    {
        SetValueKnown(relPL);
    }
    return 1;
}

int sktLineFromLLdisLLang(CMathline* line, CRel* relLL, CRel* relAng)
{
    VECTOR u = DirectionFromAngle(line, relAng);
    CMathline* k1 = OtherLine(relLL, line);
    int s = sktGetPointSideOfLine(OldLine(k1).GetThroughPoint(), OldLine(line));
    PlaceBeside(line, k1->m_Line.GetThroughPoint(), s, ValueOf(relLL), u);
    return 1;
}

int sktLineFromTwoPLdis(CMathline* line, CRel* rel1, CRel* rel2)
{
    CVert* p1 = OtherPoint(rel1, line);
    CVert* p2 = OtherPoint(rel2, line);
    const XYZ& c1 = p1->m_Pos;
    const XYZ& c2 = p2->m_Pos;
    double dist = QDistance(c1, c2);
    if (dist < kGeomTol)
    {
        return TwoPLdisFallback(line, rel1, rel2);
    }

    double d1 = ValueOf(rel1);
    double d2 = ValueOf(rel2);
    const MATHLINE& oldLine = OldLine(line);
    if (std::fabs(d1) < kGeomTol && std::fabs(d2) < kGeomTol)
    {
        // The line through both points keeps its old sense along them.
        VECTOR wOld(OldPos(p1), OldPos(p2));
        if (oldLine.GetDirection().Iproduct(wOld) > 0.0)
        {
            line->m_Line.Set(c1, VECTOR(c1, c2));
        }
        else
        {
            line->m_Line.Set(c2, VECTOR(c2, c1));
        }
        SetValueKnown(rel1);
        SetValueKnown(rel2);
        return 1;
    }

    // Signed distances, positive to the left: each point keeps its old side.
    double e1 = SignedBySide(sktGetPointSideOfLine(OldPos(p1), oldLine), d1);
    double e2 = SignedBySide(sktGetPointSideOfLine(OldPos(p2), oldLine), d2);

    double r = std::fabs(e1 - e2) / dist;
    if (r > kMaxTangentRatio)
    {
        return TwoPLdisFallback(line, rel1, rel2);
    }
    if (std::fabs(r - 1.0) <= kGeomTol)
    {
        r = 1.0;
    }
    if (std::fabs(r) <= kGeomTol)
    {
        r = 0.0;
    }
    double beta = std::asin(r);

    // Of the two tangents, the one whose sense along P2 -> P1 matches the old line's; square to
    // the points, the old line cannot tell, and the toggle alternates.
    VECTOR oldBase(OldPos(p2), OldPos(p1));
    VECTOR oldDir = oldLine.GetDirection();
    double gamma = sktGetVectorToVectorAngle(oldBase, oldDir);
    bool turned = false;
    if (gamma > HalfPi() + kGeomTol && gamma < 3.0 * HalfPi() - kGeomTol)
    {
        beta = Pi() - beta;
        turned = true;
    }
    else if (std::fabs(gamma - HalfPi()) <= kGeomTol ||
             std::fabs(gamma - 3.0 * HalfPi()) <= kGeomTol)
    {
        if (g_cTwoPLdisToggle == 1)
        {
            g_cTwoPLdisToggle = -1;
        }
        else
        {
            beta = Pi() - beta;
            turned = true;
            g_cTwoPLdisToggle = 1;
        }
    }

    VECTOR w(c2, c1);
    double alpha;
    if (std::fabs(w.x) > kGeomTol)
    {
        alpha = std::atan2(w.y, w.x);
    }
    else
    {
        alpha = w.y > 0.0 ? HalfPi() : -HalfPi();
    }

    // Equal signed distances give r = 0, where both signs give one line.
    double phi = e1 < e2 ? alpha + beta : alpha - beta;
    if (phi > TwoPi())
    {
        phi -= TwoPi();
    }
    if (phi < -TwoPi())
    {
        phi += TwoPi();
    }
    VECTOR u(std::cos(phi), std::sin(phi), 0.0);
    VECTOR n(-std::sin(phi), std::cos(phi), 0.0);
    line->m_Line.Set(c1 - n * e1, u);
    if (!turned)
    {
        line->m_Line.Set(line->m_Line.GetProjectPoint(c2), line->m_Line.GetDirection());
    }
    SetValueKnown(rel1);
    SetValueKnown(rel2);
    return 1;
}
