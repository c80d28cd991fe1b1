#include "station/registry_capture.h"

#include <plist/plist.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace station {
namespace {

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n";
constexpr const char* kTail = "</plist>\n";

// Ids far above those that a Mac gives out, so that a capture's entries keep theirs; apart for each
// plane, as entries with the same id are one.
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

// Writes entries with ids of their own.
class Writer {
  public:
    explicit Writer(std::uint64_t firstId) : nextId_(firstId) {}

    std::string entry(const std::string& name, const std::string& className,
                      const std::string& properties, const std::string& children = "") {
        std::string result = "<dict>\n" + key("IORegistryEntryName", text(name)) +
                             key("IOObjectClass", text(className)) +
                             key("IORegistryEntryID", integer(nextId_++)) + properties;
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

    std::string module(const RootContent::Port& port) {
        const std::string id = key("idProduct", integer(port.productId));
        return entry("WWAN Module", "IOUSBDevice", id,
                     entry("OrvelWWANSupport", "OrvelWWANSupport", id, serialPort(port.name)));
    }

  private:
    std::uint64_t nextId_;
};

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file) throw std::invalid_argument(path + ": cannot be read");
    return content.str();
}

using List = std::unique_ptr<void, void (*)(plist_t)>;

List parse(const std::string& content) {
    plist_t list = nullptr;
    plist_from_memory(content.data(), static_cast<std::uint32_t>(content.size()), &list);
    return {list, plist_free};
}

// The capture with the entries of `own` beside its own.
std::string merge(const std::string& path, const std::string& own) {
    const List capture = parse(readFile(path));
    plist_t entries = capture.get();
    if (entries != nullptr && plist_get_node_type(entries) == PLIST_DICT) {
        plist_t children = plist_dict_get_item(entries, "IORegistryEntryChildren");
        if (children == nullptr) {
            children = plist_new_array();
            plist_dict_set_item(entries, "IORegistryEntryChildren", children);
        }
        entries = children;
    }
    if (entries == nullptr || plist_get_node_type(entries) != PLIST_ARRAY) {
        throw std::invalid_argument(path + ": not a registry capture");
    }
    const List added = parse(kHead + ("<array>\n" + own + "</array>\n") + kTail);
    for (std::uint32_t index = 0; index < plist_array_get_size(added.get()); ++index) {
        plist_array_append_item(entries, plist_copy(plist_array_get_item(added.get(), index)));
    }
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(capture.get(), &xml, &length);
    std::string result(xml, length);
    plist_to_xml_free(xml);
    return result;
}

}  // namespace

std::string servicePlane(const RootContent& content) {
    Writer writer(kFirstServiceId);
    std::string entries = writer.serialPort("Bluetooth-Incoming-Port");
    for (const RootContent::Port& port : content.ports) entries += writer.module(port);
    if (!content.capture.empty()) return merge(content.capture, entries);
    return kHead + writer.entry("Root", "IORegistryEntry", "", entries) + kTail;
}

std::string deviceTreePlane() {
    Writer writer(kFirstDeviceTreeId);
    const std::string chosen = writer.entry("chosen", "IOService", key("boot-args", text("")));
    const std::string processor = writer.entry("PR00", "IOACPIPlatformDevice", "");
    const std::string tree =
        writer.entry("device-tree", "IOPlatformExpertDevice",
                     key("model", text("Simulated,Station")), chosen + processor);
    return kHead + writer.entry("Root", "IORegistryEntry", "", tree) + kTail;
}

}  // namespace station
