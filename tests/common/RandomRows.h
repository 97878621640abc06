// What the random sketch generators of the property suites share: they own their nodes and
// relations, hand the passes the two lists, and relate any two nodes by a distance.
#pragma once

#include "QsolverInternal.h"

#include <algorithm>
#include <memory>
#include <type_traits>
#include <vector>

namespace randomrows
{

/// A distance between two nodes of any kind: point-point, point-line or line-line. It takes
/// `val` when one is given (a shared value), else a value of its own.
inline CRel* NewDistance(CNode* a, CNode* b, CVal* val, double value, unsigned char known)
{
    const bool pa = a->GetType() == SKT_NODE_POINT;
    const bool pb = b->GetType() == SKT_NODE_POINT;
    if (pa && pb)
    {
        auto* va = static_cast<CVert*>(a);
        auto* vb = static_cast<CVert*>(b);
        return val ? new CPPdis(va, vb, val) : new CPPdis(va, vb, value, known);
    }
    if (pa || pb)
    {
        auto* p = static_cast<CVert*>(pa ? a : b);
        auto* l = static_cast<CMathline*>(pa ? b : a);
        return val ? new CPLdis(p, l, val) : new CPLdis(p, l, value, known);
    }
    auto* la = static_cast<CMathline*>(a);
    auto* lb = static_cast<CMathline*>(b);
    return val ? new CLLdis(la, lb, val) : new CLLdis(la, lb, value, known);
}

/// The entries of a list, head to tail.
template <class List> auto Entries(List& list)
{
    std::vector<std::remove_reference_t<decltype(list.GetHead())>> out;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        out.push_back(list.GetNext(pos));
    }
    return out;
}

/// Owns a generated sketch; cuts every relation from its nodes before they go.
class OwnedSketch
{
public:
    OwnedSketch() = default;
    OwnedSketch(const OwnedSketch&) = delete;
    OwnedSketch& operator=(const OwnedSketch&) = delete;

    ~OwnedSketch()
    {
        for (auto& r : rels)
        {
            r->CutRelWithNode();
        }
        rels.clear();
    }

    std::vector<std::unique_ptr<CNode>> nodes;
    std::vector<std::unique_ptr<CRel>> rels;
    CNodeList nodeList;
    CRelList relList;

protected:
    /// Lists the nodes in an order drawn from `rng` (a host's order is not the order of
    /// creation), backing each one up.
    template <class Rng> void ListNodesShuffled(Rng& rng)
    {
        std::vector<CNode*> order;
        for (auto& n : nodes)
        {
            order.push_back(n.get());
        }
        std::shuffle(order.begin(), order.end(), rng);
        for (CNode* n : order)
        {
            nodeList.AddTail(n);
            n->BackupNode();
        }
    }

    /// Takes `rel` between `a` and `b`.
    void Attach(CRel* rel, CNode* a, CNode* b)
    {
        rels.push_back(std::unique_ptr<CRel>(rel));
        a->AddRel(rel);
        b->AddRel(rel);
    }

    void Fix(CNode* n)
    {
        rels.push_back(std::make_unique<CFix>(n));
        n->AddRel(rels.back().get());
    }

    /// Lists the relations in creation order, backing up each value's known flag (and with
    /// `values` the value too) so that a pass can be run again from the same start.
    void ListRels(bool values)
    {
        std::vector<CRel*> order;
        for (auto& r : rels)
        {
            order.push_back(r.get());
        }
        ListRelsIn(order, values);
    }

    /// The same in an order drawn from `rng`.
    template <class Rng> void ListRelsShuffled(Rng& rng, bool values)
    {
        std::vector<CRel*> order;
        for (auto& r : rels)
        {
            order.push_back(r.get());
        }
        std::shuffle(order.begin(), order.end(), rng);
        ListRelsIn(order, values);
    }

private:
    void ListRelsIn(const std::vector<CRel*>& order, bool values)
    {
        for (CRel* r : order)
        {
            relList.AddTail(r);
            if (r->m_pVal != nullptr)
            {
                r->m_pVal->BackupKnownFlag();
                if (values)
                {
                    r->m_pVal->BackupValue();
                }
            }
        }
    }
};

/// What a pass leaves on a sketch's own parts, in creation order: each node's free number, and
/// each relation's state, its value's known flag (-1 without a value) and its value.
struct Marks
{
    std::vector<int> freeNums, states, flags;
    std::vector<double> values;

    bool operator==(const Marks& o) const
    {
        return freeNums == o.freeNums && states == o.states && flags == o.flags &&
               values == o.values;
    }
};

inline Marks MarksOf(const OwnedSketch& s)
{
    Marks m;
    for (const auto& n : s.nodes)
    {
        m.freeNums.push_back(n->m_nFreeNum);
    }
    for (const auto& r : s.rels)
    {
        m.states.push_back(r->m_byState);
        m.flags.push_back(r->m_pVal != nullptr ? r->m_pVal->m_bKnown : -1);
        m.values.push_back(r->m_pVal != nullptr ? r->m_pVal->m_dValue : 0.0);
    }
    return m;
}

} // namespace randomrows
