// A sketcher's vocabulary: points, segments, arcs, circles and lines, and the constraints a CAD
// user draws with (coincident, tangent, symmetric, ...). A VocabSketch keeps them by id and
// compiles them to the core's nodes and relations, each to relations that say exactly the same
// (with hidden helper points, lines and value carriers where one relation does not suffice).
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/Diagnostics.h"
#include "qsolver/Drag.h"
#include "qsolver/SketchDrive.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qsolver
{

enum class EntityType
{
    Point,   ///< x, y
    Segment, ///< points: the two end points
    Arc,     ///< points: centre, start, end; counter-clockwise from start to end
    Circle,  ///< points: the centre; radius
    Line,    ///< an infinite line through (x, y) with direction (dx, dy)
};

struct VocabEntity
{
    std::string id;
    EntityType type = EntityType::Point;
    /// Construction geometry: solved like any other, drawn dashed, never part of an outline.
    bool construction = false;
    double x = 0.0;
    double y = 0.0;
    double dx = 1.0;
    double dy = 0.0;
    double radius = 0.0;
    std::vector<std::string> points;
};

enum class ConstraintType
{
    Coincident,    ///< two points
    On,            ///< a point on a line, segment, circle or arc
    Horizontal,    ///< a segment or line, or two points
    Vertical,      ///< a segment or line, or two points
    Parallel,      ///< two segments or lines
    Perpendicular, ///< two segments or lines
    Angle,         ///< from the first segment or line to the second, counter-clockwise
    Distance,      ///< point-point, point-line or line-line (parallel lines)
    Length,        ///< a segment
    Radius,        ///< a circle or arc
    Diameter,      ///< a circle or arc
    Equal,         ///< two segments (lengths) or two circles or arcs (radii)
    Tangent,       ///< line-circle, line-arc, circle-circle, arc-arc; `inside` for circles
    Concentric,    ///< two circles or arcs
    Midpoint,      ///< a point, then a segment (or two points)
    Symmetric,     ///< two points, then the line or segment they mirror about
    Fix,           ///< any entity: its points (and a circle's radius) stay where they are
};

struct VocabConstraint
{
    std::string id;
    ConstraintType type = ConstraintType::Coincident;
    std::vector<std::string> refs;
    /// Dimensions: lengths, or radians for an angle.
    double value = 0.0;
    /// A reference (driven) dimension: measured and reported, never enforced.
    bool driven = false;
    /// Tangent circles: one inside the other instead of touching from outside.
    bool inside = false;
    /// Angle: the reverse flags of the core's angle (a set flag turns that line round).
    bool reverse[2] = {false, false};
};

/// Whether a constraint type carries a number.
bool IsDimension(ConstraintType type);
const char* EntityTypeName(EntityType type);
const char* ConstraintTypeName(ConstraintType type);

/// How one constraint holds at the sketch's geometry.
struct ConstraintCheck
{
    std::string id;
    /// The dimension measured (length or radians); for relations without a number, how far from
    /// holding they are.
    double measured = 0.0;
    /// Distance from holding, a length or radians.
    double error = 0.0;
    bool holds = true;
};

/// What a drive of a VocabSketch did: the core's result, or a constraint that does not hold.
struct VocabDriveResult
{
    DriveResult core;
    /// Non-empty when the core re-solved but this constraint does not hold; the sketch is then
    /// as it was before.
    std::string brokenConstraint;

    bool IsOk() const { return core.IsOk() && brokenConstraint.empty(); }
    std::string Message() const;
};

struct VocabDragResult
{
    DragResult core;
    /// Non-empty when the core moved but this constraint does not hold; the sketch is then as
    /// it was before.
    std::string brokenConstraint;

    bool IsOk() const { return core.IsOk() && brokenConstraint.empty(); }
    std::string Message() const;
};

/// Entities and constraints by id (one namespace for both), compiled to a core Sketch when a
/// pass needs it. Builders return false with LastError() saying why; a refused call changes
/// nothing. Angles are in radians.
class VocabSketch
{
public:
    VocabSketch();
    ~VocabSketch();
    VocabSketch(const VocabSketch&) = delete;
    VocabSketch& operator=(const VocabSketch&) = delete;

    bool AddEntity(const VocabEntity& entity);
    bool AddPoint(const std::string& id, double x, double y, bool construction = false);
    bool AddSegment(const std::string& id, const std::string& p1, const std::string& p2,
                    bool construction = false);
    bool AddArc(const std::string& id, const std::string& centre, const std::string& start,
                const std::string& end, bool construction = false);
    bool AddCircle(const std::string& id, const std::string& centre, double radius,
                   bool construction = false);
    bool AddLine(const std::string& id, double px, double py, double dx, double dy,
                 bool construction = false);

    bool AddConstraint(const VocabConstraint& constraint);
    /// A constraint by its parts; `value` only for dimensions.
    bool Constrain(const std::string& id, ConstraintType type, std::vector<std::string> refs,
                   double value = 0.0);

    const std::vector<VocabEntity>& Entities() const { return m_entities; }
    const std::vector<VocabConstraint>& Constraints() const { return m_constraints; }
    const VocabEntity* FindEntity(const std::string& id) const;
    const VocabConstraint* FindConstraint(const std::string& id) const;
    /// An entity's radius now: a circle's own, an arc's from its centre to its start.
    double RadiusOf(const VocabEntity& entity) const;

    /// The analysis pass over the compiled sketch (node ids are entity ids; hidden helpers of
    /// constraints are named "constraint#n").
    AnalysisResult Analyse();
    /// Sets each named dimension (radians for angles, a diameter as a diameter) and re-solves.
    /// Afterwards every constraint must hold, or the sketch is restored.
    VocabDriveResult Drive(const std::vector<std::pair<std::string, double>>& changes,
                           const DriveOptions& options = DriveOptions());

    /// Freedoms, status and conflicting or redundant constraints in the user's terms: entities
    /// in their order (helpers the constraints compile to are left out), constraints by id.
    Diagnostics Diagnose();

    /// Moves a point entity (a segment's or arc's end is one) as near to (x, y) as the
    /// constraints let it, the rest following as little as it can. Afterwards every constraint
    /// must hold, or the sketch is restored.
    VocabDragResult Drag(const std::string& point, double x, double y);

    /// Every constraint measured at the current geometry, in order. Reference dimensions hold
    /// always and report their measure.
    std::vector<ConstraintCheck> Check() const;
    /// The measure of a dimension (length or radians) at the current geometry.
    double Measure(const VocabConstraint& constraint) const;

    /// The compiled core sketch (compiled now if the vocabulary changed); null with LastError()
    /// when it does not compile.
    Sketch* Core();
    /// The entity or constraint a core node or relation id was made for.
    std::string SourceOf(const std::string& coreId) const;

    const std::string& LastError() const { return m_error; }

private:
    bool Fail(const std::string& message);
    /// The first constraint that does not hold now, or empty.
    std::string FirstBroken() const;
    bool Compile();
    void ReadBack();
    bool CheckEntity(const VocabEntity& entity);
    bool CheckConstraint(const VocabConstraint& constraint);
    const VocabEntity* Entity(const std::string& id) const;
    struct Compiler;

    std::vector<VocabEntity> m_entities;
    std::vector<VocabConstraint> m_constraints;
    std::unique_ptr<Sketch> m_core;
    /// For each dimension compiled to a core relation: that relation's id and the factor from
    /// the constraint's number to the relation's (a diameter is twice its radius).
    struct DimensionLink
    {
        std::string constraint;
        std::string relation;
        double factor = 1.0;
    };
    std::vector<DimensionLink> m_links;
    /// The core circle that carries each circle's and arc's radius (equal radii share one).
    std::vector<std::pair<std::string, std::string>> m_carriers;
    bool m_dirty = true;
    std::string m_error;
};

} // namespace qsolver
