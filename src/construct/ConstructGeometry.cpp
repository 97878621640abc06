// The loci every construction case intersects: point-to-line distance, line with circle, circle
// with circle, the offset of a line node, and the side of a point relative to a directed line.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"

#include <cmath>

using namespace construct;

namespace
{
// A line through two points closer than this (squared length) has no direction to intersect.
constexpr double kDegenerateSquaredLength = 1e-5;
// Offsets below this leave a line where it is.
constexpr double kZeroOffset = 1e-5;
// The side test compares the sine of the angle seen from the line's through point.
constexpr double kSideSine = 1e-5;
// Distance of the second point along the line used to describe the radical line.
constexpr double kRadicalStep = 10.0;
} // namespace

double sktGetPointToLineDistance(const XYZ& P, const XYZ& A, const XYZ& B)
{
    VECTOR d(A, B);
    double len = d.Length();
    if (len < kGeomTol)
    {
        return VECTOR(A, P).Length();
    }
    double t = d.Iproduct(VECTOR(A, P)) / d.Iproduct(d);
    XYZ foot = A + d * t;
    return VECTOR(foot, P).Length();
}

int sktIntersectLineCircle(const XYZ& A, const XYZ& B, const XYZ& M, double r, XYZ& out1, XYZ& out2)
{
    double dx = B.x - A.x;
    double dy = B.y - A.y;
    double a = dx * dx + dy * dy;
    if (a < kDegenerateSquaredLength)
    {
        return 0;
    }
    // A line that misses the circle by no more than the tolerance touches it.
    if (sktGetPointToLineDistance(M, A, B) > r + kGeomTol)
    {
        return 0;
    }
    double ax = A.x - M.x;
    double ay = A.y - M.y;
    double b = 2.0 * (dx * ax + dy * ay);
    double e = ax * ax + ay * ay - r * r;
    double D = b * b - 4.0 * a * e;
    if (D < 0.0)
    {
        D = 0.0;
    }
    double s = std::sqrt(D);
    double t1 = (s - b) / (2.0 * a);
    double t2 = (-b - s) / (2.0 * a);
    // out1 is the root farther along A -> B.
    XYZ p1(A.x + t1 * dx, A.y + t1 * dy, 0.0);
    XYZ p2(A.x + t2 * dx, A.y + t2 * dy, 0.0);
    out1 = p1;
    out2 = p2;
    if (QDistance(p1, p2) < kGeomTol)
    {
        return 1;
    }
    return 2;
}

int sktIntersectCircleCircle(const XYZ& M1, double r1, const XYZ& M2, double r2, XYZ& out1,
                             XYZ& out2)
{
    double dx = M2.x - M1.x;
    double dy = M2.y - M1.y;
    double d = std::sqrt(dx * dx + dy * dy);
    if (d < kGeomTol)
    {
        return 0;
    }
    // Tangency is decided before reachability: within the tolerance of touching, the circles
    // meet in exactly one point whether they overlap slightly or stand slightly apart.
    if (std::fabs(d - r1 - r2) < kGeomTol)
    {
        if (std::fabs(r1 + r2) < kGeomTol)
        {
            return 0;
        }
        double k = r1 / (r1 + r2);
        XYZ p(M1.x + k * dx, M1.y + k * dy, 0.0);
        out1 = p;
        out2 = p;
        return 1;
    }
    if (std::fabs(d - std::fabs(r1 - r2)) < kGeomTol)
    {
        if (std::fabs(r1 - r2) < kGeomTol)
        {
            return 0;
        }
        XYZ p;
        if (r1 > r2)
        {
            double ux = dx;
            double uy = dy;
            double uz = 0.0;
            QNormalize(ux, uy, uz);
            p.Set(M1.x + r1 * ux, M1.y + r1 * uy, 0.0);
        }
        else
        {
            double ux = -dx;
            double uy = -dy;
            double uz = 0.0;
            QNormalize(ux, uy, uz);
            p.Set(M2.x + r2 * ux, M2.y + r2 * uy, 0.0);
        }
        out1 = p;
        out2 = p;
        return 1;
    }
    if (r1 + r2 < d || d < std::fabs(r1 - r2))
    {
        return 0;
    }
    // The radical line dx*x + dy*y = K, described by two of its points: the second one steps
    // along the axis of the smaller component, where the line cannot be steep.
    double K = (M2.x * M2.x + M2.y * M2.y - M1.x * M1.x - M1.y * M1.y + r1 * r1 - r2 * r2) / 2.0;
    XYZ A;
    XYZ B;
    if (std::fabs(dy) > std::fabs(dx))
    {
        A.Set(0.0, K / dy, 0.0);
        B.Set(kRadicalStep, (K - kRadicalStep * dx) / dy, 0.0);
    }
    else
    {
        A.Set(K / dx, 0.0, 0.0);
        B.Set((K - kRadicalStep * dy) / dx, kRadicalStep, 0.0);
    }
    return sktIntersectLineCircle(A, B, M1, r1, out1, out2);
}

MATHLINE sktGetOffsetLine(CMathline* line, const XYZ& ref, CRel* rel)
{
    double d = ValueOf(rel);
    if (std::fabs(d) < kZeroOffset)
    {
        return line->m_Line;
    }
    // The side comes from the old line and the old reference point; the offset follows the
    // line's present direction.
    const MATHLINE& old = OldLine(line);
    VECTOR D0 = old.GetDirection();
    VECTOR V(old.GetThroughPoint(), ref);
    D0.Unit();
    V.Unit();
    double w = D0.Xproduct(V).z;

    XYZ T = line->m_Line.GetThroughPoint();
    VECTOR D = line->m_Line.GetDirection();
    VECTOR N = w > 0.0 ? VECTOR(-D.y, D.x, 0.0) : VECTOR(D.y, -D.x, 0.0);
    N.Unit();
    return MATHLINE(T + N * d, D);
}

int sktGetPointSideOfLine(const XYZ& P, const MATHLINE& L)
{
    VECTOR D = L.GetDirection();
    VECTOR W(L.GetThroughPoint(), P);
    D.Unit();
    W.Unit();
    double z = D.Xproduct(W).z;
    if (z > kSideSine)
    {
        return 1;
    }
    if (z >= -kSideSine)
    {
        return 0;
    }
    return -1;
}
