// Equations of the numeric solver: one relation as a residual over the shared variable vector,
// with its exact partial derivatives, and the line-parameter helpers they are built with.
#pragma once

#include "model/PtrList.h"
#include "model/QMath.h"

#include <initializer_list>

class CRel;

/// Unit normal (a, b) and offset c of the line through (x1, y1) and (x2, y2): 1, or 0 with
/// (0, 1, 0) when the points are too close to give a direction.
int sktGetLineCoef(double x1, double y1, double x2, double y2, double& a, double& b, double& c);
/// The angle in [0, 2pi) whose unit normal (sin, -cos) is (a, b); always 1.
int sktGetLineAngle(double a, double b, double& angle);
/// a * x + b * y + c: the signed distance of (x, y) from the line (a, b, c).
double sktGetSignedDistance(double x, double y, double a, double b, double c);

/// One equation over the variable vector. The base class differentiates by forward
/// differences; every concrete class gives its exact derivative.
class CEquation : public CObject
{
public:
    int m_nVarNum = 0;
    int* m_pVarIndex = nullptr;

    CEquation() = default;
    CEquation(const CEquation&) = delete;
    CEquation& operator=(const CEquation&) = delete;
    ~CEquation() override;

    /// Measured minus wanted value at x; *pFlag := 1 when it is satisfied, else 0.
    virtual double GetResidual(double* x, int* pFlag);
    /// Writes d(residual)/dx[p] into row[p] for each position p of the equation, nothing else.
    virtual void GetDerivative(double* x, double* row);

protected:
    /// Takes the positions of the node unknowns in order and, when the relation's value is an
    /// unknown of the system, its position last; returns the relation's value.
    double TakeVars(CRel* pRel, std::initializer_list<int> nodeVars);
    /// As TakeVars, for equations whose value is always a given.
    double TakeNodeVars(CRel* pRel, std::initializer_list<int> nodeVars);
    /// The wanted value at x: the value unknown when the equation has one after its
    /// `nodeVars` node positions, else `value`.
    double Wanted(const double* x, int nodeVars, double value) const;
    /// Writes the derivative of the value unknown, when there is one after `nodeVars`.
    void WriteValueDerivative(double* row, int nodeVars) const;
    /// Stores the flag of a residual and returns it.
    static double Satisfied(double r, int* pFlag);

private:
    void AllocVars(int count);
};

class CEquPPDisFixed : public CEquation
{
public:
    // Node unknowns; the value unknown, when there is one, follows them.
    static constexpr int kNodeVars = 2;

    double m_dValue = 0.0;
    XYZ m_FixPos;

    explicit CEquPPDisFixed(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquPPDis : public CEquation
{
public:
    // Node unknowns; the value unknown, when there is one, follows them.
    static constexpr int kNodeVars = 4;

    double m_dValue = 0.0;

    explicit CEquPPDis(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquPLDisFixed : public CEquation
{
public:
    // Node unknowns; the value unknown, when there is one, follows them.
    static constexpr int kNodeVars = 2;

    double m_dValue = 0.0;
    double m_dAngle = 0.0;
    double m_dOffset = 0.0;
    int m_bNegate = 0;

    explicit CEquPLDisFixed(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquLPDisFixed : public CEquation
{
public:
    // Node unknowns; the value unknown, when there is one, follows them.
    static constexpr int kNodeVars = 2;

    double m_dValue = 0.0;
    XYZ m_FixPos;
    int m_bNegate = 0;

    explicit CEquLPDisFixed(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquOrthoLPDisFixed : public CEquation
{
public:
    // Node unknowns; the value unknown, when there is one, follows them.
    static constexpr int kNodeVars = 1;

    double m_dValue = 0.0;
    double m_dAngle = 0.0;
    XYZ m_FixPos;
    int m_bNegate = 0;

    explicit CEquOrthoLPDisFixed(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquPLDis : public CEquation
{
public:
    // Node unknowns; the value unknown, when there is one, follows them.
    static constexpr int kNodeVars = 4;

    double m_dValue = 0.0;
    int m_bNegate = 0;

    explicit CEquPLDis(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquOrthoPLDis : public CEquation
{
public:
    // Node unknowns; the value unknown, when there is one, follows them.
    static constexpr int kNodeVars = 3;

    double m_dValue = 0.0;
    double m_dAngle = 0.0;
    int m_bNegate = 0;

    explicit CEquOrthoPLDis(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquLLDisFixed : public CEquation
{
public:
    double m_dValue = 0.0;
    double m_dOffset = 0.0;
    int m_bNegate1 = 0;
    int m_bNegate2 = 0;

    explicit CEquLLDisFixed(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquLLDis : public CEquation
{
public:
    double m_dValue = 0.0;
    int m_bNegate1 = 0;
    int m_bNegate2 = 0;

    explicit CEquLLDis(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquLLAngFixed : public CEquation
{
public:
    double m_dValue = 0.0;
    double m_dAngle = 0.0;
    int m_bReverse1 = 0;
    int m_bReverse2 = 0;

    explicit CEquLLAngFixed(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};

class CEquLLAng : public CEquation
{
public:
    int m_bReverse1 = 0;
    int m_bReverse2 = 0;
    double m_dValue = 0.0;

    explicit CEquLLAng(CRel* pRel);
    double GetResidual(double* x, int* pFlag) override;
    void GetDerivative(double* x, double* row) override;
};
