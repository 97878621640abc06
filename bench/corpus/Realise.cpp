// Following an edit in small steps: continuation with the other solver, each step's result
// checked for every relation and every sign the sketch must keep.
#include "Realise.h"

#include "Judge.h"
#include "SlvsDoc.h"

#include <algorithm>

namespace qsolver::corpus
{

namespace
{

// Steps start at this share of the change, grow after a success up to kLargestStep, halve on a
// failure, and give up below kSmallestStep: a change that cannot be followed in steps that small
// passes through a fold where some part must change its side.
const double kFirstStep = 1.0 / 8.0;
const double kLargestStep = 1.0 / 4.0;
const double kSmallestStep = 1.0 / 512.0;
const double kGrowth = 1.5;

} // namespace

bool Realise(Edit& e, std::string& why)
{
    SketchDoc doc = e.sketch;
    std::string detail;
    if (!RelationsHold(doc, doc, detail))
    {
        why = "the drawn sketch does not hold: " + detail;
        return false;
    }
    // Exactly constrained: the other solver sees no freedom left.
    SketchDoc start = doc;
    const SlvsOutcome first = SolveWithSlvs(start, -1, 0.0);
    if (!first.Solved())
    {
        why = "the other solver refuses the drawn sketch: " + SlvsResultText(first.result);
        return false;
    }
    if (first.dof != 0)
    {
        why = "the sketch is not exactly constrained (" + std::to_string(first.dof) +
              " freedoms left)";
        return false;
    }

    const std::vector<Invariant> invariants = FindInvariants(doc);
    double t = 0.0;
    double h = kFirstStep;
    int steps = 0;
    while (t < 1.0)
    {
        const double next = std::min(1.0, t + h);
        const double value = e.oldValue + next * (e.newValue - e.oldValue);
        SketchDoc trial = doc;
        const SlvsOutcome out = SolveWithSlvs(trial, e.relation, value);
        trial.relations[static_cast<size_t>(e.relation)].value = value;
        if (out.Solved() && RelationsHold(doc, trial, detail) && FirstBroken(invariants, trial) < 0)
        {
            doc = trial;
            t = next;
            ++steps;
            h = std::min(kLargestStep, h * kGrowth);
            continue;
        }
        h *= 0.5;
        if (h < kSmallestStep)
        {
            const int broken = FirstBroken(invariants, trial);
            why = !out.Solved() ? "the other solver cannot follow it: " + SlvsResultText(out.result)
                  : broken >= 0 ? InvariantText(invariants[static_cast<size_t>(broken)], trial)
                                : "a relation is off: " + detail;
            return false;
        }
    }
    doc.relations[static_cast<size_t>(e.relation)].value = e.newValue;
    e.reference = doc;
    e.steps = steps;
    return true;
}

} // namespace qsolver::corpus
