// The steps of the drive pass run one by one on small sketches: what each leaves in the chains,
// the clusters and the states a host can see.
#include "drive/DriveCheck.h"
#include "common/SketchRows.h"

#include "QsolverInternal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using sketchrows::Points;
using namespace qsolver;
using namespace drivecheck;

namespace
{
// The clusters of the last drive stay in the chains until the next pass opens; the test
// program ends with one, so that nothing is left behind.
class ReleaseDriveClusters : public ::testing::Environment
{
public:
    void TearDown() override { ClosePass(); }
};
::testing::Environment* const kReleaseDriveClusters =
    ::testing::AddGlobalTestEnvironment(new ReleaseDriveClusters);
} // namespace

TEST(DrivePass, GoodNodesArePlacedLastStrippedFirstWithShortLinesLast)
{
    Sketch s;
    s.AddPoint("A", 0, 0);
    s.AddLine("base", 0, 0, 1, 0);
    s.AddFix("fixA", "A");
    s.AddFix("fixBase", "base");
    s.AddPoint("B", 3, 0);
    s.AddPLdis("onBase", "B", "base", ValueSpec::Own(0));
    s.AddPPdis("ab", "A", "B", ValueSpec::Own(3));
    s.AddLine("up", 3, 0, 0, 1);
    s.AddPLdis("BonUp", "B", "up", ValueSpec::Own(0));
    s.AddLLang("square", "base", "up", ValueSpec::Own(2.0 * std::acos(0.0) / 2));
    s.AddPoint("C", 3, 2);
    s.AddPLdis("ConUp", "C", "up", ValueSpec::Own(0));
    s.AddPPdis("bc", "B", "C", ValueSpec::Own(2));

    OpenPass(s, "ab", 4.0);

    // up holds three relations but only two were unused when it was stripped: it keeps its
    // place; C went first, so it is placed last among the others.
    EXPECT_EQ(Ids(s, g_sktGoodNodeChain), (std::vector<std::string>{"B", "up", "C"}));
    EXPECT_EQ(Ids(s, g_sktUndefinedNodeChain), (std::vector<std::string>{"A", "base"}));
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
    ASSERT_EQ(sktBuildClusterChain(), 1);
    sktRemoveGoodClusterFromChain();
    ASSERT_EQ(sktSolveClusterChain(), 1);
    ASSERT_EQ(sktSolveGoodClusterChain(), 1);
    ASSERT_EQ(sktSolveGoodNodeChain(), 1);
    EXPECT_EQ(Ids(s, g_sktKnownNodeChain), (std::vector<std::string>{"B", "up", "C"}));
    EXPECT_TRUE(g_sktSaveRelChain.IsEmpty());
    EXPECT_TRUE(AllHold(s));
    EXPECT_NEAR(s.FindPoint("C")->m_Pos.x, 4.0, 1e-9);
    ClosePass();
}

TEST(DrivePass, PairThatIsNotLegalStaysInTheCoreUntouched)
{
    Sketch s;
    Points(s, {{"A", 0, 0}, {"A2", 0.5e-4, 0}});
    s.AddFix("fixA", "A");
    s.AddFix("fixA2", "A2");
    s.AddPoint("P", 1, 1);
    s.AddValue("shared", 0, false);
    s.AddPPdis("pa", "P", "A", ValueSpec::Own(std::sqrt(2.0)));
    s.AddPPdis("pa2", "P", "A2", ValueSpec::Shared("shared"));

    OpenPass(s, nullptr, 0);

    EXPECT_EQ(Ids(s, g_sktUndefinedNodeChain), (std::vector<std::string>{"A", "A2", "P"}));
    EXPECT_TRUE(s.FindRelation("pa")->IsUnused());
    EXPECT_TRUE(s.FindRelation("pa2")->IsUnused());
    EXPECT_EQ(s.FindValue("shared")->m_bKnown, 0);
    EXPECT_EQ(s.FindRelation("pa")->m_pVal->m_bKnown, 1);
    ClosePass();
}

TEST(DrivePass, FailedConstructionFallsBackToSolvingThePlacedNodes)
{
    // A circle whose radius relation ends at T4 hands T4's construction a third relation that
    // no point case takes; the nodes placed so far are then solved together.
    for (const char* change : {"m0_1", "m1_3", "m4_5"})
    {
        SCOPED_TRACE(change);
        Sketch s;
        DrawTruss(s, 7);
        s.AddCircle("K", 4, 0, 1.0);
        s.AddRad("r4", "T4", "K");
        ASSERT_TRUE(s.Drive({{"m0_1", 2.0}}).IsOk());
        const double turn = Orientation(s, "T2", "T3", "T4");
        const Snapshot before = Snap(s);

        ASSERT_TRUE(DrivesAndHolds(s, {{change, s.FindRelation(change)->m_pVal->m_dValue + 0.2}}));
        EXPECT_GT(Orientation(s, "T2", "T3", "T4") * turn, 0.0);
        EXPECT_TRUE(SameBits(before, Snap(s), "T0"));
    }
}

