// Qsolver's drag for the corpus: Sketch::Drag, exactly as a host calls it.
#include "QsolverDrag.h"

#include "qsolver/Drag.h"

namespace qsolver::corpus
{

DragStepResult QsolverDrag(Sketch& sketch, const std::string& point, double x, double y)
{
    const DragResult d = sketch.Drag(point, x, y);
    DragStepResult r;
    r.available = true;
    r.ok = d.IsOk();
    r.message = d.message;
    return r;
}

} // namespace qsolver::corpus
