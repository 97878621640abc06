// The stripping of good nodes and good clusters keeps the order of a plain sweep walk: random
// sketches are stripped both ways and every chain, state and count must agree.
#include "QsolverInternal.h"
#include "common/RandomRows.h"
#include "drive/DriveCheck.h"
#include "drive/DriveInternal.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace
{
// A sketch of random points and lines with random relations, some sharing unknown values.
class RandomSketch : public randomrows::OwnedSketch
{
public:
    explicit RandomSketch(unsigned seed)
    {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> coord(-10.0, 10.0);
        const int nodeCount = 6 + static_cast<int>(rng() % 20);
        for (int i = 0; i < nodeCount; ++i)
        {
            if (rng() % 4 == 0)
            {
                CVert* a = new CVert(coord(rng), coord(rng), 0.0);
                VECTOR dir(coord(rng), coord(rng), 0.0);
                if (dir.Length() < 1e-3)
                {
                    dir = VECTOR(1, 0, 0);
                }
                nodes.push_back(std::make_unique<CMathline>(a, dir));
                delete a;
            }
            else
            {
                nodes.push_back(std::make_unique<CVert>(coord(rng), coord(rng), 0.0));
            }
        }
        std::vector<CVal*> shared;
        const int relCount = nodeCount + static_cast<int>(rng() % (2 * nodeCount));
        for (int i = 0; i < relCount; ++i)
        {
            CNode* a = nodes[rng() % nodes.size()].get();
            CNode* b = nodes[rng() % nodes.size()].get();
            if (a == b)
            {
                continue;
            }
            const bool share = rng() % 5 == 0;
            AddRelation(a, b, 1.0 + (rng() % 7), share, shared, rng);
        }
        // Points held at equal distances: three relations sharing one unknown value, and
        // sometimes a fourth one elsewhere.
        for (int i = 0; i < nodeCount / 3; ++i)
        {
            CNode* p = nodes[rng() % nodes.size()].get();
            std::vector<CVal*> one;
            const int uses = 3 + static_cast<int>(rng() % 2);
            for (int k = 0; k < uses; ++k)
            {
                CNode* o = nodes[rng() % nodes.size()].get();
                CNode* from = k < 3 ? p : nodes[rng() % nodes.size()].get();
                if (o != from)
                {
                    AddRelation(from, o, 2.0, true, one, rng, true);
                }
            }
        }
        for (int i = 0; i < nodeCount / 6; ++i)
        {
            Fix(nodes[rng() % nodes.size()].get());
        }
        Finish();
    }

    void Finish()
    {
        for (auto& n : nodes)
        {
            nodeList.AddTail(n.get());
            n->BackupNode();
        }
        ListRels(false);
    }

    /// Rigid triangles joined by bars to earlier ones, some with a line through two corners,
    /// some bars of equal unknown length: a core that only clusters can take apart.
    RandomSketch(unsigned seed, int)
    {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> jitter(-0.4, 0.4);
        const int bodies = 2 + static_cast<int>(rng() % 9);
        std::vector<CVert*> corners;
        std::vector<CVal*> shared;
        for (int k = 0; k < bodies; ++k)
        {
            const double cx = 3.0 * k + jitter(rng);
            const double cy = 2.0 * (rng() % 3) + jitter(rng);
            const double at[3][2] = {{0, 0}, {1, 0.2}, {0.4, 1}};
            CVert* p[3];
            for (int i = 0; i < 3; ++i)
            {
                nodes.push_back(std::make_unique<CVert>(cx + at[i][0] + jitter(rng) * 0.3,
                                                        cy + at[i][1] + jitter(rng) * 0.3, 0.0));
                p[i] = static_cast<CVert*>(nodes.back().get());
                corners.push_back(p[i]);
            }
            for (int i = 0; i < 3; ++i)
            {
                AddRelation(p[i], p[(i + 1) % 3], 1.0, false, shared, rng);
            }
            if (rng() % 4 == 0)
            {
                VECTOR d(p[0]->m_Pos, p[1]->m_Pos);
                nodes.push_back(std::make_unique<CMathline>(p[0], d));
                CNode* line = nodes.back().get();
                AddRelation(p[0], line, 0.0, false, shared, rng);
                AddRelation(p[1], line, 0.0, false, shared, rng);
            }
            if (k == 0)
            {
                if (rng() % 4 != 0)
                {
                    for (CVert* c : p)
                    {
                        Fix(c);
                    }
                }
                continue;
            }
            const int bars = 2 + static_cast<int>(rng() % 3);
            std::vector<CVal*> equal;
            for (int b = 0; b < bars; ++b)
            {
                CVert* from = corners[rng() % (corners.size() - 3)];
                const bool eq = rng() % 6 == 0;
                AddRelation(from, p[b % 3], 1.0, eq, equal, rng, eq);
            }
        }
        Finish();
    }

    /// Gives every relation the measure the drawing has, so that most sketches can be built.
    void MeasureValues()
    {
        for (auto& r : rels)
        {
            if (r->m_pVal != nullptr && r->GetType() != SKT_REL_LLANG)
            {
                r->m_pVal->m_dValue = r->GetActualVal();
            }
            if (r->m_pVal != nullptr)
            {
                r->m_pVal->BackupValue();
                r->m_pVal->BackupKnownFlag();
            }
        }
    }

private:
    void AddRelation(CNode* a, CNode* b, double value, bool share, std::vector<CVal*>& shared,
                     std::mt19937& rng, bool always = false)
    {
        const bool lines = a->GetType() == SKT_NODE_LINE && b->GetType() == SKT_NODE_LINE;
        CVal* val = nullptr;
        if (share && !shared.empty() && (always || rng() % 2 == 0))
        {
            val = shared[rng() % shared.size()];
        }
        CRel* rel = lines && rng() % 2 == 0
                        ? new CLLang(static_cast<CMathline*>(a), static_cast<CMathline*>(b), 0.5, 1)
                        : randomrows::NewDistance(a, b, val, value, share ? 0 : 1);
        if (share && val == nullptr)
        {
            shared.push_back(rel->m_pVal);
        }
        Attach(rel, a, b);
    }
};

int CountRefs(CVal* val)
{
    int count = 0;
    for (CPtrList* chain :
         {static_cast<CPtrList*>(&g_sktRelChain), static_cast<CPtrList*>(&g_sktSaveRelChain)})
    {
        POSITION pos = chain->GetHeadPosition();
        while (pos != nullptr)
        {
            if (static_cast<CRel*>(chain->GetNext(pos))->m_pVal == val)
            {
                ++count;
            }
        }
    }
    return count;
}

// The sweeps written as plainly as they read: tail to head, again until nothing is stripped.
void PlainStrip()
{
    bool changed = true;
    while (changed)
    {
        changed = false;
        POSITION pos = g_sktUndefinedNodeChain.GetTailPosition();
        while (pos != nullptr)
        {
            POSITION at = pos;
            CNode* node = g_sktUndefinedNodeChain.GetPrev(pos);
            if (node->IsRefObject() || node->IsFixed())
            {
                continue;
            }
            std::vector<CRel*> scratch;
            POSITION r = node->m_RelList.GetHeadPosition();
            while (r != nullptr)
            {
                CRel* rel = node->m_RelList.GetNext(r);
                if (rel->IsUnused())
                {
                    scratch.push_back(rel);
                }
            }
            bool good = scratch.size() <= 1;
            if (scratch.size() == 2)
            {
                CRel* a = scratch.front();
                CRel* b = scratch.back();
                a->SetActive();
                b->SetActive();
                a->m_pVal->SetKnown();
                b->m_pVal->SetKnown();
                good = node->IsLegal() != 0;
                a->m_pVal->RestoreKnownFlag();
                b->m_pVal->RestoreKnownFlag();
                a->SetUnused();
                b->SetUnused();
            }
            else if (scratch.size() == 3)
            {
                CVal* v = scratch[0]->m_pVal;
                good = v->m_bKnown == 0 && scratch[1]->m_pVal == v && scratch[2]->m_pVal == v &&
                       CountRefs(v) <= 3;
            }
            if (!good)
            {
                continue;
            }
            changed = true;
            for (CRel* rel : scratch)
            {
                rel->SetUsed();
                g_sktSaveRelChain.AddHead(rel);
            }
            g_sktUndefinedNodeChain.RemoveAt(at);
            if (node->GetType() == SKT_NODE_LINE && node->m_RelList.GetCount() <= 2)
            {
                g_sktGoodNodeChain.AddTail(node);
            }
            else
            {
                g_sktGoodNodeChain.AddHead(node);
            }
        }
        pos = g_sktRelChain.GetHeadPosition();
        while (pos != nullptr)
        {
            POSITION at = pos;
            if (g_sktRelChain.GetNext(pos)->IsUsed())
            {
                g_sktRelChain.RemoveAt(at);
            }
        }
    }
}

// Entries of lists of different kinds, comparable side by side.
template <class List> std::vector<void*> Items(List& list)
{
    const auto entries = randomrows::Entries(list);
    return std::vector<void*>(entries.begin(), entries.end());
}

struct StripOutcome
{
    std::vector<void*> good, save, rel, undefined;
    randomrows::Marks marks;
};

StripOutcome Outcome(RandomSketch& s)
{
    return {Items(g_sktGoodNodeChain), Items(g_sktSaveRelChain), Items(g_sktRelChain),
            Items(g_sktUndefinedNodeChain), randomrows::MarksOf(s)};
}
} // namespace

