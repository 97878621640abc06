// Relations: measures, and Active in each of its branches (known value, measuring an unknown value,
// equal unknown values).
#include "ModelTestSupport.h"

#include <memory>

using RelationTest = ModelTest;

namespace
{
enum Kind
{
    kPPdis,
    kPLdis,
    kLLdis,
    kLLang,
    kRad,
    kBase,
};

// Two points and two lines to hang relations of every kind on, plus a circle for the radius.
struct Ends
{
    CVert p1{0, 0, 0};
    CVert p2{3, 4, 0};
    CMathline l1{&p1, &p2};
    CMathline l2{&p2, &p1};
    CMathcir circle{XYZ(0, 0, 0), 2};

    // The relation and the node it is activated toward (the one whose free number matters).
    std::unique_ptr<CRel> Make(Kind kind, double value, CNode*& target)
    {
        switch (kind)
        {
            case kPPdis:
                target = &p2;
                return std::unique_ptr<CRel>(new CPPdis(&p1, &p2, value, 1));
            case kPLdis:
                target = &l1;
                return std::unique_ptr<CRel>(new CPLdis(&p1, &l1, value, 1));
            case kLLdis:
                target = &l2;
                return std::unique_ptr<CRel>(new CLLdis(&l1, &l2, value, 1));
            case kLLang:
                target = &l2;
                return std::unique_ptr<CRel>(new CLLang(&l1, &l2, value, 1));
            case kRad:
                target = &circle;
                return std::unique_ptr<CRel>(new CRad(&p1, &circle));
            default:
                target = &p2;
                return std::unique_ptr<CRel>(new CRel(&p1, &p2, value, 1));
        }
    }
};
} // namespace

TEST_F(RelationTest, KnownValueRemovesFreedomsFromTheTarget)
{
    struct Row
    {
        const char* name;
        Kind kind;
        double value;
        unsigned char freeBefore;
        int result;
        unsigned char freeAfter;
    };
    const Row rows[] = {
        {"zero distance makes a fresh point known", kPPdis, 0.0, 2, 1, 0},
        {"zero distance refused by a point with one freedom", kPPdis, 0.0, 1, 0, 1},
        {"distance just below the tolerance is coincidence", kPPdis, 0.99e-4, 2, 1, 0},
        {"negative tiny distance is coincidence", kPPdis, -0.5e-4, 2, 1, 0},
        {"distance of exactly the tolerance removes one", kPPdis, 1e-4, 2, 1, 1},
        {"distance 5 on a fresh point", kPPdis, 5.0, 2, 1, 1},
        {"distance 5 completes a point", kPPdis, 5.0, 1, 1, 0},
        {"distance 5 refused by a known point", kPPdis, 5.0, 0, 0, 0},
        {"point-line distance", kPLdis, 0.0, 2, 1, 1},
        {"line-line distance completes a line", kLLdis, 2.0, 1, 1, 0},
        {"angle removes one", kLLang, 1.0, 2, 1, 1},
        {"angle refused by a known line", kLLang, 1.0, 0, 0, 0},
        {"radius is refused", kRad, 0.0, 2, 0, 2},
        {"base relation is refused", kBase, 1.0, 2, 0, 2},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        ClearChains();
        Ends ends;
        CNode* target = nullptr;
        std::unique_ptr<CRel> rel = ends.Make(row.kind, row.value, target);
        target->m_nFreeNum = row.freeBefore;
        CNode* from = rel->GetAnotherNode(target);

        EXPECT_EQ(rel->Active(from), row.result);

        EXPECT_EQ(target->m_nFreeNum, row.freeAfter);
        EXPECT_EQ(rel->IsActive(), row.result);
        EXPECT_EQ(rel->IsUnused(), 1 - row.result);
        bool defined = row.result == 1 && row.freeAfter == 0;
        ASSERT_EQ(g_sktDefinedNodeChain.GetCount(), defined ? 1 : 0);
        if (defined)
        {
            EXPECT_EQ(g_sktDefinedNodeChain.GetTail(), target);
        }
    }
}

