// The pointer list: entries come from blocks of m_nBlockSize and return to a free list, so a
// position stays valid until its own entry is removed.
#include "model/PtrList.h"

#include "model/SlotStore.h"

namespace
{
// Every list in the solver allocates its entries this many at a time unless told otherwise.
constexpr int kDefaultBlockSize = 10;

// A list takes as many new blocks at once as it has already, up to this many. The chains are
// filled several at a time (a pass strips nodes into one chain and their relations into
// another): with blocks taken one by one, each chain's blocks interleave with the others' and a
// walk of one jumps between them, which memory cannot stream ahead of; blocks side by side it
// can. Short lists still take one block at a time.
constexpr int kLargestGroup = 64;

// Larger block sizes are taken as this one: a block of it is already 768 KiB.
constexpr int kLargestBlock = 32767;
} // namespace

#if defined(QSOLVER_SLOT_STORE)
void* CObject::operator new(std::size_t bytes)
{
    return sktTakeSlotOrThrow(bytes);
}

void* CObject::operator new(std::size_t bytes, const std::nothrow_t&) noexcept
{
    return sktTakeSlot(bytes);
}

void CObject::operator delete(void* object, std::size_t bytes) noexcept
{
    sktGiveSlot(object, bytes);
}
#endif

CPtrList::CPtrList(int nBlockSize)
    : m_nBlockSize(static_cast<short>(nBlockSize <= 0              ? kDefaultBlockSize
                                      : nBlockSize < kLargestBlock ? nBlockSize
                                                                   : kLargestBlock))
{
}

CPtrList::~CPtrList()
{
    RemoveAll();
    while (m_pBlocks != nullptr)
    {
        // The whole group is handed back at once: find what follows it first.
        const int group = m_pBlocks->nGroup;
        Block* next = m_pBlocks;
        for (int i = 0; i < group; ++i)
        {
            next = next->pNext;
        }
        sktGiveSlot(m_pBlocks, static_cast<std::size_t>(group) * BlockBytes());
        m_pBlocks = next;
    }
}

// Moves to the next block to carve, allocating one when none is left. Kept out of line so that
// taking an entry stays a short path.
#if defined(__GNUC__)
__attribute__((noinline))
#endif
CPtrList::Entry*
CPtrList::FreshEntry()
{
    static_assert(sizeof(Block) <= sizeof(Entry), "a block's header takes one entry's room");
    while (m_nFresh == 0)
    {
        if (m_pCarve != nullptr && m_pCarve->pNext != nullptr)
        {
            // Blocks that an emptied list keeps are handed out again in order.
            m_pCarve = m_pCarve->pNext;
        }
        else
        {
            // One allocation holds one or more blocks, each a header followed by m_nBlockSize
            // entries; new blocks go to the end of the chain, after the ones already carved.
            // Every entry carved so far is in use, so the count tells how many blocks there are.
            const int blocks = m_nCount / m_nBlockSize;
            const int group = blocks < 1 ? 1 : (blocks < kLargestGroup ? blocks : kLargestGroup);
            char* memory = static_cast<char*>(
                sktTakeSlotOrThrow(static_cast<std::size_t>(group) * BlockBytes()));
            Block* first = reinterpret_cast<Block*>(memory);
            for (int i = 0; i < group; ++i)
            {
                Block* block =
                    reinterpret_cast<Block*>(memory + static_cast<std::size_t>(i) * BlockBytes());
                block->nGroup = i == 0 ? group : 0;
                block->pNext = i + 1 < group
                                   ? reinterpret_cast<Block*>(
                                         memory + static_cast<std::size_t>(i + 1) * BlockBytes())
                                   : nullptr;
            }
            // The block being carved is the last one here (or there is none yet).
            if (m_pCarve != nullptr)
            {
                m_pCarve->pNext = first;
            }
            else
            {
                m_pBlocks = first;
            }
            m_pCarve = first;
        }
        m_nFresh = m_nBlockSize;
    }
    Entry* e = reinterpret_cast<Entry*>(m_pCarve) + 1 + (m_nBlockSize - m_nFresh);
    --m_nFresh;
    return e;
}

void CPtrList::Recarve()
{
    m_pFree = nullptr;
    m_pCarve = m_pBlocks;
    m_nFresh = m_pBlocks != nullptr ? m_nBlockSize : static_cast<short>(0);
}

void CPtrList::RemoveAll()
{
    // Every entry is free again at once; the blocks are kept for reuse until destruction.
    m_pHead = nullptr;
    m_pTail = nullptr;
    m_nCount = 0;
    Recarve();
}

POSITION CPtrList::Find(void* p, POSITION after) const
{
    Entry* e = after != nullptr ? reinterpret_cast<Entry*>(after)->pNext : m_pHead;
    for (; e != nullptr; e = e->pNext)
    {
        if (e->data == p)
        {
            return reinterpret_cast<POSITION>(e);
        }
    }
    return nullptr;
}

POSITION CPtrList::InsertBefore(POSITION pos, void* p)
{
    if (pos == nullptr)
    {
        return AddHead(p);
    }
    Entry* at = reinterpret_cast<Entry*>(pos);
    Entry* e = NewEntry(at->pPrev, at, p);
    if (at->pPrev != nullptr)
    {
        at->pPrev->pNext = e;
    }
    else
    {
        m_pHead = e;
    }
    at->pPrev = e;
    return reinterpret_cast<POSITION>(e);
}

POSITION CPtrList::InsertAfter(POSITION pos, void* p)
{
    if (pos == nullptr)
    {
        return AddTail(p);
    }
    Entry* at = reinterpret_cast<Entry*>(pos);
    Entry* e = NewEntry(at, at->pNext, p);
    if (at->pNext != nullptr)
    {
        at->pNext->pPrev = e;
    }
    else
    {
        m_pTail = e;
    }
    at->pNext = e;
    return reinterpret_cast<POSITION>(e);
}
