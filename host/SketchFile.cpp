// Reading, checking and writing sketch files. Every refusal names the file, the JSON path and
// the problem; writing goes through a temporary file so a failed write leaves nothing behind.
#include "SketchFile.h"

#include "Sketch.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <sstream>
#include <unordered_map>

#include <unistd.h>

namespace qsolver::host
{

namespace
{

using nlohmann::json;

// Coordinates and lengths beyond this are typing errors, not sketches: a drawing in
// millimetres this large spans a thousand kilometres.
constexpr double kMaxMagnitude = 1e9;
// A line direction shorter than this has no direction.
constexpr double kMinDirection = 1e-12;

std::string Quoted(const std::string& s)
{
    return json(s).dump();
}

class Checker
{
public:
    Checker(const std::string& file, InputError& error) : m_file(file), m_error(error) {}

    bool Fail(const std::string& where, const std::string& problem)
    {
        m_error.file = m_file;
        m_error.where = where;
        m_error.problem = problem;
        return false;
    }

    bool Object(const json& j, const std::string& where, const char* what)
    {
        if (!j.is_object())
        {
            return Fail(where, std::string("expected ") + what + " (a JSON object), found " +
                                   j.type_name());
        }
        return true;
    }

    bool OnlyKeys(const json& j, const std::string& where,
                  std::initializer_list<const char*> allowed)
    {
        for (auto it = j.begin(); it != j.end(); ++it)
        {
            bool known = false;
            for (const char* key : allowed)
            {
                known = known || it.key() == key;
            }
            if (!known)
            {
                std::string list;
                for (const char* key : allowed)
                {
                    list += list.empty() ? "" : ", ";
                    list += key;
                }
                return Fail(Join(where, it.key()), "unknown field " + Quoted(it.key()) +
                                                       " (expected one of: " + list + ")");
            }
        }
        return true;
    }

    const json* Field(const json& j, const std::string& where, const char* key, bool required)
    {
        auto it = j.find(key);
        if (it == j.end())
        {
            if (required)
            {
                Fail(where, std::string("missing field \"") + key + "\"");
            }
            return nullptr;
        }
        return &*it;
    }

    bool Number(const json& j, const std::string& where, double& out)
    {
        if (!j.is_number())
        {
            return Fail(where, std::string("expected a number, found ") + j.type_name());
        }
        out = j.get<double>();
        if (!std::isfinite(out))
        {
            return Fail(where, "the number is not finite");
        }
        if (std::fabs(out) > kMaxMagnitude)
        {
            return Fail(where, "the number " + FormatNumber(out) +
                                   " is absurdly large (the limit is 1e9)");
        }
        return true;
    }

    bool Bool(const json& j, const std::string& where, bool& out)
    {
        if (!j.is_boolean())
        {
            return Fail(where, std::string("expected true or false, found ") + j.type_name());
        }
        out = j.get<bool>();
        return true;
    }

    bool String(const json& j, const std::string& where, std::string& out)
    {
        if (!j.is_string())
        {
            return Fail(where, std::string("expected a string, found ") + j.type_name());
        }
        out = j.get<std::string>();
        return true;
    }

    bool Pair(const json& j, const std::string& where, double& x, double& y)
    {
        if (!j.is_array() || j.size() != 2)
        {
            return Fail(where, "expected two numbers [x, y]");
        }
        return Number(j[0], where + "[0]", x) && Number(j[1], where + "[1]", y);
    }

    /// Ids name nodes, values and relations alike, so one id names one thing.
    bool Id(const json& j, const std::string& where, std::string& out)
    {
        const json* id = Field(j, where, "id", true);
        if (id == nullptr || !String(*id, Join(where, "id"), out))
        {
            return false;
        }
        if (out.empty())
        {
            return Fail(Join(where, "id"), "the id is empty");
        }
        auto [it, inserted] = m_ids.emplace(out, where);
        if (!inserted)
        {
            return Fail(Join(where, "id"),
                        "duplicate id " + Quoted(out) + " (already used by " + it->second + ")");
        }
        return true;
    }

