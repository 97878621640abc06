// qsolver_bench: the side-by-side benchmark. Re-solves each sketch family at sizes from ten to
// a hundred thousand nodes after one dimension change, with our drive pass and with the other
// solver library, and prints one Markdown table row per family and size.
#include "DiagnosticsBench.h"
#include "Families.h"
#include "QsolverSide.h"
#include "SlvsSide.h"

#include <algorithm>
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
// Its runs at one size stop once they took this long in all (at least one run).
const double kSlvsBudgetMs = 45000.0;
// Our steps are skipped where one run would take longer than this, and their runs at one size
// stop once they took kOurBudgetMs in all.
const double kOurStepLimitMs = 60000.0;
const double kOurBudgetMs = 30000.0;
const int kMinRuns = 5;
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
    std::string family;       // empty: all
    size_t maxNodes = 0;      // 0: no limit
    bool withOther = true;    // run the other library too
    bool diagnostics = false; // the diagnostics table instead of the drive table
    double stepLimitMs = kOurStepLimitMs;
};

void Usage()
{
    std::fprintf(
        stderr,
        "usage: qsolver_bench [--family NAME] [--max-nodes N] [--no-other] [--diagnostics]\n"
        "                     [--step-limit SECONDS]\n"
        "  NAME is truss, grid, frame or linkage. Our steps estimated to take longer than\n"
        "  the step limit (60 s) are skipped. Exit status 1 when our drive\n"
        "  failed to re-solve a sketch, 2 on bad arguments.\n");
}

