#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "station/descriptor.h"

namespace station {

// What the root is to hold.
struct RootContent {
    struct Port {
        std::string name;  // "wwanCMD19"; its callout device is /dev/cu.NAME
        std::uint32_t productId;
    };
    std::vector<Port> ports;
    std::string capture;                // a registry capture to serve on top of, or empty
    std::vector<std::string> callouts;  // the capture's callout devices
    double timeScale = 1;
    unsigned userId = 0;
    bool driverLoaded = false;
};

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

    void fill(const RootContent& content);

    const std::filesystem::path& path() const { return path_; }
    bool exists() const;
    // Puts a device node in place at once, in the place of the one that is there.
    void linkDevice(const std::string& name, const std::string& target) const;
    void unlinkDevice(const std::string& name) const;
    void writeState(const std::string& name, std::string_view text) const;
    bool driverLoaded() const;

  private:
    void unlinkDevices() const;
    void writeRegistry(const RootContent& content) const;
    void writeFile(const std::string& name, std::string_view text,
                   std::filesystem::perms mode = std::filesystem::perms{0644}) const;
    void writeTool(const std::string& name, std::string_view script) const;

    std::filesystem::path path_;
    bool temporary_;
    Descriptor lock_;
};

}  // namespace station
