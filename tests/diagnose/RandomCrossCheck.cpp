// Random small sketches, most of them over- or under-constrained somewhere so that elimination
// carries rows on to earlier variables: the count against the dense rank, each node's freedoms
// against what fixing the node takes away, and every redundant relation really implied.
#include "qsolver/Diagnostics.h"
#include "qsolver/Sketch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace
{

using qsolver::CountFreedomsPlain;
using qsolver::Diagnose;
using qsolver::Diagnostics;
using qsolver::RankMethod;
using qsolver::Sketch;
using qsolver::ValueSpec;

struct Shape
{
    std::vector<bool> isLine;
    std::vector<double> x;
    std::vector<double> y;
    std::vector<double> angle;
};

double Measure(Sketch& s, const std::string& a, const std::string& b)
{
    CNode* na = s.FindNode(a);
    CNode* nb = s.FindNode(b);
    if (CVert* p = s.FindPoint(a))
    {
        return nb->GetDistanceFromPoint(p->m_Pos);
    }
    return na->GetDistance(nb);
}

/// A sketch of points and lines with relations measured from its geometry (so they agree),
/// a few fixes, and now and then a parallel; `seed` picks everything.
void Build(Sketch& s, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> coord(-10.0, 10.0);
    std::uniform_real_distribution<double> turn(0.0, 6.283185307179586);
    const int nodes = 3 + static_cast<int>(rng() % 6);
    for (int i = 0; i < nodes; ++i)
    {
        const std::string id = "n" + std::to_string(i);
        if (rng() % 4 == 0)
        {
            const double t = turn(rng);
            s.AddLine(id, coord(rng), coord(rng), std::cos(t), std::sin(t));
        }
        else
        {
            s.AddPoint(id, coord(rng), coord(rng));
        }
    }
    const int fixes = static_cast<int>(rng() % 3);
    for (int f = 0; f < fixes; ++f)
    {
        s.AddFix("f" + std::to_string(f), "n" + std::to_string(rng() % nodes));
    }
    const int rels = nodes + static_cast<int>(rng() % static_cast<unsigned>(nodes + 3));
    for (int r = 0; r < rels; ++r)
    {
        const std::string a = "n" + std::to_string(rng() % nodes);
        const std::string b = "n" + std::to_string(rng() % nodes);
        const std::string id = "r" + std::to_string(r);
        if (a == b)
        {
            continue;
        }
        const bool la = s.FindLine(a) != nullptr;
        const bool lb = s.FindLine(b) != nullptr;
        if (la && lb)
        {
            // Lines get a parallel first, then perhaps their distance.
            const double ang = s.FindLine(a)->m_Line.GetAngle(s.FindLine(b)->m_Line);
            s.AddLLang(id, a, b, ValueSpec::Own(ang));
        }
        else if (la || lb)
        {
            const std::string& p = la ? b : a;
            const std::string& l = la ? a : b;
            s.AddPLdis(id, p, l, ValueSpec::Own(Measure(s, p, l)));
        }
        else
        {
            s.AddPPdis(id, a, b, ValueSpec::Own(Measure(s, a, b)));
        }
    }
}

TEST(RandomCrossCheck, CountsAndNodeFreedomsAgreeWithDenseRanks)
{
    int withRedundant = 0;
    int withFreedom = 0;
    for (unsigned seed = 1; seed <= 150; ++seed)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Sketch sketch;
        Build(sketch, seed);

        const Diagnostics d = Diagnose(sketch);

        const int dense = CountFreedomsPlain(sketch, RankMethod::Dense);
        ASSERT_EQ(d.dof, dense);
        withRedundant += d.redundant.empty() ? 0 : 1;
        withFreedom += d.dof > 0 ? 1 : 0;
        EXPECT_TRUE(d.conflicting.empty()) << "relations measured from the geometry agree";
        for (const auto& n : d.nodes)
        {
            if (n.status == qsolver::NodeStatus::Fixed)
            {
                continue;
            }
            // Fixing the node takes away exactly the freedoms it has.
            ASSERT_NE(sketch.AddFix("probe", n.id), nullptr);
            const int fixed = CountFreedomsPlain(sketch, RankMethod::Dense);
            sketch.RemoveRelation("probe");
            EXPECT_EQ(n.dof, dense - fixed) << n.id;
        }
        // Each redundant relation is implied: removing it leaves the freedoms as they were.
        for (const std::string& id : d.redundant)
        {
            Sketch without;
            Build(without, seed);
            without.RemoveRelation(id);
            EXPECT_EQ(CountFreedomsPlain(without, RankMethod::Dense), dense) << id;
        }
        // A redundant dimension moved off its value conflicts with the ones that imply it.
        for (const std::string& id : d.redundant)
        {
            if (sketch.FindRelation(id)->GetType() == SKT_REL_FIX)
            {
                continue;
            }
            Sketch off;
            Build(off, seed);
            CRel* rel = off.FindRelation(id);
            rel->SetValue(rel->m_pVal->m_dValue + 0.5);

            const Diagnostics changed = Diagnose(off);

            EXPECT_NE(std::find(changed.conflicting.begin(), changed.conflicting.end(), id),
                      changed.conflicting.end())
                << id;
            break;
        }
    }
    // The seeds cover both sides: redundant relations carried on by elimination, and freedoms.
    EXPECT_GE(withRedundant, 60);
    EXPECT_GE(withFreedom, 60);
}

} // namespace
