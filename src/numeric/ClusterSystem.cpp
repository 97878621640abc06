// Cluster systems: equation groups whose solution places whole clusters. Nodes of moving
// clusters are tied to each other by temporary rigid links, and each cluster is then moved as a
// rigid body from where its reference nodes were to where the solution puts them.
#include "numeric/EquationGrp.h"

#include "numeric/NumericInternal.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"

#include <cmath>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace
{
// Known angles this close to 0, pi/2, pi or 3pi/2 make lines parallel or perpendicular.
constexpr double kRightAngleTolerance = 1e-4;

// Which clusters of a list hold each node, as ascending indices into the list.
class ClusterMembership
{
public:
    void Add(CCluster* cluster, int idx)
    {
        POSITION pos = cluster->m_NodeList.GetHeadPosition();
        while (pos != nullptr)
        {
            std::vector<int>& in = m_Of[cluster->m_NodeList.GetNext(pos)];
            if (in.empty() || in.back() != idx)
            {
                in.push_back(idx);
            }
        }
    }
    const std::vector<int>& Of(CNode* node) const
    {
        static const std::vector<int> kNone;
        if (node == nullptr)
        {
            return kNone;
        }
        auto it = m_Of.find(node);
        return it == m_Of.end() ? kNone : it->second;
    }
    bool In(CNode* node, int idx) const
    {
        for (int c : Of(node))
        {
            if (c == idx)
            {
                return true;
            }
        }
        return false;
    }

private:
    std::unordered_map<CNode*, std::vector<int>> m_Of;
};

void SetClusterFreeNum(CCluster* cluster, unsigned char freeNum)
{
    POSITION pos = cluster->m_NodeList.GetHeadPosition();
    while (pos != nullptr)
    {
        cluster->m_NodeList.GetNext(pos)->m_nFreeNum = freeNum;
    }
}

// Adds the node to the variable list once.
void AddOnce(CNode* node, CNodeList& vars, std::unordered_set<CNode*>& held)
{
    if (node != nullptr && held.insert(node).second)
    {
        vars.AddTail(node);
    }
}

bool HasValueUnknown(CRel* rel)
{
    return rel->m_pVal != nullptr && rel->m_pVal->m_bKnown == 0 && rel->m_pValueNode != nullptr;
}

// Links each node of one cluster to the first node met and to the one met just before it, so
// that the nodes keep their shape while the cluster moves.
class RigidLinker
{
public:
    explicit RigidLinker(CEquationGrp* group) : m_pGroup(group) {}
    void Link(CNode* n)
    {
        if (n == nullptr || !m_Held.insert(n).second)
        {
            return;
        }
        if (m_pHead != nullptr)
        {
            m_pGroup->AddRigidLink(m_pHead, n);
            if (m_pTail != m_pHead)
            {
                m_pGroup->AddRigidLink(m_pTail, n);
            }
        }
        else
        {
            m_pHead = n;
        }
        m_pTail = n;
    }

private:
    CEquationGrp* m_pGroup;
    std::unordered_set<CNode*> m_Held;
    CNode* m_pHead = nullptr;
    CNode* m_pTail = nullptr;
};

double DirectionAngle(const VECTOR& d)
{
    const double pi = 2.0 * std::acos(0.0);
    double angle = d.AngleToXAxis();
    // Below the X axis: measure counterclockwise all the way round.
    if (VECTOR(1.0, 0.0, 0.0).Xproduct(d).z < 0.0)
    {
        angle = 2.0 * pi - angle;
    }
    return angle;
}

// Moves the cluster rigidly from the solution of the given relations (those with a node in it,
// in order); `inCluster` tells whether a node belongs to the cluster.
template <class InCluster>
void PlaceFrom(CEquationGrp* group, CCluster* cluster, const std::vector<CRel*>& rels,
               const InCluster& inCluster)
{
    const double* x = group->m_pX;
    std::vector<CNode*> related;
    std::unordered_set<CNode*> held;
    for (CRel* rel : rels)
    {
        CNode* n = nullptr;
        if (inCluster(rel->m_pNode1))
        {
            n = rel->m_pNode1;
        }
        else if (inCluster(rel->m_pNode2))
        {
            n = rel->m_pNode2;
        }
        if (n == nullptr)
        {
            continue;
        }
        if (held.insert(n).second)
        {
            related.push_back(n);
        }
        if (HasValueUnknown(rel) && group->IsNodeNumbered(rel->m_pValueNode))
        {
            CMathcir* carrier = static_cast<CMathcir*>(rel->m_pValueNode);
            if (carrier->m_pRadiusVal != nullptr)
            {
                carrier->m_pRadiusVal->m_dValue = x[carrier->m_nVarIndex];
            }
        }
    }

    CVert* p1 = nullptr;
    CVert* p2 = nullptr;
    CMathline* ln = nullptr;
    for (CNode* n : related)
    {
        const int type = n->GetType();
        if (type == SKT_NODE_POINT)
        {
            if (p1 == nullptr)
            {
                p1 = static_cast<CVert*>(n);
            }
            else
            {
                p2 = static_cast<CVert*>(n);
            }
        }
        else if (type == SKT_NODE_LINE)
        {
            ln = static_cast<CMathline*>(n);
        }
        if (p1 != nullptr && ln != nullptr)
        {
            break;
        }
    }

    XYZ oldOrigin(0.0, 0.0, 0.0);
    XYZ newOrigin(0.0, 0.0, 0.0);
    double c = 0.0;
    double theta = 0.0;
    if (ln != nullptr)
    {
        c = x[ln->m_nVarIndex];
        theta = x[ln->m_nVarNo];
    }
    if (p1 != nullptr)
    {
        oldOrigin = p1->m_Pos;
        newOrigin = XYZ(x[p1->m_nVarIndex], x[p1->m_nVarNo], 0.0);
    }
    else if (ln != nullptr)
    {
        oldOrigin = ln->m_Line.GetProjectPoint(XYZ(0.0, 0.0, 0.0));
        newOrigin = XYZ(-c * std::sin(theta), c * std::cos(theta), 0.0);
    }

    VECTOR oldDir(0.0, 0.0, 0.0);
    VECTOR newDir(0.0, 0.0, 0.0);
    if (ln != nullptr)
    {
        oldDir = ln->m_Line.GetDirection();
        newDir = VECTOR(std::cos(theta), std::sin(theta), 0.0);
    }
    else if (p1 != nullptr && p2 != nullptr)
    {
        oldDir = VECTOR(p1->m_Pos, p2->m_Pos);
        oldDir.Unit();
        newDir = VECTOR(XYZ(x[p1->m_nVarIndex], x[p1->m_nVarNo], 0.0),
                        XYZ(x[p2->m_nVarIndex], x[p2->m_nVarNo], 0.0));
        newDir.Unit();
    }

    TRANSF t;
    t = t.Move(XYZ(-oldOrigin.x, -oldOrigin.y, -oldOrigin.z));
    t = t.RotateAroundZAxis(-DirectionAngle(oldDir));
    t = t.RotateAroundZAxis(DirectionAngle(newDir));
    t = t.Move(newOrigin);

    POSITION pos = cluster->m_NodeList.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* n = cluster->m_NodeList.GetNext(pos);
        const int type = n->GetType();
        if (type == SKT_NODE_POINT)
        {
            CVert* p = static_cast<CVert*>(n);
            p->m_Pos = p->m_Pos * t;
        }
        else if (type == SKT_NODE_LINE)
        {
            CMathline* l = static_cast<CMathline*>(n);
            XYZ through = l->m_Line.GetThroughPoint() * t;
            VECTOR dir = l->m_Line.GetDirection() * t;
            l->m_Line.Set(through, dir);
        }
    }
}
// The clusters in list order, and which of them hold each node.
void IndexClusters(CClusterList& list, std::vector<CCluster*>& clusters, ClusterMembership& member)
{
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = list.GetNext(pos);
        member.Add(cluster, static_cast<int>(clusters.size()));
        clusters.push_back(cluster);
    }
}
} // namespace

