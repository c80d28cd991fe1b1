#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "station/descriptor.h"
#include "station/options.h"
#include "station/watch.h"

namespace station {

// The folder that stands in for the Mac's root folder: registry captures, device nodes, driver
// tools, state files. It is one station's alone: a lock on the folder refuses the next. Whoever
// runs the tool can read what is in it, whatever the operator's umask. Throws std::runtime_error,
// or std::invalid_argument when a capture is none.
class Root {
  public:
    // Makes a temporary folder, which is removed with the object, or uses and keeps `directory`.
    explicit Root(const std::string& directory);
    ~Root();
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    // `ports` are the names of the modules' serial ports; the callout devices are /dev/cu.NAME.
    void fill(const Options& options, const std::vector<std::string>& ports);

    const std::filesystem::path& path() const { return path_; }
    bool exists() const;
    // Puts a device node in place at once, in the place of the one that is there.
    void linkDevice(const std::string& name, const std::filesystem::path& target) const;
    void unlinkDevice(const std::string& name) const;
    void writeState(const std::string& name, std::string_view text) const;
    bool driverLoaded() const;
    // Ready to read once the driver's state was written; -1 where the host cannot tell (all but
    // Linux) and the station has to look around.
    int watchDescriptor() const { return watch_.descriptor(); }
    // Whether it may have been written since this was asked before.
    bool driverMayHaveChanged() const { return !watch_ || watch_.hasHappened(); }

  private:
    void unlinkDevices() const;
    void writeRegistry(const Options& options, const std::vector<std::string>& ports) const;
    // A text, or the buffer of another stream.
    template <typename Content>
    void writeFile(const std::string& name, const Content& content,
                   std::filesystem::perms mode = std::filesystem::perms{0644}) const;

    std::filesystem::path path_;
    bool temporary_;
    Descriptor lock_;
    Watch watch_;  // of the state folder; set by fill()
};

}  // namespace station
