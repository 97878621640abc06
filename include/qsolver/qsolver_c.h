/* The C API of the Sketch library: a sketch behind an opaque handle, for embedders in C and in
 * languages that bind C. Every function returns an integer status (QSOLVER_OK or an error) and
 * never lets a C++ exception out; the handle keeps the text of its last error. Angles are in
 * radians. Strings handed back stay valid until the next call on the same handle. */
#ifndef QSOLVER_C_H
#define QSOLVER_C_H

#include <stddef.h>

#if defined(_WIN32) && defined(QSOLVER_C_BUILD)
#define QSOLVER_C_API __declspec(dllexport)
#elif defined(_WIN32)
#define QSOLVER_C_API __declspec(dllimport)
#else
#define QSOLVER_C_API __attribute__((visibility("default")))
#endif

/* clang-format off */
#ifdef __cplusplus
#define QSOLVER_C_BEGIN extern "C" {
#define QSOLVER_C_END }
#else
#define QSOLVER_C_BEGIN
#define QSOLVER_C_END
#endif
/* clang-format on */

QSOLVER_C_BEGIN

/** A sketch: nodes, relations and values under string ids (one namespace for all three). */
typedef struct qsolver_sketch qsolver_sketch;

/** Status codes. */
enum
{
    QSOLVER_OK = 0,
    QSOLVER_ERR_ARGUMENT = 1,     /**< a null handle or pointer, or a kind out of range */
    QSOLVER_ERR_JSON = 2,         /**< the sketch text is not a valid sketch; nothing changed */
    QSOLVER_ERR_UNKNOWN_ID = 3,   /**< no node, relation or value has the id */
    QSOLVER_ERR_DUPLICATE_ID = 4, /**< the id is taken (or empty) */
    QSOLVER_ERR_REFUSED = 5,      /**< the sketch refused the edit (wrong node kind, bad number) */
    QSOLVER_ERR_SOLVER = 6,       /**< the solver could not re-solve; the sketch was restored */
    QSOLVER_ERR_NO_ANALYSIS = 7,  /**< the result asked for needs qsolver_sketch_analyse first */
    QSOLVER_ERR_RANGE = 8,        /**< an index past the end of a list */
    QSOLVER_ERR_UNSUPPORTED = 9,  /**< this build has no such operation yet */
    QSOLVER_ERR_NO_MEMORY = 10,   /**< an allocation failed; see qsolver_sketch_destroy */
    QSOLVER_ERR_INTERNAL = 11     /**< an unexpected failure inside the library */
};

/** Node kinds. */
enum
{
    QSOLVER_NODE_POINT = 1,
    QSOLVER_NODE_LINE = 2,
    QSOLVER_NODE_CIRCLE = 3
};

/** Relation kinds. */
enum
{
    QSOLVER_REL_FIX = 1,   /**< holds one node where it is; node2 is unused */
    QSOLVER_REL_PPDIS = 2, /**< distance point-point */
    QSOLVER_REL_PLDIS = 3, /**< distance point-line */
    QSOLVER_REL_LLDIS = 4, /**< distance between parallel lines */
    QSOLVER_REL_LLANG = 5, /**< angle from line 1 to line 2, radians */
    QSOLVER_REL_RAD = 6    /**< a point on a circle's centre, sharing the circle's radius */
};

/** Flags of qsolver_sketch_add_relation. */
enum
{
    QSOLVER_VALUE_UNKNOWN = 1, /**< the relation's own value is unknown (solved for) */
    QSOLVER_REVERSE1 = 2,      /**< an angle turns line 1's direction round */
    QSOLVER_REVERSE2 = 4       /**< an angle turns line 2's direction round */
};

/** Verdicts of the analysis. */
enum
{
    QSOLVER_VERDICT_OK = 0,                  /**< not over-constrained */
    QSOLVER_VERDICT_OVER_CONSTRAINED = 1,    /**< the relations between clusters say too much */
    QSOLVER_VERDICT_FIXED_CONTRADICTION = 2, /**< fixed and reference geometry disagree */
    QSOLVER_VERDICT_SEED_CONTRADICTION = 3   /**< a relation contradicts the geometry */
};

/** Lists of ids, read with qsolver_sketch_list_size and qsolver_sketch_list_item. */
enum
{
    QSOLVER_LIST_NODES = 1,       /**< every node, in creation order */
    QSOLVER_LIST_RELATIONS = 2,   /**< every relation, in creation order */
    QSOLVER_LIST_VALUES = 3,      /**< every named value, in creation order */
    QSOLVER_LIST_STRIPPED = 4,    /**< analysis: nodes in no cluster */
    QSOLVER_LIST_UNSEEDED = 5,    /**< analysis: nodes left undetermined */
    QSOLVER_LIST_CONFLICTING = 6, /**< diagnostics: relations that cannot hold together */
    QSOLVER_LIST_REDUNDANT = 7    /**< diagnostics: relations the others already imply */
};

/** Node status of the diagnostics. */
enum
{
    QSOLVER_STATUS_FIXED = 0,
    QSOLVER_STATUS_WELL = 1,
    QSOLVER_STATUS_UNDER = 2,
    QSOLVER_STATUS_OVER = 3
};

