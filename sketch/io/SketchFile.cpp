// Reading and checking sketch files. Every refusal names the file, the JSON path and the
// problem.
#include "qsolver/SketchFile.h"

#include "io/SketchJson.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

namespace qsolver
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
    if (!c.Object(root, "", "a sketch"))
    {
        return false;
    }
    if (const json* format = c.Field(root, "", "format", false))
    {
        // Format 2 speaks in entities and constraints and has a reader of its own.
        if (!format->is_number_integer() || format->get<long long>() != 1)
        {
            return c.Fail("format", format->is_number_integer() && format->get<long long>() == 2
                                        ? "a format 2 sketch (entities and constraints) is "
                                          "read by the vocabulary reader"
                                        : "unknown format (expected 1 or 2)");
        }
        doc.hasFormat = true;
    }
    if (!c.OnlyKeys(root, "", {"format", "description", "unit", "nodes", "values", "relations"}))
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
    doc.nodes.reserve(nodes->size());
    nodeIndex.reserve(nodes->size());
    for (size_t i = 0; i < nodes->size(); ++i)
    {
        DocNode node;
        if (!ParseNode(c, (*nodes)[i], Checker::Index("nodes", i), node))
        {
            return false;
        }
        nodeIndex.emplace(node.id, static_cast<int>(doc.nodes.size()));
        doc.nodes.push_back(std::move(node));
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
        doc.relations.reserve(relations->size());
        for (size_t i = 0; i < relations->size(); ++i)
        {
            DocRelation rel;
            if (!ParseRelation(c, (*relations)[i], Checker::Index("relations", i), doc, nodeIndex,
                               valueIndex, rel))
            {
                return false;
            }
            doc.relations.push_back(std::move(rel));
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

// JSON allows a key twice in one object and keeps the last: a typed-over "value" would
// silently win. This builds the document as json::parse does and names the first repeated key
// by its path on the way. (The parser's callback form could watch keys too, but it walks the
// enclosing array again at the end of each object in it: quadratic in a sketch's nodes.)
class DomWithDuplicateKeys
{
public:
    explicit DomWithDuplicateKeys(json& root) : m_dom(root, true) {}

    std::string duplicate;

    bool null()
    {
        ElementStarts();
        return m_dom.null();
    }
    bool boolean(bool value)
    {
        ElementStarts();
        return m_dom.boolean(value);
    }
    bool number_integer(json::number_integer_t value)
    {
        ElementStarts();
        return m_dom.number_integer(value);
    }
    bool number_unsigned(json::number_unsigned_t value)
    {
        ElementStarts();
        return m_dom.number_unsigned(value);
    }
    bool number_float(json::number_float_t value, const json::string_t& text)
    {
        ElementStarts();
        return m_dom.number_float(value, text);
    }
    bool string(json::string_t& value)
    {
        ElementStarts();
        return m_dom.string(value);
    }
    bool binary(json::binary_t& value)
    {
        ElementStarts();
        return m_dom.binary(value);
    }
    bool start_object(std::size_t size)
    {
        ElementStarts();
        m_frames.push_back(Frame{false, -1, {}, {}});
        return m_dom.start_object(size);
    }
    bool key(json::string_t& key)
    {
        if (!m_frames.empty())
        {
            Frame& top = m_frames.back();
            top.key = key;
            if (!top.keys.insert(key).second && duplicate.empty())
            {
                duplicate = Path();
            }
        }
        return m_dom.key(key);
    }
    bool end_object()
    {
        m_frames.pop_back();
        return m_dom.end_object();
    }
    bool start_array(std::size_t size)
    {
        ElementStarts();
        m_frames.push_back(Frame{true, -1, {}, {}});
        return m_dom.start_array(size);
    }
    bool end_array()
    {
        m_frames.pop_back();
        return m_dom.end_array();
    }
    // Throws the parser's own exception, as json::parse does.
    template <class Exception>
    bool parse_error(std::size_t position, const std::string& token, const Exception& ex)
    {
        return m_dom.parse_error(position, token, ex);
    }

private:
    struct Frame
    {
        bool array;
        int index;
        std::string key;
        std::set<std::string> keys;
    };

    void ElementStarts()
    {
        if (!m_frames.empty() && m_frames.back().array)
        {
            ++m_frames.back().index;
        }
    }

    std::string Path() const
    {
        std::string path;
        for (const Frame& f : m_frames)
        {
            path +=
                f.array ? "[" + std::to_string(f.index) + "]" : (path.empty() ? "" : ".") + f.key;
        }
        return path;
    }

    nlohmann::detail::json_sax_dom_parser<json> m_dom;
    std::vector<Frame> m_frames;
};

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

bool ParseJsonText(const std::string& text, const std::string& file, nlohmann::json& root,
                   InputError& error)
{
    try
    {
        DomWithDuplicateKeys dom(root);
        json::sax_parse(text, &dom);
        if (!dom.duplicate.empty())
        {
            error = InputError{file, dom.duplicate,
                               "the field appears twice (a reader would keep only the last)"};
            return false;
        }
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
    return true;
}

bool ParseSketch(const std::string& text, const std::string& file, SketchDoc& doc,
                 InputError& error)
{
    doc = SketchDoc();
    json root;
    if (!ParseJsonText(text, file, root, error))
    {
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

double AngleToRadians(const SketchDoc& doc, double value)
{
    return doc.radians ? value : value * (2.0 * std::acos(0.0)) / 180.0;
}

double AngleFromRadians(const SketchDoc& doc, double radians)
{
    return doc.radians ? radians : radians * 180.0 / (2.0 * std::acos(0.0));
}

} // namespace qsolver
