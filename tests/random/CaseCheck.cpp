// One random case through the host: read, build, analyse, drive, and every property checked.
#include "random/CaseCheck.h"

#include "QsolverInternal.h"
#include "qsolver/Sketch.h"
#include "qsolver/SketchDrive.h"
#include "common/Measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>

namespace randomsketch
{

namespace
{
using qsolver::Sketch;

uint64_t Raw(double v)
{
    uint64_t u = 0;
    std::memcpy(&u, &v, sizeof(u));
    return u;
}

// A node's coordinates, bit for bit.
std::vector<uint64_t> NodeBits(Sketch& sketch, const std::string& id)
{
    std::vector<uint64_t> bits;
    for (const double v : measure::NodeNumbers(sketch.FindNode(id)))
    {
        bits.push_back(Raw(v));
    }
    return bits;
}

// Every coordinate of the sketch, in creation order.
std::vector<uint64_t> NodesOf(Sketch& sketch)
{
    std::vector<uint64_t> s;
    for (const std::string& id : sketch.NodeIds())
    {
        s.push_back(static_cast<uint64_t>(sketch.FindNode(id)->GetType()));
        const std::vector<uint64_t> bits = NodeBits(sketch, id);
        s.insert(s.end(), bits.begin(), bits.end());
    }
    return s;
}

// Every coordinate, value and known flag of the sketch, in creation order.
std::vector<uint64_t> StateOf(Sketch& sketch)
{
    std::vector<uint64_t> s = NodesOf(sketch);
    for (CVal* val : sketch.AllValues())
    {
        s.insert(s.end(), {Raw(val->m_dValue), val->m_bKnown});
    }
    return s;
}

using measure::Gap;
using measure::Residual;

// The clusters of the last drive stay in the solver's chains until the next pass; a host that
// has read its results releases them.
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

// The constructions take turns between the two solutions of an undecided configuration; a host
// that wants the same answer for the same sketch starts each pass from the same turn.
void ResetToggles()
{
    g_cPPdisPLdisToggle = 1;
    g_cTwoPPdisToggle = 1;
    g_cTwoPLdisToggle = 1;
}
} // namespace

Outcome RunCase(const Case& c, const Case* between)
{
    Outcome out;
    using namespace qsolver;

    // The case as the reference host reads it: what the reader takes must read back as the same
    // text. What it refuses (negative distances, a node related to itself, ...) a CAD host may
    // still hand the library directly, so the sketch is built from the case itself then.
    const std::string text = FormatSketch(c.doc);
    SketchDoc doc;
    InputError error;
    if (ParseSketch(text, "case.json", doc, error))
    {
        if (FormatSketch(doc) != text)
        {
            out.fault = "the sketch file does not read back as the same text";
            return out;
        }
    }
    else
    {
        doc = c.doc;
    }

    Sketch sketch;
    SketchSnapshot built;
    if (!BuildSketch(doc, "case.json", sketch, built, error))
    {
        if (std::getenv("QSOLVER_RANDOM_WHY") != nullptr)
        {
            std::fprintf(stderr, "refused: %s\n", error.Text().c_str());
        }
        return out;
    }
    const std::vector<uint64_t> before = StateOf(sketch);

    // Relations off before the drive (values typed in by hand) promise nothing afterwards.
    bool heldAtStart = true;
    // Values the host has not given a number: the pass measures them.
    std::set<CVal*> unknownValues;
    for (const std::string& id : sketch.RelationIds())
    {
        CRel* rel = sketch.FindRelation(id);
        heldAtStart = heldAtStart && Residual(rel) <= 1e-9;
        if (rel->m_pVal != nullptr && !rel->m_pVal->IsKnown())
        {
            unknownValues.insert(rel->m_pVal);
        }
    }
    std::set<std::string> knownBefore;
    for (const auto& change : c.changes)
    {
        CRel* rel = sketch.FindRelation(change.first);
        if (rel != nullptr && rel->m_pVal != nullptr && rel->m_pVal->IsKnown())
        {
            knownBefore.insert(change.first);
        }
    }
    for (const DocRelation& r : doc.relations)
    {
        if (!r.valueNode.empty())
        {
            // A circle that stands for an unknown value lends it its radius value.
            knownBefore.clear();
            break;
        }
    }
    // Fixed geometry, to compare bit for bit after the drive.
    std::map<std::string, std::vector<uint64_t>> fixedBits;
    for (const DocRelation& r : doc.relations)
    {
        if (r.type == DocRelType::Fix)
        {
            fixedBits[r.nodes[0]] = NodeBits(sketch, r.nodes[0]);
        }
    }
    for (const DocNode& n : doc.nodes)
    {
        if (n.hasReference)
        {
            fixedBits[n.id] = NodeBits(sketch, n.id);
        }
    }
    ResetToggles();
    const AnalysisResult analysis = sketch.Analyse();
    out.verdict = static_cast<int>(analysis.verdict);
    out.stage = Stage::Analysed;
    if (StateOf(sketch) != before)
    {
        out.fault = "the analysis changed the sketch";
        return out;
    }

    // A host keeps many sketches and runs their passes in any order.
    std::unique_ptr<Sketch> other;
    if (between != nullptr)
    {
        other = std::make_unique<Sketch>();
        SketchSnapshot otherBuilt;
        if (BuildSketch(between->doc, "between.json", *other, otherBuilt, error))
        {
            other->Analyse();
            other->Drive(between->changes);
            ReleaseClusters();
        }
    }
    ResetToggles();
    const DriveResult drive = sketch.Drive(c.changes);
    ReleaseClusters();
    out.bits = StateOf(sketch);
    out.bits.push_back(static_cast<uint64_t>(drive.failed));
    out.bits.push_back(static_cast<uint64_t>(analysis.verdict));
    const std::vector<uint64_t> after = StateOf(sketch);

    if (drive.failed == DriveStep::BadRequest)
    {
        if (after != before)
        {
            out.fault = "a refused drive request changed the sketch";
        }
        return out;
    }
    if (!drive.IsOk())
    {
        if (std::getenv("QSOLVER_RANDOM_WHY") != nullptr)
        {
            std::fprintf(stderr, "drive failed: %s %s\n", DriveStepText(drive.failed),
                         drive.message.c_str());
        }
        out.stage = Stage::Failed;
        out.caughtByCheck = drive.failed == DriveStep::Verify;
        if (!drive.restored || after != before)
        {
            out.fault = std::string("the sketch was not restored after the drive failed at: ") +
                        DriveStepText(drive.failed);
        }
        return out;
    }

    out.stage = Stage::Driven;
    for (const auto& change : c.changes)
    {
        CRel* rel = sketch.FindRelation(change.first);
        // An unknown value is measured by the pass whatever it was set to.
        if (rel->m_pVal->m_dValue != change.second && c.changes.size() == 1 &&
            knownBefore.count(change.first) != 0)
        {
            out.fault = "relation " + change.first + " does not keep the value it was set to";
            return out;
        }
    }
    double scale = 0.0;
    for (const uint64_t word : NodesOf(sketch))
    {
        double v = 0.0;
        std::memcpy(&v, &word, sizeof(v));
        scale = std::max(scale, std::fabs(v));
    }
    // A sketch the analysis found over-constrained promises nothing either: there only the
    // restore, the returning and the sameness are checked.
    const bool promised = heldAtStart && analysis.verdict == Verdict::Ok;
    // An unknown value holds no number of its own: the relations sharing it must measure the
    // same as the first of them.
    std::map<CVal*, CRel*> firstOfValue;
    for (const std::string& id : sketch.RelationIds())
    {
        CRel* rel = sketch.FindRelation(id);
        double r = Residual(rel);
        if (unknownValues.count(rel->m_pVal) != 0 && rel->GetType() != SKT_REL_RAD)
        {
            const auto first = firstOfValue.emplace(rel->m_pVal, rel);
            if (first.second)
            {
                continue;
            }
            r = Gap(rel, first.first->second->GetActualVal());
        }
        // Below its absolute tolerance, a relation between nodes 1e12 away from the origin
        // would ask for more digits than a double has.
        r /= std::max(1.0, scale * 1e-6);
        if (!(r <= out.worst))
        {
            out.worst = r;
        }
        if (promised && !(r <= kHoldTolerance) && out.fault.empty())
        {
            out.fault = "relation " + id + " is off by " + std::to_string(r) +
                        " after the drive (analysis verdict: " + VerdictText(analysis.verdict) +
                        ")";
        }
    }
    for (const auto& node : fixedBits)
    {
        if (NodeBits(sketch, node.first) != node.second && out.fault.empty())
        {
            out.fault = "fixed node " + node.first + " moved";
        }
    }
    return out;
}

Outcome RunEdits(const Case& c)
{
    using namespace qsolver;
    Outcome out;
    if (c.removals.empty())
    {
        return out;
    }
    Sketch sketch;
    SketchSnapshot built;
    InputError error;
    if (!BuildSketch(c.doc, "case.json", sketch, built, error))
    {
        return out;
    }
    ResetToggles();
    sketch.Analyse();
    sketch.Drive(c.changes);
    ReleaseClusters();
    for (const std::string& id : c.removals)
    {
        if (!sketch.RemoveRelation(id))
        {
            sketch.RemoveNode(id);
        }
    }
    const std::vector<uint64_t> before = StateOf(sketch);
    const AnalysisResult analysis = sketch.Analyse();
    out.stage = Stage::Analysed;
    out.verdict = static_cast<int>(analysis.verdict);
    if (StateOf(sketch) != before)
    {
        out.fault = "the analysis after a removal changed the sketch";
        return out;
    }
    const DriveResult drive = sketch.Drive(c.changes);
    ReleaseClusters();
    out.bits = StateOf(sketch);
    out.bits.push_back(static_cast<uint64_t>(drive.failed));
    if (drive.IsOk())
    {
        out.stage = Stage::Driven;
    }
    else if (drive.failed != DriveStep::BadRequest)
    {
        out.stage = Stage::Failed;
        if (!drive.restored || StateOf(sketch) != before)
        {
            out.fault = "the sketch was not restored after a drive that followed a removal";
        }
    }
    return out;
}

} // namespace randomsketch
