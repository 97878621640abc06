// The translation test: among clusters whose relative rotation is already settled, point-line
// distances can only fix translations, at most one per direction between two clusters and
// never around a cycle, and in at most two independent directions.
#include "judge/JudgeInternal.h"

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>
#include <unordered_map>
#include <vector>

namespace
{

// An angle within this of a multiple of a right angle settles the rotation between clusters.
const double kSettledAngleTol = 0.0001;

struct Clusters
{
    std::vector<CCluster*> all;
    // For every relation, the clusters (indices into `all`) whose relation list holds it.
    std::unordered_map<CRel*, std::vector<int>> holders;
};

void IndexClusters(CClusterList& list, Clusters& out)
{
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = list.GetNext(pos);
        const int index = static_cast<int>(out.all.size());
        out.all.push_back(cluster);
        POSITION relPos = cluster->m_RelList.GetHeadPosition();
        while (relPos != nullptr)
        {
            out.holders[cluster->m_RelList.GetNext(relPos)].push_back(index);
        }
    }
}

bool HoldsDirFixedLine(CCluster* cluster)
{
    POSITION pos = cluster->m_NodeList.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = cluster->m_NodeList.GetNext(pos);
        if (node->GetType() == SKT_NODE_LINE && static_cast<CMathline*>(node)->m_bDirFixed != 0)
        {
            return true;
        }
    }
    return false;
}

bool SettlesRotation(double angle)
{
    const double halfPi = std::acos(0.0);
    return angle < kSettledAngleTol || std::fabs(angle - halfPi) <= kSettledAngleTol ||
           std::fabs(angle - 2.0 * halfPi) <= kSettledAngleTol ||
           std::fabs(angle - 3.0 * halfPi) <= kSettledAngleTol;
}

// Marks every cluster that shares a settling angle with p: one walk over p's relations instead
// of one per cluster asked about. Returns the marked clusters so the marks can be cleared.
std::vector<int> MarkSettlingAngleSharers(const Clusters& c, int p, std::vector<char>& marks)
{
    std::vector<int> marked;
    CRelList& rels = c.all[static_cast<size_t>(p)]->m_RelList;
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        if (rel->GetType() != SKT_REL_LLANG || rel->m_pVal == nullptr ||
            !SettlesRotation(rel->m_pVal->m_dValue))
        {
            continue;
        }
        auto it = c.holders.find(rel);
        if (it == c.holders.end())
        {
            continue;
        }
        for (int d : it->second)
        {
            if (marks[static_cast<size_t>(d)] == 0)
            {
                marks[static_cast<size_t>(d)] = 1;
                marked.push_back(d);
            }
        }
    }
    return marked;
}

// The line of a point-line distance as the host last saw it; the live line stands in when the
// host made no backup, so a missing backup cannot crash the test.
const MATHLINE& LineOf(CRel* rel)
{
    CNode* node = rel->m_pNode1->GetType() == SKT_NODE_LINE ? rel->m_pNode1 : rel->m_pNode2;
    CMathline* line = static_cast<CMathline*>(node);
    return line->m_pBackupLine != nullptr ? *line->m_pBackupLine : line->m_Line;
}

// How many clusters of the group hold the relation (slotOf is -1 outside the group).
int CountInGroup(const Clusters& c, const std::vector<int>& slotOf, CRel* rel)
{
    auto it = c.holders.find(rel);
    if (it == c.holders.end())
    {
        return 0;
    }
    int count = 0;
    for (int index : it->second)
    {
        if (slotOf[static_cast<size_t>(index)] >= 0)
        {
            ++count;
        }
    }
    return count;
}

typedef std::vector<std::vector<int>> Matrix;

bool Trace(int a, int b, Matrix& work, std::vector<char>& marked)
{
    if (marked[static_cast<size_t>(a)] && marked[static_cast<size_t>(b)])
    {
        return false;
    }
    marked[static_cast<size_t>(a)] = 1;
    marked[static_cast<size_t>(b)] = 1;
    work[static_cast<size_t>(a)][static_cast<size_t>(b)] = 0;
    work[static_cast<size_t>(b)][static_cast<size_t>(a)] = 0;
    const int n = static_cast<int>(work.size());
    for (int k = 0; k < n; ++k)
    {
        if (work[static_cast<size_t>(a)][static_cast<size_t>(k)] != 0 && !Trace(a, k, work, marked))
        {
            return false;
        }
    }
    for (int k = 0; k < n; ++k)
    {
        if (work[static_cast<size_t>(b)][static_cast<size_t>(k)] != 0 && !Trace(b, k, work, marked))
        {
            return false;
        }
    }
    return true;
}

