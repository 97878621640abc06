// Least squares and continuation as drive strategies, and Drag.
#include "solve/Robust.h"

#include "solve/Check.h"
#include "solve/LeastSquares.h"

#include "qsolver/Drag.h"
#include "qsolver/SolveEquations.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace qsolver::solve
{

// A drag pulls and then makes the relations hold, at most this many times over.
constexpr int kDragRounds = 8;
// A drag that cannot be solved in one move follows the pointer's path in steps no smaller than
// this share of it, and at most this many.
const double kSmallestDragStep = 1.0 / 64.0;
const int kMostDragSteps = 60;

namespace
{
const double kPi = 2.0 * std::acos(0.0);

// Continuation gives up once a step would be smaller than this share of the change, or after
// this many steps.
constexpr double kSmallestStep = 1.0 / 4096.0;
constexpr int kMostSteps = 400;

template <class F> void ForEachNode(Sketch& sketch, F&& f)
{
    CNodeList& nodes = sketch.Nodes();
    POSITION pos = nodes.GetHeadPosition();
    while (pos != nullptr)
    {
        f(nodes.GetNext(pos));
    }
}

double SketchScale(Sketch& sketch)
{
    double minX = 0.0;
    double minY = 0.0;
    double maxX = 0.0;
    double maxY = 0.0;
    bool any = false;
    ForEachNode(sketch,
                [&](CNode* node)
                {
                    const int type = node->GetType();
                    if (type == SKT_NODE_CIRCLE)
                    {
                        return;
                    }
                    const XYZ& p = type == SKT_NODE_POINT
                                       ? static_cast<CVert*>(node)->m_Pos
                                       : static_cast<CMathline*>(node)->m_Line.m_ThroughPoint;
                    minX = any ? std::min(minX, p.x) : p.x;
                    maxX = any ? std::max(maxX, p.x) : p.x;
                    minY = any ? std::min(minY, p.y) : p.y;
                    maxY = any ? std::max(maxY, p.y) : p.y;
                    any = true;
                });
    return std::max(1.0, 0.5 * std::hypot(maxX - minX, maxY - minY));
}
} // namespace

void GeometryState::Save(Sketch& sketch)
{
    m_numbers.clear();
    ForEachNode(
        sketch,
        [this](CNode* node)
        {
            switch (node->GetType())
            {
                case SKT_NODE_POINT:
                {
                    const XYZ& p = static_cast<CVert*>(node)->m_Pos;
                    m_numbers.insert(m_numbers.end(), {p.x, p.y});
                    break;
                }
                case SKT_NODE_LINE:
                {
                    const MATHLINE& l = static_cast<CMathline*>(node)->m_Line;
                    m_numbers.insert(m_numbers.end(), {l.m_ThroughPoint.x, l.m_ThroughPoint.y,
                                                       l.m_Direction.x, l.m_Direction.y});
                    break;
                }
                default:
                {
                    CMathcir* c = static_cast<CMathcir*>(node);
                    m_numbers.insert(m_numbers.end(), {c->m_Center.x, c->m_Center.y, c->m_dRadius});
                }
            }
        });
    m_values.clear();
    for (CVal* v : sketch.AllValues())
    {
        m_values.push_back(v->m_dValue);
    }
}

namespace
{
// Writes saved numbers into the geometry (backups false) or into the backups.
void Put(Sketch& sketch, const std::vector<double>& numbers, bool backups)
{
    size_t i = 0;
    ForEachNode(sketch,
                [&](CNode* node)
                {
                    switch (node->GetType())
                    {
                        case SKT_NODE_POINT:
                        {
                            CVert* p = static_cast<CVert*>(node);
                            XYZ* to = backups ? p->m_pBackupPos : &p->m_Pos;
                            if (to != nullptr)
                            {
                                to->x = numbers[i];
                                to->y = numbers[i + 1];
                            }
                            i += 2;
                            break;
                        }
                        case SKT_NODE_LINE:
                        {
                            CMathline* l = static_cast<CMathline*>(node);
                            MATHLINE* to = backups ? l->m_pBackupLine : &l->m_Line;
                            if (to != nullptr)
                            {
                                to->m_ThroughPoint.x = numbers[i];
                                to->m_ThroughPoint.y = numbers[i + 1];
                                to->m_Direction.x = numbers[i + 2];
                                to->m_Direction.y = numbers[i + 3];
                            }
                            i += 4;
                            break;
                        }
                        default:
                        {
                            CMathcir* c = static_cast<CMathcir*>(node);
                            XYZ* centre = backups ? c->m_pBackupCenter : &c->m_Center;
                            double* radius = backups ? c->m_pBackupRadius : &c->m_dRadius;
                            if (centre != nullptr && radius != nullptr)
                            {
                                centre->x = numbers[i];
                                centre->y = numbers[i + 1];
                                *radius = numbers[i + 2];
                            }
                            i += 3;
                        }
                    }
                });
}
} // namespace

void GeometryState::Load(Sketch& sketch) const
{
    Put(sketch, m_numbers, false);
    const std::vector<CVal*> values = sketch.AllValues();
    for (size_t i = 0; i < values.size() && i < m_values.size(); ++i)
    {
        values[i]->m_dValue = m_values[i];
    }
}

void GeometryState::LoadAsBackups(Sketch& sketch) const
{
    Put(sketch, m_numbers, true);
}

std::string EquationOff(Sketch& sketch)
{
    if (sketch.Equations().empty())
    {
        return std::string();
    }
    const double scale = SketchScale(sketch);
    const double tol = LengthTolerance(scale);
    std::vector<SolvePartial> partials;
    for (const SolveEquation& e : sketch.Equations())
    {
        partials.clear();
        const double r = e.residual(scale, partials);
        if (!(std::fabs(r) <= tol))
        {
            return "equation '" + e.name + "' is off by " + std::to_string(std::fabs(r));
        }
    }
    return std::string();
}

ResultCheck CheckSolved(Sketch& sketch)
{
    std::vector<CRel*> firsts;
    CheckHooks hooks;
    hooks.firstOfUnknown = &firsts;
    ResultCheck check = CheckResult(sketch, hooks);
    if (check.IsOk())
    {
        check.message = EquationOff(sketch);
        if (!check.message.empty())
        {
            check.failure = CheckFailure::RelationOff;
            return check;
        }
        for (CRel* ref : firsts)
        {
            double measure = ref->GetActualVal();
            if (ref->GetType() == SKT_REL_LLANG)
            {
                measure = ReduceAngle(ConstructedAngle(ref), 2.0 * kPi);
            }
            ref->m_pVal->m_dValue = measure;
        }
    }
    return check;
}

namespace
{
// Fills a failed result from a least-squares solve that did not converge or a failed check.
void Fail(DriveResult& result, const char* strategy, const LeastSquaresResult& ls,
          const ResultCheck& check)
{
    result.failed = DriveStep::Verify;
    result.check = check.failure;
    if (!ls.converged)
    {
        result.message = std::string(strategy) + ": no solution found (largest residual " +
                         std::to_string(ls.residual) +
                         (ls.worst.empty() ? "" : " in '" + ls.worst + "'") + ")";
    }
    else
    {
        result.message = std::string(strategy) + ": " + check.message;
    }
}
} // namespace

bool DriveByLeastSquares(Sketch& sketch, DriveResult& result)
{
    const LeastSquaresResult ls = SolveLeastSquares(sketch, LeastSquaresOptions());
    const ResultCheck check = ls.converged ? CheckSolved(sketch) : ResultCheck();
    if (!ls.converged || !check.IsOk())
    {
        Fail(result, "least squares", ls, check);
        return false;
    }
    result = DriveResult();
    result.strategy = DriveStrategy::LeastSquares;
    result.steps = 1;
    return true;
}

bool DriveByContinuation(Sketch& sketch, const std::vector<DriveChange>& targets,
                         DriveResult& result)
{
    // The values before the change are the backed-up ones; an angle turns the short way round.
    std::vector<double> from;
    std::vector<double> change;
    for (const DriveChange& t : targets)
    {
        CVal* v = t.relation->m_pVal;
        const double old = v->m_pBackupValue != nullptr ? *v->m_pBackupValue : v->m_dValue;
        from.push_back(old);
        double d = t.value - old;
        if (t.relation->GetType() == SKT_REL_LLANG)
        {
            d = std::remainder(d, 2.0 * kPi);
        }
        change.push_back(d);
    }
    GeometryState original;
    GeometryState base;
    sketch.RestoreAll();
    original.Save(sketch);
    double t = 0.0;
    double step = 0.5;
    int steps = 0;
    int tries = 0;
    LeastSquaresResult ls;
    ResultCheck check;
    bool ok = true;
    while (t < 1.0)
    {
        if (step < kSmallestStep || ++tries > kMostSteps)
        {
            ok = false;
            break;
        }
        const double next = std::min(1.0, t + step);
        base.Save(sketch);
        for (size_t i = 0; i < targets.size(); ++i)
        {
            targets[i].relation->SetValue(next == 1.0 ? targets[i].value
                                                      : from[i] + next * change[i]);
        }
        ls = SolveLeastSquares(sketch, LeastSquaresOptions());
        check = ResultCheck();
        if (ls.converged)
        {
            // Each step is judged against the one before: nothing may flip on the way.
            base.LoadAsBackups(sketch);
            check = CheckSolved(sketch);
        }
        if (ls.converged && check.IsOk())
        {
            t = next;
            ++steps;
            step *= 2.0;
        }
        else
        {
            base.Load(sketch);
            step *= 0.5;
        }
    }
    original.LoadAsBackups(sketch);
    if (ok)
    {
        // The whole change, judged against where it started.
        check = CheckSolved(sketch);
        ok = check.IsOk();
        ls.converged = true;
    }
    if (!ok)
    {
        Fail(result, "continuation", ls, check);
        if (check.IsOk() && ls.converged)
        {
            result.message = "continuation: the change could not be split into steps that solve";
        }
        return false;
    }
    result = DriveResult();
    result.strategy = DriveStrategy::Continuation;
    result.steps = steps;
    return true;
}

LeastSquaresResult DragTowards(Sketch& sketch, CVert* p, double x, double y, int& iterations)
{
    // First pulled towards the target with every relation, then made to satisfy them exactly
    // from there: the point ends as near as the relations let it, the rest moved little.
    // Rounds of both settle where the point cannot get nearer.
    LeastSquaresOptions pull;
    pull.pulled = p;
    pull.targetX = x;
    pull.targetY = y;
    LeastSquaresResult second;
    for (int round = 0; round < kDragRounds; ++round)
    {
        const XYZ was = p->m_Pos;
        const LeastSquaresResult first = SolveLeastSquares(sketch, pull);
        second = SolveLeastSquares(sketch, LeastSquaresOptions());
        iterations += first.iterations + second.iterations;
        const double moved = std::hypot(p->m_Pos.x - was.x, p->m_Pos.y - was.y);
        if (!second.converged || moved <= 1e-12 * std::max({1.0, std::fabs(x), std::fabs(y)}))
        {
            break;
        }
    }
    return second;
}

} // namespace qsolver::solve

