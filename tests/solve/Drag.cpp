// Dragging a point: it goes as near to the target as the relations let it, everything else
// moves as little as it can, fixed geometry stays, and a refused drag changes nothing.
#include "solve/SolveTestUtil.h"

#include "../../bench/Families.h"
#include "../../bench/HostSketch.h"

#include "common/SketchRows.h"
#include "qsolver/Drag.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace qsolver;
using sketchrows::Distances;
using sketchrows::Points;

namespace
{

double Dist(Sketch& s, const std::string& a, const std::string& b)
{
    const XYZ& p = s.FindPoint(a)->m_Pos;
    const XYZ& q = s.FindPoint(b)->m_Pos;
    return std::hypot(p.x - q.x, p.y - q.y);
}

// A fixed pivot A, an arm to B, a second arm to C: under-constrained, so the arms follow.
void Arms(Sketch& s)
{
    Points(s, {{"A", 0, 0}, {"B", 3, 4}, {"C", 6, 8}, {"F", 20, 20}});
    s.AddFix("fixA", "A");
    Distances(s, {{"ab", "A", "B", 5}, {"bc", "B", "C", 5}});
}

TEST(Drag, PointGoesAsNearAsTheRelationsLetIt)
{
    const struct
    {
        const char* name;
        const char* point;
        double x, y;
        double distance;   // how far from the target it must end
        const char* still; // a point that must not move
    } rows[] = {
        {"free point reaches the target", "F", 30, -4, 0.0, "C"},
        {"arm end reaches a target in range", "C", 7, 1, 0.0, "A"},
        {"arm end stretches towards a target out of range", "C", 30, 0, 20.0, "F"},
        {"arm middle keeps its arm length", "B", 10, 0, 5.0, "F"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        Arms(s);
        const XYZ still = s.FindPoint(row.still)->m_Pos;
        const DragResult r = s.Drag(row.point, row.x, row.y);
        ASSERT_TRUE(r.IsOk()) << r.message;
        EXPECT_NEAR(r.distance, row.distance, 1e-6);
        const XYZ& p = s.FindPoint(row.point)->m_Pos;
        EXPECT_NEAR(std::hypot(p.x - row.x, p.y - row.y), row.distance, 1e-6);
        EXPECT_NEAR(Dist(s, "A", "B"), 5.0, 1e-9);
        EXPECT_NEAR(Dist(s, "B", "C"), 5.0, 1e-9);
        EXPECT_EQ(s.FindPoint("A")->m_Pos.x, 0.0);
        EXPECT_EQ(s.FindPoint("A")->m_Pos.y, 0.0);
        EXPECT_NEAR(s.FindPoint(row.still)->m_Pos.x, still.x, 1e-9);
        EXPECT_NEAR(s.FindPoint(row.still)->m_Pos.y, still.y, 1e-9);
    }
}

TEST(Drag, RigidTriangleStaysAndOthersAreRefused)
{
    Sketch s;
    s.AddLine("base", 0, 0, 1, 0);
    s.AddFix("fixBase", "base");
    s.AddPoint("A", 0, 0);
    s.AddFix("fixA", "A");
    Points(s, {{"B", 4, 0}, {"C", 4, 3}});
    s.AddPLdis("bOn", "B", "base", ValueSpec::Own(0));
    Distances(s, {{"ab", "A", "B", 4}, {"bc", "B", "C", 3}, {"ca", "C", "A", 5}});
    const std::vector<double> before = solvetest::Coordinates(s);

    // Fully defined: the drag solves, and nothing can move.
    const DragResult r = s.Drag("C", 10, 10);
    ASSERT_TRUE(r.IsOk()) << r.message;
    EXPECT_NEAR(r.distance, std::hypot(6.0, 7.0), 1e-6);
    const std::vector<double> after = solvetest::Coordinates(s);
    for (size_t i = 0; i < before.size(); ++i)
    {
        EXPECT_NEAR(after[i], before[i], 1e-9);
    }

    const struct
    {
        const char* point;
        double x;
        const char* problem;
    } refused[] = {
        {"A", 1, "point 'A' is fixed"},
        {"nosuch", 1, "no point 'nosuch'"},
        {"base", 1, "no point 'base'"},
        {"B", std::nan(""), "must be finite"},
    };
    for (const auto& row : refused)
    {
        SCOPED_TRACE(row.problem);
        const DragResult bad = s.Drag(row.point, row.x, 0);
        EXPECT_FALSE(bad.IsOk());
        EXPECT_NE(bad.message.find(row.problem), std::string::npos) << bad.message;
        EXPECT_EQ(solvetest::Coordinates(s), after);
    }
}

// A drag that would have to mirror a body is refused, and the sketch is as it was.
TEST(Drag, NeverMirrorsABody)
{
    Sketch s;
    Points(s, {{"A", 0, 0}, {"B", 6, 0}, {"P", 3, 4}});
    s.AddFix("fixA", "A");
    s.AddFix("fixB", "B");
    Distances(s, {{"ap", "A", "P", 5}, {"bp", "B", "P", 5}});
    const DragResult r = s.Drag("P", 3, -40);
    if (r.IsOk())
    {
        EXPECT_GT(s.FindPoint("P")->m_Pos.y, 0.0);
    }
    else
    {
        EXPECT_EQ(s.FindPoint("P")->m_Pos.y, 4.0);
    }
}

// A long linkage loosened by one bar, its last point dragged far: in one move the chain
// would come back with a joint in its mirror assembly, so the drag follows the pointer's path
// in steps and stops as near as the path allows, every relation holding and every body the
// same way round as before.
TEST(Drag, FarDragOfALongChainFollowsThePath)
{
    const bench::Family f = bench::MakeFamily("linkage", 40);
    const struct
    {
        double dx, dy;
        int minSteps;
    } rows[] = {{-30, -60, 2}, {-60, -20, 2}, {30, 20, 1}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(std::to_string(row.dx) + ", " + std::to_string(row.dy));
        auto s = bench::BuildHostSketch(f);
        ASSERT_TRUE(s->RemoveRelation(bench::HostChanges(f)[0].first));
        const std::string id = bench::NodeId(static_cast<int>(f.nodes.size()) - 1);
        const XYZ at = s->FindPoint(id)->m_Pos;
        const DragResult r = s->Drag(id, at.x + row.dx, at.y + row.dy);
        ASSERT_TRUE(r.IsOk()) << r.message;
        EXPECT_GE(r.steps, row.minSteps);
        const XYZ& now = s->FindPoint(id)->m_Pos;
        EXPECT_NEAR(r.distance, std::hypot(now.x - at.x - row.dx, now.y - at.y - row.dy), 1e-9);
        // The backups are the sketch before the drag: the check judges the whole move.
        EXPECT_TRUE(CheckResult(*s).IsOk()) << CheckResult(*s).message;
    }
}

} // namespace
