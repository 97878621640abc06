// Geometric nodes: the base node and its point, infinite line and circle.
#pragma once

#include "model/PtrList.h"
#include "model/QMath.h"
#include "shell/QsolverExport.h"

typedef unsigned short WORD;

class CRel;
class CVal;

/// Type codes of the nodes, as answered by GetType.
enum : int
{
    SKT_NODE_POINT = 0x100,
    SKT_NODE_LINE = 0x200,
    SKT_NODE_CIRCLE = 0x300,
};

class QSOLVER_API CNode : public CObject
{
public:
    int m_nID = 0;
    int m_bAux = 0;
    unsigned char m_nFreeNum = 2;
    CRelList m_RelList;
    int* m_pRefID = nullptr;
    int m_nVarIndex = -1;
    int m_nVarNo = -1;

    CNode();
    CNode(const CNode&) = delete;
    CNode& operator=(const CNode&) = delete;
    ~CNode() override;

    virtual int GetType();
    virtual int IsWanted(WORD mask);
    /// 1 when the relations now active determine the node well; the node is then known.
    virtual int IsLegal();
    virtual double GetDistance(CNode* other);
    virtual double GetDistanceFromPoint(XYZ& p);
    /// Recomputes the node from its relations: 1 placed or nothing to do, 0 failure.
    virtual int Regenerate();
    virtual void BackupNode();
    virtual void RestoreNode();
    virtual void Trans(TRANSF t);
    /// A detached duplicate that the caller owns (null when an allocation fails).
    virtual CNode* Copy();

    int IsKnown() { return m_nFreeNum == 0 ? 1 : 0; }
    void SetKnown() { m_nFreeNum = 0; }
    void SetUnknown() { m_nFreeNum = 2; }
    int IsDecreaseFreeNum() { return m_nFreeNum < 2 ? 1 : 0; }
    int IsRefObject() { return m_pRefID != nullptr ? 1 : 0; }
    int IsAuxObject() { return m_bAux != 0 ? 1 : 0; }
    int IsFixed();
    int IsSuperThan(CNode* other);
    int IsSame(CNode* other);
    CRelList* GetRelList() { return &m_RelList; }
    CRel* AddRel(CRel* rel);
    CRel* RemoveRel(CRel* rel);
    void RemoveAllRel();
    int GetUnusedKnownRelNum();
    int GetUnusedRelSel(CRelList& out);
    /// Appends the active relations that constrain the node to out; returns the equation count.
    int GetValidRelChain(CRelList& out);
    /// Activates the node's relations after it has become known: 1, or 0 on the first refusal.
    int ActiveRel();

protected:
    /// Carries the base fields into a copy; 0 when an allocation for it yields nothing.
    int CopyBaseInto(CNode* copy);
};

class QSOLVER_API CVert : public CNode
{
public:
    XYZ m_Pos;
    XYZ* m_pBackupPos = nullptr;

    CVert();
    explicit CVert(XYZ& pos);
    CVert(CVert& other);
    CVert(double x, double y, double z);
    ~CVert() override;

    int GetType() override;
    int IsWanted(WORD mask) override;
    int IsLegal() override;
    double GetDistance(CNode* other) override;
    double GetDistanceFromPoint(XYZ& p) override;
    int Regenerate() override;
    void BackupNode() override;
    void RestoreNode() override;
    void Trans(TRANSF t) override;
    CNode* Copy() override;
};

class QSOLVER_API CMathline : public CNode
{
public:
    int m_bDirFixed = 0;
    MATHLINE m_Line;
    MATHLINE* m_pBackupLine = nullptr;

    CMathline();
    CMathline(CVert* a, CVert* b);
    CMathline(CVert* p, VECTOR& dir);
    ~CMathline() override;

    int GetType() override;
    int IsWanted(WORD mask) override;
    int IsLegal() override;
    double GetDistance(CNode* other) override;
    double GetDistanceFromPoint(XYZ& p) override;
    int Regenerate() override;
    void BackupNode() override;
    void RestoreNode() override;
    void Trans(TRANSF t) override;
    CNode* Copy() override;

    int IsParal(CMathline& other);
    int IsPerp(CMathline& other);
    int IsHor();
    int IsVer();
};

class QSOLVER_API CMathcir : public CNode
{
public:
    XYZ m_Center;
    double m_dRadius = 0.0;
    CVal* m_pRadiusVal = nullptr;
    XYZ* m_pBackupCenter = nullptr;
    double* m_pBackupRadius = nullptr;

    CMathcir();
    CMathcir(XYZ center, double radius);
    ~CMathcir() override;

    int GetType() override;
    void BackupNode() override;
    void RestoreNode() override;
    CNode* Copy() override;
};
