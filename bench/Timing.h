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
