// Descriptors of the registration-order test, defined in several translation
// units: some built before the registry's root, the others after it.
#ifndef TESSEL_TEST_REGISTRY_DESCRIPTORS_HPP
#define TESSEL_TEST_REGISTRY_DESCRIPTORS_HPP

#include "XML/XML_info.hpp"

// Built before `root`, in this order.
enum Early_id {
    early_child,       // "/early/child", before its parent
    early_top,         // "/early"
    early_dup_first,   // "/early_dup"
    early_dup_second,  // "/early_dup" again
    deep_early_b,      // "/deep_early/a/b"; "/deep_early/a" comes after root
    deep_early_top,    // "/deep_early"
    orphan_x,          // "/orphan/x"; "/orphan" never exists
    early_count
};
const Tessel::Info<void>& Early(Early_id id);
// True if the early descriptors were really built while `root` was not.
extern bool early_before_root;

// Built after `root` (late_a.cpp, late_b.cpp).
extern const Tessel::Info<void> late_d, late_a, late_top, late_b;
extern const Tessel::Info<void> late_dup_first, late_dup_second;
extern const Tessel::Info<void> deep_early_a, cancelled_top, gap_top, gap_b, relative, slash_only, empty_name;

#endif
