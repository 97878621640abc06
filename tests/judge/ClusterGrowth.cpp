// Growing clusters: known-propagation, the main cluster and the choice of base nodes, with the
// chain and relation states each step leaves behind.
#include "judge/JudgeTestUtil.h"

#include <gtest/gtest.h>

using judgetest::NodeIds;
using judgetest::RelIds;
using qsolver::host::ValueSpec;

namespace
{

class ClusterGrowth : public judgetest::JudgeTest
{
protected:
    void TearDown() override
    {
        delete cluster;
        JudgeTest::TearDown();
    }

    // Loads every node and relation into the chains as the core, skipping the stripping.
    void LoadCore()
    {
        sketch.BackupAll();
        CNodeList none;
        sktInitJudge(none, sketch.Relations());
        POSITION pos = sketch.Nodes().GetHeadPosition();
        while (pos != nullptr)
        {
            CNode* node = sketch.Nodes().GetNext(pos);
            node->m_nFreeNum = 2;
            g_sktUndefinedNodeChain.AddTail(node);
        }
    }

    // Four points in a square, every side and both diagonals: nothing is stripped.
    void BraceSquare(const char* a, const char* b, const char* c, const char* d)
    {
        const std::string p[4] = {a, b, c, d};
        sketch.AddPoint(p[0], 0, 0);
        sketch.AddPoint(p[1], 1, 0);
        sketch.AddPoint(p[2], 1, 1);
        sketch.AddPoint(p[3], 0, 1);
        for (int i = 0; i < 4; ++i)
        {
            sketch.AddPPdis(p[i] + p[(i + 1) % 4], p[i], p[(i + 1) % 4], ValueSpec::Own(1));
        }
    }

