// The solve of an equation group: split the sparse rows into independent blocks, run Newton on
// each block, and find each Newton step as the least-squares solution of the linearised block
// by conjugate gradients with exact line search. No dense matrix is ever formed.
#include "numeric/GroupSolve.h"

#include "numeric/Equation.h"
#include "numeric/EquationGrp.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace
{

// A block is solved when it converges within this many Newton steps.
const int kNewtonIterations = 16;
// A Newton step that moves some unknown further than this is divergence.
const double kMaxStep = 10000.0;
// Starting value of the smallest objective seen by the least-squares search.
const double kHugeObjective = 1e50;
// Below this a gradient, step or curvature counts as zero.
const double kTiny = 1e-50;
// The least-squares search stops when its best objective improves by less than this.
const double kObjectiveTol = 1e-20;

// Work vectors of n doubles (room for one when n is 0); null when no memory.
using Doubles = std::unique_ptr<double[]>;
Doubles NewDoubles(int n)
{
    return Doubles(new (std::nothrow) double[n > 0 ? n : 1]);
}

struct BlockFree
{
    void operator()(EQUBLOCK* pBlock) const { sktFreeBlock(pBlock); }
};
using BlockPtr = std::unique_ptr<EQUBLOCK, BlockFree>;

// The blocks a split made, freed with it (a solved block is freed and nulled on the way).
struct SplitBlocks
{
    EQUBLOCK** ppBlocks;
    int nBlocks;
    SplitBlocks(EQUBLOCK** blocks, int count) : ppBlocks(blocks), nBlocks(count) {}
    SplitBlocks(const SplitBlocks&) = delete;
    SplitBlocks& operator=(const SplitBlocks&) = delete;
    ~SplitBlocks()
    {
        for (int b = 0; b < nBlocks; ++b)
        {
            sktFreeBlock(ppBlocks[b]);
        }
    }
};

// Frees what a failed split still holds outside any block.
void FreeRowList(EQUROW** ppRows, int count)
{
    for (int i = 0; i < count; ++i)
    {
        sktFreeRow(ppRows[i]);
    }
}

} // namespace

EQUROW* sktNewRow(int nEquIndex, int count)
{
    EQUROW* pRow = new (std::nothrow) EQUROW;
    if (pRow == nullptr)
    {
        return nullptr;
    }
    pRow->m_nEquIndex = nEquIndex;
    pRow->m_nCount = count;
    if (count >= 1)
    {
        pRow->m_pPos = new (std::nothrow) int[count];
        if (pRow->m_pPos == nullptr)
        {
            delete pRow;
            return nullptr;
        }
    }
    return pRow;
}

void sktFreeRow(EQUROW* pRow)
{
    if (pRow == nullptr)
    {
        return;
    }
    delete[] pRow->m_pPos;
    delete[] pRow->m_pCoef;
    delete pRow;
}

EQUBLOCK* sktNewBlock(int nRowNum, int nColNum)
{
    if (nRowNum < 0 || nColNum < 0)
    {
        return nullptr;
    }
    EQUBLOCK* pBlock = new (std::nothrow) EQUBLOCK;
    if (pBlock == nullptr)
    {
        return nullptr;
    }
    pBlock->m_nRowNum = nRowNum;
    pBlock->m_nColNum = nColNum;
    pBlock->m_ppRows = new (std::nothrow) EQUROW*[nRowNum > 0 ? nRowNum : 1];
    pBlock->m_pCols = new (std::nothrow) int[nColNum > 0 ? nColNum : 1];
    if (pBlock->m_ppRows == nullptr || pBlock->m_pCols == nullptr)
    {
        delete[] pBlock->m_ppRows;
        delete[] pBlock->m_pCols;
        delete pBlock;
        return nullptr;
    }
    for (int i = 0; i < nRowNum; ++i)
    {
        pBlock->m_ppRows[i] = nullptr;
    }
    for (int j = 0; j < nColNum; ++j)
    {
        pBlock->m_pCols[j] = j;
    }
    return pBlock;
}

