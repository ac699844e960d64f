// Descriptors and filter objects built before the registry's root. The library
// is initialised before the executable's static objects, so these are built by
// a function in the executable's pre-initialisation array, which runs before
// any shared library's initialisers. The filter objects are also used from an
// exit handler registered there, which runs after the library's static
// destructors: the library builds its filter statics on first use and never
// destroys them, and its chain heads are constant-initialised.
#include "XML/XML_filters.hpp"
#include "descriptors.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <tuple>

using namespace Tessel;

namespace {

const char* const early_paths[early_count] = {"/early/child",    "/early",      "/early_dup", "/early_dup",
                                              "/deep_early/a/b", "/deep_early", "/orphan/x"};
alignas(Info<void>) unsigned char slots[early_count][sizeof(Info<void>)];
alignas(Item_info) unsigned char item_slot[sizeof(Item_info)];

// What the early change callback saw last (calls, channels, word of channel 1)
// and what it had seen by the end of the pre-initialisation; constant-initialised.
std::tuple<int, size_t, Filter> seen, seen_early;
alignas(FilterList) unsigned char list_storage[sizeof(FilterList)];
alignas(FilterChangeCallback) unsigned char callback_storage[sizeof(FilterChangeCallback)];
FilterList* early_list;
FilterChangeCallback* early_callback;

void Build_early() {
    for (int i = 0; i < early_count; ++i) new (slots[i]) Info<void>(early_paths[i]);
    new (item_slot) Item_info("/items/item", item_rows);  // the rows are not built yet
    // Queued and cancelled before root services the queue: "/cancelled" is
    // built later and must not get it.
    Info<void> cancelled("/cancelled/x");

    early_callback = new (callback_storage) FilterChangeCallback([](const FilterList& master) {
        seen = {std::get<0>(seen) + 1, master.Channels(), master[1]};
    });
    {
        FilterList wide(6);  // widens the master list to 6 channels for good
        wide[1] = 0x2;
        FilterList::Changed();
    }
    seen_early = seen;
    early_list = new (list_storage) FilterList(4);
    atexit([] {
        early_list->~FilterList();
        FilterList::Changed();
        early_callback->~FilterChangeCallback();
    });
}

__attribute__((section(".preinit_array"), used)) void (*const build_early)() = Build_early;

// Destroys the early descriptors with the executable's statics, while the
// library's root still exists.
struct Teardown {
    ~Teardown() {
        std::launder(reinterpret_cast<Item_info*>(item_slot))->~Item_info();
        for (int i = early_count - 1; i >= 0; --i) Early(Early_id(i)).~Info();
    }
} teardown;

}  // namespace

const Info<void>& Early(Early_id id) { return *std::launder(reinterpret_cast<const Info<void>*>(slots[id])); }

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
