// Work over the corpus split between processes: the solver keeps its chains in globals, so
// the edits are shared out to forked workers rather than threads.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace qsolver::corpus
{

/// Calls work(i) for every i below count, spread over `jobs` processes (worker k takes i with
/// i % jobs == k), and returns each call's text in order of i. A call whose process died leaves
/// its text empty. Returns false when a process could not be started.
bool ForEachForked(size_t count, int jobs, const std::function<std::string(size_t, int)>& work,
                   std::vector<std::string>& out);

} // namespace qsolver::corpus
