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
