// The judgement of a result: relations as the file states them (qsketch's own measure), fixed
// geometry unmoved, and the signs of every triangle, side, assembly mode and order kept.
#include "Judge.h"

#include "Corpus.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_map>
#include <utility>

namespace qsolver::corpus
{

namespace
{

// A triangle or mode whose sine of its angle at the corner is below this has no side to keep.
const double kFlat = 1e-6;
// Fixed geometry counts as unmoved within this share of the sketch's size (the relations'
// share in CheckRelations).
const double kFixedShare = 1e-6;

struct P
{
    double x;
    double y;
};

P At(const DocNode& n)
{
    return {n.x, n.y};
}

double Cross3(P a, P b, P c)
{
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

double Dist(P a, P b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

double Sign(double v)
{
    return v > 0.0 ? 1.0 : v < 0.0 ? -1.0 : 0.0;
}

// The signed distance of (x, y) from a line, positive to its left.
double SideOf(P p, const DocNode& line)
{
    const double len = std::hypot(line.dx, line.dy);
    return (line.dx * (p.y - line.y) - line.dy * (p.x - line.x)) / len;
}

// The measure of an invariant on a geometry; its sign is what must be kept.
double Measure(const Invariant& v, const SketchDoc& doc)
{
    const DocNode& a = doc.nodes[static_cast<size_t>(v.a)];
    const DocNode& b = doc.nodes[static_cast<size_t>(v.b)];
    switch (v.kind)
    {
        case Invariant::Kind::Triangle:
        case Invariant::Kind::Mode:
            return Cross3(At(a), At(b), At(doc.nodes[static_cast<size_t>(v.c)]));
        case Invariant::Kind::Side:
            return SideOf(At(a), b);
        case Invariant::Kind::Order:
        {
            const DocNode& c = doc.nodes[static_cast<size_t>(v.c)];
            if (b.type == DocNodeType::Line)
            {
                // Point a before point c along line b.
                return (c.x - a.x) * b.dx + (c.y - a.y) * b.dy;
            }
            // Point b between points a and c (negative) or beyond one of them (positive).
            return (a.x - b.x) * (c.x - b.x) + (a.y - b.y) * (c.y - b.y);
        }
    }
    return 0.0;
}

} // namespace

std::vector<Invariant> FindInvariants(const SketchDoc& doc)
{
    std::unordered_map<std::string, int> index;
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        index[doc.nodes[i].id] = static_cast<int>(i);
    }
    const double extent = Extent(doc);
    std::vector<Invariant> out;
    auto keep = [&](Invariant v, double scale)
    {
        const double m = Measure(v, doc);
        if (std::fabs(m) > kFlat * scale)
        {
            v.sign = Sign(m);
            out.push_back(v);
        }
    };

    // Point-point neighbours, and the lines each point lies on.
    std::vector<std::set<int>> near(doc.nodes.size());
    std::vector<std::vector<int>> onLines(doc.nodes.size());
    for (const DocRelation& r : doc.relations)
    {
        if (r.nodes.size() < 2)
        {
            continue;
        }
        const int a = index.at(r.nodes[0]);
        const int b = index.at(r.nodes[1]);
        const bool zero = r.shared.empty() && r.hasValue && r.value == 0.0; // exact: drawn so
        if (r.type == DocRelType::PPdis)
        {
            near[static_cast<size_t>(a)].insert(b);
            near[static_cast<size_t>(b)].insert(a);
        }
        else if (r.type == DocRelType::PLdis)
        {
            if (zero)
            {
                onLines[static_cast<size_t>(a)].push_back(b);
            }
            else
            {
                keep({Invariant::Kind::Side, a, b, -1, 0.0}, extent);
            }
        }
        else if (r.type == DocRelType::LLdis && !zero)
        {
            keep({Invariant::Kind::Side, b, a, -1, 0.0}, extent);
        }
    }
    for (size_t p = 0; p < near.size(); ++p)
    {
        const std::vector<int> n(near[p].begin(), near[p].end());
        const P at = At(doc.nodes[p]);
        for (size_t i = 0; i < n.size(); ++i)
        {
            for (size_t j = i + 1; j < n.size(); ++j)
            {
                const int a = n[i];
                const int b = n[j];
                const double scale = Dist(at, At(doc.nodes[static_cast<size_t>(a)])) *
                                     Dist(at, At(doc.nodes[static_cast<size_t>(b)]));
                const bool mutual = near[static_cast<size_t>(a)].count(b) != 0;
                if (mutual)
                {
                    // Each triangle once, from its smallest corner.
                    if (static_cast<int>(p) < a)
                    {
                        keep({Invariant::Kind::Triangle, static_cast<int>(p), a, b, 0.0}, scale);
                    }
                    continue;
                }
                const Invariant mode{Invariant::Kind::Mode, a, b, static_cast<int>(p), 0.0};
                if (std::fabs(Measure(mode, doc)) > kFlat * scale)
                {
                    keep(mode, scale);
                }
                else
                {
                    // In line with both: between them or beyond one.
                    keep({Invariant::Kind::Order, a, static_cast<int>(p), b, 0.0}, scale);
                }
            }
        }
    }
    // Two dimensioned points on one line keep their order along it.
    for (size_t p = 0; p < near.size(); ++p)
    {
        for (int q : near[p])
        {
            if (q <= static_cast<int>(p))
            {
                continue;
            }
            for (int line : onLines[p])
            {
                const auto& other = onLines[static_cast<size_t>(q)];
                if (std::find(other.begin(), other.end(), line) != other.end())
                {
                    keep({Invariant::Kind::Order, static_cast<int>(p), line, q, 0.0},
                         Dist(At(doc.nodes[p]), At(doc.nodes[static_cast<size_t>(q)])));
                }
            }
        }
    }
    return out;
}

int FirstBroken(const std::vector<Invariant>& invariants, const SketchDoc& doc)
{
    for (size_t i = 0; i < invariants.size(); ++i)
    {
        if (!(Measure(invariants[i], doc) * invariants[i].sign > 0.0))
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::string InvariantText(const Invariant& v, const SketchDoc& doc)
{
    auto id = [&](int n) { return doc.nodes[static_cast<size_t>(n)].id; };
    switch (v.kind)
    {
        case Invariant::Kind::Triangle:
            return "triangle " + id(v.a) + " " + id(v.b) + " " + id(v.c) + " mirrored";
        case Invariant::Kind::Side:
            return id(v.a) + " changed its side of " + id(v.b);
        case Invariant::Kind::Mode:
            return id(v.c) + " assembled in the mirror mode against " + id(v.a) + " and " + id(v.b);
        case Invariant::Kind::Order:
            if (doc.nodes[static_cast<size_t>(v.b)].type == DocNodeType::Line)
            {
                return id(v.a) + " and " + id(v.c) + " swapped along " + id(v.b);
            }
            return id(v.b) + " changed its place in line with " + id(v.a) + " and " + id(v.c);
    }
    return "";
}

const char* OutcomeText(Outcome outcome)
{
    switch (outcome)
    {
        case Outcome::Solved:
            return "solved";
        case Outcome::Failed:
            return "failed";
        case Outcome::Flipped:
            return "flipped";
        case Outcome::Wrong:
            return "wrong";
    }
    return "";
}

bool RelationsHold(const SketchDoc& before, const SketchDoc& after, std::string& detail)
{
    for (const DocNode& n : after.nodes)
    {
        if (!std::isfinite(n.x) || !std::isfinite(n.y) || !std::isfinite(n.dx) ||
            !std::isfinite(n.dy))
        {
            detail = "node '" + n.id + "' is not finite";
            return false;
        }
    }
    const std::vector<RelationCheck> checks = CheckRelations(after);
    for (const RelationCheck& c : checks)
    {
        if (c.constrains && !c.holds)
        {
            char buf[64];
            std::snprintf(buf, sizeof(buf), "%.3g", c.error);
            detail = "relation '" + after.relations[static_cast<size_t>(c.index)].id +
                     "' is off by " + buf;
            return false;
        }
    }
    const double tol = kFixedShare * std::max(Extent(before), Extent(after));
    for (const DocRelation& r : after.relations)
    {
        if (r.type != DocRelType::Fix)
        {
            continue;
        }
        const int i = after.FindNode(r.nodes[0]);
        const DocNode& o = before.nodes[static_cast<size_t>(i)];
        const DocNode& n = after.nodes[static_cast<size_t>(i)];
        double moved = Dist(At(o), At(n));
        if (o.type == DocNodeType::Line)
        {
            // Unmoved: the old through point on the new line, the direction the same.
            const double len = std::hypot(n.dx, n.dy);
            const double turn = std::hypot(n.dx / len - o.dx / std::hypot(o.dx, o.dy),
                                           n.dy / len - o.dy / std::hypot(o.dx, o.dy));
            moved = std::max(std::fabs(SideOf(At(o), n)), turn * Extent(after));
        }
        if (!(moved <= tol))
        {
            detail = "fixed node '" + n.id + "' moved";
            return false;
        }
    }
    return true;
}

Judgement JudgeResult(const SketchDoc& before, const std::vector<Invariant>& invariants,
                      bool reported, const SketchDoc& after)
{
    Judgement j;
    if (!reported)
    {
        j.outcome = Outcome::Failed;
        return j;
    }
    if (!RelationsHold(before, after, j.detail))
    {
        j.outcome = Outcome::Wrong;
        return j;
    }
    const int broken = FirstBroken(invariants, after);
    if (broken >= 0)
    {
        j.outcome = Outcome::Flipped;
        j.detail = InvariantText(invariants[static_cast<size_t>(broken)], after);
        return j;
    }
    j.outcome = Outcome::Solved;
    return j;
}

} // namespace qsolver::corpus
