// Shared by the tests of the result check and the robust strategies: sketches from files, the
// edit cases kept beside the tests, and what a host checks after a drive.
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/SketchDrive.h"
#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace solvetest
{

inline std::string ReadText(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::string CasePath(const std::string& name)
{
    return std::string(QSOLVER_SOURCE_ROOT) + "/tests/solve/cases/" + name;
}

/// A sketch built from file text; null (with a test failure) when the text is refused.
inline std::unique_ptr<qsolver::Sketch> Build(const std::string& text,
                                              const std::string& name = "test.json")
{
    qsolver::SketchDoc doc;
    qsolver::InputError error;
    auto sketch = std::make_unique<qsolver::Sketch>();
    qsolver::SketchSnapshot built;
    if (!qsolver::ParseSketch(text, name, doc, error) ||
        !qsolver::BuildSketch(doc, name, *sketch, built, error))
    {
        ADD_FAILURE() << error.Text();
        return nullptr;
    }
    return sketch;
}

/// An edit case: the sketch, the change, and a solution that keeps every part on its side.
struct EditCase
{
    std::unique_ptr<qsolver::Sketch> sketch;
    std::vector<std::pair<std::string, double>> change;
    nlohmann::json reference;
};

inline EditCase LoadCase(const std::string& name)
{
    EditCase c;
    c.sketch = Build(ReadText(CasePath(name + ".json")), name + ".json");
    const nlohmann::json edit = nlohmann::json::parse(ReadText(CasePath(name + ".edit.json")));
    c.change = {{edit["relation"].get<std::string>(), edit["new"].get<double>()}};
    c.reference = nlohmann::json::parse(ReadText(CasePath(name + ".ref.json")));
    return c;
}

/// The largest distance of a point from where the reference puts it.
inline double OffReference(qsolver::Sketch& sketch, const nlohmann::json& reference)
{
    double worst = 0.0;
    for (const auto& entry : reference.items())
    {
        if (CVert* p = sketch.FindPoint(entry.key()))
        {
            worst = std::max(worst, std::hypot(p->m_Pos.x - entry.value()[0].get<double>(),
                                               p->m_Pos.y - entry.value()[1].get<double>()));
        }
    }
    return worst;
}

/// Every point's coordinates, in node order.
inline std::vector<double> Coordinates(qsolver::Sketch& sketch)
{
    std::vector<double> out;
    for (const std::string& id : sketch.NodeIds())
    {
        if (CVert* p = sketch.FindPoint(id))
        {
            out.push_back(p->m_Pos.x);
            out.push_back(p->m_Pos.y);
        }
        else if (CMathline* l = sketch.FindLine(id))
        {
            out.insert(out.end(), {l->m_Line.m_ThroughPoint.x, l->m_Line.m_ThroughPoint.y,
                                   l->m_Line.m_Direction.x, l->m_Line.m_Direction.y});
        }
    }
    return out;
}

} // namespace solvetest
