// The least-squares solve: unknowns, residual rows with analytic partials, and the damped
// Gauss-Newton iteration over Eigen's sparse Cholesky factorisation.
#include "solve/LeastSquares.h"

#include "qsolver/SolveCheck.h"
#include "qsolver/SolveEquations.h"

#include <Eigen/SparseCholesky>
#include <Eigen/SparseCore>

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace qsolver::solve
{

namespace
{

const double kPi = 2.0 * std::acos(0.0);

// Where a node's numbers come from: columns of the unknown vector, or constants when the node
// is given. A line's angle column holds the angle times the sketch's scale.
struct Slot
{
    CNode* node = nullptr;
    int col = -1;
    bool line = false;
    bool dirFixed = false;
    double a = 0.0; // point x, or line c
    double b = 0.0; // point y, or line theta
};

enum class RowKind
{
    Distance,  // |A - B| - d
    DistanceX, // Ax - Bx (points that must coincide)
    DistanceY, // Ay - By
    PointLine, // signed distance of P from L minus sigma d
    Parallel,  // scale sin(t2 - t1)
    LineLine,  // c2 cos(t2 - t1) - c1 - sigma d
    Angle,     // scale wrap(t2 - t1 + turn - alpha)
    PullX,     // px - targetX
    PullY,     // py - targetY
    Extra,     // an equation of Sketch::Equations()
};

struct Row
{
    RowKind kind;
    int a = -1; // slot of the first node
    int b = -1; // slot of the second node
    double target = 0.0;
    int valueCol = -1;          // an unknown shared value standing for the target
    double sigma = 1.0;         // the side kept by signed distances
    const void* what = nullptr; // the relation or equation, for messages
};

double Wrap(double angle)
{
    angle = std::fmod(angle, 2.0 * kPi);
    if (angle > kPi)
    {
        angle -= 2.0 * kPi;
    }
    else if (angle <= -kPi)
    {
        angle += 2.0 * kPi;
    }
    return angle;
}

class System
{
public:
    System(Sketch& sketch, const LeastSquaresOptions& options) : m_sketch(sketch)
    {
        Build(options);
    }

    int Cols() const { return m_cols; }
    int RowCount() const { return static_cast<int>(m_rows.size()); }
    std::vector<double>& X() { return m_x; }
    double Scale() const { return m_scale; }

    // Residuals and (when J is given) the Jacobian's entries at x; the pattern is the same at
    // every x.
    void Evaluate(const std::vector<double>& x, std::vector<double>& r,
                  std::vector<Eigen::Triplet<double>>* jac)
    {
        r.assign(m_rowCount, 0.0);
        if (jac != nullptr)
        {
            jac->clear();
        }
        if (!m_equations.empty())
        {
            Write(x);
        }
        int row = 0;
        for (const Row& w : m_rows)
        {
            row += EvaluateRow(w, x, row, r, jac);
        }
    }

    // Writes x into the sketch's nodes and values.
    void Write(const std::vector<double>& x)
    {
        for (const Slot& s : m_slots)
        {
            if (s.col < 0)
            {
                continue;
            }
            if (!s.line)
            {
                CVert* p = static_cast<CVert*>(s.node);
                p->m_Pos.x = x[s.col];
                p->m_Pos.y = x[s.col + 1];
                continue;
            }
            CMathline* l = static_cast<CMathline*>(s.node);
            const double t = s.dirFixed ? s.b : x[s.col + 1] / m_scale;
            const double c = x[s.col];
            MATHLINE& line = l->m_Line;
            const double nx = -std::sin(t);
            const double ny = std::cos(t);
            if (!s.dirFixed)
            {
                line.m_Direction.x = std::cos(t);
                line.m_Direction.y = std::sin(t);
            }
            // The through point moves straight onto the new line, so a line that only moved
            // sideways keeps its place along itself.
            const double off = c - (nx * line.m_ThroughPoint.x + ny * line.m_ThroughPoint.y);
            line.m_ThroughPoint.x += off * nx;
            line.m_ThroughPoint.y += off * ny;
        }
        for (const auto& v : m_valueCols)
        {
            v.first->m_dValue = x[v.second];
        }
    }

    const std::string& NameOfRow(size_t flatRow) const
    {
        static const std::string none;
        const void* what = flatRow < m_rowWhat.size() ? m_rowWhat[flatRow] : nullptr;
        if (what == nullptr)
        {
            return none;
        }
        for (const SolveEquation& e : m_sketch.Equations())
        {
            if (&e == what)
            {
                return e.name;
            }
        }
        return m_sketch.IdOf(what);
    }

private:
    int SlotOf(CNode* node)
    {
        auto found = m_slotOf.find(node);
        return found == m_slotOf.end() ? -1 : found->second;
    }

    void Build(const LeastSquaresOptions& options)
    {
        std::unordered_set<const CNode*> held(m_sketch.FixedNodes().begin(),
                                              m_sketch.FixedNodes().end());
        double size = 1.0;
        double minX = std::numeric_limits<double>::infinity();
        double minY = minX;
        double maxX = -minX;
        double maxY = -minX;
        CNodeList& nodes = m_sketch.Nodes();
        POSITION pos = nodes.GetHeadPosition();
        while (pos != nullptr)
        {
            CNode* node = nodes.GetNext(pos);
            const int type = node->GetType();
            if (type == SKT_NODE_CIRCLE)
            {
                continue;
            }
            Slot s;
            s.node = node;
            const bool given = node->IsRefObject() != 0 || held.count(node) != 0;
            if (type == SKT_NODE_POINT)
            {
                CVert* p = static_cast<CVert*>(node);
                s.a = p->m_Pos.x;
                s.b = p->m_Pos.y;
                minX = std::min(minX, s.a);
                maxX = std::max(maxX, s.a);
                minY = std::min(minY, s.b);
                maxY = std::max(maxY, s.b);
                size = std::max({size, std::fabs(s.a), std::fabs(s.b)});
                if (!given)
                {
                    s.col = m_cols;
                    m_cols += 2;
                }
            }
            else
            {
                CMathline* l = static_cast<CMathline*>(node);
                const MATHLINE& line = l->m_Line;
                s.line = true;
                s.dirFixed = l->m_bDirFixed != 0;
                minX = std::min(minX, line.m_ThroughPoint.x);
                maxX = std::max(maxX, line.m_ThroughPoint.x);
                minY = std::min(minY, line.m_ThroughPoint.y);
                maxY = std::max(maxY, line.m_ThroughPoint.y);
                s.b = std::atan2(line.m_Direction.y, line.m_Direction.x);
                s.a =
                    -std::sin(s.b) * line.m_ThroughPoint.x + std::cos(s.b) * line.m_ThroughPoint.y;
                if (!given)
                {
                    s.col = m_cols;
                    m_cols += s.dirFixed ? 1 : 2;
                }
            }
            m_slotOf.emplace(node, static_cast<int>(m_slots.size()));
            m_slots.push_back(s);
        }
        // The sketch's half-diagonal: how far a turn moves what it turns (1 when empty).
        const double half = 0.5 * std::hypot(maxX - minX, maxY - minY);
        m_scale = std::isfinite(half) ? std::max(1.0, half) : 1.0;
        (void)size;

        // Unknown values shared by two or more relations are unknowns of their own; a lone
        // unknown value only measures its relation, which then says nothing.
        std::unordered_map<CVal*, int> uses;
        CRelList& rels = m_sketch.Relations();
        pos = rels.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = rels.GetNext(pos);
            if (rel->m_pVal != nullptr && rel->m_pVal->m_bKnown == 0 &&
                rel->GetType() != SKT_REL_RAD)
            {
                ++uses[rel->m_pVal];
            }
        }

        m_x.assign(m_cols, 0.0);
        for (const Slot& s : m_slots)
        {
            if (s.col >= 0)
            {
                m_x[s.col] = s.a;
                if (!s.dirFixed || !s.line)
                {
                    m_x[s.col + 1] = s.line ? s.b * m_scale : s.b;
                }
            }
        }

        pos = rels.GetHeadPosition();
        while (pos != nullptr)
        {
            CRel* rel = rels.GetNext(pos);
            AddRelation(rel, uses);
        }
        for (const SolveEquation& e : m_sketch.Equations())
        {
            Row w;
            w.kind = RowKind::Extra;
            w.what = &e;
            m_rows.push_back(w);
        }
        if (options.pulled != nullptr)
        {
            Row w;
            w.a = SlotOf(options.pulled);
            if (w.a >= 0 && m_slots[w.a].col >= 0)
            {
                w.sigma = options.pullWeight;
                w.kind = RowKind::PullX;
                w.target = options.targetX;
                m_rows.push_back(w);
                w.kind = RowKind::PullY;
                w.target = options.targetY;
                m_rows.push_back(w);
            }
        }
        m_equations.assign(m_sketch.Equations().size(), 0);
        for (const Row& w : m_rows)
        {
            m_rowCount += 1;
            m_rowWhat.push_back(w.what);
        }
        m_rowCount = static_cast<int>(m_rowWhat.size());
    }

    // The column of an unknown shared value, made on first use and started at the measure of
    // its first relation.
    int ValueColumn(CVal* value, double measure)
    {
        auto found = m_valueColOf.find(value);
        if (found != m_valueColOf.end())
        {
            return found->second;
        }
        const int col = m_cols++;
        m_x.push_back(measure);
        m_valueColOf.emplace(value, col);
        m_valueCols.emplace_back(value, col);
        return col;
    }

    void AddRelation(CRel* rel, const std::unordered_map<CVal*, int>& uses)
    {
        const int type = rel->GetType();
        if (type == SKT_REL_FIX || rel->m_pVal == nullptr)
        {
            return;
        }
        if (type == SKT_REL_RAD)
        {
            if (rel->m_pVal->m_bKnown != 0)
            {
                static_cast<CMathcir*>(rel->m_pNode2)->m_dRadius = rel->m_pVal->m_dValue;
            }
            return;
        }
        Row w;
        w.what = rel;
        w.a = SlotOf(rel->m_pNode1);
        w.b = SlotOf(rel->m_pNode2);
        if (w.a < 0 || w.b < 0)
        {
            return;
        }
        w.target = rel->m_pVal->m_dValue;
        const bool unknown = rel->m_pVal->m_bKnown == 0;
        if (unknown)
        {
            auto found = uses.find(rel->m_pVal);
            if (found == uses.end() || found->second < 2)
            {
                return;
            }
        }
        const Slot& sa = m_slots[w.a];
        const Slot& sb = m_slots[w.b];
        double measure = 0.0;
        switch (type)
        {
            case SKT_REL_PPDIS:
                measure = std::hypot(sa.a - sb.a, sa.b - sb.b);
                if (!unknown && w.target == 0.0)
                {
                    w.kind = RowKind::DistanceX;
                    m_rows.push_back(w);
                    w.kind = RowKind::DistanceY;
                    m_rows.push_back(w);
                    return;
                }
                w.kind = RowKind::Distance;
                break;
            case SKT_REL_PLDIS:
            {
                const double s = -std::sin(sb.b) * sa.a + std::cos(sb.b) * sa.b - sb.a;
                w.sigma = s < 0.0 ? -1.0 : 1.0;
                measure = std::fabs(s);
                w.kind = RowKind::PointLine;
                break;
            }
            case SKT_REL_LLDIS:
            {
                const double s = sb.a * std::cos(sb.b - sa.b) - sa.a;
                w.sigma = s < 0.0 ? -1.0 : 1.0;
                measure = std::fabs(s);
                Row parallel = w;
                parallel.kind = RowKind::Parallel;
                m_rows.push_back(parallel);
                w.kind = RowKind::LineLine;
                break;
            }
            case SKT_REL_LLANG:
            {
                // The angle the relation constructs: each set reverse flag turns a direction.
                w.sigma = (rel->m_bReverse1 != 0) != (rel->m_bReverse2 != 0) ? kPi : 0.0;
                measure = std::fmod(sb.b - sa.b + w.sigma + 4.0 * kPi, 2.0 * kPi);
                w.kind = RowKind::Angle;
                break;
            }
            default:
                return;
        }
        if (unknown)
        {
            w.valueCol = ValueColumn(rel->m_pVal, measure);
        }
        m_rows.push_back(w);
    }

    double PX(const Slot& s, const std::vector<double>& x) const
    {
        return s.col >= 0 ? x[s.col] : s.a;
    }
    double PY(const Slot& s, const std::vector<double>& x) const
    {
        return s.col >= 0 ? x[s.col + 1] : s.b;
    }
    double LC(const Slot& s, const std::vector<double>& x) const
    {
        return s.col >= 0 ? x[s.col] : s.a;
    }
    double LT(const Slot& s, const std::vector<double>& x) const
    {
        return s.col >= 0 && !s.dirFixed ? x[s.col + 1] / m_scale : s.b;
    }

    static void Put(std::vector<Eigen::Triplet<double>>* jac, int row, int col, double d)
    {
        if (jac != nullptr && col >= 0)
        {
            jac->emplace_back(row, col, d);
        }
    }
    // d/d(point x), d/d(point y)
    static void PutPoint(std::vector<Eigen::Triplet<double>>* jac, int row, const Slot& s,
                         double dx, double dy)
    {
        if (s.col >= 0)
        {
            Put(jac, row, s.col, dx);
            Put(jac, row, s.col + 1, dy);
        }
    }
    // d/dc, d/dtheta (the column holds theta times the scale)
    void PutLine(std::vector<Eigen::Triplet<double>>* jac, int row, const Slot& s, double dc,
                 double dt) const
    {
        if (s.col >= 0)
        {
            Put(jac, row, s.col, dc);
            if (!s.dirFixed)
            {
                Put(jac, row, s.col + 1, dt / m_scale);
            }
        }
    }

    // Fills one relation's rows; returns how many rows it took.
    int EvaluateRow(const Row& w, const std::vector<double>& x, int row, std::vector<double>& r,
                    std::vector<Eigen::Triplet<double>>* jac)
    {
        const double target = w.valueCol >= 0 ? x[w.valueCol] : w.target;
        switch (w.kind)
        {
            case RowKind::Distance:
            {
                const Slot& a = m_slots[w.a];
                const Slot& b = m_slots[w.b];
                const double dx = PX(a, x) - PX(b, x);
                const double dy = PY(a, x) - PY(b, x);
                const double len = std::hypot(dx, dy);
                r[row] = len - target;
                const double ux = len > 0.0 ? dx / len : 1.0;
                const double uy = len > 0.0 ? dy / len : 0.0;
                PutPoint(jac, row, a, ux, uy);
                PutPoint(jac, row, b, -ux, -uy);
                Put(jac, row, w.valueCol, -1.0);
                return 1;
            }
            case RowKind::DistanceX:
            case RowKind::DistanceY:
            {
                const Slot& a = m_slots[w.a];
                const Slot& b = m_slots[w.b];
                const bool isX = w.kind == RowKind::DistanceX;
                r[row] = isX ? PX(a, x) - PX(b, x) : PY(a, x) - PY(b, x);
                PutPoint(jac, row, a, isX ? 1.0 : 0.0, isX ? 0.0 : 1.0);
                PutPoint(jac, row, b, isX ? -1.0 : 0.0, isX ? 0.0 : -1.0);
                return 1;
            }
            case RowKind::PointLine:
            {
                const Slot& p = m_slots[w.a];
                const Slot& l = m_slots[w.b];
                const double t = LT(l, x);
                const double px = PX(p, x);
                const double py = PY(p, x);
                const double sn = std::sin(t);
                const double cs = std::cos(t);
                r[row] = -sn * px + cs * py - LC(l, x) - w.sigma * target;
                PutPoint(jac, row, p, -sn, cs);
                PutLine(jac, row, l, -1.0, -cs * px - sn * py);
                Put(jac, row, w.valueCol, -w.sigma);
                return 1;
            }
            case RowKind::Parallel:
            {
                const Slot& l1 = m_slots[w.a];
                const Slot& l2 = m_slots[w.b];
                const double d = LT(l2, x) - LT(l1, x);
                r[row] = m_scale * std::sin(d);
                PutLine(jac, row, l1, 0.0, -m_scale * std::cos(d));
                PutLine(jac, row, l2, 0.0, m_scale * std::cos(d));
                return 1;
            }
            case RowKind::LineLine:
            {
                const Slot& l1 = m_slots[w.a];
                const Slot& l2 = m_slots[w.b];
                const double d = LT(l2, x) - LT(l1, x);
                const double c2 = LC(l2, x);
                r[row] = c2 * std::cos(d) - LC(l1, x) - w.sigma * target;
                PutLine(jac, row, l1, -1.0, c2 * std::sin(d));
                PutLine(jac, row, l2, std::cos(d), -c2 * std::sin(d));
                Put(jac, row, w.valueCol, -w.sigma);
                return 1;
            }
            case RowKind::Angle:
            {
                const Slot& l1 = m_slots[w.a];
                const Slot& l2 = m_slots[w.b];
                r[row] = m_scale * Wrap(LT(l2, x) - LT(l1, x) + w.sigma - target);
                PutLine(jac, row, l1, 0.0, -m_scale);
                PutLine(jac, row, l2, 0.0, m_scale);
                Put(jac, row, w.valueCol, -m_scale);
                return 1;
            }
            case RowKind::PullX:
            case RowKind::PullY:
            {
                const Slot& p = m_slots[w.a];
                const bool isX = w.kind == RowKind::PullX;
                r[row] = w.sigma * ((isX ? PX(p, x) : PY(p, x)) - w.target);
                PutPoint(jac, row, p, isX ? w.sigma : 0.0, isX ? 0.0 : w.sigma);
                return 1;
            }
            case RowKind::Extra:
            {
                const SolveEquation& e = *static_cast<const SolveEquation*>(w.what);
                m_partials.clear();
                r[row] = e.residual(m_scale, m_partials);
                for (const SolvePartial& d : m_partials)
                {
                    Put(jac, row, ColumnOf(d), d.derivative * (IsAngle(d) ? 1.0 / m_scale : 1.0));
                }
                return 1;
            }
        }
        return 1;
    }

    static bool IsAngle(const SolvePartial& d)
    {
        return d.node != nullptr && d.node->GetType() == SKT_NODE_LINE && d.param == 1;
    }

    int ColumnOf(const SolvePartial& d)
    {
        if (d.node == nullptr)
        {
            auto found = m_valueColOf.find(d.value);
            return found == m_valueColOf.end() ? -1 : found->second;
        }
        const int slot = SlotOf(d.node);
        if (slot < 0 || m_slots[slot].col < 0)
        {
            return -1;
        }
        const Slot& s = m_slots[slot];
        if (s.line && s.dirFixed && d.param == 1)
        {
            return -1;
        }
        return s.col + d.param;
    }

    Sketch& m_sketch;
    std::vector<Slot> m_slots;
    std::unordered_map<const CNode*, int> m_slotOf;
    std::vector<Row> m_rows;
    std::vector<const void*> m_rowWhat;
    int m_rowCount = 0;
    int m_cols = 0;
    double m_scale = 1.0;
    std::vector<double> m_x;
    std::unordered_map<CVal*, int> m_valueColOf;
    std::vector<std::pair<CVal*, int>> m_valueCols;
    std::vector<int> m_equations;
    std::vector<SolvePartial> m_partials;
};

double Cost(const std::vector<double>& r)
{
    double c = 0.0;
    for (double v : r)
    {
        c += v * v;
    }
    return c;
}

double MaxAbs(const std::vector<double>& r, size_t* at = nullptr)
{
    double m = 0.0;
    for (size_t i = 0; i < r.size(); ++i)
    {
        if (!(std::fabs(r[i]) <= m))
        {
            m = std::fabs(r[i]);
            if (at != nullptr)
            {
                *at = i;
            }
        }
    }
    return m;
}
} // namespace

