// The Jacobian rows of each relation class. Points move by (x, y); a line by a shift t along
// its normal and a turn about its through point (a line with a held direction only shifts); a
// circle by its centre and radius; an unknown value by its number.
#include "Jacobian.h"

#include "qsolver/Sketch.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <utility>

namespace qsolver::diagnose
{

namespace
{

// A point-point distance below this joins the points (two equations), as relation activation
// decides.
constexpr double kCoincident = 1e-4;

struct V2
{
    double x = 0.0;
    double y = 0.0;
};

V2 operator-(V2 a, V2 b)
{
    return {a.x - b.x, a.y - b.y};
}

double Dot(V2 a, V2 b)
{
    return a.x * b.x + a.y * b.y;
}

V2 PointOf(CNode* n)
{
    if (n->GetType() == SKT_NODE_POINT)
    {
        const XYZ& p = static_cast<CVert*>(n)->m_Pos;
        return {p.x, p.y};
    }
    if (n->GetType() == SKT_NODE_LINE)
    {
        const XYZ& p = static_cast<CMathline*>(n)->m_Line.m_ThroughPoint;
        return {p.x, p.y};
    }
    const XYZ& c = static_cast<CMathcir*>(n)->m_Center;
    return {c.x, c.y};
}

struct LineFrame
{
    V2 p; // through point: the line turns about it
    V2 d; // unit direction
    V2 n; // unit normal, d turned a quarter counterclockwise
};

LineFrame FrameOf(CNode* n)
{
    const MATHLINE& l = static_cast<CMathline*>(n)->m_Line;
    LineFrame f;
    f.p = {l.m_ThroughPoint.x, l.m_ThroughPoint.y};
    const double len = std::hypot(l.m_Direction.x, l.m_Direction.y);
    f.d = len > 0.0 ? V2{l.m_Direction.x / len, l.m_Direction.y / len} : V2{1.0, 0.0};
    f.n = {-f.d.y, f.d.x};
    return f;
}

/// Node pointer to creation index: open addressing over a power-of-two table, no allocation
/// per node (one lookup per relation end).
class NodeIndex
{
public:
    void Reset(size_t count)
    {
        size_t size = 16;
        while (size < 2 * count)
        {
            size *= 2;
        }
        m_keys.assign(size, nullptr);
        m_values.assign(size, -1);
        m_mask = size - 1;
    }
    void Insert(const CNode* key, int value)
    {
        size_t i = Slot(key);
        while (m_keys[i] != nullptr && m_keys[i] != key)
        {
            i = (i + 1) & m_mask;
        }
        m_keys[i] = key;
        m_values[i] = value;
    }
    int Find(const CNode* key) const
    {
        for (size_t i = Slot(key);; i = (i + 1) & m_mask)
        {
            if (m_keys[i] == key)
            {
                return m_values[i];
            }
            if (m_keys[i] == nullptr)
            {
                return -1;
            }
        }
    }

private:
    size_t Slot(const CNode* key) const
    {
        const auto bits = static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(key));
        return static_cast<size_t>((bits >> 4) * 0x9e3779b97f4a7c15ull >> 20) & m_mask;
    }

    std::vector<const CNode*> m_keys;
    std::vector<int> m_values;
    size_t m_mask = 0;
};

class Builder
{
public:
    Builder(Jacobian& jac, bool fixesAsRows) : m_jac(jac), m_fixesAsRows(fixesAsRows) {}

    void Run(Sketch& sketch)
    {
        CollectNodes(sketch);
        MeasureExtent();
        MakeNodeVariables();
        const size_t rels = static_cast<size_t>(sketch.Relations().GetCount());
        m_jac.rels.reserve(rels);
        m_jac.relFirstRow.reserve(rels + 1);
        m_jac.rows.reserve(rels + rels / 4);
        m_jac.entries.reserve(4 * rels);
        POSITION pos = sketch.Relations().GetHeadPosition();
        while (pos != nullptr)
        {
            m_jac.rels.push_back(sketch.Relations().GetNext(pos));
        }
        for (size_t r = 0; r < m_jac.rels.size(); ++r)
        {
            m_jac.relFirstRow.push_back(static_cast<int>(m_jac.rows.size()));
            AddRelation(static_cast<int>(r), m_jac.rels[r]);
        }
        m_jac.relFirstRow.push_back(static_cast<int>(m_jac.rows.size()));
    }

private:
    void CollectNodes(Sketch& sketch)
    {
        const size_t count = static_cast<size_t>(sketch.Nodes().GetCount());
        m_jac.nodes.reserve(count);
        m_index.Reset(count);
        POSITION pos = sketch.Nodes().GetHeadPosition();
        while (pos != nullptr)
        {
            CNode* node = sketch.Nodes().GetNext(pos);
            m_index.Insert(node, static_cast<int>(m_jac.nodes.size()));
            m_jac.nodes.push_back(node);
        }
    }

