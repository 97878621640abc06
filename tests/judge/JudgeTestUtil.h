// Helpers for the analysis-pass suites: sketches are owned by the host layer, chains are
// inspected and clusters assembled by hand.
#pragma once

#include "qsolver/Sketch.h"
#include "common/SketchRows.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace judgetest
{

inline std::vector<std::string> NodeIds(const qsolver::Sketch& sketch, const CNodeList& list)
{
    std::vector<std::string> ids;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        ids.push_back(sketch.IdOf(list.GetNext(pos)));
    }
    return ids;
}

/// A host sketch that Init() loads into the analysis chains; the pass is closed after the test.
class JudgeTest : public ::testing::Test
{
protected:
    void TearDown() override { sktFinishJudge(sketch.Relations()); }

    void Init()
    {
        sketch.BackupAll();
        sktInitJudge(sketch.Nodes(), sketch.Relations());
    }

    void Points(std::initializer_list<sketchrows::At> points)
    {
        sketchrows::Points(sketch, points);
    }
    void Distances(std::initializer_list<sketchrows::Distance> distances)
    {
        sketchrows::Distances(sketch, distances);
    }

    qsolver::Sketch sketch;
};

/// A cluster holding the named nodes and relations, appended to g_sktClusterChain.
inline CCluster* AddCluster(qsolver::Sketch& sketch, std::initializer_list<const char*> nodes,
                            std::initializer_list<const char*> rels, int freeNum = 3)
{
    CCluster* cluster = new CCluster();
    cluster->m_nFreeNum = static_cast<signed char>(freeNum);
    for (const char* id : nodes)
    {
        cluster->AddNode(sketch.FindNode(id));
    }
    for (const char* id : rels)
    {
        cluster->AddRel(sketch.FindRelation(id));
    }
    g_sktClusterChain.AddTail(cluster);
    return cluster;
}

} // namespace judgetest
