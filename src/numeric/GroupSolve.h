// The solve of an equation group: independent blocks of sparse rows, Newton iteration per
// block, and the least-squares step of each iteration by conjugate gradients.
#pragma once

class CEquationGrp;

/// One equation as the solver sees it.
struct EQUROW
{
    /// Index of the equation in the group's array.
    int m_nEquIndex = 0;
    /// Number of positions.
    int m_nCount = 0;
    /// Variable positions: global while blocks are formed, within the block afterwards.
    int* m_pPos = nullptr;
    /// Partial derivatives in the order of the positions; null until the block is prepared.
    double* m_pCoef = nullptr;
    double m_dResidual = 0.0;
};

/// A set of rows and the unknowns they involve.
struct EQUBLOCK
{
    int m_nRowNum = 0;
    int m_nColNum = 0;
    /// The rows, owned by the block (null when taken out).
    EQUROW** m_ppRows = nullptr;
    /// Column j of the block is the group's unknown at position m_pCols[j].
    int* m_pCols = nullptr;
};

/// A row with room for `count` positions (none when count < 1); null on failed allocation.
EQUROW* sktNewRow(int nEquIndex, int count);
void sktFreeRow(EQUROW* pRow);
/// A block with null rows and the identity column map; null on failed allocation.
EQUBLOCK* sktNewBlock(int nRowNum, int nColNum);
/// Frees the rows the block still holds, its columns and the block.
void sktFreeBlock(EQUBLOCK* pBlock);
/// 1 when the position is among the row's positions.
int sktRowHasVar(EQUROW* pRow, int pos);
/// Moves the rows of pAll into independent blocks stored in ppOut (room for one block per row);
/// returns the number of blocks, 0 on error.
int sktSplitBlocks(EQUBLOCK* pAll, EQUBLOCK** ppOut);
/// Turns the rows' positions into column indices and gives them zeroed coefficients; returns
/// the block, or null when a row is missing or keeps no position.
EQUBLOCK* sktPrepareBlock(EQUBLOCK* pBlock);
/// Newton iteration on one block over the working vector W (S is scratch of the group's size):
/// 1 converged, 2 not converged or a step too large, 0 error.
int sktNewtonBlock(CEquationGrp* pGrp, EQUBLOCK* pBlock, double* W, double* S);
/// Least-squares step of the linearised block, improved in place from the given delta: 1, or 0
/// on error.
int sktSolveLeastSquares(EQUBLOCK* pBlock, double* delta);
/// Gradient of the least-squares objective at delta into g: 1, or 0 on error.
int sktLeastSquaresGradient(EQUBLOCK* pBlock, double* delta, double* g);
/// Exact minimum of the objective along delta + t * d: 1, or 0 on a null block.
int sktLineMinimum(EQUBLOCK* pBlock, double* delta, double* d, double& t, double& value);
