// The seeded edit corpus: sketches in the file format, each with one dimension change and a
// reference solution that keeps every part on its side, and the verdicts a solver's result gets.
#pragma once

#include "qsolver/SketchFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qsolver::corpus
{

/// One realistic edit: a sketch that satisfies every relation and the dimension a user changes.
struct Edit
{
    /// The file stem, e.g. "0123_bracket".
    std::string name;
    std::string family;
    /// A few words on the sketch and the change, for people reading a failure.
    std::string what;
    SketchDoc sketch;
    /// Index into sketch.relations of the changed dimension; values are in the file's units
    /// (degrees for angles).
    int relation = -1;
    double oldValue = 0.0;
    double newValue = 0.0;
    /// The sketch solved at the new value by following the change in small steps; every part
    /// on the side it started on.
    SketchDoc reference;
    /// How many steps the reference took.
    int steps = 0;
};

/// Small, fast and the same on every platform (the standard distributions are not).
class Random
{
public:
    explicit Random(uint64_t seed) : m_state(seed) {}
    uint64_t Next()
    {
        uint64_t z = (m_state += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }
    /// Uniform in [0, 1).
    double Unit() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }
    double Uniform(double lo, double hi) { return lo + (hi - lo) * Unit(); }
    /// Uniform in [lo, hi].
    int Int(int lo, int hi)
    {
        return lo + static_cast<int>(Next() % static_cast<uint64_t>(hi - lo + 1));
    }
    /// Spread evenly over the orders of magnitude between lo and hi.
    double LogUniform(double lo, double hi);
    bool Coin() { return (Next() & 1) != 0; }

private:
    uint64_t m_state;
};

/// The families and how many edits of each the corpus holds.
struct FamilyQuota
{
    const char* family;
    int count;
};
const std::vector<FamilyQuota>& DefaultQuotas();

/// A candidate edit of the family, drawn from the generator; nullopt-like: relation < 0 when the
/// family is unknown. The reference is not filled in.
Edit MakeCandidate(const std::string& family, Random& random);

/// The geometric size of a sketch: its largest coordinate or radius, at least 1.
double Extent(const SketchDoc& doc);

} // namespace qsolver::corpus
