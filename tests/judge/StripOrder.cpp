// The stripping of sktInitJudge keeps the order and result of plain sweeps over the whole chain:
// random sketches are opened both ways and every chain, state, free number and flag must agree.
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

// Random points and lines, some coincident or parallel so that legality tests fail, joined by
// random relations (some sharing unknown values), with a few fixed and reference nodes, and a
// zigzag strip that the sweeps take apart one node per walk from its far end.
class RandomSketch : public randomrows::OwnedSketch
{
public:
    explicit RandomSketch(unsigned seed)
    {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> coord(-10.0, 10.0);
        const int count = 4 + static_cast<int>(rng() % 30);
        for (int i = 0; i < count; ++i)
        {
            const unsigned kind = rng() % 8;
            if (kind < 2 && !nodes.empty())
            {
                // A copy of an earlier node's geometry: coincident points, parallel lines.
                CNode* like = nodes[rng() % nodes.size()].get();
                if (like->GetType() == SKT_NODE_POINT)
                {
                    const XYZ& p = static_cast<CVert*>(like)->m_Pos;
                    nodes.push_back(std::make_unique<CVert>(p.x, p.y, 0.0));
                }
                else
                {
                    auto line = std::make_unique<CMathline>();
                    const MATHLINE& l = static_cast<CMathline*>(like)->m_Line;
                    line->m_Line.Set(XYZ(coord(rng), coord(rng), 0.0), l.GetDirection());
                    nodes.push_back(std::move(line));
                }
            }
            else if (kind < 4)
            {
                auto line = std::make_unique<CMathline>();
                line->m_Line.Set(XYZ(coord(rng), coord(rng), 0.0),
                                 VECTOR(1.0 + coord(rng), coord(rng), 0.0));
                line->m_bDirFixed = rng() % 5 == 0 ? 1 : 0;
                nodes.push_back(std::move(line));
            }
            else
            {
                nodes.push_back(std::make_unique<CVert>(coord(rng), coord(rng), 0.0));
            }
        }
        std::vector<CVal*> shared;
        const int relCount = static_cast<int>(rng() % (2 * count + 1));
        for (int i = 0; i < relCount; ++i)
        {
            CNode* a = nodes[rng() % nodes.size()].get();
            CNode* b = nodes[rng() % nodes.size()].get();
            if (a != b)
            {
                Relate(a, b, rng, shared);
            }
        }
        // A strip: each new point at distances from the two before it.
        const size_t stripStart = nodes.size();
        const int strip = static_cast<int>(rng() % 12);
        for (int i = 0; i < strip; ++i)
        {
            nodes.push_back(std::make_unique<CVert>(i, (i % 2) * 1.5, 0.0));
            const size_t at = nodes.size() - 1;
            for (size_t back = 1; back <= 2 && at >= stripStart + back; ++back)
            {
                Relate(nodes[at].get(), nodes[at - back].get(), rng, shared);
            }
        }
        for (auto& n : nodes)
        {
            const unsigned mark = rng() % 12;
            if (mark == 0)
            {
                Fix(n.get());
            }
            else if (mark == 1)
            {
                refs.push_back(std::make_unique<int>(7));
                n->m_pRefID = refs.back().get();
            }
        }
        ListNodesShuffled(rng);
        ListRels(false);
    }

    ~RandomSketch()
    {
        for (auto& n : nodes)
        {
            n->m_pRefID = nullptr;
        }
    }

    std::vector<std::unique_ptr<int>> refs;

private:
    void Relate(CNode* a, CNode* b, std::mt19937& rng, std::vector<CVal*>& shared)
    {
        const bool lines = a->GetType() == SKT_NODE_LINE && b->GetType() == SKT_NODE_LINE;
        const double value = static_cast<double>(rng() % 4);
        const bool share = rng() % 5 == 0;
        CVal* val = share && !shared.empty() ? shared[rng() % shared.size()] : nullptr;
        const unsigned char known = rng() % 6 == 0 ? 0 : 1;
        // Angles of 0 and of a right angle both occur.
        CRel* rel = lines && rng() % 2 == 0
                        ? new CLLang(static_cast<CMathline*>(a), static_cast<CMathline*>(b),
                                     (rng() % 2) * std::acos(0.0), known)
                        : randomrows::NewDistance(a, b, val, value, known);
        if (share && val == nullptr && rel->m_pVal != nullptr)
        {
            rel->m_pVal->SetUnknown();
            shared.push_back(rel->m_pVal);
        }
        Attach(rel, a, b);
    }
};

struct Outcome
{
    std::vector<CNode*> undefined;
    std::vector<CRel*> relChain;
    randomrows::Marks marks;

    bool operator==(const Outcome& o) const
    {
        return undefined == o.undefined && relChain == o.relChain && marks == o.marks;
    }
};

Outcome Capture(RandomSketch& s)
{
    return {randomrows::Entries(g_sktUndefinedNodeChain), randomrows::Entries(g_sktRelChain),
            randomrows::MarksOf(s)};
}

// Puts back what an opening changed, so the second opening starts where the first did.
void Reset(RandomSketch& s)
{
    for (auto& n : s.nodes)
    {
        n->m_nFreeNum = 2;
    }
    for (auto& r : s.rels)
    {
        r->SetUnused();
        if (r->m_pVal != nullptr)
        {
            r->m_pVal->RestoreKnownFlag();
        }
    }
}

TEST(JudgeStripping, MatchesPlainSweepsOnRandomSketches)
{
    int strippedSome = 0;
    int keptSome = 0;
    for (unsigned seed = 1; seed <= 400; ++seed)
    {
        SCOPED_TRACE(seed);
        RandomSketch s(seed);

        sktInitJudge(s.nodeList, s.relList);
        const Outcome fast = Capture(s);
        Reset(s);
        sktInitJudgePlain(s.nodeList, s.relList);
        const Outcome plain = Capture(s);
        sktFinishJudge(s.relList);

        EXPECT_TRUE(fast == plain);
        strippedSome += plain.undefined.size() < s.nodes.size() ? 1 : 0;
        keptSome += plain.undefined.empty() ? 0 : 1;
    }
    // The sketches exercise both outcomes often.
    EXPECT_GT(strippedSome, 200);
    EXPECT_GT(keptSome, 100);
}

// A node listed twice cannot be followed by neighbours alone: the plain sweeps take over and
// both entries go, the second one in the walk after the first.
TEST(JudgeStripping, NodeListedTwiceIsStrippedAsThePlainSweepsDo)
{
    CVert a(0, 0, 0);
    CVert b(1, 0, 0);
    CPPdis d(&a, &b, 1.0, 1);
    a.AddRel(&d);
    b.AddRel(&d);
    CNodeList nodes;
    nodes.AddTail(&a);
    nodes.AddTail(&b);
    nodes.AddTail(&a);
    CRelList rels;
    rels.AddTail(&d);

    sktInitJudge(nodes, rels);

    EXPECT_TRUE(g_sktUndefinedNodeChain.IsEmpty());
    EXPECT_TRUE(g_sktRelChain.IsEmpty());
    sktFinishJudge(rels);
    d.CutRelWithNode();
}

} // namespace
