// How a point is placed from its relation list: counts, orders, the refused and diagnosed
// three-relation mixes, and the placements from one distance.
#include "construct/ConstructSketch.h"

using namespace constructtest;

TEST(RegeneratePoint, RelationCountsWithoutAConstruction)
{
    Sketch s;
    CVert* a = s.Point(0, 0);
    CVert* b = s.Point(10, 0);
    CVert* p = s.Point(1, 1);
    MoveTo(a, 0.5, 0.5);
    CRel* r1 = s.PP(p, a, 3.0);
    CRel* r2 = s.PP(p, b, 3.0);
    CRel* r3 = s.PP(p, a, 4.0);
    CRel* r4 = s.PP(p, b, 4.0);
    CRel* r5 = s.PP(p, a, 5.0);

    Rels four{r1, r2, r3, r4};
    EXPECT_EQ(sktRegeneratePoint(p, four.list), 1);
    ExpectAt(p->m_Pos, 1, 1, 0.0);

    Rels five{r1, r2, r3, r4, r5};
    EXPECT_EQ(sktRegeneratePoint(p, five.list), 0);
    ExpectAt(p->m_Pos, 1, 1, 0.0);

    Rels none{};
    EXPECT_EQ(sktRegeneratePoint(p, none.list), 1);
    ExpectAt(p->m_Pos, 1, 1, 0.0);
}

TEST(RegeneratePoint, OneRelationOfAnotherTypeLeavesThePoint)
{
    Sketch s;
    CVert* p = s.Point(1, 1);
    CMathcir* c = s.Circle(0, 0, 2);
    CRel* rad = s.Rad(p, c);
    Rels rels{rad};

    EXPECT_EQ(sktRegeneratePoint(p, rels.list), 1);

    ExpectAt(p->m_Pos, 1, 1, 0.0);
}

TEST(RegeneratePoint, EitherOrderOfPointAndLineDistanceGivesOnePlacement)
{
    XYZ placed[2];
    for (int order = 0; order < 2; ++order)
    {
        SCOPED_TRACE(order == 0 ? "point distance first" : "line distance first");
        Sketch s;
        CVert* c = s.Point(0, 0);
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(-4, 3);
        CRel* pp = s.PP(p, c, 5.0);
        CRel* pl = s.PL(p, l, 3.0);
        Rels rels = order == 0 ? Rels{pp, pl} : Rels{pl, pp};
        MoveTo(c, 1, 0);

        EXPECT_EQ(sktRegeneratePoint(p, rels.list), 1);
        placed[order] = p->m_Pos;
    }
    ExpectAt(placed[0], -3, 3);
    ExpectAt(placed[1], -3, 3);
}

