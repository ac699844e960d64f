// Static filter objects of an application, built during static initialisation.
#include "static_objects.hpp"

using namespace Tessel;

FilterList static_list(4);
Seen seen_at_start_up;

namespace {

struct At_start_up {
    At_start_up() {
        FilterList local(2);
        local[1] = 0x8;
        FilterList::Changed();
        seen_at_start_up = seen;
    }
} at_start_up;

}  // namespace