bool ParseOptions(int argc, char** argv, Options& o)
{
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--family") == 0 && i + 1 < argc)
        {
            o.family = argv[++i];
            if (o.family != "truss" && o.family != "grid" && o.family != "frame" &&
                o.family != "linkage")
            {
                return false;
            }
        }
        else if (std::strcmp(argv[i], "--max-nodes") == 0 && i + 1 < argc)
        {
            o.maxNodes = static_cast<size_t>(std::strtoul(argv[++i], nullptr, 10));
        }
        else if (std::strcmp(argv[i], "--no-other") == 0)
        {
            o.withOther = false;
        }
        else if (std::strcmp(argv[i], "--step-limit") == 0 && i + 1 < argc)
        {
            o.stepLimitMs = 1000.0 * std::strtod(argv[++i], nullptr);
        }
        else if (std::strcmp(argv[i], "--diagnostics") == 0)
        {
            o.diagnostics = true;
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

/// A note on a median of fewer runs than asked for (a step over its time budget).
std::string Runs(int runs)
{
    if (runs >= kMinRuns)
    {
        return "";
    }
    return runs == 1 ? " (1 run)" : " (" + std::to_string(runs) + " runs)";
}

std::string Err(double e)
{
    char buf[32];
    std::snprintf(buf, sizeof(buf), "%.1e", e);
    return buf;
}

/// Estimates a step's time at a new size from the last two sizes of its family: the growth
/// measured between them (from 1 to 3 in the exponent), cubic when only one size is known.
class Estimator
{
public:
    void Record(double size, double ms)
    {
        m_prevSize = m_size;
        m_prevMs = m_ms;
        m_size = size;
        m_ms = ms;
    }

    double Estimate(double size) const
    {
        // Below this fixed costs dominate and growth cannot be told; a step this fast at one
        // size is run at the next one whatever its growth.
        const double measurableMs = 100.0;
        if (m_ms < measurableMs)
        {
            return 0.0;
        }
        double exponent = 3.0;
        if (m_prevMs >= 1.0)
        {
            exponent = std::log(m_ms / m_prevMs) / std::log(m_size / m_prevSize);
            exponent = std::min(3.0, std::max(1.0, exponent));
        }
        return m_ms * std::pow(size / m_size, exponent);
    }

private:
    double m_prevSize = 0.0;
    double m_prevMs = 0.0;
    double m_size = 0.0;
    double m_ms = 0.0;
};

struct History
{
    Estimator analysis;
    Estimator drive;
    Estimator slvs;
};

std::string Skipped(double estimateMs)
{
    char buf[64];
    std::snprintf(buf, sizeof(buf), "skipped (one run est. %.0f s)", estimateMs / 1000.0);
    return buf;
}

int Run(const Options& o)
{
    std::printf("| family | nodes | relations | analysis (ms) | drive (ms) | other (ms) | other / "
                "drive | our result | other result | our max error | other max error | our "
                "flips | other flips |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---|---|---:|---:|---:|---:|\n");
    std::fflush(stdout);
    std::map<std::string, History> history;
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

        RunPolicy ourPolicy;
        ourPolicy.minRuns = kMinRuns;
        ourPolicy.budgetMs = kOurBudgetMs;
        History& hist = history[f.name];
        const double nodes = static_cast<double>(f.nodes.size());

        std::string analysisCell;
        std::string verdict;
        double analysisEstimate = hist.analysis.Estimate(nodes);
        if (analysisEstimate > o.stepLimitMs)
        {
            analysisCell = Skipped(analysisEstimate);
            verdict = "analysis skipped";
        }
        else
        {
            OurAnalysis analysis = AnalyseWithQsolver(f, ourPolicy);
            hist.analysis.Record(nodes, analysis.ms);
            analysisCell = Ms(analysis.ms) + Runs(analysis.runs);
            verdict = analysis.verdict;
        }

        std::string driveCell;
        std::string ourResult;
        std::string ourErr = "-";
        std::string ourFlips = "-";
        OurDrive ours;
        double driveEstimate = hist.drive.Estimate(nodes);
        if (driveEstimate > o.stepLimitMs)
        {
            driveCell = Skipped(driveEstimate);
            ourResult = "not run";
        }
        else
        {
            ours = DriveWithQsolver(f, ourPolicy);
            hist.drive.Record(nodes, ours.ms);
            driveCell = Ms(ours.ms) + Runs(ours.runs);
            ourResult =
                ours.result == 1 ? "solved (" + ours.strategy + ")" : "failed: " + ours.failedStep;
            ourErr = Err(MaxRelationError(f, ours.solved));
            ourFlips = std::to_string(FlippedTriangles(f, ours.solved));
            if (ours.result != 1)
            {
                ++bad;
            }
        }

        std::string other = "-";
        std::string ratio = "-";
        std::string otherResult = "not run";
        std::string otherErr = "-";
        std::string otherFlips = "-";
        const int unknowns = SlvsUnknowns(f);
        double slvsEstimate = hist.slvs.Estimate(unknowns);
        if (o.withOther && unknowns <= kSlvsMaxUnknowns && slvsEstimate > kSlvsSolveLimitMs)
        {
            other = Skipped(slvsEstimate);
        }
        else if (o.withOther)
        {
            RunPolicy slvsPolicy;
            slvsPolicy.minRuns = kMinRuns;
            slvsPolicy.steadyMs = 0.0;
            slvsPolicy.budgetMs = kSlvsBudgetMs;
            SlvsRun theirs = SolveWithSlvs(f, slvsPolicy);
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
                hist.slvs.Record(unknowns, theirs.ms);
                other = Ms(theirs.ms) + Runs(theirs.runs);
                // A speed ratio means something only where both re-solved the sketch.
                if (ours.result == 1 && theirs.result == 0 && ours.ms > 0.0)
                {
                    double r = theirs.ms / ours.ms;
                    char buf[32];
                    std::snprintf(buf, sizeof(buf), r < 10.0 ? "%.2fx" : "%.0fx", r);
                    ratio = buf;
                }
                otherErr = Err(MaxRelationError(f, theirs.solved));
                otherFlips = std::to_string(FlippedTriangles(f, theirs.solved));
            }
        }

        std::printf("| %s | %zu | %zu | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n",
                    f.name.c_str(), f.nodes.size(), f.relations.size(), analysisCell.c_str(),
                    driveCell.c_str(), other.c_str(), ratio.c_str(),
                    (ourResult + "; " + verdict).c_str(), otherResult.c_str(), ourErr.c_str(),
                    otherErr.c_str(), ourFlips.c_str(), otherFlips.c_str());
        std::fflush(stdout);
    }
    std::printf("\nTimes are medians of %d runs or more on fresh sketches (monotonic clock), of "
                "fewer where noted because a step took over its time budget. Analysis and "
                "drive: the host's whole sequences, backups included; other: one Slvs_Solve "
                "with the fixed geometry in a group of its own. Relations count the fixes. "
                "Errors: the largest relation error after the solve; flips: triangles whose "
                "orientation changed.\n",
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
    if (o.diagnostics)
    {
        return qsolver::bench::RunDiagnosticsBench(o.family, o.maxNodes, o.withOther);
    }
    return qsolver::bench::Run(o);
}
