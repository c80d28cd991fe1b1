#include "station/registry_capture.h"

#include <algorithm>
#include <stdexcept>

#include "platform/simulated/capture.h"

namespace station {

static std::string key(const std::string& name, const std::string& value) {
    return "<key>" + name + "</key><string>" + value + "</string>\n";
}

static std::string entry(const std::string& name, const std::string& className,
                         const std::string& properties, const std::string& children = "") {
    std::string result = "<dict>\n" + key("IORegistryEntryName", name) +
                         key("IOObjectClass", className) + properties;
    if (!children.empty()) {
        result += "<key>IORegistryEntryChildren</key><array>\n" + children + "</array>\n";
    }
    return result + "</dict>\n";
}

// A path begins below the root's first child, so the entries stand there.
static std::string plane(const std::string& entries) {
    const std::string machine =
        entry("Station", "IOPlatformExpertDevice", key("model", "Simulated,Station"), entries);
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n" +
           entry("Root", "IORegistryEntry", "", machine) + "</plist>\n";
}

static std::string serialPort(const std::string& name) {
    return entry("IOSerialBSDClient", "IOSerialBSDClient",
                 key("IOTTYDevice", name) + key("IOCalloutDevice", "/dev/cu." + name) +
                     key("IODialinDevice", "/dev/tty." + name));
}

std::string servicePlane(const std::vector<DescribedModule>& modules,
                         const std::vector<std::string>& ports) {
    std::string entries = serialPort("Bluetooth-Incoming-Port");
    for (std::size_t index = 0; index < ports.size(); ++index) {
        const std::string id = "<key>idProduct</key><integer>" +
                               std::to_string(modules[index].module.productId) + "</integer>\n";
        entries +=
            entry("WWAN Module", "IOUSBDevice", id,
                  entry("OrvelWWANSupport", "OrvelWWANSupport", id, serialPort(ports[index])));
    }
    return plane(entries);
}

std::string deviceTreePlane() {
    return plane(entry("chosen", "IOService", key("boot-args", "")) +
                 entry("PR00", "IOACPIPlatformDevice", ""));
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
        if (std::find(taken.begin(), taken.end(), "/dev/cu." + name) == taken.end())
            names.push_back(name);
    }
    return names;
}

}  // namespace station
