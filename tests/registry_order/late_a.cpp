// Descriptors built after the registry's root: a grandchild before its
// parents (which late_b.cpp builds), duplicates, the parent of an early
// descriptor and that of a cancelled entry.
#include "descriptors.hpp"

using Tessel::Info;

const Info<void> late_d("/late/a/b/d");
const Info<void> late_dup_first("/late_dup");
const Info<void> late_dup_second("/late_dup");
const Info<void> deep_early_a("/deep_early/a");
const Info<void> cancelled_top("/cancelled");

const Info<void> items_top("/items");
const Tessel::Subelement_table<Item> item_rows[2] = {{Tessel::Subelement(&Item::n, "n")},
                                                     {Tessel::Subelement(&Item::m, "m", "%X")}};
std::string items_read;
bool Item_info::Commit(Item& item, Tessel::Input_data&) const {
    return items_read += std::to_string(item.n) + " " + std::to_string(item.m) + " ", true;
}
