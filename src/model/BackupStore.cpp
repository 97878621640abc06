// Backup slots: one free list per slot size, fed from chunks that are kept for the life of the
// process (like the list blocks), so a sketch driven again reuses the slots of an earlier one.
#include "model/BackupStore.h"

namespace
{
// Slots per chunk: large enough that a sketch of a hundred thousand nodes takes few chunks.
constexpr std::size_t kSlotsPerChunk = 4096;

struct FreeSlot
{
    FreeSlot* next;
};

struct SizeClass
{
    std::size_t bytes = 0; // slot size, 0 for an unused class
    FreeSlot* free = nullptr;
    char* fresh = nullptr; // untouched rest of the newest chunk
    std::size_t freshLeft = 0;
    // The chunks, newest first, linked through their first slot: every chunk stays referenced
    // from its start, so leak checkers see it as in use.
    void* chunks = nullptr;
};

// The sizes a sketch asks for are few (a double, a point, a line); a handful of classes covers
// them, and any other size goes to the allocator directly.
constexpr int kClasses = 6;

SizeClass* Classes()
{
    // Never destroyed: nodes that outlive static destruction may still hand slots back.
    static SizeClass* classes = new SizeClass[kClasses];
    return classes;
}

std::size_t SlotSize(std::size_t bytes)
{
    std::size_t size = bytes < sizeof(FreeSlot) ? sizeof(FreeSlot) : bytes;
    // Keep every slot aligned for doubles.
    return (size + alignof(double) - 1) / alignof(double) * alignof(double);
}

SizeClass* ClassFor(std::size_t bytes, bool create)
{
    const std::size_t size = SlotSize(bytes);
    SizeClass* classes = Classes();
    for (int i = 0; i < kClasses; ++i)
    {
        if (classes[i].bytes == size)
        {
            return &classes[i];
        }
        if (classes[i].bytes == 0)
        {
            if (!create)
            {
                return nullptr;
            }
            classes[i].bytes = size;
            return &classes[i];
        }
    }
    return nullptr;
}
} // namespace

void* sktTakeBackupSlot(std::size_t bytes) noexcept
{
    SizeClass* c = ClassFor(bytes, true);
    if (c == nullptr)
    {
        return ::operator new(bytes, std::nothrow);
    }
    if (c->free != nullptr)
    {
        FreeSlot* slot = c->free;
        c->free = slot->next;
        return slot;
    }
    if (c->freshLeft == 0)
    {
        const std::size_t chunkBytes = c->bytes * (kSlotsPerChunk + 1);
        char* chunk = static_cast<char*>(::operator new(chunkBytes, std::nothrow));
        if (chunk == nullptr)
        {
            return nullptr;
        }
        *reinterpret_cast<void**>(chunk) = c->chunks;
        c->chunks = chunk;
        c->fresh = chunk + c->bytes;
        c->freshLeft = kSlotsPerChunk;
    }
    void* slot = c->fresh;
    c->fresh += c->bytes;
    --c->freshLeft;
    return slot;
}

void sktGiveBackupSlot(void* slot, std::size_t bytes) noexcept
{
    if (slot == nullptr)
    {
        return;
    }
    SizeClass* c = ClassFor(bytes, false);
    if (c == nullptr)
    {
        ::operator delete(slot);
        return;
    }
    FreeSlot* freed = static_cast<FreeSlot*>(slot);
    freed->next = c->free;
    c->free = freed;
}
