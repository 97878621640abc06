// Freedoms and node statuses of whole sketches: hand counts a CAD user would make, every
// example file, and the fast count checked against the plain rank of the whole Jacobian.
#include "../../bench/Families.h"
#include "../../bench/HostSketch.h"
#include "../cli/CliSupport.h"

#include "qsolver/Diagnostics.h"
#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace
{

using qsolver::CountFreedomsPlain;
using qsolver::Diagnose;
using qsolver::Diagnostics;
using qsolver::NodeStatus;
using qsolver::RankMethod;
using qsolver::Sketch;
using qsolver::ValueSpec;

std::unique_ptr<Sketch> LoadExample(const std::string& name)
{
    auto sketch = std::make_unique<Sketch>();
    qsolver::SketchDoc doc;
    qsolver::SketchSnapshot built;
    qsolver::InputError error;
    const std::string path = clitest::Example(name).string();
    EXPECT_TRUE(qsolver::ReadSketchFile(path, doc, error) &&
                qsolver::BuildSketch(doc, path, *sketch, built, error))
        << error.Text();
    return sketch;
}

/// "A:fixed B:well C:under1 ..." for the nodes, in creation order.
std::string Statuses(const Diagnostics& d)
{
    std::string out;
    for (const auto& n : d.nodes)
    {
        out += (out.empty() ? "" : " ") + n.id + ":";
        switch (n.status)
        {
            case NodeStatus::Fixed:
                out += "fixed";
                break;
            case NodeStatus::WellConstrained:
                out += "well";
                break;
            case NodeStatus::UnderConstrained:
                out += "under" + std::to_string(n.dof);
                break;
            case NodeStatus::OverConstrained:
                out += "over";
                break;
        }
    }
    return out;
}

struct Row
{
    const char* name;
    std::function<void(Sketch&)> build;
    int dof;
    const char* statuses;
};

void FixedPoint(Sketch& s, const char* id, double x, double y)
{
    s.AddPoint(id, x, y);
    s.AddFix(std::string("fix") + id, id);
}

const Row kHandCounts[] = {
    {"a free point moves both ways", [](Sketch& s) { s.AddPoint("P", 1, 2); }, 2, "P:under2"},
    {"a point on a circle about a fixed point keeps one freedom",
     [](Sketch& s)
     {
         FixedPoint(s, "A", 0, 0);
         s.AddPoint("P", 3, 4);
         s.AddPPdis("d", "A", "P", ValueSpec::Own(5));
     },
     1, "A:fixed P:under1"},
    {"a free bar: both ends can go anywhere, three freedoms in all",
     [](Sketch& s)
     {
         s.AddPoint("P", 0, 0);
         s.AddPoint("Q", 3, 4);
         s.AddPPdis("d", "P", "Q", ValueSpec::Own(5));
     },
     3, "P:under2 Q:under2"},
    {"a free triangle is a rigid body: three freedoms",
     [](Sketch& s)
     {
         s.AddPoint("A", 0, 0);
         s.AddPoint("B", 4, 0);
         s.AddPoint("C", 1, 3);
         s.AddPPdis("ab", "A", "B", ValueSpec::Own(4));
         s.AddPPdis("bc", "B", "C", ValueSpec::Own(4.242640687119285));
         s.AddPPdis("ca", "C", "A", ValueSpec::Own(3.1622776601683795));
     },
     3, "A:under2 B:under2 C:under2"},
    {"a triangle fixed at A along a fixed base with two sides turns about A",
     [](Sketch& s)
     {
         FixedPoint(s, "A", 0, 0);
         s.AddLine("base", 0, 0, 1, 0);
         s.AddFix("fixBase", "base");
         s.AddPoint("B", 80, 0);
         s.AddPoint("C", 25, 43.30127018922193);
         s.AddPLdis("bOnBase", "B", "base", ValueSpec::Own(0));
         s.AddPPdis("ab", "A", "B", ValueSpec::Own(80));
         s.AddPPdis("ac", "A", "C", ValueSpec::Own(50));
     },
     1, "A:fixed base:fixed B:well C:under1"},
    {"a line through a fixed point turns about it",
     [](Sketch& s)
     {
         FixedPoint(s, "A", 1, 1);
         s.AddLine("L", 0, 0, 1, 1);
         s.AddPLdis("on", "A", "L", ValueSpec::Own(0));
     },
     1, "A:fixed L:under1"},
    {"a line with a held direction only shifts",
     [](Sketch& s) { s.AddLine("L", 0, 0, 1, 0, true); }, 1, "L:under1"},
    {"a circle is its centre and radius", [](Sketch& s) { s.AddCircle("C", 0, 0, 2); }, 3,
     "C:under3"},
    {"a circle on a fixed centre point with its radius is defined",
     [](Sketch& s)
     {
         FixedPoint(s, "M", 2, 3);
         s.AddCircle("C", 2, 3, 1.5);
         s.AddRad("r", "M", "C");
     },
     0, "M:fixed C:well"},
    {"a circle on a free centre point moves with it",
     [](Sketch& s)
     {
         s.AddPoint("M", 2, 3);
         s.AddCircle("C", 2, 3, 1.5);
         s.AddRad("r", "M", "C");
     },
     2, "M:under2 C:under2"},
    {"reference geometry is given, like a fix",
     [](Sketch& s)
     {
         s.AddPoint("R", 0, 0);
         s.SetReference("R", 7);
         s.AddPoint("P", 3, 0);
         s.AddPPdis("d", "R", "P", ValueSpec::Own(3));
     },
     1, "R:fixed P:under1"},
    {"two equal unknown distances from fixed points leave the point on the bisector",
     [](Sketch& s)
     {
         FixedPoint(s, "A", 0, 0);
         FixedPoint(s, "B", 4, 0);
         s.AddPoint("P", 2, 3);
         s.AddValue("same", 3.605551275463989, false);
         s.AddPPdis("pa", "P", "A", ValueSpec::Shared("same"));
         s.AddPPdis("pb", "P", "B", ValueSpec::Shared("same"));
     },
     1, "A:fixed B:fixed P:under1"},
    {"a lone unknown distance takes nothing away",
     [](Sketch& s)
     {
         FixedPoint(s, "A", 0, 0);
         s.AddPoint("P", 3, 4);
         s.AddPPdis("d", "A", "P", ValueSpec::Own(5, false));
     },
     2, "A:fixed P:under2"},
    {"a point on two circles that touch is free to first order along the tangent",
     [](Sketch& s)
     {
         FixedPoint(s, "A", 0, 0);
         FixedPoint(s, "B", 4, 0);
         s.AddPoint("P", 2, 0);
         s.AddPPdis("pa", "P", "A", ValueSpec::Own(2));
         s.AddPPdis("pb", "P", "B", ValueSpec::Own(2));
     },
     1, "A:fixed B:fixed P:over"},
    {"two parallel lines at a distance move together",
     [](Sketch& s)
     {
         s.AddLine("L1", 0, 0, 1, 0);
         s.AddLine("L2", 5, 2, 1, 0);
         s.AddLLang("par", "L1", "L2", ValueSpec::Own(0));
         s.AddLLdis("gap", "L1", "L2", ValueSpec::Own(2));
     },
     2, "L1:under2 L2:under2"},
    {"a point coincident with a fixed one",
     [](Sketch& s)
     {
         FixedPoint(s, "A", 1, 1);
         s.AddPoint("P", 1, 1);
         s.AddPPdis("on", "A", "P", ValueSpec::Own(0));
     },
     0, "A:fixed P:well"},
};

TEST(Freedoms, HandCountsAndStatuses)
{
    for (const Row& row : kHandCounts)
    {
        SCOPED_TRACE(row.name);
        Sketch sketch;
        row.build(sketch);

        const Diagnostics d = Diagnose(sketch);

        EXPECT_EQ(d.dof, row.dof);
        EXPECT_EQ(Statuses(d), row.statuses);
        EXPECT_EQ(CountFreedomsPlain(sketch, RankMethod::Dense), row.dof);
        EXPECT_EQ(CountFreedomsPlain(sketch, RankMethod::SparseQR), row.dof);
    }
}

TEST(Freedoms, FourBarWithoutItsCrankAngleHasOneFreedom)
{
    auto sketch = LoadExample("fourbar.json");
    ASSERT_TRUE(sketch->RemoveRelation("crankAngle"));

    const Diagnostics d = Diagnose(*sketch);

    EXPECT_EQ(d.dof, 1);
    EXPECT_EQ(Statuses(d), "O1:fixed O2:fixed ground:fixed crank:under1 A:under1 B:under1");
    EXPECT_TRUE(d.conflicting.empty());
    EXPECT_TRUE(d.redundant.empty());
}

struct ExampleRow
{
    const char* file;
    int dof;
    const char* statuses;
    std::vector<std::string> redundant;
};

TEST(Freedoms, ExampleFilesAsAUserCountsThem)
{
    const ExampleRow rows[] = {
        {"equal.json", 0, "rail:fixed H1:fixed H2:well H3:well", {}},
        {"fourbar.json", 0, "O1:fixed O2:fixed ground:fixed crank:well A:well B:well", {}},
        // The third side agrees with the other dimensions but says nothing new.
        {"overconstrained.json",
         0,
         "A:fixed B:over C:over base:fixed left:well right:well",
         {"bc"}},
        {"plate.json",
         0,
         "bottom:fixed left:fixed top:well right:well P1:well P2:well P3:well P4:well H1:well "
         "H2:well hole1:well hole2:well",
         {}},
        {"slot.json",
         0,
         "axis:fixed E1:fixed E2:well upper:well lower:well end1:well end2:well",
         {}},
        {"triangle.json", 0, "A:fixed B:well C:well base:fixed left:well right:well", {}},
        {"truss.json", 0, "ground:fixed N1:fixed N2:well N3:well N4:well T1:well T2:well", {}},
    };
    for (const ExampleRow& row : rows)
    {
        SCOPED_TRACE(row.file);
        auto sketch = LoadExample(row.file);

        const Diagnostics d = Diagnose(*sketch);

        EXPECT_EQ(d.dof, row.dof);
        EXPECT_EQ(Statuses(d), row.statuses);
        EXPECT_TRUE(d.conflicting.empty());
        EXPECT_EQ(d.redundant, row.redundant);
        EXPECT_EQ(CountFreedomsPlain(*sketch, RankMethod::Dense), row.dof);
    }
}

// The benchmark families at small sizes, fixed and with their fixes taken away (a free rigid
// body keeps three freedoms), against the plain rank.
TEST(Freedoms, FamiliesAgreeWithThePlainRank)
{
    using namespace qsolver::bench;
    const std::pair<const char*, int> families[] = {
        {"truss", 14}, {"grid", 5}, {"frame", 5}, {"linkage", 4}};
    for (const auto& [name, size] : families)
    {
        for (bool free : {false, true})
        {
            SCOPED_TRACE(std::string(name) + (free ? " without fixes" : ""));
            Family f = MakeFamily(name, size);
            auto sketch = BuildHostSketch(f);
            for (size_t i = 0; free && i < f.relations.size(); ++i)
            {
                if (f.relations[i].kind == RelKind::Fix)
                {
                    sketch->RemoveRelation(RelId(i));
                }
            }

            const Diagnostics d = Diagnose(*sketch);

            EXPECT_EQ(d.dof, CountFreedomsPlain(*sketch, RankMethod::Dense));
            EXPECT_EQ(d.dof, CountFreedomsPlain(*sketch, RankMethod::SparseQR));
            if (!free)
            {
                EXPECT_EQ(d.dof, 0);
            }
            EXPECT_TRUE(d.conflicting.empty());
        }
    }
}

TEST(Freedoms, LeavesTheSketchAsItWas)
{
    auto sketch = LoadExample("overconstrained.json");
    sketch->FindRelation("bc")->SetValue(75.0);
    auto state = [&]
    {
        std::vector<double> out;
        for (const std::string& id : sketch->NodeIds())
        {
            CNode* n = sketch->FindNode(id);
            out.push_back(n->m_nFreeNum);
            if (CVert* p = sketch->FindPoint(id))
            {
                out.insert(out.end(), {p->m_Pos.x, p->m_Pos.y});
            }
            if (CMathline* l = sketch->FindLine(id))
            {
                out.insert(out.end(), {l->m_Line.m_ThroughPoint.x, l->m_Line.m_Direction.y});
            }
        }
        for (CVal* v : sketch->AllValues())
        {
            out.insert(out.end(), {v->m_dValue, static_cast<double>(v->m_bKnown)});
        }
        for (const std::string& id : sketch->RelationIds())
        {
            out.push_back(sketch->FindRelation(id)->m_byState);
        }
        return out;
    };
    const std::vector<double> before = state();

    const Diagnostics first = Diagnose(*sketch);
    const Diagnostics second = Diagnose(*sketch);

    EXPECT_EQ(state(), before);
    EXPECT_EQ(first.conflicting, second.conflicting);
    EXPECT_EQ(Statuses(first), Statuses(second));
}

} // namespace
