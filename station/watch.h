#pragma once

#include <string>

#include "station/descriptor.h"

namespace station {

// Tells that something has happened to a file, where the host can tell: on Linux, unless the
// environment has TARNWICK_LOOK_AROUND=yes. Elsewhere the station has to look around.
class Watch {
  public:
    Watch() = default;

    // Tells of each open of the file.
    static Watch ofOpens(const std::string& path);
    // Tells of each file that was moved into the folder, and of the folder's removal.
    static Watch ofFolder(const std::string& path);

    explicit operator bool() const { return static_cast<bool>(events_); }
    // Ready to read once it has something to tell; -1 if it never has.
    int descriptor() const { return events_.get(); }
    // Whether something has happened since this was asked before.
    bool hasHappened() const;

  private:
    static Watch of(const std::string& path, unsigned events);

    Descriptor events_;  // empty: it cannot tell
};

}  // namespace station
