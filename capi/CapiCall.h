// The boundary of every C API call: one call at a time in the process, and nothing thrown
// crosses into C. A handle has `error`, `fixedError` and `broken` (see qsolver_sketch).
#pragma once

#include "qsolver/qsolver_c.h"

#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>

namespace qsolver::capi
{

// The solver's working lists and counters are process-wide, so one pass (indeed one call) runs
// at a time, whichever handle it is on.
inline std::mutex& CallLock()
{
    static std::mutex lock;
    return lock;
}

inline const char* const kNoMemory = "out of memory";
inline const char* const kBroken =
    "an earlier allocation failure left this sketch unusable: destroy it and load it again";

template <class Handle> int Fail(Handle& h, int status, const std::string& message)
{
    h.error = message;
    return status;
}

// What a call does to the sketch: reading, or changing it (an allocation failure part way
// through a change may leave it inconsistent).
enum class Effect
{
    Reads,
    Changes,
};

template <class Handle, class Body> int Call(Handle* h, Effect effect, Body&& body) noexcept
{
    if (h == nullptr)
    {
        return QSOLVER_ERR_ARGUMENT;
    }
    try
    {
        std::lock_guard<std::mutex> guard(CallLock());
        h->fixedError = nullptr;
        h->error.clear();
        if (h->broken)
        {
            h->fixedError = kBroken;
            return QSOLVER_ERR_NO_MEMORY;
        }
        return body(*h);
    }
    catch (const std::bad_alloc&)
    {
        h->fixedError = kNoMemory;
        h->broken = h->broken || effect == Effect::Changes;
        return QSOLVER_ERR_NO_MEMORY;
    }
    catch (const std::exception& e)
    {
        try
        {
            h->error = std::string("internal error: ") + e.what();
        }
        catch (...)
        {
            h->fixedError = kNoMemory;
        }
        h->broken = h->broken || effect == Effect::Changes;
        return QSOLVER_ERR_INTERNAL;
    }
    catch (...)
    {
        h->fixedError = "internal error";
        h->broken = h->broken || effect == Effect::Changes;
        return QSOLVER_ERR_INTERNAL;
    }
}

// A new handle whose `sketch` is made by `make`, or null when memory ran out.
template <class Handle, class Make> Handle* CreateHandle(Make&& make) noexcept
{
    try
    {
        // The library's object store is process-wide too.
        std::lock_guard<std::mutex> guard(CallLock());
        std::unique_ptr<Handle> h(new Handle());
        h->sketch.reset(make());
        return h.release();
    }
    catch (...)
    {
        return nullptr;
    }
}

template <class Handle> void DestroyHandle(Handle* h) noexcept
{
    if (h == nullptr)
    {
        return;
    }
    try
    {
        std::lock_guard<std::mutex> guard(CallLock());
        delete h;
    }
    catch (...)
    {
        // Only taking the lock can throw, before anything was deleted.
        delete h;
    }
}

template <class Handle> const char* LastError(const Handle* h) noexcept
{
    if (h == nullptr)
    {
        return "no sketch";
    }
    return h->fixedError != nullptr ? h->fixedError : h->error.c_str();
}

} // namespace qsolver::capi
