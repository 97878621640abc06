// The other solver's side of the benchmark: the same geometry and the same dimension change,
// solved with its Slvs_Solve, the fixed geometry in a group of its own.
#pragma once

#include "Families.h"
#include "Timing.h"

#include <string>
#include <vector>

namespace qsolver::bench
{

/// Result of a system the library cannot take at all (it would abort the process).
const int kNotCalled = -2;

struct SlvsRun
{
    int result = -1;  // the library's result code
    int unknowns = 0; // parameters of the solved group
    double ms = 0.0;  // median time of one Slvs_Solve
    int runs = 0;
    std::vector<Node> solved; // geometry after the last run
};

/// Number of parameters the solved group would have, without building the system.
int SlvsUnknowns(const Family& f);

/// Solves the family from its initial geometry as often as the policy says and reports the
/// median time.
SlvsRun SolveWithSlvs(const Family& f, const RunPolicy& policy);

/// The library's name for its result code.
std::string SlvsResultName(int result);

} // namespace qsolver::bench
