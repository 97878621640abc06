// The host sketch: building by id, refusing bad input, and deleting in the order the model
// needs (the sanitizer builds catch a wrong order).
#include "qsolver/Sketch.h"
#include "common/SketchRows.h"

#include <gtest/gtest.h>

#include <cmath>

using qsolver::Sketch;
using qsolver::ValueSpec;
using sketchrows::Points;

namespace
{

TEST(HostSketch, BuildsNodesAndRelationsInCreationOrder)
{
    Sketch sketch;
    sketch.AddPoint("A", 1, 2);
    sketch.AddLine("L", 0, 0, 0, 3, true);
    sketch.AddCircle("C", 5, 5, 2);
    sketch.AddPLdis("d", "A", "L", ValueSpec::Own(1));
    sketch.AddRad("r", "A", "C");

    EXPECT_EQ(sketch.NodeIds(), (std::vector<std::string>{"A", "L", "C"}));
    EXPECT_EQ(sketch.RelationIds(), (std::vector<std::string>{"d", "r"}));
    EXPECT_EQ(sketch.Nodes().GetHead(), sketch.FindNode("A"));
    EXPECT_EQ(sketch.Relations().GetTail(), sketch.FindRelation("r"));
    EXPECT_EQ(sketch.FindPoint("A")->m_Pos.y, 2.0);
    EXPECT_EQ(sketch.FindLine("L")->m_bDirFixed, 1);
    EXPECT_DOUBLE_EQ(sketch.FindLine("L")->m_Line.m_Direction.y, 1.0);
    EXPECT_EQ(sketch.FindPoint("L"), nullptr);
    EXPECT_EQ(sketch.IdOf(sketch.FindRelation("d")), "d");
    EXPECT_EQ(sketch.FindNode("A")->m_RelList.GetCount(), 2);
    // A radius relation makes the circle's radius known and shares it.
    EXPECT_EQ(sketch.FindRelation("r")->m_pVal, sketch.FindCircle("C")->m_pRadiusVal);
    EXPECT_TRUE(sketch.FindCircle("C")->m_pRadiusVal->IsKnown());
}

TEST(HostSketch, RefusesBadInputAndSaysWhy)
{
    struct Row
    {
        const char* name;
        bool (*attempt)(Sketch&);
        const char* message;
    };
    static const Row rows[] = {
        {"duplicate id", [](Sketch& s) { return s.AddPoint("A", 0, 0) != nullptr; },
         "duplicate id 'A'"},
        {"id of another kind", [](Sketch& s) { return s.AddValue("L", 1, true) != nullptr; },
         "duplicate id 'L'"},
        {"unknown node",
         [](Sketch& s) { return s.AddPPdis("d", "A", "Z", ValueSpec::Own(1)) != nullptr; },
         "relation 'd': unknown node 'Z'"},
        {"wrong node type",
         [](Sketch& s) { return s.AddPLdis("d", "A", "B", ValueSpec::Own(1)) != nullptr; },
         "relation 'd': node 'B' is a point, not a line"},
        {"unknown shared value",
         [](Sketch& s) { return s.AddPPdis("a", "A", "B", ValueSpec::Shared("v")) != nullptr; },
         "relation 'a': unknown value 'v'"},
        {"node joined to itself",
         [](Sketch& s) { return s.AddLLang("a", "L", "L", ValueSpec::Own(0)) != nullptr; },
         "relation 'a' joins 'L' to itself"},
        {"point joined to itself",
         [](Sketch& s) { return s.AddPPdis("d", "A", "A", ValueSpec::Own(3)) != nullptr; },
         "relation 'd' joins 'A' to itself"},
        {"negative distance",
         [](Sketch& s) { return s.AddPLdis("d", "A", "L", ValueSpec::Own(-1)) != nullptr; },
         "relation 'd': a distance cannot be negative"},
        {"zero direction", [](Sketch& s) { return s.AddLine("M", 0, 0, 0, 0) != nullptr; },
         "line 'M' has no direction"},
        {"non-finite coordinate",
         [](Sketch& s) { return s.AddPoint("P", 0, std::nan("")) != nullptr; },
         "point 'P': coordinates are not finite"},
        {"non-finite value",
         [](Sketch& s) { return s.AddPPdis("d", "A", "B", ValueSpec::Own(HUGE_VAL)) != nullptr; },
         "relation 'd': value is not finite"},
        {"radius of a non-circle", [](Sketch& s) { return s.AddRad("r", "A", "B") != nullptr; },
         "relation 'r': node 'B' is a point, not a circle"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch sketch;
        Points(sketch, {{"A", 0, 0}, {"B", 1, 0}});
        sketch.AddLine("L", 0, 0, 1, 0);

        EXPECT_FALSE(row.attempt(sketch));

        EXPECT_EQ(sketch.LastError(), row.message);
        EXPECT_EQ(sketch.RelationIds().size(), 0u);
        EXPECT_EQ(sketch.NodeIds().size(), 3u);
    }
}

TEST(HostSketch, SharedValuesOutliveTheirRelations)
{
    Sketch sketch;
    Points(sketch, {{"A", 0, 0}, {"B", 1, 0}});
    sketch.AddLine("L", 0, 1, 1, 0);
    sketch.AddLine("M", 0, 2, 1, 1);
    sketch.AddValue("v", 2, false);
    sketch.AddPPdis("d1", "A", "B", ValueSpec::Shared("v"));
    sketch.AddLLang("a1", "L", "M", ValueSpec::Shared("v"));
    CVal* v = sketch.FindValue("v");
    EXPECT_EQ(v->m_RelSel.GetCount(), 2);

    EXPECT_TRUE(sketch.RemoveRelation("d1"));
    EXPECT_TRUE(sketch.RemoveRelation("a1"));

    EXPECT_EQ(sketch.FindValue("v"), v);
    EXPECT_TRUE(v->m_RelSel.IsEmpty());
    EXPECT_TRUE(sketch.FindNode("A")->m_RelList.IsEmpty());
    EXPECT_TRUE(sketch.FindNode("L")->m_RelList.IsEmpty());
    EXPECT_TRUE(sketch.RelationIds().empty());
    EXPECT_FALSE(sketch.RemoveRelation("d1"));
}

TEST(HostSketch, CircleKeepsItsRadiusWhenItsLastRadiusRelationGoes)
{
    Sketch sketch;
    sketch.AddPoint("A", 0, 0);
    sketch.AddCircle("C", 0, 0, 3);
    sketch.AddRad("r1", "A", "C");
    sketch.AddRad("r2", "A", "C");

    sketch.RemoveRelation("r1");
    sketch.RemoveRelation("r2");

    ASSERT_NE(sketch.FindCircle("C")->m_pRadiusVal, nullptr);
    EXPECT_TRUE(sketch.FindCircle("C")->m_pRadiusVal->m_RelSel.IsEmpty());
}

TEST(HostSketch, RemovingANodeRemovesItsRelationsAndValueNodeLinks)
{
    Sketch sketch;
    Points(sketch, {{"A", 0, 0}, {"B", 1, 0}});
    sketch.AddCircle("C", 0, 0, 3);
    sketch.AddPPdis("d", "A", "B", ValueSpec::Own(1, false));
    sketch.AddRad("r", "B", "C");
    sketch.SetValueNode("d", "C");

    EXPECT_TRUE(sketch.RemoveNode("C"));

    EXPECT_EQ(sketch.RelationIds(), std::vector<std::string>{"d"});
    EXPECT_EQ(sketch.FindRelation("d")->m_pValueNode, nullptr);
    EXPECT_EQ(sketch.FindNode("B")->m_RelList.GetCount(), 1);
    EXPECT_EQ(sketch.FindNode("C"), nullptr);
    EXPECT_EQ(sketch.IdOf(nullptr), "");
}

TEST(HostSketch, DestroysCirclesSharedValuesAndReferencesCleanly)
{
    // Everything the model lets relations and circles share, torn down at once.
    Sketch sketch;
    Points(sketch, {{"A", 0, 0}, {"B", 1, 0}});
    sketch.AddCircle("C", 0, 0, 3);
    sketch.AddCircle("D", 0, 0, 3);
    sketch.AddValue("v", 2, false);
    sketch.AddValue("unused", 2, false);
    sketch.AddRad("r1", "A", "C");
    sketch.AddRad("r2", "B", "C");
    sketch.AddPPdis("d1", "A", "B", ValueSpec::Shared("v"));
    sketch.AddPPdis("d2", "B", "A", ValueSpec::Shared("v"));
    sketch.AddFix("f", "A");
    EXPECT_TRUE(sketch.SetReference("B", 9));
    EXPECT_TRUE(sketch.SetReference("B", 10));

    EXPECT_EQ(*sketch.FindNode("B")->m_pRefID, 10);
    EXPECT_EQ(sketch.AllValues().size(), 4u);
}

TEST(HostSketch, BackupAllAndRestoreAllRoundTrip)
{
    Sketch sketch;
    sketch.AddPoint("A", 0, 0);
    sketch.AddLine("L", 0, 1, 1, 0);
    sketch.AddPLdis("d", "A", "L", ValueSpec::Own(1, false));
    sketch.BackupAll();
    sketch.FindPoint("A")->m_Pos.x = 7;
    sketch.FindLine("L")->m_Line.m_ThroughPoint.y = 7;
    sketch.FindRelation("d")->m_pVal->m_dValue = 7;
    sketch.FindRelation("d")->m_pVal->SetKnown();

    sketch.RestoreAll();

    EXPECT_EQ(sketch.FindPoint("A")->m_Pos.x, 0.0);
    EXPECT_EQ(sketch.FindLine("L")->m_Line.m_ThroughPoint.y, 1.0);
    EXPECT_EQ(sketch.FindRelation("d")->m_pVal->m_dValue, 1.0);
    EXPECT_FALSE(sketch.FindRelation("d")->m_pVal->IsKnown());
}

// The values kept as they are made must be the ones a walk over nodes and relations finds, in
// the same order, however the sketch was edited.
TEST(HostSketch, AllValuesMatchesTheWalkAfterEdits)
{
    Sketch sketch;
    Points(sketch, {{"A", 0, 0}, {"B", 1, 0}, {"P", 2, 2}});
    sketch.AddLine("L1", 0, 1, 1, 0);
    sketch.AddLine("L2", 0, 3, 1, 0);
    sketch.AddCircle("C", 0, 0, 3);
    sketch.AddValue("v", 2, false);
    sketch.AddPPdis("ab", "A", "B", ValueSpec::Own(1));
    sketch.AddCircle("D", 4, 0, 1);
    sketch.AddRad("r", "B", "C");
    sketch.AddPLdis("pl", "P", "L1", ValueSpec::Shared("v"));
    sketch.AddLLang("an", "L1", "L2", ValueSpec::Own(0));
    sketch.AddLLang("as", "L2", "L1", ValueSpec::Shared("v"));
    sketch.AddLLdis("ll", "L1", "L2", ValueSpec::Own(2));
    sketch.AddFix("f", "A");
    sketch.AddValue("w", 1, true);
    const auto check = [&](const char* step)
    {
        SCOPED_TRACE(step);
        EXPECT_EQ(sketch.AllValues(), sketch.AllValuesByWalk());
    };

    check("built");
    ASSERT_TRUE(sketch.RemoveRelation("an"));
    check("own value removed");
    ASSERT_TRUE(sketch.RemoveRelation("r"));
    check("radius relation removed");
    ASSERT_TRUE(sketch.RemoveNode("C"));
    check("circle removed");
    ASSERT_TRUE(sketch.RemoveNode("L2"));
    check("line with own and shared values removed");
    sketch.AddPPdis("pb", "P", "B", ValueSpec::Own(3));
    check("added after removals");
}

} // namespace