LeastSquaresResult SolveLeastSquares(Sketch& sketch, const LeastSquaresOptions& options)
{
    LeastSquaresResult result;
    System system(sketch, options);
    const int n = system.Cols();
    const int m = system.RowCount();
    std::vector<double>& x = system.X();
    std::vector<double> r;
    std::vector<Eigen::Triplet<double>> triplets;
    system.Evaluate(x, r, &triplets);
    double cost = Cost(r);
    // Converged well inside what the check of the result accepts.
    const double goal = 1e-3 * LengthTolerance(system.Scale());
    const bool pulled = options.pulled != nullptr;
    if (n == 0 || m == 0)
    {
        result.converged = MaxAbs(r) <= goal;
        result.residual = MaxAbs(r);
        return result;
    }

    Eigen::SparseMatrix<double> jac(m, n);
    Eigen::SparseMatrix<double> identity(n, n);
    identity.setIdentity();
    Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>> ldlt;
    bool analysed = false;
    double lambda = -1.0;
    std::vector<double> trial(n);
    std::vector<double> rTrial;
    Eigen::VectorXd rv(m);
    while (result.iterations < options.maxIterations)
    {
        if (!pulled && MaxAbs(r) <= goal)
        {
            result.converged = true;
            break;
        }
        ++result.iterations;
        jac.setFromTriplets(triplets.begin(), triplets.end());
        const Eigen::SparseMatrix<double> jt = jac.transpose();
        const Eigen::SparseMatrix<double> normal = jt * jac;
        for (int i = 0; i < m; ++i)
        {
            rv[i] = r[i];
        }
        const Eigen::VectorXd g = jt * rv;
        if (lambda < 0.0)
        {
            double top = 0.0;
            for (int k = 0; k < normal.outerSize(); ++k)
            {
                top = std::max(top, normal.coeff(k, k));
            }
            lambda = 1e-4 * std::max(top, 1.0);
        }
        bool stepped = false;
        bool stalled = false;
        while (!stepped)
        {
            const Eigen::SparseMatrix<double> damped = normal + lambda * identity;
            if (!analysed)
            {
                ldlt.analyzePattern(damped);
                analysed = true;
            }
            ldlt.factorize(damped);
            if (ldlt.info() != Eigen::Success)
            {
                lambda *= 10.0;
                if (lambda > 1e20)
                {
                    stalled = true;
                    break;
                }
                continue;
            }
            const Eigen::VectorXd delta = ldlt.solve(-g);
            double stepSize = 0.0;
            for (int i = 0; i < n; ++i)
            {
                trial[i] = x[i] + delta[i];
                stepSize = std::max(stepSize, std::fabs(delta[i]));
            }
            system.Evaluate(trial, rTrial, nullptr);
            const double trialCost = Cost(rTrial);
            if (trialCost < cost)
            {
                const double gain = cost - trialCost;
                x.swap(trial);
                r.swap(rTrial);
                cost = trialCost;
                lambda = std::max(lambda * 0.2, 1e-15);
                stepped = true;
                // A pulled solve settles where the pull and the relations balance.
                if (pulled && (stepSize <= 1e-12 * system.Scale() || gain <= 1e-24 * (1.0 + cost)))
                {
                    result.converged = true;
                    stalled = true;
                }
            }
            else
            {
                lambda *= 8.0;
                if (lambda > 1e20 || stepSize <= 1e-15 * system.Scale())
                {
                    stalled = true;
                    break;
                }
            }
        }
        if (stalled)
        {
            break;
        }
        system.Evaluate(x, r, &triplets);
    }
    // Stalled at the rounding of a large system: close enough for the check to judge.
    if (!pulled && MaxAbs(r) <= 0.5 * LengthTolerance(system.Scale()))
    {
        result.converged = true;
    }
    size_t at = 0;
    result.residual = MaxAbs(r, &at);
    result.worst = system.NameOfRow(at);
    system.Write(x);
    return result;
}

} // namespace qsolver::solve
