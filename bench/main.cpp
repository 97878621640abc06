// qsolver_bench: the side-by-side benchmark. Re-solves each sketch family at sizes from ten to
// a hundred thousand nodes after one dimension change, with our drive pass and with the other
// solver library, and prints one Markdown table row per family and size.
#include "Families.h"
#include "QsolverSide.h"
#include "SlvsSide.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace qsolver::bench
{
namespace
{

// The other library refuses systems with more unknowns than this.
const int kSlvsMaxUnknowns = 2048;
// Sizes whose one solve the other library would take longer than this over are skipped.
const double kSlvsSolveLimitMs = 30000.0;
// Estimates grow with the cube of the unknowns from the last size of the family, once that
// took at least this long (below it fixed costs dominate and a cube would mislead).
const double kSlvsEstimateFromMs = 100.0;
// Its runs at one size stop once they took this long in all (at least one run).
const double kSlvsBudgetMs = 45000.0;
const int kMinRuns = 5;
// Our runs go on past kMinRuns until they took this long, for a steadier median.
const double kOurMinTotalMs = 300.0;
// Generated sketches must satisfy every relation to this before anything is solved.
const double kInitialTolerance = 1e-9;

struct Size
{
    const char* family;
    int parameter; // points, cells per side, crossings or links
};

// Parameters that give about 10, 100, 1,000, 10,000 and 100,000 nodes per family.
const Size kSizes[] = {
    {"truss", 10},  {"truss", 100},  {"truss", 1000},  {"truss", 10000},  {"truss", 100000},
    {"grid", 3},    {"grid", 10},    {"grid", 32},     {"grid", 100},     {"grid", 316},
    {"frame", 4},   {"frame", 34},   {"frame", 334},   {"frame", 3334},   {"frame", 33334},
    {"linkage", 3}, {"linkage", 33}, {"linkage", 333}, {"linkage", 3333}, {"linkage", 33333},
};

struct Options
{
    std::string family;    // empty: all
    size_t maxNodes = 0;   // 0: no limit
    bool withOther = true; // run the other library too
};

void Usage()
{
    std::fprintf(stderr, "usage: qsolver_bench [--family NAME] [--max-nodes N] [--no-other]\n"
                         "  NAME is truss, grid, frame or linkage\n");
}

bool ParseOptions(int argc, char** argv, Options& o)
{
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--family") == 0 && i + 1 < argc)
        {
            o.family = argv[++i];
        }
        else if (std::strcmp(argv[i], "--max-nodes") == 0 && i + 1 < argc)
        {
            o.maxNodes = static_cast<size_t>(std::strtoul(argv[++i], nullptr, 10));
        }
        else if (std::strcmp(argv[i], "--no-other") == 0)
        {
            o.withOther = false;
        }
        else
        {
            return false;
        }
    }
    return true;
}

/// The generators' promise: the initial geometry satisfies every relation.
bool CheckInitial(const Family& f)
{
    for (const Relation& r : f.relations)
    {
        if (r.kind != RelKind::Fix && !(RelationError(f.nodes, r, r.value) <= kInitialTolerance))
        {
            std::fprintf(stderr,
                         "qsolver_bench: %s with %zu nodes does not satisfy its relations\n",
                         f.name.c_str(), f.nodes.size());
            return false;
        }
    }
    return true;
}

std::string Ms(double ms)
{
    char buf[32];
    if (ms < 1.0)
    {
        std::snprintf(buf, sizeof(buf), "%.4f", ms);
    }
    else if (ms < 100.0)
    {
        std::snprintf(buf, sizeof(buf), "%.2f", ms);
    }
    else
    {
        std::snprintf(buf, sizeof(buf), "%.0f", ms);
    }
    return buf;
}

std::string Err(double e)
{
    char buf[32];
    std::snprintf(buf, sizeof(buf), "%.1e", e);
    return buf;
}

struct SlvsHistory
{
    int unknowns = 0;
    double ms = 0.0;
};

int Run(const Options& o)
{
    std::printf("| family | nodes | relations | analysis (ms) | drive (ms) | other (ms) | other / "
                "drive | our result | other result | our max error | other max error | our "
                "flips | other flips |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---|---|---:|---:|---:|---:|\n");
    std::fflush(stdout);
    std::map<std::string, SlvsHistory> history;
    int bad = 0;
    for (const Size& size : kSizes)
    {
        if (!o.family.empty() && o.family != size.family)
        {
            continue;
        }
        Family f = MakeFamily(size.family, size.parameter);
        if (o.maxNodes && f.nodes.size() > o.maxNodes)
        {
            continue;
        }
        if (!CheckInitial(f))
        {
            return 2;
        }

        OurRun ours = SolveWithQsolver(f, kMinRuns, kOurMinTotalMs);
        double ourErr = MaxRelationError(f, ours.solved);
        int ourFlips = FlippedTriangles(f, ours.solved);
        std::string ourResult = ours.result == 1 ? "solved" : "failed: " + ours.failedStep;
        if (ours.result != 1)
        {
            ++bad;
        }

        std::string other = "-";
        std::string ratio = "-";
        std::string otherResult = "not run";
        std::string otherErr = "-";
        std::string otherFlips = "-";
        int unknowns = SlvsUnknowns(f);
        SlvsHistory& last = history[f.name];
        double predicted =
            last.ms >= kSlvsEstimateFromMs
                ? last.ms * std::pow(static_cast<double>(unknowns) / last.unknowns, 3.0)
                : 0.0;
        if (o.withOther && unknowns <= kSlvsMaxUnknowns && predicted > kSlvsSolveLimitMs)
        {
            otherResult = "skipped: one solve estimated at " + Ms(predicted / 1000.0) + " s";
        }
        else if (o.withOther)
        {
            SlvsRun theirs = SolveWithSlvs(f, kMinRuns, kSlvsBudgetMs);
            otherResult = SlvsResultName(theirs.result);
            if (theirs.result == kNotCalled || theirs.result == 3)
            {
                // Refused: either by its answer or because it cannot take the system at all.
                char buf[96];
                std::snprintf(buf, sizeof(buf), "refused (%d unknowns > %d): %s", unknowns,
                              kSlvsMaxUnknowns, otherResult.c_str());
                otherResult = buf;
            }
            else
            {
                last.unknowns = unknowns;
                last.ms = theirs.ms;
                other = Ms(theirs.ms);
                if (ours.ms > 0.0)
                {
                    char buf[32];
                    std::snprintf(buf, sizeof(buf), "%.0fx", theirs.ms / ours.ms);
                    ratio = buf;
                }
                if (theirs.runs < kMinRuns)
                {
                    otherResult += " (" + std::to_string(theirs.runs) + " runs)";
                }
                otherErr = Err(MaxRelationError(f, theirs.solved));
                otherFlips = std::to_string(FlippedTriangles(f, theirs.solved));
            }
        }

        std::printf("| %s | %zu | %zu | %s | %s | %s | %s | %s | %s | %s | %s | %d | %s |\n",
                    f.name.c_str(), f.nodes.size(), f.relations.size(), Ms(ours.analysisMs).c_str(),
                    Ms(ours.ms).c_str(), other.c_str(), ratio.c_str(),
                    (ourResult + ", " + ours.analysis).c_str(), otherResult.c_str(),
                    Err(ourErr).c_str(), otherErr.c_str(), ourFlips, otherFlips.c_str());
        std::fflush(stdout);
    }
    std::printf("\nTimes are medians of at least %d runs on fresh sketches (monotonic clock). "
                "Drive: the whole host drive sequence with backups; other: one solve with the "
                "fixed geometry in a group of its own. Errors: the largest relation error after "
                "the solve; flips: triangles whose orientation changed.\n",
                kMinRuns);
    return bad ? 1 : 0;
}

} // namespace
} // namespace qsolver::bench

int main(int argc, char** argv)
{
    qsolver::bench::Options o;
    if (!qsolver::bench::ParseOptions(argc, argv, o))
    {
        qsolver::bench::Usage();
        return 2;
    }
    return qsolver::bench::Run(o);
}
