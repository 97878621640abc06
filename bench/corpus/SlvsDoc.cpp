// A sketch document as the other solver's system. Points are its 2D points; a line is a
// segment of unit length from its through point along its direction; circles follow their
// centre points.
#include "SlvsDoc.h"

#include "../Timing.h"

// The library's header uses memset without including its declaration.
#include <cstring>

#include <slvs.h>

#include <cmath>
#include <map>
#include <unordered_map>
#include <vector>

namespace qsolver::corpus
{

namespace
{

const Slvs_hGroup kFixedGroup = 1;
const Slvs_hGroup kSolvedGroup = 2;
const double kSegmentLength = 1.0;
// Angles this close (radians) to 0, pi/2 or pi are given as parallel or square.
const double kStraight = 1e-9;
// A result code of ours: the document holds a relation this mapping does not model.
const int kNotModelled = -3;

struct System
{
    std::vector<Slvs_Param> params;
    std::vector<Slvs_Entity> entities;
    std::vector<Slvs_Constraint> constraints;
    Slvs_hEntity workplane = 0;
    // Per node: the point entity or the segment entity, its first point and its first param.
    std::vector<Slvs_hEntity> entity;
    std::vector<Slvs_hEntity> firstPoint;
    std::vector<size_t> param;
    // Per line: the first param of its second point.
    std::vector<size_t> param2;
    // Relations the model holds by construction.
    std::vector<char> skip;
};

Slvs_hEntity AddPoint(System& s, Slvs_hGroup g, double x, double y)
{
    const Slvs_hParam u = static_cast<Slvs_hParam>(s.params.size() + 1);
    s.params.push_back(Slvs_MakeParam(u, g, x));
    s.params.push_back(Slvs_MakeParam(u + 1, g, y));
    const Slvs_hEntity h = static_cast<Slvs_hEntity>(s.entities.size() + 1);
    s.entities.push_back(Slvs_MakePoint2d(h, g, s.workplane, u, u + 1));
    return h;
}

Slvs_hEntity AddSegment(System& s, Slvs_hGroup g, Slvs_hEntity a, Slvs_hEntity b)
{
    const Slvs_hEntity h = static_cast<Slvs_hEntity>(s.entities.size() + 1);
    s.entities.push_back(Slvs_MakeLineSegment(h, g, s.workplane, a, b));
    return h;
}

void Constrain(System& s, int type, double value, Slvs_hEntity ptA, Slvs_hEntity ptB,
               Slvs_hEntity entA, Slvs_hEntity entB)
{
    const Slvs_hConstraint h = static_cast<Slvs_hConstraint>(s.constraints.size() + 1);
    s.constraints.push_back(
        Slvs_MakeConstraint(h, kSolvedGroup, type, s.workplane, value, ptA, ptB, entA, entB));
}

// The library's signed point-line distance: positive to the right of the line's direction.
double SignedDistance(double px, double py, const DocNode& line)
{
    const double len = std::hypot(line.dx, line.dy);
    return ((px - line.x) * line.dy - (py - line.y) * line.dx) / len;
}

const double kPi = 2.0 * std::acos(0.0);

double ToRadians(const SketchDoc& doc, double v)
{
    return doc.radians ? v : v * kPi / 180.0;
}

// Builds the system; returns false when a relation cannot be modelled.
bool Build(const SketchDoc& doc, int changed, double changedValue, System& s)
{
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

    std::unordered_map<std::string, int> index;
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        index[doc.nodes[i].id] = static_cast<int>(i);
    }
    std::vector<char> fixed(doc.nodes.size(), 0);
    for (const DocRelation& r : doc.relations)
    {
        if (r.type == DocRelType::Fix)
        {
            fixed[static_cast<size_t>(index.at(r.nodes[0]))] = 1;
        }
    }
    for (const DocNode& n : doc.nodes)
    {
        if (n.hasReference)
        {
            fixed[static_cast<size_t>(index.at(n.id))] = 1;
        }
    }
    // A free line passes through a point that lies on it where it has one (the first such
    // relation, which the segment then holds by construction); otherwise its through point is
    // held at the foot of the perpendicular from where it was. Either way the line has exactly
    // its two freedoms: a free slide along itself makes the library's solve many times slower.
    std::vector<int> anchor(doc.nodes.size(), -1);
    std::vector<int> anchorRel(doc.nodes.size(), -1);
    for (size_t i = 0; i < doc.relations.size(); ++i)
    {
        const DocRelation& r = doc.relations[i];
        if (r.type == DocRelType::PLdis && r.shared.empty() && r.hasValue && r.value == 0.0 &&
            static_cast<int>(i) != changed)
        {
            const size_t line = static_cast<size_t>(index.at(r.nodes[1]));
            if (!fixed[line] && anchor[line] < 0)
            {
                anchor[line] = index.at(r.nodes[0]);
                anchorRel[line] = static_cast<int>(i);
            }
        }
    }
    s.skip.assign(doc.relations.size(), 0);
    s.entity.assign(doc.nodes.size(), 0);
    s.firstPoint.assign(doc.nodes.size(), 0);
    s.param.assign(doc.nodes.size(), 0);
    s.param2.assign(doc.nodes.size(), 0);
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        const DocNode& n = doc.nodes[i];
        if (n.type == DocNodeType::Point)
        {
            s.param[i] = s.params.size();
            s.entity[i] = AddPoint(s, fixed[i] ? kFixedGroup : kSolvedGroup, n.x, n.y);
            s.firstPoint[i] = s.entity[i];
        }
    }
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        const DocNode& n = doc.nodes[i];
        if (n.type != DocNodeType::Line)
        {
            continue;
        }
        const Slvs_hGroup g = fixed[i] ? kFixedGroup : kSolvedGroup;
        const double len = std::hypot(n.dx, n.dy);
        const double ux = n.dx / len;
        const double uy = n.dy / len;
        Slvs_hEntity a = 0;
        double ax = n.x;
        double ay = n.y;
        if (anchor[i] >= 0)
        {
            const size_t p = static_cast<size_t>(anchor[i]);
            a = s.entity[p];
            s.param[i] = s.param[p];
            ax = doc.nodes[p].x;
            ay = doc.nodes[p].y;
            s.skip[static_cast<size_t>(anchorRel[i])] = 1;
        }
        else
        {
            s.param[i] = s.params.size();
            a = AddPoint(s, g, n.x, n.y);
        }
        s.param2[i] = s.params.size();
        const Slvs_hEntity b = AddPoint(s, g, ax + kSegmentLength * ux, ay + kSegmentLength * uy);
        s.firstPoint[i] = a;
        s.entity[i] = AddSegment(s, g, a, b);
        if (fixed[i])
        {
            continue;
        }
        Constrain(s, SLVS_C_PT_PT_DISTANCE, kSegmentLength, a, b, 0, 0);
        if (anchor[i] < 0)
        {
            // The normal through the through point passes through a fixed point at its old place.
            const Slvs_hEntity c =
                AddPoint(s, kSolvedGroup, n.x - kSegmentLength * uy, n.y + kSegmentLength * ux);
            const Slvs_hEntity normal = AddSegment(s, kSolvedGroup, a, c);
            const Slvs_hEntity held = AddPoint(s, kFixedGroup, n.x, n.y);
            Constrain(s, SLVS_C_PT_PT_DISTANCE, kSegmentLength, a, c, 0, 0);
            Constrain(s, SLVS_C_PERPENDICULAR, 0.0, 0, 0, s.entity[i], normal);
            Constrain(s, SLVS_C_PT_ON_LINE, 0.0, held, 0, normal, 0);
        }
    }

    // The first relation met on each unknown shared value: the others equal its measure.
    std::map<std::string, int> firstOfValue;
    for (size_t i = 0; i < doc.relations.size(); ++i)
    {
        const DocRelation& r = doc.relations[i];
        if (r.type == DocRelType::Fix || r.type == DocRelType::Rad || s.skip[i])
        {
            continue;
        }
        const size_t a = static_cast<size_t>(index.at(r.nodes[0]));
        const size_t b = static_cast<size_t>(index.at(r.nodes[1]));
        double value = r.value;
        bool known = r.known;
        if (!r.shared.empty())
        {
            const DocValue& v = doc.values[static_cast<size_t>(doc.FindValue(r.shared))];
            value = v.value;
            known = v.known;
            if (!known)
            {
                auto [it, first] = firstOfValue.emplace(r.shared, static_cast<int>(i));
                if (first)
                {
                    continue;
                }
                const DocRelation& f = doc.relations[static_cast<size_t>(it->second)];
                const size_t fa = static_cast<size_t>(index.at(f.nodes[0]));
                const size_t fb = static_cast<size_t>(index.at(f.nodes[1]));
                if (r.type == DocRelType::PPdis && f.type == DocRelType::PPdis)
                {
                    const Slvs_hEntity s1 = AddSegment(s, kSolvedGroup, s.entity[fa], s.entity[fb]);
                    const Slvs_hEntity s2 = AddSegment(s, kSolvedGroup, s.entity[a], s.entity[b]);
                    Constrain(s, SLVS_C_EQUAL_LENGTH_LINES, 0.0, 0, 0, s1, s2);
                }
                else if (r.type == DocRelType::PLdis && f.type == DocRelType::PLdis)
                {
                    // Signed distances: equal only where both points lie on the same side of
                    // their lines (the corpus draws its lines so).
                    Constrain(s, SLVS_C_EQ_PT_LN_DISTANCES, 0.0, s.entity[fa], s.entity[a],
                              s.entity[fb], s.entity[b]);
                }
                else
                {
                    return false;
                }
                continue;
            }
        }
        else if (static_cast<int>(i) == changed)
        {
            value = changedValue;
        }
        if (!known)
        {
            continue; // a reference dimension: measured, not imposed
        }
        switch (r.type)
        {
            case DocRelType::PPdis:
                Constrain(s, SLVS_C_PT_PT_DISTANCE, value, s.entity[a], s.entity[b], 0, 0);
                break;
            case DocRelType::PLdis:
            case DocRelType::LLdis:
            {
                // Keep the side the point (or the second line) is on now.
                const size_t point = r.type == DocRelType::PLdis ? a : b;
                const size_t line = r.type == DocRelType::PLdis ? b : a;
                const DocNode& p = doc.nodes[point];
                const double side = SignedDistance(p.x, p.y, doc.nodes[line]) < 0.0 ? -1.0 : 1.0;
                Constrain(s, SLVS_C_PT_LINE_DISTANCE, side * value, s.firstPoint[point], 0,
                          s.entity[line], 0);
                break;
            }
            case DocRelType::LLang:
            {
                // The library's angle is the unsigned angle between the two directions.
                double t = ToRadians(doc, value);
                if ((r.reverse[0] != r.reverse[1]))
                {
                    t += kPi;
                }
                const double between = std::acos(std::cos(t));
                if (between < kStraight || kPi - between < kStraight)
                {
                    Constrain(s, SLVS_C_PARALLEL, 0.0, 0, 0, s.entity[a], s.entity[b]);
                }
                else if (std::fabs(between - 0.5 * kPi) < kStraight)
                {
                    Constrain(s, SLVS_C_PERPENDICULAR, 0.0, 0, 0, s.entity[a], s.entity[b]);
                }
                else
                {
                    Constrain(s, SLVS_C_ANGLE, between * 180.0 / kPi, 0, 0, s.entity[a],
                              s.entity[b]);
                }
                break;
            }
            default:
                break;
        }
    }
    return true;
}

