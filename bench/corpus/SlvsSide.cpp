// The other solver's side: the same document solved from its old geometry in one solve, and
// drags through the library's dragged parameters.
#include "Sides.h"

#include "SlvsDoc.h"

namespace qsolver::corpus
{

SideResult DriveWithSlvs(const Edit& e, const std::vector<Invariant>& invariants)
{
    SideResult out;
    SketchDoc doc = e.sketch;
    const SlvsOutcome result = SolveWithSlvs(doc, e.relation, e.newValue);
    out.ms = result.ms;
    if (!result.Solved())
    {
        out.message = SlvsResultText(result.result);
    }
    doc.relations[static_cast<size_t>(e.relation)].value = e.newValue;
    out.judgement = JudgeResult(e.sketch, invariants, result.Solved(), doc);
    return out;
}

DragRun DragWithSlvs(const DragCase& drag, int steps)
{
    DragRun out;
    SketchDoc doc = drag.sketch;
    const std::vector<Invariant> invariants = FindInvariants(drag.sketch);
    const DocNode start = drag.sketch.nodes[static_cast<size_t>(drag.point)];
    for (int k = 1; k <= steps; ++k)
    {
        const double t = static_cast<double>(k) / steps;
        const SlvsDrag to{drag.point, start.x + t * (drag.x - start.x),
                          start.y + t * (drag.y - start.y)};
        SketchDoc trial = doc;
        const SlvsOutcome r = SolveWithSlvs(trial, -1, 0.0, &to);
        out.stepMs.push_back(r.ms);
        ++out.steps;
        const Judgement j = JudgeResult(drag.sketch, invariants, r.Solved(), trial);
        CountStep(out, j);
        if (r.Solved())
        {
            doc = trial;
        }
    }
    out.reached = ReachedTarget(drag, doc);
    return out;
}

} // namespace qsolver::corpus
