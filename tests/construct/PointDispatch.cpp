// How a point is placed from its relation list: counts, the refused and diagnosed
// three-relation mixes, and the placement from a distance to a moving line.
#include "construct/ConstructSketch.h"

using namespace constructtest;

TEST(RegeneratePoint, RelationCountsWithoutAConstruction)
{
    Sketch s;
    CVert* a = s.Point(0, 0);
    CVert* b = s.Point(10, 0);
    CVert* p = s.Point(1, 1);
    CMathcir* c = s.Circle(0, 0, 2);
    MoveTo(a, 0.5, 0.5);
    CRel* r1 = s.PP(p, a, 3.0);
    CRel* r2 = s.PP(p, b, 3.0);
    CRel* r3 = s.PP(p, a, 4.0);
    CRel* r4 = s.PP(p, b, 4.0);
    CRel* r5 = s.PP(p, a, 5.0);
    CRel* rad = s.Rad(p, c);
    struct Row
    {
        const char* name;
        std::vector<CRel*> rels;
        int result;
    } rows[] = {
        {"none", {}, 1},
        {"one relation of another type", {rad}, 1},
        {"four", {r1, r2, r3, r4}, 1},
        {"five", {r1, r2, r3, r4, r5}, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Rels rels(row.rels);

        EXPECT_EQ(sktRegeneratePoint(p, rels.list), row.result);

        ExpectAt(p->m_Pos, 1, 1, 0.0);
    }
}

TEST(RegeneratePoint, ThreeRelationsRefusedOrDiagnosed)
{
    // Each relation as its neighbour (x axis, y axis, slanted line, high line y = 4, points a
    // and b 0.5e-4 apart) and its value: k known, u unknown, 1 or 2 shares that relation's.
    struct Row
    {
        const char* name;
        const char* rels;
        const char* message;
    } rows[] = {
        {"three known distances: no two unknowns", "xk yk sk", nullptr},
        {"three sharing one value, one to a point", "xu y1 a1", nullptr},
        {"three unknown, two values", "xu y1 su", kThreeVirtualGbk},
        {"two unknown of different values", "xu yu sk", kTwoVirtualOneRealGbk},
        {"two neighbours one point", "au b1 xk", nullptr},
        {"first pair of lines parallel", "xu h1 yk", nullptr},
        {"first pair of lines is the second and third", "ak xu h2", nullptr},
        {"virtual pair to a line and a point", "xu a1 yk", nullptr},
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
        CRel* r[3] = {};
        for (int i = 0; i < 3; ++i)
        {
            char node = row.rels[3 * i];
            char value = row.rels[3 * i + 1];
            CVal* shared = value == '1' ? r[0]->m_pVal : value == '2' ? r[1]->m_pVal : nullptr;
            if (node == 'a' || node == 'b')
            {
                CVert* q = node == 'a' ? a : b;
                r[i] = shared ? s.PP(p, q, shared) : s.PP(p, q, 1.0, value == 'k');
            }
            else
            {
                CMathline* l = node == 'x'   ? xAxis
                               : node == 'y' ? yAxis
                               : node == 's' ? slanted
                                             : high;
                r[i] = shared ? s.PL(p, l, shared) : s.PL(p, l, 1.0, value == 'k');
            }
        }
        Rels rels{r[0], r[1], r[2]};
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

TEST(PointFromPLdis, KeepsDistanceAndSideWhileTheLineMoves)
{
    struct Row
    {
        const char* name;
        double beforeX, beforeY, throughX, throughY, dirX, dirY, value, x, y;
    } rows[] = {
        {"line shifted up, point above", 4, 5, 0, 1, 1, 0, 2, 4, 3},
        {"line shifted up, point below", 4, -5, 0, 1, 1, 0, 2, 4, -1},
        {"line reversed in place: the side is the left of its direction", 4, 5, 0, 0, -1, 0, 2, 4,
         -2},
        {"line turned a quarter about the origin", 3, 2, 0, 0, 0, 1, 2, -2, 3},
        {"turned, foot behind the pivot", -3, 2, 0, 0, 0, 1, 2, -2, -3},
        {"zero distance puts the point on the foot", 4, 5, 0, 1, 1, 0, 0.000009, 4, 1},
        {"point on the old line goes left", 4, 0, 0, 1, 1, 0, 2, 4, 3},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(row.beforeX, row.beforeY);
        CRel* rel = s.PL(p, l, row.value);
        SetLine(l, row.throughX, row.throughY, row.dirX, row.dirY);

        EXPECT_EQ(sktPointFromPLdis(p, rel), 1);

        ExpectAt(p->m_Pos, row.x, row.y);
    }
}
