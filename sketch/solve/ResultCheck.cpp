// The check of a re-solved sketch: what a user means by "it solved".
#include "solve/Check.h"

#include "model/Prefetch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <vector>

namespace qsolver
{

namespace
{
// The checks walk every node and relation of the sketch; asking for the objects a few steps
// ahead lets the waits for memory overlap.
constexpr int kLookahead = 8;

// Lengths hold within 1e-7 of the sketch's size, and never need to hold closer than 1e-6. The
// numeric solves stop once their residuals are about 1e-6 in the sketch's own numbers, and on
// sketches hundreds of units across they leave lines a few 1e-9 rad off their direction:
// relations then measure up to a few 1e-8 of the size off (7e-6 on a 300-unit bracket). A
// tenth of a micrometre on 300 mm is still far below anything a drawing shows, while a tenth
// of 1e-7 would refuse those results. The same tolerance judges whether fixed geometry moved.
constexpr double kLengthShare = 1e-7;
constexpr double kLengthFloor = 1e-6;
// Angles are judged in radians whatever the size.
constexpr double kAngleTol = 1e-6;
// Below this sine three points count as in line: which way round they are means nothing.
constexpr double kInLineSine = 1e-6;
// A point p dimensioned to a and b (not to each other) turns one way from a to b. Where a and b
// are linked around p by a fan of dimensioned triangles (a truss chord and its diagonals), the
// turn is the sum of the triangles' angles, each judged as a triangle, and the sum may pass
// through in line as the structure deforms: only a turn clearly one way before and clearly the
// other after (about 3 degrees) counts there. Otherwise the turn is the assembly mode of a
// joint (a body barred to its neighbour), which only a mirrored assembly turns round, however
// flat: joints far down a linkage come back with sines of -0.075 and +0.014, or -0.002 and
// +0.13. Those are judged once the turn is beyond about half a degree on either side.
constexpr double kFanSine = 0.05;
constexpr double kJointSine = 0.01;

double TwoPi()
{
    return 4.0 * std::acos(0.0);
}

struct Box
{
    double minX = std::numeric_limits<double>::infinity();
    double minY = std::numeric_limits<double>::infinity();
    double maxX = -std::numeric_limits<double>::infinity();
    double maxY = -std::numeric_limits<double>::infinity();
    // The largest magnitude of any coordinate or radius: the digits a double has to spare.
    double size = 1.0;

    void Grow(double x, double y)
    {
        minX = std::min(minX, x);
        maxX = std::max(maxX, x);
        minY = std::min(minY, y);
        maxY = std::max(maxY, y);
        size = std::max({size, std::fabs(x), std::fabs(y)});
    }
    double Radius() const { return 0.5 * std::hypot(maxX - minX, maxY - minY); }
};

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

struct Scan
{
    Box box;
    std::vector<CNode*> held;  // fixed and reference nodes with a backup, in node order
    std::vector<CVert*> moved; // points not where their backup is, in node order
};

// One walk over the nodes: the box of the geometry now and before, the held nodes, and the
// points that moved.
void ScanNodes(Sketch& sketch, Scan& scan)
{
    // The fixed nodes come from the sketch's fixes: asking each node would walk every node's
    // relations.
    std::vector<const CNode*> fixed(sketch.FixedNodes().begin(), sketch.FixedNodes().end());
    std::sort(fixed.begin(), fixed.end());
    Box& box = scan.box;
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
            scan.held.push_back(node);
        }
        const int type = node->GetType();
        if (type == SKT_NODE_POINT)
        {
            CVert* p = static_cast<CVert*>(node);
            box.Grow(p->m_Pos.x, p->m_Pos.y);
            if (p->m_pBackupPos != nullptr)
            {
                box.Grow(p->m_pBackupPos->x, p->m_pBackupPos->y);
                if (p->m_Pos.x != p->m_pBackupPos->x || p->m_Pos.y != p->m_pBackupPos->y)
                {
                    scan.moved.push_back(p);
                }
            }
        }
        else if (type == SKT_NODE_LINE)
        {
            CMathline* l = static_cast<CMathline*>(node);
            box.Grow(l->m_Line.m_ThroughPoint.x, l->m_Line.m_ThroughPoint.y);
            box.size = std::max(
                {box.size, std::fabs(l->m_Line.m_Direction.x), std::fabs(l->m_Line.m_Direction.y)});
            if (l->m_pBackupLine != nullptr)
            {
                box.Grow(l->m_pBackupLine->m_ThroughPoint.x, l->m_pBackupLine->m_ThroughPoint.y);
            }
        }
        else
        {
            CMathcir* c = static_cast<CMathcir*>(node);
            box.Grow(c->m_Center.x, c->m_Center.y);
            box.size = std::max(box.size, std::fabs(c->m_dRadius));
        }
    }
}