TEST(GoodNodeStripping, MatchesPlainSweepsOnRandomSketches)
{
    for (unsigned seed = 1; seed <= 1000; ++seed)
    {
        SCOPED_TRACE(seed);
        RandomSketch s(seed);

        sktInitDrive(s.nodeList, s.relList);
        PlainStrip();
        const StripOutcome plain = Outcome(s);
        sktInitDrive(s.nodeList, s.relList);
        sktRemoveGoodNodeFromChain();
        const StripOutcome fast = Outcome(s);

        EXPECT_EQ(fast.good, plain.good);
        EXPECT_EQ(fast.save, plain.save);
        EXPECT_EQ(fast.rel, plain.rel);
        EXPECT_EQ(fast.undefined, plain.undefined);
        EXPECT_TRUE(fast.marks == plain.marks);
    }
    drivecheck::ClosePass();
}

namespace
{
// Good clusters as the plain walk strips them: restart at the head after each one.
void PlainStripClusters()
{
    bool found = true;
    while (found)
    {
        found = false;
        POSITION pos = g_sktClusterChain.GetHeadPosition();
        g_sktClusterChain.GetNext(pos);
        while (pos != nullptr)
        {
            POSITION at = pos;
            CCluster* c = g_sktClusterChain.GetNext(pos);
            if (c->GetRelNum() > c->GetFreeNum())
            {
                continue;
            }
            g_sktClusterChain.RemoveAt(at);
            g_sktGoodClusterChain.AddHead(c);
            POSITION r = c->m_RelList.GetHeadPosition();
            while (r != nullptr)
            {
                CRel* rel = c->m_RelList.GetNext(r);
                POSITION k = g_sktClusterChain.GetHeadPosition();
                while (k != nullptr)
                {
                    CCluster* holder = g_sktClusterChain.GetNext(k);
                    POSITION in = holder->m_RelList.Find(rel);
                    if (in != nullptr)
                    {
                        holder->m_RelList.RemoveAt(in);
                        break;
                    }
                }
            }
            found = true;
            break;
        }
    }
}

// Random clusters joined by random relations between them (no nodes are needed to count).
struct RandomClusters
{
    explicit RandomClusters(unsigned seed)
    {
        std::mt19937 rng(seed);
        const int count = 2 + static_cast<int>(rng() % 12);
        for (int i = 0; i < count; ++i)
        {
            clusters.push_back(std::make_unique<CCluster>());
            clusters.back()->m_nFreeNum = static_cast<signed char>(rng() % 3 == 0 ? 2 : 3);
        }
        const int relCount = static_cast<int>(rng() % (3 * count));
        for (int i = 0; i < relCount; ++i)
        {
            rels.push_back(std::make_unique<CRel>());
            const std::size_t a = rng() % clusters.size();
            const std::size_t b = rng() % clusters.size();
            clusters[a]->AddRel(rels.back().get());
            if (b != a)
            {
                clusters[b]->AddRel(rels.back().get());
            }
        }
    }
    void Load()
    {
        g_sktClusterChain.RemoveAll();
        g_sktGoodClusterChain.RemoveAll();
        for (auto& c : clusters)
        {
            c->RemoveAllRel();
        }
        for (std::size_t i = 0; i < placement.size(); ++i)
        {
            clusters[placement[i].first]->AddRel(rels[placement[i].second].get());
        }
        for (auto& c : clusters)
        {
            g_sktClusterChain.AddTail(c.get());
        }
    }
    void Remember()
    {
        for (std::size_t c = 0; c < clusters.size(); ++c)
        {
            POSITION pos = clusters[c]->m_RelList.GetHeadPosition();
            while (pos != nullptr)
            {
                CRel* rel = clusters[c]->m_RelList.GetNext(pos);
                for (std::size_t r = 0; r < rels.size(); ++r)
                {
                    if (rels[r].get() == rel)
                    {
                        placement.emplace_back(c, r);
                    }
                }
            }
        }
    }
    std::vector<std::vector<void*>> Lists()
    {
        std::vector<std::vector<void*>> out;
        out.push_back(Items(g_sktClusterChain));
        out.push_back(Items(g_sktGoodClusterChain));
        for (auto& c : clusters)
        {
            out.push_back(Items(c->m_RelList));
        }
        return out;
    }
    std::vector<std::unique_ptr<CCluster>> clusters;
    std::vector<std::unique_ptr<CRel>> rels;
    std::vector<std::pair<std::size_t, std::size_t>> placement;
};
} // namespace

