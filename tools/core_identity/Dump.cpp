#include "Dump.h"

#include "Qsolver.h"
#include "qsolver/Sketch.h"

#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

namespace coreidentity
{

namespace
{
// Beyond this many nodes the numeric solve of the whole core takes too long to be run on
// every change.
constexpr int kNodeChainMostNodes = 200;

Out* g_out = nullptr;

void PrintMessage(const char* text)
{
    if (g_out != nullptr)
    {
        g_out->Line("message %s", text);
    }
}

const char* IdOf(const qsolver::Sketch& sketch, const void* object)
{
    const std::string& id = sketch.IdOf(object);
    return id.empty() ? "?" : id.c_str();
}

std::string Ids(const qsolver::Sketch& sketch, CPtrList& list)
{
    std::string text;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        text += ' ';
        text += IdOf(sketch, list.GetNext(pos));
    }
    return text;
}

void DumpClusters(Out& out, const qsolver::Sketch& sketch, CClusterList& clusters, const char* name,
                  std::unordered_map<CNode*, std::string>& where)
{
    int index = 0;
    POSITION pos = clusters.GetHeadPosition();
    while (pos != nullptr)
    {
        CCluster* c = clusters.GetNext(pos);
        out.Line("%s%d id=%d free=%d driven=%d nodes:%s rels:%s", name, index, c->m_nID,
                 c->m_nFreeNum, c->m_wDriven, Ids(sketch, c->m_NodeList).c_str(),
                 Ids(sketch, c->m_RelList).c_str());
        POSITION nodePos = c->m_NodeList.GetHeadPosition();
        while (nodePos != nullptr)
        {
            CNode* node = c->m_NodeList.GetNext(nodePos);
            if (where.count(node) == 0)
            {
                where[node] = name + std::to_string(index);
            }
        }
        ++index;
    }
}

void DumpChain(Out& out, const qsolver::Sketch& sketch, const char* name, CPtrList& chain)
{
    out.Line("chain %s:%s", name, Ids(sketch, chain).c_str());
}

// Everything a pass can have changed: clusters, chains, nodes, values and relation states. The
// chains only the drive pass resets are left out of the analysis: they may still name objects
// the host has deleted since.
void DumpState(Out& out, qsolver::Sketch& sketch, const char* title, bool drive = false)
{
    out.Line("- %s", title);
    std::unordered_map<CNode*, std::string> where;
    DumpClusters(out, sketch, g_sktClusterChain, "C", where);
    DumpChain(out, sketch, "undefined", g_sktUndefinedNodeChain);
    DumpChain(out, sketch, "defined", g_sktDefinedNodeChain);
    DumpChain(out, sketch, "known", g_sktKnownNodeChain);
    DumpChain(out, sketch, "rel", g_sktRelChain);
    if (drive)
    {
        DumpClusters(out, sketch, g_sktGoodClusterChain, "G", where);
        DumpChain(out, sketch, "good", g_sktGoodNodeChain);
        DumpChain(out, sketch, "save", g_sktSaveRelChain);
        DumpChain(out, sketch, "drive", g_sktDriveRelChain);
    }

    POSITION pos = sketch.Nodes().GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = sketch.Nodes().GetNext(pos);
        auto it = where.find(node);
        const char* cluster = it == where.end() ? "-" : it->second.c_str();
        const char* id = IdOf(sketch, node);
        const int common[] = {node->m_nFreeNum, node->m_nID, node->m_nVarIndex, node->m_nVarNo};
        switch (node->GetType())
        {
            case SKT_NODE_POINT:
            {
                const XYZ& p = static_cast<CVert*>(node)->m_Pos;
                out.Line("N %s f=%d n=%d var=%d,%d in=%s p %a %a %a", id, common[0], common[1],
                         common[2], common[3], cluster, p.x, p.y, p.z);
                break;
            }
            case SKT_NODE_LINE:
            {
                const MATHLINE& l = static_cast<CMathline*>(node)->m_Line;
                out.Line("N %s f=%d n=%d var=%d,%d in=%s l %a %a %a %a %a %a", id, common[0],
                         common[1], common[2], common[3], cluster, l.m_ThroughPoint.x,
                         l.m_ThroughPoint.y, l.m_ThroughPoint.z, l.m_Direction.x, l.m_Direction.y,
                         l.m_Direction.z);
                break;
            }
            default:
            {
                CMathcir* c = static_cast<CMathcir*>(node);
                out.Line("N %s f=%d n=%d var=%d,%d in=%s c %a %a %a r %a", id, common[0], common[1],
                         common[2], common[3], cluster, c->m_Center.x, c->m_Center.y, c->m_Center.z,
                         c->m_dRadius);
                break;
            }
        }
    }
    int index = 0;
    for (CVal* val : sketch.AllValues())
    {
        out.Line("V %d n=%d %a k=%d bk=%d", index++, val->m_nID, val->m_dValue, val->m_bKnown,
                 val->m_bBackupKnown);
    }
    pos = sketch.Relations().GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = sketch.Relations().GetNext(pos);
        out.Line("R %s n=%d s=%02x", IdOf(sketch, rel), rel->m_nID, rel->m_byState);
    }
}

