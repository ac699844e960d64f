// Filter objects that the application defines in the other translation units
// of this program, and what they saw while being built.
#ifndef TESSEL_TEST_STATIC_OBJECTS_HPP
#define TESSEL_TEST_STATIC_OBJECTS_HPP

#include "XML/XML_filters.hpp"

// Built before the library's static constructors run (early.cpp).
extern Tessel::FilterList* early_list;
// An ordinary namespace-scope object (static_objects.cpp).
extern Tessel::FilterList static_list;

// What the early change callback saw last; zero-initialised, so valid before
// any constructor runs.
struct Seen {
    int calls;
    size_t channels;
    Tessel::Filter channel_1;
};
extern Seen seen;
extern Seen seen_at_start_up;

#endif
