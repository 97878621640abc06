// Writing sketch files: a fixed key order and the shortest exact numbers, so a file read and
// written again keeps its text; through a temporary file, so a failed write leaves nothing.
#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

namespace qsolver
{

namespace
{

std::string Quoted(const std::string& s)
{
    return nlohmann::json(s).dump();
}

void AppendPair(std::string& out, double x, double y)
{
    out += "[" + FormatNumber(x) + ", " + FormatNumber(y) + "]";
}

std::string FormatNode(const DocNode& n)
{
    std::string out =
        "{\"id\": " + Quoted(n.id) + ", \"type\": \"" + DocNodeTypeName(n.type) + "\", ";
    switch (n.type)
    {
        case DocNodeType::Point:
            out += "\"at\": ";
            AppendPair(out, n.x, n.y);
            break;
        case DocNodeType::Line:
            out += "\"through\": ";
            AppendPair(out, n.x, n.y);
            out += ", \"direction\": ";
            AppendPair(out, n.dx, n.dy);
            if (n.hasDirFixed)
            {
                out += std::string(", \"dirFixed\": ") + (n.dirFixed ? "true" : "false");
            }
            break;
        case DocNodeType::Circle:
            out += "\"center\": ";
            AppendPair(out, n.x, n.y);
            out += ", \"radius\": " + FormatNumber(n.radius);
            break;
    }
    if (n.hasReference)
    {
        out += ", \"reference\": " + std::to_string(n.reference);
    }
    return out + "}";
}

std::string FormatRelation(const DocRelation& r)
{
    std::string out =
        "{\"id\": " + Quoted(r.id) + ", \"type\": \"" + DocRelTypeName(r.type) + "\", \"nodes\": [";
    for (size_t i = 0; i < r.nodes.size(); ++i)
    {
        out += (i ? ", " : "") + Quoted(r.nodes[i]);
    }
    out += "]";
    if (r.hasValue)
    {
        out += ", \"value\": " + FormatNumber(r.value);
    }
    if (r.hasKnown)
    {
        out += std::string(", \"known\": ") + (r.known ? "true" : "false");
    }
    if (!r.shared.empty())
    {
        out += ", \"shared\": " + Quoted(r.shared);
    }
    if (!r.valueNode.empty())
    {
        out += ", \"valueNode\": " + Quoted(r.valueNode);
    }
    if (r.hasReverse)
    {
        out += std::string(", \"reverse\": [") + (r.reverse[0] ? "true" : "false") + ", " +
               (r.reverse[1] ? "true" : "false") + "]";
    }
    return out + "}";
}

template <typename T, typename F>
void AppendArray(std::string& out, const char* key, const std::vector<T>& items, F format,
                 bool last)
{
    out += "  \"";
    out += key;
    out += "\": [";
    for (size_t i = 0; i < items.size(); ++i)
    {
        out += (i ? ",\n    " : "\n    ") + format(items[i]);
    }
    out += items.empty() ? "]" : "\n  ]";
    out += last ? "\n" : ",\n";
}

} // namespace

std::string FormatNumber(double value)
{
    if (value == 0.0)
    {
        return "0"; // -0 reads back as 0 in every JSON reader we care about
    }
    char buffer[64];
#if defined(__EMSCRIPTEN__)
    // Emscripten's C++ library has no floating-point to_chars: the fewest %g digits that read
    // back as the same double are the same number; whole numbers keep their digits ("80", not
    // "8e1") as to_chars writes them.
    const double magnitude = std::fabs(value);
    const int whole = magnitude >= 1.0 ? static_cast<int>(std::log10(magnitude)) + 1 : 0;
    for (int digits = std::min(std::max(whole, 1), 17); digits <= 17; ++digits)
    {
        std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
        if (std::strtod(buffer, nullptr) == value)
        {
            break;
        }
    }
    std::string text(buffer);
#else
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    std::string text(buffer, result.ptr);
#endif
    // "1e-05" and "1e+21" are valid JSON, but "1e-5" and "1e21" are what a person writes.
    const size_t e = text.find('e');
    if (e != std::string::npos)
    {
        std::string mantissa = text.substr(0, e + 1);
        size_t i = e + 1;
        if (text[i] == '+')
        {
            ++i;
        }
        else if (text[i] == '-')
        {
            mantissa += '-';
            ++i;
        }
        while (i + 1 < text.size() && text[i] == '0')
        {
            ++i;
        }
        text = mantissa + text.substr(i);
    }
    return text;
}

std::string FormatSketch(const SketchDoc& doc)
{
    std::string out = "{\n";
    if (doc.hasFormat)
    {
        out += "  \"format\": 1,\n";
    }
    if (doc.hasDescription)
    {
        out += "  \"description\": " + Quoted(doc.description) + ",\n";
    }
    if (doc.hasUnit)
    {
        out += std::string("  \"unit\": \"") + (doc.radians ? "rad" : "deg") + "\",\n";
    }
    const bool valuesLast = !doc.hasRelations;
    AppendArray(out, "nodes", doc.nodes, FormatNode, !doc.hasValues && valuesLast);
    if (doc.hasValues)
    {
        AppendArray(
            out, "values", doc.values,
            [](const DocValue& v)
            {
                std::string s =
                    "{\"id\": " + Quoted(v.id) + ", \"value\": " + FormatNumber(v.value);
                if (v.hasKnown)
                {
                    s += std::string(", \"known\": ") + (v.known ? "true" : "false");
                }
                return s + "}";
            },
            valuesLast);
    }
    if (doc.hasRelations)
    {
        AppendArray(out, "relations", doc.relations, FormatRelation, true);
    }
    return out + "}\n";
}

bool WriteFileAtomically(const std::string& path, const std::string& text, InputError& error)
{
    const std::string temp = path + ".tmp" + std::to_string(getpid());
    FILE* f = std::fopen(temp.c_str(), "wb");
    if (f == nullptr)
    {
        error = InputError{path, "", "cannot create the file for writing"};
        return false;
    }
    const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    const bool closed = std::fclose(f) == 0;
    if (!written || !closed || std::rename(temp.c_str(), path.c_str()) != 0)
    {
        std::remove(temp.c_str());
        error = InputError{path, "", "cannot write the file"};
        return false;
    }
    return true;
}

} // namespace qsolver
