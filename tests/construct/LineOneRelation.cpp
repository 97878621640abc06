// How a line is placed from its relation list, and the single-relation placements: side of the
// point, angle with reversal flags and wrap, sense and side of a distance partner.
#include "construct/ConstructSketch.h"

using namespace constructtest;

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
        Rels rels(row.rels);

        EXPECT_EQ(sktRegenerateLine(l, rels.list), row.result);

        ExpectLine(l->m_Line, 0, 1, 1, 0, 0.0);
    }
}

TEST(LineFromPLdis, KeepsThePointOnItsSideOfTheDirectedLine)
{
    struct Row
    {
        const char* name;
        double beforeX, beforeY, nowX, nowY, dirX, value, throughX, throughY;
    } rows[] = {
        {"left, new distance", 0, 3, 0, 3, 1, 5, 0, -2},
        {"left, point moved", 0, 3, 2, 4, 1, 3, 0, 1},
        {"right, new distance", 0, -3, 0, -3, 1, 5, 0, 2},
        {"line reversed: left of its new direction", 0, 3, 0, 3, -1, 5, 0, 8},
        {"point now on the line: through the point", 0, 3, 7, 0, 1, 5, 7, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* l = s.Line(0, 0, 1, 0);
        CVert* p = s.Point(row.beforeX, row.beforeY);
        CRel* rel = s.PL(p, l, row.value);
        MoveTo(p, row.nowX, row.nowY);
        SetLine(l, 0, 0, row.dirX, 0);

        EXPECT_EQ(sktLineFromPLdis(l, rel), 1);

        ExpectLine(l->m_Line, row.throughX, row.throughY, row.dirX, 0);
    }
}

TEST(LineFromLLang, TurnsAboutItsThroughPointToTheAngle)
{
    struct Row
    {
        const char* name;
        int lineFirst, reverse1, reverse2;
        double otherDx, otherDy, value, dx, dy;
    } rows[] = {
        {"line second: counterclockwise from the other", 0, 0, 0, 1, 0, kHalfPi, 0, 1},
        {"line first: clockwise from the other", 1, 0, 0, 1, 0, kHalfPi, 0, -1},
        {"other line's flag reverses it", 0, 1, 0, 1, 0, kHalfPi, 0, -1},
        {"own flag reverses the result", 0, 0, 1, 1, 0, kHalfPi, 0, -1},
        {"past a full turn wraps", 0, 0, 0, 0, -1, kPi, 0, 1},
        {"below zero wraps", 1, 0, 0, 1, 1, kPi, -1, -1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* l = s.Line(3, 4, 1, 0);
        CMathline* k = s.Line(0, 0, row.otherDx, row.otherDy);
        CRel* ang = row.lineFirst ? s.Ang(l, k, row.value) : s.Ang(k, l, row.value);
        ang->m_bReverse1 = row.reverse1;
        ang->m_bReverse2 = row.reverse2;

        EXPECT_EQ(sktLineFromLLang(l, ang), 1);

        ExpectLine(l->m_Line, 3, 4, row.dx, row.dy);
        ExpectAt(l->m_Line.GetThroughPoint(), 3, 4, 0.0);
    }
}

TEST(LineFromLLdis, KeepsSenseAndSideOfThePartner)
{
    const double c100 = std::cos(1.745), s100 = std::sin(1.745);
    const double c80 = std::cos(1.396), s80 = std::sin(1.396);
    struct Row
    {
        const char* name;
        double oldDx, oldDy, oldX, oldY;                 // the line before
        double partnerDx, partnerDy, partnerX, partnerY; // the partner now
        double x, y, dx, dy;
    } rows[] = {
        {"parallel, partner to the right", 1, 0, 0, 2, 1, 0, 0, 1, 0, 4, 1, 0},
        {"anti-parallel, partner to the left", -1, 0, 0, 2, 1, 0, 0, 1, 0, 4, -1, 0},
        {"old angle 100 degrees counts as against", c100, s100, 0, 2, 0, 1, 0, 0, -3, 0, 0, -1},
        {"old angle 80 degrees counts as along", c80, s80, 0, 2, 0, 1, 0, 0, -3, 0, 0, 1},
        {"partner lay on the line: through its new point", 1, 0, 5, 0, 1, 1, 2, 1, 2, 1, 1, 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CMathline* k = s.Line(0, 0, 1, 0);
        CMathline* l = s.Line(row.oldX, row.oldY, row.oldDx, row.oldDy);
        CRel* ll = s.LL(l, k, 3.0);
        SetLine(k, row.partnerX, row.partnerY, row.partnerDx, row.partnerDy);

        EXPECT_EQ(sktLineFromLLdis(l, ll), 1);

        ExpectLine(l->m_Line, row.x, row.y, row.dx, row.dy);
    }
}
