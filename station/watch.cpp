#include "station/watch.h"

#include <unistd.h>
#ifdef __linux__
#include <sys/inotify.h>
#endif

#include <cstdlib>
#include <string_view>

namespace station {

#ifdef __linux__

Watch Watch::of(const std::string& path, unsigned events) {
    const char* lookAround = getenv("TARNWICK_LOOK_AROUND");
    Watch watch;
    if (lookAround != nullptr && lookAround == std::string_view("yes")) return watch;
    Descriptor descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (inotify_add_watch(descriptor.get(), path.c_str(), events) == -1) return watch;
    watch.events_ = std::move(descriptor);
    return watch;
}

Watch Watch::ofOpens(const std::string& path) {
    return of(path, IN_OPEN);
}

Watch Watch::ofFolder(const std::string& path) {
    return of(path, IN_MOVED_TO | IN_DELETE_SELF | IN_ONLYDIR);
}

#else

Watch Watch::ofOpens(const std::string& /*path*/) {
    return {};
}

Watch Watch::ofFolder(const std::string& /*path*/) {
    return {};
}

#endif

bool Watch::hasHappened() const {
    bool result = false;
    char events[4096];
    while (events_ && read(events_.get(), events, sizeof events) > 0) result = true;
    return result;
}

}  // namespace station
