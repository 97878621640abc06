// Storage in slots of one size, carved from large chunks, a freed slot being taken again before
// any later one (see SlotStore.cpp). An opt-in (CMake option QSOLVER_SLOT_STORE): objects come
// from the default allocator unless the library is built with it, and then the objects of a
// sketch (nodes, relations, values, clusters) and the blocks of their lists live here, side by
// side in the order they were made, which is the order the passes walk them. Backups and
// reference identifiers always come from the default allocator, since a host may set them with
// its own new. Not synchronised, like every other piece of the library's state.
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

/// True when the store is built in and not under AddressSanitizer or valgrind; otherwise every
/// slot is an allocation of its own from the default allocator.
bool sktSlotsArePooled() noexcept;
