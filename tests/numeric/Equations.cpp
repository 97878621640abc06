// Equations over real sketch geometry: the class the factory picks, zero residual where the
// relation holds, exact derivatives against forward differences, the residual tolerance and the
// angle of a line's normal.
#include "QsolverInternal.h"

#include "common/RandomRows.h"
#include "construct/ConstructSketch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using constructtest::Deg;
using constructtest::Sketch;

namespace
{

template <class T> bool Is(CEquation* e)
{
    return dynamic_cast<T*>(e) != nullptr;
}

// A point at (x, y), or a line through (x, y) pointing at `deg` degrees.
struct NodeAt
{
    bool line;
    double x, y, deg;
    bool known, dirFixed;
};

NodeAt P(double x, double y, bool known = false)
{
    return {false, x, y, 0.0, known, false};
}

NodeAt L(double x, double y, double deg, bool known = false, bool dirFixed = false)
{
    return {true, x, y, deg, known, dirFixed};
}

const bool kKnown = true;
const double kMeasured = std::numeric_limits<double>::quiet_NaN();

enum RelKind
{
    kPP,
    kPL,
    kLL,
    kAng,
};

struct EquCase
{
    std::string name;
    RelKind rel;
    NodeAt a;
    NodeAt b;
    double value; // degrees for angles; kMeasured: what the geometry has
    bool (*isClass)(CEquation*);
    bool onCircle = false; // the value is an unknown carried by a circle's radius
    int rev1 = 0;
    int rev2 = 0;
};

CNode* Make(Sketch& s, const NodeAt& n)
{
    if (n.line)
    {
        CMathline* l = s.Line(n.x, n.y, std::cos(Deg(n.deg)), std::sin(Deg(n.deg)), n.known);
        l->m_bDirFixed = n.dirFixed ? 1 : 0;
        return l;
    }
    return s.Point(n.x, n.y, n.known);
}

void Build(Sketch& s, const EquCase& c)
{
    CNode* a = Make(s, c.a);
    CNode* b = Make(s, c.b);
    const double v =
        std::isnan(c.value) ? a->GetDistance(b) : (c.rel == kAng ? Deg(c.value) : c.value);
    CMathcir* circle = c.onCircle ? s.Circle(0, 0, v) : nullptr;
    CVal* val = circle != nullptr ? circle->m_pRadiusVal : nullptr;
    CRel* r = c.rel == kAng ? s.Ang(static_cast<CMathline*>(a), static_cast<CMathline*>(b), v)
                            : s.Attach(randomrows::NewDistance(a, b, val, v, 1));
    r->m_pValueNode = circle;
    r->m_bReverse1 = c.rev1;
    r->m_bReverse2 = c.rev2;
}

std::vector<EquCase> Cases()
{
    std::vector<EquCase> rows = {
        {"PPDisFixed, given first", kPP, P(0, 0, kKnown), P(3, 4), 5.0, Is<CEquPPDisFixed>},
        {"PPDisFixed, given second", kPP, P(-2, 1), P(1, 5, kKnown), 5.0, Is<CEquPPDisFixed>},
        {"PPDis", kPP, P(1, 1), P(4, 5), 5.0, Is<CEquPPDis>},
        {"PPDis, value on a circle", kPP, P(1, 1), P(4, 5), 5.0, Is<CEquPPDis>, true},
        {"PLDisFixed, point left", kPL, P(2, 3), L(0, 0, 0, kKnown), 3.0, Is<CEquPLDisFixed>},
        {"PLDisFixed, point right of a slanted line", kPL, P(4, 2), L(1, -1, 135, kKnown),
         kMeasured, Is<CEquPLDisFixed>},
        {"OrthoLPDisFixed", kPL, P(1, 2, kKnown), L(0, 0, 30, false, true), kMeasured,
         Is<CEquOrthoLPDisFixed>},
        {"PLDis, value on a circle", kPL, P(3, -2), L(-1, 0.5, 60), kMeasured, Is<CEquPLDis>, true},
        {"LLDisFixed, same direction", kLL, L(0, 0, 0, kKnown), L(0, 3, 0), 3.0,
         Is<CEquLLDisFixed>},
        {"LLDisFixed, opposite directions", kLL, L(0, 0, 0, kKnown), L(0, 3, 180), 3.0,
         Is<CEquLLDisFixed>},
        {"LLDisFixed, opposite directions, unknown first and below", kLL, L(2, -2, 225),
         L(0, 0, 45, kKnown), 2.0 * std::sqrt(2.0), Is<CEquLLDisFixed>},
        {"LLDis, same direction", kLL, L(0, 0, 100), L(2, 0, 100), kMeasured, Is<CEquLLDis>},
        {"LLDis, opposite directions", kLL, L(0, 0, 100), L(2, 0, 280), kMeasured, Is<CEquLLDis>},
        {"LLAngFixed, first line given", kAng, L(0, 0, 20, kKnown), L(1, 1, 80), 60.0,
         Is<CEquLLAngFixed>},
        {"LLAngFixed, second line given", kAng, L(0, 0, 200), L(1, 1, 80, kKnown), 240.0,
         Is<CEquLLAngFixed>},
        {"LLAngFixed, second line reversed", kAng, L(0, 0, 20, kKnown), L(1, 1, 80), 240.0,
         Is<CEquLLAngFixed>, false, 0, 1},
        {"LLAngFixed, first direction held", kAng, L(0, 0, 20, false, true), L(1, 1, 130), 110.0,
         Is<CEquLLAngFixed>},
    };
    // Lines at 300 and 30 degrees: the angle crosses zero, and the reverse flags turn either
    // line by a half turn.
    const int revs[][2] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    for (const auto& rev : revs)
    {
        rows.push_back({"LLAng", kAng, L(0, 0, 300), L(1, 1, 30), rev[0] == rev[1] ? 90.0 : 270.0,
                        Is<CEquLLAng>, false, rev[0], rev[1]});
    }
    for (double deg : {30.0, 120.0, 210.0, 300.0})
    {
        rows.push_back(
            {"LPDisFixed", kPL, P(1, 2, kKnown), L(-1, 0.5, deg), kMeasured, Is<CEquLPDisFixed>});
        rows.push_back({"PLDis", kPL, P(3, -2), L(-1, 0.5, deg), kMeasured, Is<CEquPLDis>});
        rows.push_back({"OrthoPLDis", kPL, P(-3, 2), L(1, 0.5, deg, false, true), kMeasured,
                        Is<CEquOrthoPLDis>});
    }
    return rows;
}

} // namespace

