// Our side: each family becomes a host sketch, analysed and driven through the host layer
// exactly as a host runs the passes.
#include "QsolverSide.h"

#include "Timing.h"

#include "Sketch.h"
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

std::string NodeId(size_t i)
{
    return "n" + std::to_string(i);
}
std::string RelId(size_t i)
{
    return "r" + std::to_string(i);
}

std::unique_ptr<host::Sketch> Build(const Family& f)
{
    auto sketch = std::make_unique<host::Sketch>();
    // Number nodes, relations and values from scratch, as a host does for a fresh sketch.
    sktInitCountNum();
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        const Node& n = f.nodes[i];
        if (n.isLine)
        {
            sketch->AddLine(NodeId(i), n.x, n.y, n.dx, n.dy);
        }
        else
        {
            sketch->AddPoint(NodeId(i), n.x, n.y);
        }
    }
    for (size_t i = 0; i < f.relations.size(); ++i)
    {
        const Relation& r = f.relations[i];
        host::ValueSpec v = host::ValueSpec::Own(r.value);
        switch (r.kind)
        {
            case RelKind::Fix:
                sketch->AddFix(RelId(i), NodeId(r.a));
                break;
            case RelKind::PPdis:
                sketch->AddPPdis(RelId(i), NodeId(r.a), NodeId(r.b), v);
                break;
            case RelKind::PLdis:
                sketch->AddPLdis(RelId(i), NodeId(r.a), NodeId(r.b), v);
                break;
            case RelKind::LLdis:
                sketch->AddLLdis(RelId(i), NodeId(r.a), NodeId(r.b), v);
                break;
            case RelKind::LLang:
                sketch->AddLLang(RelId(i), NodeId(r.a), NodeId(r.b), v);
                break;
        }
    }
    return sketch;
}

std::vector<Node> ReadBack(const Family& f, host::Sketch& sketch)
{
    std::vector<Node> out = f.nodes;
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        if (f.nodes[i].isLine)
        {
            const MATHLINE& l = sketch.FindLine(NodeId(i))->m_Line;
            out[i].x = l.m_ThroughPoint.x;
            out[i].y = l.m_ThroughPoint.y;
            out[i].dx = l.m_Direction.x;
            out[i].dy = l.m_Direction.y;
        }
        else
        {
            const XYZ& p = sketch.FindPoint(NodeId(i))->m_Pos;
            out[i].x = p.x;
            out[i].y = p.y;
        }
    }
    return out;
}

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
    const std::vector<std::pair<std::string, double>> changes = {
        {RelId(static_cast<size_t>(f.changed)), f.newValue}};
    while (static_cast<int>(drive.size()) < minRuns ||
           (spent < minTotalMs && static_cast<int>(drive.size()) < kMaxRuns))
    {
        // Fresh state per run: a new sketch at the initial geometry.
        std::unique_ptr<host::Sketch> sketch = Build(f);

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
        out.solved = ReadBack(f, *sketch);
    }
    out.runs = static_cast<int>(drive.size());
    out.analysisMs = Median(analysis);
    out.ms = Median(drive);
    return out;
}

} // namespace qsolver::bench
