// Storage in slots of one size, carved from large chunks, a freed slot being taken again before
// any later one (see SlotStore.cpp). The objects of a sketch (nodes, relations, values), the blocks
// of their relation lists and the backups of their geometry all live here: a pass walks them in
// the order they were made, and slots of one kind side by side in that order are what the
// memory system streams fastest. Allocating each object on its own scattered them between
// unrelated allocations and left every walk of a large sketch waiting on memory. Not
// synchronised, like every other piece of the library's state.
#pragma once

#include <cstddef>
#include <new>

/// A slot of `bytes` bytes, or null when no memory. Slots are aligned for doubles.
void* sktTakeSlot(std::size_t bytes) noexcept;
/// Hands back a slot of the same size from sktTakeSlot or sktTakeSlotOrThrow; null is ignored.
void sktGiveSlot(void* slot, std::size_t bytes) noexcept;
/// A slot of `bytes` bytes; when no memory, runs the new-handler as the global operator new does
/// and throws std::bad_alloc when there is none.
void* sktTakeSlotOrThrow(std::size_t bytes);

/// False under AddressSanitizer and valgrind, where every slot is an allocation of its own.
bool sktSlotsArePooled() noexcept;

/// A value-initialised T in a slot, or null when no memory.
template <class T> T* sktNewBackup() noexcept
{
    void* slot = sktTakeSlot(sizeof(T));
    return slot != nullptr ? new (slot) T() : nullptr;
}

/// A copy of `source` in a slot, or null when no memory.
template <class T> T* sktCopyBackup(const T& source) noexcept
{
    void* slot = sktTakeSlot(sizeof(T));
    return slot != nullptr ? new (slot) T(source) : nullptr;
}

/// Releases a backup made by sktNewBackup or sktCopyBackup (the types are trivially
/// destructible geometry and numbers).
template <class T> void sktDeleteBackup(T* backup) noexcept
{
    sktGiveSlot(backup, sizeof(T));
}
