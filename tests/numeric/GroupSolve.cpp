// The group solve: rows and blocks, the split into independent blocks, the least-squares step,
// and the Newton limits (16 iterations, no single step beyond 10000).
#include "QsolverInternal.h"

#include "numeric/NumericSketch.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

using numtest::Sketch;

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
        AllocVars(static_cast<int>(pos.size()));
        int i = 0;
        for (int p : pos)
        {
            m_pVarIndex[i++] = p;
        }
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

// Wraps an equation of a real group to count how often the solver evaluates it.
class CCountingEquation : public CEquation
{
public:
    CEquation* m_pInner;
    int m_nResiduals = 0;
    int m_nDerivatives = 0;

    explicit CCountingEquation(CEquation* inner) : m_pInner(inner)
    {
        AllocVars(inner->m_nVarNum);
        for (int i = 0; i < m_nVarNum; ++i)
        {
            m_pVarIndex[i] = inner->m_pVarIndex[i];
        }
    }
    ~CCountingEquation() override { delete m_pInner; }
    double GetResidual(double* x, int* pFlag) override
    {
        ++m_nResiduals;
        return m_pInner->GetResidual(x, pFlag);
    }
    void GetDerivative(double* x, double* row) override
    {
        ++m_nDerivatives;
        m_pInner->GetDerivative(x, row);
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

EQUROW* Row(int index, std::initializer_list<int> pos)
{
    EQUROW* row = sktNewRow(index, static_cast<int>(pos.size()));
    int i = 0;
    for (int p : pos)
    {
        row->m_pPos[i++] = p;
    }
    return row;
}

// A prepared row: positions are block columns, with coefficients and residual.
EQUROW* LsRow(std::initializer_list<int> cols, std::initializer_list<double> coef, double r)
{
    EQUROW* row = Row(0, cols);
    row->m_pCoef = new double[coef.size()];
    int i = 0;
    for (double c : coef)
    {
        row->m_pCoef[i++] = c;
    }
    row->m_dResidual = r;
    return row;
}

EQUBLOCK* LsBlock(int cols, std::initializer_list<EQUROW*> rows)
{
    EQUBLOCK* block = sktNewBlock(static_cast<int>(rows.size()), cols);
    int i = 0;
    for (EQUROW* r : rows)
    {
        block->m_ppRows[i++] = r;
    }
    return block;
}

std::vector<int> RowsOf(EQUBLOCK* b)
{
    std::vector<int> out;
    for (int i = 0; i < b->m_nRowNum; ++i)
    {
        out.push_back(b->m_ppRows[i]->m_nEquIndex);
    }
    return out;
}

std::vector<int> ColsOf(EQUBLOCK* b)
{
    return std::vector<int>(b->m_pCols, b->m_pCols + b->m_nColNum);
}

} // namespace

TEST(SplitBlocks, TwoTrianglesAreTwoBlocksAndALinkJoinsThem)
{
    // Points P0..P2 at positions 0..5 and Q0..Q2 at 6..11, distances of two triangles
    // interleaved.
    struct SplitRow
    {
        const char* name;
        bool link;
        std::vector<std::vector<int>> rows;
        std::vector<std::vector<int>> cols;
    };
    const SplitRow rows[] = {
        {"apart", false, {{0, 4, 2}, {1, 5, 3}}, {{0, 1, 2, 3, 4, 5}, {6, 7, 8, 9, 10, 11}}},
        {"linked", true, {{0, 4, 2, 6, 1, 5, 3}}, {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}}},
    };
    for (const SplitRow& row : rows)
    {
        SCOPED_TRACE(row.name);
        EQUBLOCK* all = sktNewBlock(row.link ? 7 : 6, 12);
        all->m_ppRows[0] = Row(0, {0, 1, 2, 3});
        all->m_ppRows[1] = Row(1, {6, 7, 8, 9});
        all->m_ppRows[2] = Row(2, {2, 3, 4, 5});
        all->m_ppRows[3] = Row(3, {8, 9, 10, 11});
        all->m_ppRows[4] = Row(4, {0, 1, 4, 5});
        all->m_ppRows[5] = Row(5, {6, 7, 10, 11});
        if (row.link)
        {
            all->m_ppRows[6] = Row(6, {4, 5, 6, 7});
        }
        EQUBLOCK* out[7] = {};

        const int n = sktSplitBlocks(all, out);

        ASSERT_EQ(n, static_cast<int>(row.rows.size()));
        for (int b = 0; b < n; ++b)
        {
            EXPECT_EQ(RowsOf(out[b]), row.rows[static_cast<size_t>(b)]);
            EXPECT_EQ(ColsOf(out[b]), row.cols[static_cast<size_t>(b)]);
            sktFreeBlock(out[b]);
        }
        for (int i = 0; i < all->m_nRowNum; ++i)
        {
            EXPECT_EQ(all->m_ppRows[i], nullptr);
        }
        sktFreeBlock(all);
    }
}

