// One sketch as a web page holds it: the document it was read from, the solver's sketch built
// from it, and the calls a sketcher makes. Every call answers with JSON text and never throws,
// so the JavaScript side needs no exception support from the module.
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"

#include <memory>
#include <string>

namespace qsolver::web
{

class SketchSession
{
public:
    SketchSession();
    ~SketchSession();

    /// Reads sketch text (`name` names it in messages) and builds the sketch. On refusal the
    /// session keeps the sketch it had.
    std::string Load(const std::string& text, const std::string& name);
    /// The analysis pass and the relations that do not hold at the current coordinates.
    std::string Analyse();
    /// `changes` is a JSON object {relationId: value in the file's unit}.
    std::string Drive(const std::string& changes);
    /// Moves a point as near to (x, y) as the relations allow, re-solving the rest.
    std::string Drag(const std::string& pointId, double x, double y);
    /// Freedoms, node status and conflicting relations.
    std::string Diagnose();
    /// Nodes, relations with their values, and named values, in the file's units.
    std::string Document() const;
    /// {id: {x, y, ...}} of every node: what a redraw needs, without the relations.
    std::string Coordinates() const;
    /// The sketch file text of the current state.
    std::string Save() const;
    /// The message of the last refused or failed call; empty when none.
    std::string LastError() const { return m_error; }
    void ClearError() { m_error.clear(); }

private:
    std::string Refuse(const std::string& where, const std::string& problem);

    std::string m_name;
    SketchDoc m_doc;
    std::unique_ptr<Sketch> m_sketch;
    SketchSnapshot m_built;
    std::string m_error;
};

} // namespace qsolver::web
