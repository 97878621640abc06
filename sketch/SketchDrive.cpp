// The drive sequence of a host, written once for the tools, the tests and the benchmark.
#include "qsolver/SketchDrive.h"

#include "solve/Check.h"
#include "solve/Robust.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace qsolver
{

namespace
{
// Requests beyond this are typing errors (the file reader draws the same line).
constexpr double kMaxValue = 1e9;
// The node chain's numeric solve grows much faster than the least-squares solve: on the
// linkage family it takes 70 ms against 20 at 102 nodes and 6 s against 0.3 at 1002. Beyond
// this many nodes the robust drive goes straight on to least squares.
constexpr size_t kNodeChainMostNodes = 300;

// The pass leaves relations active or used and measured values marked known. The next pass
// starts from the known flags backed up before it, so they must be the sketch's own again,
// while the numbers the pass measured stay.
void ReleaseRelation(CRel* rel)
{
    rel->SetUnused();
    if (rel->m_pVal != nullptr)
    {
        rel->m_pVal->RestoreKnownFlag();
    }
}

void ReleasePassState(Sketch& sketch)
{
    // The pass reaches values only through relations, so restoring those is enough.
    CRelList& rels = sketch.Relations();
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        ReleaseRelation(rels.GetNext(pos));
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
        case DriveStep::Verify:
            return "the re-solved sketch breaks a relation";
    }
    return "unknown";
}

double ReduceAngle(double angle, double fullTurn)
{
    double r = std::fmod(angle, fullTurn);
    if (r < 0.0)
    {
        r += fullTurn;
    }
    // A tiny negative angle plus a full turn can round up to the full turn.
    return r >= fullTurn ? 0.0 : r;
}

bool CheckDriveRequest(Sketch& sketch, const std::vector<std::pair<std::string, double>>& changes,
                       std::vector<DriveChange>& checked, std::string& message)
{
    checked.clear();
    for (const auto& change : changes)
    {
        const std::string name = "relation '" + change.first + "'";
        CRel* rel = sketch.FindRelation(change.first);
        if (rel == nullptr)
        {
            message = "no relation '" + change.first + "'";
            return false;
        }
        if (rel->m_pVal == nullptr)
        {
            message = name + " is a fix: it has no value to set";
            return false;
        }
        const double value = change.second;
        if (!std::isfinite(value) || std::fabs(value) > kMaxValue)
        {
            message = name + ": the value " + std::to_string(value) +
                      " is not a finite number of at most 1e9";
            return false;
        }
        // Angles may be any such number: users type -30 degrees or a turn and a bit, and an
        // angle holds modulo a full turn. The value is kept as typed.
        const int type = rel->GetType();
        if (type != SKT_REL_LLANG && (type == SKT_REL_RAD ? !(value > 0.0) : value < 0.0))
        {
            // A distance says how far apart, never on which side; a circle needs a radius.
            message = name + (type == SKT_REL_RAD ? ": a radius must be greater than 0"
                                                  : ": a distance cannot be negative");
            return false;
        }
        for (const DriveChange& other : checked)
        {
            // Naming every relation of a shared value with one number is one change (the
            // vocabulary drives a radius that way); two different numbers cannot both hold.
            if (other.relation->m_pVal == rel->m_pVal && other.value != value)
            {
                message = name + " changes the same value as relation '" +
                          sketch.IdOf(other.relation) + "'";
                return false;
            }
        }
        checked.push_back(DriveChange{rel, value});
    }
    return true;
}

namespace
{
// Sets the requested values (over the backups) and names the changed relations to the pass.
void SetTargets(const std::vector<DriveChange>& targets)
{
    g_sktDriveRelChain.RemoveAll();
    for (const DriveChange& target : targets)
    {
        target.relation->SetValue(target.value);
        g_sktDriveRelChain.AddTail(target.relation);
    }
}

// Unknown values (reference dimensions) carry what their relations now measure: a pass that
// places nodes by construction does not measure them again, and a host shows them.
void MeasureUnknownValues(const std::vector<CRel*>& firsts)
{
    for (CRel* ref : firsts)
    {
        double measure = ref->GetActualVal();
        if (ref->GetType() == SKT_REL_LLANG)
        {
            measure = ReduceAngle(solve::ConstructedAngle(ref), 4.0 * std::acos(0.0));
        }
        ref->m_pVal->m_dValue = measure;
    }
}

// Checks a result the solver's passes reported, releasing the pass's state on the way.
void CheckPassResult(Sketch& sketch, DriveResult& result)
{
    std::vector<CRel*> firsts;
    solve::CheckHooks hooks;
    hooks.onRelation = ReleaseRelation;
    hooks.firstOfUnknown = &firsts;
    ResultCheck check = solve::CheckResult(sketch, hooks);
    if (check.IsOk())
    {
        // The passes know nothing of the helpers' equations: a result must satisfy them too.
        check.message = solve::EquationOff(sketch);
        check.failure = check.message.empty() ? CheckFailure::None : CheckFailure::RelationOff;
    }
    if (!check.IsOk())
    {
        result.failed = DriveStep::Verify;
        result.check = check.failure;
        result.message = check.message;
    }
    else
    {
        MeasureUnknownValues(firsts);
    }
    if (hooks.walkedAll)
    {
        g_sktDriveRelChain.RemoveAll();
    }
    else
    {
        ReleasePassState(sketch);
    }
}

// The solver's own passes, checked.
DriveResult RunChecked(Sketch& sketch, const DriveOptions& options)
{
    DriveResult result;
    result.failed = RunPass(sketch, options);
    if (result.IsOk())
    {
        CheckPassResult(sketch, result);
    }
    else
    {
        ReleasePassState(sketch);
    }
    if (result.IsOk())
    {
        result.strategy = options.nodeChain ? DriveStrategy::NodeChain : DriveStrategy::Faithful;
        result.steps = 1;
    }
    return result;
}
// A driven value is given to the least-squares strategies even where it is the unknown value
// of a group (the passes take it so through the drive chain); afterwards it is the sketch's own
// again.
void HoldDrivenValues(const std::vector<DriveChange>& targets, bool hold)
{
    for (const DriveChange& t : targets)
    {
        if (hold)
        {
            t.relation->m_pVal->SetKnown();
        }
        else
        {
            t.relation->m_pVal->RestoreKnownFlag();
        }
    }
}

// The strategies after the solver's passes, each from the backups, until one gives a result
// that passes the check. A failure keeps the step of the passes and says why each strategy
// failed.
DriveResult DriveRobustly(Sketch& sketch, const std::vector<DriveChange>& targets,
                          const DriveOptions& options, const DriveResult& passes)
{
    std::string why = std::string(options.nodeChain ? "node chain" : "faithful") + ": " +
                      DriveStepText(passes.failed) +
                      (passes.message.empty() ? "" : " (" + passes.message + ")");
    CheckFailure check = passes.check;
    auto fresh = [&]()
    {
        sketch.RestoreAll();
        SetTargets(targets);
    };
    if (!options.nodeChain && sketch.NodeIds().size() <= kNodeChainMostNodes)
    {
        fresh();
        DriveOptions chain = options;
        chain.nodeChain = true;
        DriveResult r = RunChecked(sketch, chain);
        if (r.IsOk())
        {
            return r;
        }
        why += "; node chain: " + std::string(DriveStepText(r.failed)) +
               (r.message.empty() ? "" : " (" + r.message + ")");
        check = r.check != CheckFailure::None ? r.check : check;
    }
    DriveResult r;
    fresh();
    g_sktDriveRelChain.RemoveAll();
    HoldDrivenValues(targets, true);
    if (solve::DriveByLeastSquares(sketch, r))
    {
        HoldDrivenValues(targets, false);
        return r;
    }
    why += "; " + r.message;
    check = r.check != CheckFailure::None ? r.check : check;
    if (solve::DriveByContinuation(sketch, targets, r))
    {
        HoldDrivenValues(targets, false);
        return r;
    }
    HoldDrivenValues(targets, false);
    why += "; " + r.message;
    check = r.check != CheckFailure::None ? r.check : check;
    DriveResult failed = passes;
    failed.check = check;
    failed.message = why;
    return failed;
}
// One strategy alone, from the backups with the targets set.
DriveResult DriveOnly(Sketch& sketch, const std::vector<DriveChange>& targets,
                      DriveStrategy strategy)
{
    DriveResult r;
    switch (strategy)
    {
        case DriveStrategy::Faithful:
        case DriveStrategy::NodeChain:
        {
            DriveOptions passes;
            passes.nodeChain = strategy == DriveStrategy::NodeChain;
            return RunChecked(sketch, passes);
        }
        case DriveStrategy::LeastSquares:
            g_sktDriveRelChain.RemoveAll();
            HoldDrivenValues(targets, true);
            solve::DriveByLeastSquares(sketch, r);
            HoldDrivenValues(targets, false);
            return r;
        default:
            g_sktDriveRelChain.RemoveAll();
            HoldDrivenValues(targets, true);
            solve::DriveByContinuation(sketch, targets, r);
            HoldDrivenValues(targets, false);
            return r;
    }
}
} // namespace

const char* DriveStrategyText(DriveStrategy strategy)
{
    switch (strategy)
    {
        case DriveStrategy::None:
            return "none";
        case DriveStrategy::Faithful:
            return "faithful";
        case DriveStrategy::NodeChain:
            return "node chain";
        case DriveStrategy::LeastSquares:
            return "least squares";
        case DriveStrategy::Continuation:
            return "continuation";
    }
    return "unknown";
}

DriveResult DriveSketch(Sketch& sketch, const std::vector<std::pair<std::string, double>>& changes,
                        const DriveOptions& options)
{
    DriveResult result;
    std::vector<DriveChange> targets;
    if (!CheckDriveRequest(sketch, changes, targets, result.message))
    {
        result.failed = DriveStep::BadRequest;
        return result;
    }

    sketch.BackupAll();
    SetTargets(targets);
    if (options.robust && options.only != DriveStrategy::None)
    {
        result = DriveOnly(sketch, targets, options.only);
    }
    else
    {
        result = RunChecked(sketch, options);
        if (!result.IsOk() && options.robust)
        {
            result = DriveRobustly(sketch, targets, options, result);
        }
    }
    if (!result.IsOk())
    {
        sketch.RestoreAll();
        result.restored = true;
    }
    return result;
}

DriveResult Sketch::Drive(const std::vector<std::pair<std::string, double>>& changes)
{
    DriveOptions options;
    options.robust = true;
    return DriveSketch(*this, changes, options);
}

} // namespace qsolver
