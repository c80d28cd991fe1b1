#include "station/watch.h"

#ifdef __linux__
#include <sys/inotify.h>
#endif

#include <cstdint>

namespace station {

Descriptor watchFolder([[maybe_unused]] const std::string& folder) {
#ifdef __linux__
    Descriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    constexpr std::uint32_t kEvents = IN_MOVED_TO | IN_DELETE_SELF | IN_ONLYDIR;
    if (watch && inotify_add_watch(watch.get(), folder.c_str(), kEvents) != -1) return watch;
#endif
    return {};
}

bool takeChanges(const Descriptor& watch) {
    char events[4096];
    bool changed = false;
    while (read(watch.get(), events, sizeof events) > 0) changed = true;
    return changed;
}

}  // namespace station
