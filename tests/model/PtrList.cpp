// The pointer list: searching after a position, and long lists filled side by side lying each in
// one stretch of memory. Its other faults crash every whole sketch.
#include "ModelTestSupport.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace
{
int g_items[40];

void* Item(int i)
{
    return &g_items[i];
}

} // namespace

TEST(PtrList, FindSearchesAfterTheGivenPosition)
{
    CPtrList list(10);
    POSITION first = list.AddTail(Item(0));
    list.AddTail(Item(1));
    POSITION second = list.AddTail(Item(0));
    POSITION tail = list.AddTail(Item(2));

    EXPECT_EQ(list.Find(Item(0)), first);
    EXPECT_EQ(list.Find(Item(0), first), second);
    EXPECT_EQ(list.Find(Item(0), second), nullptr);
    EXPECT_EQ(list.Find(Item(2), tail), nullptr);
    EXPECT_EQ(list.Find(Item(9)), nullptr);
}

TEST(PtrList, ListsFilledTogetherEachLieInOneStretch)
{
    // As the stripping fills two chains at once: one from the head, one from the tail.
    CPtrList heads(10);
    CPtrList tails(10);
    for (int fill = 0; fill < 2; ++fill)
    {
        heads.RemoveAll();
        tails.RemoveAll();
        const int count = 3000;
        for (int i = 0; i < count; ++i)
        {
            heads.AddHead(Item(i % 40));
            tails.AddTail(Item(i % 40));
            tails.AddTail(Item((i + 1) % 40));
        }
        for (CPtrList* list : {&heads, &tails})
        {
            // Nearly every step of a walk goes to the entry beside the last one.
            int near = 0;
            int steps = 0;
            POSITION pos = list->GetHeadPosition();
            std::intptr_t last = reinterpret_cast<std::intptr_t>(pos);
            while (pos != nullptr)
            {
                list->GetNext(pos);
                if (pos != nullptr)
                {
                    const std::intptr_t at = reinterpret_cast<std::intptr_t>(pos);
                    near += std::abs(at - last) < 64 ? 1 : 0;
                    ++steps;
                    last = at;
                }
            }
            EXPECT_GT(near, steps * 95 / 100) << "fill " << fill;
        }
        EXPECT_EQ(heads.GetHead(), Item((count - 1) % 40));
        EXPECT_EQ(tails.GetTail(), Item(count % 40));
    }
}

TEST(PtrList, AnyBlockSizeAHostGivesHoldsItsEntries)
{
    // Out-of-range sizes fall back to the default or the largest block the list keeps.
    for (int blockSize : {-5, 0, 1, 10, 40000})
    {
        CPtrList list(blockSize);
        for (int i = 0; i < 100; ++i)
        {
            list.AddTail(Item(i % 40));
        }
        list.RemoveAt(list.GetHeadPosition());
        list.AddHead(Item(39));
        int count = 0;
        POSITION pos = list.GetHeadPosition();
        while (pos != nullptr)
        {
            EXPECT_EQ(list.GetNext(pos), Item(count == 0 ? 39 : count % 40)) << blockSize;
            ++count;
        }
        EXPECT_EQ(count, 100) << blockSize;
    }
}
