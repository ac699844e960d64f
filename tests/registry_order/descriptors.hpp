// Descriptors of the registration-order test, defined in several translation
// units: some built before the registry's root, the others after it.
#pragma once

#include "XML/XML_info.hpp"

#include <string>

// Built before `root` (early.cpp), in this order: "/early/child", "/early",
// "/early_dup" twice, "/deep_early/a/b", "/deep_early", "/orphan/x".
enum Early_id { child, top, dup_1, dup_2, deep_b, deep_top, orphan_x, early_count };
const Tessel::Info<void>& Early(Early_id id);

// Built after `root`: late_a.cpp, then late_b.cpp.
extern const Tessel::Info<void> late_d, late_dup_first, cancelled_top, late_top;

// A typed descriptor built before `root` (early.cpp) over a row array that is
// built after it, in another unit (late_a.cpp), beneath a parent built after
// it too. Its Commit appends "n m " of every item to items_read.
struct Item {
    long n, m;
};
struct Item_info : Tessel::Info<Item> {
    using Tessel::Info<Item>::Info;
    bool Commit(Item& item, Tessel::Input_data&) const override;
};
extern const Tessel::Subelement_table<Item> item_rows[2];
extern std::string items_read;