struct Dir
{
    double x;
    double y;
};

Dir Unit(const VECTOR& v)
{
    const double len = std::hypot(v.x, v.y);
    return {v.x / len, v.y / len};
}

// How far the points of the old line that lie within the sketch's box are from the new line.
// A line that only slid its through point along itself did not move; one that turned by a few
// 1e-9 rad moved its points within the sketch by about that times the sketch's size. A line
// turned round is a different line.
double LineMove(const MATHLINE& now, const MATHLINE& old, const Box& box)
{
    const Dir dn = Unit(now.m_Direction);
    const Dir dOld = Unit(old.m_Direction);
    if (dn.x * dOld.x + dn.y * dOld.y < 0.0)
    {
        return std::numeric_limits<double>::infinity();
    }
    const double cx = 0.5 * (box.minX + box.maxX);
    const double cy = 0.5 * (box.minY + box.maxY);
    const double mid = (cx - old.m_ThroughPoint.x) * dOld.x + (cy - old.m_ThroughPoint.y) * dOld.y;
    const double r = box.Radius();
    double worst = 0.0;
    for (const double s : {mid - r, mid + r})
    {
        const double qx = old.m_ThroughPoint.x + s * dOld.x - now.m_ThroughPoint.x;
        const double qy = old.m_ThroughPoint.y + s * dOld.y - now.m_ThroughPoint.y;
        worst = std::max(worst, std::fabs(dn.x * qy - dn.y * qx));
    }
    return worst;
}

// How far a held node lies from its backup (NaN when its geometry is not finite).
double HeldNodeMove(CNode* node, const Box& box)
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
        return LineMove(l->m_Line, *l->m_pBackupLine, box);
    }
    CMathcir* c = static_cast<CMathcir*>(node);
    return std::max(
        std::hypot(c->m_Center.x - c->m_pBackupCenter->x, c->m_Center.y - c->m_pBackupCenter->y),
        std::fabs(c->m_dRadius - *c->m_pBackupRadius));
}

// How far apart two angles are on the circle.
double AngleGap(double a, double b)
{
    const double gap = std::fmod(std::fabs(a - b), TwoPi());
    return std::min(gap, TwoPi() - gap);
}

// How far the relation is from holding, in its own unit (length or radians); NaN when it
// cannot be measured. `target` is the value it must measure.
double RelationGap(CRel* rel, double target, double size)
{
    switch (rel->GetType())
    {
        case SKT_REL_PPDIS:
        case SKT_REL_PLDIS:
            return std::fabs(rel->GetActualVal() - target);
        case SKT_REL_LLDIS:
        {
            // The distance of two lines means something only while they are parallel.
            const Dir a = Unit(static_cast<CMathline*>(rel->m_pNode1)->m_Line.m_Direction);
            const Dir b = Unit(static_cast<CMathline*>(rel->m_pNode2)->m_Line.m_Direction);
            const double cross = std::fabs(a.x * b.y - a.y * b.x);
            return std::max(std::fabs(rel->GetActualVal() - target), cross * size);
        }
        case SKT_REL_LLANG:
            return AngleGap(solve::ConstructedAngle(rel), target);
        case SKT_REL_RAD:
            return std::fabs(static_cast<CMathcir*>(rel->m_pNode2)->m_dRadius - target);
        default:
            return 0.0;
    }
}

