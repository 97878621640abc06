// The over-constraint test on clusters assembled by hand: the pair test and merges, the
// translation test and the counts.
#include "judge/JudgeInternal.h"
#include "judge/JudgeTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>

using judgetest::AddCluster;
using qsolver::Sketch;
using qsolver::ValueSpec;

namespace
{

const double kPi = 2 * std::acos(0.0);

// Two bodies X and Y, each with four points and three lines pointing three ways, owned by a
// host sketch; relations are added per case.
struct TwoBodies
{
    TwoBodies()
    {
        // A drive leaves its clusters in the chains until the next pass; these chains are built
        // by hand, so they start empty whichever test ran before.
        for (CClusterList* chain : {&g_sktClusterChain, &g_sktGoodClusterChain})
        {
            while (!chain->IsEmpty())
            {
                delete chain->RemoveHead();
            }
        }
        for (const char* body : {"X", "Y"})
        {
            const std::string b = body;
            const double off = b == "X" ? 0.0 : 10.0;
            for (int i = 1; i <= 4; ++i)
            {
                sketch.AddPoint(b + std::to_string(i), off + i, i * i);
            }
            sketch.AddLine(b + "L1", off, 0, 1, 0);
            sketch.AddLine(b + "L2", off, 0, 0, 1);
            sketch.AddLine(b + "L3", off, 0, 1, 1);
        }
    }

    ~TwoBodies() { sktFinishJudge(sketch.Relations()); }

    // A further body of two points named `name`1 and `name`2, made a cluster after X and Y.
    void AddPair(const std::string& name, double x)
    {
        sketch.AddPoint(name + "1", x, 0);
        sketch.AddPoint(name + "2", x + 1, 0);
        pairs.push_back(name);
    }

    // The bodies as clusters, X first, with every relation listed in X at first.
    void MakeClusters(int freeX = 3, int freeY = 3)
    {
        sketch.BackupAll();
        CCluster* x = AddCluster(sketch, {"X1", "X2", "X3", "X4", "XL1", "XL2", "XL3"}, {}, freeX);
        AddCluster(sketch, {"Y1", "Y2", "Y3", "Y4", "YL1", "YL2", "YL3"}, {}, freeY);
        for (const std::string& id : sketch.RelationIds())
        {
            x->AddRel(sketch.FindRelation(id));
        }
        for (const std::string& p : pairs)
        {
            AddCluster(sketch, {(p + "1").c_str(), (p + "2").c_str()}, {});
        }
    }

    int Verdict() { return sktIsClusterChainOverConstrain(g_sktClusterChain); }

    void Dis(const std::string& a, const std::string& b, double v = 5)
    {
        sketch.AddPPdis("d" + a + b, a, b, ValueSpec::Own(v));
    }
    // A distance whose value the sketch leaves open: it joins nothing, yet the clusters list it.
    void OpenDis(const std::string& a, const std::string& b)
    {
        sketch.AddPPdis("u" + a + b, a, b, ValueSpec::Own(5, false));
    }
    void Ang(const std::string& a, const std::string& b, double radians)
    {
        sketch.AddLLang("a" + a + b, a, b, ValueSpec::Own(radians));
    }
    void PL(const std::string& p, const std::string& l, double v = 1)
    {
        sketch.AddPLdis("h" + p + l, p, l, ValueSpec::Own(v));
    }
    void HoldDirections()
    {
        sketch.FindLine("XL1")->m_bDirFixed = 1;
        sketch.FindLine("YL1")->m_bDirFixed = 1;
    }

