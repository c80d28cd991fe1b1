#include "station/watch.h"

#ifdef __linux__
#include <sys/inotify.h>
#endif

#include <cstdint>
#include <cstring>
#include <utility>

namespace station {

#ifdef __linux__

Watch::Watch() : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

bool Watch::add(const std::string& path, std::uint32_t events, Handler handler) {
    const int watch = inotify_add_watch(descriptor_.get(), path.c_str(), events);
    if (watch == -1) return false;
    handlers_[watch] = std::move(handler);
    return true;
}

bool Watch::users(const std::string& path, Handler handler) {
    return add(path, IN_OPEN | IN_MODIFY | IN_CLOSE, std::move(handler));
}

bool Watch::folder(const std::string& path, Handler handler) {
    return add(path, IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR, std::move(handler));
}

void Watch::dispatch() {
    alignas(inotify_event) char events[4096];
    for (;;) {
        const ssize_t count = read(descriptor_.get(), events, sizeof events);
        if (count <= 0) return;
        for (const char* next = events; next < events + count;) {
            inotify_event event;
            memcpy(&event, next, sizeof event);
            next += sizeof event + event.len;
            const auto known = handlers_.find(event.wd);
            if (known == handlers_.end()) continue;
            if ((event.mask & IN_IGNORED) != 0) {
                handlers_.erase(known);
                continue;
            }
            const Handler handler = known->second;
            if ((event.mask & IN_OPEN) != 0) handler(Event::kOpened);
            if ((event.mask & IN_MODIFY) != 0) handler(Event::kWritten);
            if ((event.mask & IN_CLOSE) != 0) handler(Event::kClosed);
            if ((event.mask & IN_MOVED_TO) != 0) handler(Event::kReplaced);
            if ((event.mask & (IN_DELETE_SELF | IN_MOVE_SELF)) != 0) handler(Event::kGone);
        }
    }
}

#else

Watch::Watch() = default;
bool Watch::add(const std::string&, std::uint32_t, Handler) {
    return false;
}
bool Watch::users(const std::string&, Handler) {
    return false;
}
bool Watch::folder(const std::string&, Handler) {
    return false;
}
void Watch::dispatch() {}

#endif

}  // namespace station
