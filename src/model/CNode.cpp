// Nodes: numbering, relation lists, backups, copies and distances.
#include "model/CNode.h"

#include "model/ValidRels.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/Platform.h"

#include <cassert>
#include <cstddef>
#include <new>

namespace
{
// Two points closer than this are one point.
constexpr double kSamePointTol = 1e-4;

template <class T> T* NewBackup()
{
    T* p = new (std::nothrow) T();
    if (p == nullptr)
    {
        sktAllocFailed();
    }
    return p;
}
} // namespace

// A node has a few relations: blocks of four keep its list compact, so a walk over many nodes
// reads few cache lines for each.
CNode::CNode() : m_nID(g_nNodeNum++), m_RelList(4) {}

CNode::~CNode()
{
    delete m_pRefID;
    m_pRefID = nullptr;
    m_RelList.RemoveAll();
}

int CNode::GetType()
{
    return SKT_NODE_CIRCLE;
}

int CNode::IsWanted(WORD)
{
    return 0;
}

int CNode::IsLegal()
{
    return 0;
}

double CNode::GetDistance(CNode*)
{
    return INFINITE3D;
}

double CNode::GetDistanceFromPoint(XYZ&)
{
    return INFINITE3D;
}

int CNode::Regenerate()
{
    return 1;
}

void CNode::BackupNode() {}

void CNode::RestoreNode() {}

void CNode::Trans(TRANSF) {}

CNode* CNode::Copy()
{
    CNode* copy = new (std::nothrow) CNode();
    if (copy == nullptr)
    {
        return nullptr;
    }
    if (!CopyBaseInto(copy))
    {
        delete copy;
        return nullptr;
    }
    return copy;
}

int CNode::CopyBaseInto(CNode* copy)
{
    copy->m_nID = m_nID;
    copy->m_nFreeNum = m_nFreeNum;
    copy->m_nVarIndex = m_nVarIndex;
    copy->m_nVarNo = m_nVarNo;
    if (m_pRefID != nullptr)
    {
        copy->m_pRefID = new (std::nothrow) int(*m_pRefID);
        if (copy->m_pRefID == nullptr)
        {
            return 0;
        }
    }
    return 1;
}

int CNode::IsFixed()
{
    POSITION pos = m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        if (m_RelList.GetNext(pos)->GetType() == SKT_REL_FIX)
        {
            return 1;
        }
    }
    return 0;
}

int CNode::IsSuperThan(CNode* other)
{
    return m_nID < other->m_nID ? 1 : 0;
}

int CNode::IsSame(CNode* other)
{
    if (other == this)
    {
        return 1;
    }
    int type = GetType();
    if (type != other->GetType())
    {
        return 0;
    }
    if (type == SKT_NODE_POINT)
    {
        return GetDistanceFromPoint(static_cast<CVert*>(other)->m_Pos) < kSamePointTol ? 1 : 0;
    }
    if (type == SKT_NODE_LINE)
    {
        return static_cast<CMathline*>(this)->m_Line.IsSame(static_cast<CMathline*>(other)->m_Line)
                   ? 1
                   : 0;
    }
    return 0;
}

CRel* CNode::AddRel(CRel* rel)
{
    m_RelList.AddTail(rel);
    return rel;
}

CRel* CNode::RemoveRel(CRel* rel)
{
    POSITION pos = m_RelList.Find(rel);
    if (pos == nullptr)
    {
        return nullptr;
    }
    m_RelList.RemoveAt(pos);
    return rel;
}

void CNode::RemoveAllRel()
{
    m_RelList.RemoveAll();
}

int CNode::GetUnusedKnownRelNum()
{
    int count = 0;
    POSITION pos = m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = m_RelList.GetNext(pos);
        if (rel->IsUnused() && rel->m_pVal != nullptr && rel->m_pVal->IsKnown())
        {
            ++count;
        }
    }
    return count;
}

int CNode::GetUnusedRelSel(CRelList& out)
{
    int count = 0;
    POSITION pos = m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = m_RelList.GetNext(pos);
        if (rel->IsUnused())
        {
            out.AddTail(rel);
            ++count;
        }
    }
    return count;
}

namespace
{
// The caller's list as a sink: members it held before the call count as members too.
struct RelListSink
{
    CRelList& list;
    void Add(CRel* rel) { list.AddTail(rel); }
    bool HasUnknownMember(const CVal* val) const
    {
        POSITION pos = list.GetHeadPosition();
        while (pos != nullptr)
        {
            CVal* v = list.GetNext(pos)->m_pVal;
            if (v == val && v != nullptr && v->IsUnknown())
            {
                return true;
            }
        }
        return false;
    }
};
} // namespace

