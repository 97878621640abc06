#include "SketchPack.h"

#include <cmath>
#include <string>
#include <vector>

namespace qsolver::web
{

namespace
{

// The limits a sketch file's reader sets: beyond them a number is a typing slip.
constexpr double kMaxMagnitude = 1e9;
constexpr double kMinDirection = 1e-12;

struct Shape
{
    DocNodeType first;
    DocNodeType second;
    const char* wants;
};

// Indexed by DocRelType.
const Shape kShapes[] = {
    {DocNodeType::Point, DocNodeType::Point, "one node"},
    {DocNodeType::Point, DocNodeType::Point, "a ppdis joins two points"},
    {DocNodeType::Point, DocNodeType::Line, "a pldis joins a point (first) and a line (second)"},
    {DocNodeType::Line, DocNodeType::Line, "an lldis joins two lines"},
    {DocNodeType::Line, DocNodeType::Line, "an llang joins two lines"},
    {DocNodeType::Point, DocNodeType::Circle,
     "a rad joins the centre point (first) and its circle (second)"},
};
constexpr int kRelTypes = static_cast<int>(sizeof(kShapes) / sizeof(kShapes[0]));

std::string Quoted(const std::string& id)
{
    return "\"" + id + "\"";
}

class Reader
{
public:
    Reader(const PackedSketch& packed, const std::string& file, InputError& error)
        : m_packed(packed), m_file(file), m_error(error)
    {
    }

    /// Names the entry read next, for messages: `list[index]`.
    void At(const char* list, std::size_t index)
    {
        m_list = list;
        m_index = index;
    }

    /// Fails at the current entry; `field` continues its place (".value", or empty).
    bool Fail(const std::string& field, const std::string& problem)
    {
        m_error =
            InputError{m_file, m_list + ("[" + std::to_string(m_index) + "]") + field, problem};
        return false;
    }

    bool Int(std::int32_t& out)
    {
        if (m_int >= m_packed.intCount)
        {
            return Malformed();
        }
        out = m_packed.ints[m_int++];
        return true;
    }

    bool Number(const char* field, double& out)
    {
        if (m_number >= m_packed.numberCount)
        {
            return Malformed();
        }
        out = m_packed.numbers[m_number++];
        if (!std::isfinite(out))
        {
            return Fail(field, "the number is not finite");
        }
        if (std::fabs(out) > kMaxMagnitude)
        {
            return Fail(field, "the number " + FormatNumber(out) +
                                   " is absurdly large (the limit is 1e9)");
        }
        return true;
    }

    bool Id(std::string& out)
    {
        const std::string& ids = *m_packed.ids;
        const std::size_t end = ids.find('\0', m_id);
        if (end == std::string::npos)
        {
            return Malformed();
        }
        out.assign(ids, m_id, end - m_id);
        m_id = end + 1;
        if (out.empty())
        {
            return Fail(".id", "the id is empty");
        }
        return true;
    }

    bool AllRead()
    {
        return m_int == m_packed.intCount && m_number == m_packed.numberCount &&
                       m_id == m_packed.ids->size()
                   ? true
                   : Malformed();
    }

