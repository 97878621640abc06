// Checks a host makes after an analysis pass: the verdict, the clusters, and that the pass left
// geometry, values and relation states as they were.
#pragma once

#include "Sketch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace analysistest
{

/// What a pass must not change: every value's number and flag, every node's geometry.
struct Snapshot
{
    std::vector<double> numbers;
    std::vector<int> flags;
    std::vector<double> geometry;

    explicit Snapshot(qsolver::host::Sketch& sketch)
    {
        for (CVal* val : sketch.AllValues())
        {
            numbers.push_back(val->m_dValue);
            flags.push_back(val->m_bKnown);
        }
        POSITION pos = sketch.Nodes().GetHeadPosition();
        while (pos != nullptr)
        {
            CNode* node = sketch.Nodes().GetNext(pos);
            if (node->GetType() == SKT_NODE_POINT)
            {
                const XYZ& p = static_cast<CVert*>(node)->m_Pos;
                geometry.insert(geometry.end(), {p.x, p.y});
            }
            else if (node->GetType() == SKT_NODE_LINE)
            {
                const MATHLINE& l = static_cast<CMathline*>(node)->m_Line;
                geometry.insert(geometry.end(), {l.m_ThroughPoint.x, l.m_ThroughPoint.y,
                                                 l.m_Direction.x, l.m_Direction.y});
            }
            else
            {
                const CMathcir* c = static_cast<CMathcir*>(node);
                geometry.insert(geometry.end(), {c->m_Center.x, c->m_Center.y, c->m_dRadius});
            }
        }
    }
};

/// The pass handed the sketch back: relations unused, values and geometry as before (exactly).
inline void ExpectHandedBack(qsolver::host::Sketch& sketch, const Snapshot& before)
{
    Snapshot after(sketch);
    EXPECT_EQ(after.numbers, before.numbers);
    EXPECT_EQ(after.flags, before.flags);
    EXPECT_EQ(after.geometry, before.geometry);
    POSITION pos = sketch.Relations().GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = sketch.Relations().GetNext(pos);
        EXPECT_TRUE(rel->IsUnused()) << sketch.IdOf(rel);
    }
    EXPECT_TRUE(g_sktClusterChain.IsEmpty());
    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
}

inline std::vector<std::vector<std::string>>
ClusterNodes(const qsolver::host::AnalysisResult& result)
{
    std::vector<std::vector<std::string>> nodes;
    for (const auto& cluster : result.clusters)
    {
        nodes.push_back(cluster.nodes);
    }
    return nodes;
}

} // namespace analysistest
