// Drawing random sketches: a configuration first, then relations between its nodes.
#include "random/RandomSketch.h"

#include "qsolver/Sketch.h"

#include <algorithm>

namespace randomsketch
{

namespace
{
const double kPi = 3.14159265358979323846;

struct Builder
{
    Bits& bits;
    bool consistent;
    Case out;
    std::vector<int> points;
    std::vector<int> lines;
    std::vector<int> circles;
    /// Lengths used more than once on purpose, so that equal dimensions occur.
    std::vector<double> lengths;

    DocNode& NodeAt(int i) { return out.doc.nodes[static_cast<size_t>(i)]; }

    double Coordinate()
    {
        // Grid values make exact coincidences and axis-parallel lines common.
        return bits.Chance(40) ? static_cast<double>(static_cast<int>(bits.Below(9)) - 4)
                               : bits.Range(-10.0, 10.0);
    }

    double Length()
    {
        if (!lengths.empty() && bits.Chance(40))
        {
            return Pick(lengths);
        }
        const double d = bits.Chance(30) ? 1.0 + bits.Below(5) : bits.Range(0.2, 8.0);
        lengths.push_back(d);
        return d;
    }

    double Direction()
    {
        if (bits.Chance(30))
        {
            return kPi / 4.0 * bits.Below(8);
        }
        return bits.Range(-kPi, kPi);
    }

    // An arbitrary number, chosen to break things: zero, tiny, negative, huge, angles at 0
    // and pi.
    double Wild()
    {
        static const double kEdges[] = {0.0,  1e-12,   -1.0, 1e-7,   1e9,   kPi,       kPi / 2.0,
                                        -kPi, 2 * kPi, 1.0,  1e-300, -1e-9, 3.0 * kPi, 100.0};
        if (bits.Chance(40))
        {
            return kEdges[bits.Below(sizeof(kEdges) / sizeof(kEdges[0]))];
        }
        return bits.Range(-2.0, 12.0);
    }

    template <class T> const T& Pick(const std::vector<T>& from)
    {
        return from[bits.Below(static_cast<uint32_t>(from.size()))];
    }

    // On an existing point with the given chance, else at random coordinates.
    void PlaceOnPointOrAnywhere(DocNode& n, uint32_t percent)
    {
        if (!points.empty() && bits.Chance(percent))
        {
            const DocNode& p = NodeAt(Pick(points));
            n.x = p.x;
            n.y = p.y;
            return;
        }
        n.x = Coordinate();
        n.y = Coordinate();
    }

    void AddPoint()
    {
        DocNode n;
        n.id = "P" + std::to_string(points.size());
        n.type = DocNodeType::Point;
        const uint32_t how = bits.Below(100);
        if (!points.empty() && how < 15)
        {
            const DocNode& other = NodeAt(Pick(points));
            n.x = other.x;
            n.y = other.y;
        }
        else if (!points.empty() && how < 40)
        {
            const DocNode& other = NodeAt(Pick(points));
            const double d = Length();
            const double t = Direction();
            n.x = other.x + d * std::cos(t);
            n.y = other.y + d * std::sin(t);
        }
        else if (!lines.empty() && how < 55)
        {
            const DocNode& l = NodeAt(Pick(lines));
            const double s = bits.Chance(20) ? 0.0 : bits.Range(-5.0, 5.0);
            n.x = l.x + s * l.dx;
            n.y = l.y + s * l.dy;
        }
        else
        {
            n.x = Coordinate();
            n.y = Coordinate();
        }
        points.push_back(static_cast<int>(out.doc.nodes.size()));
        out.doc.nodes.push_back(n);
    }

    void AddLine()
    {
        DocNode n;
        n.id = "L" + std::to_string(lines.size());
        n.type = DocNodeType::Line;
        const uint32_t how = bits.Below(100);
        double t = Direction();
        if (!lines.empty() && how < 35)
        {
            const DocNode& other = NodeAt(Pick(lines));
            t = std::atan2(other.dy, other.dx);
            if (how < 10)
            {
                // The same line, perhaps with another through point or reversed.
                n.x = other.x;
                n.y = other.y;
                n.dx = bits.Chance(50) ? other.dx : -other.dx;
                n.dy = n.dx == other.dx ? other.dy : -other.dy;
                lines.push_back(static_cast<int>(out.doc.nodes.size()));
                out.doc.nodes.push_back(n);
                return;
            }
            if (how >= 25)
            {
                t += kPi / 2.0;
            }
        }
        PlaceOnPointOrAnywhere(n, 50);
        n.dx = std::cos(t);
        n.dy = std::sin(t);
        if (bits.Chance(10))
        {
            n.dirFixed = true;
            n.hasDirFixed = true;
        }
        lines.push_back(static_cast<int>(out.doc.nodes.size()));
        out.doc.nodes.push_back(n);
    }

