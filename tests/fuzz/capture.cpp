// The capture loader. The input is a capture, or "#" and a byte for each piece of one, as a change
// to a byte of XML seldom leaves XML.
#include <plist/plist.h>
#include <sys/mman.h>
#include <unistd.h>

#include <iterator>

#include "discovery/module_table.h"
#include "platform/simulated/registry_model.h"
#include "tests/fuzz/fuzz_target.h"

// clang-format off
static constexpr const char* kPieces[] = {
    "<dict>", "</dict>", "<array>", "</array>", "</array></dict>",
    "<key>IORegistryEntryChildren</key>", "<key>IORegistryEntryName</key>",
    "<key>IOObjectClass</key>", "<key>IORegistryEntryLocation</key>",
    "<key>IORegistryEntryID</key>", "<key>idProduct</key>", "<key>IOCalloutDevice</key>",
    "<string>n</string>", "<string>&#128246;&lt;</string>", "<string/>",
    "<integer>7</integer>", "<integer>-1</integer>", "<integer>18446744073709551615</integer>",
    "<real>1e300</real>", "<data>AAECAw==</data>", "<data/>", "<true/>", "<false/>", "<date/>",
};
// clang-format on

// The loader keeps its list as long as the program runs, which is too long for a fuzz target: the
// linker sends the loader's calls by way of here.
static plist_t list = nullptr;
extern "C" {
void __real_plist_from_xml(const char* content, std::uint32_t size, plist_t* parsed);
void __real_plist_from_bin(const char* content, std::uint32_t size, plist_t* parsed);
void __wrap_plist_from_xml(const char* content, std::uint32_t size, plist_t* parsed) {
    __real_plist_from_xml(content, size, parsed);
    list = *parsed;
}
void __wrap_plist_from_bin(const char* content, std::uint32_t size, plist_t* parsed) {
    __real_plist_from_bin(content, size, parsed);
    list = *parsed;
}
}

static void readProperties(void* captured) {
    require(plist_get_node_type(captured) == PLIST_DICT, "an entry is a dictionary");
    for (const char* name : {"idProduct", "IOCalloutDevice", "IORegistryEntryID"}) {
        const property::Value value = simulated::capturedProperty(captured, name);
        const bool isOther = property::KindOf(value) == property::Kind::kOther;
        char text[128] = {};
        TypeRefToString(value, text, sizeof text);
        if (isOther) property::Release(value);  // the one kind that is not released above
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string content = textOf(data, size);
    if (content.starts_with('#')) {
        content = "<plist>";
        for (std::size_t at = 1; at < size; ++at) content += kPieces[data[at] % std::size(kPieces)];
        content += "</plist>";
    }
    static const int fd = memfd_create("capture", 0);
    static const std::string path = "/dev/fd/" + std::to_string(fd);
    const ssize_t written = pwrite(fd, content.data(), content.size(), 0);
    require(ftruncate(fd, written) == 0, "a file");
    simulated::Model model;
    model.entries.emplace_back();
    const std::uint32_t plane = simulated::planeIndex(&model, registry::kServicePlane);
    const bool loaded = simulated::loadCapture(&model, plane, path.c_str(), false);
    require(loaded || model.entries.size() == 1, "a capture that is refused leaves no entries");
    for (const simulated::EntryRecord& entry : model.entries) {
        if (entry.captured != nullptr) readProperties(entry.captured);
    }
    plist_free(list);
    list = nullptr;
    require(simulated::LiveValues() == 0, "no value is left");
    return 0;
}
