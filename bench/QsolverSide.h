// Our side of the benchmark: the family as a host sketch, the analysis sequence and the drive
// sequence of one dimension change, each timed as a host runs it.
#pragma once

#include "Families.h"
#include "Timing.h"

#include <string>
#include <vector>

namespace qsolver::bench
{

struct OurAnalysis
{
    std::string verdict; // in a few words
    double ms = 0.0;     // median time of the analysis sequence
    int runs = 0;
};

struct OurDrive
{
    int result = -1;        // 1 re-solved, 0 failed
    std::string failedStep; // what failed, when it did
    std::string strategy;   // what solved it, and in how many steps when more than one
    double ms = 0.0;        // median time of the whole drive sequence
    int runs = 0;
    std::vector<Node> solved; // geometry after the last drive
};

/// Times the host's analysis sequence, each run on a fresh sketch.
OurAnalysis AnalyseWithQsolver(const Family& f, const RunPolicy& policy);

/// Times the host's drive sequence of the family's dimension change, each run on a fresh
/// sketch.
OurDrive DriveWithQsolver(const Family& f, const RunPolicy& policy);

} // namespace qsolver::bench
