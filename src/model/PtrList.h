// The ordered pointer list every chain and relation list is made of, with stable positions so a
// walk can remove the entry it stands on. Our stand-in for the host framework's pointer list.
#pragma once

#include "shell/QsolverExport.h"

#include <cassert>
#include <cstddef>
#include <new>

class QSOLVER_API CObject
{
public:
    virtual ~CObject() = default;

#if defined(QSOLVER_SLOT_STORE)
    // Opt-in: solver objects are kept in slots of their size, side by side in the order they
    // are made, which is about the order the passes walk them. Without it they come from the
    // default allocator.
    static void* operator new(std::size_t bytes);
    static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept;
    static void operator delete(void* object, std::size_t bytes) noexcept;
    // Declaring the forms above hides the global placement form, which hosts may still use.
    static void* operator new(std::size_t, void* where) noexcept
    {
        return where;
    }
    static void operator delete(void*, void*) noexcept {}
#endif
};

struct QPOSITION_;
/// Opaque, stable handle of a list entry; null means "none".
typedef QPOSITION_* POSITION;

class QSOLVER_API CPtrList
{
public:
    explicit CPtrList(int nBlockSize = 10);
    CPtrList(const CPtrList&) = delete;
    CPtrList& operator=(const CPtrList&) = delete;
    ~CPtrList();

    int GetCount() const { return m_nCount; }
    int IsEmpty() const { return m_nCount == 0; }

    // The walking accessors are inline: every pass walks lists in its innermost loops.
    POSITION GetHeadPosition() const { return reinterpret_cast<POSITION>(m_pHead); }
    POSITION GetTailPosition() const { return reinterpret_cast<POSITION>(m_pTail); }
    /// Returns the entry at pos and advances pos to the next entry (null past the tail).
    void*& GetNext(POSITION& pos) const
    {
        Entry* e = reinterpret_cast<Entry*>(pos);
        pos = reinterpret_cast<POSITION>(e->pNext);
        return e->data;
    }
    void*& GetPrev(POSITION& pos) const
    {
        Entry* e = reinterpret_cast<Entry*>(pos);
        pos = reinterpret_cast<POSITION>(e->pPrev);
        return e->data;
    }
    void*& GetAt(POSITION pos) const { return reinterpret_cast<Entry*>(pos)->data; }
    void SetAt(POSITION pos, void* p) { reinterpret_cast<Entry*>(pos)->data = p; }
    void*& GetHead() const
    {
        assert(m_pHead != nullptr && "the list is not empty");
        return m_pHead->data;
    }
    void*& GetTail() const
    {
        assert(m_pTail != nullptr && "the list is not empty");
        return m_pTail->data;
    }

    POSITION AddHead(void* p);
    POSITION AddTail(void* p);
    void* RemoveHead();
    void* RemoveTail();
    void RemoveAt(POSITION pos);
    void RemoveAll();
    /// First position holding p, searching after `after` (from the head when null).
    POSITION Find(void* p, POSITION after = nullptr) const;
    POSITION InsertBefore(POSITION pos, void* p);
    POSITION InsertAfter(POSITION pos, void* p);

private:
    struct Entry
    {
        Entry* pNext;
        Entry* pPrev;
        void* data;
    };
    struct Block
    {
        Block* pNext;
        // Blocks are taken several at a time, side by side: the first block of each such
        // allocation holds how many it has, the others 0.
        int nGroup;
    };

    // A block is a header followed by m_nBlockSize entries, in one slot.
    std::size_t BlockBytes() const
    {
        return sizeof(Entry) * static_cast<std::size_t>(m_nBlockSize + 1);
    }
    Entry* NewEntry(Entry* prev, Entry* next, void* p);
    Entry* FreshEntry();
    void Recarve();
    void FreeEntry(Entry* e);

    Entry* m_pHead = nullptr;
    Entry* m_pTail = nullptr;
    // Entries handed back; taken before the untouched rest of the newest block.
    Entry* m_pFree = nullptr;
    Block* m_pBlocks = nullptr;
    // Blocks are carved front to back, in chain order: a short scratch list touches only the
    // entries it uses instead of threading a whole block onto the free list, and an emptied list
    // fills its blocks again in address order. m_nFresh entries of m_pCarve are still uncarved.
    Block* m_pCarve = nullptr;
    int m_nCount = 0;
    // Every node and value holds a list: the counts are kept small so that a list takes 48
    // bytes, not 56.
    short m_nBlockSize = 10;
    short m_nFresh = 0;
};

