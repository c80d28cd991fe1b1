#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace station {

// What the root is to hold.
struct RootContent {
    struct Port {
        std::string name;  // "wwanCMD19"; its callout device is /dev/cu.NAME
        std::uint32_t productId;
    };
    std::vector<Port> ports;
    std::string capture;  // a registry capture to serve on top of, or empty
    double timeScale = 1;
    unsigned userId = 0;
    bool driverLoaded = false;
};

// The folder that stands in for the Mac's root folder: registry captures, device nodes, driver
// tools, state files. Throws std::system_error or std::invalid_argument.
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
    void writeFile(const std::filesystem::path& file, std::string_view text) const;
    void writeTool(const std::string& name, std::string_view script) const;

    std::filesystem::path path_;
    bool temporary_;
};

}  // namespace station
