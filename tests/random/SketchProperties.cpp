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

// Runs `count` cases from the seed on, each twice, and stops at the first broken property.
void RunCases(bool consistent, uint64_t firstSeed, uint64_t count)
{
    // Hunting: report every broken case instead of stopping at the first.
    const bool keepGoing = EnvNumber("QSOLVER_RANDOM_KEEP_GOING", 0) != 0;
    const bool print = EnvNumber("QSOLVER_RANDOM_PRINT", 0) != 0;
    uint64_t driven = 0;
    for (uint64_t i = 0; i < count; ++i)
    {
        const uint64_t seed = firstSeed + i;
        SeededBits bits(seed * 2 + (consistent ? 1 : 0));
        const Case c = Generate(bits, consistent);
        if (print)
        {
            std::printf("seed %llu\n%s", static_cast<unsigned long long>(seed),
                        Describe(c).c_str());
        }
        const Outcome first = RunCase(c);
        const Outcome second = RunCase(c);
        const bool same = first.stage == second.stage && first.bits == second.bits;
        if (!first.fault.empty() || !same)
        {
            ADD_FAILURE() << (first.fault.empty() ? "two runs of the same case differ"
                                                  : first.fault)
                          << (same ? "" : Difference(first, second)) << "\nseed " << seed
                          << " (QSOLVER_RANDOM_SEED=" << seed << " QSOLVER_RANDOM_SKETCHES=1)\n"
                          << Describe(c);
            if (!keepGoing)
            {
                return;
            }
        }
        driven += first.stage == Stage::Driven ? 1 : 0;
    }
    // Refusing or failing every case would hold every property: a fifth must be re-solved.
    if (count >= 1000)
    {
        EXPECT_GE(driven * 5, count) << "re-solved " << driven << " of " << count;
    }
}

uint64_t CaseCount(uint64_t normal)
{
    return EnvNumber("QSOLVER_RANDOM_SKETCHES", kSanitized ? normal / 20 : normal);
}
} // namespace

TEST(RandomCases, ConsistentCasesHoldAfterADrive)
{
    RunCases(true, EnvNumber("QSOLVER_RANDOM_SEED", 1), CaseCount(20000));
}

TEST(RandomCases, ArbitraryCasesFailCleanlyOrHold)
{
    RunCases(false, EnvNumber("QSOLVER_RANDOM_SEED", 1), CaseCount(20000));
}

TEST(RandomCases, PassesOfAnotherCaseInBetweenChangeNothing)
{
    const uint64_t first = EnvNumber("QSOLVER_RANDOM_SEED", 1);
    const uint64_t count = CaseCount(4000);
    for (uint64_t i = 0; i < count; ++i)
    {
        const uint64_t seed = first + i;
        SeededBits bits(seed * 2 + 1);
        const Case c = Generate(bits, (seed & 1) != 0);
        SeededBits otherBits(seed * 2 + 2);
        const Case other = Generate(otherBits, (seed & 2) != 0);
        const Outcome alone = RunCase(c);
        const Outcome interleaved = RunCase(c, &other);
        if (alone.stage != interleaved.stage || alone.bits != interleaved.bits)
        {
            ADD_FAILURE() << "another sketch's passes changed the outcome"
                          << Difference(alone, interleaved) << "\nseed " << seed << "\n"
                          << Describe(c) << "between:\n"
                          << Describe(other);
            return;
        }
    }
}

TEST(RandomCases, PassesAfterRemovingRelationsAndNodesReturnOrRestore)
{
    const uint64_t first = EnvNumber("QSOLVER_RANDOM_SEED", 1);
    const uint64_t count = CaseCount(8000);
    for (uint64_t i = 0; i < count; ++i)
    {
        const uint64_t seed = first + i;
        SeededBits bits(seed * 2 + (seed & 1));
        const Case c = Generate(bits, (seed & 1) != 0);
        const Outcome once = RunEdits(c);
        const Outcome again = RunEdits(c);
        if (!once.fault.empty() || once.stage != again.stage || once.bits != again.bits)
        {
            ADD_FAILURE() << (once.fault.empty() ? "two runs of the same case differ" : once.fault)
                          << "\nseed " << seed << "\n"
                          << Describe(c);
            return;
        }
    }
}
