// Shared set-up of the model suites: attaching relations as a host does, and clean chains.
#pragma once

#include "Qsolver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <memory>
#include <vector>

// Hooks a relation into the relation lists of its nodes, as the host does after creating it.
inline void Link(CRel& rel)
{
    if (rel.m_pNode1 != nullptr)
    {
        rel.m_pNode1->AddRel(&rel);
    }
    if (rel.m_pNode2 != nullptr)
    {
        rel.m_pNode2->AddRel(&rel);
    }
}

// Points and distances around one value, linked as the host links them. The distances go
// before the points, and the last one sharing the value deletes it.
struct ValueWeb
{
    ValueWeb() = default;
    explicit ValueWeb(double value) { v->SetValue(value); }

    CVert& Point(double x, double y, bool known = false)
    {
        points.emplace_back(x, y, 0.0);
        if (known)
        {
            points.back().SetKnown();
        }
        return points.back();
    }
    // A distance sharing the web's value.
    CPPdis& Shared(CVert& a, CVert& b, bool active = false)
    {
        return Keep(new CPPdis(&a, &b, v), active);
    }
    // A distance with a known value of its own.
    CPPdis& Own(CVert& a, CVert& b, double value, bool active = false)
    {
        return Keep(new CPPdis(&a, &b, value, 1), active);
    }

    CVal* v = new CVal();
    std::deque<CVert> points;
    std::vector<std::unique_ptr<CPPdis>> rels;

private:
    CPPdis& Keep(CPPdis* r, bool active)
    {
        Link(*r);
        if (active)
        {
            r->SetActive();
        }
        rels.emplace_back(r);
        return *r;
    }
};

inline void ClearChains()
{
    g_sktGoodNodeChain.RemoveAll();
    g_sktKnownNodeChain.RemoveAll();
    g_sktDefinedNodeChain.RemoveAll();
    g_sktUndefinedNodeChain.RemoveAll();
    g_sktRelChain.RemoveAll();
    g_sktDriveRelChain.RemoveAll();
    g_sktSaveRelChain.RemoveAll();
    g_sktClusterChain.RemoveAll();
    g_sktGoodClusterChain.RemoveAll();
}

// Every model test starts and ends with empty chains, so no test sees another's stack nodes.
class ModelTest : public ::testing::Test
{
protected:
    void SetUp() override { ClearChains(); }
    void TearDown() override { ClearChains(); }
};

inline double Pi()
{
    return 2 * std::acos(0.0);
}