// Whether the distances along direction d join the clusters of the group without a cycle and
// with at most one distance per pair.
bool IsForest(const Clusters& c, const std::vector<int>& group, const std::vector<int>& slotOf,
              const MATHLINE& d)
{
    const size_t n = group.size();
    Matrix known(n, std::vector<int>(n, 0));
    Matrix unknown(n, std::vector<int>(n, 0));
    for (size_t i = 0; i < n; ++i)
    {
        CRelList& rels = c.all[static_cast<size_t>(group[i])]->m_RelList;
        POSITION pos = rels.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = rels.GetNext(pos);
            if (rel->GetType() != SKT_REL_PLDIS || !d.IsParallel(LineOf(rel)))
            {
                continue;
            }
            const bool isKnown = rel->m_pVal == nullptr || rel->m_pVal->IsKnown();
            for (int index : c.holders.at(rel))
            {
                const int j = slotOf[static_cast<size_t>(index)];
                if (j < 0 || static_cast<size_t>(j) == i)
                {
                    continue;
                }
                ++(isKnown ? known : unknown)[i][static_cast<size_t>(j)];
            }
        }
    }

    // u distances sharing unknown values give u - 1 equations.
    Matrix m(n, std::vector<int>(n, 0));
    for (size_t i = 0; i < n; ++i)
    {
        for (size_t j = 0; j < n; ++j)
        {
            const int u = unknown[i][j];
            m[i][j] = i == j ? 0 : known[i][j] + (u > 1 ? u - 1 : 0);
            if (m[i][j] > 1)
            {
                return false;
            }
        }
    }

    std::vector<char> marked(n, 0);
    for (size_t i = 0; i < n; ++i)
    {
        for (size_t j = 0; j < n; ++j)
        {
            if (m[i][j] == 0)
            {
                continue;
            }
            Matrix work = m;
            marked.assign(n, 0);
            if (!Trace(static_cast<int>(i), static_cast<int>(j), work, marked))
            {
                return false;
            }
        }
    }
    return true;
}

// 1 when the distances of cluster x toward the rest of its group over-constrain translation.
int DirectionTest(const Clusters& c, int x, const std::vector<int>& group,
                  const std::vector<int>& slotOf)
{
    MATHLINE d1;
    MATHLINE d2;
    bool haveD1 = false;
    bool haveD2 = false;
    CRelList& rels = c.all[static_cast<size_t>(x)]->m_RelList;
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        if (rel->GetType() != SKT_REL_PLDIS || CountInGroup(c, slotOf, rel) != 2)
        {
            continue;
        }
        const MATHLINE& line = LineOf(rel);
        if (!haveD1)
        {
            d1 = line;
            haveD1 = true;
        }
        else if (!haveD2)
        {
            if (!d1.IsParallel(line))
            {
                d2 = line;
                haveD2 = true;
            }
        }
        else if (!d1.IsParallel(line) && !d2.IsParallel(line))
        {
            // A third independent direction: the plane has only two.
            return 1;
        }
    }
    if (haveD1 && !IsForest(c, group, slotOf, d1))
    {
        return 1;
    }
    if (haveD2 && !IsForest(c, group, slotOf, d2))
    {
        return 1;
    }
    return 0;
}

} // namespace

int sktIsTranslationOverConstrained(CClusterList& list)
{
    if (list.GetCount() < 2)
    {
        return 0;
    }
    Clusters c;
    IndexClusters(list, c);

    const size_t n = c.all.size();
    std::vector<int> slotOf(n, -1);
    std::vector<char> sharesAngle(n, 0);
    std::vector<char> dirFixed(n, 0);
    // W in list order. Clusters that cannot turn never leave it, so they are listed once; of
    // those that can, the ones holding a held direction are kept apart, the only others a group
    // can take being the few that share a settling angle with P.
    std::set<int> w;
    std::vector<int> cannotTurn;
    std::set<int> turningDirFixed;
    for (size_t i = 0; i < n; ++i)
    {
        const int index = static_cast<int>(i);
        dirFixed[i] = HoldsDirFixedLine(c.all[i]) ? 1 : 0;
        w.insert(index);
        const int free = c.all[i]->GetFreeNum();
        if (free < 3)
        {
            cannotTurn.push_back(index);
        }
        else if (free == 3 && dirFixed[i] != 0)
        {
            turningDirFixed.insert(index);
        }
    }

    std::vector<int> turning;
    std::vector<int> group;
    auto at = w.begin();
    while (at != w.end())
    {
        const int p = *at;
        const bool pHoldsDirFixed = dirFixed[static_cast<size_t>(p)] != 0;

        // The rotation group of P, in W's order: clusters that cannot turn against it.
        turning.clear();
        if (pHoldsDirFixed)
        {
            turning.assign(turningDirFixed.begin(), turningDirFixed.end());
        }
        else
        {
            const std::vector<int> sharers = MarkSettlingAngleSharers(c, p, sharesAngle);
            for (int d : sharers)
            {
                sharesAngle[static_cast<size_t>(d)] = 0;
                if (c.all[static_cast<size_t>(d)]->GetFreeNum() == 3 && w.count(d) != 0)
                {
                    turning.push_back(d);
                }
            }
            std::sort(turning.begin(), turning.end());
        }
        group.clear();
        std::merge(cannotTurn.begin(), cannotTurn.end(), turning.begin(), turning.end(),
                   std::back_inserter(group));

        // Clusters that can turn leave W once they have a group; those that cannot stay,
        // since they also belong to every later group.
        for (int d : turning)
        {
            w.erase(d);
            turningDirFixed.erase(d);
        }
        const bool shrunk = !turning.empty();

        for (size_t s = 0; s < group.size(); ++s)
        {
            slotOf[static_cast<size_t>(group[s])] = static_cast<int>(s);
        }
        int over = 0;
        for (int x : group)
        {
            if (DirectionTest(c, x, group, slotOf) != 0)
            {
                over = 1;
                break;
            }
        }
        for (int g : group)
        {
            slotOf[static_cast<size_t>(g)] = -1;
        }
        if (over != 0)
        {
            return 1;
        }

        // The group is tested before the walk goes on; a shorter W starts again at its head.
        at = shrunk ? w.begin() : w.upper_bound(p);
    }
    return 0;
}
