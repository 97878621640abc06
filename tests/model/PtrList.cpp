// The pointer list under every chain: order, stable positions, removal during a walk, reuse.
#include "ModelTestSupport.h"

#include <algorithm>
#include <list>
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

TEST(PtrList, RemoveAllKeepsBlocksForReuse)
{
    CPtrList list(10);
    std::vector<POSITION> before;
    for (int i = 0; i < 10; ++i)
    {
        before.push_back(list.AddTail(Item(i)));
    }

    list.RemoveAll();
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
    std::vector<POSITION> after;
    for (int i = 0; i < 10; ++i)
    {
        after.push_back(list.AddTail(Item(i + 10)));
    }

    // The ten new entries come from the block the first ten used: no fresh allocation.
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    EXPECT_EQ(before, after);
    EXPECT_EQ(list.GetHead(), Item(10));
    EXPECT_EQ(list.GetTail(), Item(19));
}

TEST(PtrList, MatchesAStandardListThroughMixedEdits)
{
    CPtrList list(10);
    std::list<std::pair<void*, POSITION>> mirror;
    unsigned seed = 12345;
    auto next = [&seed](unsigned bound)
    {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 16) % bound;
    };

    for (int step = 0; step < 2000; ++step)
    {
        void* p = Item(static_cast<int>(next(40)));
        unsigned op = mirror.empty() ? next(2) : next(7);
        auto at = mirror.begin();
        if (!mirror.empty())
        {
            std::advance(at, next(static_cast<unsigned>(mirror.size())));
        }
        switch (op)
        {
            case 0:
                mirror.emplace_back(p, list.AddTail(p));
                break;
            case 1:
                mirror.emplace_front(p, list.AddHead(p));
                break;
            case 2:
                mirror.emplace(at, p, list.InsertBefore(at->second, p));
                break;
            case 3:
                mirror.emplace(std::next(at), p, list.InsertAfter(at->second, p));
                break;
            case 4:
                list.RemoveAt(at->second);
                mirror.erase(at);
                break;
            case 5:
                EXPECT_EQ(list.RemoveHead(), mirror.front().first);
                mirror.pop_front();
                break;
            default:
                EXPECT_EQ(list.RemoveTail(), mirror.back().first);
                mirror.pop_back();
                break;
        }
        if (step % 500 == 250)
        {
            list.RemoveAll();
            mirror.clear();
        }
    }

    std::vector<void*> expected;
    for (const auto& entry : mirror)
    {
        expected.push_back(entry.first);
        EXPECT_EQ(list.GetAt(entry.second), entry.first);
    }
    EXPECT_EQ(Entries(list), expected);
    EXPECT_EQ(Backward(list), expected);
    EXPECT_EQ(list.GetCount(), static_cast<int>(mirror.size()));
}
