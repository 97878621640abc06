// The sketch a Python user holds: the document (ids, numbers in the sketch's own unit, what
// to_json writes) and the Sketch API's sketch built from it, kept in step. Plain C++: the
// bindings add the GIL, the core lock and the Python types.
#pragma once

#include "qsolver/Diagnostics.h"
#include "qsolver/Drag.h"
#include "qsolver/Sketch.h"
#include "qsolver/SketchDrive.h"
#include "qsolver/SketchFile.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qsolver::python
{

/// Bad input: becomes ValueError.
struct InputFailure : std::invalid_argument
{
    using std::invalid_argument::invalid_argument;
};

/// A file that cannot be read: becomes OSError.
struct FileFailure : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// A change the solver could not make; the sketch is as it was before. Becomes SolveError
/// with these fields as attributes.
struct SolveFailure : std::runtime_error
{
    /// A failed drive.
    explicit SolveFailure(const DriveResult& r);
    SolveFailure(const std::string& text, std::string stepKey, std::string why, bool wasRestored);
    std::string step;
    std::string detail;
    bool restored = true;
};

/// A short key for the step of a drive, for programs: "build-cluster-chain", "verify", ...
const char* DriveStepKey(DriveStep step);
/// The message of a failed drive: the step, the library's detail and whether it was restored.
std::string DriveFailureText(const DriveResult& result);

/// The value of a relation as a builder receives it: its own number, or a named value.
struct ValueArg
{
    bool hasValue = false;
    double value = 0.0;
    bool known = true;
    std::string shared;
};

/// A drive checked and converted, ready to run without touching Python.
struct DriveRequest
{
    /// Relation ids with values in the solver's unit (radians for angles).
    std::vector<std::pair<std::string, double>> changes;
    /// Relation indices in the document with the values as given, in the sketch's unit.
    std::vector<std::pair<int, double>> typed;
    bool nodeChain = false;
    /// Try the robust strategies when the solver's passes fail, as Sketch::Drive does.
    bool robust = true;
};

class PySketch
{
public:
    explicit PySketch(bool radians = false);
    ~PySketch();
    PySketch(const PySketch&) = delete;
    PySketch& operator=(const PySketch&) = delete;

    /// Builds from a checked document; `name` stands for the file in messages.
    static std::unique_ptr<PySketch> FromDoc(const SketchDoc& doc, const std::string& name);
    static std::unique_ptr<PySketch> FromJson(const std::string& text, const std::string& name);
    static std::unique_ptr<PySketch> Load(const std::string& path);
    std::unique_ptr<PySketch> Copy() const;

    // ---- The document, brought up to date with the last drives when it is read
    const SketchDoc& Doc() const
    {
        SyncDoc();
        return m_doc;
    }
    const std::string& Name() const { return m_name; }
    // What no drive changes, readable while one runs.
    bool Radians() const { return m_doc.radians; }
    size_t NodeCount() const { return m_doc.nodes.size(); }
    size_t RelationCount() const { return m_doc.relations.size(); }
    std::string ToJson() const { return FormatSketch(Doc()); }
    void Save(const std::string& path) const;
    void SetDescription(const std::string& text);
    /// "point", "line", "circle", a relation type ("ppdis", ...) or "value"; throws when unknown.
    std::string KindOf(const std::string& id) const;
    const DocNode& Node(const std::string& id, DocNodeType type) const;
    const DocRelation& Relation(const std::string& id) const;
    /// A relation's value (a rad's: the circle's radius) or a named value, in the sketch's unit.
    double Value(const std::string& id) const;
    /// How far each relation is from holding at the current coordinates.
    std::vector<RelationCheck> Check() const { return CheckRelations(Doc()); }
    /// A point's coordinates, read from the solver's side: no document update needed.
    std::pair<double, double> PointAt(const std::string& id) const;
    /// Every point's coordinates in creation order, x and y interleaved, likewise.
    std::vector<double> AllPoints() const;

    // ---- Builders (angles in the sketch's unit). Each checks what the file reader checks, so
    // what is built can be written and read back; a refused call changes nothing. Hold the
    // core lock: they make core objects.
    void AddPoint(const std::string& id, double x, double y);
    void AddLine(const std::string& id, double px, double py, double dx, double dy, bool dirFixed);
    void AddCircle(const std::string& id, double cx, double cy, double radius);
    void SetReference(const std::string& nodeId, long long refId);
    void AddValue(const std::string& id, double value, bool known);
    void AddFix(const std::string& id, const std::string& node);
    void AddRelation(DocRelType type, const std::string& id, const std::string& a,
                     const std::string& b, const ValueArg& value, bool reverse1 = false,
                     bool reverse2 = false);
    void AddRad(const std::string& id, const std::string& node, const std::string& circle);
    void SetValueNode(const std::string& relationId, const std::string& circleId);
    void RemoveRelation(const std::string& id);
    void RemoveNode(const std::string& id);

    // ---- Passes. Run with the core lock held; they touch no Python object.
    AnalysisResult Analyse();
    /// Freedoms, node statuses, conflicting and redundant relations at the current geometry.
    Diagnostics Diagnose();
    /// Checks and converts the changes (relation id, value in the sketch's unit).
    DriveRequest PrepareDrive(const std::vector<std::pair<std::string, double>>& changes,
                              bool nodeChain) const;
    /// The solver's part of a drive: on failure the sketch is restored.
    DriveResult RunDrive(const DriveRequest& request);
    /// Notes a successful drive's results for the document, which takes them in when it is
    /// next read (a walk of the whole sketch: sweeps that read a few points skip it).
    void FinishDrive(const DriveRequest& request, const DriveResult& result);
    /// Checks a drag's point and target.
    void CheckDrag(const std::string& point, double x, double y) const;
    /// Sketch::Drag; on failure the sketch is restored.
    DragResult RunDrag(const std::string& point, double x, double y);
    /// The Sketch API's sketch, up to date with the document; with the core lock held.
    Sketch& Live();

    /// Set while a solve of this sketch runs without the GIL; read and written under the GIL.
    bool busy = false;

private:
    [[noreturn]] void Refuse(const std::string& problem) const;
    [[noreturn]] void RefuseLive() const;
    void CheckNumber(const std::string& what, double value) const;
    void CheckNewId(const std::string& id) const;
    int NodeIndex(const std::string& id) const;
    int RelationIndex(const std::string& id) const;
    int ValueIndex(const std::string& id) const;
    void Reindex();
    void AppendRelation(const DocRelation& rel);
    double* ValueSlot(int relation) const;
    void SyncDoc() const;

    // The document and what it was last compared against are a cache of the live sketch's
    // results, filled in when read.
    mutable SketchDoc m_doc;
    std::string m_name = "sketch";
    std::unique_ptr<Sketch> m_live;
    mutable SketchSnapshot m_snapshot;
    // Drives since the document was last brought up to date, and the values they set as given.
    mutable bool m_docBehind = false;
    mutable std::vector<std::pair<int, double>> m_typed;
    // Builders change the live sketch as they go, but its snapshot (what to_json compares
    // against) is only made by building the whole sketch: a pass rebuilds it first.
    bool m_stale = false;
    std::unordered_map<std::string, int> m_nodeIndex;
    std::unordered_map<std::string, int> m_relIndex;
    std::unordered_map<std::string, int> m_valueIndex;
};

} // namespace qsolver::python
