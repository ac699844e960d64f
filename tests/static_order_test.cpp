// Filter objects built before any shared library's static constructors run
// (from the executable's pre-initialisation array) and used from an exit
// handler registered there, which runs after the library's static
// destructors. The library builds its filter statics on first use and never
// destroys them, and its chain heads are constant-initialised.
#include "XML/XML_filters.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <tuple>

using namespace Tessel;

namespace {

// What the early change callback saw last (calls, channels, word of channel 1)
// and what it had seen by the end of the pre-initialisation; constant-initialised.
std::tuple<int, size_t, Filter> seen, seen_early;

alignas(FilterList) unsigned char list_storage[sizeof(FilterList)];
alignas(FilterChangeCallback) unsigned char callback_storage[sizeof(FilterChangeCallback)];
FilterList* early_list;
FilterChangeCallback* early_callback;

void Record(const FilterList& master) { seen = {std::get<0>(seen) + 1, master.Channels(), master[1]}; }

void Destroy_late() {
    early_list->~FilterList();
    FilterList::Changed();
    early_callback->~FilterChangeCallback();
}

void Build_early(int, char**, char**) {
    early_callback = new (callback_storage) FilterChangeCallback(Record);
    {
        FilterList wide(6);  // widens the master list to 6 channels for good
        wide[1] = 0x2;
        FilterList::Changed();
    }
    seen_early = seen;
    early_list = new (list_storage) FilterList(4);
    atexit(Destroy_late);
}

__attribute__((section(".preinit_array"), used)) void (*const build_early)(int, char**, char**) = Build_early;

}  // namespace

TEST(StaticOrder, FilterObjectsBuiltBeforeAndUsedAfterTheLibrary) {
    // The change made before the library's static constructors reached the
    // early callback, and the early list is in the chain.
    EXPECT_EQ(seen_early, std::make_tuple(1, size_t{6}, Filter{0x2}));
    const int calls = std::get<0>(seen);
    const Filter word = (*early_list)[1] ^ 0x1;  // another word on every run
    (*early_list)[1] = word;
    FilterList::Changed();
    EXPECT_EQ(seen, std::make_tuple(calls + 1, size_t{6}, word));
    // At exit, a handler that runs after the library's static destructors
    // destroys a list and calls Changed(): a fault there fails this program
    // after main.
}
