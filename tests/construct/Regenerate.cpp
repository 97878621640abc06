// Regenerate and its dispatch: what counts as a changed input (at 1e-6), nodes kept bit for bit,
// a circle's radius, and a failed construction.
#include "construct/ConstructSketch.h"

using namespace constructtest;

namespace
{
// Empties the driven chain when a test leaves, so no test drives another's
// relations.
struct DriveChainScope
{
    DriveChainScope() = default;
    DriveChainScope(const DriveChainScope&) = delete;
    DriveChainScope& operator=(const DriveChainScope&) = delete;
    ~DriveChainScope() { g_sktDriveRelChain.RemoveAll(); }
};

void MakeKnown(CNode* n)
{
    n->m_nFreeNum = 0;
}
} // namespace

TEST(IsRegenerateNeeded, ComparesNeighboursAndValuesWithTheirBackups)
{
    enum Change
    {
        None,
        PointBy05e6,
        PointBy1e6,
        PointBy1e5,
        LineShifted,
        LineReversed,
        ValueRenumbered,
        ValueBackedUpUnchanged,
        SharingRelationDriven,
        ListedRelationDriven,
    };
    struct Row
    {
        const char* name;
        Change change;
        int needed;
    } rows[] = {
        {"nothing changed", None, 0},
        {"neighbour point moved by 0.5e-6", PointBy05e6, 0},
        {"neighbour point moved by 1e-6", PointBy1e6, 1},
        {"neighbour point moved by 1e-5", PointBy1e5, 1},
        {"neighbour line shifted", LineShifted, 1},
        {"neighbour line reversed: the same line", LineReversed, 0},
        {"value renumbered since its backup", ValueRenumbered, 1},
        {"value backed up and unchanged", ValueBackedUpUnchanged, 0},
        {"another relation sharing the value is driven", SharingRelationDriven, 1},
        {"the listed relation is driven", ListedRelationDriven, 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        DriveChainScope drive;
        Sketch s;
        CVert* a = s.Point(0, 0);
        CMathline* l = s.Line(0, -3, 1, 0);
        CVert* p = s.Point(3, 4);
        CVert* far = s.Point(20, 20);
        CRel* pp = s.PP(p, a, 5.0);
        CRel* pl = s.PL(p, l, 7.0);
        CRel* sharing = s.PP(far, a, pp->m_pVal);
        switch (row.change)
        {
            case None:
                break;
            case PointBy05e6:
                MoveTo(a, 0.5e-6, 0);
                break;
            case PointBy1e6:
                MoveTo(a, 0, 1e-6);
                break;
            case PointBy1e5:
                MoveTo(a, 1e-5, 0);
                break;
            case LineShifted:
                SetLine(l, 0, -3.1, 1, 0);
                break;
            case LineReversed:
                SetLine(l, 5, -3, -1, 0);
                break;
            case ValueRenumbered:
                pl->m_pVal->BackupValue();
                pl->m_pVal->m_dValue = 7.5;
                break;
            case ValueBackedUpUnchanged:
                pl->m_pVal->BackupValue();
                break;
            case SharingRelationDriven:
                g_sktDriveRelChain.AddTail(sharing);
                break;
            case ListedRelationDriven:
                g_sktDriveRelChain.AddTail(pl);
                break;
        }
        Rels rels{pp, pl};

        EXPECT_EQ(sktIsRegenerateNeeded(p, rels.list), row.needed);
    }
}

TEST(IsRegenerateNeeded, CircleAlwaysEmptyListNeverRadiusBeyond1e6)
{
    Sketch s;
    CMathcir* c = s.Circle(0, 0, 2);
    CVert* p = s.Point(1, 1);
    Rels none{};
    EXPECT_EQ(sktIsRegenerateNeeded(c, none.list), 1);
    EXPECT_EQ(sktIsRegenerateNeeded(p, none.list), 0);

    Rels rels{s.Rad(p, c)};
    c->m_dRadius = 2.0000005;
    EXPECT_EQ(sktIsRegenerateNeeded(p, rels.list), 0);
    c->m_dRadius = 2.000002;
    EXPECT_EQ(sktIsRegenerateNeeded(p, rels.list), 1);
}

TEST(RegenerateNode, CircleTakesItsRadiusValueAndKeepsItsCentre)
{
    Sketch s;
    CMathcir* c = s.Circle(2, 3, 1);
    c->m_pRadiusVal->m_dValue = 4.5;
    c->m_Center.Set(2, 3, 0);
    Rels none{};

    EXPECT_EQ(sktRegenerateNode(c, none.list), 1);

    EXPECT_EQ(c->m_dRadius, 4.5);
    ExpectAt(c->m_Center, 2, 3, 0.0);
}

TEST(Regenerate, MarksTheNodeKnownOrReportsAFailedConstruction)
{
    // A point at distances from two known points. With its inputs unchanged it is not
    // recomputed (it stands off both circles), yet it becomes known and its relations used. When
    // the circles no longer meet it stays where it was and reports failure, and nothing is
    // rolled back.
    struct Row
    {
        const char* name;
        double bX, bNowX, pX, pY, value;
        int result;
    } rows[] = {
        {"inputs unchanged", 6, 6, 2, 2.5, 5, 1},
        {"circles apart", 5, 5.5, 2.5, 0.5, 1, 0},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        CVert* a = s.Point(0, 0);
        CVert* b = s.Point(row.bX, 0);
        CVert* p = s.Point(row.pX, row.pY);
        MakeKnown(a);
        MakeKnown(b);
        CRel* ra = s.PP(p, a, row.value);
        CRel* rb = s.PP(p, b, row.value);
        ra->SetActive();
        rb->SetActive();
        MoveTo(b, row.bNowX, 0);

        EXPECT_EQ(p->Regenerate(), row.result);

        ExpectAt(p->m_Pos, row.pX, row.pY, 0.0);
        EXPECT_EQ(p->m_nFreeNum == 0, row.result == 1);
        EXPECT_TRUE(ra->IsUsed());
        EXPECT_TRUE(rb->IsUsed());
    }
}
