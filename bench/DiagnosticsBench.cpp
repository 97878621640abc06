// The diagnostics rows of the benchmark: freedoms, statuses and dependencies of each family at
// 1k, 10k and 100k nodes, against the plain sparse QR of the whole Jacobian where that is
// affordable.
#include "DiagnosticsBench.h"

#include "Families.h"
#include "HostSketch.h"
#include "Timing.h"

#include "qsolver/Diagnostics.h"

#include <cstdio>
#include <memory>
#include <string>

namespace qsolver::bench
{

namespace
{

struct DiagnosticsSize
{
    const char* family;
    int parameter;
};

const DiagnosticsSize kDiagnosticsSizes[] = {
    {"truss", 1000},  {"truss", 10000}, {"truss", 100000}, {"grid", 32},
    {"grid", 100},    {"grid", 316},    {"frame", 334},    {"frame", 3334},
    {"frame", 33334}, {"linkage", 333}, {"linkage", 3333}, {"linkage", 33333},
};

// The plain sparse QR grows far worse than linearly on these Jacobians (about 1 s for a 1k
// truss on this machine): it runs up to here.
const size_t kPlainMaxNodes = 1100;

std::string Cell(double ms)
{
    char buf[32];
    std::snprintf(buf, sizeof(buf), ms < 1.0 ? "%.3f" : ms < 100.0 ? "%.2f" : "%.0f", ms);
    return buf;
}

} // namespace

int RunDiagnosticsBench(const std::string& family, size_t maxNodes, bool withPlain)
{
    std::printf("| family | nodes | relations | diagnose (ms) | plain sparse QR (ms) | dof | "
                "plain dof | conflicting | redundant |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---:|---:|\n");
    int bad = 0;
    for (const DiagnosticsSize& size : kDiagnosticsSizes)
    {
        if (!family.empty() && family != size.family)
        {
            continue;
        }
        const Family f = MakeFamily(size.family, size.parameter);
        if (maxNodes != 0 && f.nodes.size() > maxNodes)
        {
            continue;
        }
        std::unique_ptr<qsolver::Sketch> sketch = BuildHostSketch(f);
        RunPolicy policy;
        std::vector<double> times;
        double spent = 0.0;
        qsolver::Diagnostics d;
        while (policy.More(static_cast<int>(times.size()), spent))
        {
            Stopwatch watch;
            d = qsolver::Diagnose(*sketch);
            const double ms = watch.Ms();
            times.push_back(ms);
            spent += ms;
        }
        std::string plainCell = "skipped";
        std::string plainDof = "-";
        if (withPlain && f.nodes.size() <= kPlainMaxNodes)
        {
            Stopwatch watch;
            const int dof = qsolver::CountFreedomsPlain(*sketch, qsolver::RankMethod::SparseQR);
            plainCell = Cell(watch.Ms());
            plainDof = std::to_string(dof);
            bad += dof != d.dof ? 1 : 0;
        }
        std::printf("| %s | %zu | %zu | %s | %s | %d | %s | %zu | %zu |\n", f.name.c_str(),
                    f.nodes.size(), f.relations.size(), Cell(Median(times)).c_str(),
                    plainCell.c_str(), d.dof, plainDof.c_str(), d.conflicting.size(),
                    d.redundant.size());
        std::fflush(stdout);
    }
    std::printf("\nDiagnose: the median of repeated runs on one sketch (it leaves the sketch as it "
                "was). Plain: one run of Eigen's SparseQR with COLAMD on the whole Jacobian, the "
                "cross-check of the count.\n");
    return bad ? 1 : 0;
}

} // namespace qsolver::bench
