// The whole program, every operation of it, against a module that replies anything. The input has
// parts with bars between them: the modules, the command line, the statuses of the driver tools,
// then the replies, as in
//     /dev/cu.wwanCMD19=8232 /dev/cu.wwanCMD29=0019|-r 1 3 62 0|0|AT...
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "cli/dispatcher.h"
#include "discovery/module_table.h"
#include "platform/simulated/simulated_registry.h"
#include "tests/fuzz/fuzz_host.h"
#include "tests/fuzz/fuzz_target.h"

static void addModule(const std::string& word) {
    const std::vector<std::string> parts = split(word + "=", "=");
    const auto id = static_cast<std::int32_t>(std::strtoul(parts[1].c_str(), nullptr, 16));
    for (const char* className : {"IOSerialBSDClient", "OrvelWWANSupport"}) {
        const auto entry =
            simulated::AddEntry(registry::kServicePlane, simulated::kRoot, {"entry", className});
        simulated::SetProperty(entry, "IOCalloutDevice",
                               property::CreateString(parts[0].c_str(), property::kMacRoman));
        simulated::SetProperty(entry, "idProduct", property::CreateNumber(property::kInt32, &id));
    }
}

// What `action` prints goes to `*output`.
static int printed(const std::function<int()>& action, std::string* output) {
    char* text = nullptr;
    std::size_t length = 0;
    FILE* const saved = std::exchange(stdout, open_memstream(&text, &length));
    const int result = action();
    fclose(std::exchange(stdout, saved));
    output->assign(text, length);
    free(text);
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> parts = split(textOf(data, size), "|");
    parts.resize(std::max(parts.size(), std::size_t{3}));
    simulated::ClearRegistry();
    for (const std::string& word : split(parts[0], " ")) addModule(word);
    std::vector<std::string> words = split("Tarnwick " + parts[1], " ");
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    optind = 0;  // getopt starts anew
    gCardModel = 0;
    std::string output;
    const FarEnd farEnd = {{parts.begin() + 3, parts.end()}, parts[2]};
    const int status = runAtFarEnd(farEnd, [&] {
        return printed(
            [&] { return RunTarnwick(static_cast<int>(words.size()), arguments.data()); }, &output);
    });
    require(status >= 0 && status <= 12, "an exit status is one of those that stations know");
    require(output.find('\0') == std::string::npos, "what is printed is text");
    const auto says = [&](const char* text) { return output.find(text) != std::string::npos; };
    require(status == 0 || says("ERROR: ") || says("WARNING: ") || says("Usage") ||
                says("VerifyArguments() returns error"),
            "a failure is explained");
    require(simulated::LiveObjects() == 0 && simulated::Misuses() == 0, "no object is left");
    simulated::ClearRegistry();
    require(simulated::LiveValues() == 0, "no value is left");
    return 0;
}
