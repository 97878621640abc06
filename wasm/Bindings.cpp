// The module's surface for JavaScript: one class whose methods take and give strings and
// numbers only. Qsolver.js turns the JSON text into objects.
#include "SketchSession.h"

#include <emscripten/bind.h>

EMSCRIPTEN_BINDINGS(qsolver)
{
    using qsolver::web::SketchSession;
    emscripten::class_<SketchSession>("SketchSession")
        .constructor<>()
        .function("load", &SketchSession::Load)
        .function("analyse", &SketchSession::Analyse)
        .function("drive", &SketchSession::Drive)
        .function("drag", &SketchSession::Drag)
        .function("diagnose", &SketchSession::Diagnose)
        .function("document", &SketchSession::Document)
        .function("coordinates", &SketchSession::Coordinates)
        .function("save", &SketchSession::Save)
        .function("lastError", &SketchSession::LastError)
        .function("clearError", &SketchSession::ClearError);
}
