// Equations of the numeric solver: residuals of distances and angles over the variable vector,
// their exact derivatives, and the conversion of lines into numeric parameters (c, theta).
#include "numeric/Equation.h"

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace
{

// An equation whose residual is smaller than this in magnitude is satisfied.
const double kResidualTol = 1e-6;
// Two points closer than this give no line direction.
const double kLineCoefTol = 1e-5;
// A normal component smaller than this snaps the line angle to a multiple of pi/2.
const double kAngleSnapTol = 1e-5;
// Step of the base class's forward differences, and its inverse.
const double kDiffStep = 1e-8;
const double kDiffScale = 1e8;

double Pi()
{
    return 2.0 * std::acos(0.0);
}

double TwoPi()
{
    return 4.0 * std::acos(0.0);
}

int IsUnknownNode(CNode* pNode)
{
    return (!pNode->IsKnown() && !pNode->IsRefObject()) ? 1 : 0;
}

double RelValue(CRel* pRel)
{
    return pRel->m_pVal != nullptr ? pRel->m_pVal->m_dValue : 0.0;
}

// The relation's value is an unknown of the system when it is unknown and its value node has a
// position in the vector; the position is then the equation's last one.
int ValueVar(CRel* pRel)
{
    if (pRel->m_pVal == nullptr || pRel->m_pVal->m_bKnown != 0 || pRel->m_pValueNode == nullptr)
    {
        return -1;
    }
    return pRel->m_pValueNode->m_nVarIndex;
}

void LineCoef(const MATHLINE& line, double& a, double& b, double& c)
{
    const XYZ p = line.m_ThroughPoint;
    const VECTOR d = line.m_Direction;
    sktGetLineCoef(p.x, p.y, p.x + d.x, p.y + d.y, a, b, c);
}

double LineAngle(const MATHLINE& line)
{
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    double angle = 0.0;
    LineCoef(line, a, b, c);
    sktGetLineAngle(a, b, angle);
    return angle;
}

double LineOffset(const MATHLINE& line)
{
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    LineCoef(line, a, b, c);
    return c;
}

// The backups are made by the host before the pass; a node without one reads its present
// geometry instead.
const MATHLINE& BackupLine(CMathline* pLine)
{
    return pLine->m_pBackupLine != nullptr ? *pLine->m_pBackupLine : pLine->m_Line;
}

const XYZ& BackupPos(CVert* pPoint)
{
    return pPoint->m_pBackupPos != nullptr ? *pPoint->m_pBackupPos : pPoint->m_Pos;
}

// Signed distance of a position from a line, as the side tests of the constructors take it.
double SideOf(const XYZ& pos, const MATHLINE& line)
{
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    LineCoef(line, a, b, c);
    return sktGetSignedDistance(pos.x, pos.y, a, b, c);
}

// The point and the line of a point-line relation, told apart by type.
struct PointLine
{
    CVert* pPoint;
    CMathline* pLine;
};

PointLine SplitPointLine(CRel* pRel)
{
    if (pRel->m_pNode1->GetType() == SKT_NODE_POINT)
    {
        return {static_cast<CVert*>(pRel->m_pNode1), static_cast<CMathline*>(pRel->m_pNode2)};
    }
    return {static_cast<CVert*>(pRel->m_pNode2), static_cast<CMathline*>(pRel->m_pNode1)};
}

// 1 when the point stood on the negative side of the line before the pass: its distance is
// then counted with the sign turned, so that side reads positive.
int StartsNegative(CVert* pPoint, CMathline* pLine)
{
    return SideOf(BackupPos(pPoint), BackupLine(pLine)) < 0.0 ? 1 : 0;
}

double Sign(int bNegate)
{
    return bNegate != 0 ? -1.0 : 1.0;
}

// A line's angle turned by pi when its reverse flag is set, brought back below 2pi (an angle of
// exactly 2pi stays).
double ShiftAngle(double angle, int bReverse)
{
    if (bReverse != 0)
    {
        angle += Pi();
        if (angle > TwoPi())
        {
            angle -= TwoPi();
        }
    }
    return angle;
}

double WrapAngle(double delta)
{
    return delta < 0.0 ? delta + TwoPi() : delta;
}

} // namespace