// Regression: activating the first loose node made the second known through the shared values,
// and the build left it in the defined-node chain.
TEST(DrivePass, SketchWithoutFixedGeometryStartsWithAnEmptyCluster)
{
    Sketch s;
    Points(s, {{"P", 0, 0}, {"Q", 3, 0}});
    s.AddValue("v", 0, false);
    s.AddValue("w", 0, false);
    for (int i = 0; i < 4; ++i)
    {
        s.AddPPdis("pq" + std::to_string(i), "P", "Q", ValueSpec::Shared(i % 2 ? "w" : "v"));
    }

    OpenPass(s, nullptr, 0);
    ASSERT_EQ(sktBuildClusterChain(), 1);

    ASSERT_EQ(g_sktClusterChain.GetCount(), 3);
    CCluster* first = g_sktClusterChain.GetHead();
    EXPECT_EQ(first->GetNodeNum(), 0);
    EXPECT_EQ(first->GetFreeNum(), 3);
    EXPECT_EQ(g_sktClusterChain.GetTail()->GetFreeNum(), 2);
    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktDefinedNodeChain.IsEmpty());
    ClosePass();
}

TEST(DrivePass, LooseNodesBecomeSmallClustersAndShareTheirRelations)
{
    // Two points that only shared unknown values join: no seed, each its own cluster that can
    // only move, and a relation between two clusters is listed in both.
    Sketch s;
    Points(s, {{"A", 0, 0}, {"B", 4, 0}});
    s.AddFix("fixA", "A");
    s.AddFix("fixB", "B");
    s.AddValue("v", 0, false);
    s.AddValue("w", 0, false);
    Points(s, {{"P", 1, 2}, {"Q", 3, 2}});
    for (const char* p : {"P", "Q"})
    {
        for (const char* f : {"A", "B"})
        {
            s.AddPPdis(std::string(p) + f, p, f, ValueSpec::Shared(p[0] == 'P' ? "v" : "w"));
        }
    }
    s.AddPPdis("PQ1", "P", "Q", ValueSpec::Shared("v"));
    s.AddPPdis("PQ2", "P", "Q", ValueSpec::Shared("w"));

    OpenPass(s, nullptr, 0);
    ASSERT_EQ(Ids(s, g_sktUndefinedNodeChain), (std::vector<std::string>{"A", "B", "P", "Q"}));
    ASSERT_EQ(sktBuildClusterChain(), 1);

    ASSERT_EQ(g_sktClusterChain.GetCount(), 3);
    POSITION pos = g_sktClusterChain.GetHeadPosition();
    CCluster* fixed = g_sktClusterChain.GetNext(pos);
    CCluster* p = g_sktClusterChain.GetNext(pos);
    CCluster* q = g_sktClusterChain.GetNext(pos);
    EXPECT_EQ(Ids(s, fixed->m_NodeList), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(Ids(s, p->m_NodeList), (std::vector<std::string>{"P"}));
    EXPECT_EQ(p->GetFreeNum(), 2);
    EXPECT_EQ(q->GetFreeNum(), 2);
    const std::vector<std::string> pRels = Ids(s, p->m_RelList);
    const std::vector<std::string> qRels = Ids(s, q->m_RelList);
    for (const char* shared : {"PQ1", "PQ2"})
    {
        EXPECT_EQ(std::count(pRels.begin(), pRels.end(), shared), 1) << shared;
        EXPECT_EQ(std::count(qRels.begin(), qRels.end(), shared), 1) << shared;
    }
    ClosePass();
}

TEST(DrivePass, GoodClusterWithoutRelationsStaysWaiting)
{
    ClosePass();
    CCluster* fixed = new CCluster;
    CCluster* idle = new CCluster;
    g_sktClusterChain.AddTail(fixed);
    g_sktGoodClusterChain.AddTail(idle);

    EXPECT_EQ(sktSolveGoodClusterChain(), 1);

    ASSERT_EQ(g_sktGoodClusterChain.GetCount(), 1);
    EXPECT_EQ(g_sktGoodClusterChain.GetHead(), idle);
    ClosePass();
}

TEST(DrivePass, HostReleasesEveryRelationAfterASolvedAndAFailedDrive)
{
    struct Row
    {
        const char* name;
        double newValue;
        bool ok;
    };
    // A modest change is re-solved; a member longer than the two others of its triangle
    // together cannot be met and the drive restores the sketch.
    const Row rows[] = {{"solved", 2.2, true}, {"failed", 50.0, false}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        DrawTruss(s, 12);
        s.AddValue("free", 1.0, false);
        s.AddPoint("Z", 9, 9);
        s.AddPPdis("z", "Z", "T4", ValueSpec::Shared("free"));
        ASSERT_TRUE(s.Drive({{"m0_1", 2.0}}).IsOk());

        const DriveResult result = s.Drive({{"m4_5", row.newValue}});

        EXPECT_EQ(result.IsOk(), row.ok) << result.message;
        EXPECT_TRUE(g_sktDriveRelChain.IsEmpty());
        EXPECT_EQ(s.FindValue("free")->m_bKnown, 0);
        for (const std::string& id : s.RelationIds())
        {
            CRel* rel = s.FindRelation(id);
            EXPECT_TRUE(rel->IsUnused()) << id;
            if (rel->m_pVal != nullptr)
            {
                EXPECT_EQ(rel->m_pVal->m_bKnown, rel->m_pVal->m_bBackupKnown) << id;
            }
        }
        // The next pass starts clean.
        ASSERT_TRUE(s.Drive({{"m4_5", 2.0}}).IsOk());
        EXPECT_TRUE(AllHold(s));
    }
}
