// A dimension value shared by the relations that measure it, with backups of number and flag.
#pragma once

#include "model/PtrList.h"
#include "shell/QsolverExport.h"

class CRel;

class QSOLVER_API CVal : public CObject
{
public:
    int m_nID = 0;
    unsigned char m_bKnown = 0;
    CRelList m_RelSel;
    unsigned char m_bAngle = 0;
    double m_dValue = 0.0;
    unsigned char m_bBackupKnown = 0;
    double* m_pBackupValue = nullptr;

    CVal();
    CVal(double value, char known, CRel* rel);
    CVal(const CVal&) = delete;
    CVal& operator=(const CVal&) = delete;
    ~CVal() override;

    void SetValue(double value) { m_dValue = value; }
    double GetValue() { return m_dValue; }
    int IsKnown() { return m_bKnown != 0 ? 1 : 0; }
    int IsUnknown() { return m_bKnown == 0 ? 1 : 0; }
    void SetKnown() { m_bKnown = 1; }
    void SetUnknown() { m_bKnown = 0; }
    CRelList* GetRelSel() { return &m_RelSel; }
    void BackupKnownFlag() { m_bBackupKnown = m_bKnown; }
    void RestoreKnownFlag() { m_bKnown = m_bBackupKnown; }
    void BackupValue();
    void RestoreValue();
    /// A new value with this one's number, flags and backups, shared by no relation.
    CVal* Copy();
    /// Re-evaluates the nodes that the active sharing relations constrain, now that the value
    /// is known: 1 success, 0 when a sharing relation over-determines or a re-activation fails.
    int ChangeRelChainFromUnknownToKnown();
};
