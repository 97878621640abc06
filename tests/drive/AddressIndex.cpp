// The drive's index of nodes by address answers as a hash map would, whether the nodes lie side
// by side (kept by address) or spread thinly (kept in a hash map).
#include "drive/AddressIndex.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{
struct alignas(64) Object
{
    char bytes[64];
};

struct Layout
{
    const char* name;
    std::size_t objects; // made side by side
    std::size_t stride;  // every stride-th of them is a key
    bool byAddress;
};

const Layout kLayouts[] = {
    {"side by side", 20000, 2, true},
    {"spread over windows", 64 * 4096, 4096, false},
    {"a few", 10, 1, false},
};
} // namespace

TEST(AddressIndex, AnswersLikeAMapForEveryLayout)
{
    for (const Layout& layout : kLayouts)
    {
        SCOPED_TRACE(layout.name);
        std::vector<Object> memory(layout.objects);
        std::vector<const Object*> keys;
        for (std::size_t i = 0; i < layout.objects; i += layout.stride)
        {
            keys.push_back(&memory[i]);
        }
        // Keys listed twice keep their first value, as a node chained twice keeps its first place.
        std::vector<const Object*> planned = keys;
        planned.push_back(keys[keys.size() / 2]);
        planned.push_back(keys.front());

        AddressIndex index;
        index.Plan(planned.data(), planned.size());
        EXPECT_EQ(index.ByAddress(), layout.byAddress);
        for (std::size_t i = 0; i < planned.size(); ++i)
        {
            EXPECT_EQ(index.insert(planned[i], static_cast<int>(i)), i < keys.size()) << i;
        }
        for (std::size_t i = 0; i < keys.size(); ++i)
        {
            const int* found = index.find(keys[i]);
            ASSERT_NE(found, nullptr) << i;
            EXPECT_EQ(*found, static_cast<int>(i));
        }
        // Objects between the keys, in the same windows, and objects elsewhere are absent.
        if (layout.stride > 1)
        {
            EXPECT_EQ(index.find(&memory[1]), nullptr);
            EXPECT_EQ(index.find(&memory[layout.objects - 1]), nullptr);
        }
        Object elsewhere;
        EXPECT_EQ(index.find(&elsewhere), nullptr);
    }
}
