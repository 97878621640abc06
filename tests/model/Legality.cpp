// Legality of a point or line that its active relations have just determined, and what a legal
// node then takes into account.
#include "ModelTestSupport.h"
#include "common/RandomRows.h"

#include <memory>
#include <vector>

namespace
{
// One neighbour of the node under test and the relation toward it.
struct Other
{
    char kind; // 'p': point at (x, y); 'l': line through (x, y) along (dx, dy)
    double x, y, dx, dy;
    int type;     // SKT_REL_LLANG for an angle; 0 picks the distance the node kinds call for
    int group;    // 0: a known value of its own; 1 or 2: shares that unknown value
    double value; // the known value
};

Other Pt(double x, double y, int group = 0)
{
    return {'p', x, y, 0, 0, 0, group, 1.0};
}
Other Ln(double x, double y, double dx, double dy, int group = 0)
{
    return {'l', x, y, dx, dy, 0, group, 1.0};
}
Other Ang(double x, double y, double dx, double dy, double value, int group = 0)
{
    return {'l', x, y, dx, dy, SKT_REL_LLANG, group, value};
}

class LegalityTest : public ModelTest
{
protected:
    // The node under test: the point (5, 5), or the line y = -5.
    CNode* Subject(char kind)
    {
        if (kind == 'p')
        {
            m_nodes.emplace_back(new CVert(5, 5, 0));
        }
        else
        {
            CVert through(0, -5, 0);
            VECTOR x(1, 0, 0);
            m_nodes.emplace_back(new CMathline(&through, x));
        }
        return m_nodes.back().get();
    }

    CNode* Node(const Other& o)
    {
        CVert at(o.x, o.y, 0);
        if (o.kind == 'p')
        {
            m_nodes.emplace_back(new CVert(o.x, o.y, 0));
        }
        else
        {
            VECTOR d(o.dx, o.dy, 0);
            m_nodes.emplace_back(new CMathline(&at, d));
        }
        return m_nodes.back().get();
    }

    // An active relation from the subject to a new neighbour, hooked into both nodes.
    CRel* Add(CNode* subject, const Other& o)
    {
        CNode* other = Node(o);
        return Relate(subject, other, o.type, o.group, o.value);
    }

    // A distance of the kind the two nodes call for, or an angle when `type` asks for one.
    CRel* Relate(CNode* subject, CNode* other, int type, int group, double value)
    {
        CVal* shared = group == 0 ? nullptr : Shared(group);
        CRel* rel = nullptr;
        if (type != SKT_REL_LLANG)
        {
            rel = randomrows::NewDistance(subject, other, shared, value, 1);
        }
        else
        {
            rel = new CLLang(static_cast<CMathline*>(subject), static_cast<CMathline*>(other),
                             value, 1);
            if (shared)
            {
                // Equal angles: the host points the second angle at the first one's value.
                CVal* own = rel->m_pVal;
                own->m_RelSel.RemoveAll();
                delete own;
                rel->m_pVal = shared;
                shared->m_RelSel.AddTail(rel);
            }
        }
        Link(*rel);
        rel->SetActive();
        m_rels.emplace_back(rel);
        return rel;
    }

    CVal* Shared(int group)
    {
        CVal*& v = m_shared[group];
        if (v == nullptr)
        {
            v = new CVal(); // the relations that share it delete it
        }
        return v;
    }

    int Check(char kind, const std::vector<Other>& others)
    {
        m_shared[1] = nullptr; // each case has equal-value groups of its own
        m_shared[2] = nullptr;
        CNode* subject = Subject(kind);
        for (const Other& o : others)
        {
            Add(subject, o);
        }
        return subject->IsLegal();
    }

    std::vector<std::unique_ptr<CNode>> m_nodes;
    std::vector<std::unique_ptr<CRel>> m_rels;
    CVal* m_shared[3] = {};
};

struct Row
{
    const char* name;
    std::vector<Other> others; // in the subject's relation order
    int expected;
};

} // namespace

