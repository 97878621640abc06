// The families of the edit corpus: sketches as CAD users draw them, built from their geometry
// so that every relation holds exactly, and the dimension change a user would make.
#include "Corpus.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

namespace qsolver::corpus
{

double Random::LogUniform(double lo, double hi)
{
    return lo * std::exp(Unit() * std::log(hi / lo));
}

namespace
{

const double kPi = 2.0 * std::acos(0.0);

// Changes of lengths, in percent of the old value.
const double kMinPercent = 1.0;
const double kMaxPercent = 60.0;
// Angle sweeps, in degrees.
const double kMinSweep = 1.0;
const double kMaxSweep = 90.0;
// An angle sweep stays this far (degrees) from parallel and antiparallel: the lines of a sketch
// do not fold over each other while a user sweeps an angle.
const double kAngleMargin = 5.0;

double Deg(double rad)
{
    return rad * 180.0 / kPi;
}

struct Vec
{
    double x = 0.0;
    double y = 0.0;
};

Vec operator+(Vec a, Vec b)
{
    return {a.x + b.x, a.y + b.y};
}
Vec operator-(Vec a, Vec b)
{
    return {a.x - b.x, a.y - b.y};
}
Vec operator*(double s, Vec a)
{
    return {s * a.x, s * a.y};
}
double Dot(Vec a, Vec b)
{
    return a.x * b.x + a.y * b.y;
}
double Cross(Vec a, Vec b)
{
    return a.x * b.y - a.y * b.x;
}
double Len(Vec a)
{
    return std::hypot(a.x, a.y);
}
Vec Unit(Vec a)
{
    return (1.0 / Len(a)) * a;
}
Vec Dir(double degrees)
{
    return {std::cos(degrees * kPi / 180.0), std::sin(degrees * kPi / 180.0)};
}
Vec Perp(Vec a)
{
    return {-a.y, a.x};
}

// Where two lines (point and direction) cross.
Vec Meet(Vec p, Vec d, Vec q, Vec e)
{
    const double t = Cross(q - p, e) / Cross(d, e);
    return p + t * d;
}

// Builds a sketch document from geometry; each relation takes the value its nodes measure.
class Builder
{
public:
    enum class Kind
    {
        Length,
        Angle,
    };
    struct Drivable
    {
        int relation;
        Kind kind;
    };

    int Point(const std::string& id, Vec at)
    {
        DocNode n;
        n.id = id;
        n.type = DocNodeType::Point;
        n.x = at.x;
        n.y = at.y;
        return Add(n);
    }
    int Line(const std::string& id, Vec through, Vec direction)
    {
        DocNode n;
        n.id = id;
        n.type = DocNodeType::Line;
        const Vec d = Unit(direction);
        n.x = through.x;
        n.y = through.y;
        n.dx = d.x;
        n.dy = d.y;
        return Add(n);
    }
    // A hole: its centre point and a circle tied to it by a radius relation.
    int Hole(const std::string& id, Vec at, double radius)
    {
        const int p = Point(id, at);
        DocNode c;
        c.id = "c" + id;
        c.type = DocNodeType::Circle;
        c.x = at.x;
        c.y = at.y;
        c.radius = radius;
        const int circle = Add(c);
        Rel(DocRelType::Rad, "rad_" + id, p, circle);
        return p;
    }
    Vec At(int node) const { return {m_doc.nodes[node].x, m_doc.nodes[node].y}; }
    Vec DirOf(int node) const { return {m_doc.nodes[node].dx, m_doc.nodes[node].dy}; }

