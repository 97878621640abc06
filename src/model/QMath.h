// Planar math value types the solver computes with: points, vectors, infinite lines and rigid
// frames. Our own stand-in for the CAD platform's math library, with the same names and meaning.
#pragma once

#include "shell/QsolverExport.h"

/// Stands for an infinite distance: what distance queries answer for pairs they cannot measure.
extern QSOLVER_API const double INFINITE3D;

class VECTOR;
class TRANSF;

class QSOLVER_API XYZ
{
public:
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    XYZ() = default;
    XYZ(double ax, double ay, double az) : x(ax), y(ay), z(az) {}
    XYZ(const XYZ&) = default;
    XYZ(const VECTOR& v);
    XYZ& operator=(const XYZ&) = default;

    double& operator[](const int& i) { return i == 0 ? x : (i == 1 ? y : z); }
    const double& operator[](const int& i) const { return i == 0 ? x : (i == 1 ? y : z); }
    void Set(double ax, double ay, double az)
    {
        x = ax;
        y = ay;
        z = az;
    }
    double GetDistance(const XYZ& other) const;
    /// Non-zero when the two points lie within tol of each other (distance compared).
    int IsSame(const XYZ& other, double tol) const;
};

class QSOLVER_API VECTOR
{
public:
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    VECTOR() = default;
    VECTOR(double ax, double ay, double az) : x(ax), y(ay), z(az) {}
    VECTOR(const VECTOR&) = default;
    VECTOR(const XYZ& p) : x(p.x), y(p.y), z(p.z) {}
    /// The vector from a to b.
    VECTOR(const XYZ& a, const XYZ& b) : x(b.x - a.x), y(b.y - a.y), z(b.z - a.z) {}
    VECTOR& operator=(const VECTOR&) = default;
    VECTOR& operator=(const XYZ& p)
    {
        x = p.x;
        y = p.y;
        z = p.z;
        return *this;
    }

    double& operator[](const int& i) { return i == 0 ? x : (i == 1 ? y : z); }
    const double& operator[](const int& i) const { return i == 0 ? x : (i == 1 ? y : z); }
    void Set(double ax, double ay, double az)
    {
        x = ax;
        y = ay;
        z = az;
    }
    /// Normalises in place; a zero vector stays zero and answers 0.
    int Unit();
    double Length() const;
    void Reverse()
    {
        x = -x;
        y = -y;
        z = -z;
    }
    double Iproduct(const VECTOR& b) const { return x * b.x + y * b.y + z * b.z; }
    VECTOR Xproduct(const VECTOR& b) const
    {
        return VECTOR(y * b.z - z * b.y, z * b.x - x * b.z, x * b.y - y * b.x);
    }
    /// Unsigned angle to the positive X axis, in [0, pi].
    double AngleToXAxis() const;
    /// For parallel vectors: non-zero when they point the same way.
    int IsSameDirection(const VECTOR& b) const;
};

inline XYZ::XYZ(const VECTOR& v) : x(v.x), y(v.y), z(v.z) {}

inline XYZ operator+(const XYZ& p, const VECTOR& v)
{
    return XYZ(p.x + v.x, p.y + v.y, p.z + v.z);
}
inline XYZ operator-(const XYZ& p, const VECTOR& v)
{
    return XYZ(p.x - v.x, p.y - v.y, p.z - v.z);
}
inline XYZ operator-(const XYZ& a, const XYZ& b)
{
    return XYZ(a.x - b.x, a.y - b.y, a.z - b.z);
}
inline VECTOR operator*(const VECTOR& v, const double& s)
{
    return VECTOR(v.x * s, v.y * s, v.z * s);
}

/// A rigid frame: its axes and origin in world coordinates. Mapping by it takes coordinates in
/// the frame to world coordinates.
class QSOLVER_API TRANSF
{
public:
    VECTOR m_XAxis = VECTOR(1.0, 0.0, 0.0);
    VECTOR m_YAxis = VECTOR(0.0, 1.0, 0.0);
    VECTOR m_ZAxis = VECTOR(0.0, 0.0, 1.0);
    VECTOR m_PAxis = VECTOR(0.0, 0.0, 0.0);
    XYZ m_Origin = XYZ(0.0, 0.0, 0.0);
    double m_dScale = 1.0;

    TRANSF() = default;
    TRANSF(const TRANSF&) = default;
    /// The frame with this origin, Z axis along z and X axis along x (Y completes it).
    TRANSF(const XYZ& origin, const VECTOR& z, const VECTOR& xdir);
    TRANSF& operator=(const TRANSF&) = default;

