// The public diagnostics: freedoms from the elimination, node statuses from null-space
// samples, and conflicting and redundant relations from a dense pass over only the relations
// that the elimination found dependent.
#include "qsolver/Diagnostics.h"

#include "Elimination.h"
#include "Jacobian.h"

#include "qsolver/Sketch.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace qsolver
{

namespace diagnose
{

namespace
{

// A row whose part outside the span of the accepted rows is below this share of it is
// dependent (rows have unit norm).
constexpr double kDependentTol = 1e-8;
// A dependency whose combined residual is below this share of the sketch's extent holds at the
// current values (the same share the file checks use for a relation that holds).
constexpr double kHoldShare = 1e-6;
// Weights of a dependency below this share of its largest are rounding, not support.
constexpr double kSupportTol = 1e-9;
// The dense pass costs the square of the relations it sees; beyond this many it is skipped.
constexpr size_t kMaxDependent = 500;

struct DependencyResult
{
    std::vector<int> conflicting;
    std::vector<int> redundant;
    bool complete = true;
};

DependencyResult FindDependencies(Sketch& sketch, const Elimination& elim)
{
    DependencyResult result;
    std::vector<int> involved = elim.dependentRelations;
    if (!elim.dependentRelationsComplete)
    {
        result.complete = false;
        return result;
    }
    if (involved.empty())
    {
        return result;
    }
    const Jacobian jac = BuildJacobian(sketch, true);
    // The fixes of the fixed nodes the relations touch take part too: they can be what
    // conflicts.
    std::unordered_map<CRel*, int> relIndex;
    for (size_t r = 0; r < jac.rels.size(); ++r)
    {
        relIndex[jac.rels[r]] = static_cast<int>(r);
    }
    const size_t direct = involved.size();
    for (size_t i = 0; i < direct; ++i)
    {
        CRel* rel = jac.rels[static_cast<size_t>(involved[i])];
        for (CNode* n : {rel->m_pNode1, rel->m_pNode2})
        {
            if (n == nullptr || n->IsFixed() == 0)
            {
                continue;
            }
            POSITION pos = n->m_RelList.GetHeadPosition();
            while (pos != nullptr)
            {
                CRel* other = n->m_RelList.GetNext(pos);
                if (other->GetType() == SKT_REL_FIX)
                {
                    involved.push_back(relIndex.at(other));
                }
            }
        }
    }
    std::sort(involved.begin(), involved.end());
    involved.erase(std::unique(involved.begin(), involved.end()), involved.end());
    if (involved.size() > kMaxDependent)
    {
        result.complete = false;
        return result;
    }
    // Fixes first: a dimension on fixed geometry is what says nothing new, not the fix.
    std::stable_partition(involved.begin(), involved.end(),
                          [&](int r)
                          { return jac.rels[static_cast<size_t>(r)]->GetType() == SKT_REL_FIX; });

    std::unordered_map<int, int> localCol;
    for (int r : involved)
    {
        for (int row = jac.relFirstRow[static_cast<size_t>(r)];
             row < jac.relFirstRow[static_cast<size_t>(r) + 1]; ++row)
        {
            const JacRow& src = jac.rows[static_cast<size_t>(row)];
            for (const Entry* e = jac.Begin(src); e != jac.End(src); ++e)
            {
                localCol.emplace(e->col, static_cast<int>(localCol.size()));
            }
        }
    }
    const Eigen::Index n = static_cast<Eigen::Index>(localCol.size());
    const double holdTol = kHoldShare * jac.extent;
    std::vector<Eigen::VectorXd> basis;    // orthonormal span of the accepted rows
    std::vector<Eigen::VectorXd> accepted; // the accepted rows themselves
    std::vector<int> acceptedRel;
    std::vector<double> acceptedRes;
    std::vector<std::vector<int>> circuits;
    for (int r : involved)
    {
        bool redundant = false;
        for (int row = jac.relFirstRow[static_cast<size_t>(r)];
             row < jac.relFirstRow[static_cast<size_t>(r) + 1]; ++row)
        {
            const JacRow& src = jac.rows[static_cast<size_t>(row)];
            Eigen::VectorXd v = Eigen::VectorXd::Zero(n);
            for (const Entry* e = jac.Begin(src); e != jac.End(src); ++e)
            {
                v[localCol.at(e->col)] = e->value;
            }
            Eigen::VectorXd rest = v;
            for (int pass = 0; pass < 2; ++pass)
            {
                for (const Eigen::VectorXd& q : basis)
                {
                    rest -= q.dot(rest) * q;
                }
            }
            if (rest.norm() > kDependentTol)
            {
                basis.push_back(rest / rest.norm());
                accepted.push_back(v);
                acceptedRel.push_back(r);
                acceptedRes.push_back(src.residual);
                continue;
            }
            // The row is a combination of the accepted ones: find it, and whether the
            // residuals combine the same way.
            double combined = src.residual;
            std::vector<int> support;
            if (!accepted.empty())
            {
                Eigen::MatrixXd at(n, static_cast<Eigen::Index>(accepted.size()));
                for (size_t i = 0; i < accepted.size(); ++i)
                {
                    at.col(static_cast<Eigen::Index>(i)) = accepted[i];
                }
                const Eigen::VectorXd y = at.colPivHouseholderQr().solve(v);
                const double big = y.cwiseAbs().maxCoeff();
                for (size_t i = 0; i < accepted.size(); ++i)
                {
                    const double w = y[static_cast<Eigen::Index>(i)];
                    combined -= w * acceptedRes[i];
                    if (std::fabs(w) > kSupportTol * std::max(1.0, big))
                    {
                        support.push_back(acceptedRel[i]);
                    }
                }
            }
            if (std::fabs(combined) <= holdTol)
            {
                redundant = true;
                continue;
            }
            support.push_back(r);
            std::sort(support.begin(), support.end());
            support.erase(std::unique(support.begin(), support.end()), support.end());
            circuits.push_back(std::move(support));
        }
        if (redundant)
        {
            result.redundant.push_back(r);
        }
    }
    std::sort(result.redundant.begin(), result.redundant.end());
    result.redundant.erase(std::unique(result.redundant.begin(), result.redundant.end()),
                           result.redundant.end());
    for (const std::vector<int>& c : circuits)
    {
        if (result.conflicting.empty() || c.size() < result.conflicting.size())
        {
            result.conflicting = c;
        }
    }
    return result;
}

} // namespace

} // namespace diagnose

const char* NodeStatusName(NodeStatus status)
{
    switch (status)
    {
        case NodeStatus::Fixed:
            return "fixed";
        case NodeStatus::WellConstrained:
            return "well-constrained";
        case NodeStatus::UnderConstrained:
            return "under-constrained";
        case NodeStatus::OverConstrained:
            return "over-constrained";
    }
    return "unknown";
}

const NodeDiagnosis* Diagnostics::FindNode(const std::string& id) const
{
    for (const NodeDiagnosis& n : nodes)
    {
        if (n.id == id)
        {
            return &n;
        }
    }
    return nullptr;
}

Diagnostics Diagnose(Sketch& sketch)
{
    using namespace diagnose;
    Diagnostics out;
    const Jacobian jac = BuildJacobian(sketch, false);
    const Elimination elim = Eliminate(jac, kMaxDependent);
    out.unknowns = jac.Cols();
    out.rank = elim.rank;
    out.dof = out.unknowns - out.rank;

    const DependencyResult deps = FindDependencies(sketch, elim);
    out.dependenciesComplete = deps.complete;
    const std::vector<std::string>& relIds = sketch.RelationIds();
    std::vector<char> overNode(jac.nodes.size(), 0);
    std::unordered_map<CNode*, size_t> nodeIndex;
    if (!deps.conflicting.empty() || !deps.redundant.empty())
    {
        for (size_t i = 0; i < jac.nodes.size(); ++i)
        {
            nodeIndex[jac.nodes[i]] = i;
        }
    }
    auto name = [&](const std::vector<int>& rels, std::vector<std::string>& into)
    {
        for (int r : rels)
        {
            into.push_back(relIds[static_cast<size_t>(r)]);
            CRel* rel = jac.rels[static_cast<size_t>(r)];
            if (rel->GetType() == SKT_REL_FIX)
            {
                continue; // a fix over-constrains the relation's other end, not itself
            }
            for (CNode* n : {rel->m_pNode1, rel->m_pNode2})
            {
                auto it = n != nullptr ? nodeIndex.find(n) : nodeIndex.end();
                if (it != nodeIndex.end())
                {
                    overNode[it->second] = 1;
                }
            }
        }
    };
    name(deps.conflicting, out.conflicting);
    name(deps.redundant, out.redundant);

    const std::vector<int> freedoms = VariableFreedoms(jac, elim);
    const std::vector<std::string>& nodeIds = sketch.NodeIds();
    out.nodes.reserve(jac.nodes.size());
    for (size_t i = 0; i < jac.nodes.size(); ++i)
    {
        NodeDiagnosis d;
        d.id = nodeIds[i];
        const int var = jac.nodeVar[i];
        d.dof = var >= 0 ? freedoms[static_cast<size_t>(var)] : 0;
        if (jac.nodeGiven[i])
        {
            d.status = NodeStatus::Fixed;
        }
        else if (overNode[i])
        {
            d.status = NodeStatus::OverConstrained;
        }
        else
        {
            d.status = d.dof == 0 ? NodeStatus::WellConstrained : NodeStatus::UnderConstrained;
        }
        out.nodes.push_back(std::move(d));
    }
    return out;
}

} // namespace qsolver
