// Values: numbering, backups, copies, and the re-evaluation when a shared value becomes known.
#include "model/CVal.h"

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/Chains.h"

#include <cassert>
#include <memory>

// Most values belong to one relation, a shared one to a few: blocks of two keep values compact.
CVal::CVal() : m_nID(g_nValNum++), m_RelSel(2) {}

CVal::CVal(double value, char known, CRel* rel)
    : m_nID(g_nValNum++), m_bKnown(static_cast<unsigned char>(known)), m_RelSel(2), m_dValue(value)
{
    m_RelSel.AddTail(rel);
}

CVal::~CVal()
{
    m_RelSel.RemoveAll();
    delete m_pBackupValue;
}

void CVal::BackupValue()
{
    // Unchecked: a failed allocation ends the call through the allocator's exception.
    if (m_pBackupValue == nullptr)
    {
        m_pBackupValue = new double();
    }
    *m_pBackupValue = m_dValue;
}

void CVal::RestoreValue()
{
    assert(m_pBackupValue != nullptr && "RestoreValue follows a BackupValue");
    m_dValue = *m_pBackupValue;
}

CVal* CVal::Copy()
{
    std::unique_ptr<CVal> copy(new CVal());
    copy->m_nID = m_nID;
    copy->m_bKnown = m_bKnown;
    copy->m_bAngle = m_bAngle;
    copy->m_dValue = m_dValue;
    copy->m_bBackupKnown = m_bBackupKnown;
    if (m_pBackupValue != nullptr)
    {
        copy->m_pBackupValue = new double(*m_pBackupValue);
    }
    return copy.release();
}

int CVal::ChangeRelChainFromUnknownToKnown()
{
    m_bKnown = 1;
    CRelList again(10);
    POSITION pos = m_RelSel.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = m_RelSel.GetNext(pos);
        if (!rel->IsActive())
        {
            continue;
        }
        CNode* node = nullptr;
        if (rel->m_pNode1->IsKnown())
        {
            if (rel->m_pNode2->IsKnown())
            {
                return 0;
            }
            node = rel->m_pNode2;
        }
        else
        {
            node = rel->m_pNode1;
        }
        // Every relation of the node is reset, not only the sharing ones; the k sharing ones
        // had together removed k - 1 degrees of freedom, which are given back here.
        int count = 0;
        POSITION npos = node->m_RelList.GetHeadPosition();
        while (npos != nullptr)
        {
            CRel* q = node->m_RelList.GetNext(npos);
            if (q->m_pVal == this)
            {
                ++count;
            }
            q->SetUnused();
            again.AddTail(q);
        }
        node->m_nFreeNum = static_cast<unsigned char>(node->m_nFreeNum + (count - 1));
    }
    pos = again.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* q = again.GetNext(pos);
        CNode* source = q->m_pNode1->IsKnown() ? q->m_pNode1 : q->m_pNode2;
        if (!q->Active(source))
        {
            return 0;
        }
    }
    return 1;
}
