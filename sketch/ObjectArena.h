// Where a sketch keeps its nodes and relations (and, in an arena of its own, its id indexes):
// slots of one size each, carved in order from large blocks of the default allocator, a freed
// slot taken again before a fresh one. The passes walk a sketch's nodes and relations in the
// order they were made; made one by one with new, they would lie among the relation values,
// list blocks and index entries made alongside them, and on a heap that earlier sketches have
// used they would lie wherever the allocator had room. A large sketch's walks would then wait
// on memory. The core never deletes a node or relation (the host owns them), so the sketch may
// place them where it likes; backups, values and everything else the core allocates still come
// from the default allocator.
#pragma once

#include "Qsolver.h"
#include "qsolver/SketchArena.h"

#include <array>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace qsolver
{

class ObjectArena
{
public:
    ObjectArena() = default;
    ObjectArena(const ObjectArena&) = delete;
    ObjectArena& operator=(const ObjectArena&) = delete;
    ~ObjectArena();

    /// Memory for `bytes`; above the largest slot size straight from the default allocator.
    void* Take(std::size_t bytes);
    void Give(void* memory, std::size_t bytes) noexcept;

    template <class T, class... Args> T* Make(Args&&... args)
    {
#if defined(QSOLVER_SLOT_STORE)
        // The library's store already keeps the objects of a sketch side by side, with the
        // values and list blocks the core makes for them.
        return new T(std::forward<Args>(args)...);
#else
        static_assert(alignof(T) <= kGrain, "slots are aligned to the grain");
        void* memory = Take(sizeof(T));
        try
        {
            return ::new (memory) T(std::forward<Args>(args)...);
        }
        catch (...)
        {
            Give(memory, sizeof(T));
            throw;
        }
#endif
    }

    void Destroy(CNode* node);
    void Destroy(CRel* rel);

private:
    template <class T> void Free(CObject* object);

    static constexpr std::size_t kGrain = alignof(std::max_align_t);
    static constexpr std::size_t kLargestSlot = 512;
    static constexpr std::size_t kClasses = kLargestSlot / kGrain;

    struct FreeSlot
    {
        FreeSlot* next;
    };
    struct SizeClass
    {
        FreeSlot* free = nullptr;
        char* carve = nullptr;
        char* end = nullptr;
        std::size_t blockBytes = 0;
    };

    std::array<SizeClass, kClasses> m_classes{};
    std::vector<void*> m_blocks;
};

} // namespace qsolver