    CCluster* cluster = new CCluster();
};

TEST_F(ClusterGrowth, MainClusterGrowsLayerByLayerFromTwoFixedPoints)
{
    // P fixed with distances to Q and R, Q-R joined; a second fixed point S places Q, and R
    // follows from P and Q in the next layer.
    Points({{"P", 0, 0}, {"Q", 3, 0}, {"R", 0, 3}, {"S", 3, 3}});
    sketch.AddFix("fp", "P");
    sketch.AddFix("fs", "S");
    Distances(
        {{"pq", "P", "Q", 3}, {"pr", "P", "R", 3}, {"qr", "Q", "R", 4.2426}, {"sq", "S", "Q", 3}});
    LoadCore();
    ASSERT_EQ(g_sktUndefinedNodeChain.GetCount(), 4);

    EXPECT_EQ(sktCreateMainCluster(cluster), 1);

    EXPECT_EQ(NodeIds(sketch, cluster->m_NodeList), (std::vector<std::string>{"P", "S", "Q", "R"}));
    EXPECT_TRUE(cluster->m_RelList.IsEmpty());
    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
    EXPECT_TRUE(g_sktDefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktKnownNodeChain.IsEmpty());
    for (const char* id : {"pq", "pr", "qr", "sq"})
    {
        EXPECT_TRUE(sketch.FindRelation(id)->IsUsed()) << id;
    }
}

TEST_F(ClusterGrowth, MainClusterKeepsRelationsToPartlyPlacedNodes)
{
    // The fixed point only halves the freedom of its neighbours: they stay undefined, and the
    // relations toward them become the main cluster's relations.
    sketch.AddFix("fa", "A");
    BraceSquare("A", "B", "C", "D");
    sketch.AddFix("fa2", "A");
    Distances({{"AC", "A", "C", 1.4142}, {"BD", "B", "D", 1.4142}});
    Init();

    EXPECT_EQ(sktCreateMainCluster(cluster), 1);

    EXPECT_EQ(NodeIds(sketch, cluster->m_NodeList), std::vector<std::string>{"A"});
    EXPECT_EQ(RelIds(sketch, cluster->m_RelList), (std::vector<std::string>{"AB", "DA", "AC"}));
    EXPECT_EQ(NodeIds(sketch, g_sktUndefinedNodeChain), (std::vector<std::string>{"B", "C", "D"}));
    EXPECT_EQ(RelIds(sketch, g_sktRelChain), (std::vector<std::string>{"BC", "CD", "BD"}));
    EXPECT_EQ(sketch.FindNode("B")->m_nFreeNum, 1);
}

TEST_F(ClusterGrowth, SketchWithoutFixedGeometryGivesAnEmptyMainCluster)
{
    BraceSquare("A", "B", "C", "D");
    sketch.AddPPdis("AC", "A", "C", ValueSpec::Own(1.4142));
    LoadCore();

    EXPECT_EQ(sktCreateMainCluster(cluster), 1);

    EXPECT_EQ(cluster->GetNodeNum(), 0);
    EXPECT_EQ(cluster->GetFreeNum(), 3);
    EXPECT_EQ(g_sktUndefinedNodeChain.GetCount(), 4);
}

TEST_F(ClusterGrowth, ReasoningStopsAtAnIllegalNode)
{
    // Q lies at known distances from two lines that are parallel.
    sketch.AddLine("L1", 0, 0, 1, 0);
    sketch.AddLine("L2", 0, 4, 1, 0);
    Points({{"Q", 0, 1}, {"X", 5, 5}});
    sketch.AddPLdis("q1", "Q", "L1", ValueSpec::Own(1));
    sketch.AddPLdis("q2", "Q", "L2", ValueSpec::Own(3));
    sketch.AddPPdis("qx", "Q", "X", ValueSpec::Own(1));
    LoadCore();
    for (const char* id : {"L1", "L2"})
    {
        sketch.FindNode(id)->m_nFreeNum = 0;
    }

    EXPECT_EQ(sktReasoningFromOneNode(sketch.FindNode("L1"), cluster), 1);
    EXPECT_EQ(sktReasoningFromOneNode(sketch.FindNode("L2"), cluster), 0);
}

TEST_F(ClusterGrowth, OneUndefinedNodeCannotSeed)
{
    sketch.AddPoint("A", 0, 0);
    Init();
    g_sktUndefinedNodeChain.AddTail(sketch.FindNode("A"));

    EXPECT_EQ(sktFindBaseNodesForCluster(cluster), 0);
    EXPECT_EQ(cluster->GetNodeNum(), 0);
}

TEST_F(ClusterGrowth, RelationsWithUnknownValuesCannotSeed)
{
    BraceSquare("A", "B", "C", "D");
    sketch.AddPPdis("AC", "A", "C", ValueSpec::Own(1.4142));
    Init();
    POSITION pos = g_sktRelChain.GetHeadPosition();
    while (pos != nullptr)
    {
        g_sktRelChain.GetNext(pos)->m_pVal->SetUnknown();
    }

    EXPECT_EQ(sktFindBaseNodesForCluster(cluster), 0);
}

TEST_F(ClusterGrowth, BaseNodesAreTheBestConnectedPairAndActivationIsUndone)
{
    // A has the most relations; among its neighbours C has the most left once A is taken.
    BraceSquare("A", "B", "C", "D");
    sketch.AddPPdis("AC", "A", "C", ValueSpec::Own(1.4142));
    sketch.AddPoint("E", 2, 2);
    Distances({{"CE", "C", "E", 1.4142}, {"EA", "E", "A", 2.8284}, {"EB", "E", "B", 2.2361}});
    LoadCore();
    ASSERT_EQ(g_sktUndefinedNodeChain.GetCount(), 5);

    EXPECT_EQ(sktFindBaseNodesForCluster(cluster), 1);

    EXPECT_EQ(NodeIds(sketch, cluster->m_NodeList), (std::vector<std::string>{"A", "C"}));
    EXPECT_EQ(cluster->GetFreeNum(), 3);
    EXPECT_EQ(sketch.FindNode("A")->m_nFreeNum, 0);
    EXPECT_EQ(sketch.FindNode("C")->m_nFreeNum, 0);
    for (const char* id : {"B", "D", "E"})
    {
        EXPECT_EQ(sketch.FindNode(id)->m_nFreeNum, 2) << id;
    }
    EXPECT_TRUE(sketch.FindRelation("AC")->IsUsed());
    for (const char* id : {"AB", "DA", "EA", "BC", "CD", "CE", "EB"})
    {
        EXPECT_TRUE(sketch.FindRelation(id)->IsUnused()) << id;
    }
    EXPECT_TRUE(g_sktDefinedNodeChain.IsEmpty());
}

TEST_F(ClusterGrowth, TieGoesToTheFirstRelationOfTheChain)
{
    BraceSquare("A", "B", "C", "D");
    Distances({{"BD", "B", "D", 1.4142}, {"AC", "A", "C", 1.4142}});
    Init();

    EXPECT_EQ(sktFindBaseNodesForCluster(cluster), 1);

    // Every corner has three relations: the first relation (AB) gives A, then B beats D.
    EXPECT_EQ(NodeIds(sketch, cluster->m_NodeList), (std::vector<std::string>{"A", "B"}));
}

TEST_F(ClusterGrowth, CoincidentBaseNodesLeaveAClusterThatOnlyMoves)
{
    // A zero distance places the second base node from the first alone.
    Points({{"A", 0, 0}, {"B", 0, 0}, {"C", 1, 0}, {"D", 0, 1}});
    Distances({{"ab", "A", "B", 0},
               {"ac", "A", "C", 1, false},
               {"ad", "A", "D", 1, false},
               {"bc", "B", "C", 1, false},
               {"bd", "B", "D", 1, false},
               {"cd", "C", "D", 1, false}});
    Init();
    ASSERT_EQ(g_sktUndefinedNodeChain.GetCount(), 4);

    EXPECT_EQ(sktFindBaseNodesForCluster(cluster), 1);

    EXPECT_EQ(NodeIds(sketch, cluster->m_NodeList), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(cluster->GetFreeNum(), 2);
    EXPECT_TRUE(sketch.FindRelation("ab")->IsUsed());
    EXPECT_TRUE(g_sktDefinedNodeChain.IsEmpty());
}

TEST_F(ClusterGrowth, SecondZeroDistanceToTheSecondBaseNodeIsAContradiction)
{
    // Two zero distances from A to B: B is placed twice over.
    Points({{"A", 0, 0}, {"B", 0, 0}, {"C", 1, 0}});
    Distances({{"ab", "A", "B", 0},
               {"ab2", "A", "B", 1, false},
               {"ac", "A", "C", 1, false},
               {"bc", "B", "C", 1, false},
               {"bc2", "B", "C", 1, false},
               {"ac2", "A", "C", 1, false}});
    Init();
    ASSERT_EQ(g_sktUndefinedNodeChain.GetCount(), 3);
    // Make the second A-B relation a known 0 as well, after stripping.
    CRel* ab2 = sketch.FindRelation("ab2");
    ab2->m_pVal->SetKnown();
    ab2->m_pVal->SetValue(0.0);
    sketch.FindRelation("ab")->m_pVal->SetValue(0.0);

    // The first zero distance places B; activating the second is refused.
    EXPECT_EQ(sktFindBaseNodesForCluster(cluster), -1);
}

} // namespace