    Sketch sketch;
    std::vector<std::string> pairs;
};

class OverConstrain : public ::testing::Test, public TwoBodies
{
};

TEST_F(OverConstrain, SingleRemainingClusterWithRelationsLeftIs)
{
    // Three relations inside a cluster that can only move: it is not loose and stays alone.
    Dis("X1", "X2");
    Dis("X2", "X3");
    Dis("X3", "X1");
    sketch.BackupAll();
    AddCluster(sketch, {"X1", "X2", "X3"}, {"dX1X2", "dX2X3", "dX3X1"}, 2);

    EXPECT_EQ(Verdict(), 1);
}

struct TwoBodiesRow
{
    const char* name;
    int freeX, freeY, expected;
    const char* pairs; // further two-point bodies, one letter each
    bool hold;         // XL1 and YL1 keep their directions
    // "d A B" a distance of 5 between points, "u A B" one of unknown value, "a A B deg" an angle
    // between lines, "h P L" a distance of 1 from a point to a line; separated by commas.
    const char* rels;
};

TEST(OverConstrainTwoBodies, Table)
{
    const TwoBodiesRow rows[] = {
        {"three distances hold them rigidly", 3, 3, 0, "", false, "d X1 Y1, d X2 Y2, d X3 Y3"},
        {"four distances say one too many", 3, 3, 1, "", false,
         "d X1 Y1, d X2 Y2, d X3 Y3, d X4 Y4"},
        {"three relations of which two angles", 3, 3, 1, "", false,
         "a XL1 YL1 30, a XL2 YL2 60, d X1 Y1"},
        {"two angles between two bodies", 3, 3, 1, "", false, "a XL1 YL1 30, a XL2 YL2 60"},
        {"point cluster first, three distances", 2, 3, 0, "", false, "d X1 Y1, d X1 Y2, d X1 Y3"},
        {"point cluster second, three distances", 3, 2, 0, "", false, "d X1 Y1, d X2 Y1, d X3 Y1"},
        {"right angle settles rotation, two parallel distances", 3, 3, 1, "", false,
         "a XL1 YL2 90, h X1 YL1, h X2 YL1"},
        {"angle of 45 degrees leaves rotation free", 3, 3, 0, "", false,
         "a XL1 YL3 45, h X1 YL1, h X2 YL1"},
        {"angle of 270 degrees settles rotation too", 3, 3, 1, "", false,
         "a XL1 YL2 270, h X1 YL1, h X2 YL1"},
        {"angle a hundredth of a degree past 270 leaves rotation free", 3, 3, 0, "", false,
         "a XL1 YL2 270.01, h X1 YL1, h X2 YL1"},
        {"held directions, two parallel distances", 3, 3, 1, "", true, "h X1 YL1, h Y1 XL1"},
        {"held directions, distances along two directions", 3, 3, 0, "", true,
         "h X1 YL1, h X2 YL2"},
        {"held directions, distances along three directions", 3, 3, 1, "", true,
         "h X1 YL1, h X2 YL2, h X3 YL3"},
        {"rigid pair merges, the union takes four distances from a third body", 3, 3, 1, "Z", false,
         "d X1 Y1, d X2 Y2, d X3 Y3, d X1 Z1, d X2 Z2, d Y1 Z1, d Y2 Z2"},
        {"three bodies in a triangle of paired distances: six fit nine less three", 3, 3, 0, "Z",
         false, "d X1 Y1, d X2 Y2, d X1 Z1, d X2 Z2, d Y1 Z1, d Y2 Z2"},
        {"four bodies pairwise joined by two distances: three too many", 3, 3, 1, "ZW", false,
         "d X1 Y1, d X2 Y2, d X1 Z1, d X2 Z2, d X1 W1, d X2 W2, "
         "d Y1 Z1, d Y2 Z2, d Y1 W1, d Y2 W2, d Z1 W1, d Z2 W2"},
        // Each pair below differs by one relation or one free number at the edge of a count.
        {"four bodies, nine distances: exactly twelve less three", 3, 3, 0, "ZW", false,
         "d X1 Y1, d X2 Y2, d X1 Z1, d X2 Z2, d X3 W1, d Y1 Z1, d Y1 W1, d Z1 W1, d Z2 W2"},
        {"four bodies, ten distances: one past twelve less three", 3, 3, 1, "ZW", false,
         "d X1 Y1, d X2 Y2, d X1 Z1, d X2 Z2, d X3 W1, d Y1 Z1, d Y1 W1, d Y2 W2, d Z1 W1, "
         "d Z2 W2"},
        {"one angle between two bodies that both turn", 3, 3, 0, "", false,
         "a XL1 YL1 30, d X1 Y1, u X2 Y2, u X3 Y3"},
        {"one angle against a body that cannot turn", 3, 2, 1, "", false,
         "a XL1 YL1 30, d X1 Y1, u X2 Y2, u X3 Y3"},
        {"two angles alone on the first body, two freedoms spare", 3, 3, 0, "ZW", false,
         "a XL1 YL1 30, a XL2 YL2 60, d Y1 Z1, d Y2 Z2, d Y1 W1, d Y2 W2, d Z1 W1, u Z2 W2"},
        {"two angles alone on the first body, one freedom spare", 3, 3, 1, "ZW", false,
         "a XL1 YL1 30, a XL2 YL2 60, d Y1 Z1, d Y2 Z2, d Y1 W1, d Y2 W2, d Z1 W1, d Z2 W2"},
    };
    for (const TwoBodiesRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        TwoBodies bodies;
        for (const char* p = row.pairs; *p != '\0'; ++p)
        {
            bodies.AddPair(std::string(1, *p), 20.0 + 10.0 * static_cast<double>(p - row.pairs));
        }
        if (row.hold)
        {
            bodies.HoldDirections();
        }
        std::string list = row.rels;
        std::replace(list.begin(), list.end(), ',', ' ');
        std::istringstream rels(list);
        std::string kind, a, b;
        while (rels >> kind >> a >> b)
        {
            if (kind == "a")
            {
                double degrees = 0.0;
                rels >> degrees;
                bodies.Ang(a, b, degrees * kPi / 180.0);
            }
            else if (kind == "u")
            {
                bodies.OpenDis(a, b);
            }
            else
            {
                kind == "d" ? bodies.Dis(a, b) : bodies.PL(a, b);
            }
        }
        bodies.MakeClusters(row.freeX, row.freeY);

        EXPECT_EQ(bodies.Verdict(), row.expected);
    }
}

TEST_F(OverConstrain, MergeMakesTheCarriedValueKnownUntilFinish)
{
    // Three distances and two of equal unknown length: the first unknown only carries the value.
    Dis("X1", "Y1");
    Dis("X2", "Y2");
    Dis("X3", "Y3");
    sketch.AddValue("same", 2, false);
    sketch.AddPPdis("e1", "X4", "Y4", ValueSpec::Shared("same"));
    sketch.AddPPdis("e2", "X4", "Y3", ValueSpec::Shared("same"));
    MakeClusters();
    CVal* same = sketch.FindValue("same");

    // Four equations between two bodies: the pair test refuses them.
    EXPECT_EQ(Verdict(), 1);
    EXPECT_FALSE(same->IsKnown());
    sktFinishJudge(sketch.Relations());

    sketch.RemoveRelation("dX3Y3");
    MakeClusters();
    EXPECT_EQ(Verdict(), 0);
    EXPECT_TRUE(same->IsKnown());
    ASSERT_EQ(g_sktClusterChain.GetCount(), 0);

    sktFinishJudge(sketch.Relations());
    EXPECT_FALSE(same->IsKnown());
}

TEST(AngleSurplus, CountsAnglesBeyondWhatRotationAbsorbs)
{
    struct Row
    {
        const char* name;
        int freeNum, angles, others, expected;
    };
    static const Row rows[] = {
        {"no relations", 3, 0, 0, 0},
        {"one angle", 3, 1, 0, 0},
        {"two angles", 3, 2, 0, 1},
        {"three angles", 3, 3, 0, 2},
        {"four angles, capped", 3, 4, 0, 2},
        {"two angles and a distance", 3, 2, 1, 1},
        {"two angles, two distances", 3, 2, 2, 0},
        {"point cluster, two angles", 2, 2, 0, 1},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        CCluster cluster;
        cluster.m_nFreeNum = static_cast<signed char>(row.freeNum);
        CLLang angle;
        CPPdis distance;
        for (int i = 0; i < row.angles; ++i)
        {
            cluster.AddRel(&angle);
        }
        for (int i = 0; i < row.others; ++i)
        {
            cluster.AddRel(&distance);
        }

        EXPECT_EQ(sktGetAngleSurplus(&cluster), row.expected);
    }
}

TEST(EffectiveRelNum, SharedUnknownValueCountsOneLess)
{
    CVert a(0, 0, 0);
    CVert b(1, 0, 0);
    CVal shared;
    CPPdis k1(&a, &b, 1.0, 1);
    CPPdis u1(&a, &b, &shared);
    CPPdis u2(&a, &b, &shared);
    CPPdis u3(&a, &b, &shared);
    CPPdis lone(&a, &b, 1.0, 0);
    CRelList rels;
    for (CRel* r : {static_cast<CRel*>(&k1), static_cast<CRel*>(&u1), static_cast<CRel*>(&u2),
                    static_cast<CRel*>(&u3), static_cast<CRel*>(&lone)})
    {
        rels.AddTail(r);
    }

    EXPECT_EQ(sktGetEffectiveRelNum(rels), 3);

    for (CRel* r : {static_cast<CRel*>(&u1), static_cast<CRel*>(&u2), static_cast<CRel*>(&u3)})
    {
        RemoveFromList(r, shared.m_RelSel);
        r->m_pVal = nullptr;
    }
}

TEST(TranslationTest, CountsParallelDistancesBetweenSlidingClusters)
{
    // Clusters that cannot turn, joined by distances to parallel lines. Between two of them two
    // known values fix one slide twice, and an unknown value shared by u of them gives u - 1.
    // Three in a cycle, each pair held along the same direction, are one too many, unless the
    // third cluster's line stood across the others before.
    struct Row
    {
        const char* name;
        char first; // 'k' a known value, 'u' an unknown one, 's' sharing one unknown value
        char second;
        char third; // 0: two clusters; 'c' a cycle of three; 't' the cycle with a line turned
        int expected;
    };
    static const Row rows[] = {
        {"two known", 'k', 'k', 0, 1},
        {"one known, one unknown", 'k', 'u', 0, 0},
        {"two sharing one unknown", 's', 's', 0, 0},
        {"cycle of three", 'k', 'k', 'c', 1},
        {"cycle of three, third line turned", 'k', 'k', 't', 0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        TwoBodies b;
        b.sketch.AddValue("u", 1, false);
        auto valueOf = [](char kind)
        {
            return kind == 'k'   ? ValueSpec::Own(1)
                   : kind == 's' ? ValueSpec::Shared("u")
                                 : ValueSpec::Own(1, false);
        };
        b.sketch.AddPLdis("h1", "X1", "YL1", valueOf(row.first));
        if (row.third == 0)
        {
            b.sketch.AddPLdis("h2", "Y2", "XL1", valueOf(row.second));
            b.MakeClusters(2, 2);
        }
        else
        {
            b.sketch.AddPoint("Z1", 20, 0);
            b.sketch.AddLine("ZL1", 20, 0, 1, 0);
            b.sketch.AddPLdis("h2", "Y1", "ZL1", valueOf(row.second));
            b.PL("Z1", "XL1");
            b.MakeClusters(2, 2);
            AddCluster(b.sketch, {"Z1", "ZL1"}, {}, 2);
        }
        CRelList pool;
        for (const std::string& id : b.sketch.RelationIds())
        {
            pool.AddTail(b.sketch.FindRelation(id));
        }
        sktDistributeRelations(pool, g_sktClusterChain);
        if (row.third == 't')
        {
            b.sketch.FindLine("ZL1")->m_pBackupLine->Set(XYZ(20, 0, 0), VECTOR(0, 1, 0));
        }

        EXPECT_EQ(sktIsTranslationOverConstrained(g_sktClusterChain), row.expected);
    }
}

} // namespace
