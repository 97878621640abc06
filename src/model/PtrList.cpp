// The pointer list: entries come from blocks of m_nBlockSize and return to a free list, so a
// position stays valid until its own entry is removed.
#include "model/PtrList.h"

#include <cstdlib>
#include <new>

namespace
{
// Every list in the solver allocates its entries this many at a time.
constexpr int kDefaultBlockSize = 10;

// Blocks of the default size are recycled through one free list: the passes create and drop
// short scratch lists for every node they visit, and going to the allocator each time cost more
// than the walks themselves. Not synchronised, like every other piece of the library's state.
struct BlockPool
{
    void* head = nullptr;
};

BlockPool& Pool()
{
    // Never destroyed: lists that outlive static destruction may still hand blocks back.
    static BlockPool* pool = new BlockPool();
    return *pool;
}

void* TakeBlock(size_t bytes, bool pooled)
{
    if (pooled && Pool().head != nullptr)
    {
        void* block = Pool().head;
        Pool().head = *static_cast<void**>(block);
        return block;
    }
    return ::operator new(bytes);
}

void GiveBlock(void* block, bool pooled)
{
    if (pooled)
    {
        *static_cast<void**>(block) = Pool().head;
        Pool().head = block;
        return;
    }
    ::operator delete(block);
}
} // namespace

CPtrList::CPtrList(int nBlockSize) : m_nBlockSize(nBlockSize > 0 ? nBlockSize : kDefaultBlockSize)
{
}

CPtrList::~CPtrList()
{
    RemoveAll();
    while (m_pBlocks != nullptr)
    {
        Block* next = m_pBlocks->pNext;
        GiveBlock(m_pBlocks, m_nBlockSize == kDefaultBlockSize);
        m_pBlocks = next;
    }
}

CPtrList::Entry* CPtrList::NewEntry(Entry* prev, Entry* next, void* p)
{
    if (m_pFree == nullptr)
    {
        // One allocation holds the block header followed by m_nBlockSize entries.
        size_t bytes = sizeof(Entry) * static_cast<size_t>(m_nBlockSize + 1);
        Block* block = static_cast<Block*>(TakeBlock(bytes, m_nBlockSize == kDefaultBlockSize));
        block->pNext = m_pBlocks;
        m_pBlocks = block;
        Entry* entries = reinterpret_cast<Entry*>(block) + 1;
        for (int i = m_nBlockSize - 1; i >= 0; --i)
        {
            entries[i].pNext = m_pFree;
            m_pFree = &entries[i];
        }
    }
    Entry* e = m_pFree;
    m_pFree = e->pNext;
    e->pPrev = prev;
    e->pNext = next;
    e->data = p;
    ++m_nCount;
    return e;
}

void CPtrList::FreeEntry(Entry* e)
{
    e->data = nullptr;
    e->pPrev = nullptr;
    e->pNext = m_pFree;
    m_pFree = e;
    --m_nCount;
}

POSITION CPtrList::GetHeadPosition() const
{
    return reinterpret_cast<POSITION>(m_pHead);
}

POSITION CPtrList::GetTailPosition() const
{
    return reinterpret_cast<POSITION>(m_pTail);
}

void*& CPtrList::GetNext(POSITION& pos) const
{
    Entry* e = reinterpret_cast<Entry*>(pos);
    pos = reinterpret_cast<POSITION>(e->pNext);
    return e->data;
}

void*& CPtrList::GetPrev(POSITION& pos) const
{
    Entry* e = reinterpret_cast<Entry*>(pos);
    pos = reinterpret_cast<POSITION>(e->pPrev);
    return e->data;
}

void*& CPtrList::GetAt(POSITION pos) const
{
    return reinterpret_cast<Entry*>(pos)->data;
}

void CPtrList::SetAt(POSITION pos, void* p)
{
    reinterpret_cast<Entry*>(pos)->data = p;
}

void*& CPtrList::GetHead() const
{
    return m_pHead->data;
}

void*& CPtrList::GetTail() const
{
    return m_pTail->data;
}

POSITION CPtrList::AddHead(void* p)
{
    Entry* e = NewEntry(nullptr, m_pHead, p);
    if (m_pHead != nullptr)
    {
        m_pHead->pPrev = e;
    }
    else
    {
        m_pTail = e;
    }
    m_pHead = e;
    return reinterpret_cast<POSITION>(e);
}

POSITION CPtrList::AddTail(void* p)
{
    Entry* e = NewEntry(m_pTail, nullptr, p);
    if (m_pTail != nullptr)
    {
        m_pTail->pNext = e;
    }
    else
    {
        m_pHead = e;
    }
    m_pTail = e;
    return reinterpret_cast<POSITION>(e);
}

void* CPtrList::RemoveHead()
{
    Entry* e = m_pHead;
    void* p = e->data;
    RemoveAt(reinterpret_cast<POSITION>(e));
    return p;
}

void* CPtrList::RemoveTail()
{
    Entry* e = m_pTail;
    void* p = e->data;
    RemoveAt(reinterpret_cast<POSITION>(e));
    return p;
}

void CPtrList::RemoveAt(POSITION pos)
{
    Entry* e = reinterpret_cast<Entry*>(pos);
    if (e->pPrev != nullptr)
    {
        e->pPrev->pNext = e->pNext;
    }
    else
    {
        m_pHead = e->pNext;
    }
    if (e->pNext != nullptr)
    {
        e->pNext->pPrev = e->pPrev;
    }
    else
    {
        m_pTail = e->pPrev;
    }
    FreeEntry(e);
}

void CPtrList::RemoveAll()
{
    // Entries go back to the free list; the blocks are kept for reuse until destruction.
    Entry* e = m_pHead;
    while (e != nullptr)
    {
        Entry* next = e->pNext;
        FreeEntry(e);
        e = next;
    }
    m_pHead = nullptr;
    m_pTail = nullptr;
    m_nCount = 0;
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
