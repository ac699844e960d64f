#include "XML/XML_filters.hpp"

#include <gtest/gtest.h>

#include <vector>

using namespace Tessel;

namespace {

typedef std::vector<Filter> Words;

Words Words_of(const FilterList& list) {
    Words words;
    for (size_t channel = 0; channel < list.Channels(); ++channel) words.push_back(list[channel]);
    return words;
}

// Every master list the change callbacks are given.
std::vector<Words> masters;
void Record(const FilterList& master) { masters.push_back(Words_of(master)); }

}  // namespace

TEST(FilterList, WordsChecksAndGrowth) {
    FilterList list(4);
    EXPECT_EQ(Words_of(list), Words(4, 0));
    EXPECT_FALSE(list.Check(~Filter(0)));
    EXPECT_FALSE(list.Check(~Filter(0), 3));
    EXPECT_TRUE(list.Check(0, 4));  // beyond the list: admitted whatever the words

    list[1] = 0x80000000;
    EXPECT_TRUE(list.Check(0x80000001));
    EXPECT_FALSE(list.Check(0x7fffffff));
    EXPECT_TRUE(list.Check(0x80000000, 1));
    EXPECT_FALSE(list.Check(0x80000000, 0));

    list[4] = 0x2;  // one past the end: one channel more
    list[6] = 0x8;  // further out: the words in between are 0
    EXPECT_EQ(Words_of(list), (Words{0, 0x80000000, 0, 0, 0x2, 0, 0x8}));
    const FilterList& read_only = list;
    EXPECT_EQ(read_only[100], 0x8u);  // beyond the end: the last word

    // Copies have words of their own; assignment takes count and words.
    FilterList copy(list);
    EXPECT_EQ(copy, list);
    copy[0] = 0x1;
    EXPECT_NE(copy, list);
    EXPECT_EQ(list[0], 0u);
    FilterList other(7);
    EXPECT_NE(other, FilterList(6));  // same words, other channel count
    other = copy;
    other = other;
    EXPECT_EQ(Words_of(other), (Words{0x1, 0x80000000, 0, 0, 0x2, 0, 0x8}));

    // A list of no channels is allowed and never reads a word of its own.
    const FilterList empty(0);
    EXPECT_FALSE(empty.Check(~Filter(0)));
    EXPECT_TRUE(empty.Check(0, 0));
    EXPECT_EQ(empty[3], 0u);
    other = empty;
    other[2] = 0x4;
    EXPECT_EQ(Words_of(other), (Words{0, 0, 0x4}));
}

TEST(FilterList, ChangedComputesMasterAndNotifies) {
    FilterList::Changed();  // catch up with anything earlier tests left
    FilterChangeCallback callback(Record);
    {
        FilterList a(4), b(4);
        a[0] = 0x1;
        b[0] = 0x4;
        FilterList::Changed();
        FilterList::Changed();  // nothing changed: no call
        ASSERT_EQ(masters.size(), 1u);
        EXPECT_EQ(masters[0][0], 0x5u);
    }
    {
        FilterList wide(6);
        wide[5] = 0x20;
        FilterList::Changed();
        ASSERT_EQ(masters.size(), 2u);
        EXPECT_EQ(masters[1], (Words{0, 0, 0, 0, 0, 0x20}));
    }
    // Destroyed lists count until the next Changed(); the master never narrows.
    FilterList::Changed();
    ASSERT_EQ(masters.size(), 3u);
    EXPECT_EQ(masters[2], Words(6, 0));
}

TEST(FilterList, CallbacksMayUseFilterLists) {
    FilterList::Changed();
    static int calls = 0;
    // Runs with both filter mutexes held: copies, grows and assigns lists on
    // the same thread.
    FilterChangeCallback user([](const FilterList& master) {
        FilterList copy(master);
        copy[copy.Channels()] = 0x40;
        FilterList other(1);
        other = copy;
        ++calls;
    });
    FilterList list(4);
    list[3] = 0x100;
    FilterList::Changed();
    EXPECT_EQ(calls, 1);
    // The lists made inside the callback are gone and were never counted.
    FilterList::Changed();
    EXPECT_EQ(calls, 1);
}
