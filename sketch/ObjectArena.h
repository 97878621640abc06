// Where a sketch keeps its nodes and relations: pools of one object size each, carved from large
// blocks of the default allocator. The passes walk a sketch's nodes and relations in the order
// they were made; made one by one with new, they would lie among the relation values, list
// blocks and index entries made alongside them, and a large sketch's walks would wait on
// memory. The core never deletes a node or relation (the host owns them), so the sketch may
// place them where it likes; backups, values and everything else the core allocates still come
// from the default allocator.
#pragma once

#include "Qsolver.h"

#include <cstddef>
#include <memory_resource>
#include <new>
#include <utility>

namespace qsolver
{

class ObjectArena
{
public:
    template <class T, class... Args> T* Make(Args&&... args)
    {
        void* memory = m_pool.allocate(sizeof(T), alignof(T));
        try
        {
            return ::new (memory) T(std::forward<Args>(args)...);
        }
        catch (...)
        {
            m_pool.deallocate(memory, sizeof(T), alignof(T));
            throw;
        }
    }

    void Destroy(CNode* node);
    void Destroy(CRel* rel);

private:
    template <class T> void Free(CObject* object);

    std::pmr::unsynchronized_pool_resource m_pool;
};

} // namespace qsolver
