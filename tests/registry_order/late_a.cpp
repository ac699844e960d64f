// Descriptors built after the registry's root: a grandchild before its
// parents (which late_b.cpp builds), duplicates, and paths that are not
// registered.
#include "descriptors.hpp"

using Tessel::Info;

const Info<void> late_d("/late/a/b/d");
const Info<void> late_dup_first("/late_dup");
const Info<void> late_dup_second("/late_dup");
const Info<void> deep_early_a("/deep_early/a");
const Info<void> cancelled_top("/cancelled");
const Info<void> gap_b("/gap//b");
const Info<void> gap_top("/gap");
const Info<void> relative("relative");
const Info<void> slash_only("/");
const Info<void> empty_name("/empty/");