void ReadBack(SketchDoc& doc, const System& s, const std::vector<Slvs_Param>& params)
{
    std::unordered_map<std::string, int> index;
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        index[doc.nodes[i].id] = static_cast<int>(i);
    }
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        DocNode& n = doc.nodes[i];
        if (n.type == DocNodeType::Circle)
        {
            continue;
        }
        const size_t k = s.param[i];
        n.x = params[k].val;
        n.y = params[k + 1].val;
        if (n.type == DocNodeType::Line)
        {
            const size_t k2 = s.param2[i];
            const double dx = params[k2].val - n.x;
            const double dy = params[k2 + 1].val - n.y;
            const double len = std::hypot(dx, dy);
            n.dx = dx / len;
            n.dy = dy / len;
        }
    }
    // Circles sit on the centre point of their radius relation.
    for (const DocRelation& r : doc.relations)
    {
        if (r.type == DocRelType::Rad)
        {
            const DocNode& p = doc.nodes[static_cast<size_t>(index.at(r.nodes[0]))];
            DocNode& c = doc.nodes[static_cast<size_t>(index.at(r.nodes[1]))];
            c.x = p.x;
            c.y = p.y;
        }
    }
    // Unknown values take what their first relation measures now.
    std::vector<RelationCheck> checks = CheckRelations(doc);
    for (DocValue& v : doc.values)
    {
        if (v.known)
        {
            continue;
        }
        for (const RelationCheck& c : checks)
        {
            if (doc.relations[static_cast<size_t>(c.index)].shared == v.id)
            {
                v.value = c.measured;
                break;
            }
        }
    }
}

} // namespace

