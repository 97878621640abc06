// Compiling the vocabulary to the core: every entity and constraint becomes the nodes and
// relations that say exactly the same, with helper nodes and relations named "constraint#n".
// Every constraint compiles exactly: where one relation does not say it, hidden helpers do.
#include "qsolver/Vocab.h"

#include "vocab/VocabGeometry.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace qsolver
{

using vocab::Ccw;
using vocab::Len;
using vocab::Nearest;
using vocab::Pi;
using vocab::Vec;

struct VocabSketch::Compiler
{
    VocabSketch& v;
    Sketch& core;
    // The root of each circle's and arc's group of equal radii.
    std::map<std::string, std::string> root;
    bool axisMade = false;
    bool ok = true;

    Compiler(VocabSketch& sketch, Sketch& target) : v(sketch), core(target) {}

    const VocabEntity& E(const std::string& id) const { return *v.Entity(id); }

    Vec At(const std::string& pointId) const
    {
        const VocabEntity& p = E(pointId);
        return {p.x, p.y};
    }

    bool Check(const void* made)
    {
        if (made == nullptr)
        {
            ok = false;
            v.m_error = core.LastError();
        }
        return ok;
    }
    bool Check(bool made) { return Check(made ? &core : nullptr); }

    static std::string Helper(const std::string& id, int n) { return id + "#" + std::to_string(n); }

    std::string Find(const std::string& id)
    {
        std::string r = id;
        while (root[r] != r)
        {
            r = root[r];
        }
        return r;
    }

    // The core line of a segment or line has the entity's id.
    Vec Direction(const VocabEntity& e) const
    {
        if (e.type == EntityType::Segment)
        {
            return At(e.points[1]) - At(e.points[0]);
        }
        return {e.dx, e.dy};
    }

    // The core circle that carries the radius of a circle or arc: made on first use, named after
    // its group's root.
    std::string Carrier(const VocabEntity& round)
    {
        const std::string r = Find(round.id);
        if (core.FindCircle(r) == nullptr)
        {
            const VocabEntity& e = E(r);
            const Vec c = At(e.points[0]);
            Check(core.AddCircle(r, c.x, c.y, v.RadiusOf(e)));
            v.m_carriers.emplace_back(r, r);
        }
        const std::pair<std::string, std::string> link(round.id, r);
        if (std::find(v.m_carriers.begin(), v.m_carriers.end(), link) == v.m_carriers.end())
        {
            v.m_carriers.push_back(link);
        }
        return r;
    }

    void Axis()
    {
        if (!axisMade)
        {
            axisMade = true;
            Check(core.AddLine("#axis", 0.0, 0.0, 1.0, 0.0));
            Check(core.AddFix("#axis#fix", "#axis"));
        }
    }

    // A line between two points for a constraint that needs one: through a, towards b.
    std::string LineThrough(const std::string& id, int n, const std::string& a,
                            const std::string& b, Vec fallback)
    {
        const std::string line = Helper(id, n);
        Vec d = At(b) - At(a);
        if (d.x == 0.0 && d.y == 0.0)
        {
            d = fallback;
        }
        Check(core.AddLine(line, At(a).x, At(a).y, d.x, d.y));
        Check(core.AddPLdis(Helper(id, n + 1), a, line, ValueSpec::Own(0.0)));
        Check(core.AddPLdis(Helper(id, n + 2), b, line, ValueSpec::Own(0.0)));
        return line;
    }

    // An unknown value that several relations share: carried, like a radius, by a hidden circle
    // so that a numeric solve can take it as an unknown.
    std::string SharedValue(const std::string& name, double initial)
    {
        Check(core.AddCircle(name, 0.0, 0.0, initial));
        return name;
    }

    void Share(const std::string& rel, const std::string& carrier)
    {
        Check(core.SetValueNode(rel, carrier));
    }

    void Link(const std::string& constraint, const std::string& relation, double factor)
    {
        v.m_links.push_back(DimensionLink{constraint, relation, factor});
    }

    void Entity(const VocabEntity& e)
    {
        switch (e.type)
        {
            case EntityType::Point:
                Check(core.AddPoint(e.id, e.x, e.y));
                break;
            case EntityType::Line:
                Check(core.AddLine(e.id, e.x, e.y, e.dx, e.dy));
                break;
            case EntityType::Segment:
            {
                Vec d = Direction(e);
                if (d.x == 0.0 && d.y == 0.0)
                {
                    d = {1.0, 0.0};
                }
                const Vec a = At(e.points[0]);
                Check(core.AddLine(e.id, a.x, a.y, d.x, d.y));
                Check(core.AddPLdis(Helper(e.id, 1), e.points[0], e.id, ValueSpec::Own(0.0)));
                Check(core.AddPLdis(Helper(e.id, 2), e.points[1], e.id, ValueSpec::Own(0.0)));
                break;
            }
            case EntityType::Circle:
                Carrier(e);
                break;
            case EntityType::Arc:
            {
                // Start and end share the radius its circle carries.
                const std::string carrier = Carrier(e);
                for (int i = 1; i <= 2; ++i)
                {
                    Check(core.AddPPdis(Helper(e.id, i), e.points[0], e.points[i],
                                        ValueSpec::RadiusOf(carrier)));
                    Check(core.SetValueNode(Helper(e.id, i), carrier));
                }
                break;
            }
        }
    }

    void OnRound(const std::string& rel, const std::string& point, const VocabEntity& round)
    {
        const std::string carrier = Carrier(round);
        Check(core.AddPPdis(rel, round.points[0], point, ValueSpec::RadiusOf(carrier)));
        Check(core.SetValueNode(rel, carrier));
    }

    // An angle relation between two lines whose value is the nearest of the candidates to how
    // they stand now, so that parallel lines keep their sense and perpendicular ones their turn.
    void SnapAngle(const std::string& rel, const std::string& a, const std::string& b, Vec da,
                   Vec db, double first, double second)
    {
        Check(core.AddLLang(rel, a, b, ValueSpec::Own(Nearest(Ccw(da, db), {first, second}))));
    }

    void Constraint(const VocabConstraint& c)
    {
        if (c.driven)
        {
            return; // measured, never enforced
        }
        std::vector<const VocabEntity*> r;
        for (const std::string& id : c.refs)
        {
            r.push_back(&E(id));
        }
        const double pi = Pi();
        switch (c.type)
        {
            case ConstraintType::Coincident:
                Check(core.AddPPdis(c.id, c.refs[0], c.refs[1], ValueSpec::Own(0.0)));
                break;
            case ConstraintType::On:
                if (r[1]->type == EntityType::Segment || r[1]->type == EntityType::Line)
                {
                    Check(core.AddPLdis(c.id, c.refs[0], c.refs[1], ValueSpec::Own(0.0)));
                }
                else
                {
                    OnRound(c.id, c.refs[0], *r[1]);
                }
                break;
            case ConstraintType::Horizontal:
            case ConstraintType::Vertical:
            {
                Axis();
                const bool horizontal = c.type == ConstraintType::Horizontal;
                const double first = horizontal ? 0.0 : 0.5 * pi;
                const double second = horizontal ? pi : 1.5 * pi;
                if (r.size() == 1)
                {
                    SnapAngle(c.id, "#axis", c.refs[0], {1.0, 0.0}, Direction(*r[0]), first,
                              second);
                }
                else
                {
                    const Vec along = horizontal ? Vec{1.0, 0.0} : Vec{0.0, 1.0};
                    const Vec d = At(c.refs[1]) - At(c.refs[0]);
                    const Vec dir = vocab::Dot(d, along) < 0.0 ? -1.0 * along : along;
                    const std::string line = Helper(c.id, 1);
                    Check(core.AddLine(line, At(c.refs[0]).x, At(c.refs[0]).y, dir.x, dir.y));
                    Check(core.AddPLdis(Helper(c.id, 2), c.refs[0], line, ValueSpec::Own(0.0)));
                    Check(core.AddPLdis(Helper(c.id, 3), c.refs[1], line, ValueSpec::Own(0.0)));
                    SnapAngle(c.id, "#axis", line, {1.0, 0.0}, dir, first, second);
                }
                break;
            }
            case ConstraintType::Parallel:
                SnapAngle(c.id, c.refs[0], c.refs[1], Direction(*r[0]), Direction(*r[1]), 0.0, pi);
                break;
            case ConstraintType::Perpendicular:
                SnapAngle(c.id, c.refs[0], c.refs[1], Direction(*r[0]), Direction(*r[1]), 0.5 * pi,
                          1.5 * pi);
                break;
            case ConstraintType::Angle:
                Check(core.AddLLang(c.id, c.refs[0], c.refs[1], ValueSpec::Own(c.value),
                                    c.reverse[0], c.reverse[1]));
                Link(c.id, c.id, 1.0);
                break;
            case ConstraintType::Distance:
            {
                const bool point2 = r[1]->type == EntityType::Point;
                const bool point1 = r[0]->type == EntityType::Point;
                if (point1 && point2)
                {
                    Check(core.AddPPdis(c.id, c.refs[0], c.refs[1], ValueSpec::Own(c.value)));
                }
                else if (point1)
                {
                    Check(core.AddPLdis(c.id, c.refs[0], c.refs[1], ValueSpec::Own(c.value)));
                }
                else
                {
                    // The core's line distance leaves the direction free: the lines are
                    // parallel too.
                    Check(core.AddLLdis(c.id, c.refs[0], c.refs[1], ValueSpec::Own(c.value)));
                    SnapAngle(Helper(c.id, 1), c.refs[0], c.refs[1], Direction(*r[0]),
                              Direction(*r[1]), 0.0, pi);
                }
                Link(c.id, c.id, 1.0);
                break;
            }
            case ConstraintType::Length:
                Check(
                    core.AddPPdis(c.id, r[0]->points[0], r[0]->points[1], ValueSpec::Own(c.value)));
                Link(c.id, c.id, 1.0);
                break;
            case ConstraintType::Radius:
            case ConstraintType::Diameter:
            {
                const double factor = c.type == ConstraintType::Diameter ? 0.5 : 1.0;
                const std::string carrier = Carrier(*r[0]);
                CRel* rad = core.AddRad(c.id, r[0]->points[0], carrier);
                if (Check(rad))
                {
                    rad->SetValue(c.value * factor);
                }
                Link(c.id, c.id, factor);
                break;
            }
            case ConstraintType::Equal:
                if (r[0]->type == EntityType::Segment)
                {
                    const std::string len = SharedValue(c.id, Len(Direction(*r[0])));
                    for (int i = 0; i < 2; ++i)
                    {
                        Check(core.AddPPdis(Helper(c.id, i + 1), r[i]->points[0], r[i]->points[1],
                                            ValueSpec::RadiusOf(len)));
                        Share(Helper(c.id, i + 1), len);
                    }
                }
                // Equal radii share one carrier: nothing more to say.
                break;
            case ConstraintType::Tangent:
                Tangent(c, r);
                break;
            case ConstraintType::Concentric:
                if (r[0]->points[0] != r[1]->points[0])
                {
                    Check(
                        core.AddPPdis(c.id, r[0]->points[0], r[1]->points[0], ValueSpec::Own(0.0)));
                }
                break;
            case ConstraintType::Midpoint:
            {
                const std::string& m = c.refs[0];
                std::string a;
                std::string b;
                std::string line;
                if (r.size() == 2)
                {
                    a = r[1]->points[0];
                    b = r[1]->points[1];
                    line = c.refs[1];
                }
                else
                {
                    a = c.refs[1];
                    b = c.refs[2];
                    line = LineThrough(c.id, 4, a, b, {1.0, 0.0});
                }
                Check(core.AddPLdis(c.id, m, line, ValueSpec::Own(0.0)));
                const std::string half = SharedValue(Helper(c.id, 1), Len(At(m) - At(a)));
                Check(core.AddPPdis(Helper(c.id, 2), a, m, ValueSpec::RadiusOf(half)));
                Check(core.AddPPdis(Helper(c.id, 3), m, b, ValueSpec::RadiusOf(half)));
                Share(Helper(c.id, 2), half);
                Share(Helper(c.id, 3), half);
                break;
            }
            case ConstraintType::Symmetric:
            {
                // The pair lies on a line square to the mirror, at equal distances from it.
                const Vec mirror = Direction(*r[2]);
                const Vec square{-mirror.y, mirror.x};
                const std::string across = LineThrough(c.id, 1, c.refs[0], c.refs[1], square);
                const CMathline* line = core.FindLine(across);
                const Vec d = line != nullptr
                                  ? Vec{line->m_Line.m_Direction.x, line->m_Line.m_Direction.y}
                                  : square;
                SnapAngle(c.id, c.refs[2], across, mirror, d, 0.5 * pi, 1.5 * pi);
                const Vec a = At(c.refs[0]);
                const Vec through =
                    r[2]->type == EntityType::Segment ? At(r[2]->points[0]) : Vec{r[2]->x, r[2]->y};
                const std::string gap =
                    SharedValue(Helper(c.id, 4), vocab::LineDistance(a, through, mirror));
                Check(
                    core.AddPLdis(Helper(c.id, 5), c.refs[0], c.refs[2], ValueSpec::RadiusOf(gap)));
                Check(
                    core.AddPLdis(Helper(c.id, 6), c.refs[1], c.refs[2], ValueSpec::RadiusOf(gap)));
                Share(Helper(c.id, 5), gap);
                Share(Helper(c.id, 6), gap);
                break;
            }
            case ConstraintType::Fix:
                Fix(c, *r[0]);
                break;
        }
    }

    void Fix(const VocabConstraint& c, const VocabEntity& e)
    {
        if (e.type == EntityType::Point || e.type == EntityType::Line)
        {
            Check(core.AddFix(c.id, e.id));
            return;
        }
        int n = 1;
        if (e.type == EntityType::Arc)
        {
            // Centre and start fixed make the radius known; a relation between two fixed
            // points would contradict them, so the end is held on a fixed radial line instead.
            Check(core.AddFix(Helper(c.id, n++), e.points[0]));
            Check(core.AddFix(Helper(c.id, n++), e.points[1]));
            const Vec k = At(e.points[0]);
            Vec d = At(e.points[2]) - k;
            if (d.x == 0.0 && d.y == 0.0)
            {
                d = {1.0, 0.0};
            }
            const std::string radial = Helper(c.id, n++);
            Check(core.AddLine(radial, k.x, k.y, d.x, d.y));
            Check(core.AddFix(Helper(c.id, n++), radial));
            Check(core.AddPLdis(Helper(c.id, n++), e.points[2], radial, ValueSpec::Own(0.0)));
            return;
        }
        for (const std::string& p : e.points)
        {
            Check(core.AddFix(Helper(c.id, n++), p));
        }
        if (e.type != EntityType::Circle)
        {
            return;
        }
        // A fixed circle keeps its radius too, unless a dimension already holds it.
        const std::string carrier = Carrier(e);
        for (const VocabConstraint& other : v.m_constraints)
        {
            if (!other.driven &&
                (other.type == ConstraintType::Radius || other.type == ConstraintType::Diameter) &&
                Find(other.refs[0]) == carrier)
            {
                return;
            }
        }
        CRel* rad = core.AddRad(Helper(c.id, n), e.points[0], carrier);
        if (Check(rad))
        {
            rad->SetValue(e.radius);
        }
    }

    static bool IsLinear(const VocabEntity& e)
    {
        return e.type == EntityType::Segment || e.type == EntityType::Line;
    }

    // An end of the segment that is an end of the arc, or empty.
    static std::string SegmentEndOnArc(const VocabEntity& segment, const VocabEntity& arc)
    {
        if (segment.type != EntityType::Segment || arc.type != EntityType::Arc)
        {
            return std::string();
        }
        for (const std::string& p : {segment.points[0], segment.points[1]})
        {
            if (p == arc.points[1] || p == arc.points[2])
            {
                return p;
            }
        }
        return std::string();
    }

    // An end point the two arcs share, or empty.
    static std::string SharedEnd(const VocabEntity& a, const VocabEntity& b)
    {
        if (a.type != EntityType::Arc || b.type != EntityType::Arc)
        {
            return std::string();
        }
        for (int i = 1; i <= 2; ++i)
        {
            for (int j = 1; j <= 2; ++j)
            {
                if (a.points[i] == b.points[j])
                {
                    return a.points[i];
                }
            }
        }
        return std::string();
    }

    void Tangent(const VocabConstraint& c, const std::vector<const VocabEntity*>& r)
    {
        const VocabEntity& round = *r[1];
        if (IsLinear(*r[0]))
        {
            const std::string end = SegmentEndOnArc(*r[0], round);
            if (!end.empty())
            {
                // Where the segment ends on the arc it touches the arc there: the radius to that
                // end stands square to the segment. Said as the centre's distance from the line,
                // the touching point could slide along the line to first order, and the sketch's
                // freedoms would count one too many and the tangency as redundant.
                const VocabEntity& segment = *r[0];
                const Vec d = Direction(segment);
                const std::string radius =
                    LineThrough(c.id, 1, round.points[0], end, Vec{-d.y, d.x});
                const Vec toEnd = At(end) - At(round.points[0]);
                SnapAngle(c.id, radius, segment.id,
                          toEnd.x == 0.0 && toEnd.y == 0.0 ? Vec{-d.y, d.x} : toEnd, d, 0.5 * Pi(),
                          1.5 * Pi());
                return;
            }
            // The centre at the radius from the line: it touches, on the side it is on.
            const std::string carrier = Carrier(round);
            Check(core.AddPLdis(c.id, round.points[0], c.refs[0], ValueSpec::RadiusOf(carrier)));
            Check(core.SetValueNode(c.id, carrier));
            return;
        }
        const VocabEntity& first = *r[0];
        const std::string shared = SharedEnd(first, round);
        if (!shared.empty())
        {
            // Arcs that meet at a point touch there when both centres lie on one line with it.
            const std::string line = LineThrough(c.id, 1, first.points[0], shared, {1.0, 0.0});
            Check(core.AddPLdis(c.id, round.points[0], line, ValueSpec::Own(0.0)));
            return;
        }
        // Circles touch where a point on both lies on the line of their centres: a tangent
        // point the core places like any other, on the side of the centres it was on.
        const std::string c1 = first.points[0];
        const std::string c2 = round.points[0];
        Vec u = At(c2) - At(c1);
        u = Len(u) > 0.0 ? (1.0 / Len(u)) * u : Vec{1.0, 0.0};
        const double r1 = v.RadiusOf(first);
        const double r2 = v.RadiusOf(round);
        const double toward = c.inside && r1 < r2 ? -1.0 : 1.0;
        const Vec t = At(c1) + (toward * r1) * u;
        const std::string point = Helper(c.id, 1);
        Check(core.AddPoint(point, t.x, t.y));
        const std::string line = LineThrough(c.id, 2, c1, c2, {1.0, 0.0});
        Check(core.AddPLdis(Helper(c.id, 5), point, line, ValueSpec::Own(0.0)));
        const std::string carrier1 = Carrier(first);
        const std::string carrier2 = Carrier(round);
        Check(core.AddPPdis(Helper(c.id, 6), c1, point, ValueSpec::RadiusOf(carrier1)));
        Check(core.SetValueNode(Helper(c.id, 6), carrier1));
        Check(core.AddPPdis(c.id, c2, point, ValueSpec::RadiusOf(carrier2)));
        Check(core.SetValueNode(c.id, carrier2));
    }
};

bool VocabSketch::Compile()
{
    m_core = std::make_unique<Sketch>();
    m_links.clear();
    m_carriers.clear();
    Compiler compiler(*this, *m_core);
    for (const VocabEntity& e : m_entities)
    {
        if (e.type == EntityType::Circle || e.type == EntityType::Arc)
        {
            compiler.root[e.id] = e.id;
        }
    }
    for (const VocabConstraint& c : m_constraints)
    {
        if (c.type == ConstraintType::Equal && !c.driven && compiler.root.count(c.refs[0]) != 0)
        {
            const std::string a = compiler.Find(c.refs[0]);
            const std::string b = compiler.Find(c.refs[1]);
            // The earlier entity is the root, so the carrier is named after it.
            const auto pos = [&](const std::string& id)
            {
                return std::find_if(m_entities.begin(), m_entities.end(),
                                    [&](const VocabEntity& e) { return e.id == id; });
            };
            if (pos(a) < pos(b))
            {
                compiler.root[b] = a;
            }
            else
            {
                compiler.root[a] = b;
            }
        }
    }
    for (const VocabEntity& e : m_entities)
    {
        if (compiler.ok)
        {
            compiler.Entity(e);
        }
    }
    for (const VocabConstraint& c : m_constraints)
    {
        if (compiler.ok)
        {
            compiler.Constraint(c);
        }
    }
    if (!compiler.ok)
    {
        m_core.reset();
        return false;
    }
    m_dirty = false;
    return true;
}

} // namespace qsolver
