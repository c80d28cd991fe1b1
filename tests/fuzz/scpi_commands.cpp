// The station's signal generator. The input: a message a line.
#include "station/signal_generator.h"
#include "tests/fuzz/fuzz_target.h"

using namespace station;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    RfField field;
    SignalGenerator generator(&field);
    for (const std::string& line : split(textOf(data, size), "\r\n")) {
        if (line.empty()) continue;
        const auto answers = generator.receive(line);
        require(answers.size() <= 1, "a message has one answer at most");
        for (const Answer& answer : answers) {
            require(answer.bytes.find('\n') == answer.bytes.size() - 1, "an answer is one line");
        }
        require(field.frequencyHz >= 250e3 && field.frequencyHz <= 3e9, "a frequency is in range");
        require(field.levelDbm >= -140 && field.levelDbm <= 25, "a level is in range");
        require(split(generator.state(), "\n").size() == 6, "a state has five lines");
    }
    return 0;
}
