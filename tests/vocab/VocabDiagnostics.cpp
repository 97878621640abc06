// Diagnostics of vocabulary sketches in the user's terms: freedoms as a CAD user counts them
// (the compiler's helpers add none), entities by id, constraints at fault by id.
#include "qsolver/Vocab.h"
#include "qsolver/VocabFile.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace qsolver;

namespace
{

using T = ConstraintType;

void Must(bool ok, const VocabSketch& s)
{
    ASSERT_TRUE(ok) << s.LastError();
}

// A segment from A (0, 0) to B (10, 0), A fixed unless told otherwise.
void Bar(VocabSketch& s, bool fixA = true)
{
    Must(s.AddPoint("A", 0, 0), s);
    Must(s.AddPoint("B", 10, 0), s);
    Must(s.AddSegment("ab", "A", "B"), s);
    if (fixA)
    {
        Must(s.Constrain("fixA", T::Fix, {"A"}), s);
    }
}

TEST(VocabDiagnostics, FreedomsAreCountedAsAUserCountsThem)
{
    const struct
    {
        const char* name;
        std::function<void(VocabSketch&)> draw;
        int dof;
    } rows[] = {
        {"a free point", [](VocabSketch& s) { Must(s.AddPoint("P", 1, 2), s); }, 2},
        {"a free segment", [](VocabSketch& s) { Bar(s, false); }, 4},
        {"a segment turning about a fixed end",
         [](VocabSketch& s)
         {
             Bar(s);
             Must(s.Constrain("len", T::Length, {"ab"}, 10), s);
         },
         1},
        {"the same, horizontal",
         [](VocabSketch& s)
         {
             Bar(s);
             Must(s.Constrain("len", T::Length, {"ab"}, 10), s);
             Must(s.Constrain("flat", T::Horizontal, {"ab"}), s);
         },
         0},
        {"a midpoint of a free segment",
         [](VocabSketch& s)
         {
             Bar(s, false);
             Must(s.AddPoint("M", 5, 0), s);
             Must(s.Constrain("mid", T::Midpoint, {"M", "ab"}), s);
         },
         4},
        {"a pair mirrored about a fixed segment",
         [](VocabSketch& s)
         {
             Bar(s);
             Must(s.Constrain("len", T::Length, {"ab"}, 10), s);
             Must(s.Constrain("flat", T::Horizontal, {"ab"}), s);
             Must(s.AddPoint("P", 3, 4), s);
             Must(s.AddPoint("Q", 3, -4), s);
             Must(s.Constrain("mirror", T::Symmetric, {"P", "Q", "ab"}), s);
         },
         2},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        VocabSketch s;
        row.draw(s);
        const Diagnostics d = s.Diagnose();
        EXPECT_EQ(d.dof, row.dof);
        EXPECT_TRUE(d.conflicting.empty());
        EXPECT_TRUE(d.redundant.empty());
        for (const NodeDiagnosis& n : d.nodes)
        {
            EXPECT_EQ(n.id.find('#'), std::string::npos) << "a helper is shown: " << n.id;
        }
    }
}

TEST(VocabDiagnostics, ConflictingDimensionsAreNamedByTheirConstraints)
{
    VocabSketch s;
    Bar(s);
    Must(s.Constrain("flat", T::Horizontal, {"ab"}), s);
    Must(s.Constrain("len", T::Length, {"ab"}, 10), s);
    Must(s.Constrain("reach", T::Distance, {"A", "B"}, 12), s);
    const Diagnostics d = s.Diagnose();
    ASSERT_FALSE(d.conflicting.empty());
    for (const char* id : {"len", "reach"})
    {
        EXPECT_NE(std::find(d.conflicting.begin(), d.conflicting.end(), id), d.conflicting.end())
            << id;
    }
    for (const std::string& id : d.conflicting)
    {
        EXPECT_EQ(id.find('#'), std::string::npos) << id;
    }
}

// The slot and the bracket end their sides on their arcs: a tangency there must not leave the
// touching point free to slide to first order (4 freedoms and 4 redundant tangents before).
TEST(VocabDiagnostics, DimensionedExamplesHaveNoFreedomLeftAndNothingRedundant)
{
    for (const char* name : {"symmetric-plate", "gear-lever", "slot-cad", "bracket"})
    {
        SCOPED_TRACE(name);
        VocabDoc doc;
        InputError error;
        VocabSketch s;
        const std::string path = std::string(QSOLVER_SOURCE_ROOT) + "/examples/" + name + ".json";
        ASSERT_TRUE(ReadVocabFile(path, doc, error)) << error.Text();
        ASSERT_TRUE(BuildVocabSketch(doc, path, s, error)) << error.Text();
        const Diagnostics d = s.Diagnose();
        EXPECT_EQ(d.dof, 0);
        EXPECT_TRUE(d.conflicting.empty());
        EXPECT_TRUE(d.redundant.empty()) << d.redundant.front();
    }
}

} // namespace
