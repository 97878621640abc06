// Opening and closing the analysis pass: what is loaded, what is stripped, what is reset.
#include "judge/JudgeTestUtil.h"

#include <gtest/gtest.h>

using judgetest::NodeIds;
using judgetest::RelIds;
using qsolver::host::ValueSpec;

namespace
{

using JudgeInit = judgetest::JudgeTest;

TEST_F(JudgeInit, EmptyNodeListLoadsOnlyTheRelations)
{
    CNodeList noNodes;
    CRelList rels;
    CVert a(0, 0, 0);
    CVert b(1, 0, 0);
    CPPdis d(&a, &b, 1.0, 1);
    CFix f(&a);
    rels.AddTail(&f);
    rels.AddTail(&d);
    d.SetUsed();

    sktInitJudge(noNodes, rels);

    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    ASSERT_EQ(g_sktRelChain.GetCount(), 1);
    EXPECT_EQ(g_sktRelChain.GetHead(), &d);
    EXPECT_TRUE(d.IsUnused());
    sktFinishJudge(rels);
}

TEST_F(JudgeInit, PathIsStrippedButItsFixedEndStays)
{
    Points({{"A", 0, 0}, {"B", 1, 0}, {"C", 2, 0}, {"D", 3, 0}});
    sketch.AddFix("fixD", "D");
    Distances({{"ab", "A", "B", 1}, {"bc", "B", "C", 1}, {"cd", "C", "D", 1}});

    Init();

    EXPECT_EQ(NodeIds(sketch, g_sktUndefinedNodeChain), std::vector<std::string>{"D"});
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
    for (const char* id : {"ab", "bc", "cd"})
    {
        EXPECT_TRUE(sketch.FindRelation(id)->IsUsed()) << id;
    }
    EXPECT_TRUE(sketch.FindRelation("fixD")->IsUnused());
}

TEST_F(JudgeInit, TriangleIsStrippedInOneWalk)
{
    Points({{"A", 0, 0}, {"B", 4, 0}, {"C", 4, 3}});
    Distances({{"ab", "A", "B", 4}, {"bc", "B", "C", 3}, {"ca", "C", "A", 5}});

    Init();

    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
    // Only the first node met went through the legality test.
    EXPECT_EQ(sketch.FindNode("A")->m_nFreeNum, 0);
    EXPECT_EQ(sketch.FindNode("B")->m_nFreeNum, 2);
    EXPECT_EQ(sketch.FindNode("C")->m_nFreeNum, 2);
}

TEST_F(JudgeInit, NodeThatTwoRelationsPlaceIllegallyIsKept)
{
    // P is held by two distances to lines that are parallel: not a placement.
    sketch.AddLine("L1", 0, 0, 1, 0);
    sketch.AddLine("L2", 0, 5, 1, 0);
    sketch.AddPoint("P", 1, 1);
    sketch.AddFix("f1", "L1");
    sketch.AddFix("f2", "L2");
    sketch.AddPLdis("d1", "P", "L1", ValueSpec::Own(1));
    sketch.AddPLdis("d2", "P", "L2", ValueSpec::Own(4));

    Init();

    EXPECT_EQ(NodeIds(sketch, g_sktUndefinedNodeChain),
              (std::vector<std::string>{"L1", "L2", "P"}));
    EXPECT_EQ(RelIds(sketch, g_sktRelChain), (std::vector<std::string>{"d1", "d2"}));
    EXPECT_TRUE(sketch.FindRelation("d1")->IsUnused());
    EXPECT_TRUE(sketch.FindRelation("d2")->IsUnused());
    EXPECT_EQ(sketch.FindNode("P")->m_nFreeNum, 2);
}

TEST_F(JudgeInit, LegalityTestLeavesKnownFlagsAsBackedUp)
{
    // Two equal unknown distances from fixed points: the test takes the value as known for a
    // moment, and the flag must come back from its backup.
    Points({{"A", 0, 0}, {"B", 4, 0}, {"P", 2, 3}});
    sketch.AddFix("fa", "A");
    sketch.AddFix("fb", "B");
    sketch.AddValue("same", 0, false);
    sketch.AddPPdis("pa", "P", "A", ValueSpec::Shared("same"));
    sketch.AddPPdis("pb", "P", "B", ValueSpec::Shared("same"));

    Init();

    EXPECT_EQ(NodeIds(sketch, g_sktUndefinedNodeChain), (std::vector<std::string>{"A", "B"}));
    EXPECT_FALSE(sketch.FindValue("same")->IsKnown());
}

TEST_F(JudgeInit, EmptiesChainsAndDeletesClustersOfAnEarlierPass)
{
    sketch.AddPoint("A", 0, 0);
    g_sktClusterChain.AddTail(new CCluster());
    g_sktGoodClusterChain.AddTail(new CCluster());
    g_sktDriveRelChain.AddTail(nullptr);
    g_sktKnownNodeChain.AddTail(sketch.FindNode("A"));

    Init();

    EXPECT_TRUE(g_sktClusterChain.IsEmpty());
    EXPECT_TRUE(g_sktGoodClusterChain.IsEmpty());
    EXPECT_TRUE(g_sktDriveRelChain.IsEmpty());
    EXPECT_TRUE(g_sktKnownNodeChain.IsEmpty());
}

TEST_F(JudgeInit, FinishResetsRelationsAndFlagsButNotOtherRelations)
{
    Points({{"A", 0, 0}, {"B", 1, 0}});
    sketch.AddPPdis("ab", "A", "B", ValueSpec::Own(1, false));
    CVert c(0, 0, 0);
    CVert d(1, 0, 0);
    CPPdis outside(&c, &d, 1.0, 1);
    Init();
    CRel* ab = sketch.FindRelation("ab");
    ab->SetActive();
    ab->m_pVal->SetKnown();
    outside.SetUsed();
    g_sktClusterChain.AddTail(new CCluster());

    sktFinishJudge(sketch.Relations());

    EXPECT_TRUE(ab->IsUnused());
    EXPECT_FALSE(ab->m_pVal->IsKnown());
    EXPECT_TRUE(outside.IsUsed());
    EXPECT_TRUE(g_sktClusterChain.IsEmpty());
    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
}

} // namespace