    void AddCircle()
    {
        DocNode n;
        n.id = "C" + std::to_string(circles.size());
        n.type = DocNodeType::Circle;
        PlaceOnPointOrAnywhere(n, 70);
        n.radius = consistent || bits.Chance(70) ? Length() : Wild();
        circles.push_back(static_cast<int>(out.doc.nodes.size()));
        out.doc.nodes.push_back(n);
    }

    bool Parallel(const DocNode& a, const DocNode& b)
    {
        return std::fabs(a.dx * b.dy - a.dy * b.dx) <= 1e-12;
    }

    bool Coincide(const DocNode& a, const DocNode& b) { return a.x == b.x && a.y == b.y; }

    void AddRelation(DocRelType type, int a, int b)
    {
        DocRelation r;
        r.id = "r" + std::to_string(out.doc.relations.size());
        r.type = type;
        r.nodes.push_back(NodeAt(a).id);
        if (type != DocRelType::Fix)
        {
            r.nodes.push_back(NodeAt(b).id);
        }
        if (type != DocRelType::Fix && type != DocRelType::Rad)
        {
            r.hasValue = true;
            r.value = consistent ? 0.0 : Wild();
            if (bits.Chance(consistent ? 3 : 10))
            {
                r.known = false;
                r.hasKnown = true;
            }
        }
        if (type == DocRelType::LLang && bits.Chance(30))
        {
            r.reverse[0] = bits.Chance(50);
            r.reverse[1] = bits.Chance(50);
            r.hasReverse = true;
        }
        out.doc.relations.push_back(r);
    }

    // A relation between two random nodes of fitting types; in a consistent sketch only those
    // the configuration can satisfy.
    void AddRandomRelation()
    {
        const uint32_t kind = bits.Below(100);
        if (kind < 12)
        {
            AddRelation(DocRelType::Fix, Pick(bits.Chance(70) || lines.empty() ? points : lines),
                        0);
        }
        else if (kind < 45 && points.size() >= 2)
        {
            int a = Pick(points);
            int b = Pick(points);
            if (a == b && consistent)
            {
                return;
            }
            AddRelation(DocRelType::PPdis, a, b);
        }
        else if (kind < 65 && !lines.empty())
        {
            AddRelation(DocRelType::PLdis, Pick(points), Pick(lines));
        }
        else if (kind < 75 && lines.size() >= 2)
        {
            const int a = Pick(lines);
            const int b = Pick(lines);
            if (consistent && (a == b || !Parallel(NodeAt(a), NodeAt(b))))
            {
                return;
            }
            AddRelation(DocRelType::LLdis, a, b);
        }
        else if (kind < 90 && lines.size() >= 2)
        {
            const int a = Pick(lines);
            const int b = Pick(lines);
            if (consistent && a == b)
            {
                return;
            }
            AddRelation(DocRelType::LLang, a, b);
        }
        else if (!circles.empty())
        {
            const int c = Pick(circles);
            if (consistent)
            {
                // Only the point at the centre.
                for (int p : points)
                {
                    if (Coincide(NodeAt(p), NodeAt(c)))
                    {
                        AddRelation(DocRelType::Rad, p, c);
                        return;
                    }
                }
                return;
            }
            const std::vector<int>& from = bits.Chance(80) || lines.empty() ? points : lines;
            AddRelation(DocRelType::Rad, Pick(from), c);
        }
    }

    // Relations of one kind with equal measures share a named value.
    void ShareValues()
    {
        std::vector<DocRelation>& rels = out.doc.relations;
        for (size_t i = 0; i < rels.size(); ++i)
        {
            if (!rels[i].hasValue || !rels[i].shared.empty() || !bits.Chance(consistent ? 70 : 20))
            {
                continue;
            }
            std::vector<size_t> group{i};
            for (size_t j = i + 1; j < rels.size(); ++j)
            {
                const bool sameKind =
                    rels[j].type == rels[i].type ||
                    (rels[i].type != DocRelType::LLang && rels[j].type != DocRelType::LLang);
                if (rels[j].hasValue && rels[j].shared.empty() && sameKind &&
                    (consistent ? std::fabs(rels[j].value - rels[i].value) <= 1e-12
                                : bits.Chance(30)))
                {
                    group.push_back(j);
                }
            }
            if (group.size() < 2)
            {
                continue;
            }
            DocValue v;
            v.id = "v" + std::to_string(out.doc.values.size());
            v.value = rels[i].value;
            v.known = bits.Chance(50);
            v.hasKnown = true;
            for (size_t k : group)
            {
                rels[k].shared = v.id;
                rels[k].hasValue = false;
                rels[k].hasKnown = false;
                rels[k].known = true;
            }
            out.doc.values.push_back(v);
            out.doc.hasValues = true;
        }
    }

