// The benchmark's sketch families as plain geometry, independent of either solver: nodes,
// relations, the dimension change, the triangles whose orientation must survive it, and the
// measures both sides are judged by.
#pragma once

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace qsolver::bench
{

enum class RelKind
{
    Fix,
    PPdis,
    PLdis,
    LLdis,
    LLang,
};

struct Node
{
    bool isLine = false;
    // A point's position, or a line's through point.
    double x = 0.0;
    double y = 0.0;
    // A line's unit direction.
    double dx = 1.0;
    double dy = 0.0;
};

struct Relation
{
    RelKind kind = RelKind::Fix;
    int a = -1;
    int b = -1; // -1 for a fix
    // A distance, or for an angle the counterclockwise angle in radians from a's direction to
    // b's direction, in [0, 2 pi).
    double value = 0.0;
};

struct Family
{
    std::string name;
    std::vector<Node> nodes;
    std::vector<Relation> relations;
    // Point triples whose orientation a solve must keep.
    std::vector<std::array<int, 3>> triangles;
    int changed = -1; // index into relations of the dimension that is changed
    double newValue = 0.0;
};

inline double Pi()
{
    return 2.0 * std::acos(0.0);
}

inline double PointLineDistance(const Node& p, const Node& l)
{
    return std::fabs((p.x - l.x) * l.dy - (p.y - l.y) * l.dx);
}

inline double CcwAngle(const Node& a, const Node& b)
{
    double t = std::atan2(a.dx * b.dy - a.dy * b.dx, a.dx * b.dx + a.dy * b.dy);
    return t < 0.0 ? t + 2.0 * Pi() : t;
}

/// The measure the geometry has now, in the sense of the relation's value.
inline double Measure(const std::vector<Node>& n, const Relation& r)
{
    switch (r.kind)
    {
        case RelKind::PPdis:
            return std::hypot(n[r.b].x - n[r.a].x, n[r.b].y - n[r.a].y);
        case RelKind::PLdis:
            return PointLineDistance(n[r.a], n[r.b]);
        case RelKind::LLdis:
            // Lines are parallel where this relation is used: any point of one will do.
            return PointLineDistance(n[r.b], n[r.a]);
        case RelKind::LLang:
            return CcwAngle(n[r.a], n[r.b]);
        case RelKind::Fix:
            break;
    }
    return 0.0;
}

/// How far the geometry is from satisfying the relation with the given value.
inline double RelationError(const std::vector<Node>& n, const Relation& r, double value)
{
    double e = Measure(n, r) - value;
    if (r.kind == RelKind::LLang)
    {
        e = std::remainder(e, 2.0 * Pi());
    }
    return std::fabs(e);
}

/// The largest relation error of a solved geometry, the changed dimension at its new value.
/// Fixed nodes count as relations too: their drift from the original geometry is an error.
inline double MaxRelationError(const Family& f, const std::vector<Node>& solved)
{
    double worst = 0.0;
    for (size_t i = 0; i < f.relations.size(); ++i)
    {
        const Relation& r = f.relations[i];
        double e = 0.0;
        if (r.kind == RelKind::Fix)
        {
            const Node& o = f.nodes[r.a];
            const Node& s = solved[r.a];
            e = std::hypot(s.x - o.x, s.y - o.y);
            if (o.isLine)
            {
                e = std::fabs(std::remainder(CcwAngle(o, s), Pi())) + PointLineDistance(s, o);
            }
        }
        else
        {
            e = RelationError(solved, r, static_cast<int>(i) == f.changed ? f.newValue : r.value);
        }
        if (!(e <= worst)) // a NaN counts as the worst
        {
            worst = e;
        }
    }
    return worst;
}

inline double Cross(const std::vector<Node>& n, const std::array<int, 3>& t)
{
    const Node& a = n[t[0]];
    const Node& b = n[t[1]];
    const Node& c = n[t[2]];
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

/// Triangles whose orientation differs between the old and the solved geometry.
inline int FlippedTriangles(const Family& f, const std::vector<Node>& solved)
{
    int flipped = 0;
    for (const auto& t : f.triangles)
    {
        double before = Cross(f.nodes, t);
        double after = Cross(solved, t);
        if (!(before * after > 0.0))
        {
            ++flipped;
        }
    }
    return flipped;
}

/// Small deterministic irregularity, so that no two cells are congruent by accident.
inline double Jitter(int i, int salt)
{
    return 0.04 * (((i * 7 + salt * 13) % 11) - 5) / 5.0;
}

inline Node Point(double x, double y)
{
    Node n;
    n.x = x;
    n.y = y;
    return n;
}

inline Node Line(double x, double y, double angle)
{
    Node n;
    n.isLine = true;
    n.x = x;
    n.y = y;
    n.dx = std::cos(angle);
    n.dy = std::sin(angle);
    return n;
}

inline void Add(Family& f, RelKind kind, int a, int b)
{
    Relation r;
    r.kind = kind;
    r.a = a;
    r.b = b;
    if (kind != RelKind::Fix)
    {
        r.value = Measure(f.nodes, r);
    }
    f.relations.push_back(r);
}

inline void ChangeBy(Family& f, int rel, double factor)
{
    f.changed = rel;
    f.newValue = f.relations[rel].value * factor;
}

/// A strip of points in a zigzag, each at given distances from the two before it. The first two
/// points are fixed (and carry no distance between them): with every later point placed by two
/// distances the sketch is exactly well-constrained for both solvers.
inline Family Truss(int points)
{
    Family f;
    f.name = "truss";
    for (int i = 0; i < points; ++i)
    {
        f.nodes.push_back(Point(0.5 * i + Jitter(i, 1), (i % 2) * 0.9 + Jitter(i, 2)));
    }
    Add(f, RelKind::Fix, 0, -1);
    Add(f, RelKind::Fix, 1, -1);
    for (int i = 2; i < points; ++i)
    {
        Add(f, RelKind::PPdis, i - 2, i);
        Add(f, RelKind::PPdis, i - 1, i);
        f.triangles.push_back({i - 2, i - 1, i});
    }
    // The first free point's distance to the first fixed one: everything after it moves.
    ChangeBy(f, 2, 1.02);
    return f;
}

/// An n x n grid of points: every cell side, plus one diagonal in each cell of the first row
/// and of the first column. The two first points of the bottom row are fixed and carry no
/// distance between them, so the grid is exactly rigid with no redundant distance.
inline Family Grid(int n)
{
    Family f;
    f.name = "grid";
    auto id = [n](int i, int j) { return j * n + i; };
    for (int j = 0; j < n; ++j)
    {
        for (int i = 0; i < n; ++i)
        {
            f.nodes.push_back(Point(i + Jitter(i + 3 * j, 3), j + Jitter(2 * i + j, 4)));
        }
    }
    Add(f, RelKind::Fix, id(0, 0), -1);
    Add(f, RelKind::Fix, id(1, 0), -1);
    int changed = -1;
    for (int j = 0; j < n; ++j)
    {
        for (int i = 0; i < n; ++i)
        {
            if (i + 1 < n && !(i == 0 && j == 0))
            {
                Add(f, RelKind::PPdis, id(i, j), id(i + 1, j));
            }
            if (j + 1 < n)
            {
                if (i == 0 && j == 0)
                {
                    changed = static_cast<int>(f.relations.size());
                }
                Add(f, RelKind::PPdis, id(i, j), id(i, j + 1));
            }
            if (i + 1 < n && j + 1 < n)
            {
                if (j == 0 || i == 0)
                {
                    Add(f, RelKind::PPdis, id(i + 1, j), id(i, j + 1));
                }
                f.triangles.push_back({id(i, j), id(i + 1, j), id(i, j + 1)});
                f.triangles.push_back({id(i + 1, j), id(i + 1, j + 1), id(i, j + 1)});
            }
        }
    }
    // The first upright side: every point but the fixed two moves.
    if (changed >= 0)
    {
        ChangeBy(f, changed, 1.02);
    }
    return f;
}

/// A frame of two fans of parallel lines crossing at an angle. The root of the horizontal fan
/// is fixed; the root of the slanted fan is held by its angle to it and its distance from a
/// fixed point. Every further line is held by its distance to the previous line of its fan and
/// an angle of 0 to it. A point sits near each crossing at given distances from its two lines.
inline Family Frame(int crossings)
{
    Family f;
    f.name = "frame";
    const double slant = Pi() / 3.0;
    const double sn = std::sin(slant);
    std::vector<int> h;
    std::vector<int> s;
    std::vector<int> p;
    double hOffset = 0.0;
    double sOffset = 0.0;
    for (int i = 0; i < crossings; ++i)
    {
        if (i > 0)
        {
            hOffset += 1.0 + Jitter(i, 5);
            sOffset += 1.2 + Jitter(i, 6);
        }
        // The slanted line of offset o crosses the x axis at o / sin(slant).
        h.push_back(static_cast<int>(f.nodes.size()));
        f.nodes.push_back(Line(0.3 * i, hOffset, 0.0));
        s.push_back(static_cast<int>(f.nodes.size()));
        f.nodes.push_back(Line(sOffset / sn, 0.0, slant));
    }
    for (int i = 0; i < crossings; ++i)
    {
        // Crossing of h[i] and s[i], then a step into the cone between them.
        const Node& hl = f.nodes[h[i]];
        const Node& sl = f.nodes[s[i]];
        double y = hl.y;
        double x = sl.x + (y - sl.y) * sl.dx / sl.dy;
        p.push_back(static_cast<int>(f.nodes.size()));
        f.nodes.push_back(Point(x + 0.6, y + 0.25 + 0.1 * Jitter(i, 7)));
    }
    const int origin = static_cast<int>(f.nodes.size());
    f.nodes.push_back(Point(0.5, -0.7));
    Add(f, RelKind::Fix, h[0], -1);
    Add(f, RelKind::Fix, origin, -1);
    Add(f, RelKind::LLang, h[0], s[0]);
    Add(f, RelKind::PLdis, origin, s[0]);
    for (int i = 1; i < crossings; ++i)
    {
        Add(f, RelKind::LLdis, h[i - 1], h[i]);
        Add(f, RelKind::LLang, h[i - 1], h[i]);
        Add(f, RelKind::LLdis, s[i - 1], s[i]);
        Add(f, RelKind::LLang, s[i - 1], s[i]);
    }
    for (int i = 0; i < crossings; ++i)
    {
        Add(f, RelKind::PLdis, p[i], h[i]);
        Add(f, RelKind::PLdis, p[i], s[i]);
        if (i >= 2)
        {
            f.triangles.push_back({p[i - 2], p[i - 1], p[i]});
        }
    }
    // The angle between the fans: every slanted line and every point moves.
    ChangeBy(f, 2, 1.03);
    return f;
}

/// Rigid triangles in a row, each joined to the one before by three bars: every joint is a
/// four-bar linkage made rigid by its third bar. No point is placed by two neighbours alone,
/// so the rigid clusters and the numeric systems do the work. The first triangle is fixed.
inline Family Linkage(int links)
{
    Family f;
    f.name = "linkage";
    auto b = [](int k) { return 3 * k; };
    auto c = [](int k) { return 3 * k + 1; };
    auto e = [](int k) { return 3 * k + 2; };
    for (int k = 0; k <= links; ++k)
    {
        double x = 2.0 * k;
        f.nodes.push_back(Point(x + Jitter(k, 8), Jitter(k, 9)));
        f.nodes.push_back(Point(x + 1.0 + Jitter(k, 10), 0.1 + Jitter(k, 11)));
        f.nodes.push_back(Point(x + 0.5 + Jitter(k, 12), 0.9 + Jitter(k, 13)));
    }
    Add(f, RelKind::Fix, b(0), -1);
    Add(f, RelKind::Fix, c(0), -1);
    Add(f, RelKind::Fix, e(0), -1);
    for (int k = 1; k <= links; ++k)
    {
        Add(f, RelKind::PPdis, b(k), c(k));
        Add(f, RelKind::PPdis, c(k), e(k));
        Add(f, RelKind::PPdis, e(k), b(k));
        // The bars: a low one along the bottom and two crossing ones, whose lines never meet
        // in one point (that would leave the joint infinitesimally loose).
        Add(f, RelKind::PPdis, b(k - 1), b(k));
        Add(f, RelKind::PPdis, e(k - 1), c(k));
        Add(f, RelKind::PPdis, c(k - 1), e(k));
        f.triangles.push_back({b(k), c(k), e(k)});
        f.triangles.push_back({b(k - 1), c(k - 1), e(k)});
        f.triangles.push_back({e(k - 1), b(k), c(k)});
    }
    // The first bottom bar: every free triangle moves.
    if (links >= 1)
    {
        ChangeBy(f, 6, 1.01);
    }
    return f;
}

inline Family MakeFamily(const std::string& name, int size)
{
    if (name == "truss")
    {
        return Truss(size);
    }
    if (name == "grid")
    {
        return Grid(size);
    }
    if (name == "frame")
    {
        return Frame(size);
    }
    return Linkage(size);
}

} // namespace qsolver::bench
