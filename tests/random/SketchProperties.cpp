// Property tests over generated sketches: whatever the sketch, every pass returns, a success
// leaves every relation holding and fixed geometry where it was, a failure leaves the sketch
// exactly as it was, and the same input gives the same bits twice. Each case prints its seed and
// its file on failure; QSOLVER_RANDOM_SEED=S QSOLVER_RANDOM_SKETCHES=1 replays case S, and a
// larger QSOLVER_RANDOM_SKETCHES runs that many from the seed on. QSOLVER_RANDOM_KEEP_GOING=1
// reports every broken case instead of the first, QSOLVER_RANDOM_WHY=1 says why the host refused
// a sketch or failed a drive, QSOLVER_RANDOM_PRINT=1 prints every case.
#include "random/CaseCheck.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace randomsketch;

namespace
{
constexpr bool kSanitized = kSanitizedBuild;

uint64_t EnvNumber(const char* name, uint64_t fallback)
{
    const char* text = std::getenv(name);
    return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : fallback;
}

// Where two runs of one case parted.
std::string Difference(const Outcome& a, const Outcome& b)
{
    std::string text = "\nstages " + std::to_string(static_cast<int>(a.stage)) + " and " +
                       std::to_string(static_cast<int>(b.stage));
    for (size_t i = 0; i < std::min(a.bits.size(), b.bits.size()); ++i)
    {
        if (a.bits[i] != b.bits[i])
        {
            double x = 0.0;
            double y = 0.0;
            std::memcpy(&x, &a.bits[i], sizeof(x));
            std::memcpy(&y, &b.bits[i], sizeof(y));
            text += "; word " + std::to_string(i) + ": " + std::to_string(x) + " and " +
                    std::to_string(y);
        }
    }
    return text;
}

uint64_t CaseCount(uint64_t normal)
{
    return EnvNumber("QSOLVER_RANDOM_SKETCHES", kSanitized ? normal / 20 : normal);
}

// Runs `normal` cases (or as the environment says) from the seed on. `run` makes a case's text
// and two outcomes of it that must agree, the first holding every property; with `minDriven`,
// at least that share of a long run must be re-solved, so that refusing or failing everything
// cannot pass.
template <class Run> void RunCases(uint64_t normal, const char* differ, double minDriven, Run run)
{
    const uint64_t firstSeed = EnvNumber("QSOLVER_RANDOM_SEED", 1);
    const uint64_t count = CaseCount(normal);
    // Hunting: report every broken case instead of stopping at the first.
    const bool keepGoing = EnvNumber("QSOLVER_RANDOM_KEEP_GOING", 0) != 0;
    uint64_t driven = 0;
    for (uint64_t i = 0; i < count; ++i)
    {
        const uint64_t seed = firstSeed + i;
        Outcome first;
        Outcome second;
        const std::string text = run(seed, first, second);
        const bool same = first.stage == second.stage && first.bits == second.bits;
        if (!first.fault.empty() || !same)
        {
            ADD_FAILURE() << (first.fault.empty() ? differ : first.fault)
                          << (same ? "" : Difference(first, second)) << "\nseed " << seed
                          << " (QSOLVER_RANDOM_SEED=" << seed << " QSOLVER_RANDOM_SKETCHES=1)\n"
                          << text;
            if (!keepGoing)
            {
                return;
            }
        }
        driven += first.stage == Stage::Driven ? 1 : 0;
    }
    if (count >= 1000)
    {
        EXPECT_GE(static_cast<double>(driven), minDriven * static_cast<double>(count))
            << "re-solved " << driven << " of " << count;
    }
}

// A generated case run twice alone.
std::string Twice(uint64_t seed, bool consistent, Outcome& first, Outcome& second)
{
    SeededBits bits(seed * 2 + (consistent ? 1 : 0));
    const Case c = Generate(bits, consistent);
    if (EnvNumber("QSOLVER_RANDOM_PRINT", 0) != 0)
    {
        std::printf("seed %llu\n%s", static_cast<unsigned long long>(seed), Describe(c).c_str());
    }
    first = RunCase(c);
    second = RunCase(c);
    return Describe(c);
}
} // namespace

TEST(RandomCases, ConsistentCasesHoldAfterADrive)
{
    RunCases(20000, "two runs of the same case differ", 0.2,
             [](uint64_t seed, Outcome& a, Outcome& b) { return Twice(seed, true, a, b); });
}

TEST(RandomCases, ArbitraryCasesFailCleanlyOrHold)
{
    RunCases(20000, "two runs of the same case differ", 0.2,
             [](uint64_t seed, Outcome& a, Outcome& b) { return Twice(seed, false, a, b); });
}

TEST(RandomCases, PassesOfAnotherCaseInBetweenChangeNothing)
{
    RunCases(4000, "another sketch's passes changed the outcome", 0.0,
             [](uint64_t seed, Outcome& alone, Outcome& interleaved)
             {
                 SeededBits bits(seed * 2 + 1);
                 const Case c = Generate(bits, (seed & 1) != 0);
                 SeededBits otherBits(seed * 2 + 2);
                 const Case other = Generate(otherBits, (seed & 2) != 0);
                 alone = RunCase(c);
                 interleaved = RunCase(c, &other);
                 return Describe(c) + "between:\n" + Describe(other);
             });
}

TEST(RandomCases, PassesAfterRemovingRelationsAndNodesReturnOrRestore)
{
    RunCases(8000, "two runs of the same case differ", 0.0,
             [](uint64_t seed, Outcome& once, Outcome& again)
             {
                 SeededBits bits(seed * 2 + (seed & 1));
                 const Case c = Generate(bits, (seed & 1) != 0);
                 once = RunEdits(c);
                 again = RunEdits(c);
                 return Describe(c);
             });
}
