// Several threads create, copy, grow, assign and destroy filter lists and
// call FilterList::Changed() while change callbacks come, go and run; the
// callbacks themselves copy and change filter lists. Also run under
// ThreadSanitizer by the CI script.
#include "XML/XML_filters.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using namespace Tessel;

namespace {

const int workers = 4;
const int iterations = 5000;
const Filter toggle_bit = Filter(1) << workers;
const Filter known_bits = (toggle_bit << 1) - 1;

std::atomic<int> faults(0);
std::atomic<int> calls(0);

// Every master word holds only bits the test wrote.
void Inspect_master(const FilterList& master) {
    for (size_t channel = 0; channel < master.Channels(); ++channel)
        if (master[channel] & ~known_bits) ++faults;
    FilterList copy(master);
    copy[copy.Channels()] = ~known_bits;  // written under the lock, gone before it is released
    if (!copy.Check(~known_bits, static_cast<unsigned int>(master.Channels()))) ++faults;
    ++calls;
}

// Flips a word under the lock, so that the next Changed() finds a change and
// calls the callbacks again.
FilterList* toggle;
void Inspect_and_toggle(const FilterList& master) {
    Inspect_master(master);
    (*toggle)[0] ^= toggle_bit;
}

// Words are written only before the threads start or with the filter-list
// mutex held (inside a callback): a plain word write is not locked, so it
// would race with Changed() reading every list on another thread.
void Work(const FilterList& source) {
    for (int i = 0; i < iterations; ++i) {
        FilterList a(source);
        (void)a[8 + i % 3];  // grows the list
        FilterList b(1 + i % 5);
        b = a;
        if (b != a || b.Channels() != 9 + static_cast<size_t>(i % 3) || b[0] != source[0]) ++faults;
        if (!b.Check(source[0]) || b.Check(~source[0])) ++faults;
        if (i % 4 == 0) FilterList::Changed();
    }
}

// Registers and drops callbacks while the workers run Changed().
void Churn_callbacks(const std::atomic<bool>& stop) {
    while (!stop) {
        FilterChangeCallback passing(Inspect_master);
        std::this_thread::yield();
    }
}

}  // namespace

TEST(FilterThreads, ListsAndCallbacksUnderContention) {
    {
        FilterList toggle_list(1);
        toggle = &toggle_list;
        FilterChangeCallback resident(Inspect_and_toggle);
        std::atomic<bool> stop(false);
        std::thread churn(Churn_callbacks, std::cref(stop));
        std::vector<FilterList> sources(workers, FilterList(1));
        for (int number = 0; number < workers; ++number) sources[number][0] = Filter(1) << number;
        std::vector<std::thread> threads;
        for (const FilterList& source : sources) threads.emplace_back(Work, std::cref(source));
        for (std::thread& thread : threads) thread.join();
        stop = true;
        churn.join();
    }

    EXPECT_EQ(faults, 0);
    EXPECT_GT(calls, workers * iterations / 8);

    // The chain holds no trace of the lists the threads destroyed.
    static Filter last[3];
    FilterChangeCallback recorder([](const FilterList& master) { std::copy_n(&master[0], 3, last); });
    FilterList only(1);
    only[0] = 0x100;
    FilterList::Changed();
    EXPECT_EQ(last[0], 0x100u);
    EXPECT_EQ(last[1] | last[2], 0u);
}