TEST(RegeneratePoint, ThreeRelationsRefusedOrDiagnosed)
{
    enum Setup
    {
        ThreeKnownLines,
        ThreeVirtualTwoLinesAndPoint,
        ThreeVirtualTwoValues,
        TwoVirtualTwoValuesPlusReal,
        CoincidentNeighbourPoints,
        FirstTwoLinesParallel,
        SecondAndThirdParallelFirstIsPoint,
        VirtualPairMixesLineAndPoint,
    };
    struct Row
    {
        const char* name;
        Setup setup;
        const char* message;
    } rows[] = {
        {"three known distances: no two unknowns", ThreeKnownLines, nullptr},
        {"three sharing one value, one to a point", ThreeVirtualTwoLinesAndPoint, nullptr},
        {"three unknown, two values", ThreeVirtualTwoValues, kThreeVirtualGbk},
        {"two unknown of different values", TwoVirtualTwoValuesPlusReal, kTwoVirtualOneRealGbk},
        {"two neighbours one point", CoincidentNeighbourPoints, nullptr},
        {"first pair of lines parallel", FirstTwoLinesParallel, nullptr},
        {"first pair of lines is the second and third", SecondAndThirdParallelFirstIsPoint,
         nullptr},
        {"virtual pair to a line and a point", VirtualPairMixesLineAndPoint, nullptr},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* p = s.Point(1, 1);
        CMathline* xAxis = s.Line(0, 0, 1, 0);
        CMathline* yAxis = s.Line(0, 0, 0, 1);
        CMathline* slanted = s.Line(4, 0, -1, 1);
        CMathline* high = s.Line(0, 4, 1, 0);
        CVert* a = s.Point(5, 5);
        CVert* b = s.Point(5.00005, 5);
        CRel* r1 = nullptr;
        CRel* r2 = nullptr;
        CRel* r3 = nullptr;
        switch (row.setup)
        {
            case ThreeKnownLines:
                r1 = s.PL(p, xAxis, 1.0);
                r2 = s.PL(p, yAxis, 1.0);
                r3 = s.PL(p, slanted, 1.0);
                break;
            case ThreeVirtualTwoLinesAndPoint:
                r1 = s.PL(p, xAxis, 1.0, false);
                r2 = s.PL(p, yAxis, r1->m_pVal);
                r3 = s.PP(p, a, r1->m_pVal);
                break;
            case ThreeVirtualTwoValues:
                r1 = s.PL(p, xAxis, 1.0, false);
                r2 = s.PL(p, yAxis, r1->m_pVal);
                r3 = s.PL(p, slanted, 1.0, false);
                break;
            case TwoVirtualTwoValuesPlusReal:
                r1 = s.PL(p, xAxis, 1.0, false);
                r2 = s.PL(p, yAxis, 1.0, false);
                r3 = s.PL(p, slanted, 1.0);
                break;
            case CoincidentNeighbourPoints:
                r1 = s.PP(p, a, 1.0, false);
                r2 = s.PP(p, b, r1->m_pVal);
                r3 = s.PL(p, xAxis, 1.0);
                break;
            case FirstTwoLinesParallel:
                r1 = s.PL(p, xAxis, 1.0, false);
                r2 = s.PL(p, high, r1->m_pVal);
                r3 = s.PL(p, yAxis, 1.0);
                break;
            case SecondAndThirdParallelFirstIsPoint:
                r1 = s.PP(p, a, 1.0);
                r2 = s.PL(p, xAxis, 1.0, false);
                r3 = s.PL(p, high, r2->m_pVal);
                break;
            case VirtualPairMixesLineAndPoint:
                r1 = s.PL(p, xAxis, 1.0, false);
                r2 = s.PP(p, a, r1->m_pVal);
                r3 = s.PL(p, yAxis, 1.0);
                break;
        }
        Rels rels{r1, r2, r3};
        MessageCapture messages;

        EXPECT_EQ(sktRegeneratePoint(p, rels.list), 0);

        ExpectAt(p->m_Pos, 1, 1, 0.0);
        if (row.message == nullptr)
        {
            EXPECT_TRUE(MessageCapture::Texts().empty());
        }
        else
        {
            ASSERT_EQ(MessageCapture::Texts().size(), 1u);
            EXPECT_EQ(MessageCapture::Texts()[0], row.message);
        }
    }
}

TEST(RegeneratePoint, ThreeRelationsPlacedWhateverTheOrderOfTheRealOne)
{
    // Lines y = 0 and x = 0 held equally far, a real distance 3 from x = 5: the bisector y = x
    // meets x = 2. The first and third lines are parallel, which is not tested.
    for (int realAt = 0; realAt < 3; ++realAt)
    {
        SCOPED_TRACE(realAt);
        Sketch s;
        CVert* p = s.Point(1, 1);
        CMathline* xAxis = s.Line(0, 0, 1, 0);
        CMathline* yAxis = s.Line(0, 0, 0, 1);
        CMathline* right = s.Line(5, 0, 0, 1);
        CRel* v1 = s.PL(p, xAxis, 7.0, false);
        CRel* v2 = s.PL(p, yAxis, v1->m_pVal);
        CRel* real = s.PL(p, right, 3.0);
        Rels rels = realAt == 0   ? Rels{real, v1, v2}
                    : realAt == 1 ? Rels{v1, real, v2}
                                  : Rels{v1, v2, real};

        EXPECT_EQ(sktRegeneratePoint(p, rels.list), 1);

        ExpectAt(p->m_Pos, 2, 2);
        EXPECT_NEAR(v1->m_pVal->m_dValue, 2.0, kEps);
    }
}