int CNode::GetValidRelChain(CRelList& out)
{
    RelListSink sink{out};
    return sktCollectValidRels(this, sink);
}

int CNode::ActiveRel()
{
    POSITION pos = m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = m_RelList.GetNext(pos);
        if (rel->IsUsed())
        {
            continue;
        }
        if (rel->IsUnused())
        {
            if (!rel->Active(this))
            {
                return 0;
            }
        }
        else if (rel->m_pVal != nullptr && rel->m_pVal->IsUnknown())
        {
            if (!rel->Active(this))
            {
                return 0;
            }
        }
    }
    return 1;
}

// ---- CVert ----

CVert::CVert() = default;

CVert::CVert(XYZ& pos) : m_Pos(pos) {}

CVert::CVert(CVert& other) : CNode(), m_Pos(other.m_Pos) {}

CVert::CVert(double x, double y, double z) : m_Pos(x, y, z) {}

CVert::~CVert()
{
    delete m_pBackupPos;
}

int CVert::GetType()
{
    return SKT_NODE_POINT;
}

int CVert::IsWanted(WORD mask)
{
    return (mask & 0x100) != 0 ? 1 : 0;
}

double CVert::GetDistance(CNode* other)
{
    int type = other->GetType();
    if (type == SKT_NODE_POINT)
    {
        return QDistance(m_Pos, static_cast<CVert*>(other)->m_Pos);
    }
    if (type == SKT_NODE_LINE)
    {
        return static_cast<CMathline*>(other)->m_Line.GetDistance(m_Pos);
    }
    return INFINITE3D;
}

double CVert::GetDistanceFromPoint(XYZ& p)
{
    return QDistance(p, m_Pos);
}

void CVert::BackupNode()
{
    if (m_pBackupPos == nullptr)
    {
        m_pBackupPos = NewBackup<XYZ>();
        if (m_pBackupPos == nullptr)
        {
            return;
        }
    }
    *m_pBackupPos = m_Pos;
}

void CVert::RestoreNode()
{
    assert(m_pBackupPos != nullptr && "RestoreNode follows a BackupNode");
    m_Pos = *m_pBackupPos;
}

void CVert::Trans(TRANSF t)
{
    m_Pos = m_Pos * t;
}

CNode* CVert::Copy()
{
    CVert* copy = new (std::nothrow) CVert();
    if (copy == nullptr)
    {
        return nullptr;
    }
    if (!CopyBaseInto(copy))
    {
        delete copy;
        return nullptr;
    }
    copy->m_Pos = m_Pos;
    if (m_pBackupPos != nullptr)
    {
        copy->m_pBackupPos = new (std::nothrow) XYZ(*m_pBackupPos);
        if (copy->m_pBackupPos == nullptr)
        {
            delete copy;
            return nullptr;
        }
    }
    return copy;
}

// ---- CMathline ----

CMathline::CMathline() = default;

CMathline::CMathline(CVert* a, CVert* b) : m_Line(a->m_Pos, VECTOR(a->m_Pos, b->m_Pos)) {}

CMathline::CMathline(CVert* p, VECTOR& dir) : m_Line(p->m_Pos, dir) {}

CMathline::~CMathline()
{
    delete m_pBackupLine;
}

int CMathline::GetType()
{
    return SKT_NODE_LINE;
}

int CMathline::IsWanted(WORD)
{
    return 0;
}

double CMathline::GetDistance(CNode* other)
{
    int type = other->GetType();
    if (type == SKT_NODE_POINT)
    {
        return m_Line.GetDistance(static_cast<CVert*>(other)->m_Pos);
    }
    if (type == SKT_NODE_LINE)
    {
        return static_cast<CMathline*>(other)->m_Line.GetDistance(m_Line);
    }
    return INFINITE3D;
}

double CMathline::GetDistanceFromPoint(XYZ& p)
{
    return m_Line.GetDistance(p);
}

void CMathline::BackupNode()
{
    if (m_pBackupLine == nullptr)
    {
        m_pBackupLine = NewBackup<MATHLINE>();
        if (m_pBackupLine == nullptr)
        {
            return;
        }
    }
    *m_pBackupLine = m_Line;
}