SlvsOutcome SolveWithSlvs(SketchDoc& doc, int changed, double value, const SlvsDrag* drag)
{
    SlvsOutcome out;
    System s;
    if (!Build(doc, changed, value, s))
    {
        out.result = kNotModelled;
        return out;
    }
    std::vector<Slvs_Param> params = s.params;
    Slvs_System sys;
    std::memset(&sys, 0, sizeof(sys));
    if (drag != nullptr)
    {
        const size_t k = s.param[static_cast<size_t>(drag->node)];
        params[k].val = drag->x;
        params[k + 1].val = drag->y;
        sys.dragged[0] = params[k].h;
        sys.dragged[1] = params[k + 1].h;
    }
    std::vector<Slvs_hConstraint> failed(s.constraints.size() + 1);
    sys.param = params.data();
    sys.params = static_cast<int>(params.size());
    sys.entity = s.entities.data();
    sys.entities = static_cast<int>(s.entities.size());
    sys.constraint = s.constraints.data();
    sys.constraints = static_cast<int>(s.constraints.size());
    sys.failed = failed.data();
    sys.faileds = static_cast<int>(failed.size());
    sys.calculateFaileds = 0;

    bench::Stopwatch watch;
    Slvs_Solve(&sys, kSolvedGroup);
    out.ms = watch.Ms();
    out.result = sys.result;
    out.dof = sys.dof;
    if (sys.result == SLVS_RESULT_OKAY)
    {
        ReadBack(doc, s, params);
    }
    return out;
}

std::string SlvsResultText(int result)
{
    switch (result)
    {
        case SLVS_RESULT_OKAY:
            return "okay";
        case SLVS_RESULT_INCONSISTENT:
            return "inconsistent";
        case SLVS_RESULT_DIDNT_CONVERGE:
            return "did not converge";
        case SLVS_RESULT_TOO_MANY_UNKNOWNS:
            return "too many unknowns";
        case kNotModelled:
            return "a relation it cannot model";
        default:
            return "result " + std::to_string(result);
    }
}

} // namespace qsolver::corpus