int sktGetLineCoef(double x1, double y1, double x2, double y2, double& a, double& b, double& c)
{
    a = 0.0;
    b = 1.0;
    c = 0.0;
    const double dx = x2 - x1;
    const double dy = y2 - y1;
    const double len = std::sqrt(dx * dx + dy * dy);
    if (len < kLineCoefTol)
    {
        return 0;
    }
    a = dy / len;
    b = -dx / len;
    c = -(a * x1) - b * y1;
    return 1;
}

int sktGetLineAngle(double a, double b, double& angle)
{
    const double pi = Pi();
    const double alpha = std::asin(std::fabs(a));
    angle = alpha;
    if (a > 0.0 && b > 0.0)
    {
        angle = pi - alpha;
    }
    else if (a < 0.0 && b > 0.0)
    {
        angle = pi + alpha;
    }
    else if (a < 0.0 && b < 0.0)
    {
        angle = 2.0 * pi - alpha;
    }

    if (std::fabs(a) < kAngleSnapTol && b > 0.0)
    {
        angle = pi;
    }
    else if (std::fabs(a) < kAngleSnapTol && b < 0.0)
    {
        angle = 0.0;
    }
    else if (std::fabs(b) < kAngleSnapTol && a > 0.0)
    {
        angle = pi / 2.0;
    }
    else if (std::fabs(b) < kAngleSnapTol && a < 0.0)
    {
        angle = 3.0 * pi / 2.0;
    }
    assert(angle >= 0.0 && angle < 2.0 * pi);
    return 1;
}

double sktGetSignedDistance(double x, double y, double a, double b, double c)
{
    return a * x + b * y + c;
}

// ---------------------------------------------------------------------------------------------
// CEquation

CEquation::~CEquation()
{
    delete[] m_pVarIndex;
    m_pVarIndex = nullptr;
}

void CEquation::AllocVars(int count)
{
    delete[] m_pVarIndex;
    m_nVarNum = count;
    m_pVarIndex = new int[count];
}

double CEquation::TakeNodeVars(CRel* pRel, std::initializer_list<int> nodeVars)
{
    // Every unknown node has its positions before its equations are made.
    assert(std::none_of(nodeVars.begin(), nodeVars.end(), [](int p) { return p < 0; }));
    AllocVars(static_cast<int>(nodeVars.size()));
    std::copy(nodeVars.begin(), nodeVars.end(), m_pVarIndex);
    return RelValue(pRel);
}

double CEquation::TakeVars(CRel* pRel, std::initializer_list<int> nodeVars)
{
    assert(std::none_of(nodeVars.begin(), nodeVars.end(), [](int p) { return p < 0; }));
    const int v = ValueVar(pRel);
    const int n = static_cast<int>(nodeVars.size());
    AllocVars(v != -1 ? n + 1 : n);
    std::copy(nodeVars.begin(), nodeVars.end(), m_pVarIndex);
    if (v != -1)
    {
        m_pVarIndex[n] = v;
    }
    return RelValue(pRel);
}

double CEquation::Wanted(const double* x, int nodeVars, double value) const
{
    return m_nVarNum > nodeVars ? x[m_pVarIndex[nodeVars]] : value;
}

void CEquation::WriteValueDerivative(double* row, int nodeVars) const
{
    if (m_nVarNum > nodeVars)
    {
        row[m_pVarIndex[nodeVars]] = -1.0;
    }
}

double CEquation::Satisfied(double r, int* pFlag)
{
    *pFlag = std::fabs(r) < kResidualTol ? 1 : 0;
    return r;
}

double CEquation::GetResidual(double* /*x*/, int* /*pFlag*/)
{
    return 0.0;
}

