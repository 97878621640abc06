// How a line is placed from its relation list, and the single-relation placements: side of the
// point, angle with reversal flags and wrap, sense and side of a distance partner.
#include "construct/ConstructSketch.h"

using namespace constructtest;

namespace
{
const double kHalfPi = std::acos(0.0);
const double kPi = 2 * std::acos(0.0);
} // namespace

TEST(RegenerateLine, RelationCountsAndPairsWithoutAConstruction)
{
    Sketch s;
    CMathline* l = s.Line(0, 1, 1, 0);
    CMathline* k = s.Line(0, 0, 1, 0);
    CVert* p = s.Point(0, 5);
    CVert* q = s.Point(3, 5);
    SetLine(k, 0, -1, 1, 0);
    MoveTo(p, 0, 6);
    CRel* pl = s.PL(p, l, 2.0);
    CRel* ll = s.LL(l, k, 2.0);
    CRel* pp = s.PP(p, q, 2.0);
    struct Row
    {
        const char* name;
        std::vector<CRel*> rels;
        int result;
    } rows[] = {
        {"none", {}, 1},
        {"a point distance alone", {pp}, 1},
        {"line distance with point distance: no case", {pl, ll}, 1},
        {"three relations", {pl, ll, pp}, 0},
        {"four relations", {pl, ll, pp, pl}, 1},
        {"five relations", {pl, ll, pp, pl, ll}, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        CRelList list;
        for (CRel* r : row.rels)
        {
            list.AddTail(r);
        }

        EXPECT_EQ(sktRegenerateLine(l, list), row.result);

        ExpectLine(l->m_Line, 0, 1, 1, 0, 0.0);
        list.RemoveAll();
    }
}

TEST(RegenerateLine, EitherOrderOfDistanceAndAngle)
{
    for (int order = 0; order < 2; ++order)
    {
        SCOPED_TRACE(order);
        Sketch s;
        CMathline* k = s.Line(0, 0, 1, 0);
        CMathline* k2 = s.Line(0, -4, 1, 0);
        CMathline* l = s.Line(0, 3, 1, 0);
        CVert* p = s.Point(0, 5);
        CRel* ang = s.Ang(k, l, kHalfPi);
        CRel* pl = s.PL(p, l, 2.0);
        CRel* ll = s.LL(l, k2, 1.0);
        Rels pointFirst = order == 0 ? Rels{pl, ang} : Rels{ang, pl};
        Rels lineFirst = order == 0 ? Rels{ll, ang} : Rels{ang, ll};

        EXPECT_EQ(sktRegenerateLine(l, pointFirst.list), 1);
        // Turned to +y with the point (left of the old line) kept on its left at 2.
        ExpectLine(l->m_Line, 2, 5, 0, 1);

        EXPECT_EQ(sktRegenerateLine(l, lineFirst.list), 1);
        // Turned to +y, with k2's through point (right of the old line) kept on its right.
        ExpectLine(l->m_Line, -1, -4, 0, 1);
    }
}

TEST(LineFromPLdis, KeepsThePointOnItsSideOfTheDirectedLine)
{
    struct Row
    {
        const char* name;
        XYZ pointBefore;
        XYZ pointNow;
        VECTOR dirNow;
        double value;
        XYZ through;
        VECTOR dir;
    } rows[] = {
        {"left, new distance", {0, 3, 0}, {0, 3, 0}, {1, 0, 0}, 5, {0, -2, 0}, {1, 0, 0}},
        {"left, point moved", {0, 3, 0}, {2, 4, 0}, {1, 0, 0}, 3, {0, 1, 0}, {1, 0, 0}},
        {"right, new distance", {0, -3, 0}, {0, -3, 0}, {1, 0, 0}, 5, {0, 2, 0}, {1, 0, 0}},
        {"line reversed: left of its new direction",
         {0, 3, 0},
         {0, 3, 0},
         {-1, 0, 0},
         5,
         {0, 8, 0},
         {-1, 0, 0}},
        {"point now on the line: through the point",
         {0, 3, 0},
         {7, 0, 0},
         {1, 0, 0},
         5,
         {7, 0, 0},
         {1, 0, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(row.pointBefore.x, row.pointBefore.y);
        CRel* rel = s.PL(p, l, row.value);
        MoveTo(p, row.pointNow.x, row.pointNow.y);
        SetLine(l, 0, 0, row.dirNow.x, row.dirNow.y);

        EXPECT_EQ(sktLineFromPLdis(l, rel), 1);

        ExpectLine(l->m_Line, row.through.x, row.through.y, row.dir.x, row.dir.y);
    }
}

TEST(LineFromLLang, TurnsAboutItsThroughPointToTheAngle)
{
    struct Row
    {
        const char* name;
        bool lineFirst;
        int reverseFirst;
        int reverseSecond;
        VECTOR otherDir;
        double value;
        VECTOR expected;
    } rows[] = {
        {"line second: counterclockwise from the other",
         false,
         0,
         0,
         {1, 0, 0},
         kHalfPi,
         {0, 1, 0}},
        {"line first: clockwise from the other", true, 0, 0, {1, 0, 0}, kHalfPi, {0, -1, 0}},
        {"other line's flag reverses it", false, 1, 0, {1, 0, 0}, kHalfPi, {0, -1, 0}},
        {"own flag reverses the result", false, 0, 1, {1, 0, 0}, kHalfPi, {0, -1, 0}},
        {"past a full turn wraps", false, 0, 0, {0, -1, 0}, kPi, {0, 1, 0}},
        {"below zero wraps", true, 0, 0, {1, 1, 0}, kPi, {-1, -1, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* l = s.Line(3, 4, 1, 0);
        CMathline* k = s.Line(0, 0, row.otherDir.x, row.otherDir.y);
        CRel* ang = row.lineFirst ? s.Ang(l, k, row.value) : s.Ang(k, l, row.value);
        ang->m_bReverse1 = row.reverseFirst;
        ang->m_bReverse2 = row.reverseSecond;

        EXPECT_EQ(sktLineFromLLang(l, ang), 1);

        ExpectLine(l->m_Line, 3, 4, row.expected.x, row.expected.y);
        ExpectAt(l->m_Line.GetThroughPoint(), 3, 4, 0.0);
    }
}

TEST(LineFromLLang, UnflaggedAngleMeasuresTheValueAfterwards)
{
    const double values[] = {0.3, 2.0, 4.5, 6.0};
    for (double value : values)
    {
        SCOPED_TRACE(value);
        Sketch s;
        CMathline* k = s.Line(0, 0, 0.6, 0.8);
        CMathline* l = s.Line(1, 1, 1, 0);
        CRel* ang = s.Ang(k, l, value);

        sktLineFromLLang(l, ang);

        EXPECT_NEAR(ang->GetActualVal(), value, 1e-9);
    }
}

TEST(LineFromLLdis, KeepsSenseAndSideOfThePartner)
{
    struct Row
    {
        const char* name;
        VECTOR oldDir;
        XYZ oldThrough;
        VECTOR partnerNowDir;
        XYZ partnerNowThrough;
        XYZ through;
        VECTOR dir;
    } rows[] = {
        {"parallel, partner to the right",
         {1, 0, 0},
         {0, 2, 0},
         {1, 0, 0},
         {0, 1, 0},
         {0, 4, 0},
         {1, 0, 0}},
        {"anti-parallel, partner to the left",
         {-1, 0, 0},
         {0, 2, 0},
         {1, 0, 0},
         {0, 1, 0},
         {0, 4, 0},
         {-1, 0, 0}},
        {"old angle 100 degrees counts as against",
         {std::cos(1.745), std::sin(1.745), 0},
         {0, 2, 0},
         {0, 1, 0},
         {0, 0, 0},
         {-3, 0, 0},
         {0, -1, 0}},
        {"old angle 80 degrees counts as along",
         {std::cos(1.396), std::sin(1.396), 0},
         {0, 2, 0},
         {0, 1, 0},
         {0, 0, 0},
         {-3, 0, 0},
         {0, 1, 0}},
        {"partner lay on the line: through its new point",
         {1, 0, 0},
         {5, 0, 0},
         {1, 1, 0},
         {2, 1, 0},
         {2, 1, 0},
         {1, 1, 0}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* k = s.Line(0, 0, 1, 0);
        CMathline* l = s.Line(row.oldThrough.x, row.oldThrough.y, row.oldDir.x, row.oldDir.y);
        CRel* ll = s.LL(l, k, 3.0);
        SetLine(k, row.partnerNowThrough.x, row.partnerNowThrough.y, row.partnerNowDir.x,
                row.partnerNowDir.y);

        EXPECT_EQ(sktLineFromLLdis(l, ll), 1);

        ExpectLine(l->m_Line, row.through.x, row.through.y, row.dir.x, row.dir.y);
    }
}
