// The drive sequence of a host, written once for the tools, the tests and the benchmark.
#include "qsolver/SketchDrive.h"

#include "model/Prefetch.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <vector>

namespace qsolver
{

namespace
{
// The checks walk every node and relation of the sketch; asking for the objects a few steps
// ahead lets the waits for memory overlap.
constexpr int kLookahead = 8;

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

// What a host accepts as holding: 1e-6, and in sketches reaching beyond kFarOut a relative 1e-10
// of their extent, so that far-out sketches are not judged by digits a double does not have.
const double kHoldTol = 1e-6;
const double kFarOut = 1e4;

double TwoPi()
{
    return 4.0 * std::acos(0.0);
}

bool HasBackup(CNode* node);

// The largest magnitude among the coordinates of the nodes, now and in their backups. The same
// walk collects, in node order, the fixed and reference nodes that have a backup.
double SketchExtent(Sketch& sketch, std::vector<CNode*>& held)
{
    double extent = 1.0;
    auto grow = [&extent](double v) { extent = std::max(extent, std::fabs(v)); };
    // The fixed nodes come from the sketch's fixes: asking each node would walk every node's
    // relations.
    std::vector<const CNode*> fixed(sketch.FixedNodes().begin(), sketch.FixedNodes().end());
    std::sort(fixed.begin(), fixed.end());
    CNodeList& nodes = sketch.Nodes();
    POSITION pos = nodes.GetHeadPosition();
    CLookahead ahead(nodes, kLookahead);
    while (pos != nullptr)
    {
        sktPrefetch(ahead.Next());
        CNode* node = nodes.GetNext(pos);
        const bool isFixed = std::binary_search(fixed.begin(), fixed.end(), node);
        if ((node->IsRefObject() != 0 || isFixed) && HasBackup(node))
        {
            held.push_back(node);
        }
        const int type = node->GetType();
        if (type == SKT_NODE_POINT)
        {
            CVert* p = static_cast<CVert*>(node);
            grow(p->m_Pos.x);
            grow(p->m_Pos.y);
            if (p->m_pBackupPos != nullptr)
            {
                grow(p->m_pBackupPos->x);
                grow(p->m_pBackupPos->y);
            }
        }
        else if (type == SKT_NODE_LINE)
        {
            CMathline* l = static_cast<CMathline*>(node);
            grow(l->m_Line.m_ThroughPoint.x);
            grow(l->m_Line.m_ThroughPoint.y);
            if (l->m_pBackupLine != nullptr)
            {
                grow(l->m_pBackupLine->m_ThroughPoint.x);
                grow(l->m_pBackupLine->m_ThroughPoint.y);
            }
        }
        else
        {
            CMathcir* c = static_cast<CMathcir*>(node);
            grow(c->m_Center.x);
            grow(c->m_Center.y);
            grow(c->m_dRadius);
        }
    }
    return extent;
}

bool HasBackup(CNode* node)
{
    switch (node->GetType())
    {
        case SKT_NODE_POINT:
            return static_cast<CVert*>(node)->m_pBackupPos != nullptr;
        case SKT_NODE_LINE:
            return static_cast<CMathline*>(node)->m_pBackupLine != nullptr;
        default:
            return static_cast<CMathcir*>(node)->m_pBackupCenter != nullptr &&
                   static_cast<CMathcir*>(node)->m_pBackupRadius != nullptr;
    }
}

// How far a fixed or reference node lies from where it was backed up (NaN when its geometry is
// not finite). A line counts as unmoved when its backup's through point lies on it and its
// direction is the same; where along the line the through point sits does not matter.
double FixedNodeOffset(CNode* node, double extent)
{
    const int type = node->GetType();
    if (type == SKT_NODE_POINT)
    {
        CVert* p = static_cast<CVert*>(node);
        return std::hypot(p->m_Pos.x - p->m_pBackupPos->x, p->m_Pos.y - p->m_pBackupPos->y);
    }
    if (type == SKT_NODE_LINE)
    {
        CMathline* l = static_cast<CMathline*>(node);
        const MATHLINE& now = l->m_Line;
        const MATHLINE& old = *l->m_pBackupLine;
        const double dx = old.m_ThroughPoint.x - now.m_ThroughPoint.x;
        const double dy = old.m_ThroughPoint.y - now.m_ThroughPoint.y;
        const double off = std::fabs(dx * now.m_Direction.y - dy * now.m_Direction.x);
        // A turn of the direction moves the far end of the sketch by about turn * extent.
        const double turn = std::hypot(now.m_Direction.x - old.m_Direction.x,
                                       now.m_Direction.y - old.m_Direction.y);
        return std::max(off, turn * extent);
    }
    CMathcir* c = static_cast<CMathcir*>(node);
    return std::max(
        std::hypot(c->m_Center.x - c->m_pBackupCenter->x, c->m_Center.y - c->m_pBackupCenter->y),
        std::fabs(c->m_dRadius - *c->m_pBackupRadius));
}

// The angle the relation constructs: each set reverse flag turns its line's direction round,
// which adds a half turn to the measured angle.
double ConstructedAngle(CRel* rel)
{
    double angle = rel->GetActualVal();
    if ((rel->m_bReverse1 != 0) != (rel->m_bReverse2 != 0))
    {
        angle += 0.5 * TwoPi();
    }
    return angle;
}

// How far apart two angles are on the circle.
double AngleGap(double a, double b)
{
    const double gap = std::fmod(std::fabs(a - b), TwoPi());
    return std::min(gap, TwoPi() - gap);
}

// How far the relation is from holding, in its own unit (length or radians); NaN when it
// cannot be measured. `target` is the value it must measure.
double RelationGap(CRel* rel, double target, double extent)
{
    switch (rel->GetType())
    {
        case SKT_REL_PPDIS:
        case SKT_REL_PLDIS:
            return std::fabs(rel->GetActualVal() - target);
        case SKT_REL_LLDIS:
        {
            // The distance of two lines means something only while they are parallel.
            const VECTOR& a = static_cast<CMathline*>(rel->m_pNode1)->m_Line.m_Direction;
            const VECTOR& b = static_cast<CMathline*>(rel->m_pNode2)->m_Line.m_Direction;
            const double cross = std::fabs(a.x * b.y - a.y * b.x);
            return std::max(std::fabs(rel->GetActualVal() - target), cross * extent);
        }
        case SKT_REL_LLANG:
            return AngleGap(ConstructedAngle(rel), target);
        case SKT_REL_RAD:
            return std::fabs(static_cast<CMathcir*>(rel->m_pNode2)->m_dRadius - target);
        default:
            return 0.0;
    }
}

// Checks the re-solved sketch as a host would. Fixed and reference nodes must not have moved;
// those that moved by rounding only are put back exactly. Every relation with a known value must
// measure it; relations sharing an unknown value must measure the same, which then becomes the
// value's number. Returns the message
// naming what failed, or an empty string. The check reads neither use states nor known flags,
// so it releases each relation as it passes it (saving a walk over all of them); `released`
// tells whether it got through them all.
std::string VerifyResult(Sketch& sketch, bool& released)
{
    released = false;
    std::vector<CNode*> held;
    const double extent = SketchExtent(sketch, held);
    if (!std::isfinite(extent))
    {
        return "the re-solved geometry is not finite";
    }
    const double lengthTol = kHoldTol * std::max(1.0, extent / kFarOut);

    for (CNode* node : held)
    {
        const double offset = FixedNodeOffset(node, extent);
        if (!(offset <= lengthTol))
        {
            return "node '" + sketch.IdOf(node) + "' is fixed but moved";
        }
        node->RestoreNode();
    }

    // The measure of the first relation met on each unknown value.
    std::unordered_map<const CVal*, CRel*> firstOfValue;
    CRelList& rels = sketch.Relations();
    POSITION pos = rels.GetHeadPosition();
    CLookahead ahead(rels, 2 * kLookahead);
    CLookahead near(rels, kLookahead);
    while (pos != nullptr)
    {
        sktPrefetch(ahead.Next());
        if (CRel* soon = static_cast<CRel*>(near.Next()))
        {
            sktPrefetch(soon->m_pVal);
            sktPrefetch(soon->m_pNode1);
            sktPrefetch(soon->m_pNode2);
        }
        CRel* rel = rels.GetNext(pos);
        ReleaseRelation(rel);
        const int type = rel->GetType();
        if (type == SKT_REL_FIX || rel->m_pVal == nullptr)
        {
            continue;
        }
        double target = rel->m_pVal->m_dValue;
        if (rel->m_pVal->m_bBackupKnown == 0 && type != SKT_REL_RAD)
        {
            auto first = firstOfValue.emplace(rel->m_pVal, rel);
            if (first.second)
            {
                continue;
            }
            CRel* ref = first.first->second;
            target = ref->GetType() == SKT_REL_LLANG ? ConstructedAngle(ref) : ref->GetActualVal();
        }
        const double tol = type == SKT_REL_LLANG ? kHoldTol : lengthTol;
        const double gap = RelationGap(rel, target, extent);
        if (!(gap <= tol))
        {
            return "relation '" + sketch.IdOf(rel) + "' is off by " + std::to_string(gap);
        }
    }
    released = true;
    // Unknown values (reference dimensions) carry what their relations now measure: a pass that
    // places nodes by construction does not measure them again, and a host shows them.
    for (const auto& entry : firstOfValue)
    {
        CRel* ref = entry.second;
        double measure = ref->GetActualVal();
        if (ref->GetType() == SKT_REL_LLANG)
        {
            measure = std::fmod(ConstructedAngle(ref), TwoPi());
        }
        ref->m_pVal->m_dValue = measure;
    }
    return std::string();
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
        const double value = change.second;
        if (!std::isfinite(value))
        {
            result.failed = DriveStep::BadRequest;
            result.message =
                "relation '" + change.first + "' cannot take a value that is not finite";
            return result;
        }
        // Angles may be any finite number: users type -30 degrees or a turn and a bit, and an
        // angle holds modulo a full turn. The value is kept as typed.
        const int type = rel->GetType();
        const bool isLength = type != SKT_REL_LLANG;
        if (isLength && (type == SKT_REL_RAD ? !(value > 0.0) : value < 0.0))
        {
            // A distance says how far apart, never on which side; a circle needs a radius.
            result.failed = DriveStep::BadRequest;
            result.message = "relation '" + change.first + "' cannot take the negative distance " +
                             std::to_string(value);
            if (type == SKT_REL_RAD)
            {
                result.message = "relation '" + change.first + "' needs a positive radius";
            }
            return result;
        }
        targets.emplace_back(rel, value);
    }

    sketch.BackupAll();
    g_sktDriveRelChain.RemoveAll();
    for (const auto& target : targets)
    {
        target.first->SetValue(target.second);
        g_sktDriveRelChain.AddTail(target.first);
    }

    result.failed = RunPass(sketch, options);
    bool released = false;
    if (result.IsOk())
    {
        result.message = VerifyResult(sketch, released);
        if (!result.message.empty())
        {
            result.failed = DriveStep::Verify;
        }
    }
    if (!result.IsOk())
    {
        sketch.RestoreAll();
        result.restored = true;
    }
    if (released)
    {
        g_sktDriveRelChain.RemoveAll();
    }
    else
    {
        ReleasePassState(sketch);
    }
    return result;
}

DriveResult Sketch::Drive(const std::vector<std::pair<std::string, double>>& changes)
{
    return DriveSketch(*this, changes, DriveOptions());
}

} // namespace qsolver
