// The station's command line. The input: a word a line; or, behind a line "host.conf", such a file.
#include <getopt.h>

#include <cstdio>
#include <stdexcept>

#include "platform/simulated/host_conf.h"
#include "station/options.h"
#include "tests/fuzz/fuzz_target.h"

using namespace station;

static void check(const Options& options, char** words, std::size_t count) {
    require(!options.modules.empty(), "there is a module");
    require(options.command > words && options.command <= words + count,
            "the command is the rest of the words");
    require(options.timeScale >= 0 && options.timeScale <= 1e6, "a time scale is in range");
    for (const DescribedModule& described : options.modules) {
        const auto& [module, line] = described;
        const std::size_t digits = module.family() == Family::kEvdo ? 8 : 15;
        require(module.id.empty() || module.id.size() == digits, "an identity has its length");
        require(module.loss >= 0 && module.busy >= 0 && line.chatter >= 0, "numbers are in range");
        require(module.firmware.find_first_of("\r\n") == std::string::npos,
                "a revision ends no line of an answer");
    }
}

static void readFile(std::string text) {
    FILE* const file = fmemopen(text.data(), text.size(), "r");
    const double scale = simulated::readHostConf(file).timeScale;
    fclose(file);
    require(scale >= 0 && scale < 4294967296.0, "a time scale is in range");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    if (text.starts_with("host.conf\n")) {
        readFile(text);
        return 0;
    }
    std::vector<std::string> lines = split("tarnwick-station\n" + text, "\n");
    std::vector<char*> words;
    words.reserve(lines.size() + 1);
    for (std::string& line : lines) words.push_back(line.data());
    words.push_back(nullptr);
    optind = 0;  // getopt starts anew
    try {
        check(parseOptions(static_cast<int>(lines.size()), words.data()), words.data(),
              lines.size());
    } catch (const std::invalid_argument& refusal) {
        require(std::string(refusal.what()).find('\'') != std::string::npos,
                "a refusal says what is refused");
    }
    return 0;
}