void CMathline::RestoreNode()
{
    assert(m_pBackupLine != nullptr && "RestoreNode follows a BackupNode");
    m_Line = *m_pBackupLine;
}

void CMathline::Trans(TRANSF t)
{
    m_Line = m_Line * t;
}

CNode* CMathline::Copy()
{
    CMathline* copy = new (std::nothrow) CMathline();
    if (copy == nullptr)
    {
        return nullptr;
    }
    if (!CopyBaseInto(copy))
    {
        delete copy;
        return nullptr;
    }
    copy->m_bDirFixed = m_bDirFixed;
    copy->m_Line = m_Line;
    if (m_pBackupLine != nullptr)
    {
        copy->m_pBackupLine = new (std::nothrow) MATHLINE(*m_pBackupLine);
        if (copy->m_pBackupLine == nullptr)
        {
            delete copy;
            return nullptr;
        }
    }
    return copy;
}

int CMathline::IsParal(CMathline& other)
{
    return m_Line.IsParallel(other.m_Line);
}

int CMathline::IsPerp(CMathline& other)
{
    return m_Line.IsPerpendicular(other.m_Line);
}

int CMathline::IsHor()
{
    return m_Line.IsParallel(MATHLINE(XYZ(0.0, 0.0, 0.0), VECTOR(1.0, 0.0, 0.0)));
}

int CMathline::IsVer()
{
    return m_Line.IsParallel(MATHLINE(XYZ(0.0, 0.0, 0.0), VECTOR(0.0, 1.0, 0.0)));
}

// ---- CMathcir ----

CMathcir::CMathcir() = default;

CMathcir::CMathcir(XYZ center, double radius) : m_Center(center), m_dRadius(radius)
{
    m_pRadiusVal = new CVal();
    m_pRadiusVal->m_dValue = radius;
    m_pRadiusVal->m_bKnown = 0;
}

CMathcir::~CMathcir()
{
    // The last relation that lets go of the radius value deletes it; otherwise we do. A host
    // that deletes that relation before the circle clears m_pRadiusVal first.
    if (m_pRadiusVal != nullptr && m_pRadiusVal->m_RelSel.IsEmpty())
    {
        delete m_pRadiusVal;
    }
    m_pRadiusVal = nullptr;
    delete m_pBackupCenter;
    delete m_pBackupRadius;
}

int CMathcir::GetType()
{
    return SKT_NODE_CIRCLE;
}

void CMathcir::BackupNode()
{
    if (m_pBackupCenter == nullptr)
    {
        m_pBackupCenter = NewBackup<XYZ>();
        if (m_pBackupCenter == nullptr)
        {
            return;
        }
    }
    *m_pBackupCenter = m_Center;
    if (m_pBackupRadius == nullptr)
    {
        m_pBackupRadius = NewBackup<double>();
        if (m_pBackupRadius == nullptr)
        {
            return;
        }
    }
    *m_pBackupRadius = m_dRadius;
}

void CMathcir::RestoreNode()
{
    assert(m_pBackupCenter != nullptr && m_pBackupRadius != nullptr &&
           "RestoreNode follows a BackupNode");
    m_Center = *m_pBackupCenter;
    m_dRadius = *m_pBackupRadius;
}

CNode* CMathcir::Copy()
{
    CMathcir* copy = new (std::nothrow) CMathcir();
    if (copy == nullptr)
    {
        return nullptr;
    }
    if (!CopyBaseInto(copy))
    {
        delete copy;
        return nullptr;
    }
    copy->m_Center = m_Center;
    copy->m_dRadius = m_dRadius;
    if (m_pRadiusVal != nullptr)
    {
        copy->m_pRadiusVal = m_pRadiusVal->Copy();
    }
    if (m_pBackupCenter != nullptr)
    {
        copy->m_pBackupCenter = new (std::nothrow) XYZ(*m_pBackupCenter);
    }
    if (m_pBackupRadius != nullptr)
    {
        copy->m_pBackupRadius = new (std::nothrow) double(*m_pBackupRadius);
    }
    if ((m_pRadiusVal != nullptr && copy->m_pRadiusVal == nullptr) ||
        (m_pBackupCenter != nullptr && copy->m_pBackupCenter == nullptr) ||
        (m_pBackupRadius != nullptr && copy->m_pBackupRadius == nullptr))
    {
        delete copy;
        return nullptr;
    }
    return copy;
}