void sktFreeBlock(EQUBLOCK* pBlock)
{
    if (pBlock == nullptr)
    {
        return;
    }
    if (pBlock->m_ppRows != nullptr)
    {
        for (int i = 0; i < pBlock->m_nRowNum; ++i)
        {
            sktFreeRow(pBlock->m_ppRows[i]);
        }
    }
    delete[] pBlock->m_ppRows;
    delete[] pBlock->m_pCols;
    delete pBlock;
}

int sktRowHasVar(EQUROW* pRow, int pos)
{
    if (pRow == nullptr || pRow->m_pPos == nullptr)
    {
        return 0;
    }
    for (int i = 0; i < pRow->m_nCount; ++i)
    {
        if (pRow->m_pPos[i] == pos)
        {
            return 1;
        }
    }
    return 0;
}

int sktSplitBlocks(EQUBLOCK* pAll, EQUBLOCK** ppOut)
{
    if (pAll == nullptr || ppOut == nullptr)
    {
        return 0;
    }
    const int nRows = pAll->m_nRowNum;
    const int nCols = pAll->m_nColNum;
    EQUROW** ppRows = pAll->m_ppRows;

    // Rows that hold each position, in row order: the walk below visits exactly the rows that
    // a scan of the whole block for the position would find, without rescanning it.
    std::vector<int> start;
    std::vector<int> rowOfEntry;
    std::vector<char> inList;
    std::vector<int> posList;
    std::vector<EQUROW*> rowList;
    try
    {
        start.assign(static_cast<size_t>(nCols) + 1, 0);
        inList.assign(static_cast<size_t>(nCols), 0);
        posList.reserve(static_cast<size_t>(nCols));
        rowList.reserve(static_cast<size_t>(nRows));
        for (int i = 0; i < nRows; ++i)
        {
            EQUROW* pRow = ppRows[i];
            if (pRow == nullptr)
            {
                continue;
            }
            for (int j = 0; j < pRow->m_nCount; ++j)
            {
                const int p = pRow->m_pPos[j];
                if (p < 0 || p >= nCols)
                {
                    return 0;
                }
                ++start[static_cast<size_t>(p) + 1];
            }
        }
        for (int p = 0; p < nCols; ++p)
        {
            start[static_cast<size_t>(p) + 1] += start[static_cast<size_t>(p)];
        }
        rowOfEntry.assign(static_cast<size_t>(start[static_cast<size_t>(nCols)]), 0);
        std::vector<int> fill(start.begin(), start.end() - 1);
        for (int i = 0; i < nRows; ++i)
        {
            EQUROW* pRow = ppRows[i];
            if (pRow == nullptr)
            {
                continue;
            }
            for (int j = 0; j < pRow->m_nCount; ++j)
            {
                rowOfEntry[static_cast<size_t>(fill[static_cast<size_t>(pRow->m_pPos[j])]++)] = i;
            }
        }
    }
    catch (const std::bad_alloc&)
    {
        return 0;
    }

    int nBlocks = 0;
    int seed = 0;
    bool bError = false;
    while (!bError)
    {
        while (seed < nRows && ppRows[seed] == nullptr)
        {
            ++seed;
        }
        if (seed == nRows)
        {
            return nBlocks;
        }
        EQUROW* pSeed = ppRows[seed];
        if (pSeed->m_nCount > nCols)
        {
            bError = true;
            break;
        }
        ppRows[seed] = nullptr;
        rowList.clear();
        posList.clear();
        rowList.push_back(pSeed);
        for (int j = 0; j < pSeed->m_nCount; ++j)
        {
            posList.push_back(pSeed->m_pPos[j]);
            inList[static_cast<size_t>(pSeed->m_pPos[j])] = 1;
        }

        // The position list grows during the walk; the walk runs to its current end.
        for (size_t i = 0; i < posList.size() && !bError; ++i)
        {
            const int p = posList[i];
            for (int e = start[static_cast<size_t>(p)]; e < start[static_cast<size_t>(p) + 1]; ++e)
            {
                const int r = rowOfEntry[static_cast<size_t>(e)];
                EQUROW* pRow = ppRows[r];
                if (pRow == nullptr)
                {
                    continue;
                }
                if (static_cast<int>(rowList.size()) >= nRows)
                {
                    bError = true;
                    break;
                }
                ppRows[r] = nullptr;
                rowList.push_back(pRow);
                for (int j = 0; j < pRow->m_nCount; ++j)
                {
                    const int q = pRow->m_pPos[j];
                    if (inList[static_cast<size_t>(q)] != 0)
                    {
                        continue;
                    }
                    if (static_cast<int>(posList.size()) >= nCols)
                    {
                        bError = true;
                        break;
                    }
                    posList.push_back(q);
                    inList[static_cast<size_t>(q)] = 1;
                }
                if (bError)
                {
                    break;
                }
            }
        }
        if (bError)
        {
            break;
        }

        EQUBLOCK* pBlock =
            sktNewBlock(static_cast<int>(rowList.size()), static_cast<int>(posList.size()));
        if (pBlock == nullptr)
        {
            bError = true;
            break;
        }
        for (size_t i = 0; i < rowList.size(); ++i)
        {
            pBlock->m_ppRows[i] = rowList[i];
        }
        rowList.clear();
        for (size_t j = 0; j < posList.size(); ++j)
        {
            pBlock->m_pCols[j] = posList[j];
        }
        ppOut[nBlocks++] = pBlock;
    }

    // The rows gathered for the block that was not made are out of the all-rows block.
    FreeRowList(rowList.data(), static_cast<int>(rowList.size()));
    for (int b = 0; b < nBlocks; ++b)
    {
        sktFreeBlock(ppOut[b]);
        ppOut[b] = nullptr;
    }
    return 0;
}