    VECTOR GetXAxis() const { return m_XAxis; }
    VECTOR GetYAxis() const { return m_YAxis; }
    VECTOR GetZAxis() const { return m_ZAxis; }
    VECTOR GetPAxis() const { return m_PAxis; }
    XYZ GetOrigin() const { return m_Origin; }

    TRANSF Inverse() const;
    /// This transform followed by a translation by d.
    TRANSF Move(const XYZ& d) const;
    /// This transform followed by a counterclockwise rotation by a about the world Z axis.
    TRANSF RotateAroundZAxis(const double& a) const;
};

QSOLVER_API XYZ operator*(const XYZ& p, const TRANSF& t);
QSOLVER_API VECTOR operator*(const VECTOR& v, const TRANSF& t);

/// An infinite line: a through point and a unit direction.
class QSOLVER_API MATHLINE
{
public:
    XYZ m_ThroughPoint;
    VECTOR m_Direction = VECTOR(1.0, 0.0, 0.0);

    MATHLINE() = default;
    MATHLINE(const MATHLINE&) = default;
    MATHLINE(const XYZ& p, const VECTOR& d) { Set(p, d); }
    /// The line through a with direction b - a.
    MATHLINE(const XYZ& a, const XYZ& b) { Set(a, VECTOR(a, b)); }
    MATHLINE& operator=(const MATHLINE& o)
    {
        m_ThroughPoint = o.m_ThroughPoint;
        m_Direction = o.m_Direction;
        return *this;
    }

    XYZ GetThroughPoint() const { return m_ThroughPoint; }
    VECTOR GetDirection() const { return m_Direction; }
    /// Stores the direction normalised: callers use it as a unit vector without normalising.
    void Set(const XYZ& p, const VECTOR& d);

    double GetDistance(const XYZ& p) const;
    /// Perpendicular distance for parallel lines, 0 for lines that meet.
    double GetDistance(const MATHLINE& other) const;
    /// Counterclockwise angle from this direction to the other's, in [0, 2pi).
    double GetAngle(const MATHLINE& other) const;
    MATHLINE GetPerpendicularLine(const XYZ& p) const;
    MATHLINE GetParallelLine(const XYZ& p) const;
    XYZ GetProjectPoint(const XYZ& p) const;
    int Intersect(const MATHLINE& other, XYZ& out) const;
    int IsParallel(const MATHLINE& other) const;
    int IsPerpendicular(const MATHLINE& other) const;
    int IsSame(const MATHLINE& other) const;
};

QSOLVER_API MATHLINE operator*(const MATHLINE& l, const TRANSF& t);

class QSOLVER_API PLANE
{
public:
    double m_dLead[4] = {0.0, 0.0, 0.0, 0.0};
    XYZ m_ThroughPoint;
    VECTOR m_Normal = VECTOR(0.0, 0.0, 1.0);

    PLANE() = default;
    PLANE(const PLANE&) = default;
    XYZ GetThroughPoint() const { return m_ThroughPoint; }
    VECTOR GetNormal() const { return m_Normal; }
    PLANE& operator=(const PLANE& o)
    {
        for (int i = 0; i < 4; ++i)
        {
            m_dLead[i] = o.m_dLead[i];
        }
        m_ThroughPoint = o.m_ThroughPoint;
        m_Normal = o.m_Normal;
        return *this;
    }
};

class QSOLVER_API COORDSYS
{
public:
    TRANSF m_UCSToWCS;
    TRANSF m_WCSToUCS;

    VECTOR GetXAxis() const { return m_UCSToWCS.GetXAxis(); }
    VECTOR GetYAxis() const { return m_UCSToWCS.GetYAxis(); }
    VECTOR GetZAxis() const { return m_UCSToWCS.GetZAxis(); }
    VECTOR GetPAxis() const { return m_UCSToWCS.GetPAxis(); }
    XYZ GetOrigin() const { return m_UCSToWCS.GetOrigin(); }
    TRANSF GetTranMatrix() const { return m_UCSToWCS; }
    TRANSF GetTransFromUCSToWCSMatrix() const { return m_UCSToWCS; }
    TRANSF GetTransFromWCSToUCSMatrix() const { return m_WCSToUCS; }
};

/// The distance between two points (the math library's point distance entry).
QSOLVER_API double QDistance(const XYZ& a, const XYZ& b);
/// Scales (x, y, z) in place to unit length (the math library's normalise entry).
QSOLVER_API void QNormalize(double& x, double& y, double& z);