    void MeasureExtent()
    {
        double lo[2] = {0.0, 0.0};
        double hi[2] = {0.0, 0.0};
        bool any = false;
        auto extend = [&](double x, double y)
        {
            if (!std::isfinite(x) || !std::isfinite(y))
            {
                return;
            }
            lo[0] = any ? std::min(lo[0], x) : x;
            hi[0] = any ? std::max(hi[0], x) : x;
            lo[1] = any ? std::min(lo[1], y) : y;
            hi[1] = any ? std::max(hi[1], y) : y;
            any = true;
        };
        for (CNode* n : m_jac.nodes)
        {
            const V2 p = PointOf(n);
            extend(p.x, p.y);
            if (n->GetType() == SKT_NODE_CIRCLE)
            {
                const double r = std::fabs(static_cast<CMathcir*>(n)->m_dRadius);
                extend(p.x - r, p.y - r);
                extend(p.x + r, p.y + r);
            }
        }
        const double diag = std::hypot(hi[0] - lo[0], hi[1] - lo[1]);
        m_jac.extent = diag > 1e-9 ? diag : 1.0;
    }

    int AddVariable(int cols, int node)
    {
        Variable v;
        v.firstCol = m_jac.Cols();
        v.cols = cols;
        v.node = node;
        const int index = static_cast<int>(m_jac.vars.size());
        m_jac.vars.push_back(v);
        m_jac.colVar.insert(m_jac.colVar.end(), static_cast<size_t>(cols), index);
        return index;
    }

    static int ColsOf(CNode* n)
    {
        switch (n->GetType())
        {
            case SKT_NODE_POINT:
                return 2;
            case SKT_NODE_LINE:
                return static_cast<CMathline*>(n)->m_bDirFixed != 0 ? 1 : 2;
            default:
                return 3;
        }
    }

    void MakeNodeVariables()
    {
        m_jac.nodeGiven.reserve(m_jac.nodes.size());
        m_jac.nodeVar.reserve(m_jac.nodes.size());
        m_jac.vars.reserve(m_jac.nodes.size());
        m_jac.colVar.reserve(2 * m_jac.nodes.size());
        for (size_t i = 0; i < m_jac.nodes.size(); ++i)
        {
            CNode* n = m_jac.nodes[i];
            const bool given = n->IsRefObject() != 0 || n->IsFixed() != 0;
            m_jac.nodeGiven.push_back(given);
            const bool hasCols = n->IsRefObject() == 0 && (!given || m_fixesAsRows);
            m_jac.nodeVar.push_back(hasCols ? AddVariable(ColsOf(n), static_cast<int>(i)) : -1);
        }
    }

    /// First column of the node's freedoms, or -1 when it is given.
    int Col(CNode* n) const
    {
        const int index = m_index.Find(n);
        if (index < 0)
        {
            return -1;
        }
        const int var = m_jac.nodeVar[static_cast<size_t>(index)];
        return var < 0 ? -1 : m_jac.vars[static_cast<size_t>(var)].firstCol;
    }

    /// The column of a relation's unknown value, or -1 when the value is a known number.
    int ValueCol(CRel* rel)
    {
        CVal* val = rel->m_pVal;
        if (val == nullptr || val->m_bKnown != 0)
        {
            return -1;
        }
        auto it = m_valueVar.find(val);
        if (it == m_valueVar.end())
        {
            it = m_valueVar.emplace(val, AddVariable(1, -1)).first;
        }
        return m_jac.vars[static_cast<size_t>(it->second)].firstCol;
    }

    void Put(int col, double value)
    {
        if (col >= 0)
        {
            m_entries.push_back({col, value});
        }
    }

    /// Derivatives of a point's coordinate function with gradient g.
    void PutPoint(CNode* n, V2 g)
    {
        const int c = Col(n);
        if (c >= 0)
        {
            Put(c, g.x);
            Put(c + 1, g.y);
        }
    }

