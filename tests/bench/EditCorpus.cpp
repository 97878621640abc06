// The edit corpus's generator and judge: drawn sketches satisfy every relation, the same seed
// draws the same corpus, the judge names a mirrored part, an off relation and a moved fixed
// node, and a handful of edits go through the Sketch API as qsketch drives them.
#include "Corpus.h"
#include "Judge.h"
#include "Sides.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace
{

using namespace qsolver;
using namespace qsolver::corpus;

Edit Draw(const std::string& family, uint64_t seed)
{
    for (uint64_t attempt = 0;; ++attempt)
    {
        Random random(seed * 1000 + attempt);
        Edit e = MakeCandidate(family, random);
        if (e.relation >= 0)
        {
            return e;
        }
    }
}

int NodeIndex(const SketchDoc& doc, const std::string& id)
{
    return doc.FindNode(id);
}

TEST(EditCorpus, DrawnSketchesSatisfyEveryRelation)
{
    for (const FamilyQuota& q : DefaultQuotas())
    {
        for (uint64_t seed = 1; seed <= 5; ++seed)
        {
            SCOPED_TRACE(std::string(q.family) + " seed " + std::to_string(seed));
            const Edit e = Draw(q.family, seed);

            std::string detail;
            const bool holds = RelationsHold(e.sketch, e.sketch, detail);

            EXPECT_TRUE(holds) << detail;
            EXPECT_NE(e.oldValue, e.newValue);
            EXPECT_FALSE(FindInvariants(e.sketch).empty());
        }
    }
}

TEST(EditCorpus, SameSeedDrawsTheSameEdit)
{
    for (const FamilyQuota& q : DefaultQuotas())
    {
        SCOPED_TRACE(q.family);

        const Edit a = Draw(q.family, 7);
        const Edit b = Draw(q.family, 7);
        const Edit c = Draw(q.family, 8);

        EXPECT_EQ(FormatSketch(a.sketch), FormatSketch(b.sketch));
        EXPECT_EQ(a.newValue, b.newValue);
        EXPECT_NE(FormatSketch(a.sketch), FormatSketch(c.sketch));
    }
}

TEST(EditCorpus, ChangesStayWithinTheirRange)
{
    for (uint64_t seed = 1; seed <= 200; ++seed)
    {
        const Edit e = Draw(seed % 2 ? "chain" : "bracket", seed);
        const DocRelation& r = e.sketch.relations[static_cast<size_t>(e.relation)];
        SCOPED_TRACE(e.what);

        if (r.type == DocRelType::LLang)
        {
            // Swept by 1 to 90 degrees, never through parallel.
            const double sweep = std::fabs(std::remainder(e.newValue - e.oldValue, 360.0));
            EXPECT_GE(sweep, 1.0);
            EXPECT_LE(sweep, 90.0);
            EXPECT_GT(std::fmod(e.newValue, 180.0), 4.999);
            EXPECT_LT(std::fmod(e.newValue, 180.0), 175.001);
        }
        else
        {
            const double change = std::fabs(e.newValue / e.oldValue - 1.0);
            EXPECT_GE(change, 0.0099);
            EXPECT_LE(change, 0.6001);
        }
    }
}

// A result with one thing wrong, and what the judge must say about it.
struct JudgeRow
{
    const char* name;
    void (*spoil)(SketchDoc& doc);
    bool reported;
    Outcome expected;
};

const JudgeRow kJudgeRows[] = {
    {"untouched and reported solved", [](SketchDoc&) {}, true, Outcome::Solved},
    {"untouched but reported failed", [](SketchDoc&) {}, false, Outcome::Failed},
    {"apex mirrored across the base",
     [](SketchDoc& doc)
     {
         // Mirror C across the line O B: every side keeps its length.
         const DocNode& o = doc.nodes[static_cast<size_t>(NodeIndex(doc, "O"))];
         const DocNode& b = doc.nodes[static_cast<size_t>(NodeIndex(doc, "B"))];
         DocNode& c = doc.nodes[static_cast<size_t>(NodeIndex(doc, "C"))];
         const double ux = (b.x - o.x) / std::hypot(b.x - o.x, b.y - o.y);
         const double uy = (b.y - o.y) / std::hypot(b.x - o.x, b.y - o.y);
         const double t = (c.x - o.x) * ux + (c.y - o.y) * uy;
         c.x = 2.0 * (o.x + t * ux) - c.x;
         c.y = 2.0 * (o.y + t * uy) - c.y;
     },
     true, Outcome::Flipped},
    {"apex off by a thousandth of the sketch",
     [](SketchDoc& doc) { doc.nodes[static_cast<size_t>(NodeIndex(doc, "C"))].x += 0.3; }, true,
     Outcome::Wrong},
    {"apex off by a ten-millionth of the sketch, within the relations' share",
     [](SketchDoc& doc)
     { doc.nodes[static_cast<size_t>(NodeIndex(doc, "C"))].x += 1e-7 * Extent(doc); },
     true, Outcome::Solved},
    {"fixed base turned",
     [](SketchDoc& doc)
     {
         DocNode& base = doc.nodes[static_cast<size_t>(NodeIndex(doc, "base"))];
         const double t = 1e-5;
         const double dx = base.dx * std::cos(t) - base.dy * std::sin(t);
         base.dy = base.dx * std::sin(t) + base.dy * std::cos(t);
         base.dx = dx;
     },
     true, Outcome::Wrong},
};

TEST(EditCorpus, JudgeNamesWhatIsWrong)
{
    // A triangle dimensioned by its three sides, about 300 units across.
    SketchDoc doc;
    for (uint64_t seed = 1;; ++seed)
    {
        const Edit e = Draw("triangle", seed);
        if (e.sketch.FindRelation("ppdis_B_C") >= 0)
        {
            doc = e.sketch;
            break;
        }
    }
    const std::vector<Invariant> invariants = FindInvariants(doc);
    for (const JudgeRow& row : kJudgeRows)
    {
        SCOPED_TRACE(row.name);
        SketchDoc after = doc;
        row.spoil(after);

        const Judgement j = JudgeResult(doc, invariants, row.reported, after);

        EXPECT_EQ(OutcomeText(j.outcome), std::string(OutcomeText(row.expected))) << j.detail;
    }
}

TEST(EditCorpus, JudgeSeesAHoleMovedAlongItsRail)
{
    // Two holes of a rail swapped: every distance holds, the order along the rail does not.
    const Edit e = Draw("rail", 3);
    const std::vector<Invariant> invariants = FindInvariants(e.sketch);
    SketchDoc after = e.sketch;
    DocNode& h1 = after.nodes[static_cast<size_t>(NodeIndex(after, "H1"))];
    DocNode& h2 = after.nodes[static_cast<size_t>(NodeIndex(after, "H2"))];
    // Reflect H2 through H1: still on the rail at one pitch from H1.
    h2.x = 2.0 * h1.x - h2.x;
    h2.y = 2.0 * h1.y - h2.y;

    const int broken = FirstBroken(invariants, after);

    ASSERT_GE(broken, 0);
    EXPECT_EQ(invariants[static_cast<size_t>(broken)].kind, Invariant::Kind::Order);
}

TEST(EditCorpus, SmallEditsSolveThroughTheSketchApi)
{
    // Triangles, slots and angle chains solve with our drive: the runner must see them solved.
    for (const char* family : {"triangle", "slot", "chain"})
    {
        for (uint64_t seed = 1; seed <= 3; ++seed)
        {
            Edit e = Draw(family, seed);
            // A small change: 1 percent or 1 degree.
            const bool angle =
                e.sketch.relations[static_cast<size_t>(e.relation)].type == DocRelType::LLang;
            e.newValue =
                angle ? e.oldValue + (e.newValue > e.oldValue ? 1.0 : -1.0) : e.oldValue * 1.01;
            SCOPED_TRACE(e.what);

            const SideResult r = DriveWithQsolver(e, FindInvariants(e.sketch));

            EXPECT_EQ(OutcomeText(r.judgement.outcome), std::string("solved"))
                << r.message << r.judgement.detail;
        }
    }
}

TEST(EditCorpus, DragOfALooseTrussEndIsSolved)
{
    // The truss's last bar taken away, its end point swings on the bar left; dragged 20 degrees
    // round it, every step is solved, judged so, and ends on the target.
    Edit e = Draw("truss", 2);
    e.relation = static_cast<int>(e.sketch.relations.size()) - 1;
    e.reference = e.sketch;
    const DocNode& pivot = e.sketch.nodes[e.sketch.nodes.size() - 2];
    DocNode& last = e.reference.nodes.back();
    const double turn = 20.0 * std::acos(-1.0) / 180.0;
    const double dx = last.x - pivot.x;
    const double dy = last.y - pivot.y;
    last.x = pivot.x + dx * std::cos(turn) - dy * std::sin(turn);
    last.y = pivot.y + dx * std::sin(turn) + dy * std::cos(turn);
    DragCase drag;
    ASSERT_TRUE(MakeDragCase(e, drag));

    const DragRun r = DragWithQsolver(drag, 3);

    EXPECT_EQ(drag.sketch.relations.size() + 1, e.sketch.relations.size());
    EXPECT_EQ(drag.point, static_cast<int>(e.sketch.nodes.size()) - 1);
    EXPECT_TRUE(r.available);
    EXPECT_EQ(r.steps, 3);
    EXPECT_EQ(r.solved, 3) << r.detail;
    EXPECT_TRUE(r.reached);
}

} // namespace
