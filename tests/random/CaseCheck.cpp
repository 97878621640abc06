// One random case through the host: read, build, analyse, drive, and every property checked.
#include "random/CaseCheck.h"

#include "QsolverInternal.h"
#include "Sketch.h"
#include "SketchDrive.h"

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
using qsolver::host::Sketch;

uint64_t Raw(double v)
{
    uint64_t u = 0;
    std::memcpy(&u, &v, sizeof(u));
    return u;
}

// Every coordinate of the sketch, in creation order.
std::vector<uint64_t> NodesOf(Sketch& sketch)
{
    std::vector<uint64_t> s;
    for (const std::string& id : sketch.NodeIds())
    {
        CNode* node = sketch.FindNode(id);
        const int type = node->GetType();
        s.push_back(static_cast<uint64_t>(type));
        if (type == SKT_NODE_POINT)
        {
            const XYZ& p = static_cast<CVert*>(node)->m_Pos;
            s.insert(s.end(), {Raw(p.x), Raw(p.y)});
        }
        else if (type == SKT_NODE_LINE)
        {
            const MATHLINE& l = static_cast<CMathline*>(node)->m_Line;
            s.insert(s.end(), {Raw(l.m_ThroughPoint.x), Raw(l.m_ThroughPoint.y),
                               Raw(l.m_Direction.x), Raw(l.m_Direction.y)});
        }
        else
        {
            CMathcir* c = static_cast<CMathcir*>(node);
            s.insert(s.end(), {Raw(c->m_Center.x), Raw(c->m_Center.y), Raw(c->m_dRadius)});
        }
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

// How far a relation is from holding. Lines are undirected, so angles count modulo pi.
double Residual(CRel* rel)
{
    const double pi = 3.14159265358979323846;
    const int type = rel->GetType();
    if (type == SKT_REL_PPDIS || type == SKT_REL_PLDIS)
    {
        return std::fabs(rel->GetActualVal() - rel->m_pVal->m_dValue);
    }
    if (type == SKT_REL_LLDIS)
    {
        const VECTOR& d1 = static_cast<CMathline*>(rel->m_pNode1)->m_Line.m_Direction;
        const VECTOR& d2 = static_cast<CMathline*>(rel->m_pNode2)->m_Line.m_Direction;
        const double cross = std::fabs(d1.x * d2.y - d1.y * d2.x);
        return cross + std::fabs(rel->GetActualVal() - rel->m_pVal->m_dValue);
    }
    if (type == SKT_REL_LLANG)
    {
        const double diff = std::fmod(std::fabs(rel->GetActualVal() - rel->m_pVal->m_dValue), pi);
        return std::min(diff, pi - diff);
    }
    if (type == SKT_REL_RAD)
    {
        // The host puts the circle on its centre point; the solver answers for the radius.
        CMathcir* c = static_cast<CMathcir*>(rel->m_pNode2);
        return std::fabs(c->m_dRadius - c->m_pRadiusVal->m_dValue);
    }
    return 0.0;
}

// Whether two node states differ only in the last bits of their numbers (a direction normalised
// once more).
bool LastBitsOnly(const std::vector<uint64_t>& a, const std::vector<uint64_t>& b)
{
    if (a.size() != b.size())
    {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i)
    {
        const uint64_t d = a[i] > b[i] ? a[i] - b[i] : b[i] - a[i];
        if (d > 8)
        {
            return false;
        }
    }
    return true;
}

bool Parallel(CRel* rel)
{
    const VECTOR& d1 = static_cast<CMathline*>(rel->m_pNode1)->m_Line.m_Direction;
    const VECTOR& d2 = static_cast<CMathline*>(rel->m_pNode2)->m_Line.m_Direction;
    return std::fabs(d1.x * d2.y - d1.y * d2.x) <= kHoldTolerance;
}

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

std::vector<uint64_t> NodeBits(const std::vector<uint64_t>& state, Sketch& sketch,
                               const std::string& id)
{
    // Offsets follow StateOf's layout.
    size_t at = 0;
    for (const std::string& n : sketch.NodeIds())
    {
        const size_t len = 1 + (state[at] == SKT_NODE_POINT  ? 2
                                : state[at] == SKT_NODE_LINE ? 4
                                                             : 3);
        if (n == id)
        {
            return std::vector<uint64_t>(state.begin() + static_cast<long>(at),
                                         state.begin() + static_cast<long>(at + len));
        }
        at += len;
    }
    return {};
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
    using namespace qsolver::host;

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
    const std::vector<uint64_t> nodesBefore = NodesOf(sketch);

    // What the relations measure before any pass, to recognise the known faults.
    std::set<std::string> startedAtZero;
    std::set<std::string> selfJoined;
    std::set<std::string> heldAtStart;
    std::set<CNode*> centres;
    std::set<CNode*> spacedLines;
    std::map<CNode*, int> anglesAt;
    for (const std::string& id : sketch.RelationIds())
    {
        CRel* rel = sketch.FindRelation(id);
        const int type = rel->GetType();
        if ((type == SKT_REL_PPDIS || type == SKT_REL_PLDIS || type == SKT_REL_LLDIS) &&
            rel->GetActualVal() < 1e-9)
        {
            startedAtZero.insert(id);
        }
        if (rel->m_pNode1 == rel->m_pNode2)
        {
            selfJoined.insert(id);
        }
        if (type == SKT_REL_RAD)
        {
            centres.insert(rel->m_pNode1);
        }
        if (type == SKT_REL_LLANG)
        {
            ++anglesAt[rel->m_pNode1];
            ++anglesAt[rel->m_pNode2];
        }
        if (type == SKT_REL_LLDIS)
        {
            spacedLines.insert(rel->m_pNode1);
            spacedLines.insert(rel->m_pNode2);
        }
        if (Residual(rel) <= 1e-9)
        {
            heldAtStart.insert(id);
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
        out.stage = Stage::Failed;
        if (!drive.restored || after != before)
        {
            out.fault = std::string("the sketch was not restored after the drive failed at: ") +
                        DriveStepText(drive.failed);
        }
        return out;
    }

    out.stage = Stage::Driven;
    bool outOfRange = false;
    for (const auto& change : c.changes)
    {
        CRel* rel = sketch.FindRelation(change.first);
        // Numbers no drawing has: not finite, a square that overflows, an angle of so many
        // turns that a double keeps no fraction of a turn.
        const double limit = rel->GetType() == SKT_REL_LLANG ? 1e6 : 1e150;
        if (!(std::fabs(change.second) <= limit))
        {
            outOfRange = true;
        }
    }
    for (const auto& change : c.changes)
    {
        CRel* rel = sketch.FindRelation(change.first);
        // An unknown value is measured by the pass whatever it was set to.
        if (rel->m_pVal->m_dValue != change.second && c.changes.size() == 1 &&
            knownBefore.count(change.first) != 0 && !outOfRange)
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
    std::set<std::string> changed;
    std::set<CVal*> changedValues;
    for (const auto& change : c.changes)
    {
        changed.insert(change.first);
        changedValues.insert(sketch.FindRelation(change.first)->m_pVal);
    }
    for (const std::string& id : sketch.RelationIds())
    {
        CRel* rel = sketch.FindRelation(id);
        // Relations off before the drive (values typed in by hand) or a sketch the analysis
        // found over-constrained promise nothing: there only the restore, the returning and
        // the sameness are checked.
        if (heldAtStart.size() != sketch.RelationIds().size() || analysis.verdict != Verdict::Ok)
        {
            break;
        }
        // Below its absolute tolerance, a relation between nodes 1e12 away from the origin
        // would ask for more digits than a double has.
        const double r = Residual(rel) / std::max(1.0, scale * 1e-6);
        const int type = rel->GetType();
        const bool distance =
            type == SKT_REL_PPDIS || type == SKT_REL_PLDIS || type == SKT_REL_LLDIS;
        if (!(r <= out.worst))
        {
            out.worst = r;
        }
        if (!(r <= kHoldTolerance) && selfJoined.count(id) != 0)
        {
            out.known = kSelfRelationReportedSolved;
        }
        else if (!(r <= kHoldTolerance) && startedAtZero.count(id) != 0)
        {
            out.known = kZeroDistanceNeverOpens;
        }
        else if (!(r <= kHoldTolerance) && distance && rel->m_pVal->m_dValue < 0.0)
        {
            out.known = kNegativeDistanceReportedSolved;
        }
        else if (!(r <= kHoldTolerance) &&
                 ((type == SKT_REL_LLDIS && !Parallel(rel)) ||
                  spacedLines.count(rel->m_pNode1) != 0 || spacedLines.count(rel->m_pNode2) != 0))
        {
            out.known = kParallelLineLeftBehind;
        }
        else if (!(r <= kHoldTolerance) && changedValues.count(rel->m_pVal) != 0 &&
                 changed.count(id) == 0)
        {
            out.known = kSharedValueNotFollowed;
        }
        else if (!(r <= kHoldTolerance) && type == SKT_REL_LLANG &&
                 (anglesAt[rel->m_pNode1] > 1 || anglesAt[rel->m_pNode2] > 1))
        {
            out.known = kAngleChainIgnored;
        }
        else if (!(r <= kHoldTolerance) &&
                 (centres.count(rel->m_pNode1) != 0 || centres.count(rel->m_pNode2) != 0))
        {
            out.known = kCentrePointStaysPut;
        }
        else if (!(r <= kHoldTolerance) && out.fault.empty())
        {
            out.fault = "relation " + id + " is off by " + std::to_string(r) +
                        " after the drive (analysis verdict: " + VerdictText(analysis.verdict) +
                        ")";
        }
    }
    if (!out.fault.empty() && outOfRange)
    {
        out.known = kOutOfRangeValueTaken;
    }
    if (!out.fault.empty() && *out.known == '\0' && NodesOf(sketch) == nodesBefore)
    {
        out.known = kSolvedWithoutMoving;
    }
    if (*out.known != '\0')
    {
        // Relations placed from the one that stayed put are off as a consequence.
        out.fault.clear();
    }
    std::set<std::string> fixed;
    for (const DocRelation& r : doc.relations)
    {
        if (r.type == DocRelType::Fix)
        {
            fixed.insert(r.nodes[0]);
        }
    }
    for (const DocNode& n : doc.nodes)
    {
        if (n.hasReference)
        {
            fixed.insert(n.id);
        }
    }
    for (const std::string& id : fixed)
    {
        const std::vector<uint64_t> was = NodeBits(before, sketch, id);
        const std::vector<uint64_t> is = NodeBits(after, sketch, id);
        if (was != is && out.fault.empty() && *out.known == '\0' && LastBitsOnly(was, is))
        {
            out.known = kFixedLineRenormalised;
        }
        else if (was != is && out.fault.empty())
        {
            out.fault = "fixed node " + id + " moved";
        }
    }
    return out;
}

Outcome RunEdits(const Case& c)
{
    using namespace qsolver::host;
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