void CEquation::GetDerivative(double* x, double* row)
{
    int flag = 0;
    const double r = GetResidual(x, &flag);
    for (int i = 0; i < m_nVarNum; ++i)
    {
        const int p = m_pVarIndex[i];
        x[p] += kDiffStep;
        const double rStep = GetResidual(x, &flag);
        row[p] = (rStep - r) * kDiffScale;
        x[p] -= kDiffStep;
    }
}

// At zero distance the direction of a distance is undefined: the derivative is written as NaN so
// the block cannot converge (NaN residuals never pass the tolerance) and the solve fails instead
// of moving on from an arbitrary direction.
static void WriteDistanceGradient(double dx, double dy, double len, double* px, double* py)
{
    if (len == 0.0) // exact: only here is the division impossible
    {
        *px = std::numeric_limits<double>::quiet_NaN();
        *py = std::numeric_limits<double>::quiet_NaN();
        return;
    }
    *px = dx / len;
    *py = dy / len;
}

// ---------------------------------------------------------------------------------------------
// Point-point distances

CEquPPDisFixed::CEquPPDisFixed(CRel* pRel)
{
    CNode* pUnknown = IsUnknownNode(pRel->m_pNode1) ? pRel->m_pNode1 : pRel->m_pNode2;
    CNode* pGiven = pUnknown == pRel->m_pNode1 ? pRel->m_pNode2 : pRel->m_pNode1;
    m_dValue = TakeVars(pRel, {pUnknown->m_nVarIndex, pUnknown->m_nVarNo});
    m_FixPos = static_cast<CVert*>(pGiven)->m_Pos;
}

double CEquPPDisFixed::GetResidual(double* x, int* pFlag)
{
    const double dx = x[m_pVarIndex[0]] - m_FixPos.x;
    const double dy = x[m_pVarIndex[1]] - m_FixPos.y;
    return Satisfied(std::sqrt(dx * dx + dy * dy) - Wanted(x, kNodeVars, m_dValue), pFlag);
}

void CEquPPDisFixed::GetDerivative(double* x, double* row)
{
    const double dx = x[m_pVarIndex[0]] - m_FixPos.x;
    const double dy = x[m_pVarIndex[1]] - m_FixPos.y;
    WriteDistanceGradient(dx, dy, std::sqrt(dx * dx + dy * dy), &row[m_pVarIndex[0]],
                          &row[m_pVarIndex[1]]);
    WriteValueDerivative(row, kNodeVars);
}

CEquPPDis::CEquPPDis(CRel* pRel)
{
    CNode* p1 = pRel->m_pNode1;
    CNode* p2 = pRel->m_pNode2;
    m_dValue = TakeVars(pRel, {p1->m_nVarIndex, p1->m_nVarNo, p2->m_nVarIndex, p2->m_nVarNo});
}

double CEquPPDis::GetResidual(double* x, int* pFlag)
{
    const double dx = x[m_pVarIndex[0]] - x[m_pVarIndex[2]];
    const double dy = x[m_pVarIndex[1]] - x[m_pVarIndex[3]];
    return Satisfied(std::sqrt(dx * dx + dy * dy) - Wanted(x, kNodeVars, m_dValue), pFlag);
}

void CEquPPDis::GetDerivative(double* x, double* row)
{
    const double dx = x[m_pVarIndex[0]] - x[m_pVarIndex[2]];
    const double dy = x[m_pVarIndex[1]] - x[m_pVarIndex[3]];
    double gx = 0.0;
    double gy = 0.0;
    WriteDistanceGradient(dx, dy, std::sqrt(dx * dx + dy * dy), &gx, &gy);
    row[m_pVarIndex[0]] = gx;
    row[m_pVarIndex[1]] = gy;
    row[m_pVarIndex[2]] = -gx;
    row[m_pVarIndex[3]] = -gy;
    WriteValueDerivative(row, kNodeVars);
}

// ---------------------------------------------------------------------------------------------
// Point-line distances: the signed distance of the point from the line, oriented so that the
// side the point stood on before the pass counts positive.

