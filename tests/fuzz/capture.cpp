// The capture loader. The input is a capture, or "#" and a byte for each piece of one, as a change
// to a byte of XML seldom leaves XML.
#include <unistd.h>

#include <iterator>

#include "discovery/registry_services.h"
#include "platform/simulated/capture.h"
#include "platform/simulated/registry_model.h"
#include "platform/simulated/registry_path.h"
#include "platform/simulated/simulated_values.h"
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
    "<key>IOServiceState</key>", "<string>1D,0</string>",
};
// clang-format on

static void readProperties(const simulated::Model& model, const simulated::EntryRecord& entry) {
    for (const char* name : {"idProduct", "IOCalloutDevice", "IORegistryEntryID"}) {
        const property::Value value = simulated::capturedProperty(model, entry, name);
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
    static const int fd = fileno(tmpfile());
    static const std::string path = "/dev/fd/" + std::to_string(fd);
    const ssize_t written = pwrite(fd, content.data(), content.size(), 0);
    require(ftruncate(fd, written) == 0 && lseek(fd, 0, SEEK_SET) == 0, "a file");
    simulated::Model model;
    std::string problem;
    const bool loaded = simulated::loadCapture(&model, 0, path, &problem);
    require(loaded == problem.empty(), "a refusal says why");
    for (const simulated::EntryRecord& entry : model.entries) readProperties(model, entry);
    for (const std::string& way : {content, std::string("n@1d/@1D,00/n/")}) {
        const std::uint32_t node = simulated::findNode(model, model.planes[0], way.c_str());
        require(node == simulated::kNone || node < model.planes[0].nodes.size(), "a node or none");
    }
    require(simulated::LiveValues() == 0, "no value is left");
    return 0;
}