// The exported analysis steps in the host's order.
void AnalyseByExportedSteps(Out& out, qsolver::Sketch& sketch)
{
    out.Line("-- analysis, exported steps");
    const std::vector<CVal*> values = sketch.AllValues();
    POSITION pos = sketch.Nodes().GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = sketch.Nodes().GetNext(pos);
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

    sktInitJudge(sketch.Nodes(), sketch.Relations());
    DumpState(out, sketch, "stripped");
    CCluster* main = new CCluster();
    int ok = sktCreateMainCluster(main);
    g_sktClusterChain.AddTail(main);
    out.Line("main %d", ok);
    while (ok != 0 && !g_sktUndefinedNodeChain.IsEmpty())
    {
        sktInitUndefinedNodeChain();
        CCluster* cluster = new CCluster();
        const int seeded = sktFindBaseNodesForCluster(cluster);
        out.Line("seed %d", seeded);
        if (seeded == 1)
        {
            POSITION at = cluster->m_NodeList.GetHeadPosition();
            CNode* first = cluster->m_NodeList.GetNext(at);
            CNode* second = cluster->m_NodeList.GetAt(at);
            if (sktReasoningFromOneNode(first, cluster) == 0 ||
                sktReasoningFromOneNode(second, cluster) == 0)
            {
                out.Line("grow 0");
                ok = 0;
            }
        }
        if (seeded != 1 || ok == 0)
        {
            delete cluster;
            ok = seeded == 0 ? ok : 0;
            break;
        }
        sktGetClusterRelChain(cluster);
        sktRemoveKnownNodeFromChain();
        sktRemoveActiveAndUsedRelFromChain();
        g_sktClusterChain.AddTail(cluster);
    }
    DumpState(out, sketch, "seeded");
    if (ok != 0)
    {
        out.Line("over %d", sktIsClusterChainOverConstrain(g_sktClusterChain));
        DumpState(out, sketch, "tested");
    }
    sktFinishJudge(sketch.Relations());
    for (CVal* val : values)
    {
        val->RestoreValue();
    }
    DumpState(out, sketch, "finished");
}

void Strings(Out& out, const char* name, const std::vector<std::string>& ids)
{
    std::string text;
    for (const std::string& id : ids)
    {
        text += ' ' + id;
    }
    out.Line("%s:%s", name, text.c_str());
}

// Releases what a drive pass leaves marked for the next one, as the host does.
void ReleasePass(qsolver::Sketch& sketch)
{
    POSITION pos = sketch.Relations().GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = sketch.Relations().GetNext(pos);
        rel->SetUnused();
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->RestoreKnownFlag();
        }
    }
    g_sktDriveRelChain.RemoveAll();
}

