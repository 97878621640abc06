// Walks over every node or relation of a large sketch chase pointers, and wait on memory more
// than they compute wherever the objects do not lie in walk order (a host that made them out of
// order, or a walk in another order than creation). Asking for an object a few steps ahead of
// the walk lets those waits overlap; a hint only, it changes nothing that is computed.
#pragma once

#include "model/PtrList.h"

/// Hints that the object at p will be read soon (a null p is fine).
inline void sktPrefetch(const void* p)
{
#if defined(__GNUC__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

/// A position that runs `distance` entries ahead of a walk over a list, to prefetch from.
class CLookahead
{
public:
    CLookahead(const CPtrList& list, int distance) : m_List(list), m_Pos(list.GetHeadPosition())
    {
        for (int i = 0; i < distance && m_Pos != nullptr; ++i)
        {
            m_List.GetNext(m_Pos);
        }
    }

    /// The element `distance` entries ahead of the walk (null near the tail), and one step on.
    void* Next()
    {
        if (m_Pos == nullptr)
        {
            return nullptr;
        }
        return m_List.GetNext(m_Pos);
    }

private:
    const CPtrList& m_List;
    POSITION m_Pos;
};
