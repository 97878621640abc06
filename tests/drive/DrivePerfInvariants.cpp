// What the faster drive must keep: lists that hand out recycled and fresh entries walk like a
// plain list, and the save chain still loses each relation's first occurrence when its good
// node is placed.
#include "drive/DriveCheck.h"

#include "QsolverInternal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

using namespace qsolver;

namespace
{
// A tiny deterministic generator, so that a failing sequence replays.
struct Lcg
{
    uint64_t state;
    uint32_t Below(uint32_t n)
    {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<uint32_t>((state >> 33) % n);
    }
};

void ExpectSameWalks(CPtrList& list, const std::list<std::intptr_t>& model)
{
    ASSERT_EQ(list.GetCount(), static_cast<int>(model.size()));
    std::vector<std::intptr_t> forward;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        forward.push_back(reinterpret_cast<std::intptr_t>(list.GetNext(pos)));
    }
    EXPECT_EQ(forward, std::vector<std::intptr_t>(model.begin(), model.end()));
    std::vector<std::intptr_t> backward;
    pos = list.GetTailPosition();
    while (pos != nullptr)
    {
        backward.push_back(reinterpret_cast<std::intptr_t>(list.GetPrev(pos)));
    }
    EXPECT_EQ(backward, std::vector<std::intptr_t>(model.rbegin(), model.rend()));
}

POSITION PositionAt(CPtrList& list, std::size_t index)
{
    POSITION pos = list.GetHeadPosition();
    for (std::size_t i = 0; i < index; ++i)
    {
        list.GetNext(pos);
    }
    return pos;
}

// Gives every relation the measure the drawing has.
void MeasureEveryValue(Sketch& s)
{
    CRelList& rels = s.Relations();
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        if (rel->m_pVal != nullptr)
        {
            rel->m_pVal->SetValue(rel->GetActualVal());
        }
    }
}
} // namespace

TEST(PtrListReuse, RecycledAndFreshEntriesWalkLikeAPlainList)
{
    struct Row
    {
        const char* name;
        int blockSize;
        uint64_t seed;
    };
    // The default size goes through the shared block pool, the others do not.
    const Row rows[] = {{"pooled blocks", 10, 1}, {"small blocks", 3, 2}, {"one per block", 1, 3}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        CPtrList list(row.blockSize);
        std::list<std::intptr_t> model;
        Lcg rng{row.seed};
        std::intptr_t next = 1;
        for (int step = 0; step < 3000; ++step)
        {
            const uint32_t op = rng.Below(10);
            if (op <= 2)
            {
                list.AddTail(reinterpret_cast<void*>(next));
                model.push_back(next++);
            }
            else if (op == 3)
            {
                list.AddHead(reinterpret_cast<void*>(next));
                model.push_front(next++);
            }
            else if (op <= 5 && !model.empty())
            {
                const std::size_t at = rng.Below(static_cast<uint32_t>(model.size()));
                list.RemoveAt(PositionAt(list, at));
                model.erase(std::next(model.begin(), static_cast<long>(at)));
            }
            else if ((op == 6 || op == 7) && !model.empty())
            {
                const std::size_t at = rng.Below(static_cast<uint32_t>(model.size()));
                void* entry = reinterpret_cast<void*>(next);
                op == 6 ? list.InsertBefore(PositionAt(list, at), entry)
                        : list.InsertAfter(PositionAt(list, at), entry);
                model.insert(std::next(model.begin(), static_cast<long>(at + op - 6)), next++);
            }
            else if (op == 8 && rng.Below(20) == 0)
            {
                // Emptying keeps the blocks: later entries come from them again.
                list.RemoveAll();
                model.clear();
            }
            else if (!model.empty())
            {
                EXPECT_EQ(reinterpret_cast<std::intptr_t>(list.RemoveHead()), model.front());
                model.pop_front();
            }
            ExpectSameWalks(list, model);
            if (::testing::Test::HasFailure())
            {
                return;
            }
        }
    }
}

TEST(GoodNodePlacing, TakesTheFirstOccurrenceOfARelationSavedTwice)
{
    // A host may put a relation into the save chain a second time, at either end; placing a
    // good node takes the relation's first occurrence only, wherever it stands.
    Sketch s;
    const int count = 24;
    drivecheck::DrawTruss(s, count + 1);
    // Distances measured from the geometry, so that nothing needs to move.
    MeasureEveryValue(s);

    drivecheck::OpenPass(s, nullptr, 0);
    ASSERT_EQ(g_sktGoodNodeChain.GetCount(), count);
    ASSERT_EQ(sktBuildClusterChain(), 1);
    sktRemoveGoodClusterFromChain();
    ASSERT_EQ(sktSolveClusterChain(), 1);
    ASSERT_EQ(sktSolveGoodClusterChain(), 1);
    // The head relation belongs to the node placed first, the tail one to the node placed last.
    CRel* early = g_sktSaveRelChain.GetHead();
    CRel* late = g_sktSaveRelChain.GetTail();
    g_sktSaveRelChain.AddTail(early);
    g_sktSaveRelChain.AddHead(late);
    ASSERT_EQ(sktSolveGoodNodeChain(), 1);

    // What is left are the second occurrences: the original `late` entry and the added `early`.
    ASSERT_EQ(g_sktSaveRelChain.GetCount(), 2);
    EXPECT_EQ(g_sktSaveRelChain.GetHead(), late);
    EXPECT_EQ(g_sktSaveRelChain.GetTail(), early);
    EXPECT_EQ(g_sktKnownNodeChain.GetCount(), count);
    drivecheck::ClosePass();
}
