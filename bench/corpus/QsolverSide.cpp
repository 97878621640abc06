// Qsolver's side: the Sketch API exactly as qsketch drives a file, and its drag.
#include "Sides.h"

#include "QsolverDrag.h"

#include "../Timing.h"

#include "qsolver/Sketch.h"
#include "qsolver/SketchDrive.h"

#include <cmath>

namespace qsolver::corpus
{

namespace
{

// A drag reached its target when the point ends within this share of the sketch's size.
const double kReachShare = 1e-6;
// A drag needs a point that the edit moves by more than this share of the sketch's size.
const double kMovedShare = 1e-3;

// The clusters of a drive stay in the solver's chains until the next pass; a host that has read
// its results releases them (as qsketch does).
void ReleaseClusters()
{
    for (CClusterList* chain : {&g_sktClusterChain, &g_sktGoodClusterChain})
    {
        POSITION pos = chain->GetHeadPosition();
        while (pos != nullptr)
        {
            delete chain->GetNext(pos);
        }
        chain->RemoveAll();
    }
}

// A fresh sketch from the document, numbered from scratch as a host numbers a new sketch.
bool Build(const SketchDoc& doc, const std::string& name, Sketch& sketch, SketchSnapshot& built,
           std::string& error)
{
    sktInitCountNum();
    InputError e;
    if (!BuildSketch(doc, name, sketch, built, e))
    {
        error = e.Text();
        return false;
    }
    return true;
}

double SolverValue(const SketchDoc& doc, int relation, double value)
{
    return doc.relations[static_cast<size_t>(relation)].type == DocRelType::LLang
               ? AngleToRadians(doc, value)
               : value;
}

} // namespace

void CountStep(DragRun& r, const Judgement& j)
{
    switch (j.outcome)
    {
        case Outcome::Solved:
            ++r.solved;
            return;
        case Outcome::Failed:
            ++r.failed;
            break;
        case Outcome::Flipped:
            ++r.flipped;
            break;
        case Outcome::Wrong:
            ++r.wrong;
            break;
    }
    if (r.detail.empty())
    {
        r.detail = std::string(OutcomeText(j.outcome)) + (j.detail.empty() ? "" : ": ") + j.detail;
    }
}

bool ReachedTarget(const DragCase& drag, const SketchDoc& doc)
{
    const DocNode& p = doc.nodes[static_cast<size_t>(drag.point)];
    return std::hypot(p.x - drag.x, p.y - drag.y) <= kReachShare * Extent(doc);
}

SideResult DriveWithQsolver(const Edit& e, const std::vector<Invariant>& invariants)
{
    SideResult out;
    SketchDoc doc = e.sketch;
    Sketch sketch;
    SketchSnapshot built;
    if (!Build(doc, e.name, sketch, built, out.message))
    {
        out.judgement.outcome = Outcome::Failed;
        return out;
    }
    const DocRelation& r = doc.relations[static_cast<size_t>(e.relation)];
    const std::vector<std::pair<std::string, double>> request = {
        {r.id, SolverValue(doc, e.relation, e.newValue)}};

    bench::Stopwatch watch;
    const DriveResult result = sketch.Drive(request);
    out.ms = watch.Ms();
    ReleaseClusters();

    if (!result.IsOk())
    {
        out.message = std::string(DriveStepText(result.failed)) +
                      (result.message.empty() ? "" : ": " + result.message);
    }
    else
    {
        out.how = std::string(DriveStrategyText(result.strategy)) + ", " +
                  std::to_string(result.steps) + (result.steps == 1 ? " step" : " steps");
        UpdateDocFromSketch(sketch, built, doc);
    }
    doc.relations[static_cast<size_t>(e.relation)].value = e.newValue;
    out.judgement = JudgeResult(e.sketch, invariants, result.IsOk(), doc);
    return out;
}

bool MakeDragCase(const Edit& e, DragCase& drag)
{
    std::vector<char> fixed(e.sketch.nodes.size(), 0);
    for (const DocRelation& r : e.sketch.relations)
    {
        if (r.type == DocRelType::Fix)
        {
            fixed[static_cast<size_t>(e.sketch.FindNode(r.nodes[0]))] = 1;
        }
    }
    double most = kMovedShare * Extent(e.sketch);
    drag.point = -1;
    for (size_t i = 0; i < e.sketch.nodes.size(); ++i)
    {
        const DocNode& a = e.sketch.nodes[i];
        const DocNode& b = e.reference.nodes[i];
        const double moved = std::hypot(a.x - b.x, a.y - b.y);
        if (a.type == DocNodeType::Point && !fixed[i] && moved > most)
        {
            most = moved;
            drag.point = static_cast<int>(i);
            drag.x = b.x;
            drag.y = b.y;
        }
    }
    if (drag.point < 0)
    {
        return false;
    }
    drag.sketch = e.sketch;
    drag.sketch.relations.erase(drag.sketch.relations.begin() + e.relation);
    return true;
}

DragRun DragWithQsolver(const DragCase& drag, int steps)
{
    DragRun out;
    SketchDoc doc = drag.sketch;
    Sketch sketch;
    SketchSnapshot built;
    if (!Build(doc, "drag", sketch, built, out.detail))
    {
        out.failed = steps;
        return out;
    }
    const std::vector<Invariant> invariants = FindInvariants(drag.sketch);
    const DocNode& start = drag.sketch.nodes[static_cast<size_t>(drag.point)];
    const std::string& id = start.id;
    for (int k = 1; k <= steps; ++k)
    {
        const double t = static_cast<double>(k) / steps;
        bench::Stopwatch watch;
        const DragStepResult r = QsolverDrag(sketch, id, start.x + t * (drag.x - start.x),
                                             start.y + t * (drag.y - start.y));
        const double ms = watch.Ms();
        ReleaseClusters();
        if (!r.available)
        {
            out.available = false;
            out.detail = r.message;
            return out;
        }
        out.stepMs.push_back(ms);
        ++out.steps;
        UpdateDocFromSketch(sketch, built, doc);
        CountStep(out, JudgeResult(drag.sketch, invariants, r.ok, doc));
    }
    out.reached = ReachedTarget(drag, doc);
    return out;
}

} // namespace qsolver::corpus
