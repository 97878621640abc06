// The diagnostics table of the benchmark (qsolver_bench --diagnostics).
#pragma once

#include <cstddef>
#include <string>

namespace qsolver::bench
{

/// Prints one row per family and size (with the plain rank unless `withPlain` is false);
/// returns 1 when the count disagrees with the plain rank.
int RunDiagnosticsBench(const std::string& family, size_t maxNodes, bool withPlain);

} // namespace qsolver::bench
