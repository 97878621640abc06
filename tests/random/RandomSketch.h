// Random sketches for property tests and fuzz targets. A sketch is drawn from a stream of bits:
// a seeded generator in the tests, the bytes of an input in the fuzzers, so every sketch replays
// from its seed or its bytes. Sketches come as documents of the sketch file format (angles in
// radians), so a failing one prints as a file the reference host reads.
#pragma once

#include "qsolver/SketchFile.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace randomsketch
{

using qsolver::DocNode;
using qsolver::DocNodeType;
using qsolver::DocRelation;
using qsolver::DocRelType;
using qsolver::DocValue;
using qsolver::SketchDoc;

/// A stream of 64-bit words.
class Bits
{
public:
    virtual ~Bits() = default;
    virtual uint64_t Next() = 0;

    /// A number in [0, n); 0 when n is 0.
    uint32_t Below(uint32_t n) { return n == 0 ? 0 : static_cast<uint32_t>(Next() % n); }
    /// A number in [0, 1).
    double Unit() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }
    double Range(double lo, double hi) { return lo + (hi - lo) * Unit(); }
    /// True with probability percent / 100.
    bool Chance(uint32_t percent) { return Below(100) < percent; }
};

/// splitmix64: the same words on every platform, unlike the standard distributions.
class SeededBits : public Bits
{
public:
    explicit SeededBits(uint64_t seed) : m_state(seed) {}
    uint64_t Next() override
    {
        uint64_t z = (m_state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }

private:
    uint64_t m_state;
};

/// The bytes of a fuzz input, two at a time; zeros once they run out, so every input decodes.
class ByteBits : public Bits
{
public:
    ByteBits(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    uint64_t Next() override
    {
        uint64_t v = 0;
        for (int i = 0; i < 2 && m_at < m_size; ++i)
        {
            v = (v << 8) | m_data[m_at++];
        }
        return v;
    }
    /// The rest of the input as raw doubles, for values no generator would pick.
    bool RawDouble(double& out)
    {
        if (m_size - m_at < sizeof(double))
        {
            return false;
        }
        uint64_t v = 0;
        for (size_t i = 0; i < sizeof(double); ++i)
        {
            v = (v << 8) | m_data[m_at++];
        }
        static_assert(sizeof(v) == sizeof(out), "double is 64 bits");
        std::memcpy(&out, &v, sizeof(out));
        return true;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_at = 0;
};

/// A sketch and the dimension change a host makes to it.
struct Case
{
    SketchDoc doc;
    /// Relation ids and their new values (radians for angles).
    std::vector<std::pair<std::string, double>> changes;
    /// Relations and nodes the host removes after the first drive, before passes run again.
    std::vector<std::string> removals;
    /// Whether every value was measured from one configuration.
    bool consistent = false;
};

/// Consistent: every relation is measured from one random configuration (with deliberate
/// coincidences, parallels and equal lengths), and the change is a small step of one value.
/// Otherwise values are arbitrary, degenerate or wrong, and so may the change be.
Case Generate(Bits& bits, bool consistent);

/// Measures every relation with a value at the document's coordinates and writes the measure
/// into it (shared values from their first member). Unchanged when the host refuses the sketch.
void MeasureValues(SketchDoc& doc);

/// The case as text: the file, then the change.
std::string Describe(const Case& c);

} // namespace randomsketch
