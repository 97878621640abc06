// Values: who deletes a shared value, and the re-evaluation of the
// nodes around a shared value that has just become known.
#include "ModelTestSupport.h"

#include <algorithm>
#include <memory>
#include <vector>

using ValueTest = ModelTest;

TEST_F(ValueTest, SharingRelationBetweenKnownNodesRefusesButValueStaysKnown)
{
    ValueWeb web;
    CVert& k1 = web.Point(0, 0, true);
    CVert& k2 = web.Point(3, 0, true);
    CVert& u = web.Point(0, 5);
    web.Shared(k1, u, true);
    web.Shared(k1, k2, true);

    EXPECT_EQ(web.v->ChangeRelChainFromUnknownToKnown(), 0);
    EXPECT_EQ(web.v->IsKnown(), 1);
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
        ValueWeb web(row.value);
        CVert& known = web.Point(0, 0, true);
        CVert& unknown = web.Point(4, 3);
        CPPdis& r = web.Shared(unknown, known, true);

        EXPECT_EQ(web.v->ChangeRelChainFromUnknownToKnown(), 1);

        EXPECT_EQ(unknown.m_nFreeNum, row.freeAfter);
        EXPECT_EQ(r.IsActive(), 1);
        EXPECT_EQ(g_sktDefinedNodeChain.GetCount(), row.freeAfter == 0 ? 1 : 0);
    }
}

TEST_F(ValueTest, ReactivationStartsFromTheFirstEndThatIsKnown)
{
    ValueWeb web(5);
    CVert& k = web.Point(0, 0, true);
    CVert& u = web.Point(3, 4);
    CVert& w = web.Point(3, 11);
    web.Own(u, w, 7);
    web.Shared(k, u, true);

    EXPECT_EQ(web.v->ChangeRelChainFromUnknownToKnown(), 1);

    // Neither end of the distance toward w was known, so it went from its second end toward u.
    EXPECT_EQ(u.m_nFreeNum, 0);
    EXPECT_EQ(w.m_nFreeNum, 2);
}

TEST_F(ValueTest, FailedReactivationLeavesTheResetInPlace)
{
    ValueWeb web(5);
    CVert& k = web.Point(0, 0, true);
    CVert& u = web.Point(5, 0);
    CVert& full = web.Point(9, 9, true);
    CPPdis& s = web.Shared(k, u, true);
    CPPdis& blocked = web.Own(u, full, 1, true);
    u.m_nFreeNum = 1;

    EXPECT_EQ(web.v->ChangeRelChainFromUnknownToKnown(), 0);

    // s took u's last freedom, so blocked was activated from u toward the known node: refused.
    EXPECT_EQ(web.v->IsKnown(), 1);
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
