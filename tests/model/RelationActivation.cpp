// Relations: the freedoms Active takes at the coincidence boundary, and the refusals of equal
// unknown values. Measuring is left to the whole-sketch suites.
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
    bool radiusShared = false;

    Ends() = default;
    Ends(const Ends&) = delete;
    Ends& operator=(const Ends&) = delete;
    // A radius relation, deleted before us, deleted the radius value as its last user.
    ~Ends()
    {
        if (radiusShared)
        {
            circle.m_pRadiusVal = nullptr;
        }
    }

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
                radiusShared = true;
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

TEST_F(RelationTest, EqualUnknownValuesRefusalsChangeNothing)
{
    struct Row
    {
        const char* name;
        double sharerEndX; // where the other end of the already active sharer stands
        unsigned char freeBefore;
        int sharerActive, result;
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
    // The relations go first; the last of them deletes the radius value.
    circle.m_pRadiusVal = nullptr;
}