CEquPLDisFixed::CEquPLDisFixed(CRel* pRel)
{
    const auto [pPoint, pLine] = SplitPointLine(pRel);
    m_dValue = TakeVars(pRel, {pPoint->m_nVarIndex, pPoint->m_nVarNo});
    m_bNegate = StartsNegative(pPoint, pLine);
    m_dAngle = LineAngle(pLine->m_Line);
    m_dOffset = LineOffset(pLine->m_Line);
}

double CEquPLDisFixed::GetResidual(double* x, int* pFlag)
{
    const double dist =
        std::sin(m_dAngle) * x[m_pVarIndex[0]] - std::cos(m_dAngle) * x[m_pVarIndex[1]] + m_dOffset;
    return Satisfied(Sign(m_bNegate) * dist - Wanted(x, kNodeVars, m_dValue), pFlag);
}

void CEquPLDisFixed::GetDerivative(double* /*x*/, double* row)
{
    const double s = Sign(m_bNegate);
    row[m_pVarIndex[0]] = s * std::sin(m_dAngle);
    row[m_pVarIndex[1]] = -s * std::cos(m_dAngle);
    WriteValueDerivative(row, kNodeVars);
}

CEquLPDisFixed::CEquLPDisFixed(CRel* pRel)
{
    const auto [pPoint, pLine] = SplitPointLine(pRel);
    m_dValue = TakeVars(pRel, {pLine->m_nVarIndex, pLine->m_nVarNo});
    m_FixPos = pPoint->m_Pos;
    m_bNegate = StartsNegative(pPoint, pLine);
}

double CEquLPDisFixed::GetResidual(double* x, int* pFlag)
{
    const double c = x[m_pVarIndex[0]];
    const double theta = x[m_pVarIndex[1]];
    const double dist = std::sin(theta) * m_FixPos.x - std::cos(theta) * m_FixPos.y + c;
    return Satisfied(Sign(m_bNegate) * dist - Wanted(x, kNodeVars, m_dValue), pFlag);
}

void CEquLPDisFixed::GetDerivative(double* x, double* row)
{
    const double s = Sign(m_bNegate);
    const double theta = x[m_pVarIndex[1]];
    row[m_pVarIndex[0]] = s;
    row[m_pVarIndex[1]] = s * (std::cos(theta) * m_FixPos.x + std::sin(theta) * m_FixPos.y);
    WriteValueDerivative(row, kNodeVars);
}

CEquOrthoLPDisFixed::CEquOrthoLPDisFixed(CRel* pRel)
{
    const auto [pPoint, pLine] = SplitPointLine(pRel);
    m_dValue = TakeVars(pRel, {pLine->m_nVarIndex});
    m_dAngle = LineAngle(pLine->m_Line);
    m_FixPos = pPoint->m_Pos;
    // Both the line and the point are given here: the side is read from where they stand.
    m_bNegate = SideOf(m_FixPos, pLine->m_Line) < 0.0 ? 1 : 0;
}

double CEquOrthoLPDisFixed::GetResidual(double* x, int* pFlag)
{
    const double dist =
        std::sin(m_dAngle) * m_FixPos.x - std::cos(m_dAngle) * m_FixPos.y + x[m_pVarIndex[0]];
    return Satisfied(Sign(m_bNegate) * dist - Wanted(x, kNodeVars, m_dValue), pFlag);
}

void CEquOrthoLPDisFixed::GetDerivative(double* /*x*/, double* row)
{
    row[m_pVarIndex[0]] = Sign(m_bNegate);
    WriteValueDerivative(row, kNodeVars);
}

CEquPLDis::CEquPLDis(CRel* pRel)
{
    const auto [pPoint, pLine] = SplitPointLine(pRel);
    m_dValue = TakeVars(
        pRel, {pPoint->m_nVarIndex, pPoint->m_nVarNo, pLine->m_nVarIndex, pLine->m_nVarNo});
    m_bNegate = StartsNegative(pPoint, pLine);
}

double CEquPLDis::GetResidual(double* x, int* pFlag)
{
    const double theta = x[m_pVarIndex[3]];
    const double dist = std::sin(theta) * x[m_pVarIndex[0]] - std::cos(theta) * x[m_pVarIndex[1]] +
                        x[m_pVarIndex[2]];
    return Satisfied(Sign(m_bNegate) * dist - Wanted(x, kNodeVars, m_dValue), pFlag);
}