// Collected order: known relations, then the later members of each equal-value pair, then each
// pair's first member. With one known relation K and a pair (F, S) listed as K, F, S the
// neighbours a1, a2, a3 are those of K, S, F; two pairs listed A1, B1, A2, B2 give A2, B2, A1, B1.
TEST_F(LegalityTest, PointCases)
{
    const double near = 0.5e-4;
    const Row rows[] = {
        {"no relation", {}, 1},
        {"one known distance", {Pt(0, 0)}, 1},
        {"three known distances are three equations", {Pt(0, 0), Pt(9, 0), Pt(0, 9)}, 0},
        {"two distinct points", {Pt(0, 0), Pt(9, 0)}, 1},
        {"two points 0.5e-4 apart", {Pt(0, 0), Pt(near, 0)}, 0},
        {"two points 1e-4 apart", {Pt(0, 0), Pt(1e-4, 0)}, 1},
        {"one point and a line", {Pt(0, 0), Ln(0, 0, 1, 0)}, 1},
        {"two known distances to parallel lines", {Ln(0, 0, 1, 0), Ln(0, 9, -1, 0)}, 0},
        {"equal unknown distances to parallel lines", {Ln(0, 0, 1, 0, 1), Ln(0, 9, 1, 0, 1)}, 1},
        {"two crossing lines", {Ln(0, 0, 1, 0), Ln(0, 0, 0, 1)}, 1},
        {"one line given twice", {Ln(0, 0, 1, 0), Ln(4, 0, -1, 0)}, 0},
        {"k3: three distinct points", {Pt(0, 0), Pt(9, 0, 1), Pt(0, 9, 1)}, 1},
        {"k3: a1 and a2 coincide", {Pt(0, 0), Pt(9, 9, 1), Pt(near, 0, 1)}, 0},
        {"k3: a1 and a3 coincide", {Pt(0, 0), Pt(near, 0, 1), Pt(9, 9, 1)}, 0},
        {"k3: a2 and a3 coincide", {Pt(0, 0), Pt(9, 9, 1), Pt(9, 9 + near, 1)}, 0},
        {"k3: a1, a2 parallel lines", {Ln(0, 0, 1, 0), Pt(9, 9, 1), Ln(0, 2, 1, 0, 1)}, 0},
        {"k3: a1 point, a2 and a3 parallel lines",
         {Pt(0, 0), Ln(0, 0, 1, 0, 1), Ln(0, 2, 1, 0, 1)},
         0},
        {"k3: only the first pair of lines is tested",
         {Ln(0, 0, 1, 0), Ln(0, 2, 1, 0, 1), Ln(0, 0, 0, 1, 1)},
         1},
        {"k3: a1, a2 crossing lines, a3 point",
         {Ln(0, 0, 1, 0), Pt(9, 9, 1), Ln(0, 0, 1, 1, 1)},
         1},
        {"k3: three equal unknown distances", {Pt(0, 0, 1), Pt(9, 0, 1), Pt(0, 9, 1)}, 1},
        {"k3: three equal unknown distances, a1 and a2 parallel",
         {Pt(0, 0, 1), Ln(0, 0, 1, 0, 1), Ln(0, 9, 1, 0, 1)},
         0},
        {"k4: two pairs to four distinct points",
         {Pt(0, 0, 1), Pt(9, 0, 2), Pt(0, 9, 1), Pt(9, 9, 2)},
         1},
        {"k4: two pairs, a pair's ends coincide",
         {Pt(0, 0, 1), Pt(9, 0, 2), Pt(near, 0, 1), Pt(9, 9, 2)},
         0},
        {"k4: two pairs, ends of different pairs coincide",
         {Pt(0, 0, 1), Pt(9, 0, 2), Pt(0, 9, 1), Pt(near, 0, 2)},
         0},
        {"k6: three pairs are three equations",
         {Pt(0, 0, 1), Pt(9, 0, 2), Pt(0, 9, 1), Pt(9, 9, 2), Pt(1, 2, 0), Pt(2, 1, 0)},
         0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Check('p', row.others), row.expected);
    }
}