TEST(PrepareBlock, LocalisesPositionsAndRefusesEmptyRows)
{
    EQUBLOCK* block = sktNewBlock(2, 3);
    block->m_pCols[0] = 6;
    block->m_pCols[1] = 9;
    block->m_pCols[2] = 7;
    block->m_ppRows[0] = Row(0, {7, 3, 6});
    block->m_ppRows[1] = Row(1, {9});
    block->m_ppRows[1]->m_dResidual = 5.0;

    ASSERT_EQ(sktPrepareBlock(block), block);

    EXPECT_EQ(block->m_ppRows[0]->m_nCount, 2);
    EXPECT_EQ(block->m_ppRows[0]->m_pPos[0], 2);
    EXPECT_EQ(block->m_ppRows[0]->m_pPos[1], 0);
    EXPECT_EQ(block->m_ppRows[0]->m_pCoef[1], 0.0);
    EXPECT_EQ(block->m_ppRows[1]->m_pPos[0], 1);
    EXPECT_EQ(block->m_ppRows[1]->m_dResidual, 0.0);

    block->m_ppRows[1]->m_pPos[0] = 4; // no longer a column of the block
    EXPECT_EQ(sktPrepareBlock(block), nullptr);
    sktFreeBlock(block);
}

TEST(LeastSquares, SmallSystemsWithKnownAnswers)
{
    struct LsCase
    {
        const char* name;
        int cols;
        std::vector<std::vector<double>> coef; // one per row, over all columns
        std::vector<double> residual;
        std::vector<double> step;
    };
    const LsCase rows[] = {
        {"consistent", 2, {{2, 1}, {1, 3}}, {-5, -10}, {1, 3}},
        {"over-determined", 2, {{1, 0}, {0, 1}, {1, 1}}, {-1, -2, -4}, {4.0 / 3, 7.0 / 3}},
        {"inconsistent in one unknown", 1, {{1}, {1}}, {-1, -2}, {1.5}},
        {"rank-deficient: smallest step", 2, {{1, 1}}, {-2}, {1, 1}},
        {"rank-deficient in three", 3, {{1, 1, 0}, {2, 2, 0}}, {-2, -4}, {1, 1, 0}},
        {"zero coefficients", 2, {{0, 0}}, {-3}, {0, 0}},
    };
    for (const LsCase& row : rows)
    {
        SCOPED_TRACE(row.name);
        EQUBLOCK* block = sktNewBlock(static_cast<int>(row.coef.size()), row.cols);
        for (size_t i = 0; i < row.coef.size(); ++i)
        {
            EQUROW* r = sktNewRow(0, row.cols);
            r->m_pCoef = new double[static_cast<size_t>(row.cols)];
            for (int j = 0; j < row.cols; ++j)
            {
                r->m_pPos[j] = j;
                r->m_pCoef[j] = row.coef[i][static_cast<size_t>(j)];
            }
            r->m_dResidual = row.residual[i];
            block->m_ppRows[i] = r;
        }
        std::vector<double> delta(static_cast<size_t>(row.cols), 0.0);

        ASSERT_EQ(sktSolveLeastSquares(block, delta.data()), 1);

        for (int j = 0; j < row.cols; ++j)
        {
            EXPECT_NEAR(delta[static_cast<size_t>(j)], row.step[static_cast<size_t>(j)], 1e-9);
        }
        sktFreeBlock(block);
    }
}

