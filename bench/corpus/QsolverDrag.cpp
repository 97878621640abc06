// Qsolver's drag for the corpus. The library has no drag yet: every step reports it absent.
#include "QsolverDrag.h"

namespace qsolver::corpus
{

DragStepResult QsolverDrag(Sketch& /*sketch*/, const std::string& /*point*/, double /*x*/,
                           double /*y*/)
{
    DragStepResult r;
    r.message = "Qsolver has no drag yet";
    return r;
}

} // namespace qsolver::corpus
