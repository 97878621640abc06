// Builds the other library's system from a benchmark family and times its solve.
#include "SlvsSide.h"

#include "Timing.h"

// The library's header uses memset without including its declaration.
#include <cstring>

#include <slvs.h>

#include <algorithm>
#include <cmath>

namespace qsolver::bench
{

namespace
{

const Slvs_hGroup kFixedGroup = 1;
const Slvs_hGroup kSolvedGroup = 2;

// An infinite line is a segment between two free points of this length whose slide along
// itself is pinned, so that the library sees exactly the freedom the line has in our sketch.
const double kSegmentLength = 1.0;

// The library numbers its equations from the constraint handles in 16 bits and aborts on a
// clash beyond that, long after the size at which it refuses to solve anyway.
const size_t kMaxHandles = 65535;

// Angles this close to 0, pi/2 or pi are given as parallel or square.
const double kStraight = 1e-9;

struct SlvsSketch
{
    std::vector<Slvs_Param> params;
    std::vector<Slvs_Entity> entities;
    std::vector<Slvs_Constraint> constraints;
    Slvs_hEntity workplane = 0;
    // Per node: its point entity (a point) or segment entity (a line), and the first of its
    // params (u, v of a point; u, v of both ends of a line).
    std::vector<Slvs_hEntity> entity;
    std::vector<Slvs_hEntity> firstPoint;
    std::vector<size_t> param;
};

// The library's signed point-line distance: positive to the right of the segment's direction.
double SignedDistance(const Node& p, const Node& line)
{
    return -((p.x - line.x) * line.dy - (p.y - line.y) * line.dx);
}

Slvs_hEntity AddPoint(SlvsSketch& s, Slvs_hGroup g, double x, double y)
{
    Slvs_hParam u = static_cast<Slvs_hParam>(s.params.size() + 1);
    s.params.push_back(Slvs_MakeParam(u, g, x));
    s.params.push_back(Slvs_MakeParam(u + 1, g, y));
    Slvs_hEntity h = static_cast<Slvs_hEntity>(s.entities.size() + 1);
    s.entities.push_back(Slvs_MakePoint2d(h, g, s.workplane, u, u + 1));
    return h;
}

void AddConstraint(SlvsSketch& s, int type, double value, Slvs_hEntity ptA, Slvs_hEntity ptB,
                   Slvs_hEntity entA, Slvs_hEntity entB)
{
    Slvs_hConstraint h = static_cast<Slvs_hConstraint>(s.constraints.size() + 1);
    s.constraints.push_back(
        Slvs_MakeConstraint(h, kSolvedGroup, type, s.workplane, value, ptA, ptB, entA, entB));
}

SlvsSketch Build(const Family& f)
{
    SlvsSketch s;
    // The workplane z = 0, fixed with the rest of the fixed geometry.
    s.params.push_back(Slvs_MakeParam(1, kFixedGroup, 0.0));
    s.params.push_back(Slvs_MakeParam(2, kFixedGroup, 0.0));
    s.params.push_back(Slvs_MakeParam(3, kFixedGroup, 0.0));
    s.entities.push_back(Slvs_MakePoint3d(1, kFixedGroup, 1, 2, 3));
    double qw = 1.0;
    double qx = 0.0;
    double qy = 0.0;
    double qz = 0.0;
    Slvs_MakeQuaternion(1, 0, 0, 0, 1, 0, &qw, &qx, &qy, &qz);
    s.params.push_back(Slvs_MakeParam(4, kFixedGroup, qw));
    s.params.push_back(Slvs_MakeParam(5, kFixedGroup, qx));
    s.params.push_back(Slvs_MakeParam(6, kFixedGroup, qy));
    s.params.push_back(Slvs_MakeParam(7, kFixedGroup, qz));
    s.entities.push_back(Slvs_MakeNormal3d(2, kFixedGroup, 4, 5, 6, 7));
    s.entities.push_back(Slvs_MakeWorkplane(3, kFixedGroup, 1, 2));
    s.workplane = 3;

    std::vector<char> fixed(f.nodes.size(), 0);
    for (const Relation& r : f.relations)
    {
        if (r.kind == RelKind::Fix)
        {
            fixed[r.a] = 1;
        }
    }
    s.entity.resize(f.nodes.size());
    s.firstPoint.resize(f.nodes.size());
    s.param.resize(f.nodes.size());
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        const Node& n = f.nodes[i];
        Slvs_hGroup g = fixed[i] ? kFixedGroup : kSolvedGroup;
        s.param[i] = s.params.size();
        Slvs_hEntity a = AddPoint(s, g, n.x, n.y);
        s.firstPoint[i] = a;
        s.entity[i] = a;
        if (n.isLine)
        {
            Slvs_hEntity b =
                AddPoint(s, g, n.x + kSegmentLength * n.dx, n.y + kSegmentLength * n.dy);
            Slvs_hEntity h = static_cast<Slvs_hEntity>(s.entities.size() + 1);
            s.entities.push_back(Slvs_MakeLineSegment(h, g, s.workplane, a, b));
            s.entity[i] = h;
            if (!fixed[i])
            {
                AddConstraint(s, SLVS_C_PT_PT_DISTANCE, kSegmentLength, a, b, 0, 0);
                // Pin the slide: the segment's first end stays on a fixed guide square to
                // the line, which every direction near the old one crosses.
                Slvs_hEntity g0 = AddPoint(s, kFixedGroup, n.x, n.y);
                Slvs_hEntity g1 = AddPoint(s, kFixedGroup, n.x - n.dy, n.y + n.dx);
                Slvs_hEntity guide = static_cast<Slvs_hEntity>(s.entities.size() + 1);
                s.entities.push_back(Slvs_MakeLineSegment(guide, kFixedGroup, s.workplane, g0, g1));
                AddConstraint(s, SLVS_C_PT_ON_LINE, 0.0, a, 0, guide, 0);
            }
        }
    }

