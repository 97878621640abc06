// The reference host's reader on damaged files: example sketches with seeded byte edits are
// either refused with a message that names the file, or read into a document that writes back
// to the same text and then runs through both passes like any other case.
#include "cli/CliSupport.h"
#include "random/CaseCheck.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace randomsketch;
namespace fs = std::filesystem;

namespace
{
std::vector<std::string> ExampleTexts()
{
    std::vector<std::string> texts;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(clitest::SourceRoot() / "examples", ec))
    {
        if (entry.path().extension() == ".json")
        {
            texts.push_back(clitest::ReadText(entry.path()));
        }
    }
    return texts;
}

// Pieces of the format that make an edit land on something the reader looks at.
const char* const kTokens[] = {"\"nodes\"",  "\"relations\"",
                               "\"values\"", "\"id\"",
                               "\"type\"",   "\"point\"",
                               "\"line\"",   "\"circle\"",
                               "\"fix\"",    "\"ppdis\"",
                               "\"llang\"",  "\"rad\"",
                               "\"shared\"", "\"valueNode\"",
                               "\"unit\"",   "\"rad\"",
                               "null",       "true",
                               "1e999",      "-0",
                               "0",          "[]",
                               "{}",         ",",
                               ":",          "\"",
                               "[",          "]",
                               "{",          "}",
                               "\\u0000",    "1e-320",
                               "NaN"};

std::string Mutate(std::string text, Bits& bits)
{
    const int edits = 1 + static_cast<int>(bits.Below(2));
    for (int e = 0; e < edits && !text.empty(); ++e)
    {
        const size_t at = bits.Below(static_cast<uint32_t>(text.size()));
        const size_t len = 1 + bits.Below(12);
        switch (bits.Below(8))
        {
            case 5:
            case 6:
            case 7:
            {
                // Another digit keeps the text a sketch, with other numbers in it.
                const size_t digit = text.find_first_of("0123456789", at);
                if (digit != std::string::npos)
                {
                    text[digit] = static_cast<char>('0' + bits.Below(10));
                }
                break;
            }
            case 0:
                text[at] = static_cast<char>(bits.Below(256));
                break;
            case 1:
                text.insert(at, kTokens[bits.Below(sizeof(kTokens) / sizeof(kTokens[0]))]);
                break;
            case 2:
                text.erase(at, len);
                break;
            case 3:
                text.insert(at, text.substr(bits.Below(static_cast<uint32_t>(text.size())), len));
                break;
            default:
                text.resize(at);
                break;
        }
    }
    return text;
}
} // namespace

TEST(RandomFiles, DamagedExamplesAreRefusedWithAPlaceOrReadBackAndRun)
{
    const std::vector<std::string> examples = ExampleTexts();
    ASSERT_FALSE(examples.empty());
    const char* countText = std::getenv("QSOLVER_RANDOM_FILES");
    const uint64_t count = countText != nullptr ? std::strtoull(countText, nullptr, 10)
                           : kSanitizedBuild    ? 1000
                                                : 20000;
    int read = 0;
    for (uint64_t seed = 1; seed <= count; ++seed)
    {
        SeededBits bits(seed);
        const std::string text = Mutate(examples[seed % examples.size()], bits);
        SketchDoc doc;
        qsolver::InputError error;
        if (!qsolver::ParseSketch(text, "damaged.json", doc, error))
        {
            ASSERT_FALSE(error.problem.empty()) << "seed " << seed << "\n" << text;
            ASSERT_EQ(error.file, "damaged.json") << "seed " << seed;
            continue;
        }
        ++read;
        Case c;
        c.doc = doc;
        for (const auto& r : doc.relations)
        {
            if (r.hasValue)
            {
                c.changes.emplace_back(r.id, r.value * 1.05 + 0.01);
                break;
            }
        }
        const Outcome outcome = RunCase(c);
        ASSERT_TRUE(outcome.fault.empty()) << outcome.fault << "\nseed " << seed << "\n" << text;
    }
    std::printf("%llu damaged files: %d read and run, the rest refused\n",
                static_cast<unsigned long long>(count), read);
    // Most edits break the file, but some must survive for the passes to see them.
    EXPECT_GT(read, 0);
}
