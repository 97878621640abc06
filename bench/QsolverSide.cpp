// Our side: each family becomes a host sketch, analysed and driven through the host layer
// exactly as a host runs the passes.
#include "QsolverSide.h"

#include "Timing.h"

#include "HostSketch.h"

#include "SketchDrive.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qsolver::bench
{

namespace
{

// Enough runs for a steady median of the smallest sketches.
const int kMaxRuns = 1001;

std::string AnalysisWord(const host::AnalysisResult& a)
{
    switch (a.verdict)
    {
        case host::Verdict::Ok:
            return std::to_string(a.clusters.size()) +
                   (a.clusters.size() == 1 ? " cluster" : " clusters");
        case host::Verdict::OverConstrained:
        case host::Verdict::FixedContradiction:
        case host::Verdict::SeedContradiction:
            break;
    }
    return host::VerdictText(a.verdict);
}

} // namespace

OurRun SolveWithQsolver(const Family& f, int minRuns, double minTotalMs)
{
    OurRun out;
    std::vector<double> analysis;
    std::vector<double> drive;
    double spent = 0.0;
    const std::vector<std::pair<std::string, double>> changes = HostChanges(f);
    while (static_cast<int>(drive.size()) < minRuns ||
           (spent < minTotalMs && static_cast<int>(drive.size()) < kMaxRuns))
    {
        // Fresh state per run: a new sketch at the initial geometry.
        std::unique_ptr<host::Sketch> sketch = BuildHostSketch(f);

        Stopwatch analysisWatch;
        host::AnalysisResult verdict = sketch->Analyse();
        analysis.push_back(analysisWatch.Ms());

        Stopwatch driveWatch;
        host::DriveResult result = sketch->Drive(changes);
        double ms = driveWatch.Ms();

        drive.push_back(ms);
        spent += ms;
        out.analysis = AnalysisWord(verdict);
        out.result = result.IsOk() ? 1 : 0;
        out.failedStep = result.IsOk() ? "" : host::DriveStepText(result.failed);
        out.solved = ReadHostSketch(f, *sketch);
    }
    out.runs = static_cast<int>(drive.size());
    out.analysisMs = Median(analysis);
    out.ms = Median(drive);
    return out;
}

} // namespace qsolver::bench
