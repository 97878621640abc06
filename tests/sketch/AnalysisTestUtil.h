// Checks a host makes after an analysis pass: the verdict, the clusters, and that the pass left
// geometry, values and relation states as they were.
#pragma once

#include "qsolver/Sketch.h"
#include "common/Measure.h"
#include "common/RandomRows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace analysistest
{

/// What a pass must not change: every value's number and flag, every node's geometry.
struct Snapshot
{
    std::vector<double> numbers;
    std::vector<int> flags;
    std::vector<double> geometry;

    explicit Snapshot(qsolver::Sketch& sketch)
    {
        for (CVal* val : sketch.AllValues())
        {
            numbers.push_back(val->m_dValue);
            flags.push_back(val->m_bKnown);
        }
        for (CNode* node : randomrows::Entries(sketch.Nodes()))
        {
            const std::vector<double> v = measure::NodeNumbers(node);
            geometry.insert(geometry.end(), v.begin(), v.end());
        }
    }
};

/// The pass handed the sketch back: relations unused, values and geometry as before (exactly).
inline void ExpectHandedBack(qsolver::Sketch& sketch, const Snapshot& before)
{
    Snapshot after(sketch);
    EXPECT_EQ(after.numbers, before.numbers);
    EXPECT_EQ(after.flags, before.flags);
    EXPECT_EQ(after.geometry, before.geometry);
    POSITION pos = sketch.Relations().GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = sketch.Relations().GetNext(pos);
        EXPECT_TRUE(rel->IsUnused()) << sketch.IdOf(rel);
    }
    EXPECT_TRUE(g_sktClusterChain.IsEmpty());
    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
}

/// Analyses as a host does and checks that the sketch was handed back.
inline qsolver::AnalysisResult AnalyseHandingBack(qsolver::Sketch& sketch)
{
    const Snapshot before(sketch);
    qsolver::AnalysisResult result = sketch.Analyse();
    ExpectHandedBack(sketch, before);
    return result;
}

/// A rigid body of four points (a unit square with one diagonal) named p1..p4 at x; with
/// `lines`, also three lines through its sides, pL along the bottom, pM on the right, pN along
/// the top, with the corners on them.
inline void Body(qsolver::Sketch& s, const std::string& p, double x, bool lines = false)
{
    using qsolver::ValueSpec;
    for (int i = 1; i <= 4; ++i)
    {
        s.AddPoint(p + std::to_string(i), x + (i == 2 || i == 3 ? 1 : 0), i >= 3 ? 1 : 0);
    }
    for (int i = 1; i <= 4; ++i)
    {
        const std::string a = p + std::to_string(i);
        const std::string b = p + std::to_string(i % 4 + 1);
        s.AddPPdis(a + b, a, b, ValueSpec::Own(1));
    }
    s.AddPPdis(p + "13", p + "1", p + "3", ValueSpec::Own(1.4142));
    if (!lines)
    {
        return;
    }
    s.AddLine(p + "L", x, 0, 1, 0);
    s.AddLine(p + "M", x + 1, 0, 0, 1);
    s.AddLine(p + "N", x, 1, 1, 0);
    const char* onLine[6][2] = {{"1", "L"}, {"2", "L"}, {"2", "M"},
                                {"3", "M"}, {"3", "N"}, {"4", "N"}};
    for (const auto& o : onLine)
    {
        s.AddPLdis(p + o[0] + o[1], p + o[0], p + o[1], ValueSpec::Own(0));
    }
}

inline std::string Text(const std::vector<std::string>& ids)
{
    std::string out;
    for (const std::string& id : ids)
    {
        out += (out.empty() ? "" : " ") + id;
    }
    return out;
}

/// The clusters as "fixed[A B] [C]": the first is the fixed cluster, empty or not.
inline std::string Text(const qsolver::AnalysisResult& result)
{
    std::string out;
    for (const auto& cluster : result.clusters)
    {
        out += (out.empty() ? "" : " ") + std::string(cluster.fixed ? "fixed[" : "[") +
               Text(cluster.nodes) + "]";
    }
    return out;
}

/// A sketch and what its analysis must say; nullptr leaves a part unchecked.
struct Row
{
    const char* name;
    void (*build)(qsolver::Sketch&);
    qsolver::Verdict verdict;
    const char* clusters = nullptr;
    const char* stripped = nullptr;
    const char* unseeded = nullptr;
};

/// Builds and analyses every row as a host does, checking the sketch is handed back.
template <size_t N> void ExpectRows(const Row (&rows)[N])
{
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        qsolver::Sketch sketch;
        row.build(sketch);

        const qsolver::AnalysisResult result = AnalyseHandingBack(sketch);

        EXPECT_EQ(result.verdict, row.verdict);
        if (row.clusters != nullptr)
        {
            EXPECT_EQ(Text(result), row.clusters);
        }
        if (row.stripped != nullptr)
        {
            EXPECT_EQ(Text(result.stripped), row.stripped);
        }
        if (row.unseeded != nullptr)
        {
            EXPECT_EQ(Text(result.unseeded), row.unseeded);
        }
    }
}

} // namespace analysistest
