// What a host checks after a drive: every relation holds, and which nodes moved.
#pragma once

#include "QsolverInternal.h"
#include "qsolver/Sketch.h"
#include "common/Measure.h"
#include "qsolver/SketchDrive.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace drivecheck
{

using qsolver::DriveResult;
using qsolver::Sketch;

/// Every node's numbers (see measure::NodeNumbers) by id.
using Snapshot = std::map<std::string, std::vector<double>>;

inline Snapshot Snap(Sketch& sketch)
{
    Snapshot s;
    for (const std::string& id : sketch.NodeIds())
    {
        s[id] = measure::NodeNumbers(sketch.FindNode(id));
    }
    return s;
}

/// Largest coordinate change of a node between two snapshots.
inline double Moved(const Snapshot& before, const Snapshot& after, const std::string& id)
{
    const std::vector<double>& a = before.at(id);
    const std::vector<double>& b = after.at(id);
    double m = 0.0;
    for (size_t i = 0; i < a.size(); ++i)
    {
        m = std::max(m, std::fabs(a[i] - b[i]));
    }
    return m;
}

inline bool SameBits(const Snapshot& before, const Snapshot& after, const std::string& id)
{
    return before.at(id) == after.at(id);
}

using measure::Residual;

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

/// Drives as a host does: the drive succeeds and every relation holds afterwards.
inline ::testing::AssertionResult
DrivesAndHolds(Sketch& s, const std::vector<std::pair<std::string, double>>& changes)
{
    const DriveResult r = s.Drive(changes);
    if (!r.IsOk())
    {
        return ::testing::AssertionFailure()
               << qsolver::DriveStepText(r.failed) << ": " << r.message;
    }
    return AllHold(s);
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
    if (!r.restored && r.failed != qsolver::DriveStep::BadRequest)
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

/// Analyses, drives `rel` to `value`, and expects the host's check of the result to fail the
/// drive with a message starting `message`, giving back every bit and every value.
inline void ExpectCheckFailsAndRestores(Sketch& s, const char* rel, double value,
                                        const std::string& message)
{
    ASSERT_TRUE(s.Analyse().IsOk());
    const Snapshot before = Snap(s);
    const std::vector<std::pair<double, int>> values = ValuesOf(s);

    // The solver's passes alone: the robust strategies of Sketch::Drive may solve it.
    const DriveResult r = qsolver::DriveSketch(s, {{rel, value}}, qsolver::DriveOptions());

    EXPECT_EQ(r.failed, qsolver::DriveStep::Verify);
    EXPECT_EQ(r.message.rfind(message, 0), 0u) << r.message;
    EXPECT_TRUE(r.restored);
    EXPECT_TRUE(HoldsOrRestored(s, before, r));
    EXPECT_EQ(ValuesOf(s), values);
}

/// A named change of one dimension.
struct Change
{
    const char* name;
    const char* rel;
    double value;
};

/// A sketch drawn by `build` and the dimension a drive changes.
struct DriveCase
{
    const char* name;
    void (*build)(Sketch&);
    const char* rel;
    double value;
};

/// A strip of triangles: T0 fixed, T1 on a fixed base, every further node from the two before
/// (members named m<from>_<to>). Drawn off its dimensions: the first drive settles it.
inline void DrawTruss(Sketch& s, int count)
{
    using qsolver::ValueSpec;
    s.AddLine("ground", 0, 0, 1, 0);
    s.AddFix("fixGround", "ground");
    for (int i = 0; i < count; ++i)
    {
        s.AddPoint("T" + std::to_string(i), i * 1.0, (i % 2) * 1.5);
    }
    s.AddFix("fixT0", "T0");
    s.AddPLdis("T1onGround", "T1", "ground", ValueSpec::Own(0));
    s.AddPPdis("m0_1", "T0", "T1", ValueSpec::Own(2.0));
    for (int i = 2; i < count; ++i)
    {
        const std::string p = "T" + std::to_string(i);
        const std::string a = std::to_string(i - 2);
        const std::string b = std::to_string(i - 1);
        const std::string to = "_" + std::to_string(i);
        s.AddPPdis("m" + a + to, "T" + a, p, ValueSpec::Own(2.0));
        s.AddPPdis("m" + b + to, "T" + b, p, ValueSpec::Own(std::hypot(1.0, 1.5)));
    }
}

/// The ids of a list's entries, head to tail.
template <class List> std::vector<std::string> Ids(Sketch& s, List& list)
{
    std::vector<std::string> out;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        out.push_back(s.IdOf(list.GetNext(pos)));
    }
    return out;
}

/// Opens a pass as a host does: backups, the changed value (none for nullptr), the drive chain,
/// then the two opening steps.
inline void OpenPass(Sketch& s, const char* rel, double value)
{
    s.BackupAll();
    g_sktDriveRelChain.RemoveAll();
    if (rel != nullptr)
    {
        s.FindRelation(rel)->SetValue(value);
        g_sktDriveRelChain.AddTail(s.FindRelation(rel));
    }
    sktInitDrive(s.Nodes(), s.Relations());
    sktRemoveGoodNodeFromChain();
}

/// Releases what the last pass left in the chains.
inline void ClosePass()
{
    CNodeList none;
    CRelList noRels;
    sktInitDrive(none, noRels);
    g_sktDriveRelChain.RemoveAll();
}

} // namespace drivecheck