// The signed distance of a point from a line, positive on the left of its direction.
double Side(const XYZ& p, const MATHLINE& line)
{
    const Dir d = Unit(line.m_Direction);
    return d.x * (p.y - line.m_ThroughPoint.y) - d.y * (p.x - line.m_ThroughPoint.x);
}

// A point dimensioned at a non-zero distance from a line stays on its side of it: to cross it
// would have to pass through the line, where the distance is zero.
bool CrossedLine(CRel* rel, double tol)
{
    CVert* p = static_cast<CVert*>(rel->m_pNode1);
    CMathline* l = static_cast<CMathline*>(rel->m_pNode2);
    if (p->m_pBackupPos == nullptr || l->m_pBackupLine == nullptr)
    {
        return false;
    }
    const double before = Side(*p->m_pBackupPos, *l->m_pBackupLine);
    const double now = Side(p->m_Pos, l->m_Line);
    return std::fabs(before) > tol && std::fabs(now) > tol && (before < 0.0) != (now < 0.0);
}

std::string Name(Sketch& sketch, const void* object)
{
    return "'" + sketch.IdOf(object) + "'";
}

// The points a point is dimensioned to, once each, in the order of its relations.
void DimensionedTo(CVert* p, std::vector<CVert*>& out)
{
    out.clear();
    POSITION pos = p->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = p->m_RelList.GetNext(pos);
        if (rel->GetType() != SKT_REL_PPDIS)
        {
            continue;
        }
        CVert* other = static_cast<CVert*>(rel->GetAnotherNode(p));
        if (other != p && std::find(out.begin(), out.end(), other) == out.end())
        {
            out.push_back(other);
        }
    }
}

bool Dimensioned(CVert* a, CVert* b)
{
    POSITION pos = a->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = a->m_RelList.GetNext(pos);
        if (rel->GetType() == SKT_REL_PPDIS && rel->GetAnotherNode(a) == b)
        {
            return true;
        }
    }
    return false;
}

// Whether a and b, both dimensioned to p, are joined through p's other neighbours by a chain
// of dimensioned pairs: then p, a and b lie in a fan of triangles around p.
bool LinkedByFan(CVert* p, CVert* a, CVert* b)
{
    std::vector<CVert*> near;
    DimensionedTo(p, near);
    std::vector<CVert*> reached{a};
    for (size_t i = 0; i < reached.size(); ++i)
    {
        for (CVert* q : near)
        {
            if (std::find(reached.begin(), reached.end(), q) == reached.end() &&
                Dimensioned(reached[i], q))
            {
                if (q == b)
                {
                    return true;
                }
                reached.push_back(q);
            }
        }
    }
    return false;
}

// Whether the place of a point comes from its distances to points alone: not given, and on no
// line. A point on a turning line (a crank's end) may swing past the line of two points it is
// dimensioned to, and a given point does not move at all.
bool PlacedByDistances(CVert* p)
{
    if (p->IsRefObject() != 0)
    {
        return false;
    }
    POSITION pos = p->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        const int type = p->m_RelList.GetNext(pos)->GetType();
        if (type == SKT_REL_FIX || type == SKT_REL_PLDIS)
        {
            return false;
        }
    }
    return true;
}

// The turn at p from a to b: its cross product, and the square of the product of the arms
// (the cross product over the root of that is the sine). No root is taken: on a large sketch
// every point may have moved, and each takes part in several turns.
struct Turn
{
    double cross;
    double scale2;

    // Clearly one way round: the sine beyond `sine`.
    bool Clear(double sine) const { return cross * cross > sine * sine * scale2; }
};

