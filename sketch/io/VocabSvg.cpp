// Drawing a format-2 sketch as SVG: segments, arcs, circles and lines, construction geometry
// dashed, points with their ids, and every dimension with its value as a label (reference
// dimensions in brackets). A drive is drawn over the sketch it started from, in grey.
#include "qsolver/VocabFile.h"

#include "vocab/VocabGeometry.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qsolver
{

namespace
{

using vocab::Vec;

// The longer side of the drawing area, in pixels; room above it for the title; blank border
// around the geometry as a share of its larger extent.
constexpr double kCanvas = 720.0;
constexpr double kHeader = 30.0;
constexpr double kMarginShare = 0.15;

const char* const kGeometry = "#1565c0";
const char* const kConstruction = "#7e57c2";
const char* const kPoint = "#c62828";
const char* const kDimension = "#2e7d32";
const char* const kBefore = "#b8b8b8";
const char* const kDash = "6 4";

std::string Num(double v)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.2f", v);
    return buffer;
}

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

struct View
{
    double minX = 0.0;
    double minY = 0.0;
    double maxX = 0.0;
    double maxY = 0.0;
    double scale = 1.0;
    bool empty = true;

    void Grow(Vec p, double r = 0.0)
    {
        if (empty)
        {
            minX = maxX = p.x;
            minY = maxY = p.y;
            empty = false;
        }
        minX = std::min(minX, p.x - r);
        maxX = std::max(maxX, p.x + r);
        minY = std::min(minY, p.y - r);
        maxY = std::max(maxY, p.y + r);
    }
    Vec Px(Vec p) const { return {(p.x - minX) * scale, (maxY - p.y) * scale + kHeader}; }
};

class Drawing
{
public:
    Drawing(const VocabDoc& doc, const View& view) : m_doc(doc), m_view(view) {}

    std::string out;

    Vec At(const std::string& id) const
    {
        const VocabEntity& p = m_doc.entities[m_doc.FindEntity(id)];
        return {p.x, p.y};
    }

    void Line(Vec a, Vec b, const char* colour, double width, const char* dash)
    {
        const Vec pa = m_view.Px(a);
        const Vec pb = m_view.Px(b);
        out += "<line x1=\"" + Num(pa.x) + "\" y1=\"" + Num(pa.y) + "\" x2=\"" + Num(pb.x) +
               "\" y2=\"" + Num(pb.y) + "\" stroke=\"" + colour + "\" stroke-width=\"" +
               Num(width) + "\"" + Dash(dash) + "/>\n";
    }

    void Text(Vec at, const std::string& text, const char* colour, double size)
    {
        const Vec p = m_view.Px(at);
        out += "<text x=\"" + Num(p.x) + "\" y=\"" + Num(p.y) + "\" fill=\"" + colour +
               "\" font-family=\"sans-serif\" font-size=\"" + Num(size) +
               "\" text-anchor=\"middle\">" + Escape(text) + "</text>\n";
    }

    void Entity(const VocabEntity& e, const char* colour, bool labels)
    {
        const char* dash = e.construction ? kDash : nullptr;
        const char* stroke = e.construction && colour == kGeometry ? kConstruction : colour;
        switch (e.type)
        {
            case EntityType::Point:
            {
                const Vec p = m_view.Px({e.x, e.y});
                out += "<circle cx=\"" + Num(p.x) + "\" cy=\"" + Num(p.y) + "\" r=\"3\" fill=\"" +
                       (colour == kGeometry ? kPoint : colour) + "\"/>\n";
                if (labels)
                {
                    out += "<text x=\"" + Num(p.x + 5) + "\" y=\"" + Num(p.y - 5) + "\" fill=\"" +
                           kPoint + "\" font-family=\"sans-serif\" font-size=\"11\">" +
                           Escape(e.id) + "</text>\n";
                }
                break;
            }
            case EntityType::Segment:
                Line(At(e.points[0]), At(e.points[1]), stroke, 2.0, dash);
                break;
            case EntityType::Line:
            {
                // Long enough to cross the whole view; the viewport clips it.
                const double reach = 4.0 * (m_view.maxX - m_view.minX + m_view.maxY - m_view.minY);
                const double len = std::hypot(e.dx, e.dy);
                const Vec d{e.dx / len * reach, e.dy / len * reach};
                Line(Vec{e.x, e.y} - d, Vec{e.x, e.y} + d, stroke, 1.0, dash);
                break;
            }
            case EntityType::Circle:
            {
                const Vec c = m_view.Px(At(e.points[0]));
                out += "<circle cx=\"" + Num(c.x) + "\" cy=\"" + Num(c.y) + "\" r=\"" +
                       Num(e.radius * m_view.scale) + "\" fill=\"none\" stroke=\"" + stroke +
                       "\" stroke-width=\"2\"" + Dash(dash) + "/>\n";
                break;
            }
            case EntityType::Arc:
            {
                const Vec c = At(e.points[0]);
                const Vec s = At(e.points[1]);
                const Vec t = At(e.points[2]);
                const double r = vocab::Len(s - c);
                // Counter-clockwise in the sketch stays counter-clockwise to the eye on the screen,
                // where that is SVG's negative sweep (its y points down).
                const bool large = vocab::Ccw(s - c, t - c) > vocab::Pi();
                const Vec ps = m_view.Px(s);
                const Vec pt = m_view.Px(t);
                out += "<path d=\"M " + Num(ps.x) + " " + Num(ps.y) + " A " +
                       Num(r * m_view.scale) + " " + Num(r * m_view.scale) + " 0 " +
                       (large ? "1" : "0") + " 0 " + Num(pt.x) + " " + Num(pt.y) +
                       "\" fill=\"none\" stroke=\"" + stroke + "\" stroke-width=\"2\"" +
                       Dash(dash) + "/>\n";
                break;
            }
        }
    }

    // A dimension: a thin line over what it measures and its value beside it.
    void Dimension(const VocabConstraint& c)
    {
        if (!IsDimension(c.type))
        {
            return;
        }
        std::vector<const VocabEntity*> r;
        for (const std::string& id : c.refs)
        {
            r.push_back(&m_doc.entities[m_doc.FindEntity(id)]);
        }
        const std::string value = Pretty(c.value);
        std::string label;
        Vec a;
        Vec b;
        switch (c.type)
        {
            case ConstraintType::Length:
                a = At(r[0]->points[0]);
                b = At(r[0]->points[1]);
                label = value;
                break;
            case ConstraintType::Distance:
                if (r[0]->type == EntityType::Point && r[1]->type == EntityType::Point)
                {
                    a = At(c.refs[0]);
                    b = At(c.refs[1]);
                }
                else
                {
                    const VocabEntity& line = r[0]->type == EntityType::Point ? *r[1] : *r[0];
                    a = r[0]->type == EntityType::Point ? At(c.refs[0]) : Base(*r[1]);
                    const Vec base = Base(line);
                    const Vec d = Dir(line);
                    b = base + (vocab::Dot(a - base, d) / vocab::Dot(d, d)) * d;
                }
                label = value;
                break;
            case ConstraintType::Radius:
            case ConstraintType::Diameter:
            {
                a = At(r[0]->points[0]);
                const double radius = r[0]->type == EntityType::Arc
                                          ? vocab::Len(At(r[0]->points[1]) - a)
                                          : r[0]->radius;
                b = a + Vec{radius * std::sqrt(0.5), radius * std::sqrt(0.5)};
                label = (c.type == ConstraintType::Radius ? "R" : "\xE2\x8C\x80") + value;
                break;
            }
            case ConstraintType::Angle:
                // At the start of the second line: where a segment leaves its neighbour.
                a = Base(*r[1]);
                b = a;
                label = value + (m_doc.radians ? " rad" : "\xC2\xB0");
                break;
            default:
                return;
        }
        if (c.driven)
        {
            label = "(" + label + ")";
        }
        if (c.type != ConstraintType::Angle)
        {
            Line(a, b, kDimension, 1.0, "3 3");
        }
        const Vec mid = 0.5 * (a + b);
        const Vec px = m_view.Px(mid);
        out += "<text x=\"" + Num(px.x) + "\" y=\"" + Num(px.y - 6) + "\" fill=\"" + kDimension +
               "\" font-family=\"sans-serif\" font-size=\"12\" text-anchor=\"middle\">" +
               Escape(c.id + " " + label) + "</text>\n";
    }

private:
    static std::string Dash(const char* dash)
    {
        return dash != nullptr ? std::string(" stroke-dasharray=\"") + dash + "\"" : "";
    }
    Vec Base(const VocabEntity& e) const
    {
        return e.type == EntityType::Segment ? At(e.points[0]) : Vec{e.x, e.y};
    }
    Vec Dir(const VocabEntity& e) const
    {
        return e.type == EntityType::Segment ? At(e.points[1]) - At(e.points[0]) : Vec{e.dx, e.dy};
    }

    const VocabDoc& m_doc;
    const View& m_view;
};

void GrowView(const VocabDoc& doc, View& view)
{
    for (const VocabEntity& e : doc.entities)
    {
        if (e.type == EntityType::Point || e.type == EntityType::Line)
        {
            view.Grow({e.x, e.y});
        }
        else if (e.type == EntityType::Circle)
        {
            const VocabEntity& c = doc.entities[doc.FindEntity(e.points[0])];
            view.Grow({c.x, c.y}, e.radius);
        }
    }
}

} // namespace