// Adding and removing run in the innermost loops of every pass: kept inline, with only the
// taking of a new block out of line.
inline CPtrList::Entry* CPtrList::NewEntry(Entry* prev, Entry* next, void* p)
{
    Entry* e = m_pFree;
    if (e != nullptr)
    {
        m_pFree = e->pNext;
    }
    else if (m_nFresh != 0)
    {
        // A block's entries go out front to back, so that a list filled in one go lies in
        // address order.
        e = reinterpret_cast<Entry*>(m_pCarve) + 1 + (m_nBlockSize - m_nFresh);
        --m_nFresh;
    }
    else
    {
        e = FreshEntry();
    }
    e->pPrev = prev;
    e->pNext = next;
    e->data = p;
    ++m_nCount;
    return e;
}

inline void CPtrList::FreeEntry(Entry* e)
{
    if (--m_nCount == 0)
    {
        // Nothing is in use any more: forget the free entries and carve the blocks again from
        // the first, so the next filling lies in address order instead of in the order of
        // removal.
        Recarve();
        return;
    }
    e->pNext = m_pFree;
    m_pFree = e;
}

inline POSITION CPtrList::AddHead(void* p)
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

inline POSITION CPtrList::AddTail(void* p)
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

inline void* CPtrList::RemoveHead()
{
    assert(m_pHead != nullptr && "the list is not empty");
    Entry* e = m_pHead;
    void* p = e->data;
    RemoveAt(reinterpret_cast<POSITION>(e));
    return p;
}

inline void* CPtrList::RemoveTail()
{
    assert(m_pTail != nullptr && "the list is not empty");
    Entry* e = m_pTail;
    void* p = e->data;
    RemoveAt(reinterpret_cast<POSITION>(e));
    return p;
}

inline void CPtrList::RemoveAt(POSITION pos)
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

/// A typed view of CPtrList over element pointers; the list owns none of them.
template <class T> class CTypedPtrListOf : public CPtrList
{
public:
    explicit CTypedPtrListOf(int nBlockSize = 10) : CPtrList(nBlockSize) {}

    T*& GetNext(POSITION& pos) const { return reinterpret_cast<T*&>(CPtrList::GetNext(pos)); }
    T*& GetPrev(POSITION& pos) const { return reinterpret_cast<T*&>(CPtrList::GetPrev(pos)); }
    T*& GetAt(POSITION pos) const { return reinterpret_cast<T*&>(CPtrList::GetAt(pos)); }
    T*& GetHead() const { return reinterpret_cast<T*&>(CPtrList::GetHead()); }
    T*& GetTail() const { return reinterpret_cast<T*&>(CPtrList::GetTail()); }
    T* RemoveHead() { return static_cast<T*>(CPtrList::RemoveHead()); }
    T* RemoveTail() { return static_cast<T*>(CPtrList::RemoveTail()); }
    POSITION AddHead(T* p) { return CPtrList::AddHead(p); }
    POSITION AddTail(T* p) { return CPtrList::AddTail(p); }
    void SetAt(POSITION pos, T* p) { CPtrList::SetAt(pos, p); }
    POSITION Find(T* p, POSITION after = nullptr) const { return CPtrList::Find(p, after); }
    POSITION InsertBefore(POSITION pos, T* p) { return CPtrList::InsertBefore(pos, p); }
    POSITION InsertAfter(POSITION pos, T* p) { return CPtrList::InsertAfter(pos, p); }
};

class CNode;
class CRel;
class CCluster;

class QSOLVER_API CNodeList : public CTypedPtrListOf<CNode>
{
public:
    explicit CNodeList(int nBlockSize = 10) : CTypedPtrListOf<CNode>(nBlockSize) {}
};

class QSOLVER_API CRelList : public CTypedPtrListOf<CRel>
{
public:
    explicit CRelList(int nBlockSize = 10) : CTypedPtrListOf<CRel>(nBlockSize) {}
};

class QSOLVER_API CClusterList : public CTypedPtrListOf<CCluster>
{
public:
    explicit CClusterList(int nBlockSize = 10) : CTypedPtrListOf<CCluster>(nBlockSize) {}
};
