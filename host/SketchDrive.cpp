// The drive sequence of a host, written once for the tools, the tests and the benchmark.
#include "SketchDrive.h"

namespace qsolver::host
{

namespace
{
// The pass leaves relations active or used and measured values marked known. The next pass
// starts from the known flags backed up before it, so they must be the sketch's own again,
// while the numbers the pass measured stay.
void ReleasePassState(Sketch& sketch)
{
    // The pass reaches values only through relations, so restoring those is enough.
    CRelList& rels = sketch.Relations();
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        rel->SetUnused();
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->RestoreKnownFlag();
        }
    }
    g_sktDriveRelChain.RemoveAll();
}

// Marks the fixed nodes of the core known (onlyFixed) or every node of the core known.
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

DriveStep RunPass(Sketch& sketch, const DriveOptions& options)
{
    sktInitDrive(sketch.Nodes(), sketch.Relations());
    sktRemoveGoodNodeFromChain();
    if (options.nodeChain)
    {
        // The core is solved as it stands after stripping, where every node counts as unknown:
        // fixed nodes must be given, and afterwards every core node is placed, so that the good
        // nodes are built on it.
        SetCoreFreeNum(true);
        if (sktSolveNodeChain() == 0)
        {
            return DriveStep::SolveNodeChain;
        }
        SetCoreFreeNum(false);
    }
    else
    {
        if (sktBuildClusterChain() == 0)
        {
            return DriveStep::BuildClusterChain;
        }
        sktRemoveGoodClusterFromChain();
        if (sktSolveClusterChain() == 0)
        {
            return DriveStep::SolveClusterChain;
        }
        if (sktSolveGoodClusterChain() == 0)
        {
            return DriveStep::SolveGoodClusterChain;
        }
    }
    if (sktSolveGoodNodeChain() == 0)
    {
        return DriveStep::SolveGoodNodeChain;
    }
    return DriveStep::None;
}
} // namespace

const char* DriveStepText(DriveStep step)
{
    switch (step)
    {
        case DriveStep::None:
            return "re-solved";
        case DriveStep::BadRequest:
            return "bad request";
        case DriveStep::BuildClusterChain:
            return "the changed dimensions contradict the sketch";
        case DriveStep::SolveNodeChain:
            return "the sketch could not be solved numerically";
        case DriveStep::SolveClusterChain:
            return "the rigid parts could not be placed against each other";
        case DriveStep::SolveGoodClusterChain:
            return "a rigid part could not be placed";
        case DriveStep::SolveGoodNodeChain:
            return "a point or line could not be placed";
    }
    return "unknown";
}

DriveResult DriveSketch(Sketch& sketch, const std::vector<std::pair<std::string, double>>& changes,
                        const DriveOptions& options)
{
    DriveResult result;
    std::vector<std::pair<CRel*, double>> targets;
    for (const auto& change : changes)
    {
        CRel* rel = sketch.FindRelation(change.first);
        if (rel == nullptr)
        {
            result.failed = DriveStep::BadRequest;
            result.message = "no relation '" + change.first + "'";
            return result;
        }
        if (rel->m_pVal == nullptr)
        {
            result.failed = DriveStep::BadRequest;
            result.message = "relation '" + change.first + "' has no value to change";
            return result;
        }
        targets.emplace_back(rel, change.second);
    }

    sketch.BackupAll();
    g_sktDriveRelChain.RemoveAll();
    for (const auto& target : targets)
    {
        target.first->SetValue(target.second);
        g_sktDriveRelChain.AddTail(target.first);
    }

    result.failed = RunPass(sketch, options);
    if (!result.IsOk())
    {
        sketch.RestoreAll();
        result.restored = true;
    }
    ReleasePassState(sketch);
    return result;
}

DriveResult Sketch::Drive(const std::vector<std::pair<std::string, double>>& changes)
{
    return DriveSketch(*this, changes, DriveOptions());
}

} // namespace qsolver::host
