// Rows of points and distances for building host sketches in the whole-sketch suites: one line
// per group instead of one call per node.
#pragma once

#include "qsolver/Sketch.h"

#include <initializer_list>

namespace sketchrows
{

struct At
{
    const char* id;
    double x;
    double y;
};

/// A distance between two points; `known` false leaves its own value open.
struct Distance
{
    const char* id;
    const char* a;
    const char* b;
    double value;
    bool known = true;
};

inline void Points(qsolver::Sketch& s, std::initializer_list<At> points)
{
    for (const At& p : points)
    {
        s.AddPoint(p.id, p.x, p.y);
    }
}

inline void Distances(qsolver::Sketch& s, std::initializer_list<Distance> distances)
{
    for (const Distance& d : distances)
    {
        s.AddPPdis(d.id, d.a, d.b, qsolver::ValueSpec::Own(d.value, d.known));
    }
}

} // namespace sketchrows
