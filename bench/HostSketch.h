// A benchmark family as a host sketch, and the solved geometry read back from it. Shared by
// the benchmark and the whole-sketch tests of the families.
#pragma once

#include "Families.h"

#include "qsolver/Sketch.h"

#include <memory>
#include <string>
#include <vector>

namespace qsolver::bench
{

inline std::string NodeId(size_t i)
{
    return "n" + std::to_string(i);
}
inline std::string RelId(size_t i)
{
    return "r" + std::to_string(i);
}

/// Adds the family's node i to the sketch under its host id.
inline void AddHostNode(qsolver::Sketch& sketch, const Family& f, size_t i)
{
    const Node& n = f.nodes[i];
    if (n.isLine)
    {
        sketch.AddLine(NodeId(i), n.x, n.y, n.dx, n.dy);
    }
    else
    {
        sketch.AddPoint(NodeId(i), n.x, n.y);
    }
}

/// Adds the family's relation i (its nodes already added) under its host id.
inline void AddHostRelation(qsolver::Sketch& sketch, const Family& f, size_t i)
{
    const Relation& r = f.relations[i];
    const qsolver::ValueSpec v = qsolver::ValueSpec::Own(r.value);
    switch (r.kind)
    {
        case RelKind::Fix:
            sketch.AddFix(RelId(i), NodeId(r.a));
            break;
        case RelKind::PPdis:
            sketch.AddPPdis(RelId(i), NodeId(r.a), NodeId(r.b), v);
            break;
        case RelKind::PLdis:
            sketch.AddPLdis(RelId(i), NodeId(r.a), NodeId(r.b), v);
            break;
        case RelKind::LLdis:
            sketch.AddLLdis(RelId(i), NodeId(r.a), NodeId(r.b), v);
            break;
        case RelKind::LLang:
            sketch.AddLLang(RelId(i), NodeId(r.a), NodeId(r.b), v);
            break;
    }
}

inline std::unique_ptr<qsolver::Sketch> BuildHostSketch(const Family& f)
{
    auto sketch = std::make_unique<qsolver::Sketch>();
    // Number nodes, relations and values from scratch, as a host does for a fresh sketch.
    sktInitCountNum();
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        AddHostNode(*sketch, f, i);
    }
    for (size_t i = 0; i < f.relations.size(); ++i)
    {
        AddHostRelation(*sketch, f, i);
    }
    return sketch;
}

inline std::vector<Node> ReadHostSketch(const Family& f, const qsolver::Sketch& sketch)
{
    std::vector<Node> out = f.nodes;
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        if (f.nodes[i].isLine)
        {
            const MATHLINE& l = sketch.FindLine(NodeId(i))->m_Line;
            out[i].x = l.m_ThroughPoint.x;
            out[i].y = l.m_ThroughPoint.y;
            out[i].dx = l.m_Direction.x;
            out[i].dy = l.m_Direction.y;
        }
        else
        {
            const XYZ& p = sketch.FindPoint(NodeId(i))->m_Pos;
            out[i].x = p.x;
            out[i].y = p.y;
        }
    }
    return out;
}

/// The host's request for the family's one dimension change.
inline std::vector<std::pair<std::string, double>> HostChanges(const Family& f)
{
    return {{RelId(static_cast<size_t>(f.changed)), f.newValue}};
}

} // namespace qsolver::bench
