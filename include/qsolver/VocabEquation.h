// Equations of the vocabulary that the core's relations cannot express (tangent circles that
// share no point). Each is a residual with its gradient over the compiled sketch's point
// coordinates and values, so that a numeric strategy can solve with it and a count of freedoms
// can count it.
#pragma once

#include "Qsolver.h"

#include <string>
#include <utility>
#include <vector>

namespace qsolver
{

/// One number an extra equation depends on: a coordinate of a core point (axis 0 x, 1 y), or a
/// core value (a circle's radius). A known value is a constant to a solver.
struct VocabVar
{
    CVert* point = nullptr;
    int axis = 0;
    CVal* value = nullptr;

    static VocabVar X(CVert* p) { return VocabVar{p, 0, nullptr}; }
    static VocabVar Y(CVert* p) { return VocabVar{p, 1, nullptr}; }
    static VocabVar Value(CVal* v) { return VocabVar{nullptr, 0, v}; }
    double Get() const;
    void Set(double number) const;
};

class VocabEquation
{
public:
    explicit VocabEquation(std::string source) : m_source(std::move(source)) {}
    virtual ~VocabEquation() = default;

    /// The id of the constraint the equation comes from.
    const std::string& Source() const { return m_source; }
    /// The residual at the core objects' current numbers (0 when the constraint holds), a length.
    virtual double Residual() const = 0;
    /// The partial derivatives of the residual, one entry per variable it depends on.
    virtual void Gradient(std::vector<std::pair<VocabVar, double>>& out) const = 0;

private:
    std::string m_source;
};

/// A radius as the equation reads it: from a centre to a point on the circle (an arc's start),
/// or a circle's radius value.
struct VocabRadius
{
    CVert* centre = nullptr;
    CVert* rim = nullptr;
    CVal* value = nullptr;

    double Get() const;
    /// Appends d(radius)/d(var) times `scale`.
    void Gradient(double scale, std::vector<std::pair<VocabVar, double>>& out) const;
};

/// Two circles touching: |c1 c2| = r1 + r2 (outside) or |c1 c2| = sign * (r1 - r2) (inside; the
/// sign says which circle is the larger, as the sketch stood when it was compiled).
class VocabTangentCircles : public VocabEquation
{
public:
    VocabTangentCircles(std::string source, CVert* c1, VocabRadius r1, CVert* c2, VocabRadius r2,
                        bool inside, double sign);
    double Residual() const override;
    void Gradient(std::vector<std::pair<VocabVar, double>>& out) const override;

private:
    CVert* m_c1;
    VocabRadius m_r1;
    CVert* m_c2;
    VocabRadius m_r2;
    bool m_inside;
    double m_sign;
};

} // namespace qsolver
