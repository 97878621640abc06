// Values: who deletes a shared value, and the re-evaluation of the
// nodes around a shared value that has just become known.
#include "ModelTestSupport.h"

#include <algorithm>
#include <memory>
#include <vector>

using ValueTest = ModelTest;

TEST_F(ValueTest, SharingRelationBetweenKnownNodesRefusesButValueStaysKnown)
{
    CVert k1(0, 0, 0);
    CVert k2(3, 0, 0);
    CVert u(0, 5, 0);
    CVal* v = new CVal();
    CPPdis free(&k1, &u, v);
    CPPdis closed(&k1, &k2, v);
    Link(free);
    Link(closed);
    free.SetActive();
    closed.SetActive();
    k1.SetKnown();
    k2.SetKnown();

    EXPECT_EQ(v->ChangeRelChainFromUnknownToKnown(), 0);
    EXPECT_EQ(v->IsKnown(), 1);
}

TEST_F(ValueTest, LoneSharingRelationIsReactivatedFromItsKnownEnd)
{
    struct Row
    {
        const char* name;
        double value;
        int freeAfter;
    };
    const Row rows[] = {
        {"a distance removes one freedom", 5.0, 1},
        {"exactly the identity tolerance still removes one", 1e-4, 1},
        {"a zero distance makes the points one", 0.0, 0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        ClearChains();
        CVert known(0, 0, 0);
        CVert unknown(4, 3, 0);
        CVal* v = new CVal();
        v->SetValue(row.value);
        CPPdis r(&unknown, &known, v);
        Link(r);
        r.SetActive();
        known.SetKnown();

        EXPECT_EQ(v->ChangeRelChainFromUnknownToKnown(), 1);

        EXPECT_EQ(unknown.m_nFreeNum, row.freeAfter);
        EXPECT_EQ(r.IsActive(), 1);
        EXPECT_EQ(g_sktDefinedNodeChain.GetCount(), row.freeAfter == 0 ? 1 : 0);
    }
}

TEST_F(ValueTest, GivesBackTheGroupsFreedomAndReactivatesEveryRelationOfTheNode)
{
    CVert k1(0, 0, 0);
    CVert k2(6, 0, 0);
    CVert u(3, 4, 0);
    CVert w(3, 11, 0);
    CVal* v = new CVal();
    v->SetValue(5);
    CPPdis s1(&k1, &u, v);
    CPPdis s2(&k2, &u, v);
    CPPdis onward(&u, &w, 7, 1);
    Link(s1);
    Link(s2);
    Link(onward);
    s1.SetActive();
    s2.SetActive();
    u.m_nFreeNum = 1; // the group of two took one freedom while the value was unknown
    k1.SetKnown();
    k2.SetKnown();

    EXPECT_EQ(v->ChangeRelChainFromUnknownToKnown(), 1);

    // u got its freedom back, then both distances made it known; s2 was reset by u's walk and
    // is not walked again, and the relation toward w was re-activated from the now known u.
    EXPECT_EQ(u.m_nFreeNum, 0);
    EXPECT_EQ(w.m_nFreeNum, 1);
    EXPECT_EQ(s1.IsActive(), 1);
    EXPECT_EQ(s2.IsActive(), 1);
    EXPECT_EQ(onward.IsActive(), 1);
    ASSERT_EQ(g_sktDefinedNodeChain.GetCount(), 1);
    EXPECT_EQ(g_sktDefinedNodeChain.GetHead(), &u);
}

TEST_F(ValueTest, ReactivationStartsFromTheFirstEndThatIsKnown)
{
    CVert k(0, 0, 0);
    CVert u(3, 4, 0);
    CVert w(3, 11, 0);
    CVal* v = new CVal();
    v->SetValue(5);
    CPPdis toW(&u, &w, 7, 1);
    CPPdis s(&k, &u, v);
    Link(toW);
    Link(s);
    s.SetActive();
    k.SetKnown();

    EXPECT_EQ(v->ChangeRelChainFromUnknownToKnown(), 1);

    // Neither end of toW was known, so it went from its second end toward u.
    EXPECT_EQ(u.m_nFreeNum, 0);
    EXPECT_EQ(w.m_nFreeNum, 2);
}

TEST_F(ValueTest, UnusedAndUsedSharersAreNotReevaluated)
{
    CVert a(0, 0, 0);
    CVert b(1, 0, 0);
    CVert c(2, 0, 0);
    CVal* v = new CVal();
    CPPdis unused(&a, &b, v);
    CPPdis used(&b, &c, v);
    Link(unused);
    Link(used);
    used.SetUsed();
    a.SetKnown();

    EXPECT_EQ(v->ChangeRelChainFromUnknownToKnown(), 1);

    EXPECT_EQ(unused.IsUnused(), 1);
    EXPECT_EQ(used.IsUsed(), 1);
    EXPECT_EQ(b.m_nFreeNum, 2);
    EXPECT_EQ(c.m_nFreeNum, 2);
}

TEST_F(ValueTest, FailedReactivationLeavesTheResetInPlace)
{
    CVert k(0, 0, 0);
    CVert u(5, 0, 0);
    CVert full(9, 9, 0);
    CVal* v = new CVal();
    v->SetValue(5);
    CPPdis s(&k, &u, v);
    CPPdis blocked(&u, &full, 1, 1);
    Link(s);
    Link(blocked);
    s.SetActive();
    blocked.SetActive();
    k.SetKnown();
    u.m_nFreeNum = 1;
    full.SetKnown();

    EXPECT_EQ(v->ChangeRelChainFromUnknownToKnown(), 0);

    // s took u's last freedom, so blocked was activated from u toward the known node: refused.
    EXPECT_EQ(v->IsKnown(), 1);
    EXPECT_EQ(u.m_nFreeNum, 0);
    EXPECT_EQ(s.IsActive(), 1);
    EXPECT_EQ(blocked.IsUnused(), 1);
}

// ---- Who deletes a value ----
// Run under AddressSanitizer, these catch a leak or a double free in any deletion order.

TEST(ValueOwnership, LastSharingRelationDeletesTheValueInAnyOrder)
{
    const int orders[][3] = {{0, 1, 2}, {2, 1, 0}, {1, 0, 2}, {1, 2, 0}};
    for (const auto& order : orders)
    {
        SCOPED_TRACE(order[0] * 100 + order[1] * 10 + order[2]);
        CVert a(0, 0, 0);
        CVert b(1, 0, 0);
        CVal* v = new CVal();
        CRel* rels[3] = {new CPPdis(&a, &b, v), new CPPdis(&a, &b, v), new CPPdis(&b, &a, v)};
        for (CRel* r : rels)
        {
            Link(*r);
        }

        for (int i = 0; i < 3; ++i)
        {
            CRel* r = rels[order[i]];
            r->CutRelWithNode();
            delete r;
            if (i < 2)
            {
                EXPECT_EQ(v->GetRelSel()->GetCount(), 2 - i);
                EXPECT_EQ(v->GetRelSel()->Find(r), nullptr);
            }
        }
        EXPECT_TRUE(a.GetRelList()->IsEmpty());
        EXPECT_TRUE(b.GetRelList()->IsEmpty());
    }
}

TEST(ValueOwnership, CircleDeletedBeforeItsRadiusRelations)
{
    CVert centre(0, 0, 0);
    CVert p(2, 0, 0);
    VECTOR x(1, 0, 0);
    CMathline line(&p, x);
    CMathcir* circle = new CMathcir(XYZ(0, 0, 0), 2);
    CRad* rad = new CRad(&centre, circle);
    CPLdis* alike = new CPLdis(&centre, &line, circle->m_pRadiusVal);
    alike->m_pValueNode = circle;
    CVal* radius = circle->m_pRadiusVal;
    Link(*rad);
    Link(*alike);

    rad->CutRelWithNode();
    alike->CutRelWithNode();
    delete circle;
    EXPECT_EQ(radius->GetRelSel()->GetCount(), 2);
    delete rad;
    EXPECT_EQ(radius->GetRelSel()->GetCount(), 1);
    delete alike;
}
