// A tiny owner of nodes and relations for the numeric tests: builds geometry with backups made,
// attaches relations to their nodes, and deletes everything in an order the model accepts.
#pragma once

#include "QsolverInternal.h"

#include <cmath>
#include <memory>
#include <vector>

namespace numtest
{

inline double Pi()
{
    return 2.0 * std::acos(0.0);
}

inline double Deg(double degrees)
{
    return degrees * Pi() / 180.0;
}

class Sketch
{
public:
    Sketch() = default;
    Sketch(const Sketch&) = delete;
    Sketch& operator=(const Sketch&) = delete;
    ~Sketch()
    {
        for (auto& rel : m_rels)
        {
            rel->CutRelWithNode();
        }
        // Nodes first: a circle lets go of its radius value only while relations still share it.
        m_nodes.clear();
        m_rels.clear();
    }

    CVert* Point(double x, double y, bool known = false)
    {
        CVert* p = new CVert(x, y, 0.0);
        return Keep(p, known);
    }

    /// A line through (px, py) with direction at `angle` radians.
    CMathline* Line(double px, double py, double angle, bool known = false, bool dirFixed = false)
    {
        CMathline* l = new CMathline();
        l->m_Line.Set(XYZ(px, py, 0.0), VECTOR(std::cos(angle), std::sin(angle), 0.0));
        l->m_bDirFixed = dirFixed ? 1 : 0;
        return Keep(l, known);
    }

    CMathcir* Circle(double radius)
    {
        CMathcir* c = new CMathcir(XYZ(0.0, 0.0, 0.0), radius);
        return Keep(c, false);
    }

    template <class R, class A, class B> R* Rel(A* a, B* b, double value, bool known = true)
    {
        R* r = new R(a, b, value, known ? 1 : 0);
        return Attach(r);
    }

    template <class R, class A, class B> R* Shared(A* a, B* b, CVal* val)
    {
        R* r = new R(a, b, val);
        return Attach(r);
    }

    CFix* Fix(CNode* n)
    {
        CFix* r = new CFix(n);
        n->AddRel(r);
        m_rels.emplace_back(r);
        rels.AddTail(r);
        return r;
    }

    CRad* Rad(CNode* n, CMathcir* c)
    {
        CRad* r = new CRad(n, c);
        return Attach(r);
    }

    /// Current geometry becomes the backup: the configuration before the pass.
    void BackupAll()
    {
        for (auto& n : m_nodes)
        {
            n->BackupNode();
        }
    }

    CNodeList nodes;
    CRelList rels;

private:
    template <class N> N* Keep(N* n, bool known)
    {
        if (known)
        {
            n->SetKnown();
        }
        n->BackupNode();
        m_nodes.emplace_back(n);
        nodes.AddTail(n);
        return n;
    }

    template <class R> R* Attach(R* r)
    {
        r->m_pNode1->AddRel(r);
        r->m_pNode2->AddRel(r);
        m_rels.emplace_back(r);
        rels.AddTail(r);
        return r;
    }

    std::vector<std::unique_ptr<CNode>> m_nodes;
    std::vector<std::unique_ptr<CRel>> m_rels;
};

} // namespace numtest