    void Fix(int node) { Rel(DocRelType::Fix, "fix_" + Id(node), node, -1); }
    int PPdis(int a, int b, Kind driven = Kind::Length)
    {
        return Valued(DocRelType::PPdis, "ppdis", a, b, Len(At(a) - At(b)), driven);
    }
    int PLdis(int p, int l, bool drivable = true)
    {
        const double d = std::fabs(Cross(DirOf(l), At(p) - At(l)));
        return Valued(DocRelType::PLdis, "pldis", p, l, d, drivable ? Kind::Length : kNone);
    }
    // A point on a line: a zero distance is never a dimension a user drives.
    int On(int p, int l) { return Valued(DocRelType::PLdis, "on", p, l, 0.0, kNone); }
    int LLdis(int a, int b, bool drivable = true)
    {
        const double d = std::fabs(Cross(DirOf(a), At(b) - At(a)));
        return Valued(DocRelType::LLdis, "lldis", a, b, d, drivable ? Kind::Length : kNone);
    }
    int LLang(int a, int b, bool drivable = true)
    {
        double t = Deg(std::atan2(Cross(DirOf(a), DirOf(b)), Dot(DirOf(a), DirOf(b))));
        if (t < 0.0)
        {
            t += 360.0;
        }
        // Square and parallel lines are drawn so, not measured so.
        const double nice[] = {0.0, 90.0, 180.0, 270.0, 360.0};
        for (double n : nice)
        {
            if (std::fabs(t - n) < 1e-9)
            {
                t = n == 360.0 ? 0.0 : n;
            }
        }
        return Valued(DocRelType::LLang, "llang", a, b, t, drivable ? Kind::Angle : kNone);
    }
    // Relations sharing one unknown value (the id of the value).
    void Unknown(const std::string& value)
    {
        DocValue v;
        v.id = value;
        v.known = false;
        v.hasKnown = true;
        m_doc.values.push_back(v);
        m_doc.hasValues = true;
    }
    void SharedPPdis(int a, int b, const std::string& value)
    {
        Shared(DocRelType::PPdis, "ppdis", a, b, value, Len(At(a) - At(b)));
    }
    void SharedPLdis(int p, int l, const std::string& value)
    {
        Shared(DocRelType::PLdis, "pldis", p, l, value, std::fabs(Cross(DirOf(l), At(p) - At(l))));
    }

    const std::vector<Drivable>& Drivables() const { return m_drivable; }
    SketchDoc& Doc() { return m_doc; }
    const std::string& Id(int node) const { return m_doc.nodes[node].id; }

private:
    static constexpr Kind kNone = static_cast<Kind>(-1);

    int Add(const DocNode& n)
    {
        m_doc.nodes.push_back(n);
        return static_cast<int>(m_doc.nodes.size()) - 1;
    }
    std::string UniqueId(const std::string& id)
    {
        int& used = m_ids[id];
        ++used;
        return used == 1 ? id : id + "_" + std::to_string(used);
    }
    int Rel(DocRelType type, const std::string& id, int a, int b)
    {
        DocRelation r;
        r.id = UniqueId(id);
        r.type = type;
        r.nodes.push_back(Id(a));
        if (b >= 0)
        {
            r.nodes.push_back(Id(b));
        }
        m_doc.relations.push_back(r);
        m_doc.hasRelations = true;
        return static_cast<int>(m_doc.relations.size()) - 1;
    }
    int Valued(DocRelType type, const char* word, int a, int b, double value, Kind driven)
    {
        const int r = Rel(type, std::string(word) + "_" + Id(a) + "_" + Id(b), a, b);
        m_doc.relations[r].hasValue = true;
        m_doc.relations[r].value = value;
        if (driven != kNone)
        {
            m_drivable.push_back({r, driven});
        }
        return r;
    }
    void Shared(DocRelType type, const char* word, int a, int b, const std::string& value,
                double measured)
    {
        const int r = Rel(type, std::string(word) + "_" + Id(a) + "_" + Id(b), a, b);
        m_doc.relations[r].shared = value;
        // The unknown value starts at what the first of its relations measures.
        for (DocValue& v : m_doc.values)
        {
            if (v.id == value && v.value == 0.0)
            {
                v.value = measured;
            }
        }
    }

