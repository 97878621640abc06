// The pointer list: searching after a position. Its other faults crash every whole sketch.
#include "ModelTestSupport.h"

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