/* ---- Handles ------------------------------------------------------------------------------
 */

/** A new empty sketch, or NULL when memory ran out. */
QSOLVER_C_API qsolver_sketch* qsolver_sketch_create(void);
/** Deletes the sketch and everything in it; NULL is ignored. */
QSOLVER_C_API void qsolver_sketch_destroy(qsolver_sketch* sketch);
/** Why the last call on the handle failed ("" after a success); never NULL. */
QSOLVER_C_API const char* qsolver_sketch_last_error(const qsolver_sketch* sketch);
/** A short English name of a status code. */
QSOLVER_C_API const char* qsolver_status_text(int status);

/* ---- Files --------------------------------------------------------------------------------
 */

/** Replaces the sketch with the one the JSON text describes (the sketch file format; `length`
 *  bytes, need not end in NUL). On failure the sketch is as before and the error names the
 *  place and the problem. */
QSOLVER_C_API int qsolver_sketch_load_json(qsolver_sketch* sketch, const char* text, size_t length);
/** The sketch as JSON text (NUL-terminated; `length` may be NULL). Files loaded keep their
 *  unit and description; a sketch built through calls is written in degrees. */
QSOLVER_C_API int qsolver_sketch_save_json(qsolver_sketch* sketch, const char** text,
                                           size_t* length);

/* ---- Editing by id ------------------------------------------------------------------------
 */

QSOLVER_C_API int qsolver_sketch_add_point(qsolver_sketch* sketch, const char* id, double x,
                                           double y);
/** A line through (px, py) with direction (dx, dy); dir_fixed holds its direction. */
QSOLVER_C_API int qsolver_sketch_add_line(qsolver_sketch* sketch, const char* id, double px,
                                          double py, double dx, double dy, int dir_fixed);
QSOLVER_C_API int qsolver_sketch_add_circle(qsolver_sketch* sketch, const char* id, double cx,
                                            double cy, double radius);
/** Marks a node as reference geometry (given, never solved for). */
QSOLVER_C_API int qsolver_sketch_set_reference(qsolver_sketch* sketch, const char* node_id,
                                               int ref_id);
/** A named value that relations share (equal dimensions). */
QSOLVER_C_API int qsolver_sketch_add_value(qsolver_sketch* sketch, const char* id, double value,
                                           int known);
/** A relation of `kind` (QSOLVER_REL_*) with its own value (ignored by a fix and a radius
 *  relation), `flags` from QSOLVER_VALUE_UNKNOWN, QSOLVER_REVERSE1, QSOLVER_REVERSE2. */
QSOLVER_C_API int qsolver_sketch_add_relation(qsolver_sketch* sketch, const char* id, int kind,
                                              const char* node1, const char* node2, double value,
                                              int flags);
/** A dimension relation that shares the named value `value_id`. */
QSOLVER_C_API int qsolver_sketch_add_shared_relation(qsolver_sketch* sketch, const char* id,
                                                     int kind, const char* node1, const char* node2,
                                                     const char* value_id, int flags);
/** Names the circle whose radius stands for the relation's unknown value in numeric solving. */
QSOLVER_C_API int qsolver_sketch_set_value_node(qsolver_sketch* sketch, const char* relation_id,
                                                const char* circle_id);
/** Removes a node (with its relations), a relation, or a named value no relation shares. */
QSOLVER_C_API int qsolver_sketch_remove(qsolver_sketch* sketch, const char* id);

/* ---- Passes -------------------------------------------------------------------------------
 */

/** The analysis pass; `verdict` (may be NULL) receives QSOLVER_VERDICT_*. Geometry is not
 *  changed. Clusters and lists stay readable until the sketch is edited. */
QSOLVER_C_API int qsolver_sketch_analyse(qsolver_sketch* sketch, int* verdict);
/** Sets each relation's value (radians for angles) and re-solves. QSOLVER_ERR_SOLVER: the
 *  solver failed, every node and value is as before the call, the error text names the step. */
QSOLVER_C_API int qsolver_sketch_drive(qsolver_sketch* sketch, const char* const* relation_ids,
                                       const double* values, size_t count);
/** Drags a point as near as it can to (x, y) while every relation holds, moving the rest of the
 *  sketch as little as it can; `distance` (may be NULL) receives how far from (x, y) it ended.
 *  QSOLVER_ERR_REFUSED: not a point, fixed, or a target that is not finite. QSOLVER_ERR_SOLVER:
 *  no placement satisfies the relations; the sketch is as before. */
QSOLVER_C_API int qsolver_sketch_drag(qsolver_sketch* sketch, const char* point_id, double x,
                                      double y, double* distance);

/* ---- Reading ------------------------------------------------------------------------------
 */

/** The kind of a node (QSOLVER_NODE_*) or relation (QSOLVER_REL_*); ids of values give
 *  QSOLVER_ERR_UNKNOWN_ID. */
