// Gathering the active relations that determine a node, shared by the relation-list form that
// callers of the node use and the in-place form of the legality checks, which run for every
// node a pass determines.
#pragma once

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"

#include <cstddef>
#include <vector>

// The relations a walk puts aside, in order: a node has a few relations, so they fit in place,
// and a list entry per relation would cost more than the walk.
class RelBuffer
{
public:
    std::size_t Size() const { return m_nSize; }
    CRel* operator[](std::size_t i) const
    {
        return i < kInPlace ? m_InPlace[i] : m_More[i - kInPlace];
    }
    void Add(CRel* rel)
    {
        if (m_nSize < kInPlace)
        {
            m_InPlace[m_nSize] = rel;
        }
        else
        {
            m_More.push_back(rel);
        }
        ++m_nSize;
    }
    /// Whether a member shares the value `val`, which is unknown.
    bool HasUnknownMember(const CVal* val) const
    {
        for (std::size_t i = 0; i < m_nSize; ++i)
        {
            CVal* v = (*this)[i]->m_pVal;
            if (v == val && v != nullptr && v->IsUnknown())
            {
                return true;
            }
        }
        return false;
    }

private:
    static constexpr std::size_t kInPlace = 8;
    CRel* m_InPlace[kInPlace] = {};
    std::vector<CRel*> m_More;
    std::size_t m_nSize = 0;
};

/// Appends the active relations that constrain the node to `out` (a RelBuffer, or anything with
/// Add and HasUnknownMember); returns the equation count. k active relations sharing one
/// unknown value give k - 1 equations: every member but the first is counted as it is met, and
/// the first is appended after all the others.
template <class Sink> int sktCollectValidRels(CNode* node, Sink& out)
{
    RelBuffer pending;
    int count = 0;
    CRelList& rels = node->m_RelList;
    POSITION pos = rels.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = rels.GetNext(pos);
        if (!rel->IsActive())
        {
            continue;
        }
        if (rel->m_pVal != nullptr && rel->m_pVal->IsKnown())
        {
            ++count;
            out.Add(rel);
            continue;
        }
        int matched = 0;
        for (std::size_t i = 0; i < pending.Size(); ++i)
        {
            if (pending[i]->m_pVal == rel->m_pVal)
            {
                ++count;
                out.Add(rel);
                matched = 1;
            }
        }
        if (!matched)
        {
            pending.Add(rel);
        }
    }
    for (std::size_t i = 0; i < pending.Size(); ++i)
    {
        CRel* first = pending[i];
        if (out.HasUnknownMember(first->m_pVal))
        {
            out.Add(first);
        }
    }
    return count;
}
