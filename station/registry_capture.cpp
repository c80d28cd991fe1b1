#include "station/registry_capture.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "platform/simulated/capture.h"

namespace station {

static constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
static constexpr const char* kTail = "</plist>\n";

// Entries with the same id are one, so each plane has its own ids, and there are none beside a
// capture: it may be the plane of another station.
static constexpr std::uint64_t kNoIds = 0;
static constexpr std::uint64_t kFirstServiceId = 0x7A0000000;
static constexpr std::uint64_t kFirstDeviceTreeId = 0x7B0000000;

static std::string key(const std::string& name, const std::string& value) {
    return "<key>" + name + "</key><string>" + value + "</string>\n";
}
static std::string key(const std::string& name, std::uint64_t value) {
    return "<key>" + name + "</key><integer>" + std::to_string(value) + "</integer>\n";
}

namespace {

// Writes entries, with ids from the first one on if there is one.
class Writer {
  public:
    explicit Writer(std::uint64_t firstId) : nextId_(firstId) {}

    std::string entry(const std::string& name, const std::string& className,
                      const std::string& properties, const std::string& children = "") {
        std::string result = "<dict>\n" + key("IORegistryEntryName", name) +
                             key("IOObjectClass", className) + properties;
        if (nextId_ != kNoIds) result += key("IORegistryEntryID", nextId_++);
        if (!children.empty()) {
            result += "<key>IORegistryEntryChildren</key><array>\n" + children + "</array>\n";
        }
        return result + "</dict>\n";
    }

    std::string serialPort(const std::string& name) {
        return entry("IOSerialBSDClient", "IOSerialBSDClient",
                     key("IOTTYDevice", name) + key("IOCalloutDevice", "/dev/cu." + name) +
                         key("IODialinDevice", "/dev/tty." + name));
    }

    // A path begins below the root's first child, so the station's entries stand there.
    std::string root(const std::string& entries) {
        const std::string machine =
            entry("Station", "IOPlatformExpertDevice", key("model", "Simulated,Station"), entries);
        return entry("Root", "IORegistryEntry", "", machine);
    }

    std::string module(std::uint32_t productId, const std::string& port) {
        const std::string id = key("idProduct", productId);
        return entry("WWAN Module", "IOUSBDevice", id,
                     entry("OrvelWWANSupport", "OrvelWWANSupport", id, serialPort(port)));
    }

  private:
    std::uint64_t nextId_;
};

}  // namespace

std::string servicePlane(const Options& options, const std::vector<std::string>& ports) {
    Writer writer(options.capture.empty() ? kFirstServiceId : kNoIds);
    std::string entries = writer.serialPort("Bluetooth-Incoming-Port");
    for (std::size_t index = 0; index < ports.size(); ++index) {
        entries += writer.module(options.modules[index].productId, ports[index]);
    }
    return kHead + writer.root(entries) + kTail;
}

std::string deviceTreePlane() {
    Writer writer(kFirstDeviceTreeId);
    const std::string chosen = writer.entry("chosen", "IOService", key("boot-args", ""));
    const std::string processor = writer.entry("PR00", "IOACPIPlatformDevice", "");
    return kHead + writer.root(chosen + processor) + kTail;
}

std::vector<std::string> portNames(const Options& options) {
    constexpr int kFirstPort = 19;
    constexpr int kPortStep = 10;
    std::vector<std::string> taken;
    std::string problem;
    if (!options.capture.empty() && !simulated::readCallouts(options.capture, &taken, &problem)) {
        throw std::invalid_argument(problem);
    }
    std::vector<std::string> names;
    for (int number = kFirstPort; names.size() < options.modules.size(); number += kPortStep) {
        const std::string name = "wwanCMD" + std::to_string(number);
        if (std::ranges::find(taken, "/dev/cu." + name) == taken.end()) names.push_back(name);
    }
    return names;
}

}  // namespace station
