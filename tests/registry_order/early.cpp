// Descriptors built before the registry's root. The library is initialised
// before the executable's static objects, so these are built by a function in
// the executable's pre-initialisation array, which runs before any shared
// library's initialisers.
#include "descriptors.hpp"

#include <new>

using Tessel::Info;

namespace {

const char* const early_paths[early_count] = {"/early/child",    "/early",      "/early_dup", "/early_dup",
                                              "/deep_early/a/b", "/deep_early", "/orphan/x"};
alignas(Info<void>) unsigned char slots[early_count][sizeof(Info<void>)];
alignas(Item_info) unsigned char item_slot[sizeof(Item_info)];

void Build_early() {
    for (int i = 0; i < early_count; ++i) new (slots[i]) Info<void>(early_paths[i]);
    new (item_slot) Item_info("/items/item", item_rows);  // the rows are not built yet
    // Queued and cancelled before root services the queue: "/cancelled" is
    // built later and must not get it.
    Info<void> cancelled("/cancelled/x");
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
