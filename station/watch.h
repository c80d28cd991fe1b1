#pragma once

#include <functional>
#include <map>
#include <string>

#include "station/descriptor.h"

namespace station {

// Tells when files are opened, closed, replaced or removed, where the host can tell (Linux).
class Watch {
  public:
    Watch();

    enum class Event { kOpened, kWritten, kClosed, kReplaced, kGone };
    using Handler = std::function<void(Event event)>;

    // Watches a device node for users, or a folder for files moved into it and for its removal.
    // False when the host cannot. Adding a path again replaces its handler.
    bool users(const std::string& path, Handler handler);
    bool folder(const std::string& path, Handler handler);

    int descriptor() const { return descriptor_.get(); }
    // Calls the handlers of what has happened.
    void dispatch();

  private:
    bool add(const std::string& path, std::uint32_t events, Handler handler);

    Descriptor descriptor_;
    std::map<int, Handler> handlers_;
};

}  // namespace station
