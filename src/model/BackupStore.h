// Storage for the backups of node geometry and value numbers. A host backs up every node and
// value before each pass, and on a fresh sketch that is one small allocation per object: slots
// of one size are carved from large chunks and recycled through a free list instead.
#pragma once

#include <cstddef>
#include <new>

/// A slot of `bytes` bytes (8, 24 or 48 expected; any size works), or null when no memory.
void* sktTakeBackupSlot(std::size_t bytes) noexcept;
/// Hands a slot from sktTakeBackupSlot of the same size back; null is ignored.
void sktGiveBackupSlot(void* slot, std::size_t bytes) noexcept;

/// A value-initialised T in a backup slot, or null when no memory.
template <class T> T* sktNewBackup() noexcept
{
    void* slot = sktTakeBackupSlot(sizeof(T));
    return slot != nullptr ? new (slot) T() : nullptr;
}

/// A copy of `source` in a backup slot, or null when no memory.
template <class T> T* sktCopyBackup(const T& source) noexcept
{
    void* slot = sktTakeBackupSlot(sizeof(T));
    return slot != nullptr ? new (slot) T(source) : nullptr;
}

/// Releases a backup made by sktNewBackup or sktCopyBackup (the types are trivially
/// destructible geometry and numbers).
template <class T> void sktDeleteBackup(T* backup) noexcept
{
    sktGiveBackupSlot(backup, sizeof(T));
}