CEquationGrp::CEquationGrp(CClusterList* pClusters)
{
    std::vector<CCluster*> clusters;
    ClusterMembership member;
    IndexClusters(*pClusters, clusters, member);
    const int count = static_cast<int>(clusters.size());
    for (int i = 1; i < count; ++i)
    {
        SetClusterFreeNum(clusters[i], 2);
    }

    std::vector<CRel*> rels;
    std::unordered_set<CRel*> relsHeld;
    for (int i = 1; i < count; ++i)
    {
        POSITION rpos = clusters[i]->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            CRel* rel = clusters[i]->m_RelList.GetNext(rpos);
            if (relsHeld.insert(rel).second)
            {
                rels.push_back(rel);
            }
        }
    }

    CNodeList vars;
    std::unordered_set<CNode*> held;
    for (CRel* rel : rels)
    {
        // Nodes of the first cluster stay where they are: they are given, not unknown.
        if (count == 0 || !member.In(rel->m_pNode1, 0))
        {
            AddOnce(rel->m_pNode1, vars, held);
        }
        if (count == 0 || !member.In(rel->m_pNode2, 0))
        {
            AddOnce(rel->m_pNode2, vars, held);
        }
        if (HasValueUnknown(rel))
        {
            AddOnce(rel->m_pValueNode, vars, held);
        }
    }
    NumberNodes(&vars, 1);

    // The relations that touch each moving cluster, in the order of rels: one pass instead of
    // one walk of all relations per cluster.
    std::vector<std::vector<CRel*>> touching(static_cast<std::size_t>(count));
    for (CRel* rel : rels)
    {
        const std::vector<int>& a = member.Of(rel->m_pNode1);
        const std::vector<int>& b = member.Of(rel->m_pNode2);
        for (int c : a)
        {
            if (c != 0)
            {
                touching[c].push_back(rel);
            }
        }
        for (int c : b)
        {
            if (c != 0 && !member.In(rel->m_pNode1, c))
            {
                touching[c].push_back(rel);
            }
        }
    }
    for (int i = 1; i < count; ++i)
    {
        RigidLinker linker(this);
        for (CRel* rel : touching[i])
        {
            linker.Link(member.In(rel->m_pNode1, i) ? rel->m_pNode1 : rel->m_pNode2);
        }
    }

    for (CRel* rel : rels)
    {
        AddRelation(rel);
    }
    for (int i = 1; i < count; ++i)
    {
        SetClusterFreeNum(clusters[i], 0);
    }
}

