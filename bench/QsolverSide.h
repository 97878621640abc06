// Our side of the benchmark: the family as a host sketch, the analysis sequence and the drive
// sequence of one dimension change, each timed as a host runs it.
#pragma once

#include "Families.h"

#include <string>
#include <vector>

namespace qsolver::bench
{

struct OurRun
{
    std::string analysis; // the analysis verdict, in a word
    double analysisMs = 0.0;
    int result = -1;        // the drive sequence's result: 1 re-solved, 0 failed
    std::string failedStep; // what failed, when it did
    double ms = 0.0;        // median time of the whole drive sequence
    int runs = 0;
    std::vector<Node> solved; // geometry after the last drive
};

/// Runs the analysis and the drive sequence at least minRuns times each, every run on a fresh
/// sketch, and more while the drives so far took less than minTotalMs in all.
OurRun SolveWithQsolver(const Family& f, int minRuns, double minTotalMs);

} // namespace qsolver::bench