std::string DrawVocabSvg(const VocabDoc& doc, const VocabDoc* before, const std::string& title)
{
    View view;
    GrowView(doc, view);
    if (before != nullptr)
    {
        GrowView(*before, view);
    }
    if (view.empty)
    {
        view.Grow({0.0, 0.0}, 1.0);
    }
    const double span = std::max({view.maxX - view.minX, view.maxY - view.minY, 1e-9});
    const double margin = kMarginShare * span;
    view.minX -= margin;
    view.minY -= margin;
    view.maxX += margin;
    view.maxY += margin;
    view.scale = kCanvas / std::max(view.maxX - view.minX, view.maxY - view.minY);
    const double width = (view.maxX - view.minX) * view.scale;
    const double height = (view.maxY - view.minY) * view.scale + kHeader;

    std::string out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Num(width) +
                      "\" height=\"" + Num(height) + "\" viewBox=\"0 0 " + Num(width) + " " +
                      Num(height) + "\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    const std::string heading = title.empty() ? doc.description : title;
    out += "<text x=\"10\" y=\"20\" font-family=\"sans-serif\" font-size=\"14\">" +
           Escape(heading) + "</text>\n";
    if (before != nullptr)
    {
        Drawing grey(*before, view);
        for (const VocabEntity& e : before->entities)
        {
            grey.Entity(e, kBefore, false);
        }
        out += grey.out;
    }
    Drawing drawing(doc, view);
    // Curves first, points and labels over them.
    for (const VocabEntity& e : doc.entities)
    {
        if (e.type != EntityType::Point)
        {
            drawing.Entity(e, kGeometry, false);
        }
    }
    for (const VocabConstraint& c : doc.constraints)
    {
        drawing.Dimension(c);
    }
    for (const VocabEntity& e : doc.entities)
    {
        if (e.type == EntityType::Point)
        {
            drawing.Entity(e, kGeometry, true);
        }
    }
    return out + drawing.out + "</svg>\n";
}

} // namespace qsolver
