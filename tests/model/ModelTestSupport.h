// Shared set-up of the model suites: attaching relations as a host does, and clean chains.
#pragma once

#include "Qsolver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>
#include <utility>
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

// The entries of a list from head to tail.
template <class List>
auto Entries(const List& list)
    -> std::vector<std::decay_t<decltype(list.GetNext(std::declval<POSITION&>()))>>
{
    std::vector<std::decay_t<decltype(list.GetNext(std::declval<POSITION&>()))>> out;
    POSITION pos = list.GetHeadPosition();
    while (pos != nullptr)
    {
        out.push_back(list.GetNext(pos));
    }
    return out;
}

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