TEST(RegeneratePoint, ThreeEqualLineDistancesWhenTheThirdLineIsParallelToTheFirst)
{
    Sketch s;
    CVert* p = s.Point(1, 1);
    CMathline* xAxis = s.Line(0, 0, 1, 0);
    CMathline* yAxis = s.Line(0, 0, 0, 1);
    CMathline* high = s.Line(0, 4, 1, 0);
    CRel* r1 = s.PL(p, xAxis, 0.0, false);
    CRel* r2 = s.PL(p, yAxis, r1->m_pVal);
    CRel* r3 = s.PL(p, high, r1->m_pVal);
    Rels rels{r1, r2, r3};

    EXPECT_EQ(sktRegeneratePoint(p, rels.list), 1);

    // Equally far from y = 0, x = 0 and y = 4, in the old quadrant.
    ExpectAt(p->m_Pos, 2, 2);
    EXPECT_NEAR(r1->m_pVal->m_dValue, 2.0, kEps);
}

TEST(PointFromPPdis, StaysOnItsOldRayFromTheNeighbour)
{
    struct Row
    {
        const char* name;
        XYZ neighbourNow;
        XYZ pointBefore;
        double value;
        XYZ expected;
    } rows[] = {
        {"unmoved neighbour", {0, 0, 0}, {1, 1, 0}, 3, {3 / std::sqrt(2.0), 3 / std::sqrt(2.0), 0}},
        {"moved neighbour carries the ray", {2, 1, 0}, {0, 5, 0}, 2, {2, 3, 0}},
        {"point was on the neighbour: no ray", {2, 1, 0}, {0, 0, 0}, 2, {2, 1, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* q = s.Point(0, 0);
        CVert* p = s.Point(row.pointBefore.x, row.pointBefore.y);
        CRel* rel = s.PP(p, q, row.value);
        MoveTo(q, row.neighbourNow.x, row.neighbourNow.y);

        EXPECT_EQ(sktPointFromPPdis(p, rel), 1);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
    }
}

TEST(PointFromPLdis, KeepsDistanceAndSideWhileTheLineMoves)
{
    struct Row
    {
        const char* name;
        XYZ pointBefore;
        XYZ throughNow;
        VECTOR dirNow;
        double value;
        XYZ expected;
    } rows[] = {
        {"line shifted up, point above", {4, 5, 0}, {0, 1, 0}, {1, 0, 0}, 2, {4, 3, 0}},
        {"line shifted up, point below", {4, -5, 0}, {0, 1, 0}, {1, 0, 0}, 2, {4, -1, 0}},
        {"line reversed in place: the side is the left of its direction",
         {4, 5, 0},
         {0, 0, 0},
         {-1, 0, 0},
         2,
         {4, -2, 0}},
        {"line turned a quarter about the origin", {3, 2, 0}, {0, 0, 0}, {0, 1, 0}, 2, {-2, 3, 0}},
        {"turned, foot behind the pivot", {-3, 2, 0}, {0, 0, 0}, {0, 1, 0}, 2, {-2, -3, 0}},
        {"zero distance puts the point on the foot",
         {4, 5, 0},
         {0, 1, 0},
         {1, 0, 0},
         0.000009,
         {4, 1, 0}},
        {"point on the old line goes left", {4, 0, 0}, {0, 1, 0}, {1, 0, 0}, 2, {4, 3, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(row.pointBefore.x, row.pointBefore.y);
        CRel* rel = s.PL(p, l, row.value);
        l->m_Line.Set(row.throughNow, row.dirNow);

        EXPECT_EQ(sktPointFromPLdis(p, rel), 1);

        ExpectAt(p->m_Pos, row.expected.x, row.expected.y);
    }
}