TEST_F(RelationTest, FixBecomesUsedAndChangesNothingElse)
{
    CVert p(1, 1, 0);
    CFix fix(&p);

    EXPECT_EQ(fix.Active(&p), 1);

    EXPECT_EQ(fix.IsUsed(), 1);
    EXPECT_EQ(p.m_nFreeNum, 2);
    EXPECT_TRUE(g_sktDefinedNodeChain.IsEmpty());
}

TEST_F(RelationTest, NodeThatIsNeitherEndMakesTheFirstNodeTheTarget)
{
    CVert a(0, 0, 0);
    CVert b(1, 0, 0);
    CVert stranger(5, 5, 0);
    CPPdis r(&a, &b, 1, 1);

    EXPECT_EQ(r.Active(&stranger), 1);

    EXPECT_EQ(a.m_nFreeNum, 1);
    EXPECT_EQ(b.m_nFreeNum, 2);
    EXPECT_EQ(r.GetAnotherNode(&a), &b);
    EXPECT_EQ(r.GetAnotherNode(&b), &a);
    EXPECT_EQ(r.GetAnotherNode(&stranger), nullptr);
}

TEST_F(RelationTest, UnknownValueTowardAKnownNodeIsMeasured)
{
    CVert o(0, 0, 0);
    CVert e(1, 0, 0);
    CVert n(0, 1, 0);
    CVert p(3, 4, 0);
    CMathline xAxis(&o, &e);
    CMathline yAxis(&o, &n);
    CPPdis dist(&o, &p, 0, 0);
    CPLdis height(&p, &xAxis, 0, 0);
    CLLang angle(&yAxis, &xAxis, 0, 0);
    struct Row
    {
        const char* name;
        CRel* rel;
        CNode* from;
        double expected;
    };
    const Row rows[] = {
        {"point-point distance", &dist, &o, 5.0},
        {"point-line distance from the line", &height, &xAxis, 4.0},
        {"angle from the second line to a known first", &angle, &xAxis, 3 * Pi() / 2},
    };
    o.SetKnown();
    p.SetKnown();
    xAxis.SetKnown();
    yAxis.SetKnown();

    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.rel->Active(row.from), 1);
        EXPECT_NEAR(row.rel->m_pVal->GetValue(), row.expected, 1e-12);
        EXPECT_EQ(row.rel->m_pVal->IsKnown(), 1);
        EXPECT_EQ(row.rel->IsUsed(), 1);
    }
    EXPECT_TRUE(g_sktDefinedNodeChain.IsEmpty());
}

TEST_F(RelationTest, MeasuredValueThatOverDeterminesIsStillKept)
{
    ValueWeb web;
    CVert& a = web.Point(0, 0, true);
    CVert& b = web.Point(3, 4, true);
    CVert& c = web.Point(6, 0, true);
    CVert& d = web.Point(9, 9, true);
    CPPdis& measured = web.Shared(a, b);
    web.Shared(c, d, true);

    EXPECT_EQ(measured.Active(&a), 0);

    EXPECT_DOUBLE_EQ(web.v->GetValue(), 5.0);
    EXPECT_EQ(web.v->IsKnown(), 1);
    EXPECT_EQ(measured.IsUsed(), 1);
}

TEST_F(RelationTest, EqualUnknownValuesTakeOneFreedomTogether)
{
    ValueWeb web;
    CVert& k1 = web.Point(0, 0);
    CVert& k2 = web.Point(6, 0);
    CVert& u = web.Point(3, 4);
    CPPdis& r1 = web.Shared(k1, u);
    CPPdis& r2 = web.Shared(k2, u);

    EXPECT_EQ(r1.Active(&k1), 1);
    EXPECT_EQ(u.m_nFreeNum, 2);
    EXPECT_EQ(r1.IsActive(), 1);
    EXPECT_EQ(r2.Active(&k2), 1);

    EXPECT_EQ(u.m_nFreeNum, 1);
    EXPECT_EQ(r2.IsActive(), 1);
    EXPECT_EQ(web.v->IsKnown(), 0);
    EXPECT_TRUE(g_sktDefinedNodeChain.IsEmpty());
}

