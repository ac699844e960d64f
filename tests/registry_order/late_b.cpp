// The parents of "/late/a/b/d", out of order.
#include "descriptors.hpp"

using Tessel::Info;

const Info<void> late_a("/late/a");
const Info<void> late_top("/late");
const Info<void> late_b("/late/a/b");
