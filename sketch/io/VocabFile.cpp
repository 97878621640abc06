// Reading, checking and writing format-2 sketch files. The reader refuses what the vocabulary
// sketch would refuse, at the place in the file where it stands.
#include "qsolver/VocabFile.h"

#include "io/SketchJson.h"
#include "vocab/VocabGeometry.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>

namespace qsolver
{

namespace
{

using nlohmann::json;

// The same line the format-1 reader draws: larger numbers are typing errors.
constexpr double kMaxMagnitude = 1e9;

std::string Quoted(const std::string& s)
{
    return json(s).dump();
}

std::string Join(const std::string& where, const std::string& key)
{
    return where.empty() ? key : where + "." + key;
}

class Reader
{
public:
    Reader(const std::string& file, InputError& error) : m_file(file), m_error(error) {}

    bool Fail(const std::string& where, const std::string& problem)
    {
        m_error = InputError{m_file, where, problem};
        return false;
    }

    bool OnlyKeys(const json& j, const std::string& where, std::initializer_list<const char*> keys)
    {
        for (auto it = j.begin(); it != j.end(); ++it)
        {
            bool known = false;
            std::string list;
            for (const char* key : keys)
            {
                known = known || it.key() == key;
                list += (list.empty() ? "" : ", ") + std::string(key);
            }
            if (!known)
            {
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

    bool Ids(const json& j, const std::string& where, std::vector<std::string>& out)
    {
        if (!j.is_array())
        {
            return Fail(where, "expected an array of ids");
        }
        for (size_t i = 0; i < j.size(); ++i)
        {
            std::string id;
            if (!String(j[i], where + "[" + std::to_string(i) + "]", id))
            {
                return false;
            }
            out.push_back(id);
        }
        return true;
    }

    bool OptionalBool(const json& j, const std::string& where, const char* key, bool& out)
    {
        const json* field = Field(j, where, key, false);
        return field == nullptr || Bool(*field, Join(where, key), out);
    }

    bool IdOf(const json& j, const std::string& where, std::string& out)
    {
        const json* id = Field(j, where, "id", true);
        return id != nullptr && String(*id, Join(where, "id"), out);
    }

    bool Entity(const json& j, const std::string& where, VocabEntity& e)
    {
        if (!j.is_object())
        {
            return Fail(where,
                        std::string("expected an entity (a JSON object), found ") + j.type_name());
        }
        std::string type;
        const json* typeField = Field(j, where, "type", true);
        if (!IdOf(j, where, e.id) || typeField == nullptr ||
            !String(*typeField, Join(where, "type"), type) ||
            !OptionalBool(j, where, "construction", e.construction))
        {
            return false;
        }
        auto point = [&](const char* key, std::string& out)
        {
            const json* f = Field(j, where, key, true);
            return f != nullptr && String(*f, Join(where, key), out);
        };
        if (type == "point")
        {
            e.type = EntityType::Point;
            const json* at = Field(j, where, "at", true);
            return OnlyKeys(j, where, {"id", "type", "at", "construction"}) && at != nullptr &&
                   Pair(*at, Join(where, "at"), e.x, e.y);
        }
        if (type == "segment")
        {
            e.type = EntityType::Segment;
            const json* points = Field(j, where, "points", true);
            if (!OnlyKeys(j, where, {"id", "type", "points", "construction"}) ||
                points == nullptr || !Ids(*points, Join(where, "points"), e.points))
            {
                return false;
            }
            return e.points.size() == 2 ||
                   Fail(Join(where, "points"), "expected the ids of the two end points");
        }
        if (type == "arc")
        {
            e.type = EntityType::Arc;
            e.points.resize(3);
            return OnlyKeys(j, where, {"id", "type", "center", "start", "end", "construction"}) &&
                   point("center", e.points[0]) && point("start", e.points[1]) &&
                   point("end", e.points[2]);
        }
        if (type == "circle")
        {
            e.type = EntityType::Circle;
            e.points.resize(1);
            const json* radius = Field(j, where, "radius", true);
            return OnlyKeys(j, where, {"id", "type", "center", "radius", "construction"}) &&
                   point("center", e.points[0]) && radius != nullptr &&
                   Number(*radius, Join(where, "radius"), e.radius);
        }
        if (type == "line")
        {
            e.type = EntityType::Line;
            const json* through = Field(j, where, "through", true);
            const json* dir = through != nullptr ? Field(j, where, "direction", true) : nullptr;
            return OnlyKeys(j, where, {"id", "type", "through", "direction", "construction"}) &&
                   dir != nullptr && Pair(*through, Join(where, "through"), e.x, e.y) &&
                   Pair(*dir, Join(where, "direction"), e.dx, e.dy);
        }
        return Fail(Join(where, "type"), "unknown entity type " + Quoted(type) +
                                             " (expected point, segment, arc, circle or line)");
    }

    bool Constraint(const json& j, const std::string& where, bool radians, VocabConstraint& c)
    {
        if (!j.is_object())
        {
            return Fail(where, std::string("expected a constraint (a JSON object), found ") +
                                   j.type_name());
        }
        std::string type;
        const json* typeField = Field(j, where, "type", true);
        if (!IdOf(j, where, c.id) || typeField == nullptr ||
            !String(*typeField, Join(where, "type"), type) ||
            !OnlyKeys(j, where, {"id", "type", "refs", "value", "driven", "inside", "reverse"}))
        {
            return false;
        }
        if (!ConstraintTypeFromName(type, c.type))
        {
            return Fail(Join(where, "type"),
                        "unknown constraint type " + Quoted(type) +
                            " (expected coincident, on, horizontal, vertical, parallel, "
                            "perpendicular, angle, distance, length, radius, diameter, equal, "
                            "tangent, concentric, midpoint, symmetric or fix)");
        }
        const json* refs = Field(j, where, "refs", true);
        if (refs == nullptr || !Ids(*refs, Join(where, "refs"), c.refs) ||
            !OptionalBool(j, where, "driven", c.driven))
        {
            return false;
        }
        const json* value = Field(j, where, "value", false);
        if (IsDimension(c.type))
        {
            // A reference dimension may leave its value to be measured.
            if (value == nullptr && !c.driven)
            {
                return Fail(where, "missing field \"value\" (a dimension needs its number)");
            }
            if (value != nullptr && !Number(*value, Join(where, "value"), c.value))
            {
                return false;
            }
            if (c.type == ConstraintType::Angle)
            {
                const double full = radians ? 4.0 * std::acos(0.0) : 360.0;
                if (c.value < 0.0 || c.value >= full)
                {
                    return Fail(Join(where, "value"), std::string("an angle must lie in [0, ") +
                                                          (radians ? "2pi" : "360") + ")");
                }
            }
        }
        else if (value != nullptr)
        {
            return Fail(Join(where, "value"), "a " + type + " constraint has no value");
        }
        if (const json* inside = Field(j, where, "inside", false))
        {
            if (c.type != ConstraintType::Tangent)
            {
                return Fail(Join(where, "inside"), "only a tangent has \"inside\"");
            }
            if (!Bool(*inside, Join(where, "inside"), c.inside))
            {
                return false;
            }
        }
        if (const json* reverse = Field(j, where, "reverse", false))
        {
            const std::string at = Join(where, "reverse");
            if (c.type != ConstraintType::Angle)
            {
                return Fail(at, "only an angle has \"reverse\"");
            }
            if (!reverse->is_array() || reverse->size() != 2)
            {
                return Fail(at, "expected two flags [first, second]");
            }
            return Bool((*reverse)[0], at + "[0]", c.reverse[0]) &&
                   Bool((*reverse)[1], at + "[1]", c.reverse[1]);
        }
        return true;
    }

private:
    std::string m_file;
    InputError& m_error;
};

bool ParseRoot(Reader& r, const json& root, VocabDoc& doc, const std::string& file,
               InputError& error)
{
    if (!root.is_object())
    {
        return r.Fail("",
                      std::string("expected a sketch (a JSON object), found ") + root.type_name());
    }
    if (!r.OnlyKeys(root, "", {"format", "description", "unit", "entities", "constraints"}))
    {
        return false;
    }
    const json* format = r.Field(root, "", "format", true);
    if (format == nullptr)
    {
        return false;
    }
    if (!format->is_number_integer() || format->get<long long>() != 2)
    {
        return r.Fail("format", "expected 2 (this reader reads format 2)");
    }
    if (const json* description = r.Field(root, "", "description", false))
    {
        doc.hasDescription = true;
        if (!r.String(*description, "description", doc.description))
        {
            return false;
        }
    }
    if (const json* unit = r.Field(root, "", "unit", false))
    {
        std::string name;
        if (!r.String(*unit, "unit", name))
        {
            return false;
        }
        if (name != "rad" && name != "deg")
        {
            return r.Fail("unit",
                          "unknown unit " + Quoted(name) + " (expected \"deg\" or \"rad\")");
        }
        doc.hasUnit = true;
        doc.radians = name == "rad";
    }
    const json* entities = r.Field(root, "", "entities", true);
    if (entities == nullptr)
    {
        return false;
    }
    if (!entities->is_array())
    {
        return r.Fail("entities", "expected an array of entities");
    }
    // The sketch checks what refers to what as it is built: its refusal names the entry.
    VocabSketch check;
    for (size_t i = 0; i < entities->size(); ++i)
    {
        const std::string where = "entities[" + std::to_string(i) + "]";
        VocabEntity e;
        if (!r.Entity((*entities)[i], where, e))
        {
            return false;
        }
        if (!check.AddEntity(e))
        {
            return r.Fail(where, check.LastError());
        }
        doc.entities.push_back(e);
    }
    if (const json* constraints = r.Field(root, "", "constraints", false))
    {
        if (!constraints->is_array())
        {
            return r.Fail("constraints", "expected an array of constraints");
        }
        for (size_t i = 0; i < constraints->size(); ++i)
        {
            const std::string where = "constraints[" + std::to_string(i) + "]";
            VocabConstraint c;
            if (!r.Constraint((*constraints)[i], where, doc.radians, c))
            {
                return false;
            }
            VocabConstraint solver = c;
            solver.value = VocabValueToSolver(doc, c);
            if (!check.AddConstraint(solver))
            {
                return r.Fail(where, check.LastError());
            }
            doc.constraints.push_back(c);
        }
    }
    (void)file;
    (void)error;
    return true;
}

std::string Pair(double x, double y)
{
    return "[" + FormatNumber(x) + ", " + FormatNumber(y) + "]";
}

std::string IdList(const std::vector<std::string>& ids)
{
    std::string out = "[";
    for (size_t i = 0; i < ids.size(); ++i)
    {
        out += (i ? ", " : "") + Quoted(ids[i]);
    }
    return out + "]";
}

std::string FormatEntity(const VocabEntity& e)
{
    std::string out =
        "{\"id\": " + Quoted(e.id) + ", \"type\": \"" + EntityTypeName(e.type) + "\", ";
    switch (e.type)
    {
        case EntityType::Point:
            out += "\"at\": " + Pair(e.x, e.y);
            break;
        case EntityType::Segment:
            out += "\"points\": " + IdList(e.points);
            break;
        case EntityType::Arc:
            out += "\"center\": " + Quoted(e.points[0]) + ", \"start\": " + Quoted(e.points[1]) +
                   ", \"end\": " + Quoted(e.points[2]);
            break;
        case EntityType::Circle:
            out += "\"center\": " + Quoted(e.points[0]) + ", \"radius\": " + FormatNumber(e.radius);
            break;
        case EntityType::Line:
            out += "\"through\": " + Pair(e.x, e.y) + ", \"direction\": " + Pair(e.dx, e.dy);
            break;
    }
    if (e.construction)
    {
        out += ", \"construction\": true";
    }
    return out + "}";
}

std::string FormatConstraint(const VocabConstraint& c)
{
    std::string out = "{\"id\": " + Quoted(c.id) + ", \"type\": \"" + ConstraintTypeName(c.type) +
                      "\", \"refs\": " + IdList(c.refs);
    if (IsDimension(c.type))
    {
        out += ", \"value\": " + FormatNumber(c.value);
    }
    if (c.driven)
    {
        out += ", \"driven\": true";
    }
    if (c.inside)
    {
        out += ", \"inside\": true";
    }
    if (c.reverse[0] || c.reverse[1])
    {
        out += std::string(", \"reverse\": [") + (c.reverse[0] ? "true" : "false") + ", " +
               (c.reverse[1] ? "true" : "false") + "]";
    }
    return out + "}";
}

} // namespace

int VocabDoc::FindEntity(const std::string& id) const
{
    for (size_t i = 0; i < entities.size(); ++i)
    {
        if (entities[i].id == id)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int VocabDoc::FindConstraint(const std::string& id) const
{
    for (size_t i = 0; i < constraints.size(); ++i)
    {
        if (constraints[i].id == id)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool IsVocabText(const std::string& text)
{
    const json root = json::parse(text, nullptr, false);
    if (!root.is_object())
    {
        return false;
    }
    auto format = root.find("format");
    return format != root.end() && format->is_number_integer() && format->get<long long>() == 2;
}

double VocabValueToSolver(const VocabDoc& doc, const VocabConstraint& c)
{
    if (c.type == ConstraintType::Angle && !doc.radians)
    {
        return c.value * vocab::Pi() / 180.0;
    }
    return c.value;
}

double VocabValueFromSolver(const VocabDoc& doc, const VocabConstraint& c, double value)
{
    if (c.type == ConstraintType::Angle && !doc.radians)
    {
        return value * 180.0 / vocab::Pi();
    }
    return value;
}

bool ParseVocabSketch(const std::string& text, const std::string& file, VocabDoc& doc,
                      InputError& error)
{
    doc = VocabDoc();
    json root;
    if (!ParseJsonText(text, file, root, error))
    {
        return false;
    }
    Reader reader(file, error);
    if (!ParseRoot(reader, root, doc, file, error))
    {
        doc = VocabDoc();
        return false;
    }
    return true;
}

bool ReadVocabFile(const std::string& path, VocabDoc& doc, InputError& error)
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
    return ParseVocabSketch(text.str(), path, doc, error);
}

std::string FormatVocabSketch(const VocabDoc& doc)
{
    std::string out = "{\n  \"format\": 2,\n";
    if (doc.hasDescription)
    {
        out += "  \"description\": " + Quoted(doc.description) + ",\n";
    }
    if (doc.hasUnit)
    {
        out += std::string("  \"unit\": \"") + (doc.radians ? "rad" : "deg") + "\",\n";
    }
    out += "  \"entities\": [";
    for (size_t i = 0; i < doc.entities.size(); ++i)
    {
        out += (i ? ",\n    " : "\n    ") + FormatEntity(doc.entities[i]);
    }
    out += doc.entities.empty() ? "],\n" : "\n  ],\n";
    out += "  \"constraints\": [";
    for (size_t i = 0; i < doc.constraints.size(); ++i)
    {
        out += (i ? ",\n    " : "\n    ") + FormatConstraint(doc.constraints[i]);
    }
    out += doc.constraints.empty() ? "]\n" : "\n  ]\n";
    return out + "}\n";
}

bool BuildVocabSketch(const VocabDoc& doc, const std::string& file, VocabSketch& sketch,
                      InputError& error)
{
    for (size_t i = 0; i < doc.entities.size(); ++i)
    {
        if (!sketch.AddEntity(doc.entities[i]))
        {
            error = InputError{file, "entities[" + std::to_string(i) + "]", sketch.LastError()};
            return false;
        }
    }
    for (size_t i = 0; i < doc.constraints.size(); ++i)
    {
        VocabConstraint c = doc.constraints[i];
        c.value = VocabValueToSolver(doc, c);
        if (!sketch.AddConstraint(c))
        {
            error = InputError{file, "constraints[" + std::to_string(i) + "]", sketch.LastError()};
            return false;
        }
    }
    if (sketch.Core() == nullptr)
    {
        error = InputError{file, "", sketch.LastError()};
        return false;
    }
    return true;
}

void UpdateVocabDoc(const VocabSketch& sketch, VocabDoc& doc)
{
    for (VocabEntity& e : doc.entities)
    {
        const VocabEntity* now = sketch.FindEntity(e.id);
        if (now != nullptr)
        {
            e.x = now->x;
            e.y = now->y;
            e.dx = now->dx;
            e.dy = now->dy;
            e.radius = now->radius;
        }
    }
    for (VocabConstraint& c : doc.constraints)
    {
        const VocabConstraint* now = sketch.FindConstraint(c.id);
        if (now == nullptr || !IsDimension(c.type))
        {
            continue;
        }
        const double value = c.driven ? sketch.Measure(*now) : now->value;
        // Exact: an unchanged number keeps the text the user wrote.
        if (value != VocabValueToSolver(doc, c))
        {
            c.value = VocabValueFromSolver(doc, c, value);
        }
    }
}

} // namespace qsolver
