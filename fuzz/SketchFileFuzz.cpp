// Fuzz target: the sketch file reader. Any bytes are either refused with a located message or
// read into a document that writes back to text reading as the same document, builds or is
// refused by the host, and measures and draws without fault.
#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"
#include "qsolver/SketchSvg.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace qsolver;

namespace
{
void Fail(const char* what, const std::string& text)
{
    std::fprintf(stderr, "%s\n%s\n", what, text.c_str());
    std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    SketchDoc doc;
    InputError error;
    if (!ParseSketch(text, "fuzz.json", doc, error))
    {
        if (error.problem.empty())
        {
            Fail("refused without saying why", text);
        }
        return 0;
    }
    const std::string written = FormatSketch(doc);
    SketchDoc again;
    if (!ParseSketch(written, "fuzz.json", again, error))
    {
        Fail(("what the writer wrote does not read back: " + error.Text()).c_str(), written);
    }
    if (FormatSketch(again) != written)
    {
        Fail("writing what was read back gives another text", written);
    }
    CheckRelations(doc);
    DrawSketchSvg(doc);

    Sketch sketch;
    SketchSnapshot built;
    if (BuildSketch(doc, "fuzz.json", sketch, built, error))
    {
        sketch.Analyse();
        UpdateDocFromSketch(sketch, built, doc);
    }
    return 0;
}
