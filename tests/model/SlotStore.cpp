// Slots: objects made after others were deleted, in whatever order, lie as on a fresh start.
// The drive of a large sketch depends on it for its speed; nothing else would notice.
#include "ModelTestSupport.h"

#include "model/SlotStore.h"

#include <algorithm>
#include <random>
#include <vector>

namespace
{
template <class Make> std::vector<CObject*> MakeMany(int count, Make make)
{
    std::vector<CObject*> made;
    for (int i = 0; i < count; ++i)
    {
        made.push_back(make());
    }
    return made;
}

void DeleteShuffled(std::vector<CObject*>& objects, unsigned seed)
{
    std::mt19937 rng(seed);
    std::shuffle(objects.begin(), objects.end(), rng);
    for (CObject* object : objects)
    {
        delete object;
    }
}
} // namespace

TEST(SlotStore, ObjectsMadeAfterShuffledDeletionTakeTheSameSlotsInTheSameOrder)
{
    if (!sktSlotsArePooled())
    {
        GTEST_SKIP() << "every object is its own allocation under the memory checkers";
    }
    // Several chunks' worth of each kind, made interleaved as a host makes a sketch.
    const int count = 5000;
    auto makeSketch = [&]()
    {
        std::vector<CObject*> all;
        for (int i = 0; i < count; ++i)
        {
            all.push_back(new CVert(i, 0.0, 0.0));
            all.push_back(new CPPdis());
            all.push_back(new CVal());
        }
        return all;
    };
    std::vector<CObject*> first = makeSketch();
    const std::vector<CObject*> firstOrder = first;
    // Each kind lies side by side in the order made, except where a chunk ends.
    int adjacent = 0;
    for (int i = 1; i < count; ++i)
    {
        const auto* prev = reinterpret_cast<const char*>(firstOrder[3 * (i - 1)]);
        const auto* next = reinterpret_cast<const char*>(firstOrder[3 * i]);
        adjacent += next - prev == static_cast<std::ptrdiff_t>(sizeof(CVert)) ? 1 : 0;
    }
    EXPECT_GE(adjacent, count - 10);
    DeleteShuffled(first, 7);
    std::vector<CObject*> second = makeSketch();
    EXPECT_EQ(second, firstOrder);
    DeleteShuffled(second, 8);
}

TEST(SlotStore, AFreedSlotIsTakenBeforeAnyLaterOne)
{
    if (!sktSlotsArePooled())
    {
        GTEST_SKIP() << "every object is its own allocation under the memory checkers";
    }
    // An odd size no solver class has: the slots are this test's alone.
    const std::size_t bytes = 488;
    std::vector<void*> slots;
    for (int i = 0; i < 2000; ++i)
    {
        slots.push_back(sktTakeSlot(bytes));
        ASSERT_NE(slots.back(), nullptr);
    }
    // One from the first chunk and one from a later chunk come back; the lower comes first.
    sktGiveSlot(slots[1500], bytes);
    sktGiveSlot(slots[3], bytes);
    EXPECT_EQ(sktTakeSlot(bytes), slots[3]);
    EXPECT_EQ(sktTakeSlot(bytes), slots[1500]);
    void* fresh = sktTakeSlot(bytes);
    EXPECT_EQ(std::find(slots.begin(), slots.end(), fresh), slots.end());
    sktGiveSlot(fresh, bytes);
    for (void* slot : slots)
    {
        sktGiveSlot(slot, bytes);
    }
}

TEST(SlotStore, HostsMayStillPlaceAnObjectInMemoryOfTheirOwn)
{
    alignas(CVert) unsigned char memory[sizeof(CVert)];
    CVert* point = new (memory) CVert(1.0, 2.0, 0.0);
    EXPECT_EQ(static_cast<void*>(point), static_cast<void*>(memory));
    EXPECT_EQ(point->m_Pos.y, 2.0);
    point->~CVert();
}
