#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/descriptor.h"
#include "station/options.h"
#include "station/watch.h"

namespace station {

// The folder that stands in for the Mac's root folder: registry captures, device nodes, driver
// tools, state files. Whoever runs the tool can read what is in it, whatever the operator's umask.
// Its functions throw std::system_error.
//
// 1. It is one station's alone: a lock on the folder, held as long as the object lives, refuses the
//    next station and tells the tool that this one is there.
// 2. With the object the device nodes go, wherever the folder is by then. A temporary folder goes
//    with all that is in it, even while a driver tool is writing there or descriptors are used up.
class Root {
  public:
    // Makes a temporary folder, or uses and keeps `directory`. Throws std::runtime_error when
    // another station is at work there.
    explicit Root(const std::string& directory);
    ~Root();
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    // `ports` are the names of the modules' serial ports; the callout devices are /dev/cu.NAME.
    // Throws std::invalid_argument as well, when a capture is none.
    void fill(const Options& options, const std::vector<std::string>& ports);

    const std::filesystem::path& path() const { return path_; }
    // Whether it is still there, at its path.
    bool exists() const;

    // Puts a device node in place at once, in the place of the one that is there.
    void linkDevice(const std::string& name, const std::filesystem::path& target) const;
    // Does what can fail about it ahead of time: linkDevice() with the same target is a mere rename
    // then.
    void prepareDevice(const std::string& name, const std::filesystem::path& target) const;
    void unlinkDevice(const std::string& name) const;
    bool hasDevice(const std::string& name) const;

    void writeState(const std::string& name, std::string_view text) const;

    bool driverLoaded() const;
    // Whether the driver's state was written since this was asked before: by the driver tools,
    // which make a new file of it each time.
    bool driverWasWritten();
    // Whether it may have been, as far as the host tells without a look at the file.
    bool driverMayHaveChanged() const { return !watch_ || watch_.hasHappened(); }
    // Ready to read once it may have been; -1 where the host cannot tell, and the station has to
    // look around.
    int watchDescriptor() const { return watch_.descriptor(); }

  private:
    using WrittenFile = std::pair<ino_t, std::filesystem::file_time_type>;

    void take(const std::string& directory);
    bool isAtItsPath() const;
    void unlinkDevices() const;
    void remove();
    void writeRegistry(const Options& options, const std::vector<std::string>& ports) const;
    void removeUnusualLogs() const;
    // A text, or the buffer of another stream.
    template <typename Content>
    void writeFile(const std::string& name, const Content& content,
                   std::filesystem::perms mode = std::filesystem::perms{0644}) const;

    const bool temporary_;
    std::filesystem::path path_;  // absolute, without symbolic links
    Descriptor folder_;           // the folder itself, locked; never empty after the constructor
    // Of a temporary folder: its removal takes descriptors when there may be none. Given back then.
    std::vector<Descriptor> reserve_;
    Watch watch_;                  // of the state folder; set by fill()
    WrittenFile driverFile_ = {};  // the driver's state; set by driverWasWritten()
};

}  // namespace station
