// R12 DXF of a format-2 sketch for other CAD programs: segments as LINE, arcs as ARC, circles as
// CIRCLE; construction geometry on a layer of its own so it never counts as the part's outline.
// Points and infinite lines have no place in an outline and are left out.
#include "qsolver/VocabFile.h"

#include "vocab/VocabGeometry.h"

#include <cmath>
#include <cstdio>
#include <string>

namespace qsolver
{

namespace
{

const char* const kOutlineLayer = "OUTLINE";
const char* const kConstructionLayer = "CONSTRUCTION";

// Group code and value, one per line each, as DXF wants them.
void Pair(std::string& out, int code, const std::string& value)
{
    out += std::to_string(code) + "\n" + value + "\n";
}

void Pair(std::string& out, int code, double value)
{
    // 17 digits: a reader gets the very double back.
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.17g", value == 0.0 ? 0.0 : value);
    Pair(out, code, std::string(buffer));
}

void Layer(std::string& out, const char* name, int colour)
{
    Pair(out, 0, "LAYER");
    Pair(out, 2, name);
    Pair(out, 70, "0");
    Pair(out, 62, std::to_string(colour));
    Pair(out, 6, "CONTINUOUS");
}

double Degrees(double radians)
{
    return radians * 180.0 / vocab::Pi();
}

} // namespace

std::string WriteVocabDxf(const VocabDoc& doc)
{
    std::string out;
    Pair(out, 0, "SECTION");
    Pair(out, 2, "HEADER");
    Pair(out, 9, "$ACADVER");
    Pair(out, 1, "AC1009");
    Pair(out, 0, "ENDSEC");

    Pair(out, 0, "SECTION");
    Pair(out, 2, "TABLES");
    Pair(out, 0, "TABLE");
    Pair(out, 2, "LTYPE");
    Pair(out, 70, "1");
    Pair(out, 0, "LTYPE");
    Pair(out, 2, "CONTINUOUS");
    Pair(out, 70, "0");
    Pair(out, 3, "Solid line");
    Pair(out, 72, "65");
    Pair(out, 73, "0");
    Pair(out, 40, 0.0);
    Pair(out, 0, "ENDTAB");
    Pair(out, 0, "TABLE");
    Pair(out, 2, "LAYER");
    Pair(out, 70, "2");
    Layer(out, kOutlineLayer, 7);
    Layer(out, kConstructionLayer, 8);
    Pair(out, 0, "ENDTAB");
    Pair(out, 0, "ENDSEC");

    Pair(out, 0, "SECTION");
    Pair(out, 2, "ENTITIES");
    auto at = [&](const std::string& id)
    {
        const VocabEntity& p = doc.entities[doc.FindEntity(id)];
        return vocab::Vec{p.x, p.y};
    };
    for (const VocabEntity& e : doc.entities)
    {
        const char* layer = e.construction ? kConstructionLayer : kOutlineLayer;
        switch (e.type)
        {
            case EntityType::Segment:
            {
                const vocab::Vec a = at(e.points[0]);
                const vocab::Vec b = at(e.points[1]);
                Pair(out, 0, "LINE");
                Pair(out, 8, layer);
                Pair(out, 10, a.x);
                Pair(out, 20, a.y);
                Pair(out, 30, 0.0);
                Pair(out, 11, b.x);
                Pair(out, 21, b.y);
                Pair(out, 31, 0.0);
                break;
            }
            case EntityType::Circle:
            {
                const vocab::Vec c = at(e.points[0]);
                Pair(out, 0, "CIRCLE");
                Pair(out, 8, layer);
                Pair(out, 10, c.x);
                Pair(out, 20, c.y);
                Pair(out, 30, 0.0);
                Pair(out, 40, e.radius);
                break;
            }
            case EntityType::Arc:
            {
                // Counter-clockwise from start to end, as DXF draws arcs.
                const vocab::Vec c = at(e.points[0]);
                const vocab::Vec s = at(e.points[1]) - c;
                const vocab::Vec t = at(e.points[2]) - c;
                Pair(out, 0, "ARC");
                Pair(out, 8, layer);
                Pair(out, 10, c.x);
                Pair(out, 20, c.y);
                Pair(out, 30, 0.0);
                Pair(out, 40, vocab::Len(s));
                Pair(out, 50, Degrees(vocab::Ccw({1.0, 0.0}, s)));
                Pair(out, 51, Degrees(vocab::Ccw({1.0, 0.0}, t)));
                break;
            }
            case EntityType::Point:
            case EntityType::Line:
                break;
        }
    }
    Pair(out, 0, "ENDSEC");
    Pair(out, 0, "EOF");
    return out;
}

} // namespace qsolver