namespace qsolver
{

DragResult Sketch::Drag(const std::string& point, double x, double y)
{
    DragResult result;
    CVert* p = FindPoint(point);
    if (p == nullptr)
    {
        result.message = "no point '" + point + "'";
        return result;
    }
    if (!std::isfinite(x) || !std::isfinite(y))
    {
        result.message = "the target of a drag must be finite";
        return result;
    }
    if (p->IsRefObject() != 0 || p->IsFixed() != 0)
    {
        result.message = "point '" + point + "' is fixed";
        return result;
    }
    BackupAll();
    solve::GeometryState original;
    original.Save(*this);
    solve::LeastSquaresResult solved = solve::DragTowards(*this, p, x, y, result.iterations);
    ResultCheck check;
    if (solved.converged)
    {
        check = solve::CheckSolved(*this);
    }
    if (!solved.converged || !check.IsOk())
    {
        // Too far in one move (a long chain turned into another assembly on the way): follow
        // the pointer's path instead, in steps that halve on failure and double on success,
        // each solved from the last and judged against it; the point stops where the path
        // can be followed no further.
        const ResultCheck firstCheck = check;
        const solve::LeastSquaresResult firstSolve = solved;
        original.Load(*this);
        const double x0 = p->m_Pos.x;
        const double y0 = p->m_Pos.y;
        solve::GeometryState base;
        double t = 0.0;
        double step = 0.5;
        int tries = 0;
        while (t < 1.0 && step >= solve::kSmallestDragStep && ++tries <= solve::kMostDragSteps)
        {
            const double next = std::min(1.0, t + step);
            base.Save(*this);
            solved = solve::DragTowards(*this, p, x0 + next * (x - x0), y0 + next * (y - y0),
                                        result.iterations);
            check = ResultCheck();
            if (solved.converged)
            {
                base.LoadAsBackups(*this);
                check = solve::CheckSolved(*this);
            }
            if (solved.converged && check.IsOk())
            {
                t = next;
                ++result.steps;
                step *= 2.0;
            }
            else
            {
                base.Load(*this);
                step *= 0.5;
            }
        }
        original.LoadAsBackups(*this);
        check = t > 0.0 ? solve::CheckSolved(*this) : firstCheck;
        if (t == 0.0 || !check.IsOk())
        {
            result.check = check.failure;
            result.message = firstSolve.converged
                                 ? check.message
                                 : "no placement satisfies every relation (largest residual " +
                                       std::to_string(firstSolve.residual) + ")";
            RestoreAll();
            return result;
        }
    }
    else
    {
        result.steps = 1;
    }
    result.solved = true;
    result.distance = std::hypot(p->m_Pos.x - x, p->m_Pos.y - y);
    return result;
}

} // namespace qsolver