Turn TurnAt(const XYZ& p, const XYZ& a, const XYZ& b)
{
    const double ax = a.x - p.x;
    const double ay = a.y - p.y;
    const double bx = b.x - p.x;
    const double by = b.y - p.y;
    return {ax * by - ay * bx, (ax * ax + ay * ay) * (bx * bx + by * by)};
}

// Judges the turn at p from a to b, both dimensioned to p: a triangle when a and b are
// dimensioned to each other, otherwise the assembly of the body p belongs to against them.
CheckFailure JudgeTurn(CVert* p, CVert* a, CVert* b)
{
    if (p->m_pBackupPos == nullptr || a->m_pBackupPos == nullptr || b->m_pBackupPos == nullptr)
    {
        return CheckFailure::None;
    }
    const Turn now = TurnAt(p->m_Pos, a->m_Pos, b->m_Pos);
    const Turn before = TurnAt(*p->m_pBackupPos, *a->m_pBackupPos, *b->m_pBackupPos);
    if ((before.cross < 0.0) == (now.cross < 0.0) || !before.Clear(kInLineSine) ||
        !now.Clear(kInLineSine))
    {
        return CheckFailure::None;
    }
    if (Dimensioned(a, b))
    {
        return CheckFailure::TriangleMirrored;
    }
    const bool clear = LinkedByFan(p, a, b) ? before.Clear(kFanSine) && now.Clear(kFanSine)
                                            : before.Clear(kJointSine) || now.Clear(kJointSine);
    return clear && PlacedByDistances(p) ? CheckFailure::BodyMirrored : CheckFailure::None;
}

bool Moved(CVert* p)
{
    return p->m_pBackupPos != nullptr &&
           (p->m_Pos.x != p->m_pBackupPos->x || p->m_Pos.y != p->m_pBackupPos->y);
}

// Every turn a moved point takes part in: each turn at a moved point, and at each point that
// did not move, the turns between a moved neighbour and the others. Turns of points none of
// which moved cannot have changed.
ResultCheck CheckTurns(Sketch& sketch, const std::vector<CVert*>& moved)
{
    ResultCheck check;
    std::vector<CVert*> near;
    std::vector<CVert*> around;
    auto fail = [&](CheckFailure failure, CVert* p, CVert* a, CVert* b)
    {
        check.failure = failure;
        if (failure == CheckFailure::TriangleMirrored)
        {
            check.message = "triangle " + Name(sketch, p) + ", " + Name(sketch, a) + ", " +
                            Name(sketch, b) + " mirrored";
        }
        else
        {
            check.message = "point " + Name(sketch, p) + " turned the other way between " +
                            Name(sketch, a) + " and " + Name(sketch, b) +
                            " (its body is assembled mirrored)";
        }
    };
    for (CVert* u : moved)
    {
        DimensionedTo(u, near);
        for (size_t i = 0; i < near.size(); ++i)
        {
            for (size_t j = i + 1; j < near.size(); ++j)
            {
                const CheckFailure f = JudgeTurn(u, near[i], near[j]);
                if (f != CheckFailure::None)
                {
                    fail(f, u, near[i], near[j]);
                    return check;
                }
            }
        }
        for (CVert* p : near)
        {
            if (Moved(p))
            {
                continue; // judged as a moved point itself
            }
            DimensionedTo(p, around);
            for (CVert* w : around)
            {
                const CheckFailure f = w == u ? CheckFailure::None : JudgeTurn(p, u, w);
                if (f != CheckFailure::None)
                {
                    fail(f, p, u, w);
                    return check;
                }
            }
        }
    }
    return check;
}
} // namespace

