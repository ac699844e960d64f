// Filter objects built before the shared libraries' static constructors run,
// the library's included, and used after the library's static destructors
// have run.
//
// A function in the executable's pre-initialisation array runs before any
// shared library's initialisers. An exit handler registered there runs after
// every static destructor registered later, such as the library's. The
// library copes because it builds its filter statics on first use and never
// destroys them (see XML_filters.hpp): FilterList::master() and the two
// filter mutexes are created by the first constructor or Changed() that needs
// them, here the ones below, and the chain heads are constant-initialised.
#include "static_objects.hpp"

#include <cstdlib>
#include <new>

using namespace Tessel;

Seen seen;
FilterList* early_list;

namespace {

alignas(FilterList) unsigned char list_storage[sizeof(FilterList)];
alignas(FilterChangeCallback) unsigned char callback_storage[sizeof(FilterChangeCallback)];
FilterChangeCallback* early_callback;

void Record(const FilterList& master) {
    ++seen.calls;
    seen.channels = master.Channels();
    seen.channel_1 = master[1];
}

void Destroy_late() {
    early_list->~FilterList();
    FilterList::Changed();
    early_callback->~FilterChangeCallback();
}

void Build_early(int, char**, char**) {
    early_callback = new (callback_storage) FilterChangeCallback(Record);
    {
        // Widens the master list to 6 channels for good.
        FilterList wide(6);
        wide[1] = 0x2;
        FilterList::Changed();
    }
    early_list = new (list_storage) FilterList(4);
    atexit(Destroy_late);
}

__attribute__((section(".preinit_array"), used)) void (*const build_early)(int, char**, char**) =
    Build_early;

}  // namespace