    SketchDoc m_doc;
    std::vector<Drivable> m_drivable;
    std::map<std::string, int> m_ids;
};

// A fixed origin point and a fixed base line through it, as every family starts: the sketch's
// datum. Axis-aligned half of the time, as most drawings are.
struct Datum
{
    int origin;
    int base;
    Vec along;
};
Datum MakeDatum(Builder& b, Random& random, double reach)
{
    const Vec o{random.Uniform(-reach, reach), random.Uniform(-reach, reach)};
    const Vec along = random.Coin() ? Vec{1.0, 0.0} : Dir(random.Uniform(-40.0, 40.0));
    Datum d;
    d.origin = b.Point("O", o);
    d.base = b.Line("base", o, along);
    d.along = along;
    b.Fix(d.origin);
    b.Fix(d.base);
    return d;
}

// Local coordinates on the datum: u along the base, v square to it.
Vec Local(const Builder& b, const Datum& d, double u, double v)
{
    return b.At(d.origin) + u * d.along + v * Perp(d.along);
}

// A triangle with no angle below minDeg: corners a (given), b at distance ab along `along`, and
// c to the left.
Vec Apex(Random& random, Vec a, Vec along, double ab, double minDeg)
{
    for (;;)
    {
        const double alpha = random.Uniform(minDeg, 180.0 - 2.0 * minDeg);
        const double beta = random.Uniform(minDeg, 180.0 - alpha - minDeg);
        const double gamma = 180.0 - alpha - beta;
        if (gamma < minDeg)
        {
            continue;
        }
        const double ac = ab * std::sin(beta * kPi / 180.0) / std::sin(gamma * kPi / 180.0);
        const double t = alpha * kPi / 180.0;
        const Vec u = Unit(along);
        return a + ac * (std::cos(t) * u + std::sin(t) * Perp(u));
    }
}

void Triangle(Builder& b, Random& random, std::string& what)
{
    const Datum d = MakeDatum(b, random, 100.0);
    const double ab = random.Uniform(40.0, 200.0);
    const int B = b.Point("B", Local(b, d, ab, 0.0));
    b.On(B, d.base);
    b.PPdis(d.origin, B);
    if (random.Coin())
    {
        const int C = b.Point("C", Apex(random, b.At(d.origin), d.along, ab, 20.0));
        b.PPdis(d.origin, C);
        b.PPdis(B, C);
        what = "triangle dimensioned by its three sides";
    }
    else
    {
        // Two sides and the angle between them: the second side lies on a line at an angle.
        const Vec c = Apex(random, b.At(d.origin), d.along, ab, 20.0);
        const int L = b.Line("L", b.At(d.origin), c - b.At(d.origin));
        const int C = b.Point("C", c);
        b.On(d.origin, L);
        b.LLang(d.base, L);
        b.On(C, L);
        b.PPdis(d.origin, C);
        what = "triangle dimensioned by two sides and the angle between them";
    }
}

// A plate 300 units across: outline lines tied to the fixed base and datum by line-line
// distances, corners on them, holes dimensioned from the edges.
void Bracket(Builder& b, Random& random, std::string& what)
{
    const Datum d = MakeDatum(b, random, 150.0);
    const double width = random.Uniform(240.0, 300.0);
    const double height = random.Uniform(100.0, 220.0);
    const int left = b.Line("left", b.At(d.origin), Perp(d.along));
    b.Fix(left);
    const int top = b.Line("top", Local(b, d, random.Uniform(0.0, width), height), d.along);
    b.LLang(d.base, top, false);
    b.LLdis(d.base, top);
    const int right =
        b.Line("right", Local(b, d, width, random.Uniform(0.0, height)), Perp(d.along));
    // A line-line distance goes with an angle to the same line: the analysis refuses one to a
    // line the angle does not name.
    b.LLang(left, right, false);
    b.LLdis(left, right);
    // An L-shaped bracket has a step: a ledge and a riser.
    const bool step = random.Coin();
    int ledge = -1;
    int riser = -1;
    double stepU = width;
    double stepV = height;
    if (step)
    {
        stepU = random.Uniform(0.4, 0.75) * width;
        stepV = random.Uniform(0.35, 0.7) * height;
        ledge = b.Line("ledge", Local(b, d, random.Uniform(stepU, width), stepV), d.along);
        b.LLang(d.base, ledge, false);
        b.LLdis(d.base, ledge);
        riser = b.Line("riser", Local(b, d, stepU, random.Uniform(stepV, height)), Perp(d.along));
        b.LLang(left, riser, false);
        b.LLdis(left, riser);
    }
    // Corners, each on the two lines that meet there.
    auto corner = [&](const char* id, int l1, int l2)
    {
        const int p = b.Point(id, Meet(b.At(l1), b.DirOf(l1), b.At(l2), b.DirOf(l2)));
        b.On(p, l1);
        b.On(p, l2);
    };
    corner("K1", d.base, right);
    if (step)
    {
        corner("K2", right, ledge);
        corner("K3", ledge, riser);
        corner("K4", riser, top);
    }
    else
    {
        corner("K2", right, top);
    }
    corner("K5", top, left);
    // Holes: in the lower band dimensioned from the base and the datum, in the upper left from
    // the top edge, in the lower right from the right edge.
    const int holes = random.Int(1, 4);
    for (int i = 0; i < holes; ++i)
    {
        const std::string id = "H" + std::to_string(i + 1);
        const double r = random.Uniform(4.0, 12.0);
        const int kind = random.Int(0, 2);
        if (kind == 0)
        {
            const int h = b.Hole(
                id,
                Local(b, d, random.Uniform(20.0, stepU - 20.0), random.Uniform(20.0, stepV - 20.0)),
                r);
            b.PLdis(h, d.base);
            b.PLdis(h, left);
        }
        else if (kind == 1)
        {
            const int h = b.Hole(id,
                                 Local(b, d, random.Uniform(20.0, stepU - 20.0),
                                       height - random.Uniform(15.0, 40.0)),
                                 r);
            b.PLdis(h, top);
            b.PLdis(h, left);
        }
        else
        {
            const int h = b.Hole(
                id,
                Local(b, d, width - random.Uniform(15.0, 40.0), random.Uniform(15.0, stepV - 15.0)),
                r);
            b.PLdis(h, d.base);
            b.PLdis(h, right);
        }
    }
    what = std::string(step ? "L-shaped " : "") + "bracket with " + std::to_string(holes) +
           (holes == 1 ? " hole" : " holes");
}

// One or two slots in a plate: two hole centres on a centre line at an angle, the straight
// sides at half the width on either side of it.
void Slot(Builder& b, Random& random, std::string& what)
{
    const Datum d = MakeDatum(b, random, 100.0);
    const int left = b.Line("left", b.At(d.origin), Perp(d.along));
    b.Fix(left);
    const int slots = random.Int(1, 2);
    for (int s = 0; s < slots; ++s)
    {
        const std::string k = std::to_string(s + 1);
        const Vec p1 = Local(b, d, random.Uniform(30.0, 150.0), random.Uniform(30.0, 150.0));
        const double angle =
            random.Coin() ? random.Uniform(10.0, 80.0) : random.Uniform(100.0, 170.0);
        const Vec along = Unit(std::cos(angle * kPi / 180.0) * d.along +
                               std::sin(angle * kPi / 180.0) * Perp(d.along));
        const double length = random.Uniform(20.0, 100.0);
        const double half = random.Uniform(4.0, 15.0);
        const int a = b.Hole("S" + k + "a", p1, half);
        b.PLdis(a, d.base);
        b.PLdis(a, left);
        const int centre = b.Line("axis" + k, p1, along);
        b.On(a, centre);
        b.LLang(d.base, centre);
        const int e = b.Hole("S" + k + "b", p1 + length * along, half);
        b.On(e, centre);
        b.PPdis(a, e);
        const int s1 = b.Line("side" + k + "a", p1 + half * Perp(along), along);
        b.LLang(centre, s1, false);
        b.LLdis(centre, s1);
        const int s2 = b.Line("side" + k + "b", p1 - half * Perp(along), along);
        b.LLang(centre, s2, false);
        b.LLdis(centre, s2);
    }
    what = slots == 1 ? "slot at an angle in a plate" : "two slots at angles in a plate";
}

// A polyline of lines placed by angles, each to the one before, with its corners at given
// lengths along them.
void Chain(Builder& b, Random& random, std::string& what)
{
    const Datum d = MakeDatum(b, random, 100.0);
    const int n = random.Int(3, 8);
    int prevLine = d.base;
    int prevPoint = d.origin;
    double heading = 0.0; // degrees from the base
    for (int i = 1; i <= n; ++i)
    {
        // A turn away from parallel, either way.
        const double turn = (random.Coin() ? 1.0 : -1.0) * random.Uniform(20.0, 150.0);
        heading += turn;
        const Vec dir = std::cos(heading * kPi / 180.0) * d.along +
                        std::sin(heading * kPi / 180.0) * Perp(d.along);
        const std::string k = std::to_string(i);
        const int line = b.Line("L" + k, b.At(prevPoint), dir);
        b.On(prevPoint, line);
        b.LLang(prevLine, line);
        const int p = b.Point("P" + k, b.At(prevPoint) + random.Uniform(20.0, 80.0) * dir);
        b.On(p, line);
        b.PPdis(prevPoint, p);
        prevLine = line;
        prevPoint = p;
    }
    what = "chain of " + std::to_string(n) + " lines placed by angles";
}

// Rigid triangles in a row, each barred to the one before by three bars; the first is held by
// the datum. `links` counts the triangles.
void Linkage(Builder& b, Random& random, std::string& what)
{
    const int links = static_cast<int>(std::lround(random.LogUniform(5.0, 100.0)));
    const Datum d = MakeDatum(b, random, 30.0);
    std::vector<int> A;
    std::vector<int> B;
    std::vector<int> C;
    Vec centre = b.At(d.origin);
    double heading = 0.0;
    for (int i = 0; i < links; ++i)
    {
        const double size = random.Uniform(8.0, 14.0);
        const std::string k = std::to_string(i);
        Vec a;
        Vec along;
        if (i == 0)
        {
            a = b.At(d.origin);
            along = d.along;
        }
        else
        {
            heading += random.Uniform(-35.0, 35.0);
            centre = centre + random.Uniform(18.0, 26.0) * Dir(heading);
            along = Dir(random.Uniform(0.0, 360.0));
            a = centre - 0.5 * size * along;
        }
        const Vec c = Apex(random, a, along, size, 30.0);
        A.push_back(i == 0 ? d.origin : b.Point("A" + k, a));
        B.push_back(b.Point("B" + k, a + size * along));
        C.push_back(b.Point("C" + k, c));
        if (i == 0)
        {
            b.On(B[0], d.base);
            centre = (1.0 / 3.0) * (a + (a + size * along) + c);
        }
        b.PPdis(A[i], B[i]);
        b.PPdis(A[i], C[i]);
        b.PPdis(B[i], C[i]);
        if (i > 0)
        {
            // Three bars from the last triangle, crossing as a four-bar's would not: each joins
            // corners that face each other.
            const int prev[3] = {A[i - 1], B[i - 1], C[i - 1]};
            const int cur[3] = {A[i], B[i], C[i]};
            // Pair each new corner with the nearest unused old corner.
            bool used[3] = {false, false, false};
            for (int j = 0; j < 3; ++j)
            {
                int best = -1;
                for (int m = 0; m < 3; ++m)
                {
                    if (!used[m] && (best < 0 || Len(b.At(prev[m]) - b.At(cur[j])) <
                                                     Len(b.At(prev[best]) - b.At(cur[j]))))
                    {
                        best = m;
                    }
                }
                used[best] = true;
                b.PPdis(prev[best], cur[j]);
            }
        }
    }
    what = "linkage of " + std::to_string(links) + " rigid triangles barred together";
}

// A strip of triangles: each point at given distances from the two before it.
void Truss(Builder& b, Random& random, std::string& what)
{
    const int points = static_cast<int>(std::lround(random.LogUniform(10.0, 200.0)));
    const Datum d = MakeDatum(b, random, 50.0);
    const double bay = random.Uniform(8.0, 20.0);
    const double depth = random.Uniform(6.0, 16.0);
    std::vector<int> p;
    p.push_back(d.origin);
    for (int i = 1; i < points; ++i)
    {
        const double u = (i / 2) * bay + (i % 2) * 0.5 * bay + random.Uniform(-0.15, 0.15) * bay;
        const double v = (i % 2) * depth + random.Uniform(-0.1, 0.1) * depth;
        const Vec at = i == 1 ? Local(b, d, bay, 0.0) : Local(b, d, u, v);
        p.push_back(b.Point("P" + std::to_string(i), at));
        if (i == 1)
        {
            b.On(p[1], d.base);
        }
        b.PPdis(p[i - 1], p[i]);
        if (i >= 2)
        {
            b.PPdis(p[i - 2], p[i]);
        }
    }
    what = "truss of " + std::to_string(points) + " points";
}

// An n x m grid: every cell side, and one diagonal in each cell of the first row and column.
void Grid(Builder& b, Random& random, std::string& what)
{
    const int n = random.Int(3, 9);
    const int m = random.Int(3, 9);
    const Datum d = MakeDatum(b, random, 50.0);
    const double cell = random.Uniform(10.0, 30.0);
    std::vector<int> g(static_cast<size_t>(n * m));
    auto at = [&](int i, int j) -> int& { return g[static_cast<size_t>(i * m + j)]; };
    for (int i = 0; i < n; ++i)
    {
        for (int j = 0; j < m; ++j)
        {
            if (i == 0 && j == 0)
            {
                at(0, 0) = d.origin;
                continue;
            }
            const double u = i * cell + (i > 0 ? random.Uniform(-0.12, 0.12) * cell : 0.0);
            const double v = j * cell + (j > 0 ? random.Uniform(-0.12, 0.12) * cell : 0.0);
            at(i, j) = b.Point("G" + std::to_string(i) + "_" + std::to_string(j),
                               j == 0 && i == 1 ? Local(b, d, u, 0.0) : Local(b, d, u, v));
            if (i == 1 && j == 0)
            {
                b.On(at(1, 0), d.base);
            }
            if (i > 0)
            {
                b.PPdis(at(i - 1, j), at(i, j));
            }
            if (j > 0)
            {
                b.PPdis(at(i, j - 1), at(i, j));
            }
            if (i > 0 && j > 0 && (i == 1 || j == 1))
            {
                b.PPdis(at(i - 1, j - 1), at(i, j));
            }
        }
    }
    what = "grid of " + std::to_string(n) + " x " + std::to_string(m) + " points";
}

// A point at one unknown distance from the three corners of a dimensioned triangle.
void Circumcentre(Builder& b, Random& random, std::string& what)
{
    const Datum d = MakeDatum(b, random, 100.0);
    const double ab = random.Uniform(40.0, 200.0);
    const Vec o = b.At(d.origin);
    const Vec bb = Local(b, d, ab, 0.0);
    const Vec c = Apex(random, o, d.along, ab, 25.0);
    const int B = b.Point("B", bb);
    const int C = b.Point("C", c);
    b.On(B, d.base);
    b.PPdis(d.origin, B);
    b.PPdis(d.origin, C);
    b.PPdis(B, C);
    // The circumcentre, off by nothing: the perpendicular bisectors of two sides meet there.
    const Vec m1 = 0.5 * (o + bb);
    const Vec m2 = 0.5 * (o + c);
    const Vec centre = Meet(m1, Perp(bb - o), m2, Perp(c - o));
    const int M = b.Hole("M", centre, random.Uniform(3.0, 8.0));
    b.Unknown("R");
    b.SharedPPdis(M, d.origin, "R");
    b.SharedPPdis(M, B, "R");
    b.SharedPPdis(M, C, "R");
    what = "point at one unknown distance from the corners of a dimensioned triangle";
}

// A point at one unknown distance from three lines that make a triangle, placed by angles.
void Incentre(Builder& b, Random& random, std::string& what)
{
    const Datum d = MakeDatum(b, random, 100.0);
    const double ab = random.Uniform(40.0, 200.0);
    const Vec o = b.At(d.origin);
    const Vec bb = Local(b, d, ab, 0.0);
    const Vec c = Apex(random, o, d.along, ab, 25.0);
    const double la = Len(bb - c);
    const double lb = Len(c - o);
    const double lc = ab;
    const Vec centre = (1.0 / (la + lb + lc)) * (la * o + lb * bb + lc * c);
    const int B = b.Point("B", bb);
    b.On(B, d.base);
    b.PPdis(d.origin, B);
    // Each side line points so that the centre lies to its left: the point keeps its side of
    // every line, and the three distances are one signed number.
    auto side = [&](const char* id, Vec from, Vec to)
    {
        Vec dir = to - from;
        if (Cross(dir, centre - from) < 0.0)
        {
            dir = -1.0 * dir;
        }
        return b.Line(id, from, dir);
    };
    const int l1 = side("L1", o, c);
    b.On(d.origin, l1);
    b.LLang(d.base, l1);
    const int l2 = side("L2", bb, c);
    b.On(B, l2);
    b.LLang(d.base, l2);
    const int M = b.Hole("M", centre, random.Uniform(2.0, 6.0));
    b.Unknown("r");
    b.SharedPLdis(M, d.base, "r");
    b.SharedPLdis(M, l1, "r");
    b.SharedPLdis(M, l2, "r");
    what = "point at one unknown distance from three lines placed by angles";
}

// A rail of holes at one unknown pitch: the first hole and the length of the rail are given.
void Rail(Builder& b, Random& random, std::string& what)
{
    const Datum d = MakeDatum(b, random, 100.0);
    const int left = b.Line("left", b.At(d.origin), Perp(d.along));
    b.Fix(left);
    const int holes = random.Int(4, 9);
    const double pitch = random.Uniform(12.0, 40.0);
    const bool slanted = random.Coin();
    const double angle = slanted ? random.Uniform(15.0, 75.0) : 0.0;
    const Vec along = Unit(std::cos(angle * kPi / 180.0) * d.along +
                           std::sin(angle * kPi / 180.0) * Perp(d.along));
    const Vec first = Local(b, d, random.Uniform(15.0, 60.0), random.Uniform(20.0, 120.0));
    const int rail = b.Line("rail", first - random.Uniform(5.0, 20.0) * along, along);
    if (slanted)
    {
        b.LLang(d.base, rail);
    }
    else
    {
        b.LLang(d.base, rail, false);
        b.LLdis(d.base, rail);
    }
    const double r = random.Uniform(2.0, 0.3 * pitch);
    std::vector<int> h;
    for (int i = 0; i < holes; ++i)
    {
        h.push_back(b.Hole("H" + std::to_string(i + 1), first + (i * pitch) * along, r));
        b.On(h[static_cast<size_t>(i)], rail);
    }
    b.PLdis(h[0], left);
    if (slanted)
    {
        b.PLdis(h[0], d.base);
    }
    b.PPdis(h.front(), h.back());
    b.Unknown("pitch");
    for (int i = 0; i + 1 < holes; ++i)
    {
        b.SharedPPdis(h[static_cast<size_t>(i)], h[static_cast<size_t>(i + 1)], "pitch");
    }
    what = std::string(slanted ? "slanted " : "") + "rail of " + std::to_string(holes) +
           " holes at one unknown pitch";
}

using FamilyMaker = void (*)(Builder&, Random&, std::string&);

struct FamilyEntry
{
    const char* name;
    FamilyMaker make;
};

const FamilyEntry kFamilies[] = {
    {"triangle", Triangle}, {"bracket", Bracket}, {"slot", Slot}, {"chain", Chain},
    {"linkage", Linkage},   {"truss", Truss},     {"grid", Grid}, {"circumcentre", Circumcentre},
    {"incentre", Incentre}, {"rail", Rail},
};

// The new value of an angle: swept by 1 to 90 degrees either way, never through parallel.
bool SweepAngle(Random& random, double old, double& out)
{
    const double sweep = random.Uniform(kMinSweep, kMaxSweep);
    const double first = random.Coin() ? 1.0 : -1.0;
    const double within = std::fmod(old, 180.0);
    for (double sign : {first, -first})
    {
        const double to = within + sign * sweep;
        if (to >= kAngleMargin && to <= 180.0 - kAngleMargin)
        {
            out = std::fmod(old + sign * sweep + 360.0, 360.0);
            return true;
        }
    }
    return false;
}

} // namespace

const std::vector<FamilyQuota>& DefaultQuotas()
{
    static const std::vector<FamilyQuota> quotas = {
        {"triangle", 200}, {"bracket", 300}, {"slot", 200}, {"chain", 250},
        {"linkage", 280},  {"truss", 250},   {"grid", 200}, {"circumcentre", 110},
        {"incentre", 110}, {"rail", 150},
    };
    return quotas;
}

double Extent(const SketchDoc& doc)
{
    double extent = 1.0;
    for (const DocNode& n : doc.nodes)
    {
        extent = std::max({extent, std::fabs(n.x), std::fabs(n.y), n.radius});
    }
    return extent;
}

Edit MakeCandidate(const std::string& family, Random& random)
{
    Edit e;
    e.family = family;
    for (const FamilyEntry& f : kFamilies)
    {
        if (family != f.name)
        {
            continue;
        }
        Builder b;
        std::string what;
        f.make(b, random, what);
        const auto& drivable = b.Drivables();
        const Builder::Drivable pick =
            drivable[static_cast<size_t>(random.Int(0, static_cast<int>(drivable.size()) - 1))];
        const DocRelation& r = b.Doc().relations[static_cast<size_t>(pick.relation)];
        e.relation = pick.relation;
        e.oldValue = r.value;
        if (pick.kind == Builder::Kind::Angle)
        {
            if (!SweepAngle(random, r.value, e.newValue))
            {
                e.relation = -1;
                return e;
            }
        }
        else
        {
            const double percent = random.LogUniform(kMinPercent, kMaxPercent);
            const double sign = random.Coin() ? 1.0 : -1.0;
            e.newValue = r.value * (1.0 + sign * percent / 100.0);
        }
        char change[160];
        std::snprintf(change, sizeof(change), "; %s %.6g -> %.6g (%+.1f%s)", r.id.c_str(),
                      e.oldValue, e.newValue,
                      pick.kind == Builder::Kind::Angle
                          ? std::remainder(e.newValue - e.oldValue, 360.0)
                          : 100.0 * (e.newValue - e.oldValue) / e.oldValue,
                      pick.kind == Builder::Kind::Angle ? " degrees" : "%");
        e.what = what + change;
        e.sketch = b.Doc();
        e.sketch.description = what;
        e.sketch.hasDescription = true;
        return e;
    }
    return e;
}

} // namespace qsolver::corpus
