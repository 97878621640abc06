// Runs a random case through the host's passes and checks what a host relies on. Shared by the
// property tests and the fuzz targets, so both judge a sketch the same way.
#pragma once

#include "random/RandomSketch.h"

#include <cstdint>
#include <string>
#include <vector>

namespace randomsketch
{

enum class Stage
{
    Refused,  ///< the host refused to build the sketch
    Analysed, ///< analysed; the drive request was refused or empty
    Driven,   ///< the drive re-solved the sketch
    Failed,   ///< the drive failed and the host restored the sketch
};

struct Outcome
{
    Stage stage = Stage::Refused;
    /// The analysis verdict (as its enum's number).
    int verdict = 0;
    /// Every number and flag of the sketch at the end, bit for bit.
    std::vector<uint64_t> bits;
    /// The solver reported success but the host's check of the result failed the drive.
    bool caughtByCheck = false;
    /// What went wrong; empty when every property held.
    std::string fault;
    /// Largest residual over all relations after a successful drive.
    double worst = 0.0;
};

/// Whether AddressSanitizer instruments this build: the tests then run fewer cases.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitizedBuild = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitizedBuild = true;
#else
constexpr bool kSanitizedBuild = false;
#endif
#else
constexpr bool kSanitizedBuild = false;
#endif

/// Tolerance for relations after a successful drive.
constexpr double kHoldTolerance = 1e-6;

/// Builds the sketch, analyses and drives it, removes the case's relations and nodes, and runs
/// both passes again. Checks that a failed second drive restores the sketch; `bits` holds the
/// end state.
Outcome RunEdits(const Case& c);

/// Builds the case's sketch from its file text and runs the analysis and the drive; with
/// `between`, another sketch is built, analysed and driven between the two passes and lives on
/// until the case is done.
Outcome RunCase(const Case& c, const Case* between = nullptr);

} // namespace randomsketch
