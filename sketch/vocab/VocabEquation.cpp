// The vocabulary's own equations, with exact gradients.
#include "qsolver/VocabEquation.h"

#include <cmath>

namespace qsolver
{

double VocabVar::Get() const
{
    if (value != nullptr)
    {
        return value->m_dValue;
    }
    return axis == 0 ? point->m_Pos.x : point->m_Pos.y;
}

void VocabVar::Set(double number) const
{
    if (value != nullptr)
    {
        value->m_dValue = number;
    }
    else if (axis == 0)
    {
        point->m_Pos.x = number;
    }
    else
    {
        point->m_Pos.y = number;
    }
}

double VocabRadius::Get() const
{
    if (rim != nullptr)
    {
        return std::hypot(rim->m_Pos.x - centre->m_Pos.x, rim->m_Pos.y - centre->m_Pos.y);
    }
    return value->m_dValue;
}

void VocabRadius::Gradient(double scale, std::vector<std::pair<VocabVar, double>>& out) const
{
    if (rim == nullptr)
    {
        out.emplace_back(VocabVar::Value(value), scale);
        return;
    }
    const double ux = rim->m_Pos.x - centre->m_Pos.x;
    const double uy = rim->m_Pos.y - centre->m_Pos.y;
    const double len = std::hypot(ux, uy);
    // At a zero radius the direction is undefined: no slope rather than a division by zero.
    if (len == 0.0)
    {
        return;
    }
    out.emplace_back(VocabVar::X(rim), scale * ux / len);
    out.emplace_back(VocabVar::Y(rim), scale * uy / len);
    out.emplace_back(VocabVar::X(centre), -scale * ux / len);
    out.emplace_back(VocabVar::Y(centre), -scale * uy / len);
}

VocabTangentCircles::VocabTangentCircles(std::string source, CVert* c1, VocabRadius r1, CVert* c2,
                                         VocabRadius r2, bool inside, double sign)
    : VocabEquation(std::move(source)), m_c1(c1), m_r1(r1), m_c2(c2), m_r2(r2), m_inside(inside),
      m_sign(sign)
{
}

double VocabTangentCircles::Residual() const
{
    const double d = std::hypot(m_c2->m_Pos.x - m_c1->m_Pos.x, m_c2->m_Pos.y - m_c1->m_Pos.y);
    const double reach = m_inside ? m_sign * (m_r1.Get() - m_r2.Get()) : m_r1.Get() + m_r2.Get();
    return d - reach;
}

void VocabTangentCircles::Gradient(std::vector<std::pair<VocabVar, double>>& out) const
{
    const double ux = m_c2->m_Pos.x - m_c1->m_Pos.x;
    const double uy = m_c2->m_Pos.y - m_c1->m_Pos.y;
    const double d = std::hypot(ux, uy);
    if (d != 0.0)
    {
        out.emplace_back(VocabVar::X(m_c2), ux / d);
        out.emplace_back(VocabVar::Y(m_c2), uy / d);
        out.emplace_back(VocabVar::X(m_c1), -ux / d);
        out.emplace_back(VocabVar::Y(m_c1), -uy / d);
    }
    m_r1.Gradient(m_inside ? -m_sign : -1.0, out);
    m_r2.Gradient(m_inside ? m_sign : -1.0, out);
}

} // namespace qsolver
