// What each constraint means, measured on the entities themselves: the check after a drive and
// the values of reference dimensions. It never looks at the compiled relations, so a compile
// that says something else than the constraint shows here.
#include "qsolver/Vocab.h"

#include "vocab/VocabGeometry.h"

#include <algorithm>
#include <cmath>

namespace qsolver
{

using vocab::AngleGap;
using vocab::Ccw;
using vocab::Len;
using vocab::LineDistance;
using vocab::Pi;
using vocab::Vec;

namespace
{

// A constraint holds when it is off by less than this many radians, or by less than a length:
// distances between points hold to the core's 1e-6 (a relative 1e-10 beyond 1e4), with room
// for the few relations a constraint compiles to; what depends on a line's direction holds to
// 1e-6 of the sketch's size, since the core accepts angles to 1e-6 and a line's far end moves
// by that much of its length.
constexpr double kHoldAngle = 1e-6;
constexpr double kHoldShare = 1e-6;
constexpr double kHoldLength = 4e-6;
constexpr double kFarOut = 1e4;

struct Geometry
{
    const VocabSketch& v;

    const VocabEntity& E(const std::string& id) const { return *v.FindEntity(id); }
    Vec At(const std::string& id) const
    {
        const VocabEntity& p = E(id);
        return {p.x, p.y};
    }
    Vec Base(const VocabEntity& e) const
    {
        return e.type == EntityType::Segment ? At(e.points[0]) : Vec{e.x, e.y};
    }
    Vec Dir(const VocabEntity& e) const
    {
        return e.type == EntityType::Segment ? At(e.points[1]) - At(e.points[0]) : Vec{e.dx, e.dy};
    }
    Vec Centre(const VocabEntity& e) const { return At(e.points[0]); }
    double Radius(const VocabEntity& e) const { return v.RadiusOf(e); }
    // The angle between two directions folded onto [0, pi/2]: 0 parallel, pi/2 square.
    static double Fold(Vec a, Vec b)
    {
        const double angle = std::fmod(Ccw(a, b), Pi());
        return std::min(angle, Pi() - angle);
    }
    double Extent() const
    {
        double extent = 1.0;
        for (const VocabEntity& e : v.Entities())
        {
            extent = std::max({extent, std::fabs(e.x), std::fabs(e.y), e.radius});
        }
        return extent;
    }
};

bool IsLinear(const VocabEntity& e)
{
    return e.type == EntityType::Segment || e.type == EntityType::Line;
}

} // namespace

double VocabSketch::Measure(const VocabConstraint& c) const
{
    const Geometry g{*this};
    std::vector<const VocabEntity*> r;
    for (const std::string& id : c.refs)
    {
        r.push_back(&g.E(id));
    }
    switch (c.type)
    {
        case ConstraintType::Angle:
        {
            const Vec a = (c.reverse[0] ? -1.0 : 1.0) * g.Dir(*r[0]);
            const Vec b = (c.reverse[1] ? -1.0 : 1.0) * g.Dir(*r[1]);
            return Ccw(a, b);
        }
        case ConstraintType::Distance:
            if (r[0]->type == EntityType::Point && r[1]->type == EntityType::Point)
            {
                return Len(g.At(c.refs[0]) - g.At(c.refs[1]));
            }
            if (r[0]->type == EntityType::Point)
            {
                return LineDistance(g.At(c.refs[0]), g.Base(*r[1]), g.Dir(*r[1]));
            }
            return LineDistance(g.Base(*r[1]), g.Base(*r[0]), g.Dir(*r[0]));
        case ConstraintType::Length:
            return Len(g.Dir(*r[0]));
        case ConstraintType::Radius:
            return g.Radius(*r[0]);
        case ConstraintType::Diameter:
            return 2.0 * g.Radius(*r[0]);
        default:
            return 0.0;
    }
}

std::vector<ConstraintCheck> VocabSketch::Check() const
{
    const Geometry g{*this};
    const double extent = g.Extent();
    const double pointTol = kHoldLength * std::max(1.0, extent / kFarOut);
    const double lineTol = kHoldShare * extent;
    std::vector<ConstraintCheck> checks;
    for (const VocabConstraint& c : m_constraints)
    {
        ConstraintCheck check;
        check.id = c.id;
        std::vector<const VocabEntity*> r;
        for (const std::string& id : c.refs)
        {
            r.push_back(&g.E(id));
        }
        bool angular = false;
        // Measured against a line through two points, whose direction the core holds to 1e-6.
        bool alongLine = false;
        double error = 0.0;
        switch (c.type)
        {
            case ConstraintType::Coincident:
                error = Len(g.At(c.refs[0]) - g.At(c.refs[1]));
                break;
            case ConstraintType::On:
                alongLine = IsLinear(*r[1]);
                error = IsLinear(*r[1])
                            ? LineDistance(g.At(c.refs[0]), g.Base(*r[1]), g.Dir(*r[1]))
                            : std::fabs(Len(g.At(c.refs[0]) - g.Centre(*r[1])) - g.Radius(*r[1]));
                break;
            case ConstraintType::Horizontal:
            case ConstraintType::Vertical:
            {
                const bool horizontal = c.type == ConstraintType::Horizontal;
                if (r.size() == 2)
                {
                    alongLine = true;
                    const Vec d = g.At(c.refs[1]) - g.At(c.refs[0]);
                    error = std::fabs(horizontal ? d.y : d.x);
                }
                else
                {
                    angular = true;
                    const double fold = Geometry::Fold({1.0, 0.0}, g.Dir(*r[0]));
                    error = horizontal ? fold : 0.5 * Pi() - fold;
                }
                break;
            }
            case ConstraintType::Parallel:
                angular = true;
                error = Geometry::Fold(g.Dir(*r[0]), g.Dir(*r[1]));
                break;
            case ConstraintType::Perpendicular:
                angular = true;
                error = 0.5 * Pi() - Geometry::Fold(g.Dir(*r[0]), g.Dir(*r[1]));
                break;
            case ConstraintType::Angle:
                angular = true;
                check.measured = Measure(c);
                error = AngleGap(check.measured, c.value);
                break;
            case ConstraintType::Distance:
            case ConstraintType::Length:
            case ConstraintType::Radius:
            case ConstraintType::Diameter:
                check.measured = Measure(c);
                error = std::fabs(check.measured - c.value);
                alongLine = c.type == ConstraintType::Distance && IsLinear(*r[1]);
                if (c.type == ConstraintType::Distance && IsLinear(*r[0]))
                {
                    // The distance of two lines means something only while they are parallel.
                    error = std::max(error, Geometry::Fold(g.Dir(*r[0]), g.Dir(*r[1])) * extent *
                                                kHoldShare / kHoldAngle);
                }
                break;
            case ConstraintType::Equal:
                error = r[0]->type == EntityType::Segment
                            ? std::fabs(Len(g.Dir(*r[0])) - Len(g.Dir(*r[1])))
                            : std::fabs(g.Radius(*r[0]) - g.Radius(*r[1]));
                break;
            case ConstraintType::Tangent:
            {
                const VocabEntity& round = *r[1];
                if (IsLinear(*r[0]))
                {
                    alongLine = true;
                    error = std::fabs(LineDistance(g.Centre(round), g.Base(*r[0]), g.Dir(*r[0])) -
                                      g.Radius(round));
                }
                else
                {
                    const double d = Len(g.Centre(*r[0]) - g.Centre(round));
                    const double reach = c.inside ? std::fabs(g.Radius(*r[0]) - g.Radius(round))
                                                  : g.Radius(*r[0]) + g.Radius(round);
                    error = std::fabs(d - reach);
                }
                break;
            }
            case ConstraintType::Concentric:
                error = Len(g.Centre(*r[0]) - g.Centre(*r[1]));
                break;
            case ConstraintType::Midpoint:
            {
                const Vec a = r.size() == 2 ? g.At(r[1]->points[0]) : g.At(c.refs[1]);
                const Vec b = r.size() == 2 ? g.At(r[1]->points[1]) : g.At(c.refs[2]);
                error = Len(g.At(c.refs[0]) - 0.5 * (a + b));
                break;
            }
            case ConstraintType::Symmetric:
                alongLine = true;
                error = Len(vocab::Mirror(g.At(c.refs[0]), g.Base(*r[2]), g.Dir(*r[2])) -
                            g.At(c.refs[1]));
                break;
            case ConstraintType::Fix:
                break;
        }
        if (c.driven)
        {
            // A reference dimension reports what the sketch measures; it cannot be broken.
            check.measured = Measure(c);
            error = 0.0;
        }
        check.error = error;
        check.holds = angular     ? error <= kHoldAngle
                      : alongLine ? error <= lineTol
                                  : error <= pointTol;
        checks.push_back(check);
    }
    return checks;
}

} // namespace qsolver