    bool Malformed()
    {
        m_error = InputError{m_file, "", "the packed sketch is malformed (its arrays disagree)"};
        return false;
    }

private:
    const PackedSketch& m_packed;
    const std::string& m_file;
    InputError& m_error;
    std::size_t m_int = 0;
    std::size_t m_number = 0;
    std::size_t m_id = 0;
    const char* m_list = "";
    std::size_t m_index = 0;
};

bool ReadNode(Reader& in, std::size_t i, DocNode& node)
{
    in.At("nodes", i);
    std::int32_t type = 0;
    std::int32_t dirFixed = 0;
    double numbers[4];
    if (!in.Id(node.id) || !in.Int(type) || !in.Int(dirFixed))
    {
        return false;
    }
    for (double& n : numbers)
    {
        if (!in.Number("", n))
        {
            return false;
        }
    }
    node.x = numbers[0];
    node.y = numbers[1];
    switch (type)
    {
        case 0:
            node.type = DocNodeType::Point;
            return true;
        case 1:
            node.type = DocNodeType::Line;
            node.dx = numbers[2];
            node.dy = numbers[3];
            node.dirFixed = dirFixed != 0;
            node.hasDirFixed = node.dirFixed;
            if (std::hypot(node.dx, node.dy) < kMinDirection)
            {
                return in.Fail(".direction", "the direction is zero: a line needs a direction");
            }
            return true;
        case 2:
            node.type = DocNodeType::Circle;
            node.radius = numbers[2];
            if (!(node.radius > 0.0))
            {
                return in.Fail(".radius", "a radius must be greater than 0");
            }
            return true;
        default:
            return in.Malformed();
    }
}

/// `sharedKind` says per value whether its first user was an angle (1) or a length (0).
bool ReadRelation(Reader& in, std::size_t i, SketchDoc& doc, std::vector<int>& sharedKind,
                  DocRelation& rel)
{
    in.At("relations", i);
    std::int32_t type = 0;
    std::int32_t ends[2] = {-1, -1};
    std::int32_t flags = 0;
    std::int32_t shared = -1;
    double value = 0.0;
    if (!in.Id(rel.id) || !in.Int(type) || !in.Int(ends[0]) || !in.Int(ends[1]) || !in.Int(flags) ||
        !in.Int(shared) || !in.Number(".value", value))
    {
        return false;
    }
    if (type < 0 || type >= kRelTypes)
    {
        return in.Malformed();
    }
    rel.type = static_cast<DocRelType>(type);
    const Shape& shape = kShapes[type];
    const int count = rel.type == DocRelType::Fix ? 1 : 2;
    for (int k = 0; k < 2; ++k)
    {
        if (k >= count)
        {
            if (ends[k] != -1)
            {
                return in.Fail(".nodes", "expected one node id (one node)");
            }
            continue;
        }
        if (ends[k] < 0 || static_cast<std::size_t>(ends[k]) >= doc.nodes.size())
        {
            return in.Fail(".nodes", std::string("expected two node ids (") + shape.wants + ")");
        }
        const DocNode& node = doc.nodes[ends[k]];
        if (rel.type != DocRelType::Fix && node.type != (k == 0 ? shape.first : shape.second))
        {
            return in.Fail(".nodes[" + std::to_string(k) + "]", Quoted(node.id) + " is a " +
                                                                    DocNodeTypeName(node.type) +
                                                                    "; " + shape.wants);
        }
        if (k == 1 && ends[1] == ends[0])
        {
            return in.Fail(".nodes[1]", "the relation joins " + Quoted(node.id) + " to itself");
        }
        rel.nodes.push_back(node.id);
    }

    const bool takesValue = rel.type != DocRelType::Fix && rel.type != DocRelType::Rad;
    const bool hasValue = (flags & kHasValue) != 0;
    if (!takesValue && (hasValue || shared >= 0))
    {
        return in.Fail("", rel.type == DocRelType::Fix
                               ? "a fix has no value"
                               : "a rad takes its value from the circle's radius");
    }
    if (takesValue && hasValue == (shared >= 0))
    {
        return in.Fail("", hasValue ? "a relation has either \"value\" or \"shared\", not both"
                                    : "missing field \"value\" (or \"shared\" naming an "
                                      "entry of values)");
    }
    if (hasValue)
    {
        rel.hasValue = true;
        rel.value = value;
        rel.known = (flags & kKnown) != 0;
        rel.hasKnown = !rel.known;
        if (rel.type == DocRelType::LLang)
        {
            const double full = doc.radians ? 4.0 * std::acos(0.0) : 360.0;
            if (value < 0.0 || value >= full)
            {
                return in.Fail(".value", "an angle must lie in [0, " +
                                             std::string(doc.radians ? "2pi" : "360") + ")");
            }
        }
        else if (value < 0.0)
        {
            return in.Fail(".value", "a distance cannot be negative");
        }
    }
    if (shared >= 0)
    {
        if (static_cast<std::size_t>(shared) >= doc.values.size())
        {
            return in.Malformed();
        }
        rel.shared = doc.values[shared].id;
        // A shared value is one number: an angle and a length cannot share it.
        const int angle = rel.type == DocRelType::LLang ? 1 : 0;
        if (sharedKind[shared] >= 0 && sharedKind[shared] != angle)
        {
            return in.Fail(".shared",
                           "value " + Quoted(rel.shared) + " is shared by an angle and a distance");
        }
        sharedKind[shared] = angle;
    }
    if ((flags & (kReverseFirst | kReverseSecond)) != 0)
    {
        if (rel.type != DocRelType::LLang)
        {
            return in.Fail(".reverse", "only an llang has \"reverse\"");
        }
        rel.hasReverse = true;
        rel.reverse[0] = (flags & kReverseFirst) != 0;
        rel.reverse[1] = (flags & kReverseSecond) != 0;
    }
    return true;
}

} // namespace

bool UnpackSketch(const PackedSketch& packed, const std::string& file, SketchDoc& doc,
                  InputError& error)
{
    Reader in(packed, file, error);
    std::int32_t counts[3] = {0, 0, 0};
    std::int32_t radians = 0;
    if (!in.Int(counts[0]) || !in.Int(counts[1]) || !in.Int(counts[2]) || !in.Int(radians) ||
        counts[0] < 0 || counts[1] < 0 || counts[2] < 0)
    {
        return in.Malformed();
    }
    doc.radians = radians != 0;
    doc.hasUnit = doc.radians;
    doc.nodes.resize(counts[0]);
    for (std::size_t i = 0; i < doc.nodes.size(); ++i)
    {
        if (!ReadNode(in, i, doc.nodes[i]))
        {
            return false;
        }
    }
    doc.values.resize(counts[1]);
    doc.hasValues = counts[1] > 0;
    for (std::size_t i = 0; i < doc.values.size(); ++i)
    {
        DocValue& v = doc.values[i];
        std::int32_t known = 1;
        in.At("values", i);
        if (!in.Id(v.id) || !in.Int(known) || !in.Number(".value", v.value))
        {
            return false;
        }
        v.known = known != 0;
        v.hasKnown = !v.known;
    }
    std::vector<int> sharedKind(doc.values.size(), -1);
    doc.relations.resize(counts[2]);
    doc.hasRelations = true;
    for (std::size_t i = 0; i < doc.relations.size(); ++i)
    {
        if (!ReadRelation(in, i, doc, sharedKind, doc.relations[i]))
        {
            return false;
        }
    }
    return in.AllRead();
}

} // namespace qsolver::web