TEST_F(LegalityTest, LineWithTwoRelations)
{
    const double pi = Pi();
    const Row rows[] = {
        {"distance, angle 0 to a parallel line", {Ln(0, 0, 1, 0), Ang(0, 3, -1, 0, 0)}, 1},
        {"distance and angle 0 to one line", {Ln(0, 0, 1, 0), Ang(0, 0, 1, 0, 0)}, 1},
        {"distance, angle pi/2", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 0, pi / 2)}, 0},
        {"distance, angle pi", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 0, pi)}, 1},
        {"distance, angle pi + 0.9e-4", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 0, pi + 0.9e-4)}, 1},
        {"distance, angle pi - 1.1e-4", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 0, pi - 1.1e-4)}, 0},
        {"distance, angle 1e-4", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 0, 1e-4)}, 1},
        {"distance, angle -1e-4", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 0, -1e-4)}, 1},
        {"distance, angle 1.1e-4", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 0, 1.1e-4)}, 0},
        {"distance, angle 0 to a crossing line", {Ln(0, 0, 1, 0), Ang(0, 3, 1, 1, 0)}, 0},
        {"angle 0 first, then distance", {Ang(0, 3, 1, 0, 0), Ln(0, 0, 1, 0)}, 1},
        {"angle pi/2 first, then distance", {Ang(0, 3, 1, 0, pi / 2), Ln(0, 0, 1, 0)}, 0},
        {"angle 0 to a crossing line first", {Ang(0, 3, 0, 1, 0), Ln(0, 0, 1, 0)}, 0},
        {"two line distances", {Ln(0, 0, 1, 0), Ln(0, 3, 1, 0)}, 0},
        {"line distance, then point distance", {Ln(0, 0, 1, 0), Pt(1, 1)}, 0},
        {"point distance, then line distance", {Pt(1, 1), Ln(0, 0, 1, 0)}, 0},
        {"two angles", {Ang(0, 3, 1, 0, 0), Ang(0, 0, 0, 1, 1)}, 0},
        {"two point distances", {Pt(1, 1), Pt(7, 2)}, 1},
        {"two point distances to coincident points", {Pt(1, 1), Pt(1, 1 + 0.5e-4)}, 0},
        {"equal unknown distances to two points", {Pt(1, 1, 1), Pt(7, 2, 1)}, 1},
        {"point distance, then angle", {Pt(1, 1), Ang(0, 0, 0, 1, 1)}, 1},
        {"angle, then point distance", {Ang(0, 0, 0, 1, 1), Pt(1, 1)}, 1},
        {"k4: two pairs to distinct nodes",
         {Pt(0, 0, 1), Pt(9, 0, 2), Pt(0, 9, 1), Pt(9, 9, 2)},
         1},
        {"k4: two pairs, one line given twice",
         {Ln(0, 0, 1, 1, 1), Pt(9, 0, 2), Ln(3, 3, -1, -1, 1), Pt(9, 9, 2)},
         0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Check('l', row.others), row.expected);
    }
}

// Three relations on a line are judged on their types alone.
TEST_F(LegalityTest, LineWithThreeRelations)
{
    const int P = SKT_REL_PLDIS;
    const int D = SKT_REL_LLDIS;
    const int A = SKT_REL_LLANG;
    const int R = SKT_REL_RAD;
    struct TypeRow
    {
        const char* name;
        int t1, t2, t3;
        int expected;
    };
    const TypeRow rows[] = {
        {"P D D", P, D, D, 0}, {"P A A", P, A, A, 0}, {"P D A", P, D, A, 1},
        {"P A D", P, A, D, 1}, {"P P D", P, P, D, 1}, {"D D P", D, D, P, 0},
        {"D P D", D, P, D, 0}, {"D A A", D, A, A, 0}, {"D P A", D, P, A, 1},
        {"D A P", D, A, P, 1}, {"D P P", D, P, P, 1}, {"A A P", A, A, P, 0},
        {"A P A", A, P, A, 0}, {"A D D", A, D, D, 0}, {"A P D", A, P, D, 1},
        {"A D P", A, D, P, 1}, {"A P P", A, P, P, 1}, {"radius first", R, D, D, 1},
    };
    for (const TypeRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        ClearChains();
        CNode* subject = Subject('l');
        double y = 0;
        auto other = [&](int type) -> CNode*
        {
            y += 1;
            return type == P ? Node(Pt(y, y)) : Node(Ln(0, y, 1, y));
        };
        // Listed as K, F, S: collected as K, S, F, so t2 belongs to S and t3 to F.
        std::unique_ptr<CRel> rad;
        CMathcir* circle = nullptr;
        if (row.t1 == R)
        {
            circle = new CMathcir(XYZ(0, 0, 0), 1);
            m_nodes.emplace_back(circle);
            rad.reset(new CRad(subject, circle));
            Link(*rad);
            rad->SetActive();
        }
        else
        {
            Relate(subject, other(row.t1), row.t1, 0, 1.0);
        }
        Relate(subject, other(row.t3), row.t3, 1, 0.0);
        Relate(subject, other(row.t2), row.t2, 1, 0.0);

        EXPECT_EQ(subject->IsLegal(), row.expected);

        m_shared[1] = nullptr;
        if (circle != nullptr)
        {
            // The radius relation, deleted first, deletes the value as its last user.
            circle->m_pRadiusVal = nullptr;
        }
    }
}