    /// Derivatives of s times the signed distance of q from the line, by the line's freedoms.
    void PutLineDistance(CNode* line, V2 q, double s)
    {
        const int c = Col(line);
        if (c < 0)
        {
            return;
        }
        const LineFrame f = FrameOf(line);
        Put(c, -s);
        if (static_cast<CMathline*>(line)->m_bDirFixed == 0)
        {
            // A turn by phi about the through point moves the normal by -phi d.
            Put(c + 1, -s * Dot(f.d, q - f.p) / m_jac.extent);
        }
    }

    void EndRow(int relation, double residual)
    {
        // A handful of entries: insertion sort.
        for (size_t i = 1; i < m_entries.size(); ++i)
        {
            for (size_t j = i; j > 0 && m_entries[j].col < m_entries[j - 1].col; --j)
            {
                std::swap(m_entries[j], m_entries[j - 1]);
            }
        }
        JacRow row;
        row.relation = relation;
        row.first = static_cast<int>(m_jac.entries.size());
        for (const Entry& e : m_entries)
        {
            if (m_jac.entries.size() > static_cast<size_t>(row.first) &&
                m_jac.entries.back().col == e.col)
            {
                m_jac.entries.back().value += e.value;
            }
            else
            {
                m_jac.entries.push_back(e);
            }
        }
        m_entries.clear();
        row.count = static_cast<int>(m_jac.entries.size()) - row.first;
        double norm2 = 0.0;
        for (int i = row.first; i < row.first + row.count; ++i)
        {
            norm2 += m_jac.entries[static_cast<size_t>(i)].value *
                     m_jac.entries[static_cast<size_t>(i)].value;
        }
        const double norm = std::sqrt(norm2);
        if (norm > 0.0)
        {
            for (int i = row.first; i < row.first + row.count; ++i)
            {
                m_jac.entries[static_cast<size_t>(i)].value /= norm;
            }
            residual /= norm;
        }
        row.residual = residual;
        m_jac.rows.push_back(row);
    }

    void AddRelation(int r, CRel* rel)
    {
        CNode* a = rel->m_pNode1;
        CNode* b = rel->m_pNode2;
        const int type = rel->GetType();
        if (type == SKT_REL_FIX)
        {
            const int c = m_fixesAsRows && a != nullptr ? Col(a) : -1;
            for (int k = 0; c >= 0 && k < ColsOf(a); ++k)
            {
                Put(c + k, 1.0);
                EndRow(r, 0.0);
            }
            return;
        }
        if (a == nullptr || b == nullptr)
        {
            return;
        }
        const double wanted = rel->m_pVal != nullptr ? rel->m_pVal->m_dValue : 0.0;
        switch (type)
        {
            case SKT_REL_PPDIS:
                AddPPdis(r, rel, a, b, wanted);
                break;
            case SKT_REL_PLDIS:
                AddPLdis(r, rel, a->GetType() == SKT_NODE_POINT ? a : b,
                         a->GetType() == SKT_NODE_POINT ? b : a, wanted);
                break;
            case SKT_REL_LLDIS:
                AddLLdis(r, rel, a, b, wanted);
                break;
            case SKT_REL_LLANG:
                AddLLang(r, rel, a, b, wanted);
                break;
            case SKT_REL_RAD:
                AddRad(r, a, b);
                break;
            default:
                break;
        }
    }

    void AddPPdis(int r, CRel* rel, CNode* a, CNode* b, double wanted)
    {
        const V2 d = PointOf(b) - PointOf(a);
        const int valueCol = ValueCol(rel);
        if (valueCol < 0 && std::fabs(wanted) < kCoincident)
        {
            PutPoint(a, {-1.0, 0.0});
            PutPoint(b, {1.0, 0.0});
            EndRow(r, d.x);
            PutPoint(a, {0.0, -1.0});
            PutPoint(b, {0.0, 1.0});
            EndRow(r, d.y);
            return;
        }
        const double len = std::sqrt(d.x * d.x + d.y * d.y);
        // Points on top of each other give the distance no direction; any one will do.
        const V2 u = len > 0.0 ? V2{d.x / len, d.y / len} : V2{1.0, 0.0};
        PutPoint(a, {-u.x, -u.y});
        PutPoint(b, u);
        Put(valueCol, -1.0);
        EndRow(r, len - wanted);
    }