TEST_F(RelationTest, EqualUnknownValuesRefusalsChangeNothing)
{
    struct Row
    {
        const char* name;
        double sharerEndX; // where the other end of the already active sharer stands
        unsigned char freeBefore;
        int sharerActive;
        int result;
        unsigned char freeAfter;
    };
    const Row rows[] = {
        {"sharer from a distinct point", 4.0, 2, 1, 1, 1},
        {"sharer completes the point", 4.0, 1, 1, 1, 0},
        {"sharer end coincides with the target", 3.0 + 0.5e-4, 2, 1, 0, 2},
        {"sharer end exactly the tolerance away", 3.0 + 1e-4, 2, 1, 1, 1},
        {"an unused sharer does not count", 4.0, 2, 0, 1, 2},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        ClearChains();
        ValueWeb web;
        CVert& from = web.Point(0, 0);
        CVert& target = web.Point(3, 0);
        CVert& sharerEnd = web.Point(row.sharerEndX, 0);
        web.Shared(sharerEnd, target, row.sharerActive != 0);
        CPPdis& rel = web.Shared(from, target);
        target.m_nFreeNum = row.freeBefore;

        EXPECT_EQ(rel.Active(&from), row.result);

        EXPECT_EQ(target.m_nFreeNum, row.freeAfter);
        EXPECT_EQ(rel.IsActive(), row.result);
        EXPECT_EQ(web.v->IsKnown(), 0);
        bool defined = row.result == 1 && row.freeAfter == 0;
        EXPECT_EQ(g_sktDefinedNodeChain.GetCount(), defined ? 1 : 0);
    }
}

TEST_F(RelationTest, OnlyDistanceAndAngleRelationsCountAsSharers)
{
    CMathcir circle(XYZ(0, 0, 0), 2);
    CVert u(5, 0, 0);
    CVert k(0, 0, 0);
    std::unique_ptr<CRad> rad(new CRad(&u, &circle));
    CPPdis rel(&k, &u, circle.m_pRadiusVal);
    Link(*rad);
    Link(rel);
    rad->SetActive();
    circle.m_pRadiusVal->SetUnknown();

    EXPECT_EQ(rel.Active(&k), 1);

    EXPECT_EQ(u.m_nFreeNum, 2);
}

TEST_F(RelationTest, ActualValuesOfEachKind)
{
    CVert a(0, 0, 0);
    CVert b(3, 4, 0);
    CVert c(0, 2, 0);
    CVert d(5, 2, 0);
    CMathline lower(&a, &b);
    CVert e(1, 0, 0);
    CMathline xAxis(&a, &e);
    CMathline upper(&c, &d);
    CPPdis pp(&a, &b, 0, 0);
    CPLdis pl(&b, &xAxis, 0, 0);
    CLLdis parallel(&xAxis, &upper, 0, 0);
    CLLdis crossing(&xAxis, &lower, 0, 0);
    CLLang angle(&xAxis, &lower, 0, 0);
    CLLang back(&lower, &xAxis, 0, 0);
    CRel base(&a, &b, 7, 1);

    EXPECT_DOUBLE_EQ(pp.GetActualVal(), 5);
    EXPECT_DOUBLE_EQ(pl.GetActualVal(), 4);
    EXPECT_DOUBLE_EQ(parallel.GetActualVal(), 2);
    EXPECT_DOUBLE_EQ(crossing.GetActualVal(), 0);
    EXPECT_DOUBLE_EQ(angle.GetActualVal(), std::atan2(4.0, 3.0));
    EXPECT_DOUBLE_EQ(back.GetActualVal(), 2 * Pi() - std::atan2(4.0, 3.0));
    EXPECT_EQ(base.GetActualVal(), 0.0);
}
