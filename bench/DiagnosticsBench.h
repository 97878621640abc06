// The diagnostics table of the benchmark (qsolver_bench --diagnostics).
#pragma once

#include <cstddef>
#include <string>

namespace qsolver::bench
{

/// Prints one row per family and size; returns 1 when the count disagrees with the plain rank.
int RunDiagnosticsBench(const std::string& family, size_t maxNodes);

} // namespace qsolver::bench
