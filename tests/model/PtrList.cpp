// The pointer list under every chain: removal during a walk, and searching after a position.
#include "ModelTestSupport.h"

#include <algorithm>
#include <vector>

namespace
{
int g_items[40];

void* Item(int i)
{
    return &g_items[i];
}

std::vector<void*> Backward(const CPtrList& list)
{
    std::vector<void*> out;
    POSITION pos = list.GetTailPosition();
    while (pos != nullptr)
    {
        out.push_back(list.GetPrev(pos));
    }
    std::reverse(out.begin(), out.end());
    return out;
}
} // namespace

TEST(PtrList, WalkMayRemoveTheEntryItStandsOn)
{
    CPtrList list(10);
    for (int i = 0; i < 25; ++i)
    {
        list.AddTail(Item(i));
    }

    POSITION pos = list.GetHeadPosition();
    int index = 0;
    while (pos != nullptr)
    {
        POSITION at = pos;
        list.GetNext(pos);
        if (index++ % 3 != 1)
        {
            list.RemoveAt(at);
        }
    }

    std::vector<void*> expected;
    for (int i = 1; i < 25; i += 3)
    {
        expected.push_back(Item(i));
    }
    EXPECT_EQ(Entries(list), expected);
    EXPECT_EQ(Backward(list), expected);
    EXPECT_EQ(list.GetCount(), static_cast<int>(expected.size()));
}

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