TEST(LeastSquares, GradientAndLineMinimum)
{
    EQUBLOCK* block = LsBlock(2, {LsRow({0, 1}, {1, 2}, 1.0)});
    double delta[2] = {1, 1};
    double g[2] = {9, 9};
    double down[2] = {-1, 0};
    double t = 0;
    double f = 0;

    ASSERT_EQ(sktLeastSquaresGradient(block, delta, g), 1);
    EXPECT_EQ(g[0], 8.0);
    EXPECT_EQ(g[1], 16.0);
    ASSERT_EQ(sktLineMinimum(block, delta, down, t, f), 1);
    EXPECT_EQ(t, 4.0);
    EXPECT_EQ(f, 0.0);

    // A direction the rows barely see: the objective is taken as linear along it.
    block->m_ppRows[0]->m_pCoef[0] = 1e-26;
    block->m_ppRows[0]->m_pCoef[1] = 0.0;
    double zero[2] = {0, 0};
    double along[2] = {1, 0};
    ASSERT_EQ(sktLineMinimum(block, zero, along, t, f), 1);
    EXPECT_DOUBLE_EQ(t, -1.0 / 2e-26);
    EXPECT_EQ(f, 0.0);
    EXPECT_EQ(sktLineMinimum(nullptr, zero, along, t, f), 0);
    sktFreeBlock(block);
}

TEST(GroupSolve, SatisfiedGroupEvaluatesOnceAndKeepsVector)
{
    BareGroup g({1, 2, 3});
    CLinearEquation* e1 = g.Add(new CLinearEquation({0, 1}, {1, 1}, 3));
    CLinearEquation* e2 = g.Add(new CLinearEquation({2}, {2}, 6));

    EXPECT_EQ(g.grp.Solve(), 1);

    EXPECT_EQ(e1->m_nResiduals, 1);
    EXPECT_EQ(e1->m_nDerivatives, 1);
    EXPECT_EQ(e2->m_nResiduals, 1);
    EXPECT_EQ(e2->m_nDerivatives, 1);
    EXPECT_EQ(g.grp.m_pX[0], 1.0);
    EXPECT_EQ(g.grp.m_pX[1], 2.0);
    EXPECT_EQ(g.grp.m_pX[2], 3.0);
}

TEST(GroupSolve, LinearLineDistanceConvergesInOneStep)
{
    Sketch s;
    CMathline* given = s.Line(0, 0, 0.0, true);
    CMathline* moving = s.Line(0, 2.5, 0.0);
    s.Rel<CLLdis>(given, moving, 3.0);
    CEquationGrp grp(&s.nodes, &s.rels);
    ASSERT_EQ(grp.m_EquArray.size(), 1u);
    CCountingEquation* counted = new CCountingEquation(grp.m_EquArray[0]);
    grp.m_EquArray[0] = counted;

    ASSERT_EQ(grp.Solve(), 1);
    grp.WriteBack(&s.nodes, &s.rels);

    EXPECT_EQ(counted->m_nResiduals, 2);
    EXPECT_NEAR(moving->m_Line.GetDistance(XYZ(0, 3, 0)), 0.0, 1e-12);
}

TEST(GroupSolve, NewtonLimits)
{
    struct LimitCase
    {
        const char* name;
        double start;
        double rhs;
        double slopeScale;
        int result;
        int residuals;
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

TEST(GroupSolve, OverDeterminedConsistentConvergesInconsistentFails)
{
    BareGroup good({0, 0});
    good.Add(new CLinearEquation({0}, {1}, 1));
    good.Add(new CLinearEquation({1}, {1}, 2));
    good.Add(new CLinearEquation({0, 1}, {1, 1}, 3));
    BareGroup bad({0});
    bad.Add(new CLinearEquation({0}, {1}, 1));
    bad.Add(new CLinearEquation({0}, {1}, 2));

    ASSERT_EQ(good.grp.Solve(), 1);
    EXPECT_EQ(bad.grp.Solve(), 0);

    EXPECT_NEAR(good.grp.m_pX[0], 1.0, 1e-9);
    EXPECT_NEAR(good.grp.m_pX[1], 2.0, 1e-9);
    EXPECT_EQ(bad.grp.m_pX[0], 0.0);
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
