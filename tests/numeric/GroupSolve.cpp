// The group solve on hand-made equations: the Newton limits (16 iterations, no single step beyond
// 10000), a failing block, a repeated position. Solving real sketches is left to the drive suites.
#include "QsolverInternal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <vector>

namespace
{

// sum coef[i] * x[pos[i]] - rhs, with a derivative that may be scaled away from the truth to
// steer Newton; counts its evaluations.
class CLinearEquation : public CEquation
{
public:
    std::vector<double> m_Coef;
    double m_dRhs = 0.0;
    double m_dSlopeScale = 1.0;
    int m_nResiduals = 0;
    int m_nDerivatives = 0;

    CLinearEquation(std::initializer_list<int> pos, std::initializer_list<double> coef, double rhs)
        : m_Coef(coef), m_dRhs(rhs)
    {
        // The base destructor frees the positions.
        m_nVarNum = static_cast<int>(pos.size());
        m_pVarIndex = new int[pos.size()];
        std::copy(pos.begin(), pos.end(), m_pVarIndex);
    }
    double GetResidual(double* x, int* pFlag) override
    {
        ++m_nResiduals;
        double r = -m_dRhs;
        for (int i = 0; i < m_nVarNum; ++i)
        {
            r += m_Coef[static_cast<size_t>(i)] * x[m_pVarIndex[i]];
        }
        *pFlag = std::fabs(r) < 1e-6 ? 1 : 0;
        return r;
    }
    void GetDerivative(double* /*x*/, double* row) override
    {
        ++m_nDerivatives;
        for (int i = 0; i < m_nVarNum; ++i)
        {
            row[m_pVarIndex[i]] = 0.0;
        }
        for (int i = 0; i < m_nVarNum; ++i)
        {
            row[m_pVarIndex[i]] += m_dSlopeScale * m_Coef[static_cast<size_t>(i)];
        }
    }
};

// A group with no nodes whose vector the test sets.
struct BareGroup
{
    CEquationGrp grp{static_cast<CNodeList*>(nullptr), static_cast<CRelList*>(nullptr)};

    explicit BareGroup(std::initializer_list<double> x)
    {
        delete[] grp.m_pX;
        grp.m_nVarNum = static_cast<int>(x.size());
        grp.m_pX = new double[x.size()];
        int i = 0;
        for (double v : x)
        {
            grp.m_pX[i++] = v;
        }
    }
    CLinearEquation* Add(CLinearEquation* e)
    {
        grp.m_EquArray.push_back(e);
        return e;
    }
};

} // namespace

TEST(GroupSolve, NewtonLimits)
{
    struct LimitCase
    {
        const char* name;
        double start, rhs, slopeScale;
        int result, residuals;
    };
    // With the slope reported twice too steep each step halves the residual exactly.
    const LimitCase rows[] = {
        {"step beyond 10000 fails at once", 0, 20000, 1, 0, 1},
        {"step of 10000 is allowed", 0, 10000, 1, 1, 2},
        {"satisfied at the start of the 16th iteration", 0.7e-6 * 32768, 0, 2, 1, 16},
        {"satisfied only after the 16th step", 0.7e-6 * 65536, 0, 2, 0, 16},
        {"zero slope never moves", 1, 0, 0, 0, 16},
    };
    for (const LimitCase& row : rows)
    {
        SCOPED_TRACE(row.name);
        BareGroup g({row.start});
        CLinearEquation* e = g.Add(new CLinearEquation({0}, {1}, row.rhs));
        e->m_dSlopeScale = row.slopeScale;

        EXPECT_EQ(g.grp.Solve(), row.result);

        EXPECT_EQ(e->m_nResiduals, row.residuals);
        if (row.result == 0)
        {
            EXPECT_EQ(g.grp.m_pX[0], row.start);
        }
    }
}

TEST(GroupSolve, FailingBlockDiscardsBlocksSolvedBeforeIt)
{
    BareGroup g({0, 0});
    g.Add(new CLinearEquation({0}, {1}, 4));
    g.Add(new CLinearEquation({1}, {1}, 1));
    g.Add(new CLinearEquation({1}, {1}, 2));

    EXPECT_EQ(g.grp.Solve(), 0);

    EXPECT_EQ(g.grp.m_pX[0], 0.0);
    EXPECT_EQ(g.grp.m_pX[1], 0.0);
}

TEST(GroupSolve, RepeatedPositionCountsOnce)
{
    // 2 * x2 + x3 = 4, with x2 listed twice: taken twice, the step would be half what it must.
    BareGroup g({0, 0, 0, 0});
    CLinearEquation* e = g.Add(new CLinearEquation({2, 2, 3}, {1, 1, 1}, 4));

    ASSERT_EQ(g.grp.Solve(), 1);

    EXPECT_EQ(e->m_nResiduals, 2);
    EXPECT_NEAR(2 * g.grp.m_pX[2] + g.grp.m_pX[3], 4.0, 1e-9);
}

TEST(GroupSolve, EquationsWithoutUnknownsSucceed)
{
    BareGroup g({5});
    CLinearEquation* e = g.Add(new CLinearEquation({}, {}, 1));

    EXPECT_EQ(g.grp.Solve(), 1);

    EXPECT_EQ(e->m_nResiduals, 0);
    EXPECT_EQ(g.grp.m_pX[0], 5.0);
}
