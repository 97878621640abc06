// The analysis pass as a host runs it: the exported steps in their order (the seeding loop
// through the judge's indexed equivalent of its steps), and what the host reads off the chains
// before the over-constraint test consumes the clusters.
#include "qsolver/Sketch.h"

#include "judge/JudgeInternal.h"

#include <algorithm>
#include <string>
#include <vector>

namespace qsolver
{

namespace
{

ClusterInfo DescribeCluster(const Sketch& sketch, CCluster* cluster, bool fixed)
{
    ClusterInfo info;
    info.freeNum = cluster->GetFreeNum();
    info.fixed = fixed;
    POSITION pos = cluster->m_NodeList.GetHeadPosition();
    while (pos != nullptr)
    {
        info.nodes.push_back(sketch.IdOf(cluster->m_NodeList.GetNext(pos)));
    }
    return info;
}

} // namespace

AnalysisResult Sketch::Analyse()
{
    AnalysisResult result;
    const std::vector<CVal*> values = AllValues();

    // The over-constraint test reads line directions from the backups; values measured by the
    // pass are put back from theirs afterwards, known flags by sktFinishJudge.
    POSITION pos = m_nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = m_nodes.GetNext(pos);
        if (node->GetType() == SKT_NODE_LINE)
        {
            node->BackupNode();
        }
    }
    for (CVal* val : values)
    {
        val->BackupValue();
        val->BackupKnownFlag();
    }

    sktInitJudge(m_nodes, m_rels);

    CCluster* main = new CCluster();
    const int fixedOk = sktCreateMainCluster(main);
    g_sktClusterChain.AddTail(main);
    // The exported seeding steps per cluster, with their walks of the chains narrowed to what
    // each cluster touches.
    if (fixedOk == 0)
    {
        result.verdict = Verdict::FixedContradiction;
    }
    else
    {
        result.verdict =
            sktSeedClusters(g_sktClusterChain) != 0 ? Verdict::Ok : Verdict::SeedContradiction;
    }

    // Sorted pointers answer "in a cluster?" and "left unseeded?" without a hash per node.
    std::vector<CNode*> clustered;
    pos = g_sktClusterChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* cluster = g_sktClusterChain.GetNext(pos);
        result.clusters.push_back(DescribeCluster(*this, cluster, cluster == main));
        POSITION nodePos = cluster->m_NodeList.GetHeadPosition();
        while (nodePos != nullptr)
        {
            clustered.push_back(cluster->m_NodeList.GetNext(nodePos));
        }
    }
    std::vector<CNode*> unseeded;
    pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        unseeded.push_back(g_sktUndefinedNodeChain.GetNext(pos));
    }
    std::sort(clustered.begin(), clustered.end());
    std::sort(unseeded.begin(), unseeded.end());
    // The ids stand in the order of the node list.
    const std::vector<std::string>& ids = NodeIds();
    size_t index = 0;
    pos = m_nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = m_nodes.GetNext(pos);
        const std::string& id = ids[index++];
        if (!std::binary_search(clustered.begin(), clustered.end(), node))
        {
            result.stripped.push_back(id);
            if (result.verdict == Verdict::Ok &&
                std::binary_search(unseeded.begin(), unseeded.end(), node))
            {
                result.unseeded.push_back(id);
            }
        }
    }

    if (result.verdict == Verdict::Ok && sktIsClusterChainOverConstrain(g_sktClusterChain) != 0)
    {
        result.verdict = Verdict::OverConstrained;
    }
    sktFinishJudge(m_rels);

    for (CVal* val : values)
    {
        val->RestoreValue();
    }
    return result;
}

} // namespace qsolver
