// One sketch as a web page holds it: the document it was read from, the solver's sketch built
// from it, and the calls a sketcher makes. No call throws, so the JavaScript side needs no
// exception support from the module. The calls a sketcher repeats (build, analyse, drive, drag,
// coordinates) take and give numbers through two arrays in the module's memory that
// JavaScript reads and writes in place; nodes and relations are named by their index in the
// document. The rest answer with JSON text.
#pragma once

#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

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
    /// Builds the sketch packed into the first `intCount` ints and `numberCount` numbers of the
    /// arrays (see SketchPack.h; `ids` as described there). 1 when built; 0 refused, with
    /// LastError, keeping the sketch it had.
    int Build(int intCount, int numberCount, const std::string& ids, const std::string& name);

    // The arrays, grown to at least `count` entries (never shrunk); their address in memory,
    // valid until the next call of the session.
    std::uintptr_t Ints(int count);
    std::uintptr_t Numbers(int count);

    /// The analysis pass. Ints: verdict, cluster count, per cluster freeNum, fixed and its
    /// node count and nodes; stripped count and nodes; unseeded count and nodes; then the
    /// relations that do not hold (see NotHolding). Returns 1 when the verdict is ok.
    int Analyse();
    /// Sets relation Ints[i] to Numbers[i] (in the file's unit) for i < count and re-solves.
    /// Returns 1 solved, 0 failed (ints: step, restored, then the relations not holding), -1
    /// refused (LastError, LastPlace).
    int Drive(int count);
    /// Moves point `node` as near to (x, y) as the relations allow. Returns as Drive does;
    /// numbers: distance, iterations, then the relations not holding.
    int Drag(int node, double x, double y);
    /// Numbers: x, y, then dx, dy (lines), radius, 0 (circles) or 0, 0 (points) per node.
    /// Returns the node count.
    int Places();
    /// Ints: node count, relation count, the node types, the relation types (file order).
    int Kinds();
    /// The ids of the nodes, then of the relations, as a JSON array (one text to decode: a
    /// text with a NUL in it crosses into JavaScript piece by piece).
    std::string Ids() const;
    /// Refuses a request JavaScript found wrong: sets LastError and returns it. `file` names
    /// the input (empty: the sketch's own name).
    std::string Refuse(const std::string& file, const std::string& where,
                       const std::string& problem);
    /// Where the last refused request went wrong (a path such as `drive.ac`).
    std::string LastPlace() const { return m_where; }

    /// Freedoms, node status and conflicting relations.
    std::string Diagnose();
    /// Nodes, relations with their values, and named values, in the file's units.
    std::string Document() const;
    /// The sketch file text of the current state.
    std::string Save() const;
    /// The message of the last refused or failed call; empty when none.
    std::string LastError() const { return m_error; }
    void ClearError() { m_error.clear(); }

private:
    bool Adopt(SketchDoc& doc, const std::string& name, InputError& error);
    /// Appends to the ints the count and indices of the relations that do not hold at the
    /// document's coordinates, and to the numbers their measure and wanted value each.
    void NotHolding(std::size_t ints, std::size_t numbers);
    int NodeIndex(const std::string& id) const;

    std::string m_name;
    SketchDoc m_doc;
    std::unique_ptr<Sketch> m_sketch;
    SketchSnapshot m_built;
    std::string m_error;
    std::string m_where;
    std::vector<std::int32_t> m_ints;
    std::vector<double> m_numbers;
    std::vector<std::pair<std::string, double>> m_request;
    /// Node index by id, made when an analysis first needs it.
    std::unordered_map<std::string, int> m_nodeIndex;
};

} // namespace qsolver::web
