// Our side: each family becomes a host sketch, analysed and driven through the host layer
// exactly as a host runs the passes.
#include "QsolverSide.h"

#include "Timing.h"

#include "HostSketch.h"

#include "qsolver/SketchDrive.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qsolver::bench
{

namespace
{

std::string AnalysisWord(const qsolver::AnalysisResult& a)
{
    switch (a.verdict)
    {
        case qsolver::Verdict::Ok:
            return std::to_string(a.clusters.size()) +
                   (a.clusters.size() == 1 ? " cluster" : " clusters");
        case qsolver::Verdict::OverConstrained:
        case qsolver::Verdict::FixedContradiction:
        case qsolver::Verdict::SeedContradiction:
            break;
    }
    return qsolver::VerdictText(a.verdict);
}

} // namespace

OurAnalysis AnalyseWithQsolver(const Family& f, const RunPolicy& policy)
{
    OurAnalysis out;
    std::vector<double> times;
    double spent = 0.0;
    while (policy.More(static_cast<int>(times.size()), spent))
    {
        // Fresh state per run: a new sketch at the initial geometry.
        std::unique_ptr<qsolver::Sketch> sketch = BuildHostSketch(f);

        Stopwatch watch;
        qsolver::AnalysisResult verdict = sketch->Analyse();
        double ms = watch.Ms();

        times.push_back(ms);
        spent += ms;
        out.verdict = AnalysisWord(verdict);
    }
    out.runs = static_cast<int>(times.size());
    out.ms = Median(times);
    return out;
}

OurDrive DriveWithQsolver(const Family& f, const RunPolicy& policy)
{
    OurDrive out;
    std::vector<double> times;
    double spent = 0.0;
    const std::vector<std::pair<std::string, double>> changes = HostChanges(f);
    while (policy.More(static_cast<int>(times.size()), spent))
    {
        // The analysis leaves a sketch as it found it, so a freshly built sketch is the state
        // a host drives from.
        std::unique_ptr<qsolver::Sketch> sketch = BuildHostSketch(f);

        Stopwatch watch;
        qsolver::DriveResult result = sketch->Drive(changes);
        double ms = watch.Ms();

        times.push_back(ms);
        spent += ms;
        out.result = result.IsOk() ? 1 : 0;
        out.failedStep = result.IsOk() ? "" : qsolver::DriveStepText(result.failed);
        out.strategy = qsolver::DriveStrategyText(result.strategy);
        if (result.steps > 1)
        {
            out.strategy += ", " + std::to_string(result.steps) + " steps";
        }
        out.solved = ReadHostSketch(f, *sketch);
    }
    out.runs = static_cast<int>(times.size());
    out.ms = Median(times);
    return out;
}

} // namespace qsolver::bench
