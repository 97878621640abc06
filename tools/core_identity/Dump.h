// The passes as a host runs them, and the text of everything they leave in the objects and
// the chains.
#pragma once

#include <cstdarg>
#include <string>

namespace qsolver
{
class Sketch;
}

namespace coreidentity
{

/// The one output stream (standard output), line by line.
class Out
{
public:
    Out();
    void Line(const char* format, ...) __attribute__((format(printf, 2, 3)));
};

/// Prints the solver's message-box texts into the stream instead of standard error.
void CaptureMessages(Out& out);

/// The analysis twice: as the exported steps in the host's order, then as Sketch::Analyse
/// (the same steps with the indexed seeding loop). Geometry is not changed; values are
/// restored.
void Analyse(Out& out, qsolver::Sketch& sketch);

/// One dimension change through the drive pass in the host's order; on a small sketch first
/// with the core solved as one numeric system (then restored). A failed pass is restored.
void Drive(Out& out, qsolver::Sketch& sketch, const std::string& relation, double value);

} // namespace coreidentity