TEST(GoodClusterStripping, MatchesPlainWalksOnRandomChains)
{
    for (unsigned seed = 1; seed <= 1000; ++seed)
    {
        SCOPED_TRACE(seed);
        RandomClusters rc(seed);
        rc.Remember();

        rc.Load();
        PlainStripClusters();
        const auto plain = rc.Lists();
        rc.Load();
        sktRemoveGoodClusterFromChain();
        const auto fast = rc.Lists();

        EXPECT_EQ(fast, plain);
    }
    g_sktClusterChain.RemoveAll();
    g_sktGoodClusterChain.RemoveAll();
}

namespace
{
struct BuildOutcome
{
    int result = 0;
    std::vector<std::vector<void*>> clusterNodes, clusterRels;
    std::vector<int> clusterFree, clusterDriven;
    std::vector<void*> undefined, rel, defined;
    randomrows::Marks marks;
    std::vector<double> coords;

    bool operator==(const BuildOutcome& o) const
    {
        return result == o.result && clusterNodes == o.clusterNodes &&
               clusterRels == o.clusterRels && clusterFree == o.clusterFree &&
               clusterDriven == o.clusterDriven && undefined == o.undefined && rel == o.rel &&
               defined == o.defined && marks == o.marks && coords == o.coords;
    }
};

BuildOutcome BuildOnce(RandomSketch& s, CRel* driven, bool plain)
{
    for (auto& n : s.nodes)
    {
        n->RestoreNode();
    }
    for (auto& r : s.rels)
    {
        if (r->m_pVal != nullptr)
        {
            r->m_pVal->RestoreValue();
            r->m_pVal->RestoreKnownFlag();
        }
    }
    g_sktDriveRelChain.RemoveAll();
    g_sktDriveRelChain.AddTail(driven);
    sktInitDrive(s.nodeList, s.relList);
    sktRemoveGoodNodeFromChain();

    BuildOutcome o;
    o.result = plain ? sktDriveBuildClusterChainPlain() : sktBuildClusterChain();
    POSITION pos = g_sktClusterChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* c = g_sktClusterChain.GetNext(pos);
        o.clusterNodes.push_back(Items(c->m_NodeList));
        o.clusterRels.push_back(Items(c->m_RelList));
        o.clusterFree.push_back(c->m_nFreeNum);
        o.clusterDriven.push_back(c->m_wDriven);
    }
    o.undefined = Items(g_sktUndefinedNodeChain);
    o.rel = Items(g_sktRelChain);
    o.defined = Items(g_sktDefinedNodeChain);
    o.marks = randomrows::MarksOf(s);
    for (auto& n : s.nodes)
    {
        const std::vector<double> numbers = measure::NodeNumbers(n.get());
        o.coords.insert(o.coords.end(), numbers.begin(), numbers.end());
    }
    return o;
}
} // namespace

TEST(ClusterSeeding, MatchesPlainWalksOnRandomSketches)
{
    int built = 0;
    int withSeeds = 0;
    for (unsigned seed = 1; seed <= 600; ++seed)
    {
        SCOPED_TRACE(seed);
        RandomSketch s(seed, 0);
        s.MeasureValues();
        CRel* driven = s.rels[seed % s.rels.size()].get();

        const BuildOutcome plain = BuildOnce(s, driven, true);
        const BuildOutcome fast = BuildOnce(s, driven, false);

        EXPECT_TRUE(fast == plain);
        built += plain.result;
        withSeeds += plain.clusterNodes.size() > 1 ? 1 : 0;
    }
    EXPECT_GT(built, 100);
    EXPECT_GT(withSeeds, 60);
    drivecheck::ClosePass();
}
