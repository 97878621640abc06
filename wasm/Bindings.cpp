// The module's surface for JavaScript: a class per sketch format whose methods take and give
// strings and numbers only, and the tables that name the numeric codes. Qsolver.js turns both
// into objects.
#include "SketchSession.h"
#include "VocabSession.h"

#include "qsolver/SketchDrive.h"

#include <emscripten/bind.h>

#include <string>

namespace
{

/// The words behind the codes the session's arrays carry, NUL-separated, in code order: verdict
/// words, then verdict texts, then drive step texts (each group ended by an empty entry).
std::string CodeNames()
{
    using namespace qsolver;
    std::string out;
    const auto add = [&out](const char* text)
    {
        out += text;
        out += '\0';
    };
    const Verdict verdicts[] = {Verdict::Ok, Verdict::OverConstrained, Verdict::FixedContradiction,
                                Verdict::SeedContradiction};
    for (Verdict v : verdicts)
    {
        add(VerdictWord(v));
    }
    add("");
    for (Verdict v : verdicts)
    {
        add(VerdictText(v));
    }
    add("");
    for (int step = 0; step <= static_cast<int>(DriveStep::Verify); ++step)
    {
        add(DriveStepText(static_cast<DriveStep>(step)));
    }
    add("");
    return out;
}

} // namespace

EMSCRIPTEN_BINDINGS(qsolver)
{
    using qsolver::web::SketchSession;
    using qsolver::web::VocabSession;
    emscripten::function("codeNames", &CodeNames);
    emscripten::class_<SketchSession>("SketchSession")
        .constructor<>()
        .function("load", &SketchSession::Load)
        .function("build", &SketchSession::Build)
        .function("ints", &SketchSession::Ints)
        .function("numbers", &SketchSession::Numbers)
        .function("analyse", &SketchSession::Analyse)
        .function("drive", &SketchSession::Drive)
        .function("drag", &SketchSession::Drag)
        .function("places", &SketchSession::Places)
        .function("kinds", &SketchSession::Kinds)
        .function("ids", &SketchSession::Ids)
        .function("refuse", &SketchSession::Refuse)
        .function("lastPlace", &SketchSession::LastPlace)
        .function("diagnose", &SketchSession::Diagnose)
        .function("document", &SketchSession::Document)
        .function("save", &SketchSession::Save)
        .function("lastError", &SketchSession::LastError)
        .function("clearError", &SketchSession::ClearError);
    emscripten::class_<VocabSession>("VocabSession")
        .constructor<>()
        .function("load", &VocabSession::Load)
        .function("analyse", &VocabSession::Analyse)
        .function("drive", &VocabSession::Drive)
        .function("drag", &VocabSession::Drag)
        .function("diagnose", &VocabSession::Diagnose)
        .function("document", &VocabSession::Document)
        .function("coordinates", &VocabSession::Coordinates)
        .function("save", &VocabSession::Save)
        .function("lastError", &VocabSession::LastError)
        .function("clearError", &VocabSession::ClearError);
}
