#include "station/registry_capture.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "platform/simulated/capture.h"

namespace station {
namespace {

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
constexpr const char* kTail = "</plist>\n";

// Entries with the same id are one, so each plane has its own ids, and there are none beside a
// capture: it may be the plane of another station.
constexpr std::uint64_t kNoIds = 0;
constexpr std::uint64_t kFirstServiceId = 0x7A0000000;
constexpr std::uint64_t kFirstDeviceTreeId = 0x7B0000000;

std::string key(const std::string& name, const std::string& value) {
    return "<key>" + name + "</key>" + value + "\n";
}
std::string text(const std::string& value) {
    return "<string>" + value + "</string>";
}
std::string integer(std::uint64_t value) {
    return "<integer>" + std::to_string(value) + "</integer>";
}

// Writes entries, with ids from the first one on if there is one.
class Writer {
  public:
    explicit Writer(std::uint64_t firstId) : nextId_(firstId) {}

    std::string entry(const std::string& name, const std::string& className,
                      const std::string& properties, const std::string& children = "") {
        std::string result = "<dict>\n" + key("IORegistryEntryName", text(name)) +
                             key("IOObjectClass", text(className)) + properties;
        if (nextId_ != kNoIds) result += key("IORegistryEntryID", integer(nextId_++));
        if (!children.empty()) {
            result += key("IORegistryEntryChildren", "<array>\n" + children + "</array>");
        }
        return result + "</dict>\n";
    }

    std::string serialPort(const std::string& name) {
        return entry("IOSerialBSDClient", "IOSerialBSDClient",
                     key("IOTTYDevice", text(name)) +
                         key("IOCalloutDevice", text("/dev/cu." + name)) +
                         key("IODialinDevice", text("/dev/tty." + name)));
    }

    // A path begins below the root's first child, so the station's entries stand there.
    std::string root(const std::string& entries) {
        const std::string machine = entry("Station", "IOPlatformExpertDevice",
                                          key("model", text("Simulated,Station")), entries);
        return entry("Root", "IORegistryEntry", "", machine);
    }

    std::string module(const RootContent::Port& port) {
        const std::string id = key("idProduct", integer(port.productId));
        return entry("WWAN Module", "IOUSBDevice", id,
                     entry("OrvelWWANSupport", "OrvelWWANSupport", id, serialPort(port.name)));
    }

  private:
    std::uint64_t nextId_;
};

}  // namespace

std::string servicePlane(const RootContent& content) {
    Writer writer(content.capture.empty() ? kFirstServiceId : kNoIds);
    std::string entries = writer.serialPort("Bluetooth-Incoming-Port");
    for (const RootContent::Port& port : content.ports) entries += writer.module(port);
    return kHead + writer.root(entries) + kTail;
}

std::string deviceTreePlane() {
    Writer writer(kFirstDeviceTreeId);
    const std::string chosen = writer.entry("chosen", "IOService", key("boot-args", text("")));
    const std::string processor = writer.entry("PR00", "IOACPIPlatformDevice", "");
    return kHead + writer.root(chosen + processor) + kTail;
}

std::vector<std::string> capturedCallouts(const std::string& capture) {
    std::vector<std::string> callouts;
    std::string problem;
    if (!simulated::readCallouts(capture, &callouts, &problem)) {
        throw std::invalid_argument(problem);
    }
    return callouts;
}

std::string freePortName(const RootContent& content) {
    constexpr int kFirstPort = 19;
    constexpr int kPortStep = 10;
    const auto isTaken = [&](const std::string& name) {
        const std::vector<std::string>& callouts = content.callouts;
        return std::find(callouts.begin(), callouts.end(), "/dev/cu." + name) != callouts.end() ||
               std::any_of(content.ports.begin(), content.ports.end(),
                           [&](const RootContent::Port& port) { return port.name == name; });
    };
    int number = kFirstPort;
    while (isTaken("wwanCMD" + std::to_string(number))) number += kPortStep;
    return "wwanCMD" + std::to_string(number);
}

}  // namespace station
