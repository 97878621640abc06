// The seeding loop of the analysis pass through indexes gives what the exported steps give one
// after another: random sketches of small rigid bodies joined by bars are split both ways and
// every cluster, chain, state, free number and value must agree.
#include "QsolverInternal.h"
#include "common/RandomRows.h"
#include "judge/JudgeInternal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace
{

// Bodies of two to four points or lines with every pair related, joined in a row and at random
// by bars; some distances are zero, some nodes coincide, some values are shared, a few sketches
// hold unknown values (the loop then takes the plain steps), and some bodies are fixed.
class BodySketch : public randomrows::OwnedSketch
{
public:
    explicit BodySketch(unsigned seed) : m_Rng(seed)
    {
        std::uniform_real_distribution<double> coord(-10.0, 10.0);
        const bool withUnknowns = m_Rng() % 3 == 0;
        const int bodies = 1 + static_cast<int>(m_Rng() % 12);
        std::vector<std::vector<CNode*>> members;
        for (int b = 0; b < bodies; ++b)
        {
            members.emplace_back();
            const int size = m_Rng() % 4 == 0 ? 4 : 3;
            for (int i = 0; i < size; ++i)
            {
                members.back().push_back(NewNode(coord));
            }
            // A triangle, or two triangles sharing a side.
            const std::vector<CNode*>& body = members.back();
            Relate(body[0], body[1], withUnknowns);
            Relate(body[1], body[2], withUnknowns);
            Relate(body[2], body[0], withUnknowns);
            if (size == 4)
            {
                Relate(body[3], body[0], withUnknowns);
                Relate(body[3], body[1], withUnknowns);
            }
            if (withUnknowns && m_Rng() % 3 == 0)
            {
                // A second relation between two nodes, whose value the first one settles.
                Relate(body[0], body[1], withUnknowns, true);
            }
        }
        for (int b = 1; b < bodies; ++b)
        {
            // Bars from distinct nodes, so that no node is left with two relations only.
            const std::vector<CNode*>& from = members[static_cast<size_t>(b - 1)];
            const std::vector<CNode*>& to = members[static_cast<size_t>(b)];
            const size_t bars = m_Rng() % 6 == 0 ? 2 + 2 * (m_Rng() % 2) : 3;
            const size_t shift = m_Rng() % to.size();
            for (size_t k = 0; k < bars; ++k)
            {
                Relate(from[k % from.size()], to[(k + shift) % to.size()], withUnknowns);
            }
        }
        // A relation more over-determines the rigid rows, which seeding then reports.
        const int extra = m_Rng() % 4 == 0 ? 1 : 0;
        for (int k = 0; k < extra; ++k)
        {
            CNode* a = nodes[m_Rng() % nodes.size()].get();
            CNode* c = nodes[m_Rng() % nodes.size()].get();
            if (a != c)
            {
                Relate(a, c, withUnknowns);
            }
        }
        if (m_Rng() % 3 != 0)
        {
            // One fixed node, or now and then a second one that contradicts it.
            const int fixes = m_Rng() % 8 == 0 ? 2 : 1;
            for (int k = 0; k < fixes; ++k)
            {
                Fix(nodes[m_Rng() % nodes.size()].get());
            }
        }

        ListNodesShuffled(m_Rng);
        ListRelsShuffled(m_Rng, true);
    }

    struct Row
    {
        int links;
    };

    explicit BodySketch(Row row) : m_Rng(1)
    {
        for (int k = 0; k <= row.links; ++k)
        {
            for (int i = 0; i < 3; ++i)
            {
                nodes.push_back(std::make_unique<CVert>(2.0 * k + 0.5 * i, 0.4 * (i % 2), 0.0));
            }
        }
        for (int i = 0; i < 3; ++i)
        {
            Fix(nodes[static_cast<size_t>(i)].get());
        }
        auto bar = [this](int a, int b)
        {
            CVert* pa = static_cast<CVert*>(nodes[static_cast<size_t>(a)].get());
            CVert* pb = static_cast<CVert*>(nodes[static_cast<size_t>(b)].get());
            Attach(new CPPdis(pa, pb, 1.0 + 0.1 * (a % 5), 1), pa, pb);
        };
        for (int k = 1; k <= row.links; ++k)
        {
            bar(3 * k, 3 * k + 1);
            bar(3 * k + 1, 3 * k + 2);
            bar(3 * k + 2, 3 * k);
            bar(3 * k - 3, 3 * k);
            bar(3 * k - 1, 3 * k + 1);
            bar(3 * k - 2, 3 * k + 2);
        }
        for (auto& n : nodes)
        {
            nodeList.AddTail(n.get());
        }
        ListRels(true);
    }

private:
    CNode* NewNode(std::uniform_real_distribution<double>& coord)
    {
        const unsigned kind = m_Rng() % 20;
        if (kind == 0 && !nodes.empty() && nodes.back()->GetType() == SKT_NODE_POINT)
        {
            // On top of the point before it.
            const XYZ& p = static_cast<CVert*>(nodes.back().get())->m_Pos;
            nodes.push_back(std::make_unique<CVert>(p.x, p.y, 0.0));
        }
        else if (kind < 3)
        {
            // Lines are rarer: most mixes of line relations in a triangle cannot place a line.
            auto line = std::make_unique<CMathline>();
            line->m_Line.Set(XYZ(coord(m_Rng), coord(m_Rng), 0.0),
                             VECTOR(1.0 + coord(m_Rng), coord(m_Rng), 0.0));
            nodes.push_back(std::move(line));
        }
        else
        {
            nodes.push_back(std::make_unique<CVert>(coord(m_Rng), coord(m_Rng), 0.0));
        }
        return nodes.back().get();
    }

    void Relate(CNode* a, CNode* b, bool withUnknowns, bool unknown = false)
    {
        const bool lines = a->GetType() == SKT_NODE_LINE && b->GetType() == SKT_NODE_LINE;
        // A zero distance determines a point from one other alone.
        const double value =
            m_Rng() % (withUnknowns ? 8 : 30) == 0 ? 0.0 : 1.0 + static_cast<double>(m_Rng() % 4);
        const unsigned char known = unknown || (withUnknowns && m_Rng() % 4 == 0) ? 0 : 1;
        CVal* val = !unknown && m_Rng() % 6 == 0 && !m_Shared.empty()
                        ? m_Shared[m_Rng() % m_Shared.size()]
                        : nullptr;
        CRel* rel = lines && m_Rng() % 2 == 0
                        ? new CLLang(static_cast<CMathline*>(a), static_cast<CMathline*>(b),
                                     (m_Rng() % 3) * 0.5 * std::acos(0.0), known)
                        : randomrows::NewDistance(a, b, val, value, known);
        if (val == nullptr && rel->m_pVal != nullptr && rel->GetType() != SKT_REL_LLANG)
        {
            m_Shared.push_back(rel->m_pVal);
        }
        Attach(rel, a, b);
    }

    std::mt19937 m_Rng;
    std::vector<CVal*> m_Shared;
};

struct Split
{
    int result = 0;
    std::vector<std::vector<CNode*>> clusterNodes;
    std::vector<std::vector<CRel*>> clusterRels;
    std::vector<int> clusterFree;
    std::vector<CNode*> undefined;
    std::vector<CRel*> relChain;
    std::vector<CNode*> defined;
    std::vector<CNode*> known;
    randomrows::Marks marks;
    int overConstrained = 0;

    bool operator==(const Split& o) const
    {
        return result == o.result && clusterNodes == o.clusterNodes &&
               clusterRels == o.clusterRels && clusterFree == o.clusterFree &&
               undefined == o.undefined && relChain == o.relChain && defined == o.defined &&
               known == o.known && marks == o.marks && overConstrained == o.overConstrained;
    }
};

// Opens the pass, builds the main cluster and seeds the rest with the given loop; then puts
// back what the pass changed so that the next run starts from the same sketch.
Split RunSeeding(BodySketch& s, int (*seed)(CClusterList&), bool& seeded)
{
    Split out;
    sktInitJudge(s.nodeList, s.relList);
    CCluster* main = new CCluster();
    const int fixedOk = sktCreateMainCluster(main);
    g_sktClusterChain.AddTail(main);
    seeded = fixedOk != 0;
    out.result = fixedOk != 0 ? seed(g_sktClusterChain) : -1;
    for (CCluster* cluster : randomrows::Entries(g_sktClusterChain))
    {
        out.clusterNodes.push_back(randomrows::Entries(cluster->m_NodeList));
        out.clusterRels.push_back(randomrows::Entries(cluster->m_RelList));
        out.clusterFree.push_back(cluster->GetFreeNum());
    }
    out.undefined = randomrows::Entries(g_sktUndefinedNodeChain);
    out.relChain = randomrows::Entries(g_sktRelChain);
    out.defined = randomrows::Entries(g_sktDefinedNodeChain);
    out.known = randomrows::Entries(g_sktKnownNodeChain);
    out.marks = randomrows::MarksOf(s);
    if (out.result == 1)
    {
        out.overConstrained = sktIsClusterChainOverConstrain(g_sktClusterChain);
    }
    sktFinishJudge(s.relList);
    for (auto& r : s.rels)
    {
        if (r->m_pVal != nullptr)
        {
            r->m_pVal->RestoreValue();
        }
    }
    return out;
}

TEST(AnalysisSeeding, IndexedLoopMatchesTheExportedStepsOnRandomSketches)
{
    int manyClusters = 0;
    int contradictions = 0;
    int overConstrained = 0;
    for (unsigned seed = 1; seed <= 600; ++seed)
    {
        SCOPED_TRACE(seed);
        BodySketch s(seed);
        bool seeded = false;
        const Split fast = RunSeeding(s, sktSeedClusters, seeded);
        const Split plain = RunSeeding(s, sktSeedClustersPlain, seeded);
        EXPECT_TRUE(fast == plain);
        manyClusters += plain.clusterNodes.size() >= 3 ? 1 : 0;
        contradictions += seeded && plain.result == 0 ? 1 : 0;
        overConstrained += plain.overConstrained;
    }
    // The sketches exercise long loops, contradictions met while seeding, and both verdicts.
    EXPECT_GT(manyClusters, 150);
    EXPECT_GT(contradictions, 20);
    EXPECT_GT(overConstrained, 20);
}

// The benchmark's row of triangles, each held to the one before by three bars, the first one
// fixed, with its nodes and relations in the host's order: both loops split it alike.
TEST(AnalysisSeeding, RowOfBarredTrianglesSplitsAsTheExportedStepsDo)
{
    BodySketch s(BodySketch::Row{60});
    bool seeded = false;
    const Split fast = RunSeeding(s, sktSeedClusters, seeded);
    const Split plain = RunSeeding(s, sktSeedClustersPlain, seeded);
    EXPECT_TRUE(fast == plain);
    EXPECT_EQ(plain.result, 1);
    EXPECT_EQ(plain.clusterNodes.size(), 61u);
    EXPECT_TRUE(plain.undefined.empty());
    EXPECT_EQ(plain.overConstrained, 0);
}

} // namespace
