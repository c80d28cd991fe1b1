// Stands in for libFuzzer in an ordinary build: feeds each file of a folder to the target, so that
// what was found once stays a test.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/fuzz/fuzz_target.h"

int main(int argc, char** argv) {
    int count = 0;
    for (const auto& file : std::filesystem::directory_iterator(argc > 1 ? argv[1] : ".")) {
        fprintf(stderr, "%s\n", file.path().c_str());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string input(std::istreambuf_iterator<char>(stream), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++count;
    }
    return count > 0 ? 0 : 1;
}
