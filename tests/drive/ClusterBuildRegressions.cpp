// Sketches whose cluster build leaves a relation out of every cluster, asserting what a host sees.
#include "drive/DriveCheck.h"

#include "common/RandomRows.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace qsolver;
using namespace drivecheck;

namespace
{
// No known value joins P0, P1, P2: each becomes a one-node cluster in turn. P0's activation
// determines P2, so P1 only measures the shared value on r0, which lands in no cluster.
void DrawSharedValueTriple(Sketch& s)
{
    s.AddPoint("P0", 1, 4);
    s.AddPoint("P1", 0, 3);
    s.AddLine("L0", 0, 0, 1, 0);
    s.AddPoint("P2", 0, 4);
    s.AddValue("v0", 1, false);
    s.AddValue("v1", 3, false);
    s.AddPPdis("r0", "P2", "P1", ValueSpec::Shared("v0"));
    s.AddPPdis("r1", "P0", "P2", ValueSpec::Shared("v0"));
    s.AddPPdis("r2", "P0", "P2", ValueSpec::Shared("v0"));
    s.AddPPdis("r3", "P2", "P0", ValueSpec::Shared("v0"));
    s.AddFix("fix", "L0");
    s.AddPLdis("r4", "P1", "L0", ValueSpec::Shared("v1"));
    s.AddPLdis("r5", "P1", "L0", ValueSpec::Shared("v1"));
}

bool InAnyClusterList(CRel* rel)
{
    for (CCluster* cluster : randomrows::Entries(g_sktClusterChain))
    {
        if (cluster->m_RelList.Find(rel) != nullptr)
        {
            return true;
        }
    }
    return false;
}
} // namespace

TEST(ClusterBuildRegression, RelationOnASharedUnknownValueLeftInNoClusterFailsTheDriveAndRestores)
{
    Sketch s;
    DrawSharedValueTriple(s);
    ASSERT_TRUE(AllHold(s, 1e-12));

    // P1 moved down to 2.5 from the line, 1.5 from P2, while r1 measures 1.
    ExpectCheckFailsAndRestores(s, "r5", 2.5, "relation 'r1' is off by 0.5");
}

TEST(ClusterBuildRegression, LeftoverNodeDeterminedByAnEarlierLeftoverLeavesItsRelationInNoCluster)
{
    Sketch s;
    DrawSharedValueTriple(s);
    ASSERT_TRUE(s.Analyse().IsOk());
    OpenPass(s, "r5", 2.5);

    ASSERT_EQ(sktBuildClusterChain(), 1);

    std::vector<std::string> clusters;
    for (CCluster* cluster : randomrows::Entries(g_sktClusterChain))
    {
        std::string nodes;
        for (const std::string& id : Ids(s, cluster->m_NodeList))
        {
            nodes += id;
        }
        clusters.push_back(nodes + "/" + std::to_string(cluster->GetFreeNum()));
    }
    EXPECT_EQ(clusters, (std::vector<std::string>{"L0/3", "P0/2", "P1/2", "P2/2"}));
    CRel* r0 = s.FindRelation("r0");
    EXPECT_FALSE(InAnyClusterList(r0));
    EXPECT_TRUE(r0->IsUsed());
    EXPECT_TRUE(InAnyClusterList(s.FindRelation("r1")));

    s.RestoreAll();
    ClosePass();
}