    void AddPLdis(int r, CRel* rel, CNode* point, CNode* line, double wanted)
    {
        const LineFrame f = FrameOf(line);
        const V2 q = PointOf(point);
        const double signedDist = Dot(f.n, q - f.p);
        const double s = signedDist < 0.0 ? -1.0 : 1.0;
        PutPoint(point, {s * f.n.x, s * f.n.y});
        PutLineDistance(line, q, s);
        Put(ValueCol(rel), -1.0);
        EndRow(r, std::fabs(signedDist) - wanted);
    }

    void AddLLdis(int r, CRel* rel, CNode* a, CNode* b, double wanted)
    {
        // The distance of a's through point from b: the distance of the lines where they are
        // parallel, which is where this relation means anything.
        const LineFrame fa = FrameOf(a);
        const LineFrame fb = FrameOf(b);
        const double signedDist = Dot(fb.n, fa.p - fb.p);
        const double s = signedDist < 0.0 ? -1.0 : 1.0;
        const int c = Col(a);
        if (c >= 0)
        {
            Put(c, s * Dot(fb.n, fa.n));
        }
        PutLineDistance(b, fa.p, s);
        Put(ValueCol(rel), -1.0);
        EndRow(r, std::fabs(signedDist) - wanted);
    }

    void AddLLang(int r, CRel* rel, CNode* a, CNode* b, double wanted)
    {
        const double pi = 2.0 * std::acos(0.0);
        LineFrame fa = FrameOf(a);
        LineFrame fb = FrameOf(b);
        const double ta = std::atan2(fa.d.y, fa.d.x) + (rel->m_bReverse1 != 0 ? pi : 0.0);
        const double tb = std::atan2(fb.d.y, fb.d.x) + (rel->m_bReverse2 != 0 ? pi : 0.0);
        // Turns are measured as arcs of the sketch's extent, like every other column.
        const int ca = Col(a);
        const int cb = Col(b);
        if (ca >= 0 && static_cast<CMathline*>(a)->m_bDirFixed == 0)
        {
            Put(ca + 1, -1.0);
        }
        if (cb >= 0 && static_cast<CMathline*>(b)->m_bDirFixed == 0)
        {
            Put(cb + 1, 1.0);
        }
        Put(ValueCol(rel), -1.0);
        EndRow(r, std::remainder(tb - ta - wanted, 2.0 * pi) * m_jac.extent);
    }

    void AddRad(int r, CNode* node, CNode* circle)
    {
        if (circle->GetType() != SKT_NODE_CIRCLE)
        {
            return;
        }
        CMathcir* cir = static_cast<CMathcir*>(circle);
        const V2 centre = PointOf(circle);
        const int cc = Col(circle);
        if (node->GetType() == SKT_NODE_LINE)
        {
            // The centre on the line.
            const LineFrame f = FrameOf(node);
            const double signedDist = Dot(f.n, centre - f.p);
            if (cc >= 0)
            {
                Put(cc, f.n.x);
                Put(cc + 1, f.n.y);
            }
            PutLineDistance(node, centre, 1.0);
            EndRow(r, signedDist);
        }
        else
        {
            // The centre on the point (or on the other circle's centre).
            const V2 d = centre - PointOf(node);
            const int cn = Col(node);
            for (int k = 0; k < 2; ++k)
            {
                if (cc >= 0)
                {
                    Put(cc + k, 1.0);
                }
                if (cn >= 0)
                {
                    Put(cn + k, -1.0);
                }
                EndRow(r, k == 0 ? d.x : d.y);
            }
        }
        // The radius takes the relation's (the circle's) value.
        if (cc >= 0)
        {
            Put(cc + 2, 1.0);
        }
        const double wanted =
            cir->m_pRadiusVal != nullptr ? cir->m_pRadiusVal->m_dValue : cir->m_dRadius;
        EndRow(r, cir->m_dRadius - wanted);
    }

    Jacobian& m_jac;
    bool m_fixesAsRows;
    NodeIndex m_index;
    std::unordered_map<CVal*, int> m_valueVar;
    std::vector<Entry> m_entries;
};

} // namespace

Jacobian BuildJacobian(Sketch& sketch, bool fixesAsRows)
{
    Jacobian jac;
    Builder(jac, fixesAsRows).Run(sketch);
    return jac;
}

} // namespace qsolver::diagnose
