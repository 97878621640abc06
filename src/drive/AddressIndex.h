// A map from objects to their place in a walk, kept by where the objects lie. Objects made one
// after another lie side by side, and the passes look up an object's neighbours, so their entries
// share cache lines; a hash scatters them over a table larger than the cache.
#pragma once

#include "drive/FlatPtrMap.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class AddressIndex
{
public:
    // Entries are kept one per 64 bytes of address (32 where pointers are 4 bytes and objects
    // shrink with them), so keys must be objects at least that large.
    static constexpr unsigned kGranuleBits = sizeof(void*) >= 8 ? 6 : 5;

    /// Prepares for the given keys (duplicates allowed). Where they lie too thinly spread over
    /// memory for a table by address to pay, a hash map serves instead.
    template <class T> void Plan(T* const* keys, std::size_t count)
    {
        m_Windows = FlatPtrMap<int>();
        m_Entries.clear();
        m_Plain = FlatPtrMap<int>();
        m_nLastWindow = 0;
        m_nLastBase = -1;
        int windows = 0;
        for (std::size_t i = 0; i < count; ++i)
        {
            if (m_Windows.emplace(WindowKey(keys[i]), windows).second)
            {
                ++windows;
            }
        }
        // The table costs an int per 64 bytes of every window touched; a hash map costs about
        // 32 bytes a key. Above that the hash map is used, and so for small walks too, where
        // clearing even one window would cost more than the walk.
        const std::size_t tableEntries = static_cast<std::size_t>(windows) * kPerWindow;
        m_bByAddress = tableEntries <= 8 * count;
        if (m_bByAddress)
        {
            m_Entries.assign(tableEntries, -1);
        }
        else
        {
            m_Windows = FlatPtrMap<int>();
            m_Plain.reserve(count);
        }
    }

    /// Stores value for key unless key is present; returns whether it was stored.
    bool insert(const void* key, int value)
    {
        if (!m_bByAddress)
        {
            return m_Plain.emplace(key, value).second;
        }
        int* entry = Entry(key);
        if (entry == nullptr || *entry != -1)
        {
            return false;
        }
        *entry = value;
        return true;
    }

    /// Whether the keys planned for lie closely enough to be kept by address.
    bool ByAddress() const { return m_bByAddress; }

    /// The value stored for key, or null.
    const int* find(const void* key)
    {
        if (!m_bByAddress)
        {
            return m_Plain.find(key);
        }
        const int* entry = Entry(key);
        return entry != nullptr && *entry != -1 ? entry : nullptr;
    }

private:
    static constexpr unsigned kWindowBits = 18;
    static constexpr std::size_t kPerWindow = std::size_t(1) << (kWindowBits - kGranuleBits);

    static const void* WindowKey(const void* key)
    {
        const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(key);
        // Offset by one window so that no window key is null, which the map reserves.
        return reinterpret_cast<const void*>(((at >> kWindowBits) + 1) << kWindowBits);
    }

    int* Entry(const void* key)
    {
        const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(key);
        const std::uintptr_t window = at >> kWindowBits;
        // Neighbours mostly share a window: the last one found is tried first.
        if (m_nLastBase < 0 || window != m_nLastWindow)
        {
            const int* block = m_Windows.find(WindowKey(key));
            if (block == nullptr)
            {
                return nullptr;
            }
            m_nLastWindow = window;
            m_nLastBase =
                static_cast<std::ptrdiff_t>(*block) * static_cast<std::ptrdiff_t>(kPerWindow);
        }
        const std::size_t slot = (at & ((std::uintptr_t(1) << kWindowBits) - 1)) >> kGranuleBits;
        return &m_Entries[static_cast<std::size_t>(m_nLastBase) + slot];
    }

    bool m_bByAddress = false;
    FlatPtrMap<int> m_Windows; // window -> its block of m_Entries
    std::vector<int> m_Entries;
    std::uintptr_t m_nLastWindow = 0;
    std::ptrdiff_t m_nLastBase = -1;
    FlatPtrMap<int> m_Plain;
};