// Each row: the class the factory picks, zero residual where the relation holds, and exact
// derivatives matching forward differences at the solution and at offsets from it.
TEST(Equation, FactoryPicksClassResidualIsZeroAndDerivativesMatchForwardDifferences)
{
    const double offsets[][6] = {{0.0, 0.0, 0.0, 0.0, 0.0, 0.0},
                                 {0.11, -0.07, 0.05, 0.13, -0.09, 0.04},
                                 {-0.2, 0.15, -0.12, -0.06, 0.17, -0.1},
                                 {0.4, 0.3, -0.25, 0.2, 0.35, 0.3}};
    for (const EquCase& row : Cases())
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        Build(s, row);

        CEquationGrp grp(&s.nodes, &s.rels);

        ASSERT_EQ(grp.m_EquArray.size(), 1u);
        CEquation* e = grp.m_EquArray[0];
        const int n = grp.m_nVarNum;
        EXPECT_TRUE(row.isClass(e));
        if (row.onCircle)
        {
            // The circle is numbered last; its radius is the equation's last unknown.
            EXPECT_EQ(e->m_pVarIndex[e->m_nVarNum - 1], n - 1);
        }
        int flag = 0;
        EXPECT_NEAR(e->GetResidual(grp.m_pX, &flag), 0.0, 1e-9);
        EXPECT_EQ(flag, 1);
        for (const auto& off : offsets)
        {
            std::vector<double> x(grp.m_pX, grp.m_pX + n);
            for (int i = 0; i < n; ++i)
            {
                x[static_cast<size_t>(i)] += off[i % 6];
            }
            std::vector<double> exact(static_cast<size_t>(n), 0.0);
            std::vector<double> approx(static_cast<size_t>(n), 0.0);

            e->GetDerivative(x.data(), exact.data());
            e->CEquation::GetDerivative(x.data(), approx.data());

            for (int i = 0; i < e->m_nVarNum; ++i)
            {
                const size_t p = static_cast<size_t>(e->m_pVarIndex[i]);
                EXPECT_NEAR(exact[p], approx[p], 2e-5 * std::max(1.0, std::fabs(exact[p])))
                    << "position " << p;
            }
        }
    }
}

TEST(Equation, ResidualSatisfiedStrictlyBelowTolerance)
{
    Sketch s;
    CMathline* g = s.Line(0, 0, 1, 0, true);
    CMathline* u = s.Line(0, 0, 1, 0);
    CLLdis* r = s.Rel<CLLdis>(g, u, 0.0);
    u->m_nVarIndex = 0;
    u->m_nVarNo = 1;
    CEquLLDisFixed e(r);
    double below[2] = {0.999e-6, 0.0};
    double at[2] = {1e-6, 0.0};
    int flag = -1;

    e.GetResidual(below, &flag);
    EXPECT_EQ(flag, 1);
    e.GetResidual(at, &flag);
    EXPECT_EQ(flag, 0);
}

TEST(Equation, CoincidentPointsMakeTheDistanceDerivativeUnusable)
{
    Sketch s;
    CVert* a = s.Point(1, 1, true);
    CVert* b = s.Point(1, 1);
    s.Rel<CPPdis>(a, b, 2.0);

    CEquationGrp grp(&s.nodes, &s.rels);
    double row[2] = {0.0, 0.0};
    grp.m_EquArray[0]->GetDerivative(grp.m_pX, row);

    EXPECT_TRUE(std::isnan(row[0]));
    EXPECT_EQ(grp.Solve(), 0);
    EXPECT_EQ(grp.m_pX[0], 1.0);
    EXPECT_EQ(grp.m_pX[1], 1.0);
}

struct AngleRow
{
    const char* name;
    double a, b, expected;
};

TEST(LineGeometry, AngleOfUnitNormal)
{
    const double pi = constructtest::kPi;
    const AngleRow rows[] = {
        {"normal +x", 1, 0, pi / 2},
        {"normal -x", -1, 0, 3 * pi / 2},
        {"normal -y", 0, -1, 0},
        {"normal +y", 0, 1, pi},
        {"30 degrees", std::sin(pi / 6), -std::cos(pi / 6), pi / 6},
        {"150 degrees", std::sin(5 * pi / 6), -std::cos(5 * pi / 6), 5 * pi / 6},
        {"210 degrees", std::sin(7 * pi / 6), -std::cos(7 * pi / 6), 7 * pi / 6},
        {"330 degrees", std::sin(11 * pi / 6), -std::cos(11 * pi / 6), 11 * pi / 6},
        {"tiny positive a snaps to pi", 0.5e-5, 1, pi},
        {"tiny b snaps to 3pi/2", -1, 0.5e-5, 3 * pi / 2},
    };
    for (const AngleRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        double angle = -1.0;

        EXPECT_EQ(sktGetLineAngle(row.a, row.b, angle), 1);

        EXPECT_NEAR(angle, row.expected, 1e-12);
    }
}
