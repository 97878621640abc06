// Relations: construction with owned or shared values, copies, measures and activation.
#include "model/CRel.h"

#include "model/CNode.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/Platform.h"
#include "model/VectorAngle.h"

#include <cmath>
#include <new>

namespace
{
// A point-point distance below this makes the points coincide: it removes both freedoms.
constexpr double kCoincidentDistance = 1e-4;

CVal* NewOwnedValue(double value, unsigned char known, CRel* rel)
{
    CVal* val = new (std::nothrow) CVal(value, static_cast<char>(known), rel);
    if (val == nullptr)
    {
        sktAllocFailed();
    }
    return val;
}
} // namespace

CRel::CRel() : m_nID(g_nRelNum++) {}

CRel::CRel(CNode* n1, CNode* n2, double value, unsigned char known)
    : m_nID(g_nRelNum++), m_pNode1(n1), m_pNode2(n2)
{
    m_pVal = NewOwnedValue(value, known, this);
}

CRel::CRel(CNode* n1, CNode* n2, CVal* val)
    : m_nID(g_nRelNum++), m_pVal(val), m_pNode1(n1), m_pNode2(n2)
{
    if (m_pVal != nullptr)
    {
        m_pVal->m_RelSel.AddTail(this);
    }
}

CRel::~CRel()
{
    if (m_pVal != nullptr)
    {
        RemoveFromList(this, m_pVal->m_RelSel);
        if (m_pVal->m_RelSel.IsEmpty())
        {
            delete m_pVal;
        }
        m_pVal = nullptr;
    }
}

CRel* CRel::Copy()
{
    return nullptr;
}

int CRel::GetType()
{
    return SKT_REL_BASE;
}

double CRel::GetActualVal()
{
    return 0.0;
}

CRel* CRel::CopyStateInto(CRel* copy)
{
    copy->m_byState = m_byState;
    copy->m_nID = m_nID;
    copy->m_bReverse1 = m_bReverse1;
    copy->m_bReverse2 = m_bReverse2;
    return copy;
}

void CRel::SetValue(double value)
{
    m_pVal->m_dValue = value;
}

CNode* CRel::GetAnotherNode(CNode* n)
{
    if (n == m_pNode1)
    {
        return m_pNode2;
    }
    if (n == m_pNode2)
    {
        return m_pNode1;
    }
    return nullptr;
}

void CRel::CutRelWithNode()
{
    if (m_pNode1 != nullptr)
    {
        m_pNode1->RemoveRel(this);
    }
    if (m_pNode2 != nullptr)
    {
        m_pNode2->RemoveRel(this);
    }
}

int CRel::Active(CNode* from)
{
    int type = GetType();
    if (type == SKT_REL_FIX)
    {
        SetUsed();
        return 1;
    }
    CNode* target = from == m_pNode1 ? m_pNode2 : m_pNode1;
    if (m_pVal == nullptr || target == nullptr)
    {
        // A relation without a value or a second end cannot propagate anything.
        return 0;
    }
    if (m_pVal->IsKnown())
    {
        unsigned char removes = 0;
        if (type == SKT_REL_PPDIS)
        {
            // Strictly below: a distance of exactly the tolerance removes one freedom.
            removes = std::fabs(m_pVal->m_dValue) < kCoincidentDistance ? 2 : 1;
        }
        else if (type == SKT_REL_PLDIS || type == SKT_REL_LLDIS || type == SKT_REL_LLANG)
        {
            removes = 1;
        }
        else
        {
            return 0;
        }
        if (target->m_nFreeNum < removes)
        {
            return 0;
        }
        target->m_nFreeNum = static_cast<unsigned char>(target->m_nFreeNum - removes);
        SetActive();
        if (target->m_nFreeNum == 0)
        {
            g_sktDefinedNodeChain.AddTail(target);
        }
        return 1;
    }
    if (target->IsKnown())
    {
        m_pVal->SetValue(GetActualVal());
        m_pVal->SetKnown();
        SetUsed();
        return m_pVal->ChangeRelChainFromUnknownToKnown();
    }
    POSITION pos = target->m_RelList.GetHeadPosition();
    CRel* sharing = nullptr;
    while (pos != nullptr)
    {
        CRel* s = target->m_RelList.GetNext(pos);
        int st = s->GetType();
        if (st >= SKT_REL_PPDIS && st <= SKT_REL_LLANG && s->m_pVal == m_pVal && s->IsActive())
        {
            sharing = s;
            break;
        }
    }
    if (sharing == nullptr)
    {
        // A lone unknown value removes nothing.
        SetActive();
        return 1;
    }
    if (target->IsSame(sharing->GetAnotherNode(target)))
    {
        return 0;
    }
    if (target->m_nFreeNum == 0)
    {
        return 0;
    }
    target->m_nFreeNum = static_cast<unsigned char>(target->m_nFreeNum - 1);
    if (target->m_nFreeNum == 0)
    {
        g_sktDefinedNodeChain.AddTail(target);
    }
    SetActive();
    return 1;
}

