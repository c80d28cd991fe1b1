#include "platform/registry_scan.h"

static constexpr int kMaxRestarts = 100;

registry::Object NextEntry(RegistryScan* scan, bool* restarted) {
    *restarted = false;
    if (scan->iterator == 0) return 0;
    for (;;) {
        const registry::Object entry = registry::IteratorNext(scan->iterator);
        // An invalid iterator may hand out one last entry or none at all, so the
        // end of a scan counts only when the iterator is still valid.
        if (registry::IteratorIsValid(scan->iterator)) return entry;
        if (entry != 0) registry::ObjectRelease(entry);
        if (scan->restarts == kMaxRestarts) return 0;
        ++scan->restarts;
        *restarted = true;
        registry::IteratorReset(scan->iterator);
    }
}
