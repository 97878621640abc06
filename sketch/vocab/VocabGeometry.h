// Plane vectors and angle helpers shared by the vocabulary's compiler and its checks.
#pragma once

#include <cmath>
#include <initializer_list>
#include <string>

namespace qsolver
{

enum class ConstraintType;

/// The type of a constraint named in a file ("tangent"); false when there is none.
bool ConstraintTypeFromName(const std::string& name, ConstraintType& type);

namespace vocab
{

struct Vec
{
    double x = 0.0;
    double y = 0.0;
};

inline Vec operator-(Vec a, Vec b)
{
    return {a.x - b.x, a.y - b.y};
}
inline Vec operator+(Vec a, Vec b)
{
    return {a.x + b.x, a.y + b.y};
}
inline Vec operator*(double s, Vec a)
{
    return {s * a.x, s * a.y};
}
inline double Dot(Vec a, Vec b)
{
    return a.x * b.x + a.y * b.y;
}
inline double Cross(Vec a, Vec b)
{
    return a.x * b.y - a.y * b.x;
}
inline double Len(Vec a)
{
    return std::hypot(a.x, a.y);
}

inline double Pi()
{
    return 2.0 * std::acos(0.0);
}

/// The counter-clockwise angle from direction a to direction b, in [0, 2pi).
inline double Ccw(Vec a, Vec b)
{
    const double angle = std::atan2(Cross(a, b), Dot(a, b));
    return angle < 0.0 ? angle + 2.0 * Pi() : angle;
}

/// How far apart two angles are on the circle, in [0, pi].
inline double AngleGap(double a, double b)
{
    const double gap = std::fmod(std::fabs(a - b), 2.0 * Pi());
    return std::fmin(gap, 2.0 * Pi() - gap);
}

/// The candidate nearest to `angle` on the circle (the first of equals).
inline double Nearest(double angle, std::initializer_list<double> candidates)
{
    double best = *candidates.begin();
    for (double c : candidates)
    {
        if (AngleGap(angle, c) < AngleGap(angle, best))
        {
            best = c;
        }
    }
    return best;
}

/// Distance of p from the infinite line through a with direction d (d not zero).
inline double LineDistance(Vec p, Vec a, Vec d)
{
    return std::fabs(Cross(d, p - a)) / Len(d);
}

/// p mirrored about the line through a with direction d.
inline Vec Mirror(Vec p, Vec a, Vec d)
{
    const double t = Dot(p - a, d) / Dot(d, d);
    const Vec foot = a + t * d;
    return foot + (foot - p);
}

} // namespace vocab
} // namespace qsolver