QSOLVER_C_API int qsolver_sketch_kind(qsolver_sketch* sketch, const char* id, int* kind);
QSOLVER_C_API int qsolver_sketch_point(qsolver_sketch* sketch, const char* id, double* x,
                                       double* y);
QSOLVER_C_API int qsolver_sketch_line(qsolver_sketch* sketch, const char* id, double* px,
                                      double* py, double* dx, double* dy);
/** A circle; a circle with a radius relation sits on that relation's point. */
QSOLVER_C_API int qsolver_sketch_circle(qsolver_sketch* sketch, const char* id, double* cx,
                                        double* cy, double* radius);
/** The value of a relation or a named value, and whether it is known (`known` may be NULL). */
QSOLVER_C_API int qsolver_sketch_value(qsolver_sketch* sketch, const char* id, double* value,
                                       int* known);
/** The number of ids in a list (QSOLVER_LIST_*). */
QSOLVER_C_API int qsolver_sketch_list_size(qsolver_sketch* sketch, int list, size_t* size);
QSOLVER_C_API int qsolver_sketch_list_item(qsolver_sketch* sketch, int list, size_t index,
                                           const char** id);
/** The rigid clusters of the last analysis (the fixed one first). */
QSOLVER_C_API int qsolver_sketch_cluster_count(qsolver_sketch* sketch, size_t* count);
/** The cluster a node lies in after the last analysis, or -1 when it is in none. */
QSOLVER_C_API int qsolver_sketch_node_cluster(qsolver_sketch* sketch, const char* node_id,
                                              int* cluster);

/* ---- Diagnostics (after qsolver_sketch_analyse) ------------------------------------------
 */

/** The sketch's remaining degrees of freedom at its current geometry. */
QSOLVER_C_API int qsolver_sketch_dof(qsolver_sketch* sketch, int* dof);
/** A node's status (QSOLVER_STATUS_*) and its remaining freedoms (`dof` may be NULL). */
QSOLVER_C_API int qsolver_sketch_node_status(qsolver_sketch* sketch, const char* node_id,
                                             int* status, int* dof);

/* ---- Format-2 sketches: entities and constraints -------------------------------------------
 * A sketch in the CAD vocabulary (segments, arcs, tangent, symmetric...; the file format with
 * "format": 2) behind a handle of its own. Status codes, errors and the one-call-at-a-time rule
 * are those of qsolver_sketch. Angles are in radians, a diameter is a diameter.
 */

typedef struct qsolver_vocab qsolver_vocab;

/** A new empty format-2 sketch, or NULL when memory ran out. */
QSOLVER_C_API qsolver_vocab* qsolver_vocab_create(void);
/** Deletes the sketch; NULL is ignored. */
QSOLVER_C_API void qsolver_vocab_destroy(qsolver_vocab* sketch);
/** Why the last call on the handle failed ("" after a success); never NULL. */
QSOLVER_C_API const char* qsolver_vocab_last_error(const qsolver_vocab* sketch);
/** Replaces the sketch with the one a format-2 text describes; on failure nothing changed and
 *  the error names the place and the problem. */
QSOLVER_C_API int qsolver_vocab_load_json(qsolver_vocab* sketch, const char* text, size_t length);
/** The sketch as format-2 text, ids and order as loaded (NUL-terminated; `length` may be NULL). */
QSOLVER_C_API int qsolver_vocab_save_json(qsolver_vocab* sketch, const char** text, size_t* length);
/** Sets each dimension constraint's value and re-solves; QSOLVER_ERR_SOLVER: the sketch is as
 *  before, the error says why (the step that failed or the constraint that broke). */
QSOLVER_C_API int qsolver_vocab_drive(qsolver_vocab* sketch, const char* const* constraint_ids,
                                      const double* values, size_t count);
/** Drags a point entity (a segment's end is one) as near as it can to (x, y); `distance` (may be
 *  NULL) receives how far from it it ended. */
QSOLVER_C_API int qsolver_vocab_drag(qsolver_vocab* sketch, const char* point_id, double x,
                                     double y, double* distance);
/** A point entity's coordinates. */
QSOLVER_C_API int qsolver_vocab_point(qsolver_vocab* sketch, const char* id, double* x, double* y);
/** Diagnoses the sketch: its freedoms (`dof` may be NULL); entity status and the lists
 *  QSOLVER_LIST_CONFLICTING and QSOLVER_LIST_REDUNDANT (constraint ids) read it until the
 *  sketch changes. */
QSOLVER_C_API int qsolver_vocab_diagnose(qsolver_vocab* sketch, int* dof);
/** An entity's status (QSOLVER_STATUS_*) and remaining freedoms (`dof` may be NULL), after
 *  qsolver_vocab_diagnose. */
QSOLVER_C_API int qsolver_vocab_entity_status(qsolver_vocab* sketch, const char* entity_id,
                                              int* status, int* dof);
QSOLVER_C_API int qsolver_vocab_list_size(qsolver_vocab* sketch, int list, size_t* size);
QSOLVER_C_API int qsolver_vocab_list_item(qsolver_vocab* sketch, int list, size_t index,
                                          const char** id);

QSOLVER_C_END

#endif
