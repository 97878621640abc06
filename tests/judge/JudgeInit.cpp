// Opening the analysis pass: the legality test during stripping must not leave a value known.
#include "judge/JudgeTestUtil.h"

#include <gtest/gtest.h>

using judgetest::NodeIds;
using qsolver::host::ValueSpec;

namespace
{

using JudgeInit = judgetest::JudgeTest;

TEST_F(JudgeInit, LegalityTestLeavesKnownFlagsAsBackedUp)
{
    // Two equal unknown distances from fixed points: the test takes the value as known for a
    // moment, and the flag must come back from its backup.
    Points({{"A", 0, 0}, {"B", 4, 0}, {"P", 2, 3}});
    sketch.AddFix("fa", "A");
    sketch.AddFix("fb", "B");
    sketch.AddValue("same", 0, false);
    sketch.AddPPdis("pa", "P", "A", ValueSpec::Shared("same"));
    sketch.AddPPdis("pb", "P", "B", ValueSpec::Shared("same"));

    Init();

    EXPECT_EQ(NodeIds(sketch, g_sktUndefinedNodeChain), (std::vector<std::string>{"A", "B"}));
    EXPECT_FALSE(sketch.FindValue("same")->IsKnown());
}

} // namespace