void SetCoreFreeNum(bool onlyFixed)
{
    POSITION pos = g_sktUndefinedNodeChain.GetHeadPosition();
    while (pos != nullptr)
    {
        CNode* node = g_sktUndefinedNodeChain.GetNext(pos);
        if (!onlyFixed || node->IsFixed())
        {
            node->m_nFreeNum = 0;
        }
    }
}

// The drive sequence; the name of the step that failed, or null.
const char* DriveSteps(qsolver::Sketch& sketch, bool nodeChain)
{
    sktInitDrive(sketch.Nodes(), sketch.Relations());
    sktRemoveGoodNodeFromChain();
    if (nodeChain)
    {
        // Fixed nodes are given to the numeric solve, and afterwards every core node is placed.
        SetCoreFreeNum(true);
        if (sktSolveNodeChain() == 0)
        {
            return "SolveNodeChain";
        }
        SetCoreFreeNum(false);
    }
    else
    {
        if (sktBuildClusterChain() == 0)
        {
            return "BuildClusterChain";
        }
        sktRemoveGoodClusterFromChain();
        if (sktSolveClusterChain() == 0)
        {
            return "SolveClusterChain";
        }
        if (sktSolveGoodClusterChain() == 0)
        {
            return "SolveGoodClusterChain";
        }
    }
    if (sktSolveGoodNodeChain() == 0)
    {
        return "SolveGoodNodeChain";
    }
    return nullptr;
}

void DriveOnce(Out& out, qsolver::Sketch& sketch, CRel* rel, double value, bool nodeChain,
               bool keep)
{
    sketch.BackupAll();
    g_sktDriveRelChain.RemoveAll();
    rel->SetValue(value);
    g_sktDriveRelChain.AddTail(rel);
    const char* failed = DriveSteps(sketch, nodeChain);
    out.Line("%s: %s", nodeChain ? "node chain" : "clusters", failed ? failed : "done");
    DumpState(out, sketch, "driven", true);
    if (failed != nullptr || !keep)
    {
        sketch.RestoreAll();
    }
    ReleasePass(sketch);
}

} // namespace

Out::Out()
{
    static char buffer[1 << 20];
    std::setvbuf(stdout, buffer, _IOFBF, sizeof(buffer));
}

void Out::Line(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::putchar('\n');
    if (format[0] == '=')
    {
        // A new sketch: what came before is complete.
        std::fflush(stdout);
    }
}

void CaptureMessages(Out& out)
{
    g_out = &out;
    sktSetMessageBoxProc(PrintMessage);
}

void Analyse(Out& out, qsolver::Sketch& sketch)
{
    AnalyseByExportedSteps(out, sketch);

    out.Line("-- analysis, indexed");
    const qsolver::AnalysisResult result = sketch.Analyse();
    out.Line("verdict %s", qsolver::VerdictWord(result.verdict));
    for (const qsolver::ClusterInfo& c : result.clusters)
    {
        Strings(out, c.fixed ? "fixed cluster" : "cluster", c.nodes);
        out.Line("free %d", c.freeNum);
    }
    Strings(out, "stripped", result.stripped);
    Strings(out, "unseeded", result.unseeded);
    DumpState(out, sketch, "finished");
}

void Drive(Out& out, qsolver::Sketch& sketch, const std::string& relation, double value)
{
    CRel* rel = sketch.FindRelation(relation);
    out.Line("-- drive %s %a", relation.c_str(), value);
    if (rel == nullptr || rel->m_pVal == nullptr)
    {
        out.Line("no value");
        return;
    }
    if (sketch.Nodes().GetCount() <= kNodeChainMostNodes)
    {
        DriveOnce(out, sketch, rel, value, true, false);
    }
    DriveOnce(out, sketch, rel, value, false, true);
}

} // namespace coreidentity
