// The choice of base nodes where whole sketches do not reach: the tie between equally connected
// corners and the zero distances between the two base nodes.
#include "judge/JudgeTestUtil.h"

#include <gtest/gtest.h>

using judgetest::NodeIds;
using qsolver::ValueSpec;

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
