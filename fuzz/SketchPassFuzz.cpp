// Fuzz target: bytes decode into a sketch and a dimension change (the property tests'
// generator, driven by the input instead of a seed), which then run through the analysis and
// the drive. Any broken property aborts with the case printed as a sketch file; with
// QSOLVER_FUZZ_CRASH_ONLY set (the bounded run of the test script) wrong answers are printed
// and only crashes, sanitizer reports, leaks and hangs fail.
#include "random/CaseCheck.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace randomsketch;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    ByteBits bits(data + 1, size - 1);
    Case c = Generate(bits, (data[0] & 1) != 0);
    // Left-over bytes become a raw new value: numbers no generator picks, non-finite too.
    double raw = 0.0;
    if ((data[0] & 2) != 0 && !c.changes.empty() && bits.RawDouble(raw))
    {
        c.changes.front().second = raw;
    }
    const Outcome first = RunCase(c);
    const Outcome second = RunCase(c);
    const Outcome edited = RunEdits(c);
    const char* fault = !first.fault.empty()    ? first.fault.c_str()
                        : !edited.fault.empty() ? edited.fault.c_str()
                        : second.stage != first.stage || second.bits != first.bits
                            ? "two runs of the same case differ"
                            : nullptr;
    if (fault != nullptr)
    {
        static const bool crashOnly = std::getenv("QSOLVER_FUZZ_CRASH_ONLY") != nullptr;
        static int reported = 0;
        if (!crashOnly || reported < 20)
        {
            ++reported;
            std::fprintf(stderr, "wrong answer: %s\n%s", fault, Describe(c).c_str());
        }
        if (!crashOnly)
        {
            std::abort();
        }
    }
    return 0;
}
