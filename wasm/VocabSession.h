// A sketch of format 2 (entities and constraints) as a web page holds it: the document it was
// read from and the vocabulary sketch built from it. Every call answers with JSON text and never
// throws. A sketcher's format-2 calls are few per user action, so text is cheap enough here.
#pragma once

#include "qsolver/Vocab.h"
#include "qsolver/VocabFile.h"

#include <memory>
#include <string>

namespace qsolver::web
{

class VocabSession
{
public:
    VocabSession();
    ~VocabSession();

    /// Reads format-2 text (`name` names it in messages). On refusal the session keeps the
    /// sketch it had.
    std::string Load(const std::string& text, const std::string& name);
    /// The analysis pass, the constraints that do not hold and what the reference dimensions
    /// measure.
    std::string Analyse();
    /// `changes` is a JSON object {constraintId: value in the file's unit}.
    std::string Drive(const std::string& changes);
    /// Moves a point entity as near to (x, y) as the constraints allow.
    std::string Drag(const std::string& pointId, double x, double y);
    /// Freedoms and status per entity, conflicting and redundant constraints.
    std::string Diagnose();
    /// Entities with their geometry now, constraints with their values (and measures).
    std::string Document() const;
    /// {id: {x, y, ...}} of every entity that has a place: points, lines, circles.
    std::string Coordinates() const;
    /// The file text of the current state.
    std::string Save() const;
    std::string LastError() const { return m_error; }
    void ClearError() { m_error.clear(); }

private:
    std::string Refuse(const std::string& where, const std::string& problem);

    std::string m_name;
    VocabDoc m_doc;
    std::unique_ptr<VocabSketch> m_sketch;
    std::string m_error;
};

} // namespace qsolver::web
