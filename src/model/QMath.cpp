// The math value types' out-of-line operations.
#include "model/QMath.h"

#include "model/VectorAngle.h"

#include <cmath>

const double INFINITE3D = 1.0e30;

namespace
{
// Unit directions whose cross product is shorter than this are parallel; a dot product this
// close to zero is perpendicular. The same size as the solver's residual tolerance, so lines that
// a solve made parallel are seen as parallel.
constexpr double kDirectionTol = 1e-6;
// Two parallel lines whose through points lie this close to each other's line are one line.
constexpr double kSameLineTol = 1e-6;

VECTOR Normalised(const VECTOR& v)
{
    VECTOR u(v);
    u.Unit();
    return u;
}
} // namespace

double XYZ::GetDistance(const XYZ& other) const
{
    return QDistance(*this, other);
}

int XYZ::IsSame(const XYZ& other, double tol) const
{
    return QDistance(*this, other) < tol ? 1 : 0;
}

int VECTOR::Unit()
{
    double len = Length();
    if (len == 0.0) // exact: only a true zero vector cannot be scaled
    {
        return 0;
    }
    x /= len;
    y /= len;
    z /= len;
    return 1;
}

double VECTOR::Length() const
{
    return std::sqrt(x * x + y * y + z * z);
}

double VECTOR::AngleToXAxis() const
{
    double len = Length();
    if (len == 0.0)
    {
        return 0.0;
    }
    double c = x / len;
    c = c > 1.0 ? 1.0 : (c < -1.0 ? -1.0 : c);
    return std::acos(c);
}

int VECTOR::IsSameDirection(const VECTOR& b) const
{
    return Iproduct(b) > 0.0 ? 1 : 0;
}

TRANSF::TRANSF(const XYZ& origin, const VECTOR& zdir, const VECTOR& xdir)
{
    m_Origin = origin;
    m_ZAxis = Normalised(zdir);
    // X is the given direction made perpendicular to Z; Y completes a right-handed frame.
    VECTOR xs = xdir;
    double along = xs.Iproduct(m_ZAxis);
    xs = VECTOR(xs.x - m_ZAxis.x * along, xs.y - m_ZAxis.y * along, xs.z - m_ZAxis.z * along);
    m_XAxis = Normalised(xs);
    m_YAxis = m_ZAxis.Xproduct(m_XAxis);
}

TRANSF TRANSF::Inverse() const
{
    TRANSF inv;
    // The rotation's inverse is its transpose.
    inv.m_XAxis = VECTOR(m_XAxis.x, m_YAxis.x, m_ZAxis.x);
    inv.m_YAxis = VECTOR(m_XAxis.y, m_YAxis.y, m_ZAxis.y);
    inv.m_ZAxis = VECTOR(m_XAxis.z, m_YAxis.z, m_ZAxis.z);
    inv.m_PAxis = m_PAxis;
    inv.m_dScale = m_dScale;
    VECTOR o(m_Origin);
    inv.m_Origin = XYZ(-(o.Iproduct(m_XAxis)), -(o.Iproduct(m_YAxis)), -(o.Iproduct(m_ZAxis)));
    return inv;
}

TRANSF TRANSF::Move(const XYZ& d) const
{
    TRANSF t(*this);
    t.m_Origin = XYZ(m_Origin.x + d.x, m_Origin.y + d.y, m_Origin.z + d.z);
    return t;
}

TRANSF TRANSF::RotateAroundZAxis(const double& a) const
{
    double c = std::cos(a);
    double s = std::sin(a);
    auto rot = [c, s](const VECTOR& v)
    { return VECTOR(c * v.x - s * v.y, s * v.x + c * v.y, v.z); };
    TRANSF t(*this);
    t.m_XAxis = rot(m_XAxis);
    t.m_YAxis = rot(m_YAxis);
    t.m_ZAxis = rot(m_ZAxis);
    VECTOR o = rot(VECTOR(m_Origin));
    t.m_Origin = XYZ(o.x, o.y, o.z);
    return t;
}

XYZ operator*(const XYZ& p, const TRANSF& t)
{
    const XYZ& o = t.m_Origin;
    return XYZ(o.x + p.x * t.m_XAxis.x + p.y * t.m_YAxis.x + p.z * t.m_ZAxis.x,
               o.y + p.x * t.m_XAxis.y + p.y * t.m_YAxis.y + p.z * t.m_ZAxis.y,
               o.z + p.x * t.m_XAxis.z + p.y * t.m_YAxis.z + p.z * t.m_ZAxis.z);
}

VECTOR operator*(const VECTOR& v, const TRANSF& t)
{
    return VECTOR(v.x * t.m_XAxis.x + v.y * t.m_YAxis.x + v.z * t.m_ZAxis.x,
                  v.x * t.m_XAxis.y + v.y * t.m_YAxis.y + v.z * t.m_ZAxis.y,
                  v.x * t.m_XAxis.z + v.y * t.m_YAxis.z + v.z * t.m_ZAxis.z);
}

MATHLINE operator*(const MATHLINE& l, const TRANSF& t)
{
    return MATHLINE(l.m_ThroughPoint * t, l.m_Direction * t);
}

