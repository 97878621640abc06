// Between sketch documents and the host's sketch: building a sketch from a document, taking
// a pass's results back, and measuring how well each relation holds at the file's coordinates.
#include "qsolver/SketchFile.h"

#include "qsolver/Sketch.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>
#include <vector>

namespace qsolver
{

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
        const ValueSpec valueSpec =
            r.shared.empty() ? ValueSpec::Own(number, r.known) : ValueSpec::Shared(r.shared);
        CRel* rel = nullptr;
        switch (r.type)
        {
            case DocRelType::Fix:
                rel = sketch.AddFix(r.id, r.nodes[0]);
                break;
            case DocRelType::PPdis:
                rel = sketch.AddPPdis(r.id, r.nodes[0], r.nodes[1], valueSpec);
                break;
            case DocRelType::PLdis:
                rel = sketch.AddPLdis(r.id, r.nodes[0], r.nodes[1], valueSpec);
                break;
            case DocRelType::LLdis:
                rel = sketch.AddLLdis(r.id, r.nodes[0], r.nodes[1], valueSpec);
                break;
            case DocRelType::LLang:
                rel = sketch.AddLLang(r.id, r.nodes[0], r.nodes[1], valueSpec, r.reverse[0],
                                      r.reverse[1]);
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

} // namespace qsolver