EQUBLOCK* sktPrepareBlock(EQUBLOCK* pBlock)
{
    if (pBlock == nullptr)
    {
        return nullptr;
    }
    const int nCols = pBlock->m_nColNum;
    // Columns sorted by position, so that each block looks its positions up in its own size
    // however far apart they lie in the group's vector; on a repeated position the first
    // column wins.
    std::vector<std::pair<int, int>> colOf;
    try
    {
        colOf.reserve(static_cast<size_t>(nCols));
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
    for (int j = 0; j < nCols; ++j)
    {
        colOf.emplace_back(pBlock->m_pCols[j], j);
    }
    std::sort(colOf.begin(), colOf.end());

    for (int i = 0; i < pBlock->m_nRowNum; ++i)
    {
        EQUROW* pRow = pBlock->m_ppRows[i];
        if (pRow == nullptr)
        {
            return nullptr;
        }
        int kept = 0;
        for (int j = 0; j < pRow->m_nCount; ++j)
        {
            const int p = pRow->m_pPos[j];
            const auto it = std::lower_bound(colOf.begin(), colOf.end(), std::make_pair(p, -1));
            if (it != colOf.end() && it->first == p)
            {
                pRow->m_pPos[kept++] = it->second;
            }
        }
        pRow->m_nCount = kept;
        if (kept == 0)
        {
            return nullptr;
        }
        delete[] pRow->m_pCoef;
        pRow->m_pCoef = new (std::nothrow) double[kept]();
        if (pRow->m_pCoef == nullptr)
        {
            return nullptr;
        }
        pRow->m_dResidual = 0.0;
    }
    return pBlock;
}

int sktNewtonBlock(CEquationGrp* pGrp, EQUBLOCK* pBlock, double* W, double* S)
{
    if (pGrp == nullptr || pBlock == nullptr || W == nullptr || S == nullptr)
    {
        return 0;
    }
    const int n = pBlock->m_nColNum;
    for (int t = 0; t < kNewtonIterations; ++t)
    {
        int all = 1;
        for (int i = 0; i < pBlock->m_nRowNum; ++i)
        {
            EQUROW* pRow = pBlock->m_ppRows[i];
            CEquation* pEqu = pGrp->m_EquArray[static_cast<size_t>(pRow->m_nEquIndex)];
            int flag = 0;
            pRow->m_dResidual = pEqu->GetResidual(W, &flag);
            pEqu->GetDerivative(W, S);
            for (int j = 0; j < pRow->m_nCount; ++j)
            {
                pRow->m_pCoef[j] = S[pBlock->m_pCols[pRow->m_pPos[j]]];
            }
            if (flag == 0)
            {
                all = 0;
            }
        }
        if (all == 1)
        {
            return 1;
        }

        // S now holds the step, indexed by column; the derivatives are all taken out.
        for (int j = 0; j < n; ++j)
        {
            S[j] = 0.0;
        }
        if (sktSolveLeastSquares(pBlock, S) == 0)
        {
            return 0;
        }
        double m = 0.0;
        for (int j = 0; j < n; ++j)
        {
            W[pBlock->m_pCols[j]] += S[j];
            if (std::fabs(S[j]) > m)
            {
                m = std::fabs(S[j]);
            }
        }
        if (m > kMaxStep)
        {
            return 2;
        }
    }
    return 2;
}

int sktLeastSquaresGradient(EQUBLOCK* pBlock, double* delta, double* g)
{
    if (pBlock == nullptr || delta == nullptr || g == nullptr)
    {
        return 0;
    }
    for (int j = 0; j < pBlock->m_nColNum; ++j)
    {
        g[j] = 0.0;
    }
    for (int i = 0; i < pBlock->m_nRowNum; ++i)
    {
        const EQUROW* pRow = pBlock->m_ppRows[i];
        double s = pRow->m_dResidual;
        for (int j = 0; j < pRow->m_nCount; ++j)
        {
            s += pRow->m_pCoef[j] * delta[pRow->m_pPos[j]];
        }
        for (int j = 0; j < pRow->m_nCount; ++j)
        {
            g[pRow->m_pPos[j]] += s * pRow->m_pCoef[j];
        }
    }
    for (int j = 0; j < pBlock->m_nColNum; ++j)
    {
        g[j] = 2.0 * g[j];
    }
    return 1;
}

int sktLineMinimum(EQUBLOCK* pBlock, double* delta, double* d, double& t, double& value)
{
    if (pBlock == nullptr || delta == nullptr || d == nullptr)
    {
        return 0;
    }
    double A = 0.0;
    double B = 0.0;
    double Q = 0.0;
    for (int i = 0; i < pBlock->m_nRowNum; ++i)
    {
        const EQUROW* pRow = pBlock->m_ppRows[i];
        double alpha = pRow->m_dResidual;
        double beta = 0.0;
        for (int j = 0; j < pRow->m_nCount; ++j)
        {
            alpha += pRow->m_pCoef[j] * delta[pRow->m_pPos[j]];
            beta += pRow->m_pCoef[j] * d[pRow->m_pPos[j]];
        }
        A += alpha * alpha;
        B += alpha * beta;
        Q += beta * beta;
    }
    B = 2.0 * B;
    if (Q >= kTiny)
    {
        t = B * -0.5 / Q;
        value = A - B * B * 0.25 / Q;
    }
    else if (std::fabs(B) >= kTiny)
    {
        t = -A / B;
        value = 0.0;
    }
    else
    {
        t = 0.0;
        value = A;
    }
    return 1;
}

int sktSolveLeastSquares(EQUBLOCK* pBlock, double* delta)
{
    double best = kHugeObjective;
    if (pBlock == nullptr || delta == nullptr)
    {
        return 0;
    }
    const int n = pBlock->m_nColNum;
    const Doubles gBuffer = NewDoubles(n);
    const Doubles dBuffer = NewDoubles(n);
    if (gBuffer == nullptr || dBuffer == nullptr)
    {
        return 0;
    }
    double* g = gBuffer.get();
    double* d = dBuffer.get();

    int result = 1;
    if (sktLeastSquaresGradient(pBlock, delta, g) == 0)
    {
        result = 0;
    }
    double gamma = 0.0;
    for (int j = 0; j < n && result; ++j)
    {
        gamma += g[j] * g[j];
        d[j] = -g[j];
    }

    const long long passes = static_cast<long long>(n) * n;
    for (long long pass = 0; pass < passes && result; ++pass)
    {
        if (gamma < kTiny)
        {
            break;
        }
        double tau = 0.0;
        double fTau = 0.0;
        if (sktLineMinimum(pBlock, delta, d, tau, fTau) == 0)
        {
            result = 0;
            break;
        }
        double mu = 0.0;
        for (int j = 0; j < n; ++j)
        {
            delta[j] += tau * d[j];
            if (std::fabs(tau * d[j]) > mu)
            {
                mu = std::fabs(tau * d[j]);
            }
        }
        const double previous = best;
        if (best > fTau)
        {
            best = fTau;
        }
        if (mu < kTiny || std::fabs(previous - best) < kObjectiveTol)
        {
            break;
        }
        if (sktLeastSquaresGradient(pBlock, delta, g) == 0)
        {
            result = 0;
            break;
        }
        double gammaNew = 0.0;
        for (int j = 0; j < n; ++j)
        {
            gammaNew += g[j] * g[j];
        }
        const double beta = gammaNew / gamma;
        gamma = gammaNew;
        for (int j = 0; j < n; ++j)
        {
            d[j] = beta * d[j] - g[j];
        }
    }

    return result;
}

int CEquationGrp::Solve()
{
    if (m_EquArray.empty())
    {
        return 1;
    }
    int nRows = 0;
    for (CEquation* pEqu : m_EquArray)
    {
        if (pEqu != nullptr && pEqu->m_nVarNum > 0)
        {
            ++nRows;
        }
    }
    if (nRows == 0)
    {
        return 1;
    }

    const int n = m_nVarNum;
    const Doubles W = NewDoubles(n);
    const Doubles S = NewDoubles(n);
    const BlockPtr pAll(sktNewBlock(nRows, n));
    const std::unique_ptr<EQUBLOCK*[]> ppBlocks(new (std::nothrow) EQUBLOCK*[nRows]());
    if (W == nullptr || S == nullptr || pAll == nullptr || ppBlocks == nullptr)
    {
        return 0;
    }
    std::copy(m_pX, m_pX + n, W.get());
    int r = 0;
    for (size_t e = 0; e < m_EquArray.size(); ++e)
    {
        CEquation* pEqu = m_EquArray[e];
        if (pEqu == nullptr || pEqu->m_nVarNum <= 0)
        {
            continue;
        }
        EQUROW* pRow = sktNewRow(static_cast<int>(e), pEqu->m_nVarNum);
        if (pRow == nullptr)
        {
            return 0;
        }
        // A position the equation lists twice is one unknown: the first occurrence stays.
        int kept = 0;
        for (int i = 0; i < pEqu->m_nVarNum; ++i)
        {
            const int p = pEqu->m_pVarIndex[i];
            if (std::find(pRow->m_pPos, pRow->m_pPos + kept, p) == pRow->m_pPos + kept)
            {
                pRow->m_pPos[kept++] = p;
            }
        }
        pRow->m_nCount = kept;
        pAll->m_ppRows[r++] = pRow;
    }

    const int nBlocks = sktSplitBlocks(pAll.get(), ppBlocks.get());
    // Whichever way the solve ends, the blocks not solved yet go with the guard.
    const SplitBlocks split(ppBlocks.get(), nBlocks);
    if (nBlocks == 0)
    {
        return 0;
    }
    for (int b = 0; b < nBlocks; ++b)
    {
        if (sktPrepareBlock(ppBlocks[b]) == nullptr ||
            sktNewtonBlock(this, ppBlocks[b], W.get(), S.get()) != 1)
        {
            return 0;
        }
        sktFreeBlock(ppBlocks[b]);
        ppBlocks[b] = nullptr;
    }
    std::copy(W.get(), W.get() + n, m_pX);
    return 1;
}
