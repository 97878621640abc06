// A sketch as a host keeps it: nodes, relations and values under string ids, in creation order,
// and the call sequences through which the host drives the solver.
#pragma once

#include "Qsolver.h"
#include "qsolver/SketchArena.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qsolver
{

/// How a relation gets its value: a number of its own, or a named value shared with others.
struct ValueSpec
{
    double value = 0.0;
    bool known = true;
    /// Non-empty: the id of a value made with Sketch::AddValue; `value` and `known` are unused.
    std::string shared;
    /// Non-empty: the id of a circle whose radius value the relation shares (a point on the
    /// circle, a line tangent to it); `value` and `known` are unused.
    std::string radiusOf;

    static ValueSpec Own(double v, bool isKnown = true)
    {
        ValueSpec s;
        s.value = v;
        s.known = isKnown;
        return s;
    }
    static ValueSpec Shared(const std::string& valueId)
    {
        ValueSpec s;
        s.shared = valueId;
        return s;
    }
    static ValueSpec RadiusOf(const std::string& circleId)
    {
        ValueSpec s;
        s.radiusOf = circleId;
        return s;
    }
    bool IsOwn() const { return shared.empty() && radiusOf.empty(); }
};

/// What an analysis pass concluded.
enum class Verdict
{
    Ok,                 ///< the relations do not over-constrain the sketch
    OverConstrained,    ///< the relations between the rigid clusters say too much
    FixedContradiction, ///< fixed and reference geometry contradict each other
    SeedContradiction,  ///< a relation contradicts the geometry while clusters were grown
};

/// A short English text for the verdict, for printing.
const char* VerdictText(Verdict verdict);

/// The verdict as one stable word for machine-read output ("ok", "over-constrained",
/// "fixed-contradiction", "seed-contradiction"): every binding reports the same word.
const char* VerdictWord(Verdict verdict);

/// One rigid cluster found by the analysis.
struct ClusterInfo
{
    /// Node ids in the order the analysis determined them.
    std::vector<std::string> nodes;
    /// Rigid-body freedoms: 3 may move and turn, 2 may only move.
    int freeNum = 3;
    /// The first cluster: fixed and reference geometry and what it determines (may be empty).
    bool fixed = false;
};

struct AnalysisResult
{
    Verdict verdict = Verdict::Ok;
    /// The clusters of the pass in the order they were built, the fixed one first. Taken
    /// before the over-constraint test (which merges and deletes clusters); after a
    /// contradiction the fixed cluster may be partial and later clusters missing.
    std::vector<ClusterInfo> clusters;
    /// Nodes in no cluster, in creation order: those that neighbours place one at a time, and
    /// those listed in `unseeded`.
    std::vector<std::string> stripped;
    /// Nodes still undetermined when no further cluster could be seeded (a subset of stripped).
    std::vector<std::string> unseeded;

    bool IsOk() const { return verdict == Verdict::Ok; }
};

/// The outcome of Sketch::Drive; defined by the drive layer (qsolver/SketchDrive.h).
struct DriveResult;
/// An equation beyond the relations (qsolver/SolveEquations.h).
struct SolveEquation;
/// The outcome of Sketch::Drag (qsolver/Drag.h).
struct DragResult;

/// Owns the nodes, relations and values of one sketch under string ids (one namespace for all
/// three) and runs the solver's passes over them. Builders return the new object, or null (or
/// false) with LastError() saying why; a refused call changes nothing. Angles are in radians.
class Sketch
{
public:
    Sketch();
    ~Sketch();
    Sketch(const Sketch&) = delete;
    Sketch& operator=(const Sketch&) = delete;

    // ---- Nodes
    CVert* AddPoint(const std::string& id, double x, double y);
    /// A line through (px, py) with direction (dx, dy); dirFixed holds its direction.
    CMathline* AddLine(const std::string& id, double px, double py, double dx, double dy,
                       bool dirFixed = false);
    /// A circle; its radius value starts unknown and becomes known once a radius relation
    /// refers to it.
    CMathcir* AddCircle(const std::string& id, double cx, double cy, double radius);
    /// Marks a node as reference geometry (given, never solved for) with the host's number.
    bool SetReference(const std::string& nodeId, int refId);

    // ---- Values and relations
    /// A named value that relations share through ValueSpec::Shared.
    CVal* AddValue(const std::string& id, double value, bool known);
    CRel* AddFix(const std::string& id, const std::string& node);
    CRel* AddPPdis(const std::string& id, const std::string& pointA, const std::string& pointB,
                   const ValueSpec& value);
    CRel* AddPLdis(const std::string& id, const std::string& point, const std::string& line,
                   const ValueSpec& value);
    CRel* AddLLdis(const std::string& id, const std::string& lineA, const std::string& lineB,
                   const ValueSpec& value);
    /// The angle from lineA to lineB; the reverse flags turn a line's direction round when the
    /// angle is constructed.
    CRel* AddLLang(const std::string& id, const std::string& lineA, const std::string& lineB,
                   const ValueSpec& value, bool reverse1 = false, bool reverse2 = false);
    /// A radius relation between a node and a circle: the relation shares the circle's radius.
    CRel* AddRad(const std::string& id, const std::string& node, const std::string& circle);
    /// Names the circle whose radius value stands for the relation's unknown value in numeric
    /// solving.
    bool SetValueNode(const std::string& relationId, const std::string& circleId);
    /// Detaches the relation from its nodes and deletes it.
    bool RemoveRelation(const std::string& id);
    /// Removes the node's relations, then the node.
    bool RemoveNode(const std::string& id);
    /// Deletes a named value; refused while a relation shares it.
    bool RemoveValue(const std::string& id);

    // ---- Lookup, all by id; null when absent (or of another kind)
    CNode* FindNode(const std::string& id) const;
    CVert* FindPoint(const std::string& id) const;
    CMathline* FindLine(const std::string& id) const;
    CMathcir* FindCircle(const std::string& id) const;
    CRel* FindRelation(const std::string& id) const;
    /// Named values only.
    CVal* FindValue(const std::string& id) const;
    /// The id of one of our nodes or relations or named values; empty when it is not ours.
    const std::string& IdOf(const void* object) const;

    // ---- Iteration in creation order
    CNodeList& Nodes() { return m_nodes; }
    CRelList& Relations() { return m_rels; }
    const std::vector<std::string>& NodeIds() const { return m_nodeIds; }
    const std::vector<std::string>& RelationIds() const { return m_relIds; }
    const std::vector<std::string>& ValueIds() const { return m_valueIds; }
    /// The node of each fix relation, in the order the fixes were made (a node fixed twice is
    /// listed twice).
    const std::vector<CNode*>& FixedNodes() const { return m_fixedNodes; }
    /// Every value object the sketch reaches, once each: named values, circle radii, then the
    /// relations' own values, each group in creation order.
    std::vector<CVal*> AllValues() const;
    /// The same list as AllValues, found by walking the nodes and relations; for tests.
    std::vector<CVal*> AllValuesByWalk() const;

    // ---- Backups (what the host restores after a pass)
    /// Backs up every node's geometry and every value's number and known flag.
    void BackupAll();
    /// Restores what BackupAll saved.
    void RestoreAll();

    // ---- Passes
    /// The analysis pass in the host's order: backups, sktInitJudge, the main cluster, the
    /// seeding loop, the over-constraint test, sktFinishJudge. Values the pass measured are
    /// restored afterwards; geometry is not changed.
    AnalysisResult Analyse();

    // ---- Drive pass -------------------------------------------------------------------------
    // Declared here, defined by the drive layer in sketch/SketchDrive.cpp (with DriveResult).
    // It uses only the public surface above: BackupAll/RestoreAll, FindRelation, Nodes(),
    // Relations().
    /// Sets each named relation's value (radians for angles) and re-solves the sketch.
    DriveResult Drive(const std::vector<std::pair<std::string, double>>& changes);
    // -----------------------------------------------------------------------------------------

    /// Why the last refused call was refused.
    const std::string& LastError() const { return m_error; }

    // ---- Robust solving (sketch/solve, qsolver/SolveEquations.h and qsolver/Drag.h) --------
    /// Moves a point as near as it can to (x, y) while every relation holds, moving the rest
    /// of the sketch as little as it can; fixed geometry stays. On failure nothing changed.
    DragResult Drag(const std::string& point, double x, double y);
    /// Equations beyond the relations, honoured by the least-squares drive and by Drag.
    std::vector<SolveEquation>& Equations() { return m_equations; }

private:
    bool ClaimId(const std::string& id);
    CNode* NodeOfType(const std::string& relId, const std::string& nodeId, int type,
                      const char* what);
    CVal* ResolveValue(const std::string& relId, const ValueSpec& value);
    // One end of a distance relation: its id and the node type it must have.
    struct End
    {
        const std::string& id;
        int type;
        const char* kind;
    };
    using MakeDistance = CRel* (*)(ObjectArena& objects, CNode* a, CNode* b, const ValueSpec& value,
                                   CVal* shared);
    /// The checks and look-ups the three distance builders share.
    CRel* AddDistance(const std::string& id, const End& first, const End& second,
                      const ValueSpec& value, MakeDistance make);
    CRel* Register(const std::string& id, CRel* rel, bool ownValue = false);
    void ReleaseRelation(CRel* rel);
    template <class F> void ForEachValue(F&& f) const;
    bool Fail(const std::string& message);

    // Declared first, so that it outlives every list and index that refers to its objects.
    std::unique_ptr<ObjectArena> m_objects;
    CNodeList m_nodes;
    CRelList m_rels;
    std::vector<CVal*> m_values;
    // Kept as the objects are made, so that backups and AllValues need no search: the radius
    // values of the circles in creation order, and the values that relations made for
    // themselves (neither named nor a radius) in creation order.
    std::vector<CVal*> m_radiusValues;
    std::vector<CVal*> m_ownValues;
    std::vector<CNode*> m_fixedNodes;
    std::vector<std::string> m_nodeIds;
    std::vector<std::string> m_relIds;
    std::vector<std::string> m_valueIds;
    // The id indexes take their entries from an arena of their own, apart from the objects.
    std::unique_ptr<ObjectArena> m_index;
    detail::ArenaMap<std::string, CNode*> m_nodeById;
    detail::ArenaMap<std::string, CRel*> m_relById;
    detail::ArenaMap<std::string, CVal*> m_valueById;
    detail::ArenaMap<const void*, std::string> m_idOf;
    std::string m_error;
    std::vector<SolveEquation> m_equations;
};

} // namespace qsolver
