// ParseStringForLine against strtok_r, as which it cuts. The input has parts with bars between
// them: the index, the delimiters, the text.
#include <algorithm>
#include <cstring>

#include "serial/command_exchange.h"
#include "tests/fuzz/fuzz_target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> parts = split(textOf(data, size) + "||", "|");
    const int index = std::atoi(parts[0].c_str());
    const char* delimiters = parts[1].c_str();
    std::string copy = parts[2];
    char* rest = nullptr;
    const char* token = strtok_r(copy.data(), delimiters, &rest);
    for (int count = 1; token != nullptr && count != index; ++count) {
        token = strtok_r(nullptr, delimiters, &rest);
    }
    // Without a byte to spare, so that the address sanitizer notices one too many.
    std::vector<char> text(parts[2].c_str(), parts[2].c_str() + strlen(parts[2].c_str()) + 1);
    std::vector<char> line(std::max(text.size(), std::size_t{2}));
    ParseStringForLine(delimiters, text.data(), index, line.data());
    require(strcmp(line.data(), token != nullptr ? token : " ") == 0, "strtok_r finds the same");
    return 0;
}
