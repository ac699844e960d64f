#include "static_objects.hpp"

#include <gtest/gtest.h>

using namespace Tessel;

TEST(StaticOrder, FilterObjectsBuiltBeforeAndUsedAfterTheLibrary) {
    // Before the library's static constructors: one change (0x2 on channel 1,
    // 6 channels). During static initialisation: a second (0x8 on channel 1),
    // on a master list that kept its 6 channels.
    EXPECT_EQ(seen_at_start_up.calls, 2);
    EXPECT_EQ(seen_at_start_up.channels, 6u);
    EXPECT_EQ(seen_at_start_up.channel_1, 0x8u);

    // Both lists are in the chain.
    static_list[1] = 0x4;
    (*early_list)[1] = 0x1;
    FilterList::Changed();
    EXPECT_EQ(seen.calls, 3);
    EXPECT_EQ(seen.channel_1, 0x5u);
    // At exit, a handler that runs after the library's static destructors
    // destroys a list and calls Changed(): a fault there fails this program
    // after main.
}