namespace solve
{

double ConstructedAngle(CRel* rel)
{
    double angle = rel->GetActualVal();
    if ((rel->m_bReverse1 != 0) != (rel->m_bReverse2 != 0))
    {
        angle += 0.5 * TwoPi();
    }
    return angle;
}

ResultCheck CheckResult(Sketch& sketch, CheckHooks& hooks)
{
    hooks.walkedAll = false;
    ResultCheck check;
    Scan scan;
    ScanNodes(sketch, scan);
    const Box& box = scan.box;
    if (!std::isfinite(box.size) || !std::isfinite(box.Radius()))
    {
        check.failure = CheckFailure::NotFinite;
        check.message = "the re-solved geometry is not finite";
        return check;
    }
    const double lengthTol = LengthTolerance(box.size);

    for (CNode* node : scan.held)
    {
        const double offset = HeldNodeMove(node, box);
        if (!(offset <= lengthTol))
        {
            check.failure = CheckFailure::FixedMoved;
            check.message = "node " + Name(sketch, node) + " is fixed but moved";
            return check;
        }
        node->RestoreNode();
    }

    // The first relation met on each unknown value: the others must measure what it does.
    std::unordered_map<const CVal*, CRel*> firstOfValue;
    std::vector<CRel*> firsts;
    CRelList& rels = sketch.Relations();
    POSITION pos = rels.GetHeadPosition();
    CLookahead ahead(rels, 2 * kLookahead);
    CLookahead soonAhead(rels, kLookahead);
    while (pos != nullptr)
    {
        sktPrefetch(ahead.Next());
        if (CRel* soon = static_cast<CRel*>(soonAhead.Next()))
        {
            sktPrefetch(soon->m_pVal);
            sktPrefetch(soon->m_pNode1);
            sktPrefetch(soon->m_pNode2);
        }
        CRel* rel = rels.GetNext(pos);
        if (hooks.onRelation != nullptr)
        {
            hooks.onRelation(rel);
        }
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
                firsts.push_back(rel);
                continue;
            }
            CRel* ref = first.first->second;
            target = ref->GetType() == SKT_REL_LLANG ? ConstructedAngle(ref) : ref->GetActualVal();
        }
        const double tol = type == SKT_REL_LLANG ? kAngleTol : lengthTol;
        const double gap = RelationGap(rel, target, box.size);
        if (!(gap <= tol))
        {
            check.failure = CheckFailure::RelationOff;
            check.message = "relation " + Name(sketch, rel) + " is off by " + std::to_string(gap);
            return check;
        }
        if (type == SKT_REL_PLDIS && target > lengthTol && CrossedLine(rel, lengthTol))
        {
            check.failure = CheckFailure::PointCrossedLine;
            check.message = "point " + Name(sketch, rel->m_pNode1) + " crossed line " +
                            Name(sketch, rel->m_pNode2);
            return check;
        }
    }
    hooks.walkedAll = true;
    check = CheckTurns(sketch, scan.moved);
    if (check.IsOk() && hooks.firstOfUnknown != nullptr)
    {
        *hooks.firstOfUnknown = std::move(firsts);
    }
    return check;
}

} // namespace solve

const char* CheckFailureText(CheckFailure failure)
{
    switch (failure)
    {
        case CheckFailure::None:
            return "the result holds";
        case CheckFailure::NotFinite:
            return "the result is not finite";
        case CheckFailure::FixedMoved:
            return "fixed geometry moved";
        case CheckFailure::RelationOff:
            return "a relation does not hold";
        case CheckFailure::PointCrossedLine:
            return "a point crossed a line";
        case CheckFailure::TriangleMirrored:
            return "a triangle came back mirrored";
        case CheckFailure::BodyMirrored:
            return "a body came back assembled mirrored";
    }
    return "unknown";
}

double LengthTolerance(double size)
{
    return std::max(kLengthFloor, kLengthShare * size);
}

double AngleTolerance()
{
    return kAngleTol;
}

ResultCheck CheckResult(Sketch& sketch)
{
    solve::CheckHooks hooks;
    return solve::CheckResult(sketch, hooks);
}

} // namespace qsolver
