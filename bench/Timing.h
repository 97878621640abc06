// A monotonic stopwatch and the median the benchmark reports.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace qsolver::bench
{

class Stopwatch
{
public:
    Stopwatch() : m_start(std::chrono::steady_clock::now()) {}
    double Ms() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - m_start)
            .count();
    }

private:
    std::chrono::steady_clock::time_point m_start;
};

/// How many times to repeat a timed step: at least minRuns, more while the runs so far took less
/// than steadyMs (small sketches need many for a steady median, and on a shared machine a
/// few runs of a large one can all fall in a busy spell of a neighbour), and no more once they took
/// budgetMs (at least one run), so that a step that grows badly cannot hold the benchmark up.
struct RunPolicy
{
    int minRuns = 5;
    int maxRuns = 1001;
    double steadyMs = 1000.0;
    double budgetMs = 30000.0;

    bool More(int runs, double spentMs) const
    {
        if (runs >= 1 && spentMs > budgetMs)
        {
            return false;
        }
        return runs < minRuns || (spentMs < steadyMs && runs < maxRuns);
    }
};

inline double Median(std::vector<double> v)
{
    if (v.empty())
    {
        return 0.0;
    }
    std::sort(v.begin(), v.end());
    size_t h = v.size() / 2;
    return v.size() % 2 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

} // namespace qsolver::bench
