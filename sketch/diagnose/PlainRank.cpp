// The plain rank of the whole Jacobian, which the diagnostics are checked against.
#include "qsolver/Diagnostics.h"

#include "Jacobian.h"

#include <Eigen/Dense>
#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <Eigen/SparseQR>

#include <algorithm>
#include <vector>

namespace qsolver
{

namespace
{

// Rows have unit norm and columns are lengths: below this a pivot is zero.
constexpr double kPlainRankTol = 1e-9;

} // namespace

int CountFreedomsPlain(Sketch& sketch, RankMethod method)
{
    const diagnose::Jacobian jac = diagnose::BuildJacobian(sketch, false);
    const Eigen::Index cols = jac.Cols();
    if (cols == 0)
    {
        return 0;
    }
    // Zero rows pad a short matrix to square: they change no rank.
    const Eigen::Index rows =
        std::max<Eigen::Index>(static_cast<Eigen::Index>(jac.rows.size()), cols);
    if (method == RankMethod::Dense)
    {
        Eigen::MatrixXd m = Eigen::MatrixXd::Zero(rows, cols);
        for (size_t r = 0; r < jac.rows.size(); ++r)
        {
            for (const diagnose::Entry* e = jac.Begin(jac.rows[r]); e != jac.End(jac.rows[r]); ++e)
            {
                m(static_cast<Eigen::Index>(r), e->col) = e->value;
            }
        }
        Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(m);
        qr.setThreshold(kPlainRankTol);
        return static_cast<int>(cols - qr.rank());
    }
    std::vector<Eigen::Triplet<double>> triplets;
    for (size_t r = 0; r < jac.rows.size(); ++r)
    {
        for (const diagnose::Entry* e = jac.Begin(jac.rows[r]); e != jac.End(jac.rows[r]); ++e)
        {
            triplets.emplace_back(static_cast<Eigen::Index>(r), e->col, e->value);
        }
    }
    Eigen::SparseMatrix<double> m(rows, cols);
    m.setFromTriplets(triplets.begin(), triplets.end());
    m.makeCompressed();
    Eigen::SparseQR<Eigen::SparseMatrix<double>, Eigen::COLAMDOrdering<int>> qr;
    qr.setPivotThreshold(kPlainRankTol);
    qr.compute(m);
    return static_cast<int>(cols - qr.rank());
}

} // namespace qsolver
