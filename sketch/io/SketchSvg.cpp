// Drawing a sketch document as SVG. Geometry is mapped to pixels here (y up in the sketch,
// down on screen) so text and markers keep their size whatever the sketch's scale.
#include "qsolver/SketchSvg.h"

#include "qsolver/Diagnostics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qsolver
{

namespace
{

// The longer side of the drawing area, in pixels.
constexpr double kCanvas = 720.0;
// Room above the drawing for its title.
constexpr double kHeader = 30.0;
// Blank border around the geometry, as a share of its larger extent.
constexpr double kMarginShare = 0.15;
// Radius of the arc that marks an angle, in pixels.
constexpr double kArcRadius = 30.0;
// Two directions whose unit cross product is below this are parallel for drawing purposes.
constexpr double kParallel = 1e-9;

const char* const kGeometry = "#1565c0";
const char* const kPoint = "#c62828";
const char* const kFixed = "#111111";
const char* const kDimension = "#2e7d32";
const char* const kBefore = "#b8b8b8";
// Node status colours, as sketchers show them: defined black-green, free blue, too much red.
const char* const kWellConstrained = "#1b5e20";
const char* const kUnderConstrained = "#1565c0";
const char* const kOverConstrained = "#d50000";

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
Vec operator*(Vec a, double s)
{
    return {a.x * s, a.y * s};
}
double Dot(Vec a, Vec b)
{
    return a.x * b.x + a.y * b.y;
}
double Cross(Vec a, Vec b)
{
    return a.x * b.y - a.y * b.x;
}
Vec Unit(Vec a)
{
    const double n = std::hypot(a.x, a.y);
    return n > 0.0 ? Vec{a.x / n, a.y / n} : Vec{1.0, 0.0};
}

std::string Num(double v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.2f", v);
    return buffer;
}

// Dimension numbers as a person reads them: no trailing noise from the solver.
std::string Pretty(double v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g", std::fabs(v) < 5e-10 ? 0.0 : v);
    return buffer;
}

std::string Escape(const std::string& text)
{
    std::string out;
    for (char ch : text)
    {
        switch (ch)
        {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += ch;
        }
    }
    return out;
}

class Canvas
{
public:
    double minX = -1.0;
    double minY = -1.0;
    double maxX = 1.0;
    double maxY = 1.0;
    double scale = 1.0;
    std::string out;

    Vec Px(Vec p) const { return {(p.x - minX) * scale, (maxY - p.y) * scale + kHeader}; }
    double Width() const { return (maxX - minX) * scale; }
    double Height() const { return (maxY - minY) * scale + kHeader; }

    void Line(Vec a, Vec b, const char* colour, double width, const char* dash = nullptr)
    {
        const Vec pa = Px(a);
        const Vec pb = Px(b);
        out += "<line x1=\"" + Num(pa.x) + "\" y1=\"" + Num(pa.y) + "\" x2=\"" + Num(pb.x) +
               "\" y2=\"" + Num(pb.y) + "\" stroke=\"" + colour + "\" stroke-width=\"" +
               Num(width) + "\"";
        if (dash != nullptr)
        {
            out += std::string(" stroke-dasharray=\"") + dash + "\"";
        }
        out += "/>\n";
    }

    void Text(Vec pixel, const std::string& text, const char* colour, double size,
              const char* anchor = "start", const char* weight = "normal")
    {
        out += "<text x=\"" + Num(pixel.x) + "\" y=\"" + Num(pixel.y) + "\" fill=\"" + colour +
               "\" font-size=\"" + Num(size) + "\" font-family=\"sans-serif\" text-anchor=\"" +
               anchor + "\" font-weight=\"" + weight +
               "\" stroke=\"#ffffff\" stroke-width=\"3\" paint-order=\"stroke\">" + Escape(text) +
               "</text>\n";
    }

    /// Clips the infinite line through p along d to the drawing; false when it misses it.
    bool Clip(Vec p, Vec d, Vec& a, Vec& b) const
    {
        double t0 = -1e300;
        double t1 = 1e300;
        const double lo[2] = {minX, minY};
        const double hi[2] = {maxX, maxY};
        const double pp[2] = {p.x, p.y};
        const double dd[2] = {d.x, d.y};
        for (int k = 0; k < 2; ++k)
        {
            if (std::fabs(dd[k]) < 1e-15)
            {
                if (pp[k] < lo[k] || pp[k] > hi[k])
                {
                    return false;
                }
                continue;
            }
            double ta = (lo[k] - pp[k]) / dd[k];
            double tb = (hi[k] - pp[k]) / dd[k];
            if (ta > tb)
            {
                std::swap(ta, tb);
            }
            t0 = std::max(t0, ta);
            t1 = std::min(t1, tb);
        }
        if (t0 > t1)
        {
            return false;
        }
        a = p + d * t0;
        b = p + d * t1;
        return true;
    }
};

struct Lookup
{
    const SketchDoc& doc;
    std::unordered_map<std::string, const DocNode*> nodes;
    std::unordered_map<std::string, const DocValue*> values;
    std::unordered_map<const DocNode*, bool> fixed;

    explicit Lookup(const SketchDoc& d) : doc(d)
    {
        for (const DocNode& n : d.nodes)
        {
            nodes[n.id] = &n;
        }
        for (const DocValue& v : d.values)
        {
            values[v.id] = &v;
        }
        for (const DocRelation& r : d.relations)
        {
            if (r.type == DocRelType::Fix && !r.nodes.empty() && nodes.count(r.nodes[0]))
            {
                fixed[nodes[r.nodes[0]]] = true;
            }
        }
    }
    const DocNode* Node(const std::string& id) const
    {
        auto it = nodes.find(id);
        return it == nodes.end() ? nullptr : it->second;
    }
    bool IsFixed(const DocNode* n) const { return fixed.count(n) != 0; }
    /// Node statuses by id when the drawing colours by status.
    const std::unordered_map<std::string, NodeStatus>* status = nullptr;
    /// The status colour of a node, or null when the drawing does not colour by status.
    const char* StatusColour(const DocNode* n) const
    {
        if (status == nullptr)
        {
            return nullptr;
        }
        auto it = status->find(n->id);
        if (it == status->end())
        {
            return nullptr;
        }
        switch (it->second)
        {
            case NodeStatus::Fixed:
                return kFixed;
            case NodeStatus::WellConstrained:
                return kWellConstrained;
            case NodeStatus::UnderConstrained:
                return kUnderConstrained;
            case NodeStatus::OverConstrained:
                return kOverConstrained;
        }
        return nullptr;
    }
};

void Extend(Canvas& c, bool& any, double x, double y)
{
    if (!any)
    {
        c.minX = c.maxX = x;
        c.minY = c.maxY = y;
        any = true;
        return;
    }
    c.minX = std::min(c.minX, x);
    c.maxX = std::max(c.maxX, x);
    c.minY = std::min(c.minY, y);
    c.maxY = std::max(c.maxY, y);
}

void ExtendBy(Canvas& c, bool& any, const SketchDoc& doc)
{
    for (const DocNode& n : doc.nodes)
    {
        if (n.type == DocNodeType::Circle)
        {
            Extend(c, any, n.x - n.radius, n.y - n.radius);
            Extend(c, any, n.x + n.radius, n.y + n.radius);
        }
        else
        {
            Extend(c, any, n.x, n.y);
        }
    }
}

void FitView(Canvas& c, const SketchDoc& doc, const SketchDoc* before)
{
    bool any = false;
    ExtendBy(c, any, doc);
    if (before != nullptr)
    {
        ExtendBy(c, any, *before);
    }
    if (!any)
    {
        c.minX = c.minY = -1.0;
        c.maxX = c.maxY = 1.0;
    }
    double extent = std::max(c.maxX - c.minX, c.maxY - c.minY);
    if (!(extent > 0.0))
    {
        extent = std::max(1.0, std::fabs(c.maxX) + std::fabs(c.maxY));
    }
    // A sketch that is all on one line still gets some height, so labels have room.
    const double least = extent * 0.35;
    const double growX = std::max(0.0, least - (c.maxX - c.minX)) / 2.0;
    const double growY = std::max(0.0, least - (c.maxY - c.minY)) / 2.0;
    const double margin = extent * kMarginShare;
    c.minX -= growX + margin;
    c.maxX += growX + margin;
    c.minY -= growY + margin;
    c.maxY += growY + margin;
    c.scale = kCanvas / std::max(c.maxX - c.minX, c.maxY - c.minY);
}

Vec LineDirection(const DocNode& n)
{
    return Unit({n.dx, n.dy});
}

void DrawGround(Canvas& c, Vec pixel, const char* colour)
{
    const Vec a{pixel.x - 7.0, pixel.y + 11.0};
    const Vec b{pixel.x + 7.0, pixel.y + 11.0};
    c.out += "<path d=\"M" + Num(pixel.x) + " " + Num(pixel.y + 4.0) + " L" + Num(a.x) + " " +
             Num(a.y) + " L" + Num(b.x) + " " + Num(b.y) + " Z\" fill=\"none\" stroke=\"" + colour +
             "\" stroke-width=\"1.5\"/>\n";
    for (int i = 0; i < 4; ++i)
    {
        const double x = a.x + 1.0 + i * 4.0;
        c.out += "<line x1=\"" + Num(x) + "\" y1=\"" + Num(a.y) + "\" x2=\"" + Num(x - 3.0) +
                 "\" y2=\"" + Num(a.y + 4.0) + "\" stroke=\"" + colour +
                 "\" stroke-width=\"1\"/>\n";
    }
}

void DrawGeometry(Canvas& c, const SketchDoc& doc, const Lookup& look, bool grey)
{
    // Lines and circles first, so points and their ids lie on top.
    for (const DocNode& n : doc.nodes)
    {
        const bool fixed = look.IsFixed(&n);
        const char* byStatus = grey ? nullptr : look.StatusColour(&n);
        const char* colour = grey ? kBefore : byStatus ? byStatus : fixed ? kFixed : kGeometry;
        const char* dash = n.hasReference ? "8 4" : nullptr;
        const double width = fixed ? 2.6 : 1.6;
        if (n.type == DocNodeType::Line)
        {
            Vec a;
            Vec b;
            if (!c.Clip({n.x, n.y}, LineDirection(n), a, b))
            {
                continue;
            }
            c.Line(a, b, colour, width, dash);
            if (!grey)
            {
                // The id sits in the margin at the end the direction points to, clear of the
                // points (which all lie inside the margin) and telling the line's sense.
                const Vec pa = c.Px(a);
                const Vec pb = c.Px(b);
                const Vec along = Unit(pb - pa);
                const Vec at = pb - along * 14.0;
                const bool leftward = along.x < -0.3;
                c.Text({at.x + (leftward ? 4.0 : -4.0), at.y + 17.0}, n.id, colour, 13.0,
                       leftward ? "start" : "end", "bold");
                if (fixed)
                {
                    // In the margin near the start, where no point lies.
                    DrawGround(c, c.Px(a + (b - a) * 0.06), kFixed);
                }
            }
        }
        else if (n.type == DocNodeType::Circle)
        {
            const Vec centre = c.Px({n.x, n.y});
            c.out += "<circle cx=\"" + Num(centre.x) + "\" cy=\"" + Num(centre.y) + "\" r=\"" +
                     Num(n.radius * c.scale) + "\" fill=\"none\" stroke=\"" + colour +
                     "\" stroke-width=\"" + Num(width) + "\"";
            if (dash != nullptr)
            {
                c.out += std::string(" stroke-dasharray=\"") + dash + "\"";
            }
            c.out += "/>\n";
            if (!grey)
            {
                const Vec low = c.Px({n.x - n.radius * 0.7071, n.y - n.radius * 0.7071});
                c.Text({low.x - 3.0, low.y + 14.0}, n.id, colour, 13.0, "end", "bold");
            }
        }
    }
    for (const DocNode& n : doc.nodes)
    {
        if (n.type != DocNodeType::Point)
        {
            continue;
        }
        const bool fixed = look.IsFixed(&n);
        const char* byStatus = grey ? nullptr : look.StatusColour(&n);
        const char* colour = grey ? kBefore : byStatus ? byStatus : fixed ? kFixed : kPoint;
        const Vec p = c.Px({n.x, n.y});
        if (fixed && !grey)
        {
            DrawGround(c, p, kFixed);
        }
        c.out += "<circle cx=\"" + Num(p.x) + "\" cy=\"" + Num(p.y) + "\" r=\"" +
                 (fixed ? "4.5" : "3.5") + "\" fill=\"" + (n.hasReference ? "#ffffff" : colour) +
                 "\" stroke=\"" + colour + "\" stroke-width=\"1.5\"/>\n";
        if (!grey)
        {
            c.Text({p.x + 7.0, p.y - 7.0}, n.id, colour, 13.0, "start", "bold");
        }
    }
}

std::string ValueText(const SketchDoc& doc, const Lookup& look, const DocRelation& r)
{
    const bool angle = r.type == DocRelType::LLang;
    const std::string unit = angle && !doc.radians ? "\u00b0" : "";
    if (!r.shared.empty())
    {
        auto it = look.values.find(r.shared);
        if (it == look.values.end())
        {
            return r.id;
        }
        const DocValue& v = *it->second;
        return r.id + " = " + r.shared + (v.known ? " = " + Pretty(v.value) + unit : " (equal)");
    }
    if (!r.known)
    {
        return r.id + " (free)";
    }
    return r.id + " = " + Pretty(r.value) + unit;
}

// A zero distance of its own is incidence (a point on a line, two points made one): the
// drawing shows it by itself, a label would only clutter the point.
bool IsIncidence(const DocRelation& r)
{
    return r.shared.empty() && r.known && r.value == 0.0;
}

// A dimension line between two sketch points with its text beside the middle. Dimensions
// along one line (a chain and its overall length) stack their texts, `drawn` remembers them.
void DrawMeasure(Canvas& c, std::vector<std::pair<Vec, Vec>>& drawn, Vec a, Vec b,
                 const std::string& text, double share)
{
    c.Line(a, b, kDimension, 1.0, "4 3");
    const Vec pa = c.Px(a);
    const Vec pb = c.Px(b);
    for (const Vec& end : {pa, pb})
    {
        c.out += "<circle cx=\"" + Num(end.x) + "\" cy=\"" + Num(end.y) + "\" r=\"1.8\" fill=\"" +
                 kDimension + "\"/>\n";
    }
    int level = 0;
    for (const auto& [qa, qb] : drawn)
    {
        const Vec along = Unit(qb - qa);
        const bool onLine =
            std::fabs(Cross(along, pa - qa)) < 2.0 && std::fabs(Cross(along, pb - qa)) < 2.0;
        const double t0 = std::min(Dot(pa - qa, along), Dot(pb - qa, along));
        const double t1 = std::max(Dot(pa - qa, along), Dot(pb - qa, along));
        level += onLine && t1 > 0.0 && t0 < Dot(qb - qa, along) ? 1 : 0;
    }
    drawn.emplace_back(pa, pb);
    Vec mid = pa + (pb - pa) * share;
    Vec normal = Unit({-(pb.y - pa.y), pb.x - pa.x});
    if (std::hypot(pb.x - pa.x, pb.y - pa.y) < 1.0)
    {
        normal = {0.0, -1.0};
    }
    if (normal.y > 0.0)
    {
        normal = normal * -1.0;
    }
    // Clear the dimension line by the text's half width across it, or its half height along.
    const double halfWidth = 0.3 * 12.0 * static_cast<double>(text.size());
    mid = mid + normal * (5.0 + std::fabs(normal.x) * halfWidth + std::fabs(normal.y) * 6.0 +
                          16.0 * level);
    c.Text({mid.x, mid.y + 4.0}, text, kDimension, 12.0, "middle");
}

void DrawAngle(Canvas& c, const DocNode& l1, const DocNode& l2, const DocRelation& r,
               const std::string& text)
{
    Vec d1 = LineDirection(l1);
    Vec d2 = LineDirection(l2);
    d1 = r.reverse[0] ? d1 * -1.0 : d1;
    d2 = r.reverse[1] ? d2 * -1.0 : d2;
    const double cross = Cross(d1, d2);
    Vec a;
    Vec b;
    if (std::fabs(cross) < kParallel)
    {
        // Parallel lines: the mark of parallelism on the second line, not an arc.
        if (c.Clip({l2.x, l2.y}, d2, a, b))
        {
            const Vec at = c.Px(a + (b - a) * 0.62);
            c.Text({at.x + 5.0, at.y - 6.0}, r.id + " \u2225", kDimension, 11.0, "start");
        }
        return;
    }
    // The corner: where the two lines cross.
    const Vec p1{l1.x, l1.y};
    const Vec p2{l2.x, l2.y};
    const Vec x = p1 + d1 * (Cross(p2 - p1, d2) / cross);
    const double start = std::atan2(d1.y, d1.x);
    double sweep = std::atan2(cross, Dot(d1, d2));
    if (sweep < 0.0)
    {
        sweep += 2.0 * std::acos(-1.0);
    }
    const Vec centre = c.Px(x);
    std::string path;
    const int steps = 32;
    for (int i = 0; i <= steps; ++i)
    {
        const double t = start + sweep * i / steps;
        path += (i ? " L" : "M") + Num(centre.x + kArcRadius * std::cos(t)) + " " +
                Num(centre.y - kArcRadius * std::sin(t));
    }
    c.out += "<path d=\"" + path + "\" fill=\"none\" stroke=\"" + kDimension +
             "\" stroke-width=\"1.2\"/>\n";
    const double mid = start + sweep / 2.0;
    const double reach = kArcRadius + 16.0;
    c.Text({centre.x + reach * std::cos(mid), centre.y - reach * std::sin(mid) + 4.0}, text,
           kDimension, 12.0, "middle");
}

struct Measure
{
    Vec a;
    Vec b;
    std::string text;
    /// Where along the dimension line its text stands.
    double share = 0.5;
};

void DrawDimensions(Canvas& c, const SketchDoc& doc, const Lookup& look)
{
    std::vector<Measure> measures;
    const Vec viewCentre{(c.minX + c.maxX) / 2.0, (c.minY + c.maxY) / 2.0};
    for (const DocRelation& r : doc.relations)
    {
        if (r.type == DocRelType::Fix)
        {
            continue;
        }
        const DocNode* n1 = look.Node(r.nodes[0]);
        const DocNode* n2 = look.Node(r.nodes[1]);
        if (n1 == nullptr || n2 == nullptr)
        {
            continue;
        }
        const std::string text = ValueText(doc, look, r);
        switch (r.type)
        {
            case DocRelType::PPdis:
                if (IsIncidence(r))
                {
                    break;
                }
                measures.push_back({{n1->x, n1->y}, {n2->x, n2->y}, text, 0.5});
                break;
            case DocRelType::PLdis:
            {
                if (IsIncidence(r))
                {
                    break;
                }
                const Vec p{n1->x, n1->y};
                const Vec d = LineDirection(*n2);
                const Vec t{n2->x, n2->y};
                const Vec foot = t + d * Dot(p - t, d);
                // Toward the line: the point's own id stands at the other end.
                measures.push_back({p, foot, text, 0.62});
                break;
            }
            case DocRelType::LLdis:
            {
                // Measured a third of the way along the first line's visible part, so that
                // distances from two crossing lines do not meet in the middle of the drawing.
                const Vec d = LineDirection(*n1);
                const Vec t1{n1->x, n1->y};
                Vec a = t1 + d * Dot(viewCentre - t1, d);
                Vec e1;
                Vec e2;
                if (c.Clip(t1, d, e1, e2))
                {
                    a = e1 + (e2 - e1) * 0.3;
                }
                const Vec d2 = LineDirection(*n2);
                const Vec t2{n2->x, n2->y};
                const Vec b = t2 + d2 * Dot(a - t2, d2);
                measures.push_back({a, b, text, 0.5});
                break;
            }
            case DocRelType::LLang:
                DrawAngle(c, *n1, *n2, r, text);
                break;
            case DocRelType::Rad:
            {
                const Vec at = c.Px({n2->x + n2->radius * 0.7071, n2->y - n2->radius * 0.7071});
                c.Text({at.x + 4.0, at.y + 14.0}, r.id + ": R " + Pretty(n2->radius), kDimension,
                       12.0, "start");
                break;
            }
            case DocRelType::Fix:
                break;
        }
    }
    // Short dimensions first: they sit next to the geometry, overall ones stack outside.
    std::stable_sort(measures.begin(), measures.end(),
                     [](const Measure& x, const Measure& y) {
                         return std::hypot(x.b.x - x.a.x, x.b.y - x.a.y) <
                                std::hypot(y.b.x - y.a.x, y.b.y - y.a.y);
                     });
    std::vector<std::pair<Vec, Vec>> drawn;
    for (const Measure& m : measures)
    {
        DrawMeasure(c, drawn, m.a, m.b, m.text, m.share);
    }
}

/// A key to the status colours in the top right corner, with the sketch's freedoms.
void DrawStatusLegend(Canvas& c, const Diagnostics& diagnostics)
{
    const std::pair<NodeStatus, const char*> rows[] = {
        {NodeStatus::WellConstrained, kWellConstrained},
        {NodeStatus::UnderConstrained, kUnderConstrained},
        {NodeStatus::OverConstrained, kOverConstrained},
        {NodeStatus::Fixed, kFixed},
    };
    const double x = std::max(10.0, c.Width() - 190.0);
    double y = 20.0;
    c.Text({x, y}, "freedoms: " + std::to_string(diagnostics.dof), "#333333", 12.0);
    for (const auto& [status, colour] : rows)
    {
        int count = 0;
        for (const NodeDiagnosis& n : diagnostics.nodes)
        {
            count += n.status == status ? 1 : 0;
        }
        y += 16.0;
        c.out += "<rect x=\"" + Num(x) + "\" y=\"" + Num(y - 9.0) +
                 "\" width=\"10\" height=\"10\" fill=\"" + colour + "\"/>\n";
        c.Text({x + 16.0, y},
               std::string(NodeStatusName(status)) + " (" + std::to_string(count) + ")", colour,
               12.0);
    }
}

} // namespace

std::string DrawSketchSvg(const SketchDoc& doc, const SketchDoc* before, const std::string& title,
                          const Diagnostics* diagnostics)
{
    Canvas c;
    FitView(c, doc, before);
    c.out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Num(c.Width()) + "\" height=\"" +
            Num(c.Height()) + "\" viewBox=\"0 0 " + Num(c.Width()) + " " + Num(c.Height()) +
            "\">\n";
    c.out += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
    std::string heading = title.empty() ? doc.description : title;
    if (before != nullptr)
    {
        heading += heading.empty() ? "grey: before" : "  (grey: before)";
    }
    if (!heading.empty())
    {
        c.Text({10.0, 20.0}, heading, "#333333", 13.0);
    }
    if (before != nullptr)
    {
        const Lookup old(*before);
        // The old distances too, as plain bars: a mechanism shows its old pose by them.
        for (const DocRelation& r : before->relations)
        {
            const DocNode* a = r.type == DocRelType::PPdis ? old.Node(r.nodes[0]) : nullptr;
            const DocNode* b = a != nullptr ? old.Node(r.nodes[1]) : nullptr;
            if (b != nullptr && !IsIncidence(r))
            {
                c.Line({a->x, a->y}, {b->x, b->y}, kBefore, 1.0, "4 3");
            }
        }
        DrawGeometry(c, *before, old, true);
    }
    Lookup look(doc);
    std::unordered_map<std::string, NodeStatus> status;
    if (diagnostics != nullptr)
    {
        for (const NodeDiagnosis& n : diagnostics->nodes)
        {
            status[n.id] = n.status;
        }
        look.status = &status;
        DrawStatusLegend(c, *diagnostics);
    }
    DrawGeometry(c, doc, look, false);
    DrawDimensions(c, doc, look);
    c.out += "</svg>\n";
    return c.out;
}

} // namespace qsolver