    void AddChange()
    {
        std::vector<size_t> valued;
        for (size_t i = 0; i < out.doc.relations.size(); ++i)
        {
            if (out.doc.relations[i].type != DocRelType::Fix)
            {
                valued.push_back(i);
            }
        }
        if (valued.empty())
        {
            return;
        }
        const int count = bits.Chance(15) ? 2 : 1;
        for (int k = 0; k < count; ++k)
        {
            const DocRelation& r = out.doc.relations[Pick(valued)];
            double old = r.value;
            if (!r.shared.empty())
            {
                old = out.doc.values[static_cast<size_t>(out.doc.FindValue(r.shared))].value;
            }
            else if (r.type == DocRelType::Rad)
            {
                old = NodeAt(out.doc.FindNode(r.nodes[1])).radius;
            }
            double to = 0.0;
            if (!consistent && bits.Chance(50))
            {
                to = Wild();
            }
            else if (r.type == DocRelType::LLang)
            {
                to = old + bits.Range(-0.3, 0.3);
            }
            else
            {
                to = std::max(0.0, old * bits.Range(0.85, 1.15) + bits.Range(-0.2, 0.2));
            }
            out.changes.emplace_back(r.id, to);
        }
    }
};

} // namespace

Case Generate(Bits& bits, bool consistent)
{
    Builder b{bits, consistent, Case(), {}, {}, {}, {}};
    b.out.consistent = consistent;
    b.out.doc.radians = true;
    b.out.doc.hasUnit = true;
    b.out.doc.hasRelations = true;
    const uint32_t nodeCount = 1 + bits.Below(9);
    for (uint32_t i = 0; i < nodeCount; ++i)
    {
        const uint32_t kind = bits.Below(100);
        if (kind < 55 || b.points.empty())
        {
            b.AddPoint();
        }
        else if (kind < 88)
        {
            b.AddLine();
        }
        else
        {
            b.AddCircle();
        }
    }
    for (int node : b.points)
    {
        if (bits.Chance(4))
        {
            b.NodeAt(node).hasReference = true;
            b.NodeAt(node).reference = 100 + node;
        }
    }
    const uint32_t relCount = bits.Below(2 * nodeCount + 4);
    for (uint32_t i = 0; i < relCount; ++i)
    {
        b.AddRandomRelation();
    }
    if (consistent)
    {
        MeasureValues(b.out.doc);
    }
    b.ShareValues();
    if (!consistent && !b.circles.empty() && bits.Chance(20))
    {
        for (DocRelation& r : b.out.doc.relations)
        {
            if (!r.shared.empty() && bits.Chance(50))
            {
                r.valueNode = b.NodeAt(b.Pick(b.circles)).id;
            }
        }
    }
    b.AddChange();
    if (!consistent && bits.Chance(3))
    {
        b.out.changes.emplace_back("nothing", 1.0);
    }
    const uint32_t removals = bits.Chance(40) ? 1 + bits.Below(2) : 0;
    for (uint32_t i = 0; i < removals; ++i)
    {
        const SketchDoc& doc = b.out.doc;
        const bool node = doc.relations.empty() || bits.Chance(40);
        b.out.removals.push_back(node ? b.Pick(doc.nodes).id : b.Pick(doc.relations).id);
    }
    return b.out;
}

void MeasureValues(SketchDoc& doc)
{
    qsolver::Sketch sketch;
    qsolver::SketchSnapshot built;
    qsolver::InputError error;
    if (!qsolver::BuildSketch(doc, "measure", sketch, built, error))
    {
        return;
    }
    for (DocRelation& r : doc.relations)
    {
        if (r.hasValue)
        {
            r.value = sketch.FindRelation(r.id)->GetActualVal();
        }
    }
}

std::string Describe(const Case& c)
{
    std::string text = qsolver::FormatSketch(c.doc);
    text += "change:";
    for (const auto& change : c.changes)
    {
        text += " " + change.first + "=" + qsolver::FormatNumber(change.second);
    }
    if (!c.removals.empty())
    {
        text += "\nthen removed:";
        for (const std::string& id : c.removals)
        {
            text += " " + id;
        }
    }
    return text + "\n";
}

} // namespace randomsketch