void CEquPLDis::GetDerivative(double* x, double* row)
{
    const double s = Sign(m_bNegate);
    const double theta = x[m_pVarIndex[3]];
    const double px = x[m_pVarIndex[0]];
    const double py = x[m_pVarIndex[1]];
    row[m_pVarIndex[0]] = s * std::sin(theta);
    row[m_pVarIndex[1]] = -s * std::cos(theta);
    row[m_pVarIndex[2]] = s;
    row[m_pVarIndex[3]] = s * (std::cos(theta) * px + std::sin(theta) * py);
    WriteValueDerivative(row, kNodeVars);
}

CEquOrthoPLDis::CEquOrthoPLDis(CRel* pRel)
{
    const auto [pPoint, pLine] = SplitPointLine(pRel);
    m_dValue = TakeVars(pRel, {pPoint->m_nVarIndex, pPoint->m_nVarNo, pLine->m_nVarIndex});
    m_bNegate = StartsNegative(pPoint, pLine);
    m_dAngle = LineAngle(BackupLine(pLine));
}

double CEquOrthoPLDis::GetResidual(double* x, int* pFlag)
{
    const double dist = std::sin(m_dAngle) * x[m_pVarIndex[0]] -
                        std::cos(m_dAngle) * x[m_pVarIndex[1]] + x[m_pVarIndex[2]];
    return Satisfied(Sign(m_bNegate) * dist - Wanted(x, kNodeVars, m_dValue), pFlag);
}

void CEquOrthoPLDis::GetDerivative(double* /*x*/, double* row)
{
    const double s = Sign(m_bNegate);
    row[m_pVarIndex[0]] = s * std::sin(m_dAngle);
    row[m_pVarIndex[1]] = -s * std::cos(m_dAngle);
    row[m_pVarIndex[2]] = s;
    WriteValueDerivative(row, kNodeVars);
}
// ---------------------------------------------------------------------------------------------
// Line-line distances: the lines are taken as parallel and compared by their offsets, turned by
// the negate flags into one signed distance along a common normal that is not negative in the
// configuration before the pass.

CEquLLDisFixed::CEquLLDisFixed(CRel* pRel)
{
    CMathline* pUnknown =
        static_cast<CMathline*>(IsUnknownNode(pRel->m_pNode1) ? pRel->m_pNode1 : pRel->m_pNode2);
    CMathline* pGiven =
        static_cast<CMathline*>(pUnknown == pRel->m_pNode1 ? pRel->m_pNode2 : pRel->m_pNode1);
    m_dValue = TakeNodeVars(pRel, {pUnknown->m_nVarIndex});
    m_dOffset = LineOffset(pGiven->m_Line);

    const MATHLINE& unknownBackup = BackupLine(pUnknown);
    const MATHLINE& givenBackup = BackupLine(pGiven);
    m_bNegate1 = unknownBackup.m_Direction.Iproduct(givenBackup.m_Direction) < 0.0 ? 1 : 0;
    m_bNegate2 = 0;
    // The side is read from both backups, each offset along its own line's normal: with the
    // unknown offset turned to the given line's normal when the lines point opposite ways, the
    // difference is the signed distance between the lines, so a sketch that stood at the wanted
    // distance before the pass satisfies the equation whichever way the lines point.
    const double unknownOffset = LineOffset(unknownBackup);
    const double givenOffset = LineOffset(givenBackup);
    if (Sign(m_bNegate1) * unknownOffset - givenOffset < 0.0)
    {
        m_bNegate1 = 1 - m_bNegate1;
        m_bNegate2 = 1 - m_bNegate2;
    }
}

double CEquLLDisFixed::GetResidual(double* x, int* pFlag)
{
    const double r = Sign(m_bNegate1) * x[m_pVarIndex[0]] - Sign(m_bNegate2) * m_dOffset - m_dValue;
    return Satisfied(r, pFlag);
}