CEquationGrp::CEquationGrp(CCluster* pCluster)
{
    SetClusterFreeNum(pCluster, 2);
    std::unordered_set<CNode*> inCluster;
    POSITION pos = pCluster->m_NodeList.GetHeadPosition();
    while (pos != nullptr)
    {
        inCluster.insert(pCluster->m_NodeList.GetNext(pos));
    }
    auto clusterNode = [&](CRel* rel)
    { return inCluster.count(rel->m_pNode1) != 0 ? rel->m_pNode1 : rel->m_pNode2; };

    CNodeList vars;
    std::unordered_set<CNode*> held;
    pos = pCluster->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = pCluster->m_RelList.GetNext(pos);
        AddOnce(clusterNode(rel), vars, held);
        if (HasValueUnknown(rel))
        {
            AddOnce(rel->m_pValueNode, vars, held);
        }
    }
    NumberNodes(&vars, 1);

    RigidLinker linker(this);
    pos = pCluster->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        linker.Link(clusterNode(pCluster->m_RelList.GetNext(pos)));
    }
    pos = pCluster->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        AddRelation(pCluster->m_RelList.GetNext(pos));
    }
    SetClusterFreeNum(pCluster, 0);
}

void CEquationGrp::AddRigidLink(CNode* a, CNode* b)
{
    const int ta = a->GetType();
    const int tb = b->GetType();
    if (ta == SKT_NODE_POINT && tb == SKT_NODE_POINT)
    {
        CPPdis link(static_cast<CVert*>(a), static_cast<CVert*>(b), a->GetDistance(b), 1);
        AddRelation(&link);
    }
    else if (ta == SKT_NODE_POINT && tb == SKT_NODE_LINE)
    {
        CPLdis link(static_cast<CVert*>(a), static_cast<CMathline*>(b), a->GetDistance(b), 1);
        AddRelation(&link);
    }
    else if (ta == SKT_NODE_LINE && tb == SKT_NODE_POINT)
    {
        CPLdis link(static_cast<CVert*>(b), static_cast<CMathline*>(a), b->GetDistance(a), 1);
        AddRelation(&link);
    }
    else if (ta == SKT_NODE_LINE && tb == SKT_NODE_LINE)
    {
        CMathline* la = static_cast<CMathline*>(a);
        CMathline* lb = static_cast<CMathline*>(b);
        const int parallel = sktIsParallelByAngleRel(la, lb);
        {
            CLLang link(la, lb, la->m_Line.GetAngle(lb->m_Line), 1);
            AddRelation(&link);
        }
        // An angle alone does not hold two parallel lines apart.
        if (parallel != 0)
        {
            CLLdis link(la, lb, la->m_Line.GetDistance(lb->m_Line), 1);
            AddRelation(&link);
        }
    }
}

