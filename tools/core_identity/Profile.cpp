// qsolver_core_profile: one benchmark family, built as a host builds it, and one pass of the
// solver's own over it with callgrind collecting only the pass:
//
//   valgrind --tool=callgrind --collect-atstart=no qsolver_core_profile truss 100000 drive
//
// The analysis is Sketch::Analyse (the host's analysis); the drive is the host's sequence of
// the drive pass for the family's change: backups, the new value, the passes. No check of the
// result, no other strategy.
#include "Families.h"
#include "HostSketch.h"

#include "Qsolver.h"
#include "qsolver/Sketch.h"

#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{

void Build(const qsolver::bench::Family& f, qsolver::Sketch& sketch)
{
    sktInitCountNum();
    for (size_t i = 0; i < f.nodes.size(); ++i)
    {
        qsolver::bench::AddHostNode(sketch, f, i);
    }
    for (size_t i = 0; i < f.relations.size(); ++i)
    {
        qsolver::bench::AddHostRelation(sketch, f, i);
    }
}

// The drive sequence; 1 when every step succeeded.
int DrivePass(qsolver::Sketch& sketch, CRel* rel, double value)
{
    sketch.BackupAll();
    g_sktDriveRelChain.RemoveAll();
    rel->SetValue(value);
    g_sktDriveRelChain.AddTail(rel);
    sktInitDrive(sketch.Nodes(), sketch.Relations());
    sktRemoveGoodNodeFromChain();
    if (sktBuildClusterChain() == 0)
    {
        return 0;
    }
    sktRemoveGoodClusterFromChain();
    return sktSolveClusterChain() != 0 && sktSolveGoodClusterChain() != 0 &&
                   sktSolveGoodNodeChain() != 0
               ? 1
               : 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4 || (std::strcmp(argv[3], "analysis") != 0 && std::strcmp(argv[3], "drive") != 0))
    {
        std::fprintf(stderr, "usage: qsolver_core_profile FAMILY PARAMETER analysis|drive\n"
                             "  FAMILY and PARAMETER as in the benchmark (truss 100000, grid "
                             "316, frame 33334, linkage 333)\n");
        return 2;
    }
    const qsolver::bench::Family f = qsolver::bench::MakeFamily(argv[1], std::atoi(argv[2]));
    qsolver::Sketch sketch;
    Build(f, sketch);
    int ok = 0;
    if (std::strcmp(argv[3], "analysis") == 0)
    {
        CALLGRIND_TOGGLE_COLLECT;
        ok = sketch.Analyse().IsOk() ? 1 : 0;
        CALLGRIND_TOGGLE_COLLECT;
    }
    else
    {
        CRel* rel = sketch.FindRelation("r" + std::to_string(f.changed));
        CALLGRIND_TOGGLE_COLLECT;
        ok = DrivePass(sketch, rel, f.newValue);
        CALLGRIND_TOGGLE_COLLECT;
    }
    std::printf("%s %s %s: %s\n", argv[1], argv[2], argv[3], ok != 0 ? "ok" : "failed");
    return ok != 0 ? 0 : 1;
}