void MATHLINE::Set(const XYZ& p, const VECTOR& d)
{
    m_ThroughPoint = p;
    m_Direction = Normalised(d);
}

double MATHLINE::GetDistance(const XYZ& p) const
{
    VECTOR w(m_ThroughPoint, p);
    return w.Xproduct(m_Direction).Length();
}

double MATHLINE::GetDistance(const MATHLINE& other) const
{
    if (!IsParallel(other))
    {
        return 0.0;
    }
    return GetDistance(other.m_ThroughPoint);
}

double MATHLINE::GetAngle(const MATHLINE& other) const
{
    // Measured exactly as an angle relation measures its lines.
    VECTOR a = m_Direction;
    VECTOR b = other.m_Direction;
    return sktGetVectorToVectorAngle(a, b);
}

MATHLINE MATHLINE::GetPerpendicularLine(const XYZ& p) const
{
    VECTOR n = VECTOR(0.0, 0.0, 1.0).Xproduct(m_Direction);
    return MATHLINE(p, n);
}

MATHLINE MATHLINE::GetParallelLine(const XYZ& p) const
{
    return MATHLINE(p, m_Direction);
}

XYZ MATHLINE::GetProjectPoint(const XYZ& p) const
{
    VECTOR w(m_ThroughPoint, p);
    return m_ThroughPoint + m_Direction * w.Iproduct(m_Direction);
}

int MATHLINE::Intersect(const MATHLINE& other, XYZ& out) const
{
    double den = m_Direction.x * other.m_Direction.y - m_Direction.y * other.m_Direction.x;
    if (IsParallel(other))
    {
        return 0;
    }
    VECTOR w(m_ThroughPoint, other.m_ThroughPoint);
    double t = (w.x * other.m_Direction.y - w.y * other.m_Direction.x) / den;
    out = m_ThroughPoint + m_Direction * t;
    return 1;
}

int MATHLINE::IsParallel(const MATHLINE& other) const
{
    return m_Direction.Xproduct(other.m_Direction).Length() < kDirectionTol ? 1 : 0;
}

int MATHLINE::IsPerpendicular(const MATHLINE& other) const
{
    return std::fabs(m_Direction.Iproduct(other.m_Direction)) < kDirectionTol ? 1 : 0;
}

int MATHLINE::IsSame(const MATHLINE& other) const
{
    return IsParallel(other) && GetDistance(other.m_ThroughPoint) < kSameLineTol ? 1 : 0;
}

double QDistance(const XYZ& a, const XYZ& b)
{
    double dx = b.x - a.x;
    double dy = b.y - a.y;
    double dz = b.z - a.z;
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

void QNormalize(double& x, double& y, double& z)
{
    double len = std::sqrt(x * x + y * y + z * z);
    if (len == 0.0)
    {
        return;
    }
    x /= len;
    y /= len;
    z /= len;
}

namespace
{
// Hosts reach the inline accessors through the library too, so one copy of each is emitted
// and exported from here.
using LinePointFn = XYZ (MATHLINE::*)() const;
using LineVecFn = VECTOR (MATHLINE::*)() const;
using LineAssignFn = MATHLINE& (MATHLINE::*)(const MATHLINE&);
using PlanePointFn = XYZ (PLANE::*)() const;
using PlaneVecFn = VECTOR (PLANE::*)() const;
using PlaneAssignFn = PLANE& (PLANE::*)(const PLANE&);
using TransfVecFn = VECTOR (TRANSF::*)() const;
using TransfPointFn = XYZ (TRANSF::*)() const;
using CsVecFn = VECTOR (COORDSYS::*)() const;
using CsPointFn = XYZ (COORDSYS::*)() const;
using CsTransfFn = TRANSF (COORDSYS::*)() const;

struct InlineAccessors
{
    LinePointFn linePoint;
    LineVecFn lineDir;
    LineAssignFn lineAssign;
    PlanePointFn planePoint;
    PlaneVecFn planeNormal;
    PlaneAssignFn planeAssign;
    TransfVecFn transfAxes[4];
    TransfPointFn transfOrigin;
    CsVecFn csAxes[4];
    CsPointFn csOrigin;
    CsTransfFn csTransfs[3];
};

#if defined(__GNUC__)
__attribute__((used))
#endif
const InlineAccessors g_inlineAccessors = {
    &MATHLINE::GetThroughPoint,
    &MATHLINE::GetDirection,
    &MATHLINE::operator=,
    &PLANE::GetThroughPoint,
    &PLANE::GetNormal,
    &PLANE::operator=,
    {&TRANSF::GetXAxis, &TRANSF::GetYAxis, &TRANSF::GetZAxis, &TRANSF::GetPAxis},
    &TRANSF::GetOrigin,
    {&COORDSYS::GetXAxis, &COORDSYS::GetYAxis, &COORDSYS::GetZAxis, &COORDSYS::GetPAxis},
    &COORDSYS::GetOrigin,
    {&COORDSYS::GetTranMatrix, &COORDSYS::GetTransFromUCSToWCSMatrix,
     &COORDSYS::GetTransFromWCSToUCSMatrix},
};
} // namespace
