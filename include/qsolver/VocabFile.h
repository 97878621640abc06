// Sketch files of format 2: entities and constraints, the vocabulary of a CAD user. Numbers are
// kept as the file states them (angles in its unit), so writing a document again gives the same
// text; BuildVocabSketch and UpdateVocabDoc join it to a VocabSketch.
#pragma once

#include "qsolver/SketchFile.h"
#include "qsolver/Vocab.h"

#include <string>
#include <vector>

namespace qsolver
{

struct VocabDoc
{
    std::string description;
    bool hasDescription = false;
    /// Angles in radians ("unit": "rad") instead of degrees.
    bool radians = false;
    bool hasUnit = false;
    std::vector<VocabEntity> entities;
    /// Values in the file's unit.
    std::vector<VocabConstraint> constraints;

    int FindEntity(const std::string& id) const;
    int FindConstraint(const std::string& id) const;
};

/// Whether sketch text declares `"format": 2` (false for anything else, unreadable text too).
bool IsVocabText(const std::string& text);

/// Parses and checks format-2 text; `file` names it in errors. Returns false with `error` set.
bool ParseVocabSketch(const std::string& text, const std::string& file, VocabDoc& doc,
                      InputError& error);
bool ReadVocabFile(const std::string& path, VocabDoc& doc, InputError& error);
/// The file text of a document: fixed key order, shortest round-trip numbers.
std::string FormatVocabSketch(const VocabDoc& doc);

/// A constraint's value in the solver's unit (radians for angles).
double VocabValueToSolver(const VocabDoc& doc, const VocabConstraint& c);
double VocabValueFromSolver(const VocabDoc& doc, const VocabConstraint& c, double value);

/// Builds the sketch a checked document describes. On refusal `error` names the place.
bool BuildVocabSketch(const VocabDoc& doc, const std::string& file, VocabSketch& sketch,
                      InputError& error);
/// Takes the sketch's geometry into `doc`, and the measures of its reference dimensions.
/// Numbers that did not change keep their text.
void UpdateVocabDoc(const VocabSketch& sketch, VocabDoc& doc);

/// The drawing of `doc`. When `before` is given it is drawn first, in grey, and the view
/// covers both. `title` heads the drawing (the sketch's description when empty).
std::string DrawVocabSvg(const VocabDoc& doc, const VocabDoc* before = nullptr,
                         const std::string& title = "");

/// The R12 DXF text of `doc`: segments as LINE, arcs as ARC, circles as CIRCLE, on layer OUTLINE,
/// or CONSTRUCTION for construction geometry. Points and infinite lines are not written.
std::string WriteVocabDxf(const VocabDoc& doc);

} // namespace qsolver
