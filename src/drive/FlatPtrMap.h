// A map from object pointers to small values with open addressing: the drive pass indexes every
// node and relation of large sketches, and a node-based hash map paid one allocation per entry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

template <class V> class FlatPtrMap
{
public:
    void reserve(std::size_t n)
    {
        std::size_t want = 16;
        while (want < 2 * n)
        {
            want *= 2;
        }
        if (want > m_Slots.size())
        {
            Rehash(want);
        }
    }

    /// The value stored for key, or null.
    V* find(const void* key)
    {
        Slot* s = FindSlot(key);
        return s != nullptr ? &s->value : nullptr;
    }

    /// Inserts when absent; returns the stored value and whether it was inserted.
    std::pair<V*, bool> emplace(const void* key, const V& value)
    {
        if (V* found = find(key))
        {
            return {found, false};
        }
        if (2 * (m_nUsed + 1) > m_Slots.size())
        {
            Rehash(m_Slots.empty() ? 16 : 2 * m_Slots.size());
        }
        for (std::size_t i = Home(key);; i = (i + 1) & (m_Slots.size() - 1))
        {
            Slot& s = m_Slots[i];
            if (s.key == nullptr || s.key == Tombstone())
            {
                if (s.key == nullptr)
                {
                    ++m_nUsed;
                }
                s.key = key;
                s.value = value;
                return {&s.value, true};
            }
        }
    }

    V& operator[](const void* key) { return *emplace(key, V()).first; }

    bool erase(const void* key)
    {
        Slot* s = FindSlot(key);
        if (s == nullptr)
        {
            return false;
        }
        // The slot keeps probing chains intact; it is reused by a later insert.
        s->key = Tombstone();
        return true;
    }

private:
    struct Slot
    {
        const void* key = nullptr;
        V value = V();
    };

    Slot* FindSlot(const void* key)
    {
        if (m_Slots.empty())
        {
            return nullptr;
        }
        for (std::size_t i = Home(key);; i = (i + 1) & (m_Slots.size() - 1))
        {
            Slot& s = m_Slots[i];
            if (s.key == key)
            {
                return &s;
            }
            if (s.key == nullptr)
            {
                return nullptr;
            }
        }
    }

    static const void* Tombstone() { return reinterpret_cast<const void*>(std::uintptr_t(1)); }

    std::size_t Home(const void* key) const
    {
        std::uint64_t h = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key));
        h = (h >> 3) * 0x9E3779B97F4A7C15ull;
        return static_cast<std::size_t>(h >> 17) & (m_Slots.size() - 1);
    }

    void Rehash(std::size_t capacity)
    {
        std::vector<Slot> old;
        old.swap(m_Slots);
        m_Slots.assign(capacity, Slot());
        m_nUsed = 0;
        for (Slot& s : old)
        {
            if (s.key != nullptr && s.key != Tombstone())
            {
                emplace(s.key, s.value);
            }
        }
    }

    std::vector<Slot> m_Slots;
    std::size_t m_nUsed = 0; // slots ever filled since the last rehash, tombstones included
};
