// The global chains, the counters, and the list operations the passes build on.
#include "ModelTestSupport.h"

#include <memory>
#include <vector>

using ChainTest = ModelTest;

TEST_F(ChainTest, InitCountNumRestartsEveryNumbering)
{
    CVert before(0, 0, 0);

    sktInitCountNum();
    CVert point(0, 0, 0);
    CPPdis rel;
    CVal val;
    CCluster cluster;
    std::unique_ptr<CNode> copy(point.Copy());
    CMathline line;

    EXPECT_EQ(point.m_nID, 0);
    EXPECT_EQ(rel.m_nID, 0);
    EXPECT_EQ(val.m_nID, 0);
    EXPECT_EQ(cluster.m_nID, 0);
    EXPECT_EQ(line.m_nID, 2); // the copy took number 1
    EXPECT_EQ(g_nRelNum, 1);
    EXPECT_EQ(g_nValNum, 1);
    EXPECT_EQ(g_nClusterNum, 1);
}

TEST_F(ChainTest, RemoveKnownNodesKeepsTheOrderOfTheRest)
{
    CVert n[6] = {CVert(0, 0, 0), CVert(1, 0, 0), CVert(2, 0, 0),
                  CVert(3, 0, 0), CVert(4, 0, 0), CVert(5, 0, 0)};
    for (CVert& v : n)
    {
        g_sktUndefinedNodeChain.AddTail(&v);
    }
    n[0].SetKnown();
    n[2].SetKnown();
    n[3].SetKnown();
    n[4].m_nFreeNum = 1;

    sktRemoveKnownNodeFromChain();

    EXPECT_EQ(Entries(g_sktUndefinedNodeChain), (std::vector<CNode*>{&n[1], &n[4], &n[5]}));
    for (CVert& v : n)
    {
        v.SetKnown();
    }
    sktRemoveKnownNodeFromChain();
    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
}

TEST_F(ChainTest, InitUndefinedNodeChainMakesEveryNodeUnknown)
{
    CVert a(0, 0, 0);
    CMathline b;
    CVert outside(0, 0, 0);
    a.SetKnown();
    b.m_nFreeNum = 1;
    outside.SetKnown();
    g_sktUndefinedNodeChain.AddTail(&a);
    g_sktUndefinedNodeChain.AddTail(&b);

    sktInitUndefinedNodeChain();

    EXPECT_EQ(a.m_nFreeNum, 2);
    EXPECT_EQ(b.m_nFreeNum, 2);
    EXPECT_EQ(outside.m_nFreeNum, 0);
}

TEST_F(ChainTest, RelationChainOperationsByUseState)
{
    CPPdis unused1, active1, used1, active2, unused2;
    for (CRel* r : {&unused1, &active1, &used1, &active2, &unused2})
    {
        g_sktRelChain.AddTail(r);
    }
    active1.SetActive();
    active2.SetActive();
    used1.SetUsed();
    CCluster cluster;

    sktGetClusterRelChain(&cluster);
    sktGetClusterRelChain(&cluster);

    EXPECT_EQ(Entries(cluster.m_RelList), (std::vector<CRel*>{&active1, &active2}));
    EXPECT_EQ(active1.IsUsed(), 1);
    EXPECT_EQ(active2.IsUsed(), 1);
    EXPECT_EQ(unused1.IsUnused(), 1);
    EXPECT_EQ(g_sktRelChain.GetCount(), 5);

    unused2.SetActive();
    sktRemoveActiveAndUsedRelFromChain();

    EXPECT_EQ(Entries(g_sktRelChain), (std::vector<CRel*>{&unused1}));
}

TEST_F(ChainTest, RemoveFromListTakesOnlyTheFirstEqualEntry)
{
    int x = 0, y = 0, z = 0, absent = 0;
    CPtrList list;
    for (int* p : {&y, &x, &y, &z})
    {
        list.AddTail(p);
    }

    RemoveFromList(&y, list);
    RemoveFromList(&absent, list);

    EXPECT_EQ(Entries(list), (std::vector<void*>{&x, &y, &z}));
    CPtrList remove;
    for (int* p : {&z, &y, &y, &x, &x})
    {
        remove.AddTail(p);
    }
    RemoveListFromList(remove, list);
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(remove.GetCount(), 5);
}
