// qsolver_corpus: the seeded edit corpus and its side-by-side runner.
//   generate DIR   draws the edits, follows each with the other solver to a reference, writes
//   run DIR        drives every edit through Qsolver and the other solver, tables the verdicts
//   drag DIR       drags a point of the edits' sketches to where the reference puts it
#include "Corpus.h"
#include "Files.h"
#include "Forked.h"
#include "Judge.h"
#include "Realise.h"
#include "Sides.h"

#include "../Timing.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace qsolver::corpus
{
namespace
{

const uint64_t kDefaultSeed = 20261124;
// Candidates drawn for one edit before its slot is given up.
const int kMaxAttempts = 40;
// Progress lines come at most this often (ms), and at the end.
const double kProgressMs = 2000.0;

struct Options
{
    std::string command;
    std::string dir;
    uint64_t seed = kDefaultSeed;
    int perFamily = 0;  // 0: the default quotas
    std::string family; // empty: all
    std::string md;     // where to write the Markdown table
    std::string log;    // where to write one line per edit
    int every = 1;      // drag: every k-th edit
    int steps = 10;     // drag: steps per drag
    bool withOther = true;
    int jobs = 2; // worker processes
};

void Usage()
{
    std::fprintf(
        stderr, "usage: qsolver_corpus generate DIR [--seed N] [--per-family N] [--jobs N]\n"
                "       qsolver_corpus run DIR [--family F] [--md FILE] [--log FILE] [--no-other]\n"
                "                             [--jobs N]\n"
                "       qsolver_corpus drag DIR [--family F] [--every K] [--steps N] [--md FILE]\n"
                "                              [--log FILE] [--jobs N]\n");
}

bool ParseOptions(int argc, char** argv, Options& o)
{
    if (argc < 3)
    {
        return false;
    }
    o.command = argv[1];
    o.dir = argv[2];
    if (o.command != "generate" && o.command != "run" && o.command != "drag")
    {
        return false;
    }
    for (int i = 3; i < argc; ++i)
    {
        const std::string a = argv[i];
        const bool more = i + 1 < argc;
        if (a == "--seed" && more)
        {
            o.seed = std::strtoull(argv[++i], nullptr, 10);
        }
        else if (a == "--per-family" && more)
        {
            o.perFamily = std::atoi(argv[++i]);
        }
        else if (a == "--family" && more)
        {
            o.family = argv[++i];
        }
        else if (a == "--md" && more)
        {
            o.md = argv[++i];
        }
        else if (a == "--log" && more)
        {
            o.log = argv[++i];
        }
        else if (a == "--every" && more)
        {
            o.every = std::max(1, std::atoi(argv[++i]));
        }
        else if (a == "--steps" && more)
        {
            o.steps = std::max(1, std::atoi(argv[++i]));
        }
        else if (a == "--jobs" && more)
        {
            o.jobs = std::max(1, std::atoi(argv[++i]));
        }
        else if (a == "--no-other")
        {
            o.withOther = false;
        }
        else
        {
            return false;
        }
    }
    return true;
}

uint64_t Mix(uint64_t seed, uint64_t a, uint64_t b)
{
    Random r(seed ^ (a * 0x9e3779b97f4a7c15ULL) ^ (b * 0xc2b2ae3d27d4eb4fULL));
    return r.Next();
}

// Prints a progress line when it is time.
class Progress
{
public:
    Progress(const char* what, size_t total) : m_what(what), m_total(total) {}
    void Step(size_t done, const std::string& note)
    {
        if (done == m_total || m_watch.Ms() - m_last > kProgressMs)
        {
            m_last = m_watch.Ms();
            std::fprintf(stderr, "%s: %zu/%zu, %.0f s%s%s\n", m_what, done, m_total,
                         m_last / 1000.0, note.empty() ? "" : "; ", note.c_str());
        }
    }

private:
    const char* m_what;
    size_t m_total;
    bench::Stopwatch m_watch;
    double m_last = 0.0;
};

int Generate(const Options& o)
{
    ::mkdir(o.dir.c_str(), 0777);
    std::vector<std::string> slots; // the family of each edit to draw
    for (const FamilyQuota& q : DefaultQuotas())
    {
        if (o.family.empty() || o.family == q.family)
        {
            slots.insert(slots.end(), static_cast<size_t>(o.perFamily > 0 ? o.perFamily : q.count),
                         q.family);
        }
    }
    Progress progress("generate", slots.size());
    // Each slot answers: its edit's name (empty when none was realisable), the candidates
    // given up and why the last one was.
    auto draw = [&](size_t slot, int worker) -> std::string
    {
        const std::string& family = slots[slot];
        int rejected = 0;
        std::string why;
        std::string made;
        for (int attempt = 0; attempt < kMaxAttempts && made.empty(); ++attempt)
        {
            Random random(Mix(o.seed, slot, static_cast<uint64_t>(attempt)));
            Edit e = MakeCandidate(family, random);
            ++rejected;
            if (e.relation < 0)
            {
                continue;
            }
            char name[64];
            std::snprintf(name, sizeof(name), "%04zu_%s", slot, family.c_str());
            e.name = name;
            if (!Realise(e, why))
            {
                continue;
            }
            std::string error;
            if (!WriteEdit(o.dir, e, error))
            {
                std::fprintf(stderr, "qsolver_corpus: %s\n", error.c_str());
                std::exit(1);
            }
            --rejected;
            made = e.name;
        }
        if (worker == 0)
        {
            progress.Step(slot + 1, family);
        }
        return made + "\t" + std::to_string(rejected) + "\t" + why;
    };
    std::vector<std::string> results;
    if (!ForEachForked(slots.size(), o.jobs, draw, results))
    {
        std::fprintf(stderr, "qsolver_corpus: a worker could not be started\n");
        return 1;
    }
    std::vector<std::string> names;
    std::map<std::string, int> rejected;
    std::map<std::string, std::string> lastWhy;
    for (size_t i = 0; i < results.size(); ++i)
    {
        const std::string& r = results[i];
        if (r.empty())
        {
            continue; // the process died on this slot
        }
        const size_t t1 = r.find('\t');
        const size_t t2 = r.find('\t', t1 + 1);
        if (t1 > 0)
        {
            names.push_back(r.substr(0, t1));
        }
        const int n = std::atoi(r.substr(t1 + 1, t2 - t1 - 1).c_str());
        rejected[slots[i]] += n;
        if (n > 0)
        {
            lastWhy[slots[i]] = r.substr(t2 + 1);
        }
    }
    char header[160];
    std::snprintf(header, sizeof(header), "qsolver edit corpus, seed %llu, %zu edits",
                  static_cast<unsigned long long>(o.seed), names.size());
    std::string error;
    if (!WriteIndex(o.dir, header, names, error))
    {
        std::fprintf(stderr, "qsolver_corpus: %s\n", error.c_str());
        return 1;
    }
    std::fprintf(stderr, "generate: %zu edits in %s\n", names.size(), o.dir.c_str());
    for (const auto& [family, n] : rejected)
    {
        if (n > 0)
        {
            std::fprintf(stderr, "  %s: %d candidates not realisable (last: %s)\n", family.c_str(),
                         n, lastWhy[family].c_str());
        }
    }
    return 0;
}

struct Tally
{
    int edits = 0;
    int ours[4] = {0, 0, 0, 0};
    int other[4] = {0, 0, 0, 0};
    int otherOnly = 0; // the other solver solved it, we did not
    std::vector<double> ourMs;
    std::vector<double> otherMs;
};

std::string Ms(double ms)
{
    char buf[32];
    std::snprintf(buf, sizeof(buf), ms < 10.0 ? "%.3f" : "%.1f", ms);
    return buf;
}

std::string RunTable(const std::vector<std::string>& order, std::map<std::string, Tally>& t,
                     bool withOther)
{
    std::string s = "| family | edits | solved | failed | flipped | wrong | median ms |";
    if (withOther)
    {
        s += " other solved | other failed | other flipped | other wrong | other median ms | "
             "other solves, we do not |";
    }
    s += "\n|---|---:|---:|---:|---:|---:|---:|";
    if (withOther)
    {
        s += "---:|---:|---:|---:|---:|---:|";
    }
    s += "\n";
    Tally all;
    std::vector<std::string> rows = order;
    rows.push_back("all");
    for (const std::string& f : rows)
    {
        Tally& x = f == "all" ? all : t[f];
        if (f != "all")
        {
            all.edits += x.edits;
            for (int i = 0; i < 4; ++i)
            {
                all.ours[i] += x.ours[i];
                all.other[i] += x.other[i];
            }
            all.otherOnly += x.otherOnly;
            all.ourMs.insert(all.ourMs.end(), x.ourMs.begin(), x.ourMs.end());
            all.otherMs.insert(all.otherMs.end(), x.otherMs.begin(), x.otherMs.end());
        }
        s += "| " + f + " | " + std::to_string(x.edits);
        for (int i = 0; i < 4; ++i)
        {
            s += " | " + std::to_string(x.ours[i]);
        }
        s += " | " + Ms(bench::Median(x.ourMs));
        if (withOther)
        {
            for (int i = 0; i < 4; ++i)
            {
                s += " | " + std::to_string(x.other[i]);
            }
            s += " | " + Ms(bench::Median(x.otherMs)) + " | " + std::to_string(x.otherOnly);
        }
        s += " |\n";
    }
    return s;
}

bool WriteText(const std::string& path, const std::string& text)
{
    std::ofstream out(path);
    out << text;
    return static_cast<bool>(out);
}

bool LoadNames(const Options& o, std::vector<std::string>& names)
{
    std::string error;
    std::vector<std::string> all;
    if (!ReadIndex(o.dir, all, error))
    {
        std::fprintf(stderr, "qsolver_corpus: %s\n", error.c_str());
        return false;
    }
    for (const std::string& n : all)
    {
        if (o.family.empty() || n.substr(n.find('_') + 1) == o.family)
        {
            names.push_back(n);
        }
    }
    return true;
}

// The fields of a record up to `fields`, the rest of the text as the last.
std::vector<std::string> Split(const std::string& text, size_t fields)
{
    std::vector<std::string> out;
    size_t from = 0;
    while (out.size() + 1 < fields)
    {
        const size_t tab = text.find('\t', from);
        if (tab == std::string::npos)
        {
            break;
        }
        out.push_back(text.substr(from, tab - from));
        from = tab + 1;
    }
    out.push_back(text.substr(from));
    return out;
}

int Run(const Options& o)
{
    std::vector<std::string> names;
    if (!LoadNames(o, names))
    {
        return 2;
    }
    Progress progress("run", names.size());
    int notSolved = 0; // in worker 0's share, for the progress line
    // Each edit answers: family, our outcome and ms, the other's outcome and ms, the log line.
    auto drive = [&](size_t i, int worker) -> std::string
    {
        Edit e;
        std::string error;
        if (!ReadEdit(o.dir, names[i], e, error))
        {
            return "!" + error;
        }
        const std::vector<Invariant> invariants = FindInvariants(e.sketch);
        const SideResult ours = DriveWithQsolver(e, invariants);
        std::string line = e.name + "\tqsolver " + OutcomeText(ours.judgement.outcome);
        std::string ourWhy = !ours.message.empty() ? ours.message : ours.judgement.detail;
        if (!ours.how.empty())
        {
            ourWhy += (ourWhy.empty() ? "" : "; ") + ours.how;
        }
        if (!ourWhy.empty())
        {
            line += " (" + ourWhy + ")";
        }
        SideResult other;
        if (o.withOther)
        {
            other = DriveWithSlvs(e, invariants);
            line += std::string("\tother ") + OutcomeText(other.judgement.outcome);
            const std::string why = !other.message.empty() ? other.message : other.judgement.detail;
            if (!why.empty())
            {
                line += " (" + why + ")";
            }
        }
        if (worker == 0)
        {
            notSolved += ours.judgement.outcome != Outcome::Solved ? 1 : 0;
            progress.Step(i + 1, e.family + "; Qsolver has not solved " +
                                     std::to_string(notSolved * o.jobs) + " (estimate)");
        }
        return e.family + "\t" + std::to_string(static_cast<int>(ours.judgement.outcome)) + "\t" +
               std::to_string(ours.ms) + "\t" +
               std::to_string(static_cast<int>(other.judgement.outcome)) + "\t" +
               std::to_string(other.ms) + "\t" + line + "\t" + e.what;
    };
    std::vector<std::string> results;
    const bool finished = ForEachForked(names.size(), o.jobs, drive, results);

    std::map<std::string, Tally> tally;
    std::vector<std::string> order;
    std::string log;
    for (size_t i = 0; i < results.size(); ++i)
    {
        std::string r = results[i];
        if (r.empty())
        {
            // The process died on this edit: a crash counts as a failure of both.
            Edit e;
            std::string error;
            ReadEdit(o.dir, names[i], e, error);
            r = e.family + "\t1\t0\t1\t0\t" + names[i] + "\tcrashed";
        }
        if (r[0] == '!')
        {
            std::fprintf(stderr, "qsolver_corpus: %s\n", r.c_str() + 1);
            return 2;
        }
        const std::vector<std::string> f = Split(r, 6);
        if (tally.find(f[0]) == tally.end())
        {
            order.push_back(f[0]);
        }
        Tally& t = tally[f[0]];
        ++t.edits;
        const int ours = std::atoi(f[1].c_str());
        const int other = std::atoi(f[3].c_str());
        ++t.ours[ours];
        t.ourMs.push_back(std::atof(f[2].c_str()));
        if (o.withOther)
        {
            ++t.other[other];
            t.otherMs.push_back(std::atof(f[4].c_str()));
            t.otherOnly += other == static_cast<int>(Outcome::Solved) &&
                                   ours != static_cast<int>(Outcome::Solved)
                               ? 1
                               : 0;
        }
        log += f[5] + "\n";
    }
    if (!finished)
    {
        std::fprintf(stderr, "qsolver_corpus: a worker could not be started\n");
        return 2;
    }
    const std::string table = RunTable(order, tally, o.withOther);
    std::printf("%s", table.c_str());
    if (!o.md.empty() && !WriteText(o.md, table))
    {
        std::fprintf(stderr, "qsolver_corpus: %s: cannot be written\n", o.md.c_str());
        return 2;
    }
    if (!o.log.empty() && !WriteText(o.log, log))
    {
        std::fprintf(stderr, "qsolver_corpus: %s: cannot be written\n", o.log.c_str());
        return 2;
    }
    return 0;
}

struct DragTally
{
    int drags = 0;
    int steps[2] = {0, 0};
    int solved[2] = {0, 0};
    int flipped[2] = {0, 0};
    int wrong[2] = {0, 0};
    int reached[2] = {0, 0};
    std::vector<double> ms[2];
    bool available[2] = {true, true};
};

std::string Percent(int part, int whole)
{
    char buf[32];
    std::snprintf(buf, sizeof(buf), "%.1f%%", whole > 0 ? 100.0 * part / whole : 0.0);
    return buf;
}

std::string DragTable(const std::vector<std::string>& order, std::map<std::string, DragTally>& t)
{
    std::string s = "| family | drags | steps | solved steps | flipped | wrong | reached | median "
                    "ms/step | other solved steps | other flipped | other wrong | other reached "
                    "| other median ms/step |\n|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|"
                    "---:|---:|---:|\n";
    DragTally all;
    std::vector<std::string> rows = order;
    rows.push_back("all");
    for (const std::string& f : rows)
    {
        DragTally& x = f == "all" ? all : t[f];
        if (f != "all")
        {
            all.drags += x.drags;
            for (int k = 0; k < 2; ++k)
            {
                all.steps[k] += x.steps[k];
                all.solved[k] += x.solved[k];
                all.flipped[k] += x.flipped[k];
                all.wrong[k] += x.wrong[k];
                all.reached[k] += x.reached[k];
                all.ms[k].insert(all.ms[k].end(), x.ms[k].begin(), x.ms[k].end());
                all.available[k] = all.available[k] && x.available[k];
            }
        }
        s += "| " + f + " | " + std::to_string(x.drags) + " | " + std::to_string(x.steps[1]);
        for (int k = 0; k < 2; ++k)
        {
            if (!x.available[k])
            {
                s += " | - | - | - | - | -";
                continue;
            }
            s += " | " + Percent(x.solved[k], x.steps[k]) + " | " + std::to_string(x.flipped[k]) +
                 " | " + std::to_string(x.wrong[k]) + " | " + std::to_string(x.reached[k]) + "/" +
                 std::to_string(x.drags) + " | " + Ms(bench::Median(x.ms[k]));
        }
        s += " |\n";
    }
    return s;
}

// A drag result as text: availability, counts and step times, space separated.
std::string DragRecord(const DragRun& r)
{
    std::string s = std::to_string(r.available ? 1 : 0) + " " + std::to_string(r.steps) + " " +
                    std::to_string(r.solved) + " " + std::to_string(r.flipped) + " " +
                    std::to_string(r.wrong) + " " + std::to_string(r.reached ? 1 : 0);
    for (double ms : r.stepMs)
    {
        s += " " + std::to_string(ms);
    }
    return s;
}

DragRun ParseDragRecord(const std::string& text)
{
    DragRun r;
    std::istringstream in(text);
    int available = 0;
    int reached = 0;
    in >> available >> r.steps >> r.solved >> r.flipped >> r.wrong >> reached;
    r.available = available != 0;
    r.reached = reached != 0;
    double ms = 0.0;
    while (in >> ms)
    {
        r.stepMs.push_back(ms);
    }
    return r;
}

int Drag(const Options& o)
{
    std::vector<std::string> all;
    if (!LoadNames(o, all))
    {
        return 2;
    }
    std::vector<std::string> names;
    for (size_t i = 0; i < all.size(); i += static_cast<size_t>(o.every))
    {
        names.push_back(all[i]);
    }
    Progress progress("drag", names.size());
    // Each drag answers: family (empty when the edit makes no drag), our record, the other's,
    // why ours is absent, the log line.
    auto work = [&](size_t i, int worker) -> std::string
    {
        Edit e;
        std::string error;
        if (!ReadEdit(o.dir, names[i], e, error))
        {
            return "!" + error;
        }
        DragCase drag;
        if (!MakeDragCase(e, drag))
        {
            return "\t\t\t\t";
        }
        const DragRun results[2] = {DragWithQsolver(drag, o.steps), DragWithSlvs(drag, o.steps)};
        std::string line = e.name + "\t" + drag.sketch.nodes[static_cast<size_t>(drag.point)].id;
        for (int k = 0; k < 2; ++k)
        {
            const DragRun& r = results[k];
            line += std::string(k == 0 ? "\tqsolver " : "\tother ");
            line += !r.available ? std::string("absent")
                                 : std::to_string(r.solved) + "/" + std::to_string(r.steps) +
                                       (r.reached ? " reached" : " short") +
                                       (r.detail.empty() ? "" : " (" + r.detail + ")");
        }
        if (worker == 0)
        {
            progress.Step(i + 1, e.family);
        }
        return e.family + "\t" + DragRecord(results[0]) + "\t" + DragRecord(results[1]) + "\t" +
               (results[0].available ? "" : results[0].detail) + "\t" + line;
    };
    std::vector<std::string> results;
    const bool finished = ForEachForked(names.size(), o.jobs, work, results);

    std::map<std::string, DragTally> tally;
    std::vector<std::string> order;
    std::string log;
    std::string absent;
    for (size_t i = 0; i < results.size(); ++i)
    {
        const std::string& rec = results[i];
        if (rec.empty())
        {
            log += names[i] + "\tcrashed\n";
            continue;
        }
        if (rec[0] == '!')
        {
            std::fprintf(stderr, "qsolver_corpus: %s\n", rec.c_str() + 1);
            return 2;
        }
        const std::vector<std::string> f = Split(rec, 5);
        if (f[0].empty())
        {
            continue;
        }
        if (tally.find(f[0]) == tally.end())
        {
            order.push_back(f[0]);
        }
        DragTally& t = tally[f[0]];
        ++t.drags;
        for (int k = 0; k < 2; ++k)
        {
            const DragRun r = ParseDragRecord(f[static_cast<size_t>(1 + k)]);
            if (!r.available)
            {
                t.available[k] = false;
                // The table still counts the steps asked for.
                t.steps[k] += o.steps;
                continue;
            }
            t.steps[k] += r.steps;
            t.solved[k] += r.solved;
            t.flipped[k] += r.flipped;
            t.wrong[k] += r.wrong;
            t.reached[k] += r.reached ? 1 : 0;
            t.ms[k].insert(t.ms[k].end(), r.stepMs.begin(), r.stepMs.end());
        }
        if (!f[3].empty())
        {
            absent = f[3];
        }
        log += f[4] + "\n";
    }
    if (!finished)
    {
        std::fprintf(stderr, "qsolver_corpus: a worker could not be started\n");
        return 2;
    }
    std::string table = DragTable(order, tally);
    if (!absent.empty())
    {
        table += "\nQsolver's columns are empty: " + absent + ".\n";
    }
    std::printf("%s", table.c_str());
    if (!o.md.empty() && !WriteText(o.md, table))
    {
        std::fprintf(stderr, "qsolver_corpus: %s: cannot be written\n", o.md.c_str());
        return 2;
    }
    if (!o.log.empty() && !WriteText(o.log, log))
    {
        std::fprintf(stderr, "qsolver_corpus: %s: cannot be written\n", o.log.c_str());
        return 2;
    }
    return 0;
}

} // namespace
} // namespace qsolver::corpus

int main(int argc, char** argv)
{
    using namespace qsolver::corpus;
    Options o;
    if (!ParseOptions(argc, argv, o))
    {
        Usage();
        return 2;
    }
    if (o.command == "generate")
    {
        return Generate(o);
    }
    if (o.command == "run")
    {
        return Run(o);
    }
    return Drag(o);
}
