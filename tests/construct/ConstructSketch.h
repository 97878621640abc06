// A small owner of nodes and relations for the construction and equation tests: every node is
// backed up when it is made, so moving it afterwards is a change since the backup, as in a drive
// pass. The lists hold everything in the order it was made, as a host hands them over.
#pragma once

#include "Qsolver.h"
#include "QsolverInternal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace constructtest
{

inline constexpr double kEps = 1e-9;
inline const double kHalfPi = std::acos(0.0);
inline const double kPi = 2 * std::acos(0.0);

inline double Deg(double degrees)
{
    return degrees * kPi / 180.0;
}

class Sketch
{
public:
    Sketch() = default;
    Sketch(const Sketch&) = delete;
    Sketch& operator=(const Sketch&) = delete;
    ~Sketch()
    {
        // Nodes go before relations: a circle keeps its radius value while a relation still
        // shares it, and the last relation to let go deletes it.
        for (CRel* rel : m_rels)
        {
            rel->CutRelWithNode();
        }
        for (CNode* node : m_nodes)
        {
            delete node;
        }
        for (CRel* rel : m_rels)
        {
            delete rel;
        }
    }

    CVert* Point(double x, double y, bool known = false)
    {
        return Keep(new CVert(x, y, 0.0), known);
    }
    CMathline* Line(double px, double py, double dx, double dy, bool known = false)
    {
        CMathline* l = new CMathline();
        l->m_Line.Set(XYZ(px, py, 0.0), VECTOR(dx, dy, 0.0));
        return Keep(l, known);
    }
    CMathcir* Circle(double cx, double cy, double r)
    {
        return Keep(new CMathcir(XYZ(cx, cy, 0.0), r), false);
    }

    // A relation with a value of its own, or one sharing `shared`.
    template <class R, class A, class B> R* Rel(A* a, B* b, double value, bool known = true)
    {
        return Attach(new R(a, b, value, known ? 1 : 0));
    }
    template <class R, class A, class B> R* Shared(A* a, B* b, CVal* shared)
    {
        return Attach(new R(a, b, shared));
    }
    CRel* PP(CVert* a, CVert* b, double value, bool known = true)
    {
        return Rel<CPPdis>(a, b, value, known);
    }
    CRel* PP(CVert* a, CVert* b, CVal* shared) { return Shared<CPPdis>(a, b, shared); }
    CRel* PL(CVert* p, CMathline* l, double value, bool known = true)
    {
        return Rel<CPLdis>(p, l, value, known);
    }
    CRel* PL(CVert* p, CMathline* l, CVal* shared) { return Shared<CPLdis>(p, l, shared); }
    CRel* Rad(CNode* n, CMathcir* c) { return Attach(new CRad(n, c)); }
    CRel* LL(CMathline* a, CMathline* b, double value, bool known = true)
    {
        return Rel<CLLdis>(a, b, value, known);
    }
    CRel* Ang(CMathline* a, CMathline* b, double value, bool known = true)
    {
        return Rel<CLLang>(a, b, value, known);
    }

    // Takes a relation made elsewhere, hooked into its nodes.
    template <class R> R* Attach(R* rel)
    {
        rel->m_pNode1->AddRel(rel);
        rel->m_pNode2->AddRel(rel);
        m_rels.push_back(rel);
        rels.AddTail(rel);
        return rel;
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
        m_nodes.push_back(n);
        nodes.AddTail(n);
        return n;
    }
    std::vector<CNode*> m_nodes;
    std::vector<CRel*> m_rels;
};

inline void MoveTo(CVert* p, double x, double y)
{
    p->m_Pos.Set(x, y, 0.0);
}
inline void SetLine(CMathline* l, double px, double py, double dx, double dy)
{
    l->m_Line.Set(XYZ(px, py, 0.0), VECTOR(dx, dy, 0.0));
}

// A relation list for calling the case routines directly.
class Rels
{
public:
    Rels(std::initializer_list<CRel*> rels) : Rels(std::vector<CRel*>(rels)) {}
    explicit Rels(const std::vector<CRel*>& rels)
    {
        for (CRel* r : rels)
        {
            list.AddTail(r);
        }
    }
    ~Rels() { list.RemoveAll(); }
    CRelList list;
};

// Captures the texts shown through the message box while it lives.
class MessageCapture
{
public:
    MessageCapture()
    {
        Texts().clear();
        m_previous = sktSetMessageBoxProc(&MessageCapture::Record);
    }
    ~MessageCapture() { sktSetMessageBoxProc(m_previous); }
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    static std::vector<std::string>& Texts()
    {
        static std::vector<std::string> texts;
        return texts;
    }

private:
    static void Record(const char* text) { Texts().push_back(text); }
    QMessageBoxProc m_previous = nullptr;
};

// Sets a toggle for one test and puts it back afterwards.
class ToggleScope
{
public:
    ToggleScope(signed char& toggle, signed char value) : m_toggle(toggle), m_saved(toggle)
    {
        m_toggle = value;
    }
    ~ToggleScope() { m_toggle = m_saved; }
    ToggleScope(const ToggleScope&) = delete;
    ToggleScope& operator=(const ToggleScope&) = delete;

private:
    signed char& m_toggle;
    signed char m_saved;
};

inline void ExpectAt(const XYZ& p, double x, double y, double tol = kEps)
{
    EXPECT_NEAR(p.x, x, tol);
    EXPECT_NEAR(p.y, y, tol);
    EXPECT_EQ(p.z, 0.0);
}

// The line passes through (x, y) and points along the unit direction (dx, dy).
inline void ExpectLine(const MATHLINE& l, double x, double y, double dx, double dy,
                       double tol = kEps)
{
    EXPECT_NEAR(l.GetDistance(XYZ(x, y, 0.0)), 0.0, tol);
    VECTOR d = l.GetDirection();
    double len = std::sqrt(dx * dx + dy * dy);
    EXPECT_NEAR(d.x, dx / len, tol);
    EXPECT_NEAR(d.y, dy / len, tol);
}

// Signed distance of p from the directed line, positive to its left.
inline double SignedDistance(const MATHLINE& l, const XYZ& p)
{
    VECTOR d = l.GetDirection();
    VECTOR w(l.GetThroughPoint(), p);
    return d.x * w.y - d.y * w.x;
}

inline const char* const kThreeVirtualGbk =
    "\xC8\xFD\xB8\xF6\xD0\xE9\xD4\xBC\xCA\xF8\xB5\xC4\xCE\xB4\xB4\xA6\xC0\xED\xB7\xD6\xD6\xA7!";
inline const char* const kTwoVirtualOneRealGbk =
    "\xC1\xBD\xD0\xE9\xD2\xBB\xCA\xB5\xB5\xC4\xCE\xB4\xB4\xA6\xC0\xED\xB7\xD6\xD6\xA7!";

} // namespace constructtest
