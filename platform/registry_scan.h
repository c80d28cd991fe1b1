#pragma once

#include "platform/io_registry.h"

// One pass over a registry iterator that survives changes of the registry.
struct RegistryScan {
    registry::Object iterator;  // owned by whoever made it; 0 when nothing matched
    int restarts;               // 0 at the start
};

// The next entry, to be released by the caller, or 0 at the end. When the
// registry has invalidated the iterator it is reset, `*restarted` is set, and the
// entry returned is the first again: whatever the caller has collected is void.
// A registry that never comes to rest ends the scan after a bounded number of restarts.
registry::Object NextEntry(RegistryScan* scan, bool* restarted);
