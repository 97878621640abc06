// Equations over real sketch geometry: the class the factory picks, zero residual where the
// relation holds, exact derivatives against forward differences, and convergence from a
// perturbed start that keeps the side the geometry stood on.
#include "QsolverInternal.h"

#include "numeric/NumericSketch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

using numtest::Deg;
using numtest::Pi;
using numtest::Sketch;

namespace
{

template <class T> bool Is(CEquation* e)
{
    return dynamic_cast<T*>(e) != nullptr;
}

struct EquCase
{
    const char* name;
    std::function<void(Sketch&)> build;
    bool (*isClass)(CEquation*);
};

double Dist(CNode* a, CNode* b)
{
    return a->GetDistance(b);
}

std::vector<EquCase> Cases()
{
    std::vector<EquCase> rows;
    rows.push_back({"PPDisFixed, given first",
                    [](Sketch& s)
                    {
                        CVert* a = s.Point(0, 0, true);
                        CVert* b = s.Point(3, 4);
                        s.Rel<CPPdis>(a, b, 5.0);
                    },
                    Is<CEquPPDisFixed>});
    rows.push_back({"PPDisFixed, given second",
                    [](Sketch& s)
                    {
                        CVert* a = s.Point(-2, 1);
                        CVert* b = s.Point(1, 5, true);
                        s.Rel<CPPdis>(a, b, 5.0);
                    },
                    Is<CEquPPDisFixed>});
    rows.push_back({"PPDis",
                    [](Sketch& s)
                    {
                        CVert* a = s.Point(1, 1);
                        CVert* b = s.Point(4, 5);
                        s.Rel<CPPdis>(a, b, 5.0);
                    },
                    Is<CEquPPDis>});
    rows.push_back({"PPDis with unknown value on a circle",
                    [](Sketch& s)
                    {
                        CVert* a = s.Point(1, 1);
                        CVert* b = s.Point(4, 5);
                        CMathcir* c = s.Circle(5.0);
                        CPPdis* r = s.Shared<CPPdis>(a, b, c->m_pRadiusVal);
                        r->m_pValueNode = c;
                    },
                    Is<CEquPPDis>});
    rows.push_back({"PLDisFixed, point left of the line",
                    [](Sketch& s)
                    {
                        CVert* p = s.Point(2, 3);
                        CMathline* l = s.Line(0, 0, Deg(0), true);
                        s.Rel<CPLdis>(p, l, 3.0);
                    },
                    Is<CEquPLDisFixed>});
    rows.push_back({"PLDisFixed, point right of a slanted line",
                    [](Sketch& s)
                    {
                        CMathline* l = s.Line(1, -1, Deg(135), true);
                        CVert* p = s.Point(4, 2);
                        s.Rel<CPLdis>(p, l, Dist(p, l));
                    },
                    Is<CEquPLDisFixed>});
    for (double deg : {30.0, 120.0, 210.0, 300.0})
    {
        rows.push_back({"LPDisFixed",
                        [deg](Sketch& s)
                        {
                            CVert* p = s.Point(1, 2, true);
                            CMathline* l = s.Line(-1, 0.5, Deg(deg));
                            s.Rel<CPLdis>(p, l, Dist(p, l));
                        },
                        Is<CEquLPDisFixed>});
        rows.push_back({"PLDis",
                        [deg](Sketch& s)
                        {
                            CVert* p = s.Point(3, -2);
                            CMathline* l = s.Line(-1, 0.5, Deg(deg));
                            s.Rel<CPLdis>(p, l, Dist(p, l));
                        },
                        Is<CEquPLDis>});
        rows.push_back({"OrthoPLDis",
                        [deg](Sketch& s)
                        {
                            CVert* p = s.Point(-3, 2);
                            CMathline* l = s.Line(1, 0.5, Deg(deg), false, true);
                            s.Rel<CPLdis>(p, l, Dist(p, l));
                        },
                        Is<CEquOrthoPLDis>});
    }
    rows.push_back({"OrthoLPDisFixed",
                    [](Sketch& s)
                    {
                        CVert* p = s.Point(1, 2, true);
                        CMathline* l = s.Line(0, 0, Deg(30), false, true);
                        s.Rel<CPLdis>(p, l, Dist(p, l));
                    },
                    Is<CEquOrthoLPDisFixed>});
    rows.push_back({"PLDis with unknown value on a circle",
                    [](Sketch& s)
                    {
                        CVert* p = s.Point(3, -2);
                        CMathline* l = s.Line(-1, 0.5, Deg(60));
                        CMathcir* c = s.Circle(Dist(p, l));
                        CPLdis* r = s.Shared<CPLdis>(p, l, c->m_pRadiusVal);
                        r->m_pValueNode = c;
                    },
                    Is<CEquPLDis>});
    rows.push_back({"LLDisFixed, same direction",
                    [](Sketch& s)
                    {
                        CMathline* g = s.Line(0, 0, Deg(0), true);
                        CMathline* u = s.Line(0, 3, Deg(0));
                        s.Rel<CLLdis>(g, u, 3.0);
                    },
                    Is<CEquLLDisFixed>});
    rows.push_back({"LLDisFixed, opposite directions",
                    [](Sketch& s)
                    {
                        CMathline* g = s.Line(0, 0, Deg(0), true);
                        CMathline* u = s.Line(0, 3, Deg(180));
                        s.Rel<CLLdis>(g, u, 3.0);
                    },
                    Is<CEquLLDisFixed>});
    rows.push_back({"LLDisFixed, opposite directions, unknown first and below",
                    [](Sketch& s)
                    {
                        CMathline* u = s.Line(2, -2, Deg(225));
                        CMathline* g = s.Line(0, 0, Deg(45), true);
                        s.Rel<CLLdis>(u, g, 2.0 * std::sqrt(2.0));
                    },
                    Is<CEquLLDisFixed>});
    rows.push_back({"LLDis, same direction",
                    [](Sketch& s)
                    {
                        CMathline* a = s.Line(0, 0, Deg(100));
                        CMathline* b = s.Line(2, 0, Deg(100));
                        s.Rel<CLLdis>(a, b, Dist(a, b));
                    },
                    Is<CEquLLDis>});
    rows.push_back({"LLDis, opposite directions",
                    [](Sketch& s)
                    {
                        CMathline* a = s.Line(0, 0, Deg(100));
                        CMathline* b = s.Line(2, 0, Deg(280));
                        s.Rel<CLLdis>(a, b, Dist(a, b));
                    },
                    Is<CEquLLDis>});
    rows.push_back({"LLAngFixed, first line given",
                    [](Sketch& s)
                    {
                        CMathline* a = s.Line(0, 0, Deg(20), true);
                        CMathline* b = s.Line(1, 1, Deg(80));
                        s.Rel<CLLang>(a, b, Deg(60));
                    },
                    Is<CEquLLAngFixed>});
    rows.push_back({"LLAngFixed, second line given",
                    [](Sketch& s)
                    {
                        CMathline* a = s.Line(0, 0, Deg(200));
                        CMathline* b = s.Line(1, 1, Deg(80), true);
                        s.Rel<CLLang>(a, b, Deg(240));
                    },
                    Is<CEquLLAngFixed>});
    rows.push_back({"LLAngFixed, second line reversed",
                    [](Sketch& s)
                    {
                        CMathline* a = s.Line(0, 0, Deg(20), true);
                        CMathline* b = s.Line(1, 1, Deg(80));
                        CLLang* r = s.Rel<CLLang>(a, b, Deg(240));
                        r->m_bReverse2 = 1;
                    },
                    Is<CEquLLAngFixed>});
    rows.push_back({"LLAngFixed, first direction held",
                    [](Sketch& s)
                    {
                        CMathline* a = s.Line(0, 0, Deg(20), false, true);
                        CMathline* b = s.Line(1, 1, Deg(130));
                        s.Rel<CLLang>(a, b, Deg(110));
                    },
                    Is<CEquLLAngFixed>});
    struct AngRow
    {
        int rev1;
        int rev2;
        double value;
    };
    // Lines at 300 and 30 degrees; the reverse flags turn either by a half turn.
    for (AngRow a :
         {AngRow{0, 0, 90.0}, AngRow{1, 0, 270.0}, AngRow{0, 1, 270.0}, AngRow{1, 1, 90.0}})
    {
        rows.push_back({"LLAng",
                        [a](Sketch& s)
                        {
                            CMathline* l1 = s.Line(0, 0, Deg(300));
                            CMathline* l2 = s.Line(1, 1, Deg(30));
                            CLLang* r = s.Rel<CLLang>(l1, l2, Deg(a.value));
                            r->m_bReverse1 = a.rev1;
                            r->m_bReverse2 = a.rev2;
                        },
                        Is<CEquLLAng>});
    }
    return rows;
}

// Moves every unknown node off the geometry it was built (and backed up) with.
void Perturb(Sketch& s)
{
    for (POSITION pos = s.nodes.GetHeadPosition(); pos != nullptr;)
    {
        CNode* n = s.nodes.GetNext(pos);
        if (n->IsKnown())
        {
            continue;
        }
        if (n->GetType() == SKT_NODE_POINT)
        {
            CVert* p = static_cast<CVert*>(n);
            p->m_Pos = XYZ(p->m_Pos.x + 0.3, p->m_Pos.y - 0.2, 0.0);
        }
        else if (n->GetType() == SKT_NODE_LINE)
        {
            CMathline* l = static_cast<CMathline*>(n);
            const VECTOR d = l->m_Line.m_Direction;
            const double turn = l->m_bDirFixed ? 0.0 : 0.05;
            const VECTOR nd(d.x * std::cos(turn) - d.y * std::sin(turn),
                            d.x * std::sin(turn) + d.y * std::cos(turn), 0.0);
            const XYZ p = l->m_Line.m_ThroughPoint;
            l->m_Line.Set(XYZ(p.x + 0.1, p.y + 0.25, 0.0), nd);
        }
    }
}

void ExpectAllSatisfied(Sketch& s)
{
    CEquationGrp grp(&s.nodes, &s.rels);
    for (CEquation* e : grp.m_EquArray)
    {
        int flag = 0;
        const double r = e->GetResidual(grp.m_pX, &flag);
        EXPECT_EQ(flag, 1) << "residual " << r;
    }
}

} // namespace

