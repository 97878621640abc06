// The core lock of the module.
#include "Core.h"

#include "Qsolver.h"

#include <pybind11/pybind11.h>

#include <initializer_list>

namespace qsolver::python
{

std::recursive_mutex& CoreMutex()
{
    static std::recursive_mutex mutex;
    return mutex;
}

CoreLock::CoreLock() : m_lock(CoreMutex(), std::try_to_lock)
{
    if (!m_lock.owns_lock())
    {
        if (PyGILState_Check() != 0)
        {
            pybind11::gil_scoped_release release;
            m_lock.lock();
        }
        else
        {
            m_lock.lock();
        }
    }
}

void ReleaseClusters()
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

} // namespace qsolver::python
