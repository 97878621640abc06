#include "ObjectArena.h"

#include <algorithm>

namespace qsolver
{

namespace
{
// A size class's first block holds a few slots; each next one twice as many bytes, up to this.
constexpr std::size_t kFirstBlockSlots = 16;
constexpr std::size_t kLargestBlock = std::size_t{1} << 20;
} // namespace

ObjectArena::~ObjectArena()
{
    for (void* block : m_blocks)
    {
        ::operator delete(block);
    }
}

void* ObjectArena::Take(std::size_t bytes)
{
    if (bytes == 0 || bytes > kLargestSlot)
    {
        return ::operator new(bytes == 0 ? 1 : bytes);
    }
    const std::size_t slot = (bytes + kGrain - 1) / kGrain * kGrain;
    SizeClass& c = m_classes[slot / kGrain - 1];
    if (c.free != nullptr)
    {
        FreeSlot* taken = c.free;
        c.free = taken->next;
        return taken;
    }
    if (c.carve == c.end)
    {
        c.blockBytes =
            c.blockBytes == 0
                ? slot * kFirstBlockSlots
                : std::max(slot, std::min(2 * c.blockBytes, kLargestBlock) / slot * slot);
        m_blocks.reserve(m_blocks.size() + 1);
        c.carve = static_cast<char*>(::operator new(c.blockBytes));
        c.end = c.carve + c.blockBytes;
        m_blocks.push_back(c.carve);
    }
    void* taken = c.carve;
    c.carve += slot;
    return taken;
}

void ObjectArena::Give(void* memory, std::size_t bytes) noexcept
{
    if (memory == nullptr)
    {
        return;
    }
    if (bytes == 0 || bytes > kLargestSlot)
    {
        ::operator delete(memory);
        return;
    }
    const std::size_t slot = (bytes + kGrain - 1) / kGrain * kGrain;
    SizeClass& c = m_classes[slot / kGrain - 1];
    FreeSlot* freed = static_cast<FreeSlot*>(memory);
    freed->next = c.free;
    c.free = freed;
}

template <class T> void ObjectArena::Free(CObject* object)
{
    T* typed = static_cast<T*>(object);
#if defined(QSOLVER_SLOT_STORE)
    delete typed;
#else
    typed->~T();
    Give(typed, sizeof(T));
#endif
}

void ObjectArena::Destroy(CNode* node)
{
    switch (node->GetType())
    {
        case SKT_NODE_POINT:
            Free<CVert>(node);
            break;
        case SKT_NODE_LINE:
            Free<CMathline>(node);
            break;
        default:
            Free<CMathcir>(node);
            break;
    }
}

void ObjectArena::Destroy(CRel* rel)
{
    switch (rel->GetType())
    {
        case SKT_REL_FIX:
            Free<CFix>(rel);
            break;
        case SKT_REL_PPDIS:
            Free<CPPdis>(rel);
            break;
        case SKT_REL_PLDIS:
            Free<CPLdis>(rel);
            break;
        case SKT_REL_LLDIS:
            Free<CLLdis>(rel);
            break;
        case SKT_REL_LLANG:
            Free<CLLang>(rel);
            break;
        default:
            Free<CRad>(rel);
            break;
    }
}

namespace detail
{
void* ArenaTake(ObjectArena& arena, std::size_t bytes)
{
    return arena.Take(bytes);
}

void ArenaGive(ObjectArena& arena, void* memory, std::size_t bytes) noexcept
{
    arena.Give(memory, bytes);
}
} // namespace detail

} // namespace qsolver