void CEquationGrp::PlaceClusters(CClusterList* pClusters)
{
    std::vector<CCluster*> clusters;
    ClusterMembership member;
    IndexClusters(*pClusters, clusters, member);
    const int count = static_cast<int>(clusters.size());
    std::vector<std::vector<CRel*>> touching(static_cast<std::size_t>(count));
    std::unordered_set<CRel*> relsHeld;
    for (int i = 1; i < count; ++i)
    {
        POSITION rpos = clusters[i]->m_RelList.GetHeadPosition();
        while (rpos != nullptr)
        {
            CRel* rel = clusters[i]->m_RelList.GetNext(rpos);
            if (!relsHeld.insert(rel).second)
            {
                continue;
            }
            for (int c : member.Of(rel->m_pNode1))
            {
                touching[c].push_back(rel);
            }
            for (int c : member.Of(rel->m_pNode2))
            {
                if (!member.In(rel->m_pNode1, c))
                {
                    touching[c].push_back(rel);
                }
            }
        }
    }
    for (int i = 1; i < count; ++i)
    {
        PlaceFrom(this, clusters[i], touching[i],
                  [&](CNode* n) { return n != nullptr && member.In(n, i); });
    }
}

void CEquationGrp::PlaceCluster(CCluster* pCluster, CRelList* pRels)
{
    std::unordered_set<CNode*> inCluster;
    POSITION pos = pCluster->m_NodeList.GetHeadPosition();
    while (pos != nullptr)
    {
        inCluster.insert(pCluster->m_NodeList.GetNext(pos));
    }
    std::vector<CRel*> rels;
    pos = pRels->GetHeadPosition();
    while (pos != nullptr)
    {
        rels.push_back(pRels->GetNext(pos));
    }
    PlaceFrom(this, pCluster, rels,
              [&](CNode* n) { return n != nullptr && inCluster.count(n) != 0; });
}

int sktIsParallelByAngleRel(CMathline* a, CMathline* b)
{
    const double pi = 2.0 * std::acos(0.0);
    std::deque<CNode*> parallel{a};
    std::deque<CNode*> perpendicular;
    std::vector<CRel*> marked;
    int result = 0;

    // 1: the angle keeps the lines parallel, 2: it turns them square, 0: neither.
    auto kind = [&](double phi)
    {
        if (std::fabs(phi) < kRightAngleTolerance || std::fabs(phi - pi) < kRightAngleTolerance)
        {
            return 1;
        }
        if (std::fabs(phi - pi / 2.0) < kRightAngleTolerance ||
            std::fabs(phi - 3.0 * pi / 2.0) < kRightAngleTolerance)
        {
            return 2;
        }
        return 0;
    };
    // Visits the known angles of n not yet marked; returns 1 when b is reached.
    auto visit = [&](CNode* n, bool fromParallel)
    {
        POSITION pos = n->m_RelList.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = n->m_RelList.GetNext(pos);
            if (rel->IsUsed())
            {
                continue;
            }
            rel->SetUsed();
            marked.push_back(rel);
            if (rel->GetType() != SKT_REL_LLANG || rel->m_pVal == nullptr ||
                rel->m_pVal->m_bKnown == 0)
            {
                continue;
            }
            CNode* other = rel->GetAnotherNode(n);
            const int k = kind(rel->m_pVal->m_dValue);
            if (k == 0)
            {
                continue;
            }
            // An even number of right angles from a is parallel to a, an odd one square to it.
            const bool otherParallel = (k == 1) == fromParallel;
            if (otherParallel)
            {
                // b is only ever found parallel to a.
                if (other == b)
                {
                    return 1;
                }
                parallel.push_back(other);
            }
            else
            {
                perpendicular.push_back(other);
            }
        }
        return 0;
    };

    for (;;)
    {
        const bool parallelWasEmpty = parallel.empty();
        while (result == 0 && !parallel.empty())
        {
            CNode* n = parallel.front();
            parallel.pop_front();
            result = visit(n, true);
        }
        if (result != 0)
        {
            break;
        }
        if (perpendicular.empty())
        {
            if (parallelWasEmpty)
            {
                break;
            }
            continue;
        }
        while (result == 0 && !perpendicular.empty())
        {
            CNode* n = perpendicular.front();
            perpendicular.pop_front();
            result = visit(n, false);
        }
        if (result != 0)
        {
            break;
        }
    }
    for (CRel* rel : marked)
    {
        rel->SetUnused();
    }
    return result;
}
