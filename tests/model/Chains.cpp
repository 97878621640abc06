// The global chains, the counters and clusters, and the list operations the passes build on.
#include "ModelTestSupport.h"

#include <memory>
#include <vector>

using ChainTest = ModelTest;

namespace
{
template <class List, class T> std::vector<T*> Entries(List& list)
{
    std::vector<T*> out;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        out.push_back(list.GetNext(pos));
    }
    return out;
}
} // namespace

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
    EXPECT_EQ(copy->m_nID, 0);
    EXPECT_EQ(line.m_nID, 2); // the copy took number 1
    EXPECT_EQ(g_nRelNum, 1);
    EXPECT_EQ(g_nValNum, 1);
    EXPECT_EQ(g_nClusterNum, 1);
}

TEST_F(ChainTest, NewClusterIsEmptyWithThreeFreedoms)
{
    CCluster cluster;
    CVert p(0, 0, 0);
    CPPdis r;

    EXPECT_EQ(cluster.GetNodeNum(), 0);
    EXPECT_EQ(cluster.GetRelNum(), 0);
    EXPECT_EQ(cluster.GetFreeNum(), 3);
    EXPECT_EQ(cluster.m_wDriven, 0);
    cluster.AddNode(&p);
    cluster.AddRel(&r);
    cluster.AddRel(&r);
    EXPECT_EQ(cluster.GetNodeNum(), 1);
    EXPECT_EQ(cluster.GetRelNum(), 2);
    cluster.m_nFreeNum = -1;
    EXPECT_EQ(cluster.GetFreeNum(), -1);
    cluster.RemoveAllNode();
    cluster.RemoveAllRel();
    EXPECT_EQ(cluster.GetNodeNum(), 0);
    EXPECT_EQ(cluster.GetRelNum(), 0);
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

    EXPECT_EQ((Entries<CNodeList, CNode>(g_sktUndefinedNodeChain)),
              (std::vector<CNode*>{&n[1], &n[4], &n[5]}));

    for (CVert& v : n)
    {
        v.SetKnown();
    }
    sktRemoveKnownNodeFromChain();
    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
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
    CPPdis unused1;
    CPPdis active1;
    CPPdis used1;
    CPPdis active2;
    CPPdis unused2;
    CRel* all[] = {&unused1, &active1, &used1, &active2, &unused2};
    for (CRel* r : all)
    {
        g_sktRelChain.AddTail(r);
    }
    active1.SetActive();
    active2.SetActive();
    used1.SetUsed();
    CCluster cluster;

    sktGetClusterRelChain(&cluster);
    sktGetClusterRelChain(&cluster);

    EXPECT_EQ((Entries<CRelList, CRel>(cluster.m_RelList)),
              (std::vector<CRel*>{&active1, &active2}));
    EXPECT_EQ(active1.IsUsed(), 1);
    EXPECT_EQ(active2.IsUsed(), 1);
    EXPECT_EQ(unused1.IsUnused(), 1);
    EXPECT_EQ(used1.IsUsed(), 1);
    EXPECT_EQ(g_sktRelChain.GetCount(), 5);

    unused2.SetActive();
    sktRemoveActiveAndUsedRelFromChain();

    EXPECT_EQ((Entries<CRelList, CRel>(g_sktRelChain)), (std::vector<CRel*>{&unused1}));
}

TEST_F(ChainTest, RemoveFromListTakesOnlyTheFirstEqualEntry)
{
    int x = 0;
    int y = 0;
    int z = 0;
    int absent = 0;
    CPtrList list;
    list.AddTail(&y);
    list.AddTail(&x);
    list.AddTail(&y);
    list.AddTail(&z);

    RemoveFromList(&y, list);
    RemoveFromList(&absent, list);

    EXPECT_EQ((Entries<CPtrList, void>(list)), (std::vector<void*>{&x, &y, &z}));

    CPtrList remove;
    remove.AddTail(&z);
    remove.AddTail(&y);
    remove.AddTail(&y);
    remove.AddTail(&x);
    remove.AddTail(&x);
    RemoveListFromList(remove, list);
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(remove.GetCount(), 5);
}

TEST_F(ChainTest, ChainsAreIndependentAndOwnNothing)
{
    CPtrList* chains[] = {&g_sktGoodNodeChain,      &g_sktKnownNodeChain, &g_sktDefinedNodeChain,
                          &g_sktUndefinedNodeChain, &g_sktRelChain,       &g_sktDriveRelChain,
                          &g_sktSaveRelChain,       &g_sktClusterChain,   &g_sktGoodClusterChain};
    std::unique_ptr<CCluster> cluster(new CCluster());

    for (int i = 0; i < 9; ++i)
    {
        for (int k = 0; k <= i; ++k)
        {
            chains[i]->AddTail(cluster.get());
        }
    }
    for (int i = 0; i < 9; ++i)
    {
        EXPECT_EQ(chains[i]->GetCount(), i + 1);
    }
    ClearChains();

    EXPECT_EQ(cluster->GetFreeNum(), 3); // still alive: emptying a chain deletes nothing
}
