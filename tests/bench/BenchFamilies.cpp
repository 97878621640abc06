// The benchmark's sketch families: they must start out satisfying every relation with exactly
// the freedom their relations take away, and a host re-solves them after their dimension
// change keeping every relation and every triangle's orientation.
#include "../../bench/Families.h"
#include "../../bench/HostSketch.h"

#include "qsolver/SketchDrive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace
{

using namespace qsolver::bench;

struct FamilyRow
{
    const char* name;
    const char* family;
    int size;
};

const FamilyRow kRows[] = {
    {"truss of 12 points", "truss", 12},
    {"grid of 5 x 5", "grid", 5},
    {"frame of 6 crossings", "frame", 6},
    {"linkage of 5 links", "linkage", 5},
};

// Degrees of freedom left once every relation has taken its share: 0 for a sketch that is
// exactly well-constrained by count.
int SpareFreedom(const Family& f)
{
    int freedom = 2 * static_cast<int>(f.nodes.size());
    for (const Relation& r : f.relations)
    {
        freedom -= r.kind == RelKind::Fix ? 2 : 1;
    }
    return freedom;
}

TEST(BenchFamilies, StartOutSatisfyingEveryRelation)
{
    for (const FamilyRow& row : kRows)
    {
        SCOPED_TRACE(row.name);
        Family f = MakeFamily(row.family, row.size);

        double worst = 0.0;
        for (const Relation& r : f.relations)
        {
            if (r.kind != RelKind::Fix)
            {
                worst = std::max(worst, RelationError(f.nodes, r, r.value));
            }
        }

        EXPECT_LE(worst, 1e-12);
        EXPECT_EQ(SpareFreedom(f), 0);
        ASSERT_GE(f.changed, 0);
        EXPECT_NE(f.relations[f.changed].kind, RelKind::Fix);
        EXPECT_NE(f.newValue, f.relations[f.changed].value);
        EXPECT_EQ(FlippedTriangles(f, f.nodes), 0);
    }
}

TEST(BenchFamilies, HostReSolvesKeepingRelationsAndOrientation)
{
    for (const FamilyRow& row : kRows)
    {
        SCOPED_TRACE(row.name);
        Family f = MakeFamily(row.family, row.size);
        auto sketch = BuildHostSketch(f);

        qsolver::AnalysisResult analysis = sketch->Analyse();
        qsolver::DriveResult drive = sketch->Drive(HostChanges(f));
        std::vector<Node> solved = ReadHostSketch(f, *sketch);

        EXPECT_TRUE(analysis.IsOk()) << qsolver::VerdictText(analysis.verdict);
        ASSERT_TRUE(drive.IsOk()) << qsolver::DriveStepText(drive.failed);
        EXPECT_LE(MaxRelationError(f, solved), 1e-6);
        EXPECT_EQ(FlippedTriangles(f, solved), 0);
        // The change moved something: the sketch was really re-solved.
        EXPECT_GT(MaxRelationError(f, f.nodes), 1e-3);
    }
}

} // namespace
