#include "XML/XML_filters.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using namespace Tessel;

namespace {

typedef std::vector<Filter> Words;

Words Words_of(const FilterList& list) {
    Words words;
    for (size_t channel = 0; channel < list.Channels(); ++channel) words.push_back(list[channel]);
    return words;
}

const int workers = 3, iterations = 1000;
std::atomic<int> faults, calls;
FilterList* toggle;

// Uses filter lists with both filter mutexes held, and flips a word under the
// lock so that the next Changed() finds a change again.
void Copy_and_toggle(const FilterList& master) {
    FilterList copy(master);
    copy[copy.Channels()] = 0x1;
    if (copy.Channels() != master.Channels() + 1) ++faults;
    (*toggle)[0] ^= 0x1;
    ++calls;
}

// Words are written only before the threads start or with the filter-list
// mutex held (inside a callback): a plain word write is not locked, so it
// would race with Changed() reading every list on another thread.
void Work(const FilterList& source) {
    for (int i = 0; i < iterations; ++i) {
        FilterList a(source), b(1 + i % 5);
        (void)a[8 + i % 3];  // grows the list
        b = a;
        if (b != a || b.Channels() != 9 + static_cast<size_t>(i % 3) || b[0] != source[0]) ++faults;
        if (i % 4 == 0) FilterList::Changed();
    }
}

// An application's own callback class: the channel counts it was given.
struct Channel_watch : FilterChangeCallback_base {
    std::vector<size_t> seen;
    void Do_Callback(const FilterList& master) override { seen.push_back(master.Channels()); }
};
}  // namespace

TEST(FilterList, WordsChecksGrowthAndCopies) {
    FilterList list(4);
    EXPECT_EQ(Words_of(list), Words(4, 0));
    EXPECT_FALSE(list.Check(~Filter(0)) || list.Check(~Filter(0), 3));
    EXPECT_TRUE(list.Check(0, 4));  // beyond the list: admitted whatever the words
    list[1] = 0x80000000;
    EXPECT_TRUE(list.Check(0x80000001) && list.Check(0x80000000, 1));
    EXPECT_FALSE(list.Check(0x7fffffff) || list.Check(0x80000000, 0));
    list[4] = 0x2;  // one past the end: one channel more
    list[6] = 0x8;  // further out: the words in between are 0
    EXPECT_EQ(Words_of(list), (Words{0, 0x80000000, 0, 0, 0x2, 0, 0x8}));
    EXPECT_EQ(static_cast<const FilterList&>(list)[100], 0x8u);  // beyond the end: the last word

    // Copies have words of their own; assignment takes count and words.
    FilterList copy(list), other(7);
    copy[0] = 0x1;
    EXPECT_NE(copy, list);
    EXPECT_NE(other, FilterList(6));  // same words, other channel count
    other = copy;
    const FilterList& same = other;
    other = same;  // assigning a list to itself changes nothing
    EXPECT_EQ(other, copy);
    EXPECT_EQ(Words_of(other), (Words{0x1, 0x80000000, 0, 0, 0x2, 0, 0x8}));

    // A list of no channels is allowed and never reads a word of its own.
    const FilterList empty(0);
    EXPECT_TRUE(!empty.Check(~Filter(0)) && empty.Check(0, 0) && empty[3] == 0);
    other = empty;
    other[2] = 0x4;
    EXPECT_EQ(Words_of(other), (Words{0, 0, 0x4}));
}

// The master list never narrows, and earlier tests (or runs) may have widened
// it: its width comes from the first call, and the widening is checked beyond.
// A change callback of the application's own class is called alike while it
// is linked, and not after it is gone.
TEST(FilterList, ChangedComputesMasterAndNotifies) {
    static std::vector<Words> masters;  // as given to the change callbacks
    masters.clear();
    FilterChangeCallback callback([](const FilterList& master) { masters.push_back(Words_of(master)); });
    {
        Linked_callback<Channel_watch> watch;
        FilterList a(4), b(4), wide(0);
        a[0] = 0x1;
        b[0] = 0x4;
        FilterList::Changed();
        FilterList::Changed();  // nothing changed: no call
        ASSERT_EQ(masters.size(), 1u);
        Words expected(std::max<size_t>(masters[0].size(), 4), 0);
        expected[0] = 0x5;
        EXPECT_EQ(masters[0], expected);
        wide[expected.size() + 1] = 0x20;
        FilterList::Changed();
        expected.insert(expected.end(), {0, 0x20});
        EXPECT_EQ(masters.back(), expected);
        EXPECT_EQ(watch.seen, (std::vector<size_t>{masters[0].size(), expected.size()}));
    }
    FilterList::Changed();  // destroyed lists count until the next Changed()
    ASSERT_EQ(masters.size(), 3u);
    EXPECT_EQ(masters[2], Words(masters[1].size(), 0));
}

// Threads create, copy, grow, assign and destroy filter lists and call
// FilterList::Changed() while change callbacks come, go and run (the CI script
// also runs this under ThreadSanitizer). The run is kept well under a second
// so that few contended waits reach the one-second lock deadline and print.
TEST(FilterThreads, ListsAndCallbacksUnderContention) {
    faults = calls = 0;
    FilterList toggle_list(1);
    toggle = &toggle_list;
    FilterChangeCallback resident(Copy_and_toggle);
    std::atomic<bool> stop(false);
    std::thread churn([&stop] {  // callbacks come and go while Changed() runs
        while (!stop) FilterChangeCallback passing([](const FilterList&) {});
    });
    std::vector<FilterList> sources(workers, FilterList(1));
    std::vector<std::thread> threads;
    for (int number = 0; number < workers; ++number) sources[number][0] = Filter(2) << number;
    for (const FilterList& source : sources) threads.emplace_back(Work, std::cref(source));
    for (std::thread& thread : threads) thread.join();
    stop = true;
    churn.join();
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(calls, workers * iterations / 4);  // every Changed() saw the toggled word
}
