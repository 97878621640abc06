// What a host checks after a drive: every relation holds, and which nodes moved.
#pragma once

#include "Sketch.h"
#include "SketchDrive.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace drivecheck
{

using qsolver::host::DriveResult;
using qsolver::host::Sketch;

/// A node's geometry: a point's x, y; a line's through point and direction; a circle's centre
/// and radius.
struct Geom
{
    int type = 0;
    double v[4] = {0.0, 0.0, 0.0, 0.0};
};

inline Geom GeomOf(CNode* node)
{
    Geom g;
    g.type = node->GetType();
    if (g.type == SKT_NODE_POINT)
    {
        const XYZ& p = static_cast<CVert*>(node)->m_Pos;
        g.v[0] = p.x;
        g.v[1] = p.y;
    }
    else if (g.type == SKT_NODE_LINE)
    {
        const MATHLINE& l = static_cast<CMathline*>(node)->m_Line;
        g.v[0] = l.m_ThroughPoint.x;
        g.v[1] = l.m_ThroughPoint.y;
        g.v[2] = l.m_Direction.x;
        g.v[3] = l.m_Direction.y;
    }
    else
    {
        CMathcir* c = static_cast<CMathcir*>(node);
        g.v[0] = c->m_Center.x;
        g.v[1] = c->m_Center.y;
        g.v[2] = c->m_dRadius;
    }
    return g;
}

using Snapshot = std::map<std::string, Geom>;

inline Snapshot Snap(Sketch& sketch)
{
    Snapshot s;
    for (const std::string& id : sketch.NodeIds())
    {
        s[id] = GeomOf(sketch.FindNode(id));
    }
    return s;
}

/// Largest coordinate change of a node between two snapshots.
inline double Moved(const Snapshot& before, const Snapshot& after, const std::string& id)
{
    const Geom& a = before.at(id);
    const Geom& b = after.at(id);
    double m = 0.0;
    for (int i = 0; i < 4; ++i)
    {
        m = std::max(m, std::fabs(a.v[i] - b.v[i]));
    }
    return m;
}

inline bool SameBits(const Snapshot& before, const Snapshot& after, const std::string& id)
{
    const Geom& a = before.at(id);
    const Geom& b = after.at(id);
    for (int i = 0; i < 4; ++i)
    {
        if (a.v[i] != b.v[i])
        {
            return false;
        }
    }
    return true;
}

/// How far the relation is from holding. Lines are undirected: angles count modulo pi.
inline double Residual(CRel* rel)
{
    const double pi = 2.0 * std::acos(0.0);
    const int type = rel->GetType();
    if (type == SKT_REL_PPDIS || type == SKT_REL_PLDIS)
    {
        return std::fabs(rel->GetActualVal() - rel->m_pVal->m_dValue);
    }
    if (type == SKT_REL_LLDIS)
    {
        const VECTOR& d1 = static_cast<CMathline*>(rel->m_pNode1)->m_Line.m_Direction;
        const VECTOR& d2 = static_cast<CMathline*>(rel->m_pNode2)->m_Line.m_Direction;
        const double cross = std::fabs(d1.x * d2.y - d1.y * d2.x);
        return cross + std::fabs(rel->GetActualVal() - rel->m_pVal->m_dValue);
    }
    if (type == SKT_REL_LLANG)
    {
        double diff = std::fmod(std::fabs(rel->GetActualVal() - rel->m_pVal->m_dValue), pi);
        return std::min(diff, pi - diff);
    }
    if (type == SKT_REL_RAD)
    {
        CMathcir* c = static_cast<CMathcir*>(rel->m_pNode2);
        return std::fabs(c->m_dRadius - c->m_pRadiusVal->m_dValue);
    }
    return 0.0;
}

/// Every relation of the sketch holds within tol.
inline ::testing::AssertionResult AllHold(Sketch& sketch, double tol = 1e-6)
{
    for (const std::string& id : sketch.RelationIds())
    {
        const double r = Residual(sketch.FindRelation(id));
        if (!(r <= tol))
        {
            return ::testing::AssertionFailure() << "relation " << id << " is off by " << r;
        }
    }
    return ::testing::AssertionSuccess();
}

/// Signed area of the triangle abc: its sign is the orientation.
inline double Orientation(Sketch& sketch, const char* a, const char* b, const char* c)
{
    const XYZ& pa = sketch.FindPoint(a)->m_Pos;
    const XYZ& pb = sketch.FindPoint(b)->m_Pos;
    const XYZ& pc = sketch.FindPoint(c)->m_Pos;
    return (pb.x - pa.x) * (pc.y - pa.y) - (pb.y - pa.y) * (pc.x - pa.x);
}

/// Every relation's value and known flag, in creation order.
inline std::vector<std::pair<double, int>> ValuesOf(Sketch& s)
{
    std::vector<std::pair<double, int>> v;
    for (const std::string& id : s.RelationIds())
    {
        CRel* rel = s.FindRelation(id);
        if (rel->m_pVal != nullptr)
        {
            v.emplace_back(rel->m_pVal->m_dValue, rel->m_pVal->m_bKnown);
        }
    }
    return v;
}

/// What a host must see after any drive: either every relation holds, or the drive failed (the
/// host restoring its backups unless it refused the request) and every node is exactly where it
/// was.
inline ::testing::AssertionResult HoldsOrRestored(Sketch& s, const Snapshot& before,
                                                  const DriveResult& r)
{
    if (r.IsOk())
    {
        return AllHold(s);
    }
    // A refused request changes nothing, so there is nothing to restore.
    if (!r.restored && r.failed != qsolver::host::DriveStep::BadRequest)
    {
        return ::testing::AssertionFailure() << "a failed drive did not restore the backups";
    }
    const Snapshot after = Snap(s);
    for (const auto& node : before)
    {
        if (!SameBits(before, after, node.first))
        {
            return ::testing::AssertionFailure() << node.first << " moved in a failed drive";
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace drivecheck
