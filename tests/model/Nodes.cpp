// Nodes: which relations ActiveRel walks again. Identity and the valid-relation order are
// covered through the legality tables.
#include "ModelTestSupport.h"

#include <memory>
#include <vector>

using NodeTest = ModelTest;

TEST_F(NodeTest, ActiveRelWalksUnusedAndUnknownActiveRelations)
{
    CVert p(0, 0, 0);
    CVert q1(3, 0, 0);
    CVert q2(0, 4, 0);
    CVert q3(5, 5, 0);
    CVert q4(6, 6, 0);
    CPPdis unused(&p, &q1, 3, 1);
    CPPdis used(&p, &q2, 4, 1);
    CPPdis activeKnown(&p, &q3, 1, 1);
    CPPdis activeUnknown(&p, &q4, 1, 0);
    for (CPPdis* r : {&unused, &used, &activeKnown, &activeUnknown})
    {
        Link(*r);
    }
    used.SetUsed();
    activeKnown.SetActive();
    activeUnknown.SetActive();
    q4.m_nFreeNum = 1;
    p.SetKnown();

    EXPECT_EQ(p.ActiveRel(), 1);

    EXPECT_EQ(unused.IsActive(), 1);
    EXPECT_EQ(q1.m_nFreeNum, 1);
    EXPECT_EQ(q2.m_nFreeNum, 2);
    EXPECT_EQ(q3.m_nFreeNum, 2);
    // Re-activated: the relation finds itself as the active sharer of its value on q4.
    EXPECT_EQ(q4.m_nFreeNum, 0);
    EXPECT_EQ(used.IsUsed(), 1);
}