    for (size_t i = 0; i < f.relations.size(); ++i)
    {
        const Relation& r = f.relations[i];
        double value = static_cast<int>(i) == f.changed ? f.newValue : r.value;
        switch (r.kind)
        {
            case RelKind::Fix:
                break;
            case RelKind::PPdis:
                AddConstraint(s, SLVS_C_PT_PT_DISTANCE, value, s.entity[r.a], s.entity[r.b], 0, 0);
                break;
            case RelKind::PLdis:
            case RelKind::LLdis:
            {
                // The library's distance is signed: keep the side the point is on now. A line
                // distance is the distance of the second line's point from the first line
                // (they stay parallel through their angles).
                int point = r.kind == RelKind::PLdis ? r.a : r.b;
                int line = r.kind == RelKind::PLdis ? r.b : r.a;
                double side = SignedDistance(f.nodes[point], f.nodes[line]) < 0.0 ? -1.0 : 1.0;
                AddConstraint(s, SLVS_C_PT_LINE_DISTANCE, side * value, s.firstPoint[point], 0,
                              s.entity[line], 0);
                break;
            }
            case RelKind::LLang:
            {
                // The library's own constraints for parallel and square lines; its angle
                // constraint is the unsigned angle between the two directions (and has no
                // gradient at 0).
                double between = std::acos(std::cos(value));
                if (between < kStraight || Pi() - between < kStraight)
                {
                    AddConstraint(s, SLVS_C_PARALLEL, 0.0, 0, 0, s.entity[r.a], s.entity[r.b]);
                }
                else if (std::fabs(between - 0.5 * Pi()) < kStraight)
                {
                    AddConstraint(s, SLVS_C_PERPENDICULAR, 0.0, 0, 0, s.entity[r.a], s.entity[r.b]);
                }
                else
                {
                    AddConstraint(s, SLVS_C_ANGLE, between * 180.0 / Pi(), 0, 0, s.entity[r.a],
                                  s.entity[r.b]);
                }
                break;
            }
        }
    }
    return s;
}

std::vector<Node> ReadBack(const Family& f, const SlvsSketch& s,
                           const std::vector<Slvs_Param>& params)
{
    std::vector<Node> out = f.nodes;
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        size_t k = s.param[i];
        out[i].x = params[k].val;
        out[i].y = params[k + 1].val;
        if (f.nodes[i].isLine)
        {
            double dx = params[k + 2].val - out[i].x;
            double dy = params[k + 3].val - out[i].y;
            double len = std::hypot(dx, dy);
            out[i].dx = dx / len;
            out[i].dy = dy / len;
        }
    }
    return out;
}

} // namespace

int SlvsUnknowns(const Family& f)
{
    std::vector<char> fixed(f.nodes.size(), 0);
    for (const Relation& r : f.relations)
    {
        if (r.kind == RelKind::Fix)
        {
            fixed[r.a] = 1;
        }
    }
    int unknowns = 0;
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        if (!fixed[i])
        {
            unknowns += f.nodes[i].isLine ? 4 : 2;
        }
    }
    return unknowns;
}

SlvsRun SolveWithSlvs(const Family& f, const RunPolicy& policy)
{
    SlvsRun out;
    out.unknowns = SlvsUnknowns(f);
    SlvsSketch s = Build(f);
    if (s.constraints.size() > kMaxHandles || s.entities.size() > kMaxHandles)
    {
        out.result = kNotCalled;
        out.solved = f.nodes;
        return out;
    }
    std::vector<double> times;
    double spent = 0.0;
    std::vector<Slvs_Param> params;
    while (policy.More(static_cast<int>(times.size()), spent))
    {
        // Fresh state per run: the solve writes its answer into the parameters.
        params = s.params;
        std::vector<Slvs_Constraint> constraints = s.constraints;
        std::vector<Slvs_Entity> entities = s.entities;
        std::vector<Slvs_hConstraint> failed(constraints.size() + 1);
        Slvs_System sys;
        std::memset(&sys, 0, sizeof(sys));
        sys.param = params.data();
        sys.params = static_cast<int>(params.size());
        sys.entity = entities.data();
        sys.entities = static_cast<int>(entities.size());
        sys.constraint = constraints.data();
        sys.constraints = static_cast<int>(constraints.size());
        sys.failed = failed.data();
        sys.faileds = static_cast<int>(failed.size());
        sys.calculateFaileds = 0;

        Stopwatch watch;
        Slvs_Solve(&sys, kSolvedGroup);
        double ms = watch.Ms();

        times.push_back(ms);
        spent += ms;
        out.result = sys.result;
        if (sys.result == SLVS_RESULT_TOO_MANY_UNKNOWNS)
        {
            break;
        }
    }
    out.runs = static_cast<int>(times.size());
    out.ms = Median(times);
    out.solved = ReadBack(f, s, params);
    return out;
}

std::string SlvsResultName(int result)
{
    switch (result)
    {
        case SLVS_RESULT_OKAY:
            return "OKAY";
        case SLVS_RESULT_INCONSISTENT:
            return "INCONSISTENT";
        case SLVS_RESULT_DIDNT_CONVERGE:
            return "DIDNT_CONVERGE";
        case SLVS_RESULT_TOO_MANY_UNKNOWNS:
            return "TOO_MANY_UNKNOWNS";
        case kNotCalled:
            return "not called";
        default:
            return "-";
    }
}

} // namespace qsolver::bench
