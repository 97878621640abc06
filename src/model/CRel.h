// Relations between two nodes: fix, distances, angle and radius.
#pragma once

#include "model/PtrList.h"
#include "shell/QsolverExport.h"

class CNode;
class CVert;
class CMathline;
class CVal;

/// Type codes of the relations, as answered by GetType.
enum : int
{
    SKT_REL_BASE = 0x8000,
    SKT_REL_FIX = 0x8001,
    SKT_REL_PPDIS = 0x8002,
    SKT_REL_PLDIS = 0x8003,
    SKT_REL_LLDIS = 0x8004,
    SKT_REL_LLANG = 0x8005,
    SKT_REL_RAD = 0x8006,
};

class QSOLVER_API CRel : public CObject
{
public:
    unsigned char m_byState = 0;
    int m_nID = 0;
    CVal* m_pVal = nullptr;
    CNode* m_pNode1 = nullptr;
    CNode* m_pNode2 = nullptr;
    CNode* m_pValueNode = nullptr;
    int m_bReverse1 = 0;
    int m_bReverse2 = 0;

    CRel();
    CRel(CNode* n1, CNode* n2, double value, unsigned char known);
    CRel(CNode* n1, CNode* n2, CVal* val);
    CRel(const CRel&) = delete;
    CRel& operator=(const CRel&) = delete;
    ~CRel() override;

    /// A detached duplicate (no nodes, no value) that the caller owns; null for the base class.
    virtual CRel* Copy();
    virtual int GetType();
    /// Propagates the relation from `from` to its other node: 1 taken into account, 0 refused.
    virtual int Active(CNode* from);
    /// The measure the geometry has now.
    virtual double GetActualVal();

    void SetUnused() { m_byState = static_cast<unsigned char>((m_byState & 0xF0) | 0); }
    void SetActive() { m_byState = static_cast<unsigned char>((m_byState & 0xF0) | 1); }
    void SetUsed() { m_byState = static_cast<unsigned char>((m_byState & 0xF0) | 2); }
    void SetIniRel() { m_byState = static_cast<unsigned char>(m_byState & 0x0F); }
    void SetAddRel() { m_byState = static_cast<unsigned char>((m_byState & 0x0F) | 0x10); }
    int IsUnused() { return (m_byState & 0x0F) == 0 ? 1 : 0; }
    int IsActive() { return (m_byState & 0x0F) == 1 ? 1 : 0; }
    int IsUsed() { return (m_byState & 0x0F) == 2 ? 1 : 0; }
    int IsIniRel() { return (m_byState & 0x10) == 0 ? 1 : 0; }
    int IsAddRel() { return (m_byState & 0x10) != 0 ? 1 : 0; }
    void SetValue(double value);
    CNode* GetAnotherNode(CNode* n);
    /// Detaches the relation from its nodes' relation lists; the owner then deletes it.
    void CutRelWithNode();

protected:
    CRel* CopyStateInto(CRel* copy);
};

class QSOLVER_API CFix : public CRel
{
public:
    CFix();
    explicit CFix(CNode* node);
    CRel* Copy() override;
    int GetType() override;
};

class QSOLVER_API CRad : public CRel
{
public:
    CRad();
    /// The second node must be a circle: the relation shares its radius value, made known.
    CRad(CNode* node, CNode* circle);
    CRel* Copy() override;
    int GetType() override;
};

class QSOLVER_API CPPdis : public CRel
{
public:
    CPPdis();
    CPPdis(CVert* a, CVert* b, double value, unsigned char known);
    CPPdis(CVert* a, CVert* b, CVal* val);
    CRel* Copy() override;
    int GetType() override;
    double GetActualVal() override;
};

class QSOLVER_API CPLdis : public CRel
{
public:
    CPLdis();
    CPLdis(CVert* p, CMathline* l, double value, unsigned char known);
    CPLdis(CVert* p, CMathline* l, CVal* val);
    CRel* Copy() override;
    int GetType() override;
    double GetActualVal() override;
};

class QSOLVER_API CLLdis : public CRel
{
public:
    CLLdis();
    CLLdis(CMathline* a, CMathline* b, double value, unsigned char known);
    CLLdis(CMathline* a, CMathline* b, CVal* val);
    CRel* Copy() override;
    int GetType() override;
    double GetActualVal() override;
};

class QSOLVER_API CLLang : public CRel
{
public:
    CLLang();
    /// Creates its own value, marked as an angle.
    CLLang(CMathline* a, CMathline* b, double value, unsigned char known);
    CRel* Copy() override;
    int GetType() override;
    double GetActualVal() override;
};
