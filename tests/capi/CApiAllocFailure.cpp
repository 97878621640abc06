// Allocation failure at every allocation of building a sketch call by call and of a drive: the
// C API answers QSOLVER_ERR_NO_MEMORY and never lets std::bad_alloc out, and a change that failed
// half-way leaves the handle refusing everything but destroy.
#include "qsolver/qsolver_c.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace
{
// Allocations left before operator new fails; negative: no limit.
long g_budget = -1;
int g_failures = 0;

void Check(bool ok, const char* what, long budget)
{
    if (!ok)
    {
        std::fprintf(stderr, "budget %ld: %s\n", budget, what);
        ++g_failures;
    }
}

const char* const kSketch = R"({
  "nodes": [
    {"id": "A", "type": "point", "at": [0, 0]},
    {"id": "B", "type": "point", "at": [4, 0]},
    {"id": "C", "type": "point", "at": [0, 3]},
    {"id": "base", "type": "line", "through": [0, 0], "direction": [1, 0]}
  ],
  "relations": [
    {"id": "fixA", "type": "fix", "nodes": ["A"]},
    {"id": "fixBase", "type": "fix", "nodes": ["base"]},
    {"id": "bOnBase", "type": "pldis", "nodes": ["B", "base"], "value": 0},
    {"id": "ab", "type": "ppdis", "nodes": ["A", "B"], "value": 4},
    {"id": "ac", "type": "ppdis", "nodes": ["A", "C"], "value": 3},
    {"id": "bc", "type": "ppdis", "nodes": ["B", "C"], "value": 5}
  ]
}
)";

// The sketch of kSketch, call by call; the first status that is not QSOLVER_OK.
int BuildByCalls(qsolver_sketch* s)
{
    int status = qsolver_sketch_add_point(s, "A", 0, 0);
    status = status ? status : qsolver_sketch_add_point(s, "B", 4, 0);
    status = status ? status : qsolver_sketch_add_point(s, "C", 0, 3);
    status = status ? status : qsolver_sketch_add_line(s, "base", 0, 0, 1, 0, 0);
    status =
        status ? status : qsolver_sketch_add_relation(s, "fixA", QSOLVER_REL_FIX, "A", 0, 0, 0);
    status = status ? status
                    : qsolver_sketch_add_relation(s, "fixBase", QSOLVER_REL_FIX, "base", 0, 0, 0);
    status = status
                 ? status
                 : qsolver_sketch_add_relation(s, "bOnBase", QSOLVER_REL_PLDIS, "B", "base", 0, 0);
    status =
        status ? status : qsolver_sketch_add_relation(s, "ab", QSOLVER_REL_PPDIS, "A", "B", 4, 0);
    status =
        status ? status : qsolver_sketch_add_relation(s, "ac", QSOLVER_REL_PPDIS, "A", "C", 3, 0);
    status =
        status ? status : qsolver_sketch_add_relation(s, "bc", QSOLVER_REL_PPDIS, "B", "C", 5, 0);
    status = status ? status : qsolver_sketch_analyse(s, nullptr);
    return status;
}

} // namespace

void* operator new(std::size_t size)
{
    if (g_budget == 0)
    {
        throw std::bad_alloc();
    }
    if (g_budget > 0)
    {
        --g_budget;
    }
    if (void* p = std::malloc(size != 0 ? size : 1))
    {
        return p;
    }
    throw std::bad_alloc();
}

// The library's object store asks without exceptions: the same budget, answered with null.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (g_budget == 0)
    {
        return nullptr;
    }
    if (g_budget > 0)
    {
        --g_budget;
    }
    return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* p, const std::nothrow_t&) noexcept
{
    std::free(p);
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

int main()
{
    // Building by calls: every budget up to one that suffices. (Not loading: the JSON reader
    // allocates while it frees a parsed document, and a failure there ends the process.)
    bool built = false;
    for (long budget = 0; !built && budget < 100000; ++budget)
    {
        qsolver_sketch* s = qsolver_sketch_create();
        Check(s != nullptr, "create", budget);
        g_budget = budget;
        const int status = BuildByCalls(s);
        g_budget = -1;
        Check(status == QSOLVER_OK || status == QSOLVER_ERR_NO_MEMORY, "build status", budget);
        built = status == QSOLVER_OK;
        if (!built)
        {
            Check(std::strcmp(qsolver_sketch_last_error(s), "out of memory") == 0, "build text",
                  budget);
            Check(qsolver_sketch_add_point(s, "P", 1, 2) == QSOLVER_ERR_NO_MEMORY,
                  "broken handle refuses", budget);
        }
        qsolver_sketch_destroy(s);
    }
    Check(built, "no budget was enough to build", 100000);

    // Creating with no memory gives no handle.
    g_budget = 0;
    qsolver_sketch* none = qsolver_sketch_create();
    g_budget = -1;
    Check(none == nullptr, "create without memory", 0);

    // Driving: every budget up to one that suffices.
    bool driven = false;
    for (long budget = 0; !driven && budget < 100000; ++budget)
    {
        qsolver_sketch* s = qsolver_sketch_create();
        qsolver_sketch_load_json(s, kSketch, std::strlen(kSketch));
        const char* ids[] = {"ab"};
        const double values[] = {6.0};
        g_budget = budget;
        const int status = qsolver_sketch_drive(s, ids, values, 1);
        g_budget = -1;
        Check(status == QSOLVER_OK || status == QSOLVER_ERR_NO_MEMORY, "drive status", budget);
        driven = status == QSOLVER_OK;
        if (!driven)
        {
            double x = 0;
            double y = 0;
            Check(qsolver_sketch_point(s, "B", &x, &y) == QSOLVER_ERR_NO_MEMORY,
                  "broken handle refuses", budget);
            Check(std::strstr(qsolver_sketch_last_error(s), "destroy") != nullptr,
                  "broken handle says why", budget);
        }
        qsolver_sketch_destroy(s);
    }
    Check(driven, "no budget was enough to drive", 100000);

    if (g_failures != 0)
    {
        std::fprintf(stderr, "%d checks failed\n", g_failures);
        return 1;
    }
    std::printf("C API under allocation failure: all checks passed\n");
    return 0;
}
