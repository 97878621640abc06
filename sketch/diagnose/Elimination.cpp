// Variable-by-variable Householder elimination of the sparse Jacobian, and the null-space
// samples that tell each node's remaining freedoms.
#include "Elimination.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <queue>
#include <utility>

namespace qsolver::diagnose
{

namespace
{

// Rows have unit norm and columns are lengths, so these are shares of a row: a pivot column
// whose remaining norm is below kRankTol is dependent; entries below kDropTol are rounding.
constexpr double kRankTol = 1e-9;
constexpr double kDropTol = 1e-13;
// A null-space sample component below this share of the sample's largest is zero.
constexpr double kFreedomTol = 1e-7;

struct WorkRow
{
    std::vector<Entry> entries;
    double residual = 0.0;
    std::vector<int> origins; // relations combined into this row, sorted
    bool alive = true;
};

/// Distinct variables a row touches, in column order.
void VarsOf(const Jacobian& jac, const std::vector<Entry>& entries, std::vector<int>& out)
{
    out.clear();
    for (const Entry& e : entries)
    {
        const int v = jac.colVar[static_cast<size_t>(e.col)];
        if (out.empty() || out.back() != v)
        {
            out.push_back(v);
        }
    }
}

/// The placing order: a variable is placed once as many rows as it has columns tie it to
/// placed variables only; when none can be, the most tied unplaced variable is seeded.
std::vector<int> PlacingOrder(const Jacobian& jac, const std::vector<std::vector<int>>& rowVars,
                              const std::vector<std::vector<int>>& varRows)
{
    const size_t nv = jac.vars.size();
    std::vector<int> pending(rowVars.size());
    std::vector<int> gained(nv, 0);
    std::vector<char> placed(nv, 0);
    std::vector<char> queued(nv, 0);
    std::vector<int> order;
    order.reserve(nv);
    std::queue<int> ready;
    // Seeds by most rows gained, then earliest; stale entries are skipped when popped.
    std::priority_queue<std::pair<int, int>> seeds;
    auto gain = [&](int v)
    {
        ++gained[static_cast<size_t>(v)];
        if (!queued[static_cast<size_t>(v)])
        {
            if (gained[static_cast<size_t>(v)] >= jac.vars[static_cast<size_t>(v)].cols)
            {
                queued[static_cast<size_t>(v)] = 1;
                ready.push(v);
            }
            else
            {
                seeds.push({gained[static_cast<size_t>(v)], -v});
            }
        }
    };
    for (size_t v = 0; v < nv; ++v)
    {
        seeds.push({0, -static_cast<int>(v)});
    }
    for (size_t r = 0; r < rowVars.size(); ++r)
    {
        pending[r] = static_cast<int>(rowVars[r].size());
        if (pending[r] == 1)
        {
            gain(rowVars[r][0]);
        }
    }
    auto place = [&](int v)
    {
        placed[static_cast<size_t>(v)] = 1;
        queued[static_cast<size_t>(v)] = 1;
        order.push_back(v);
        for (int r : varRows[static_cast<size_t>(v)])
        {
            if (--pending[static_cast<size_t>(r)] == 1)
            {
                for (int u : rowVars[static_cast<size_t>(r)])
                {
                    if (!placed[static_cast<size_t>(u)])
                    {
                        gain(u);
                        break;
                    }
                }
            }
        }
    };
    while (order.size() < nv)
    {
        if (!ready.empty())
        {
            const int v = ready.front();
            ready.pop();
            place(v);
            continue;
        }
        while (!seeds.empty())
        {
            const auto [g, negV] = seeds.top();
            seeds.pop();
            const int v = -negV;
            if (!queued[static_cast<size_t>(v)] && g == gained[static_cast<size_t>(v)])
            {
                place(v);
                break;
            }
        }
    }
    return order;
}

void MergeOrigins(std::vector<int>& into, const WorkRow& row, std::vector<int>& scratch)
{
    scratch.clear();
    std::set_union(into.begin(), into.end(), row.origins.begin(), row.origins.end(),
                   std::back_inserter(scratch));
    into.swap(scratch);
}

} // namespace

Elimination Eliminate(const Jacobian& jac)
{
    Elimination out;
    const size_t nv = jac.vars.size();
    std::vector<WorkRow> rows;
    rows.reserve(jac.rows.size());
    std::vector<std::vector<int>> rowVars(jac.rows.size());
    std::vector<std::vector<int>> varRows(nv);
    for (size_t r = 0; r < jac.rows.size(); ++r)
    {
        const JacRow& src = jac.rows[r];
        WorkRow w;
        w.entries = src.entries;
        w.residual = src.residual;
        w.origins = {src.relation};
        VarsOf(jac, w.entries, rowVars[r]);
        for (int v : rowVars[r])
        {
            varRows[static_cast<size_t>(v)].push_back(static_cast<int>(r));
        }
        if (rowVars[r].empty())
        {
            // A relation between given nodes: it only states a fact about them.
            out.dependencies.push_back({w.origins, w.residual});
            w.alive = false;
        }
        rows.push_back(std::move(w));
    }
    out.order = PlacingOrder(jac, rowVars, varRows);

    std::vector<int> block;
    std::vector<int> others;
    std::vector<double> dense;
    std::vector<int> scratch;
    std::vector<int> touched;
    for (auto it = out.order.rbegin(); it != out.order.rend(); ++it)
    {
        const int v = *it;
        const Variable& var = jac.vars[static_cast<size_t>(v)];
        const int first = var.firstCol;
        const int k = var.cols;
        block.clear();
        for (int r : varRows[static_cast<size_t>(v)])
        {
            if (rows[static_cast<size_t>(r)].alive)
            {
                block.push_back(r);
            }
        }
        PivotBlock pb;
        pb.var = v;
        for (int c = 0; c < k; ++c)
        {
            pb.perm.push_back(first + c);
        }
        if (block.empty())
        {
            out.blocks.push_back(std::move(pb));
            continue;
        }
        // Dense block: the variable's columns, the other columns the rows touch, the residual.
        others.clear();
        for (int r : block)
        {
            for (const Entry& e : rows[static_cast<size_t>(r)].entries)
            {
                if (e.col < first || e.col >= first + k)
                {
                    others.push_back(e.col);
                }
            }
        }
        std::sort(others.begin(), others.end());
        others.erase(std::unique(others.begin(), others.end()), others.end());
        const size_t m = block.size();
        const size_t width = static_cast<size_t>(k) + others.size() + 1;
        dense.assign(m * width, 0.0);
        for (size_t i = 0; i < m; ++i)
        {
            const WorkRow& w = rows[static_cast<size_t>(block[i])];
            for (const Entry& e : w.entries)
            {
                size_t c = 0;
                if (e.col >= first && e.col < first + k)
                {
                    c = static_cast<size_t>(e.col - first);
                }
                else
                {
                    c = static_cast<size_t>(k) +
                        static_cast<size_t>(std::lower_bound(others.begin(), others.end(), e.col) -
                                            others.begin());
                }
                dense[i * width + c] = e.value;
            }
            dense[i * width + width - 1] = w.residual;
        }
        auto at = [&](size_t i, size_t c) -> double& { return dense[i * width + c]; };
        // Householder QR with column pivoting over the variable's own columns.
        size_t rank = 0;
        for (size_t j = 0; j < static_cast<size_t>(k) && j < m; ++j)
        {
            size_t best = j;
            double bestNorm = -1.0;
            for (size_t c = j; c < static_cast<size_t>(k); ++c)
            {
                double s = 0.0;
                for (size_t i = j; i < m; ++i)
                {
                    s += at(i, c) * at(i, c);
                }
                if (s > bestNorm)
                {
                    bestNorm = s;
                    best = c;
                }
            }
            if (std::sqrt(bestNorm) <= kRankTol)
            {
                break;
            }
            if (best != j)
            {
                for (size_t i = 0; i < m; ++i)
                {
                    std::swap(at(i, j), at(i, best));
                }
                std::swap(pb.perm[j], pb.perm[best]);
            }
            const double norm = std::sqrt(bestNorm);
            const double alpha = at(j, j) > 0.0 ? -norm : norm;
            // v = x - alpha e1, applied as H = I - 2 v v^T / (v^T v).
            const double v0 = at(j, j) - alpha;
            double vv = v0 * v0;
            for (size_t i = j + 1; i < m; ++i)
            {
                vv += at(i, j) * at(i, j);
            }
            if (vv > 0.0)
            {
                for (size_t c = j + 1; c < width; ++c)
                {
                    double s = v0 * at(j, c);
                    for (size_t i = j + 1; i < m; ++i)
                    {
                        s += at(i, j) * at(i, c);
                    }
                    const double f = 2.0 * s / vv;
                    at(j, c) -= f * v0;
                    for (size_t i = j + 1; i < m; ++i)
                    {
                        at(i, c) -= f * at(i, j);
                    }
                }
            }
            at(j, j) = alpha;
            for (size_t i = j + 1; i < m; ++i)
            {
                at(i, j) = 0.0;
            }
            ++rank;
        }
        pb.rank = static_cast<int>(rank);
        out.rank += pb.rank;
        for (size_t i = 0; i < rank; ++i)
        {
            for (size_t c = 0; c < static_cast<size_t>(k); ++c)
            {
                pb.own.push_back(at(i, c));
            }
            std::vector<Entry> rest;
            for (size_t c = 0; c < others.size(); ++c)
            {
                const double value = at(i, static_cast<size_t>(k) + c);
                if (std::fabs(value) > kDropTol)
                {
                    rest.push_back({others[c], value});
                }
            }
            pb.rest.push_back(std::move(rest));
        }
        // What the rows say beyond the pivots carries on to the variables placed earlier.
        std::vector<int> origins;
        if (rank < m)
        {
            for (int r : block)
            {
                MergeOrigins(origins, rows[static_cast<size_t>(r)], scratch);
            }
        }
        for (int r : block)
        {
            WorkRow& w = rows[static_cast<size_t>(r)];
            w.alive = false;
            w.entries.clear();
            w.entries.shrink_to_fit();
        }
        for (size_t i = rank; i < m; ++i)
        {
            WorkRow derived;
            derived.residual = at(i, width - 1);
            derived.origins = origins;
            for (size_t c = 0; c < others.size(); ++c)
            {
                const double value = at(i, static_cast<size_t>(k) + c);
                if (std::fabs(value) > kRankTol)
                {
                    derived.entries.push_back({others[c], value});
                }
            }
            if (derived.entries.empty())
            {
                out.dependencies.push_back({derived.origins, derived.residual});
                continue;
            }
            const int id = static_cast<int>(rows.size());
            VarsOf(jac, derived.entries, touched);
            for (int u : touched)
            {
                varRows[static_cast<size_t>(u)].push_back(id);
            }
            rows.push_back(std::move(derived));
        }
        out.blocks.push_back(std::move(pb));
    }
    return out;
}

std::vector<int> VariableFreedoms(const Jacobian& jac, const Elimination& elim)
{
    const size_t nv = jac.vars.size();
    std::vector<int> freedoms(nv, 0);
    if (elim.rank == jac.Cols())
    {
        return freedoms;
    }
    // Three samples of the null space: every node has at most three columns, so their
    // components on a node span what the whole null space reaches there.
    constexpr int kSamples = 3;
    std::vector<double> x(static_cast<size_t>(jac.Cols()) * kSamples, 0.0);
    std::uint64_t state = 0x9e3779b97f4a7c15ull;
    auto next = [&state]()
    {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        const double u = static_cast<double>(state >> 11) / 9007199254740992.0;
        return (u < 0.5 ? -1.0 : 1.0) * (0.5 + u);
    };
    // Back substitution in placing order: a block's other columns belong to variables placed
    // before it, whose values are set.
    for (auto it = elim.blocks.rbegin(); it != elim.blocks.rend(); ++it)
    {
        const PivotBlock& pb = *it;
        const int k = static_cast<int>(pb.perm.size());
        for (int s = 0; s < kSamples; ++s)
        {
            double* xs = &x[static_cast<size_t>(s) * static_cast<size_t>(jac.Cols())];
            for (int c = pb.rank; c < k; ++c)
            {
                xs[pb.perm[static_cast<size_t>(c)]] = next();
            }
            for (int i = pb.rank - 1; i >= 0; --i)
            {
                double sum = 0.0;
                for (const Entry& e : pb.rest[static_cast<size_t>(i)])
                {
                    sum += e.value * xs[e.col];
                }
                for (int c = i + 1; c < k; ++c)
                {
                    sum += pb.own[static_cast<size_t>(i * k + c)] *
                           xs[pb.perm[static_cast<size_t>(c)]];
                }
                xs[pb.perm[static_cast<size_t>(i)]] = -sum / pb.own[static_cast<size_t>(i * k + i)];
            }
        }
    }
    double scale[kSamples] = {0.0, 0.0, 0.0};
    for (int s = 0; s < kSamples; ++s)
    {
        for (int c = 0; c < jac.Cols(); ++c)
        {
            scale[s] = std::max(scale[s], std::fabs(x[static_cast<size_t>(s * jac.Cols() + c)]));
        }
    }
    for (size_t v = 0; v < nv; ++v)
    {
        const Variable& var = jac.vars[v];
        // The rank of the cols x samples block, each sample measured against its largest.
        double m[3][kSamples] = {};
        for (int c = 0; c < var.cols && c < 3; ++c)
        {
            for (int s = 0; s < kSamples; ++s)
            {
                const double value = x[static_cast<size_t>(s * jac.Cols() + var.firstCol + c)];
                m[c][s] = scale[s] > 0.0 ? value / scale[s] : 0.0;
            }
        }
        int rank = 0;
        const int rowsN = std::min(var.cols, 3);
        bool used[3] = {false, false, false};
        for (int step = 0; step < rowsN; ++step)
        {
            // Gaussian elimination with full pivoting on the tiny block.
            int bi = -1;
            int bs = -1;
            double best = kFreedomTol;
            for (int c = 0; c < rowsN; ++c)
            {
                for (int s = 0; s < kSamples && !used[c]; ++s)
                {
                    if (std::fabs(m[c][s]) > best)
                    {
                        best = std::fabs(m[c][s]);
                        bi = c;
                        bs = s;
                    }
                }
            }
            if (bi < 0)
            {
                break;
            }
            used[bi] = true;
            ++rank;
            for (int c = 0; c < rowsN; ++c)
            {
                if (!used[c])
                {
                    const double f = m[c][bs] / m[bi][bs];
                    for (int s = 0; s < kSamples; ++s)
                    {
                        m[c][s] -= f * m[bi][s];
                    }
                }
            }
        }
        freedoms[v] = rank;
    }
    return freedoms;
}

} // namespace qsolver::diagnose
