#include "Adapter.h"

#include "Qsolver.h"

#if __has_include("qsolver/Diagnostics.h")
#include "qsolver/Diagnostics.h"
#define QSOLVER_WEB_DIAGNOSTICS 1
#endif

#include <initializer_list>

namespace qsolver::web
{

Json DiagnoseSketch([[maybe_unused]] Sketch& sketch)
{
#ifdef QSOLVER_WEB_DIAGNOSTICS
    const Diagnostics d = Diagnose(sketch);
    Json nodes = Json::array();
    for (const NodeDiagnosis& n : d.nodes)
    {
        nodes.push_back(Json{{"id", n.id}, {"status", NodeStatusName(n.status)}, {"dof", n.dof}});
    }
    return Json{{"available", true},        {"dof", d.dof},
                {"unknowns", d.unknowns},   {"rank", d.rank},
                {"nodes", nodes},           {"conflicting", d.conflicting},
                {"redundant", d.redundant}, {"complete", d.dependenciesComplete}};
#else
    return Json{{"available", false}};
#endif
}

void ReleaseDriveClusters()
{
    for (CClusterList* chain : {&g_sktClusterChain, &g_sktGoodClusterChain})
    {
        POSITION pos = chain->GetHeadPosition();
        while (pos != nullptr)
        {
            delete chain->GetNext(pos);
        }
        chain->RemoveAll();
    }
}

} // namespace qsolver::web
