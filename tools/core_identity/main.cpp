// qsolver_core_identity: runs the solver's own passes, in the order a host calls them, over a
// fixed, seeded set of sketches and prints everything they leave behind as exact text (doubles
// as %a). Two builds of the library that compute the same print the same stream, so a diff of
// two runs shows whether a change to the core kept every bit (scripts/core-identity.sh).
//
// No strategy of the Sketch API is used: the Sketch only holds the objects, and its Analyse is
// the host's analysis with the indexed seeding loop.
#include "Dump.h"

#include "Families.h"
#include "HostSketch.h"
#include "random/RandomSketch.h"

#include "Qsolver.h"
#include "qsolver/Sketch.h"
#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace coreidentity;

namespace
{

// A few edits of known dimensions, drawn from the seed: distances move by up to 5 percent,
// angles by up to a tenth of a radian.
std::vector<std::pair<std::string, double>> SeededChanges(qsolver::Sketch& sketch, uint64_t seed,
                                                          int count)
{
    std::vector<std::string> ids;
    for (const std::string& id : sketch.RelationIds())
    {
        CRel* rel = sketch.FindRelation(id);
        if (rel->m_pVal != nullptr && rel->m_pVal->IsKnown() != 0 &&
            (rel->GetType() == SKT_REL_LLANG || rel->m_pVal->m_dValue > 0.0))
        {
            ids.push_back(id);
        }
    }
    std::vector<std::pair<std::string, double>> changes;
    if (ids.empty())
    {
        return changes;
    }
    randomsketch::SeededBits bits(seed);
    for (int i = 0; i < count; ++i)
    {
        const std::string& id = ids[bits.Below(static_cast<uint32_t>(ids.size()))];
        CRel* rel = sketch.FindRelation(id);
        const double now = rel->m_pVal->m_dValue;
        const double next = rel->GetType() == SKT_REL_LLANG ? now + bits.Range(-0.1, 0.1)
                                                            : now * (1.0 + bits.Range(-0.05, 0.05));
        changes.emplace_back(id, next);
    }
    return changes;
}

// Analyses, then drives each change in turn (each from the result of the one before), as a
// host editing the sketch would.
void RunSketch(Out& out, qsolver::Sketch& sketch,
               const std::vector<std::pair<std::string, double>>& changes, uint64_t seed)
{
    Analyse(out, sketch);
    std::vector<std::pair<std::string, double>> all = changes;
    const std::vector<std::pair<std::string, double>> seeded = SeededChanges(sketch, seed, 3);
    all.insert(all.end(), seeded.begin(), seeded.end());
    for (const auto& change : all)
    {
        Drive(out, sketch, change.first, change.second);
    }
}

void RunFamilies(Out& out)
{
    // The benchmark's parameters for about 10, 100 and 1,000 nodes.
    const std::pair<const char*, int> sizes[] = {{"truss", 10},  {"truss", 100},  {"truss", 1000},
                                                 {"grid", 3},    {"grid", 10},    {"grid", 32},
                                                 {"frame", 4},   {"frame", 34},   {"frame", 334},
                                                 {"linkage", 3}, {"linkage", 33}, {"linkage", 333}};
    uint64_t seed = 1000;
    for (const auto& [name, size] : sizes)
    {
        // Also made in reverse order, so that the sweeps and walks of the chains meet the
        // sketch from its other end.
        ++seed;
        for (bool reversed : {false, true})
        {
            // The long linkage's drives fall to slow numeric solves: once is enough.
            if (reversed && size > 300 && std::strcmp(name, "linkage") == 0)
            {
                continue;
            }
            const qsolver::bench::Family f = qsolver::bench::MakeFamily(name, size);
            out.Line("== family %s %d%s", name, size, reversed ? " reversed" : "");
            sktInitCountNum();
            qsolver::Sketch sketch;
            const size_t nodes = f.nodes.size();
            for (size_t k = 0; k < nodes; ++k)
            {
                qsolver::bench::AddHostNode(sketch, f, reversed ? nodes - 1 - k : k);
            }
            const size_t rels = f.relations.size();
            for (size_t k = 0; k < rels; ++k)
            {
                qsolver::bench::AddHostRelation(sketch, f, reversed ? rels - 1 - k : k);
            }
            RunSketch(out, sketch, {{"r" + std::to_string(f.changed), f.newValue}},
                      reversed ? seed + 500 : seed);
        }
    }
}

bool BuildFromDoc(Out& out, const qsolver::SketchDoc& doc, const std::string& name,
                  qsolver::Sketch& sketch)
{
    sktInitCountNum();
    qsolver::SketchSnapshot built;
    qsolver::InputError error;
    if (!qsolver::BuildSketch(doc, name, sketch, built, error))
    {
        out.Line("refused: %s", error.Text().c_str());
        return false;
    }
    return true;
}

// The change an edit file beside the sketch names, in radians for angles.
std::vector<std::pair<std::string, double>> EditOf(const fs::path& sketchPath,
                                                   const qsolver::SketchDoc& doc)
{
    fs::path edit = sketchPath;
    edit.replace_extension(".edit.json");
    std::ifstream in(edit);
    if (!in)
    {
        return {};
    }
    const nlohmann::json j = nlohmann::json::parse(in, nullptr, false);
    if (!j.is_object() || !j.contains("relation") || !j.contains("new"))
    {
        return {};
    }
    const std::string id = j["relation"].get<std::string>();
    double value = j["new"].get<double>();
    const int index = doc.FindRelation(id);
    if (index >= 0 && doc.relations[static_cast<size_t>(index)].type == qsolver::DocRelType::LLang)
    {
        value = qsolver::AngleToRadians(doc, value);
    }
    return {{id, value}};
}

void RunFiles(Out& out, const fs::path& dir, const std::string& label, uint64_t seed)
{
    std::error_code ec;
    if (!fs::is_directory(dir, ec))
    {
        out.Line("== directory %s absent", label.c_str());
        return;
    }
    std::vector<fs::path> files;
    for (const fs::directory_entry& e : fs::directory_iterator(dir, ec))
    {
        const std::string name = e.path().filename().string();
        if (e.is_regular_file() && e.path().extension() == ".json" &&
            name.find(".edit.") == std::string::npos)
        {
            files.push_back(e.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& path : files)
    {
        out.Line("== file %s/%s", label.c_str(), path.filename().string().c_str());
        qsolver::SketchDoc doc;
        qsolver::InputError error;
        if (!qsolver::ReadSketchFile(path.string(), doc, error))
        {
            // Format 2 sketches and bad input: not the core's business.
            out.Line("skipped");
            continue;
        }
        qsolver::Sketch sketch;
        if (BuildFromDoc(out, doc, path.filename().string(), sketch))
        {
            RunSketch(out, sketch, EditOf(path, doc), ++seed);
        }
    }
}

// Every `cases` directory under the test tree, in name order.
std::vector<fs::path> CaseDirectories(const fs::path& tests)
{
    std::vector<fs::path> dirs;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(tests, ec), end; !ec && it != end; it.increment(ec))
    {
        if (it->is_directory() && it->path().filename() == "cases")
        {
            dirs.push_back(it->path());
        }
    }
    std::sort(dirs.begin(), dirs.end());
    return dirs;
}

void RunRandom(Out& out, int count)
{
    for (int seed = 1; seed <= count; ++seed)
    {
        const bool consistent = (seed % 3) != 0;
        randomsketch::SeededBits bits(static_cast<uint64_t>(seed) * 2 + (consistent ? 1 : 0));
        const randomsketch::Case c = randomsketch::Generate(bits, consistent);
        out.Line("== random %d %s", seed, consistent ? "consistent" : "arbitrary");
        qsolver::Sketch sketch;
        if (!BuildFromDoc(out, c.doc, "random", sketch))
        {
            continue;
        }
        RunSketch(out, sketch, c.changes, 5000 + static_cast<uint64_t>(seed));
        if (c.removals.empty())
        {
            continue;
        }
        // The host edits the sketch, then analyses and drives it again.
        for (const std::string& id : c.removals)
        {
            if (!sketch.RemoveRelation(id))
            {
                sketch.RemoveNode(id);
            }
        }
        out.Line("removed %zu", c.removals.size());
        RunSketch(out, sketch, {}, 9000 + static_cast<uint64_t>(seed));
    }
}

int Usage()
{
    std::fprintf(stderr,
                 "usage: qsolver_core_identity [--root DIR] [--cases DIR]... [--random N]\n"
                 "  --root DIR    the source tree whose examples/ and tests/**/cases are read "
                 "(default .)\n"
                 "  --cases DIR   a further directory of sketches (default "
                 "/work/shared/cases/drive if readable)\n"
                 "  --random N    random sketches (default 300)\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    fs::path root = ".";
    std::vector<fs::path> extra;
    bool extraGiven = false;
    int randomCount = 300;
    for (int i = 1; i < argc; ++i)
    {
        const std::string arg = argv[i];
        if (i + 1 < argc && arg == "--root")
        {
            root = argv[++i];
        }
        else if (i + 1 < argc && arg == "--cases")
        {
            extra.emplace_back(argv[++i]);
            extraGiven = true;
        }
        else if (i + 1 < argc && arg == "--random")
        {
            randomCount = std::atoi(argv[++i]);
        }
        else
        {
            return Usage();
        }
    }
    if (!extraGiven)
    {
        const fs::path shared = "/work/shared/cases/drive";
        std::error_code ec;
        if (fs::is_directory(shared, ec))
        {
            extra.push_back(shared);
        }
    }

    Out out;
    CaptureMessages(out);
    RunFamilies(out);
    uint64_t seed = 20000;
    RunFiles(out, root / "examples", "examples", seed);
    for (const fs::path& dir : CaseDirectories(root / "tests"))
    {
        seed += 1000;
        RunFiles(out, dir, fs::relative(dir, root).string(), seed);
    }
    for (const fs::path& dir : extra)
    {
        seed += 1000;
        RunFiles(out, dir, dir.string(), seed);
    }
    RunRandom(out, randomCount);
    out.Line("== end");
    return 0;
}