    static std::string Join(const std::string& where, const std::string& key)
    {
        return where.empty() ? key : where + "." + key;
    }
    static std::string Index(const std::string& where, size_t i)
    {
        return where + "[" + std::to_string(i) + "]";
    }

private:
    std::string m_file;
    InputError& m_error;
    std::map<std::string, std::string> m_ids;
};

bool ParseNode(Checker& c, const json& j, const std::string& where, DocNode& node)
{
    if (!c.Object(j, where, "a node") || !c.Id(j, where, node.id))
    {
        return false;
    }
    const json* type = c.Field(j, where, "type", true);
    std::string typeName;
    if (type == nullptr || !c.String(*type, Checker::Join(where, "type"), typeName))
    {
        return false;
    }
    if (const json* ref = c.Field(j, where, "reference", false))
    {
        if (!ref->is_number_integer() || ref->get<long long>() < INT32_MIN ||
            ref->get<long long>() > INT32_MAX)
        {
            return c.Fail(Checker::Join(where, "reference"),
                          "expected a whole number (the reference identifier)");
        }
        node.hasReference = true;
        node.reference = ref->get<long long>();
    }
    if (typeName == "point")
    {
        node.type = DocNodeType::Point;
        const json* at = c.Field(j, where, "at", true);
        return c.OnlyKeys(j, where, {"id", "type", "at", "reference"}) && at != nullptr &&
               c.Pair(*at, Checker::Join(where, "at"), node.x, node.y);
    }
    if (typeName == "line")
    {
        node.type = DocNodeType::Line;
        if (!c.OnlyKeys(j, where, {"id", "type", "through", "direction", "dirFixed", "reference"}))
        {
            return false;
        }
        const json* through = c.Field(j, where, "through", true);
        if (through == nullptr ||
            !c.Pair(*through, Checker::Join(where, "through"), node.x, node.y))
        {
            return false;
        }
        const json* dir = c.Field(j, where, "direction", true);
        if (dir == nullptr || !c.Pair(*dir, Checker::Join(where, "direction"), node.dx, node.dy))
        {
            return false;
        }
        if (std::hypot(node.dx, node.dy) < kMinDirection)
        {
            return c.Fail(Checker::Join(where, "direction"),
                          "the direction is zero: a line needs a direction");
        }
        if (const json* fixed = c.Field(j, where, "dirFixed", false))
        {
            node.hasDirFixed = true;
            return c.Bool(*fixed, Checker::Join(where, "dirFixed"), node.dirFixed);
        }
        return true;
    }
    if (typeName == "circle")
    {
        node.type = DocNodeType::Circle;
        if (!c.OnlyKeys(j, where, {"id", "type", "center", "radius", "reference"}))
        {
            return false;
        }
        const json* center = c.Field(j, where, "center", true);
        if (center == nullptr || !c.Pair(*center, Checker::Join(where, "center"), node.x, node.y))
        {
            return false;
        }
        const json* radius = c.Field(j, where, "radius", true);
        if (radius == nullptr || !c.Number(*radius, Checker::Join(where, "radius"), node.radius))
        {
            return false;
        }
        if (!(node.radius > 0.0))
        {
            return c.Fail(Checker::Join(where, "radius"), "a radius must be greater than 0");
        }
        return true;
    }
    return c.Fail(Checker::Join(where, "type"),
                  "unknown node type " + Quoted(typeName) + " (expected point, line or circle)");
}

bool ParseValue(Checker& c, const json& j, const std::string& where, DocValue& value)
{
    if (!c.Object(j, where, "a value") || !c.Id(j, where, value.id) ||
        !c.OnlyKeys(j, where, {"id", "value", "known"}))
    {
        return false;
    }
    const json* number = c.Field(j, where, "value", true);
    if (number == nullptr || !c.Number(*number, Checker::Join(where, "value"), value.value))
    {
        return false;
    }
    if (const json* known = c.Field(j, where, "known", false))
    {
        value.hasKnown = true;
        return c.Bool(*known, Checker::Join(where, "known"), value.known);
    }
    return true;
}

struct RelShape
{
    const char* name;
    DocRelType type;
    size_t nodeCount;
    DocNodeType first;
    DocNodeType second;
    const char* wants;
};

using IdIndex = std::unordered_map<std::string, int>;

const RelShape kRelShapes[] = {
    {"fix", DocRelType::Fix, 1, DocNodeType::Point, DocNodeType::Point, "one node"},
    {"ppdis", DocRelType::PPdis, 2, DocNodeType::Point, DocNodeType::Point,
     "a ppdis joins two points"},
    {"pldis", DocRelType::PLdis, 2, DocNodeType::Point, DocNodeType::Line,
     "a pldis joins a point (first) and a line (second)"},
    {"lldis", DocRelType::LLdis, 2, DocNodeType::Line, DocNodeType::Line,
     "an lldis joins two lines"},
    {"llang", DocRelType::LLang, 2, DocNodeType::Line, DocNodeType::Line,
     "an llang joins two lines"},
    {"rad", DocRelType::Rad, 2, DocNodeType::Point, DocNodeType::Circle,
     "a rad joins the centre point (first) and its circle (second)"},
};

// Relations refer to nodes and values by id, so they are checked once all of those are read.
bool ParseRelation(Checker& c, const json& j, const std::string& where, const SketchDoc& doc,
                   const IdIndex& nodeIndex, const IdIndex& valueIndex, DocRelation& rel)
{
    if (!c.Object(j, where, "a relation") || !c.Id(j, where, rel.id) ||
        !c.OnlyKeys(j, where,
                    {"id", "type", "nodes", "value", "known", "shared", "valueNode", "reverse"}))
    {
        return false;
    }
    const json* type = c.Field(j, where, "type", true);
    std::string typeName;
    if (type == nullptr || !c.String(*type, Checker::Join(where, "type"), typeName))
    {
        return false;
    }
    const RelShape* shape = nullptr;
    for (const RelShape& s : kRelShapes)
    {
        if (typeName == s.name)
        {
            shape = &s;
        }
    }
    if (shape == nullptr)
    {
        return c.Fail(Checker::Join(where, "type"),
                      "unknown relation type " + Quoted(typeName) +
                          " (expected fix, ppdis, pldis, lldis, llang or rad)");
    }
    rel.type = shape->type;

    const std::string nodesWhere = Checker::Join(where, "nodes");
    const json* nodes = c.Field(j, where, "nodes", true);
    if (nodes == nullptr)
    {
        return false;
    }
    if (!nodes->is_array() || nodes->size() != shape->nodeCount)
    {
        return c.Fail(nodesWhere, std::string("expected ") +
                                      (shape->nodeCount == 1 ? "one node id" : "two node ids") +
                                      " (" + shape->wants + ")");
    }
    for (size_t i = 0; i < shape->nodeCount; ++i)
    {
        const std::string at = Checker::Index(nodesWhere, i);
        std::string id;
        if (!c.String((*nodes)[i], at, id))
        {
            return false;
        }
        auto found = nodeIndex.find(id);
        if (found == nodeIndex.end())
        {
            return c.Fail(at, "no node has the id " + Quoted(id));
        }
        const int n = found->second;
        const DocNodeType want = i == 0 ? shape->first : shape->second;
        if (rel.type != DocRelType::Fix && doc.nodes[n].type != want)
        {
            return c.Fail(at, Quoted(id) + " is a " + DocNodeTypeName(doc.nodes[n].type) + "; " +
                                  shape->wants);
        }
        if (i == 1 && id == rel.nodes[0])
        {
            return c.Fail(at, "the relation joins " + Quoted(id) + " to itself");
        }
        rel.nodes.push_back(id);
    }

    const json* value = c.Field(j, where, "value", false);
    const json* shared = c.Field(j, where, "shared", false);
    const json* known = c.Field(j, where, "known", false);
    const bool takesValue = rel.type != DocRelType::Fix && rel.type != DocRelType::Rad;
    if (!takesValue)
    {
        const char* key = value ? "value" : shared ? "shared" : known ? "known" : nullptr;
        if (key != nullptr)
        {
            return c.Fail(Checker::Join(where, key),
                          rel.type == DocRelType::Fix
                              ? "a fix has no value"
                              : "a rad takes its value from the circle's radius");
        }
    }
    else if (value != nullptr && shared != nullptr)
    {
        return c.Fail(where, "a relation has either \"value\" or \"shared\", not both");
    }
    else if (value == nullptr && shared == nullptr)
    {
        return c.Fail(where, "missing field \"value\" (or \"shared\" naming an entry of values)");
    }
    if (value != nullptr)
    {
        rel.hasValue = true;
        const std::string valueWhere = Checker::Join(where, "value");
        if (!c.Number(*value, valueWhere, rel.value))
        {
            return false;
        }
        if (rel.type == DocRelType::LLang)
        {
            const double full = doc.radians ? 4.0 * std::acos(0.0) : 360.0;
            if (rel.value < 0.0 || rel.value >= full)
            {
                return c.Fail(valueWhere, "an angle must lie in [0, " +
                                              std::string(doc.radians ? "2pi" : "360") + ")");
            }
        }
        else if (rel.value < 0.0)
        {
            return c.Fail(valueWhere, "a distance cannot be negative");
        }
    }
    if (known != nullptr)
    {
        if (value == nullptr)
        {
            return c.Fail(Checker::Join(where, "known"),
                          "\"known\" belongs to a relation's own \"value\" (a shared value "
                          "says it in values)");
        }
        rel.hasKnown = true;
        if (!c.Bool(*known, Checker::Join(where, "known"), rel.known))
        {
            return false;
        }
    }
    if (shared != nullptr)
    {
        const std::string sharedWhere = Checker::Join(where, "shared");
        if (!c.String(*shared, sharedWhere, rel.shared))
        {
            return false;
        }
        if (valueIndex.count(rel.shared) == 0)
        {
            return c.Fail(sharedWhere, "no entry of values has the id " + Quoted(rel.shared));
        }
    }
    if (const json* valueNode = c.Field(j, where, "valueNode", false))
    {
        const std::string vnWhere = Checker::Join(where, "valueNode");
        if (!takesValue)
        {
            return c.Fail(vnWhere, "only a relation with a value has a value node");
        }
        if (!c.String(*valueNode, vnWhere, rel.valueNode))
        {
            return false;
        }
        auto found = nodeIndex.find(rel.valueNode);
        if (found == nodeIndex.end())
        {
            return c.Fail(vnWhere, "no node has the id " + Quoted(rel.valueNode));
        }
        const int n = found->second;
        if (doc.nodes[n].type != DocNodeType::Circle)
        {
            return c.Fail(vnWhere, Quoted(rel.valueNode) + " is a " +
                                       DocNodeTypeName(doc.nodes[n].type) +
                                       "; a value node is a circle");
        }
    }
    if (const json* reverse = c.Field(j, where, "reverse", false))
    {
        const std::string revWhere = Checker::Join(where, "reverse");
        if (rel.type != DocRelType::LLang)
        {
            return c.Fail(revWhere, "only an llang has \"reverse\"");
        }
        if (!reverse->is_array() || reverse->size() != 2)
        {
            return c.Fail(revWhere, "expected two flags [first, second]");
        }
        rel.hasReverse = true;
        return c.Bool((*reverse)[0], Checker::Index(revWhere, 0), rel.reverse[0]) &&
               c.Bool((*reverse)[1], Checker::Index(revWhere, 1), rel.reverse[1]);
    }
    return true;
}

bool ParseDoc(Checker& c, const json& root, SketchDoc& doc)
{
    if (!c.Object(root, "", "a sketch") ||
        !c.OnlyKeys(root, "", {"description", "unit", "nodes", "values", "relations"}))
    {
        return false;
    }
    if (const json* description = c.Field(root, "", "description", false))
    {
        doc.hasDescription = true;
        if (!c.String(*description, "description", doc.description))
        {
            return false;
        }
    }
    if (const json* unit = c.Field(root, "", "unit", false))
    {
        std::string name;
        if (!c.String(*unit, "unit", name))
        {
            return false;
        }
        if (name != "rad" && name != "deg")
        {
            return c.Fail("unit",
                          "unknown unit " + Quoted(name) + " (expected \"deg\" or \"rad\")");
        }
        doc.hasUnit = true;
        doc.radians = name == "rad";
    }
    IdIndex nodeIndex;
    IdIndex valueIndex;
    const json* nodes = c.Field(root, "", "nodes", true);
    if (nodes == nullptr)
    {
        return false;
    }
    if (!nodes->is_array())
    {
        return c.Fail("nodes", "expected an array of nodes");
    }
    for (size_t i = 0; i < nodes->size(); ++i)
    {
        DocNode node;
        if (!ParseNode(c, (*nodes)[i], Checker::Index("nodes", i), node))
        {
            return false;
        }
        nodeIndex.emplace(node.id, static_cast<int>(doc.nodes.size()));
        doc.nodes.push_back(node);
    }
    if (const json* values = c.Field(root, "", "values", false))
    {
        doc.hasValues = true;
        if (!values->is_array())
        {
            return c.Fail("values", "expected an array of values");
        }
        for (size_t i = 0; i < values->size(); ++i)
        {
            DocValue value;
            if (!ParseValue(c, (*values)[i], Checker::Index("values", i), value))
            {
                return false;
            }
            valueIndex.emplace(value.id, static_cast<int>(doc.values.size()));
            doc.values.push_back(value);
        }
    }
    if (const json* relations = c.Field(root, "", "relations", false))
    {
        doc.hasRelations = true;
        if (!relations->is_array())
        {
            return c.Fail("relations", "expected an array of relations");
        }
        for (size_t i = 0; i < relations->size(); ++i)
        {
            DocRelation rel;
            if (!ParseRelation(c, (*relations)[i], Checker::Index("relations", i), doc, nodeIndex,
                               valueIndex, rel))
            {
                return false;
            }
            doc.relations.push_back(rel);
        }
    }
    // A shared value is one number: an angle and a length cannot share it.
    std::unordered_map<std::string, size_t> firstUser;
    for (size_t i = 0; i < doc.relations.size(); ++i)
    {
        const DocRelation& rel = doc.relations[i];
        if (rel.shared.empty())
        {
            continue;
        }
        auto [it, inserted] = firstUser.emplace(rel.shared, i);
        const DocRelation& first = doc.relations[it->second];
        if (!inserted && (first.type == DocRelType::LLang) != (rel.type == DocRelType::LLang))
        {
            return c.Fail(Checker::Join(Checker::Index("relations", i), "shared"),
                          "value " + Quoted(rel.shared) +
                              " is shared by an angle and a "
                              "distance (relations[" +
                              std::to_string(it->second) + "] and this one)");
        }
    }
    return true;
}

// "line 3, column 7" of a byte offset, for messages about JSON syntax.
std::string LineColumn(const std::string& text, size_t byte)
{
    size_t line = 1;
    size_t column = 1;
    for (size_t i = 0; i < byte && i < text.size(); ++i)
    {
        if (text[i] == '\n')
        {
            ++line;
            column = 1;
        }
        else
        {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
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

int SketchDoc::FindNode(const std::string& id) const
{
    for (size_t i = 0; i < nodes.size(); ++i)
    {
        if (nodes[i].id == id)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int SketchDoc::FindValue(const std::string& id) const
{
    for (size_t i = 0; i < values.size(); ++i)
    {
        if (values[i].id == id)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int SketchDoc::FindRelation(const std::string& id) const
{
    for (size_t i = 0; i < relations.size(); ++i)
    {
        if (relations[i].id == id)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::string InputError::Text() const
{
    std::string out = file;
    if (!where.empty())
    {
        out += (out.empty() ? "" : ": ") + where;
    }
    return out + (out.empty() ? "" : ": ") + problem;
}

const char* DocNodeTypeName(DocNodeType type)
{
    switch (type)
    {
        case DocNodeType::Point:
            return "point";
        case DocNodeType::Line:
            return "line";
        case DocNodeType::Circle:
            return "circle";
    }
    return "node";
}

const char* DocRelTypeName(DocRelType type)
{
    for (const RelShape& s : kRelShapes)
    {
        if (s.type == type)
        {
            return s.name;
        }
    }
    return "relation";
}

bool ParseSketch(const std::string& text, const std::string& file, SketchDoc& doc,
                 InputError& error)
{
    doc = SketchDoc();
    json root;
    try
    {
        root = json::parse(text);
    }
    catch (const json::parse_error& e)
    {
        // Keep the parser's own words after its "parse error at line L, column C: " prefix.
        std::string what = e.what();
        size_t colon = what.find("column ");
        colon = colon == std::string::npos ? std::string::npos : what.find(": ", colon);
        std::string problem = colon == std::string::npos ? what : what.substr(colon + 2);
        error.file = file;
        error.where = text.empty() ? "" : LineColumn(text, e.byte == 0 ? 0 : e.byte - 1);
        error.problem = text.empty() ? "the file is empty" : "invalid JSON: " + problem;
        return false;
    }
    catch (const json::exception& e)
    {
        // Numbers beyond double range; the parser names the text but not its place.
        std::string what = e.what();
        const size_t open = what.find('\'');
        const size_t close = open == std::string::npos ? open : what.find('\'', open + 1);
        const std::string token =
            close == std::string::npos ? std::string() : what.substr(open + 1, close - open - 1);
        const size_t at = token.empty() ? std::string::npos : text.find(token);
        error.file = file;
        error.where = at == std::string::npos ? "" : LineColumn(text, at);
        error.problem = token.empty() ? "invalid JSON" : "the number " + token + " is not finite";
        return false;
    }
    Checker checker(file, error);
    if (!ParseDoc(checker, root, doc))
    {
        doc = SketchDoc();
        return false;
    }
    return true;
}

bool ReadSketchFile(const std::string& path, SketchDoc& doc, InputError& error)
{
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec))
    {
        error = InputError{path, "", "is a directory, not a sketch file"};
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in)
    {
        error = InputError{path, "", "cannot open the file for reading"};
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad())
    {
        error = InputError{path, "", "cannot read the file"};
        return false;
    }
    return ParseSketch(text.str(), path, doc, error);
}

std::string FormatNumber(double value)
{
    if (value == 0.0)
    {
        return "0"; // -0 reads back as 0 in every JSON reader we care about
    }
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    std::string text(buffer, result.ptr);
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

double AngleToRadians(const SketchDoc& doc, double value)
{
    return doc.radians ? value : value * (2.0 * std::acos(0.0)) / 180.0;
}

double AngleFromRadians(const SketchDoc& doc, double radians)
{
    return doc.radians ? radians : radians * 180.0 / (2.0 * std::acos(0.0));
}

namespace
{

// Relations hold when they are off by less than this share of the sketch's size (lengths)
// or by less than this many radians (angles): far below drawing precision, far above the
// rounding of a solved sketch.
constexpr double kHoldShare = 1e-6;
constexpr double kHoldAngle = 1e-6;

double Extent(const SketchDoc& doc)
{
    double extent = 1.0;
    for (const DocNode& n : doc.nodes)
    {
        extent = std::max({extent, std::fabs(n.x), std::fabs(n.y), n.radius});
    }
    return extent;
}

struct Direction
{
    double x;
    double y;
};

Direction UnitDirection(const DocNode& n, bool reverse)
{
    const double len = std::hypot(n.dx, n.dy);
    const double s = reverse ? -1.0 : 1.0;
    return {s * n.dx / len, s * n.dy / len};
}

double PointLineDistance(double px, double py, const DocNode& line)
{
    const Direction d = UnitDirection(line, false);
    return std::fabs(d.x * (py - line.y) - d.y * (px - line.x));
}

} // namespace

std::vector<RelationCheck> CheckRelations(const SketchDoc& doc)
{
    std::unordered_map<std::string, const DocNode*> nodes;
    for (const DocNode& n : doc.nodes)
    {
        nodes[n.id] = &n;
    }
    const double pi = 2.0 * std::acos(0.0);
    const double lengthTol = kHoldShare * Extent(doc);
    const double angleTol = AngleFromRadians(doc, kHoldAngle);
    const double fullTurn = AngleFromRadians(doc, 2.0 * pi);
    // The first measure of each unknown shared value: the others must equal it.
    std::unordered_map<std::string, double> groupMeasure;
    std::unordered_map<std::string, int> groupSize;
    for (const DocRelation& r : doc.relations)
    {
        groupSize[r.shared] += r.shared.empty() ? 0 : 1;
    }

    std::vector<RelationCheck> checks;
    for (size_t i = 0; i < doc.relations.size(); ++i)
    {
        const DocRelation& r = doc.relations[i];
        RelationCheck check;
        check.index = static_cast<int>(i);
        if (r.type == DocRelType::Fix)
        {
            check.constrains = false;
            checks.push_back(check);
            continue;
        }
        const DocNode& a = *nodes.at(r.nodes[0]);
        const DocNode& b = *nodes.at(r.nodes[1]);
        double skew = 0.0; // how far two lines that must be parallel are from it (a length)
        switch (r.type)
        {
            case DocRelType::PPdis:
                check.measured = std::hypot(a.x - b.x, a.y - b.y);
                break;
            case DocRelType::PLdis:
                check.measured = PointLineDistance(a.x, a.y, b);
                break;
            case DocRelType::LLdis:
            {
                check.measured = PointLineDistance(b.x, b.y, a);
                const Direction da = UnitDirection(a, false);
                const Direction db = UnitDirection(b, false);
                skew = std::fabs(da.x * db.y - da.y * db.x) * Extent(doc);
                break;
            }
            case DocRelType::LLang:
            {
                const Direction da = UnitDirection(a, r.reverse[0]);
                const Direction db = UnitDirection(b, r.reverse[1]);
                double angle = std::atan2(da.x * db.y - da.y * db.x, da.x * db.x + da.y * db.y);
                check.measured = AngleFromRadians(doc, angle < 0.0 ? angle + 2.0 * pi : angle);
                break;
            }
            case DocRelType::Rad:
                check.measured = std::hypot(a.x - b.x, a.y - b.y);
                break;
            case DocRelType::Fix:
                break;
        }

        bool known = r.known;
        double wanted = r.value;
        if (r.type == DocRelType::Rad)
        {
            wanted = 0.0; // the centre point sits on the circle's centre
        }
        else if (!r.shared.empty())
        {
            const DocValue& v = doc.values[doc.FindValue(r.shared)];
            known = v.known;
            wanted = v.value;
            if (!known)
            {
                // Unknown and shared: every member measures what the first one does.
                auto [it, first] = groupMeasure.emplace(r.shared, check.measured);
                wanted = it->second;
                check.constrains = !first || groupSize[r.shared] > 1;
                known = true;
            }
        }
        if (!known)
        {
            check.constrains = false;
            check.wanted = check.measured;
            checks.push_back(check);
            continue;
        }
        check.wanted = wanted;
        double error = check.measured - wanted;
        if (r.type == DocRelType::LLang)
        {
            error = std::fmod(error, fullTurn);
            error = error > fullTurn / 2.0    ? error - fullTurn
                    : error < -fullTurn / 2.0 ? error + fullTurn
                                              : error;
        }
        check.error = std::max(std::fabs(error), skew);
        check.holds =
            r.type == DocRelType::LLang ? check.error <= angleTol : check.error <= lengthTol;
        checks.push_back(check);
    }
    return checks;
}

namespace
{

void SnapshotNode(Sketch& sketch, const DocNode& n, std::vector<double>& out)
{
    if (CVert* p = sketch.FindPoint(n.id))
    {
        out.insert(out.end(), {p->m_Pos.x, p->m_Pos.y, 0.0, 0.0});
    }
    else if (CMathline* l = sketch.FindLine(n.id))
    {
        const MATHLINE& m = l->m_Line;
        out.insert(out.end(),
                   {m.m_ThroughPoint.x, m.m_ThroughPoint.y, m.m_Direction.x, m.m_Direction.y});
    }
    else if (CMathcir* c = sketch.FindCircle(n.id))
    {
        const double radius = c->m_pRadiusVal != nullptr ? c->m_pRadiusVal->m_dValue : c->m_dRadius;
        out.insert(out.end(), {c->m_Center.x, c->m_Center.y, c->m_dRadius, radius});
    }
    else
    {
        out.insert(out.end(), {0.0, 0.0, 0.0, 0.0});
    }
}

void SnapshotAll(Sketch& sketch, const SketchDoc& doc, std::vector<double>& out)
{
    out.clear();
    for (const DocNode& n : doc.nodes)
    {
        SnapshotNode(sketch, n, out);
    }
    for (const DocValue& v : doc.values)
    {
        CVal* val = sketch.FindValue(v.id);
        out.push_back(val != nullptr ? val->m_dValue : 0.0);
    }
    for (const DocRelation& r : doc.relations)
    {
        CRel* rel = sketch.FindRelation(r.id);
        out.push_back(rel != nullptr && rel->m_pVal != nullptr ? rel->m_pVal->m_dValue : 0.0);
    }
}

} // namespace

bool BuildSketch(const SketchDoc& doc, const std::string& file, Sketch& sketch,
                 SketchSnapshot& built, InputError& error)
{
    auto refuse = [&](const std::string& where)
    {
        error = InputError{file, where, sketch.LastError()};
        return false;
    };
    for (size_t i = 0; i < doc.nodes.size(); ++i)
    {
        const DocNode& n = doc.nodes[i];
        const std::string where = "nodes[" + std::to_string(i) + "]";
        CNode* node = nullptr;
        switch (n.type)
        {
            case DocNodeType::Point:
                node = sketch.AddPoint(n.id, n.x, n.y);
                break;
            case DocNodeType::Line:
                node = sketch.AddLine(n.id, n.x, n.y, n.dx, n.dy, n.dirFixed);
                break;
            case DocNodeType::Circle:
                node = sketch.AddCircle(n.id, n.x, n.y, n.radius);
                break;
        }
        if (node == nullptr)
        {
            return refuse(where);
        }
        if (n.hasReference && !sketch.SetReference(n.id, static_cast<int>(n.reference)))
        {
            return refuse(where + ".reference");
        }
    }
    // Named values take their unit from the relations that share them.
    std::unordered_map<std::string, bool> angleValue;
    for (const DocRelation& r : doc.relations)
    {
        if (!r.shared.empty())
        {
            angleValue[r.shared] = r.type == DocRelType::LLang;
        }
    }
    for (size_t i = 0; i < doc.values.size(); ++i)
    {
        const DocValue& v = doc.values[i];
        const double number = angleValue[v.id] ? AngleToRadians(doc, v.value) : v.value;
        if (sketch.AddValue(v.id, number, v.known) == nullptr)
        {
            return refuse("values[" + std::to_string(i) + "]");
        }
    }
    for (size_t i = 0; i < doc.relations.size(); ++i)
    {
        const DocRelation& r = doc.relations[i];
        const std::string where = "relations[" + std::to_string(i) + "]";
        const double number = r.type == DocRelType::LLang ? AngleToRadians(doc, r.value) : r.value;
        const ValueSpec spec =
            r.shared.empty() ? ValueSpec::Own(number, r.known) : ValueSpec::Shared(r.shared);
        CRel* rel = nullptr;
        switch (r.type)
        {
            case DocRelType::Fix:
                rel = sketch.AddFix(r.id, r.nodes[0]);
                break;
            case DocRelType::PPdis:
                rel = sketch.AddPPdis(r.id, r.nodes[0], r.nodes[1], spec);
                break;
            case DocRelType::PLdis:
                rel = sketch.AddPLdis(r.id, r.nodes[0], r.nodes[1], spec);
                break;
            case DocRelType::LLdis:
                rel = sketch.AddLLdis(r.id, r.nodes[0], r.nodes[1], spec);
                break;
            case DocRelType::LLang:
                rel =
                    sketch.AddLLang(r.id, r.nodes[0], r.nodes[1], spec, r.reverse[0], r.reverse[1]);
                break;
            case DocRelType::Rad:
                rel = sketch.AddRad(r.id, r.nodes[0], r.nodes[1]);
                break;
        }
        if (rel == nullptr)
        {
            return refuse(where);
        }
        if (!r.valueNode.empty() && !sketch.SetValueNode(r.id, r.valueNode))
        {
            return refuse(where + ".valueNode");
        }
    }
    SnapshotAll(sketch, doc, built.numbers);
    return true;
}

void UpdateDocFromSketch(Sketch& sketch, SketchSnapshot& built, SketchDoc& doc)
{
    std::vector<double> now;
    SnapshotAll(sketch, doc, now);
    if (now.size() != built.numbers.size())
    {
        return;
    }
    // Exact comparison on purpose: only what the solver really moved gets new text.
    size_t k = 0;
    for (DocNode& n : doc.nodes)
    {
        const double* was = &built.numbers[k];
        const double* is = &now[k];
        k += 4;
        if (std::equal(was, was + 4, is))
        {
            continue;
        }
        n.x = is[0];
        n.y = is[1];
        if (n.type == DocNodeType::Line)
        {
            n.dx = is[2];
            n.dy = is[3];
        }
        else if (n.type == DocNodeType::Circle)
        {
            n.radius = is[3] != was[3] ? is[3] : is[2];
        }
    }
    for (DocValue& v : doc.values)
    {
        if (now[k] != built.numbers[k])
        {
            bool angle = false;
            for (const DocRelation& r : doc.relations)
            {
                angle = angle || (r.shared == v.id && r.type == DocRelType::LLang);
            }
            v.value = angle ? AngleFromRadians(doc, now[k]) : now[k];
        }
        ++k;
    }
    for (DocRelation& r : doc.relations)
    {
        if (r.hasValue && now[k] != built.numbers[k])
        {
            r.value = r.type == DocRelType::LLang ? AngleFromRadians(doc, now[k]) : now[k];
        }
        ++k;
    }
    // Circles are not moved by the solver; this host keeps each on its centre point.
    for (const DocRelation& r : doc.relations)
    {
        if (r.type != DocRelType::Rad)
        {
            continue;
        }
        const int p = doc.FindNode(r.nodes[0]);
        const int c = doc.FindNode(r.nodes[1]);
        doc.nodes[c].x = doc.nodes[p].x;
        doc.nodes[c].y = doc.nodes[p].y;
    }
    built.numbers.swap(now);
}

} // namespace qsolver::host
