// The sketch's arena: slots of a size side by side in the order they are made, freed slots taken
// again first, no two live allocations overlapping whatever their sizes.
#include "sketch/ObjectArena.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

using qsolver::ObjectArena;

TEST(ObjectArena, SlotsOfASizeFollowEachOtherAndAFreedOneIsTakenFirst)
{
    ObjectArena arena;
    std::vector<char*> made;
    for (int i = 0; i < 8; ++i)
    {
        made.push_back(static_cast<char*>(arena.Take(120)));
        arena.Take(56); // another size between them does not come between them
    }
    for (size_t i = 1; i < made.size(); ++i)
    {
        EXPECT_EQ(made[i] - made[i - 1], 128) << i;
    }
    arena.Give(made[5], 120);
    arena.Give(made[2], 120);
    EXPECT_EQ(arena.Take(128), made[2]);
    EXPECT_EQ(arena.Take(113), made[5]);
}

TEST(ObjectArena, LiveAllocationsNeverOverlap)
{
    ObjectArena arena;
    std::vector<std::pair<uintptr_t, size_t>> live;
    uint32_t seed = 12345;
    auto next = [&seed]
    {
        seed = seed * 1664525u + 1013904223u;
        return seed >> 8;
    };
    for (int i = 0; i < 20000; ++i)
    {
        if (!live.empty() && next() % 3 == 0)
        {
            const size_t at = next() % live.size();
            arena.Give(reinterpret_cast<void*>(live[at].first), live[at].second);
            live.erase(live.begin() + static_cast<long>(at));
            continue;
        }
        // Every slot size, the edges of the largest, and sizes past it.
        const size_t bytes = 1 + next() % 600;
        void* memory = arena.Take(bytes);
        ASSERT_EQ(reinterpret_cast<uintptr_t>(memory) % alignof(std::max_align_t), 0u);
        live.emplace_back(reinterpret_cast<uintptr_t>(memory), bytes);
    }
    std::sort(live.begin(), live.end());
    for (size_t i = 1; i < live.size(); ++i)
    {
        ASSERT_LE(live[i - 1].first + live[i - 1].second, live[i].first) << i;
    }
    for (const auto& [address, bytes] : live)
    {
        arena.Give(reinterpret_cast<void*>(address), bytes);
    }
}
