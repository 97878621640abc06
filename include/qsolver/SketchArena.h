// Where a sketch keeps its nodes, relations and id indexes: slots of one size each, carved in
// order from large blocks of the default allocator (see sketch/ObjectArena.h). Here only what
// the Sketch's members need to name: the arena and an allocator for the indexes.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

namespace qsolver
{

class ObjectArena;

namespace detail
{
void* ArenaTake(ObjectArena& arena, std::size_t bytes);
void ArenaGive(ObjectArena& arena, void* memory, std::size_t bytes) noexcept;

/// A standard allocator over an arena, for containers whose entries should lie together.
template <class T> struct ArenaAllocator
{
    using value_type = T;

    explicit ArenaAllocator(ObjectArena* a) noexcept : arena(a) {}
    template <class U> ArenaAllocator(const ArenaAllocator<U>& other) noexcept : arena(other.arena)
    {
    }

    T* allocate(std::size_t n) { return static_cast<T*>(ArenaTake(*arena, n * sizeof(T))); }
    void deallocate(T* p, std::size_t n) noexcept { ArenaGive(*arena, p, n * sizeof(T)); }

    friend bool operator==(const ArenaAllocator& a, const ArenaAllocator& b)
    {
        return a.arena == b.arena;
    }
    friend bool operator!=(const ArenaAllocator& a, const ArenaAllocator& b)
    {
        return a.arena != b.arena;
    }

    ObjectArena* arena;
};

template <class Key, class Value>
using ArenaMap = std::unordered_map<Key, Value, std::hash<Key>, std::equal_to<Key>,
                                    ArenaAllocator<std::pair<const Key, Value>>>;
} // namespace detail

} // namespace qsolver
