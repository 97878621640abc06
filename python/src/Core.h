// The solver core keeps process-wide chains, counters and an allocator of its own: one call into
// it at a time per process. Every path of the module that makes, solves or deletes core objects
// holds this lock; Python threads keep running while one waits for it or holds it.
#pragma once

#include <mutex>

namespace qsolver::python
{

/// The one lock around every call into the core. Recursive: a sketch deleted while its maker
/// holds the lock (a build that failed half-way) takes it again.
std::recursive_mutex& CoreMutex();

/// Holds the core lock. Taken by a thread that holds the GIL: when the lock is busy the GIL is
/// let go while waiting, so the thread that holds the lock (which never needs the GIL) finishes.
class CoreLock
{
public:
    CoreLock();
    CoreLock(const CoreLock&) = delete;
    CoreLock& operator=(const CoreLock&) = delete;

private:
    std::unique_lock<std::recursive_mutex> m_lock;
};

/// Deletes the clusters a drive leaves in the solver's chains: they point at the nodes of the
/// sketch just solved, which may be deleted before the next pass. Call with the core lock held.
void ReleaseClusters();

} // namespace qsolver::python