void CEquLLDisFixed::GetDerivative(double* /*x*/, double* row)
{
    row[m_pVarIndex[0]] = Sign(m_bNegate1);
}

CEquLLDis::CEquLLDis(CRel* pRel)
{
    CMathline* pLine1 = static_cast<CMathline*>(pRel->m_pNode1);
    CMathline* pLine2 = static_cast<CMathline*>(pRel->m_pNode2);
    m_dValue = TakeNodeVars(pRel, {pLine1->m_nVarIndex, pLine2->m_nVarIndex});

    const MATHLINE& backup1 = BackupLine(pLine1);
    const MATHLINE& backup2 = BackupLine(pLine2);
    m_bNegate1 = backup1.m_Direction.Iproduct(backup2.m_Direction) < 0.0 ? 1 : 0;
    m_bNegate2 = 0;
    if (LineOffset(backup2) - Sign(m_bNegate1) * LineOffset(backup1) < 0.0)
    {
        m_bNegate1 = 1 - m_bNegate1;
        m_bNegate2 = 1 - m_bNegate2;
    }
}

double CEquLLDis::GetResidual(double* x, int* pFlag)
{
    const double r =
        Sign(m_bNegate2) * x[m_pVarIndex[1]] - Sign(m_bNegate1) * x[m_pVarIndex[0]] - m_dValue;
    return Satisfied(r, pFlag);
}

void CEquLLDis::GetDerivative(double* /*x*/, double* row)
{
    row[m_pVarIndex[0]] = -Sign(m_bNegate1);
    row[m_pVarIndex[1]] = Sign(m_bNegate2);
}

// ---------------------------------------------------------------------------------------------
// Line-line angles: the counterclockwise angle from the first line to the second.

CEquLLAngFixed::CEquLLAngFixed(CRel* pRel)
{
    CMathline* pLine1 = static_cast<CMathline*>(pRel->m_pNode1);
    CMathline* pLine2 = static_cast<CMathline*>(pRel->m_pNode2);
    if (pLine1->IsKnown() || pLine1->IsRefObject() || pLine1->m_bDirFixed != 0)
    {
        m_dValue = TakeNodeVars(pRel, {pLine2->m_nVarNo});
        m_dAngle = LineAngle(pLine1->m_Line);
    }
    else
    {
        // The unknown line comes first in the residual: the angle from it to the given line
        // is the full turn less the wanted one.
        m_dValue = TwoPi() - TakeNodeVars(pRel, {pLine1->m_nVarNo});
        m_dAngle = LineAngle(pLine2->m_Line);
    }
    m_bReverse1 = pRel->m_bReverse1;
    m_bReverse2 = pRel->m_bReverse2;
}

double CEquLLAngFixed::GetResidual(double* x, int* pFlag)
{
    const double delta =
        ShiftAngle(x[m_pVarIndex[0]], m_bReverse1) - ShiftAngle(m_dAngle, m_bReverse2);
    return Satisfied(WrapAngle(delta) - m_dValue, pFlag);
}

void CEquLLAngFixed::GetDerivative(double* /*x*/, double* row)
{
    row[m_pVarIndex[0]] = 1.0;
}

CEquLLAng::CEquLLAng(CRel* pRel)
{
    m_dValue = TakeNodeVars(pRel, {pRel->m_pNode1->m_nVarNo, pRel->m_pNode2->m_nVarNo});
    m_bReverse1 = pRel->m_bReverse1;
    m_bReverse2 = pRel->m_bReverse2;
}

double CEquLLAng::GetResidual(double* x, int* pFlag)
{
    const double delta =
        ShiftAngle(x[m_pVarIndex[1]], m_bReverse2) - ShiftAngle(x[m_pVarIndex[0]], m_bReverse1);
    return Satisfied(WrapAngle(delta) - m_dValue, pFlag);
}

void CEquLLAng::GetDerivative(double* /*x*/, double* row)
{
    row[m_pVarIndex[0]] = -1.0;
    row[m_pVarIndex[1]] = 1.0;
}