TEST_F(LegalityTest, LegalPointTakesItsRelationsIntoAccount)
{
    CNode* p = Subject('p');
    CRel* d1 = Add(p, Pt(5, 0));
    CRel* d2 = Add(p, Pt(0, 5));
    CNode* known = Node(Pt(8, 9));
    known->SetKnown();
    CRel* measured = Relate(p, known, SKT_REL_PPDIS, 1, 0.0);
    CNode* open = Node(Pt(1, 1));
    CRel* pending = Relate(p, open, SKT_REL_PPDIS, 2, 0.0);
    CNode* alsoKnown = Node(Pt(9, 8));
    alsoKnown->SetKnown();
    CRel* idle = Relate(p, alsoKnown, SKT_REL_PPDIS, 0, 0.0);
    idle->m_pVal->SetUnknown();
    idle->SetUnused();

    EXPECT_EQ(p->IsLegal(), 1);

    EXPECT_EQ(p->m_nFreeNum, 0);
    EXPECT_EQ(d1->IsUsed(), 1);
    EXPECT_EQ(d2->IsUsed(), 1);
    EXPECT_EQ(measured->IsUsed(), 1);
    EXPECT_EQ(measured->m_pVal->IsKnown(), 1);
    EXPECT_DOUBLE_EQ(measured->m_pVal->GetValue(), 5.0);
    EXPECT_EQ(pending->IsActive(), 1);
    EXPECT_EQ(pending->m_pVal->IsKnown(), 0);
    EXPECT_EQ(idle->IsUnused(), 1);
    EXPECT_EQ(idle->m_pVal->IsKnown(), 0);
}

TEST_F(LegalityTest, LegalLineMeasuresAnAngleTowardAKnownLine)
{
    CNode* line = Subject('l');
    Add(line, Pt(1, 1));
    Add(line, Pt(7, 2));
    CNode* vertical = Node(Ln(0, 0, 0, 1));
    vertical->SetKnown();
    // Measured from the vertical line's direction to this line's: three quarters of a turn.
    CLLang* angle =
        new CLLang(static_cast<CMathline*>(vertical), static_cast<CMathline*>(line), 0.0, 0);
    m_rels.emplace_back(angle);
    Link(*angle);
    angle->SetActive();

    EXPECT_EQ(line->IsLegal(), 1);

    EXPECT_EQ(line->m_nFreeNum, 0);
    EXPECT_EQ(angle->IsUsed(), 1);
    EXPECT_NEAR(angle->m_pVal->GetValue(), 3 * Pi() / 2, 1e-12);
    EXPECT_EQ(angle->m_pVal->GetValue(), angle->GetActualVal());
}

TEST_F(LegalityTest, EqualUnknownValueOfALegalPairBecomesKnown)
{
    CNode* p = Subject('p');
    CRel* r1 = Add(p, Ln(0, 0, 1, 0, 1));
    CRel* r2 = Add(p, Ln(0, 9, 1, 0, 1));

    EXPECT_EQ(p->IsLegal(), 1);

    EXPECT_EQ(r1->m_pVal, r2->m_pVal);
    EXPECT_EQ(r1->m_pVal->IsKnown(), 1);
    EXPECT_EQ(r1->IsUsed(), 1);
    EXPECT_EQ(r2->IsUsed(), 1);
    EXPECT_EQ(p->m_nFreeNum, 0);
}
