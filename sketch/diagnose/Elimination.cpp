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

/// Compressed lists: the items of list i are items[start[i] .. start[i + 1]).
struct Lists
{
    std::vector<int> start;
    std::vector<int> items;

    const int* Begin(size_t i) const { return items.data() + start[i]; }
    const int* End(size_t i) const { return items.data() + start[i + 1]; }
};

/// The placing order: a variable is placed once as many rows as it has columns tie it to
/// placed variables only; when none can be, the most tied unplaced variable is seeded.
std::vector<int> PlacingOrder(const Jacobian& jac, const Lists& rowVars, const Lists& varRows)
{
    const size_t nv = jac.vars.size();
    const size_t nr = rowVars.start.size() - 1;
    std::vector<int> pending(nr);
    std::vector<int> gained(nv, 0);
    std::vector<char> placed(nv, 0);
    std::vector<char> queued(nv, 0);
    std::vector<int> order;
    order.reserve(nv);
    std::vector<int> ready;
    size_t readyHead = 0;
    // Seeds by most rows gained, then earliest; stale entries are skipped when popped.
    std::vector<std::pair<int, int>> heap;
    heap.reserve(nv);
    for (size_t v = 0; v < nv; ++v)
    {
        heap.push_back({0, -static_cast<int>(v)});
    }
    std::priority_queue<std::pair<int, int>> seeds(std::less<std::pair<int, int>>(),
                                                   std::move(heap));
    auto gain = [&](int v)
    {
        const size_t u = static_cast<size_t>(v);
        ++gained[u];
        if (queued[u])
        {
            return;
        }
        if (gained[u] >= jac.vars[u].cols)
        {
            queued[u] = 1;
            ready.push_back(v);
        }
        else
        {
            seeds.push({gained[u], -v});
        }
    };
    for (size_t r = 0; r < nr; ++r)
    {
        pending[r] = static_cast<int>(rowVars.End(r) - rowVars.Begin(r));
        if (pending[r] == 1)
        {
            gain(*rowVars.Begin(r));
        }
    }
    auto place = [&](int v)
    {
        placed[static_cast<size_t>(v)] = 1;
        queued[static_cast<size_t>(v)] = 1;
        order.push_back(v);
        for (const int* r = varRows.Begin(static_cast<size_t>(v));
             r != varRows.End(static_cast<size_t>(v)); ++r)
        {
            const size_t row = static_cast<size_t>(*r);
            if (--pending[row] == 1)
            {
                for (const int* u = rowVars.Begin(row); u != rowVars.End(row); ++u)
                {
                    if (!placed[static_cast<size_t>(*u)])
                    {
                        gain(*u);
                        break;
                    }
                }
            }
        }
    };
    while (order.size() < nv)
    {
        if (readyHead < ready.size())
        {
            place(ready[readyHead++]);
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

/// A row made by elimination: its entries, and the rows it was combined from (its parents),
/// in the shared pools. Parents, not relations: a row carried far would copy a long list of
/// relations at every step.
struct Derived
{
    int first = 0;
    int count = 0;
    double residual = 0.0;
    int parentFirst = 0;
    int parentCount = 0;
};

} // namespace

Elimination Eliminate(const Jacobian& jac, size_t maxDependent)
{
    Elimination out;
    const size_t nv = jac.vars.size();
    const size_t nOrig = jac.rows.size();

    // Which variables each row touches, and which rows each variable has.
    Lists rowVars;
    rowVars.start.reserve(nOrig + 1);
    rowVars.items.reserve(jac.entries.size());
    std::vector<int> varCount(nv + 1, 0);
    for (size_t r = 0; r < nOrig; ++r)
    {
        rowVars.start.push_back(static_cast<int>(rowVars.items.size()));
        const JacRow& row = jac.rows[r];
        int last = -1;
        for (const Entry* e = jac.Begin(row); e != jac.End(row); ++e)
        {
            const int v = jac.colVar[static_cast<size_t>(e->col)];
            if (v != last)
            {
                rowVars.items.push_back(v);
                ++varCount[static_cast<size_t>(v) + 1];
                last = v;
            }
        }
    }
    rowVars.start.push_back(static_cast<int>(rowVars.items.size()));
    Lists varRows;
    varRows.start.assign(nv + 1, 0);
    for (size_t v = 0; v < nv; ++v)
    {
        varRows.start[v + 1] = varRows.start[v] + varCount[v + 1];
    }
    varRows.items.resize(rowVars.items.size());
    {
        std::vector<int> fill(varRows.start.begin(), varRows.start.end() - 1);
        for (size_t r = 0; r < nOrig; ++r)
        {
            for (const int* v = rowVars.Begin(r); v != rowVars.End(r); ++v)
            {
                varRows.items[static_cast<size_t>(fill[static_cast<size_t>(*v)]++)] =
                    static_cast<int>(r);
            }
        }
    }
    std::vector<char> alive(nOrig, 1);
    // Rows combined into dependencies: the relations behind them are what may conflict.
    std::vector<int> roots;
    for (size_t r = 0; r < nOrig; ++r)
    {
        if (rowVars.Begin(r) == rowVars.End(r))
        {
            // A relation between given nodes: it only states a fact about them.
            ++out.dependencies;
            roots.push_back(static_cast<int>(r));
            alive[r] = 0;
        }
    }
    out.order = PlacingOrder(jac, rowVars, varRows);

    // Rows made by elimination get ids from nOrig on; extraRows lists them per variable.
    std::vector<Derived> derived;
    std::vector<Entry> derivedEntries;
    std::vector<int> parentPool;
    std::vector<std::vector<int>> extraRows(nv);
    auto entriesOf = [&](int id, const Entry*& b, const Entry*& e, double& residual)
    {
        if (static_cast<size_t>(id) < nOrig)
        {
            const JacRow& row = jac.rows[static_cast<size_t>(id)];
            b = jac.Begin(row);
            e = jac.End(row);
            residual = row.residual;
        }
        else
        {
            const Derived& d = derived[static_cast<size_t>(id) - nOrig];
            b = derivedEntries.data() + d.first;
            e = b + d.count;
            residual = d.residual;
        }
    };

    std::vector<int> block;
    std::vector<int> others;
    std::vector<double> dense;
    out.blocks.reserve(nv);
    out.perm.reserve(jac.colVar.size());
    for (auto it = out.order.rbegin(); it != out.order.rend(); ++it)
    {
        const int v = *it;
        const Variable& var = jac.vars[static_cast<size_t>(v)];
        const int first = var.firstCol;
        const int k = var.cols;
        block.clear();
        for (const int* r = varRows.Begin(static_cast<size_t>(v));
             r != varRows.End(static_cast<size_t>(v)); ++r)
        {
            if (alive[static_cast<size_t>(*r)])
            {
                block.push_back(*r);
            }
        }
        for (int r : extraRows[static_cast<size_t>(v)])
        {
            if (alive[static_cast<size_t>(r)])
            {
                block.push_back(r);
            }
        }
        PivotBlock pb;
        pb.var = v;
        pb.cols = k;
        pb.permFirst = static_cast<int>(out.perm.size());
        pb.ownFirst = static_cast<int>(out.own.size());
        pb.restFirst = static_cast<int>(out.restRows.size());
        for (int c = 0; c < k; ++c)
        {
            out.perm.push_back(first + c);
        }
        if (block.empty())
        {
            out.blocks.push_back(pb);
            continue;
        }
        int* perm = out.perm.data() + pb.permFirst;
        // Dense block: the variable's columns, the other columns the rows touch, the residual.
        others.clear();
        for (int r : block)
        {
            const Entry* b = nullptr;
            const Entry* e = nullptr;
            double residual = 0.0;
            entriesOf(r, b, e, residual);
            for (; b != e; ++b)
            {
                if (b->col < first || b->col >= first + k)
                {
                    others.push_back(b->col);
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
            const Entry* b = nullptr;
            const Entry* e = nullptr;
            double residual = 0.0;
            entriesOf(block[i], b, e, residual);
            for (; b != e; ++b)
            {
                size_t c = 0;
                if (b->col >= first && b->col < first + k)
                {
                    c = static_cast<size_t>(b->col - first);
                }
                else
                {
                    c = static_cast<size_t>(k) +
                        static_cast<size_t>(std::lower_bound(others.begin(), others.end(), b->col) -
                                            others.begin());
                }
                dense[i * width + c] = b->value;
            }
            dense[i * width + width - 1] = residual;
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
                double sum = 0.0;
                for (size_t i = j; i < m; ++i)
                {
                    sum += at(i, c) * at(i, c);
                }
                if (sum > bestNorm)
                {
                    bestNorm = sum;
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
                std::swap(perm[j], perm[best]);
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
                    double sum = v0 * at(j, c);
                    for (size_t i = j + 1; i < m; ++i)
                    {
                        sum += at(i, j) * at(i, c);
                    }
                    const double f = 2.0 * sum / vv;
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
                out.own.push_back(at(i, c));
            }
            const int restStart = static_cast<int>(out.restEntries.size());
            for (size_t c = 0; c < others.size(); ++c)
            {
                const double value = at(i, static_cast<size_t>(k) + c);
                if (std::fabs(value) > kDropTol)
                {
                    out.restEntries.push_back({others[c], value});
                }
            }
            out.restRows.push_back(
                {restStart, static_cast<int>(out.restEntries.size()) - restStart});
        }
        for (int r : block)
        {
            alive[static_cast<size_t>(r)] = 0;
        }
        // What the rows say beyond the pivots carries on to the variables placed earlier.
        const int parentFirst = static_cast<int>(parentPool.size());
        if (rank < m)
        {
            parentPool.insert(parentPool.end(), block.begin(), block.end());
        }
        for (size_t i = rank; i < m; ++i)
        {
            Derived d;
            d.residual = at(i, width - 1);
            d.first = static_cast<int>(derivedEntries.size());
            for (size_t c = 0; c < others.size(); ++c)
            {
                const double value = at(i, static_cast<size_t>(k) + c);
                if (std::fabs(value) > kRankTol)
                {
                    derivedEntries.push_back({others[c], value});
                }
            }
            d.count = static_cast<int>(derivedEntries.size()) - d.first;
            if (d.count == 0)
            {
                ++out.dependencies;
                roots.insert(roots.end(), block.begin(), block.end());
                continue;
            }
            d.parentFirst = parentFirst;
            d.parentCount = static_cast<int>(block.size());
            const int id = static_cast<int>(nOrig + derived.size());
            derived.push_back(d);
            alive.push_back(1);
            int last = -1;
            for (int e = d.first; e < d.first + d.count; ++e)
            {
                const int u =
                    jac.colVar[static_cast<size_t>(derivedEntries[static_cast<size_t>(e)].col)];
                if (u != last)
                {
                    extraRows[static_cast<size_t>(u)].push_back(id);
                    last = u;
                }
            }
        }
        out.blocks.push_back(pb);
    }

    // The relations behind the dependencies, found through the rows' parents.
    std::vector<char> seenRow(alive.size(), 0);
    std::vector<char> seenRel(jac.rels.size(), 0);
    while (!roots.empty())
    {
        const int r = roots.back();
        roots.pop_back();
        if (seenRow[static_cast<size_t>(r)])
        {
            continue;
        }
        seenRow[static_cast<size_t>(r)] = 1;
        if (static_cast<size_t>(r) >= nOrig)
        {
            const Derived& d = derived[static_cast<size_t>(r) - nOrig];
            roots.insert(roots.end(), parentPool.begin() + d.parentFirst,
                         parentPool.begin() + d.parentFirst + d.parentCount);
            continue;
        }
        const int rel = jac.rows[static_cast<size_t>(r)].relation;
        if (!seenRel[static_cast<size_t>(rel)])
        {
            if (out.dependentRelations.size() >= maxDependent)
            {
                out.dependentRelationsComplete = false;
                break;
            }
            seenRel[static_cast<size_t>(rel)] = 1;
            out.dependentRelations.push_back(rel);
        }
    }
    std::sort(out.dependentRelations.begin(), out.dependentRelations.end());
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
        const int k = pb.cols;
        const int* perm = elim.perm.data() + pb.permFirst;
        const double* own = elim.own.data() + pb.ownFirst;
        for (int s = 0; s < kSamples; ++s)
        {
            double* xs = &x[static_cast<size_t>(s) * static_cast<size_t>(jac.Cols())];
            for (int c = pb.rank; c < k; ++c)
            {
                xs[perm[c]] = next();
            }
            for (int i = pb.rank - 1; i >= 0; --i)
            {
                double sum = 0.0;
                const auto [restFirst, restCount] =
                    elim.restRows[static_cast<size_t>(pb.restFirst + i)];
                for (int e = restFirst; e < restFirst + restCount; ++e)
                {
                    const Entry& entry = elim.restEntries[static_cast<size_t>(e)];
                    sum += entry.value * xs[entry.col];
                }
                for (int c = i + 1; c < k; ++c)
                {
                    sum += own[i * k + c] * xs[perm[c]];
                }
                xs[perm[i]] = -sum / own[i * k + i];
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
