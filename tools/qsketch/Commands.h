// The commands of qsketch, separated from argument parsing so each reads as the host sequence
// it demonstrates.
#pragma once

#include "qsolver/Diagnostics.h"
#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

namespace qsketch
{

/// Exit codes: what a script calling qsketch can rely on.
enum ExitCode
{
    kDone = 0,
    kSolverFailed = 1, ///< failure, contradiction or over-constraint reported by the solver
    kBadInput = 2,
};

struct Options
{
    std::string command;
    std::string file;
    std::vector<std::string> sets;
    std::string out;
    std::string svg;
    /// drag: the point and the target "X,Y".
    std::string point;
    std::string to;
    std::string dxf;
    bool json = false;
};

int RunAnalyse(const Options& options);
int RunDrive(const Options& options);
int RunRender(const Options& options);
int RunDrag(const Options& options);
/// The target of --to X,Y; false with a located error when it is not two finite numbers.
bool ParseDragTarget(const Options& options, double target[2], qsolver::InputError& error);
int RunDemo(const Options& options);

/// Format-2 sketches (entities and constraints): the same commands, and export to DXF.
bool IsVocabFile(const std::string& path);
int RunVocabAnalyse(const Options& options);
int RunVocabDrive(const Options& options);
int RunVocabDrag(const Options& options);
/// The freedoms, the nodes (or entities) that are not simply defined and the relations (or
/// constraints) at fault: a line of text each, and the same in `into`.
void AddDiagnostics(const qsolver::Diagnostics& diag,
                    const std::function<void(const std::string&)>& line,
                    nlohmann::ordered_json& into, const std::string& nodes,
                    const std::string& relations);
int RunVocabRender(const Options& options);
int RunExport(const Options& options);

/// Prints a usage error (plain or as JSON) and returns kBadInput.
int UsageError(const Options& options, const std::string& problem);

/// The built-in sketch of the demo, as file text.
const char* DemoSketchText();

} // namespace qsketch
