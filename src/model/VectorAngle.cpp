// The directed angle between two planar directions. It lives with the model because relations
// measure their angles with it.
#include "model/VectorAngle.h"

#include <cmath>

namespace
{
// A cross product shorter than this (unnormalised, so it scales with the vectors' lengths)
// means the directions are parallel or one of them is nearly zero.
constexpr double kParallelCross = 0.0001;
} // namespace

double sktGetVectorToVectorAngle(VECTOR& a, VECTOR& b)
{
    const double pi = 2 * std::acos(0.0);
    b.z = 0.0;
    a.z = 0.0;
    VECTOR w = a.Xproduct(b);
    if (w.Length() < kParallelCross)
    {
        return a.IsSameDirection(b) ? 0.0 : pi;
    }
    TRANSF frame(XYZ(0.0, 0.0, 0.0), VECTOR(0.0, 0.0, 1.0), a);
    VECTOR v = b * frame.Inverse();
    double angle = std::atan2(v.y, v.x);
    if (angle < 0.0)
    {
        angle += 4 * std::acos(0.0);
    }
    return angle;
}