TEST(Equation, FactoryPicksClassAndResidualIsZeroWhereRelationHolds)
{
    for (const EquCase& row : Cases())
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        row.build(s);

        CEquationGrp grp(&s.nodes, &s.rels);

        ASSERT_EQ(grp.m_EquArray.size(), 1u);
        EXPECT_TRUE(row.isClass(grp.m_EquArray[0]));
        int flag = 0;
        EXPECT_NEAR(grp.m_EquArray[0]->GetResidual(grp.m_pX, &flag), 0.0, 1e-9);
        EXPECT_EQ(flag, 1);
    }
}

TEST(Equation, ExactDerivativesMatchForwardDifferences)
{
    const double offsets[][6] = {{0.0, 0.0, 0.0, 0.0, 0.0, 0.0},
                                 {0.11, -0.07, 0.05, 0.13, -0.09, 0.04},
                                 {-0.2, 0.15, -0.12, -0.06, 0.17, -0.1},
                                 {0.4, 0.3, -0.25, 0.2, 0.35, 0.3}};
    for (const EquCase& row : Cases())
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        row.build(s);
        CEquationGrp grp(&s.nodes, &s.rels);
        ASSERT_EQ(grp.m_EquArray.size(), 1u);
        CEquation* e = grp.m_EquArray[0];
        const int n = grp.m_nVarNum;

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

TEST(Equation, ConvergesFromPerturbedStartOnTheSideItStoodOn)
{
    for (const EquCase& row : Cases())
    {
        SCOPED_TRACE(row.name);
        Sketch s;
        row.build(s);
        Perturb(s);

        CEquationGrp grp(&s.nodes, &s.rels);
        ASSERT_EQ(grp.Solve(), 1);
        grp.WriteBack(&s.nodes, &s.rels);

        ExpectAllSatisfied(s);
    }
}

TEST(Equation, ResidualSatisfiedStrictlyBelowTolerance)
{
    Sketch s;
    CMathline* g = s.Line(0, 0, 0.0, true);
    CMathline* u = s.Line(0, 0, 0.0);
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

TEST(Equation, PointBelowLineStaysBelow)
{
    Sketch s;
    CMathline* l = s.Line(0, 0, 0.0, true);
    CVert* p = s.Point(1, 2);
    CPLdis* r = s.Rel<CPLdis>(p, l, 2.0);
    p->m_nVarIndex = 0;
    p->m_nVarNo = 1;
    CEquPLDisFixed e(r);
    // The line's normal (sin 0, -cos 0) points down: the point above is on its negative side.
    double above[2] = {5.0, 2.0};
    double below[2] = {5.0, -2.0};
    int flag = 0;

    EXPECT_EQ(e.m_bNegate, 1);
    e.GetResidual(above, &flag);
    EXPECT_EQ(flag, 1);
    e.GetResidual(below, &flag);
    EXPECT_EQ(flag, 0);
}

TEST(Equation, AngleAcrossZeroAndReversed)
{
    Sketch s;
    CMathline* a = s.Line(0, 0, 0.0);
    CMathline* b = s.Line(0, 0, 0.0);
    CLLang* r20 = s.Rel<CLLang>(a, b, Deg(20));
    CLLang* r200 = s.Rel<CLLang>(a, b, Deg(200));
    r200->m_bReverse2 = 1;
    a->m_nVarIndex = 0;
    a->m_nVarNo = 1;
    b->m_nVarIndex = 2;
    b->m_nVarNo = 3;
    CEquLLAng e20(r20);
    CEquLLAng e200(r200);
    double x[4] = {0.0, Deg(350), 0.0, Deg(10)};
    int flag = 0;

    EXPECT_NEAR(e20.GetResidual(x, &flag), 0.0, 1e-12);
    EXPECT_EQ(flag, 1);
    EXPECT_NEAR(e200.GetResidual(x, &flag), 0.0, 1e-12);
    EXPECT_EQ(flag, 1);
}

TEST(Equation, UnknownValueIsTheLastVariable)
{
    Sketch s;
    CVert* a = s.Point(0, 0);
    CVert* b = s.Point(3, 4);
    CVert* k = s.Point(9, 9, true);
    CMathline* l1 = s.Line(0, 0, 0.0);
    CMathline* l2 = s.Line(0, 1, 0.5);
    CMathcir* c = s.Circle(5.0);
    CPPdis* both = s.Shared<CPPdis>(a, b, c->m_pRadiusVal);
    CPPdis* fixed = s.Shared<CPPdis>(k, b, c->m_pRadiusVal);
    CLLang* ang = s.Rel<CLLang>(l1, l2, 0.5, false);
    both->m_pValueNode = c;
    fixed->m_pValueNode = c;
    ang->m_pValueNode = c;
    a->m_nVarIndex = 0;
    a->m_nVarNo = 1;
    b->m_nVarIndex = 2;
    b->m_nVarNo = 3;
    l1->m_nVarIndex = 4;
    l1->m_nVarNo = 5;
    l2->m_nVarIndex = 8;
    l2->m_nVarNo = 9;
    c->m_nVarIndex = 7;
    double x[10] = {0, 0, 3, 4, 0, 0, 0, 5.0, 0, 0.5};
    double row[10] = {};

    CEquPPDis ePP(both);
    CEquPPDisFixed eFixed(fixed);
    CEquLLAng eAng(ang);
    ePP.GetDerivative(x, row);

    EXPECT_EQ(ePP.m_nVarNum, 5);
    EXPECT_EQ(ePP.m_pVarIndex[4], 7);
    EXPECT_EQ(row[7], -1.0);
    EXPECT_EQ(eFixed.m_nVarNum, 3);
    EXPECT_EQ(eFixed.m_pVarIndex[2], 7);
    EXPECT_EQ(eAng.m_nVarNum, 2);
}

namespace
{
// Two positions; counts the residual evaluations of the forward differences.
class CCountingEquation : public CEquation
{
public:
    int m_nCalls = 0;
    CCountingEquation()
    {
        AllocVars(2);
        m_pVarIndex[0] = 3;
        m_pVarIndex[1] = 5;
    }
    double GetResidual(double* x, int* pFlag) override
    {
        ++m_nCalls;
        *pFlag = 0;
        return 2.0 * x[3] + 3.0 * x[5];
    }
};
} // namespace

TEST(Equation, ForwardDifferencesTouchOnlyOwnPositions)
{
    CCountingEquation e;
    double x[7] = {1, 1, 1, 1, 1, 1, 1};
    double row[7] = {9, 9, 9, 9, 9, 9, 9};

    e.GetDerivative(x, row);

    EXPECT_EQ(e.m_nCalls, 3);
    EXPECT_NEAR(row[3], 2.0, 1e-6);
    EXPECT_NEAR(row[5], 3.0, 1e-6);
    for (int i : {0, 1, 2, 4, 6})
    {
        EXPECT_EQ(row[i], 9.0);
    }
    EXPECT_NEAR(x[3], 1.0, 1e-15);
    EXPECT_NEAR(x[5], 1.0, 1e-15);
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
    double a;
    double b;
    double expected;
};

TEST(LineGeometry, AngleOfUnitNormal)
{
    const double pi = Pi();
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

TEST(LineGeometry, CoefficientsOfCloseAndDistinctPoints)
{
    double a = 7;
    double b = 7;
    double c = 7;

    EXPECT_EQ(sktGetLineCoef(1, 1, 1 + 0.5e-5, 1, a, b, c), 0);
    EXPECT_EQ(a, 0.0);
    EXPECT_EQ(b, 1.0);
    EXPECT_EQ(c, 0.0);

    EXPECT_EQ(sktGetLineCoef(0, 5, 2, 5, a, b, c), 1);
    EXPECT_NEAR(a, 0.0, 1e-15);
    EXPECT_NEAR(b, -1.0, 1e-15);
    EXPECT_NEAR(c, 5.0, 1e-15);
    EXPECT_NEAR(sktGetSignedDistance(3, 1, a, b, c), 4.0, 1e-15);
    EXPECT_EQ(sktGetSignedDistance(0, 0, a, b, c), c);
}