// ---- subclasses ----

CFix::CFix() = default;

CFix::CFix(CNode* node)
{
    m_pNode1 = node;
}

CRel* CFix::Copy()
{
    return CopyStateInto(new CFix());
}

int CFix::GetType()
{
    return SKT_REL_FIX;
}

CRad::CRad() = default;

CRad::CRad(CNode* node, CNode* circle)
{
    m_pNode1 = node;
    m_pNode2 = circle;
    m_pVal = static_cast<CMathcir*>(circle)->m_pRadiusVal;
    if (m_pVal != nullptr)
    {
        m_pVal->SetKnown();
        m_pVal->m_RelSel.AddTail(this);
    }
}

CRel* CRad::Copy()
{
    return CopyStateInto(new CRad());
}

int CRad::GetType()
{
    return SKT_REL_RAD;
}

CPPdis::CPPdis() = default;

CPPdis::CPPdis(CVert* a, CVert* b, double value, unsigned char known) : CRel(a, b, value, known) {}

CPPdis::CPPdis(CVert* a, CVert* b, CVal* val) : CRel(a, b, val) {}

CRel* CPPdis::Copy()
{
    return CopyStateInto(new CPPdis());
}

int CPPdis::GetType()
{
    return SKT_REL_PPDIS;
}

double CPPdis::GetActualVal()
{
    return QDistance(static_cast<CVert*>(m_pNode1)->m_Pos, static_cast<CVert*>(m_pNode2)->m_Pos);
}

CPLdis::CPLdis() = default;

CPLdis::CPLdis(CVert* p, CMathline* l, double value, unsigned char known) : CRel(p, l, value, known)
{
}

CPLdis::CPLdis(CVert* p, CMathline* l, CVal* val) : CRel(p, l, val) {}

CRel* CPLdis::Copy()
{
    return CopyStateInto(new CPLdis());
}

int CPLdis::GetType()
{
    return SKT_REL_PLDIS;
}

double CPLdis::GetActualVal()
{
    return m_pNode1->GetDistance(m_pNode2);
}

CLLdis::CLLdis() = default;

CLLdis::CLLdis(CMathline* a, CMathline* b, double value, unsigned char known)
    : CRel(a, b, value, known)
{
}

CLLdis::CLLdis(CMathline* a, CMathline* b, CVal* val) : CRel(a, b, val) {}

CRel* CLLdis::Copy()
{
    return CopyStateInto(new CLLdis());
}

int CLLdis::GetType()
{
    return SKT_REL_LLDIS;
}

double CLLdis::GetActualVal()
{
    return m_pNode1->GetDistance(m_pNode2);
}

CLLang::CLLang() = default;

CLLang::CLLang(CMathline* a, CMathline* b, double value, unsigned char known)
    : CRel(a, b, value, known)
{
    if (m_pVal != nullptr)
    {
        m_pVal->m_bAngle = 1;
    }
}

CRel* CLLang::Copy()
{
    return CopyStateInto(new CLLang());
}

int CLLang::GetType()
{
    return SKT_REL_LLANG;
}

double CLLang::GetActualVal()
{
    VECTOR a = static_cast<CMathline*>(m_pNode1)->m_Line.GetDirection();
    VECTOR b = static_cast<CMathline*>(m_pNode2)->m_Line.GetDirection();
    return sktGetVectorToVectorAngle(a, b);
}
