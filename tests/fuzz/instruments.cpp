// What the station understands. The input: a line with a module's description, or "generator", then
// a command a line.
#include <stdexcept>

#include "station/module.h"
#include "station/module_spec.h"
#include "station/signal_generator.h"
#include "station/text.h"
#include "tests/fuzz/fuzz_target.h"

using namespace station;

static DescribedModule describedBy(const std::string& text) {
    try {
        return parseModule(text);
    } catch (const std::invalid_argument&) {
        return {};
    }
}

static void command(const std::vector<std::string>& lines) {
    RfField field;
    SignalGenerator generator(&field);
    for (std::size_t index = 1; index < lines.size(); ++index) {
        if (lines[index].empty()) continue;
        const auto answers = generator.receive(lines[index]);
        require(answers.size() <= 1, "a message has one answer at most");
        for (const Answer& answer : answers) {
            require(answer.bytes.find('\n') == answer.bytes.size() - 1, "an answer is one line");
        }
        require(field.frequencyHz >= 250e3 && field.frequencyHz <= 3e9, "a frequency is in range");
        require(field.levelDbm >= -140 && field.levelDbm <= 25, "a level is in range");
        require(split(generator.state(), "\n").size() == 6, "a state has five lines");
    }
}

static void ask(const std::vector<std::string>& lines) {
    const auto [spec, lineSpec] = describedBy(lines[0]);
    const RfField field = {.output = true, .frequencyHz = 947.4e6, .levelDbm = -50};
    Module module(spec, 1, field);
    for (std::size_t index = 1; index < lines.size(); ++index) {
        const std::string& line = lines[index];
        if (line.empty()) continue;
        const auto answers = receiveWithFault(lineSpec.fault, &module, line);
        require(answers.size() <= 2, "an answer has two pieces at most");
        if (lineSpec.fault.kind == FaultKind::kNone) {
            const bool taken = inCapitals(line).starts_with("AT");
            require(answers.size() == (taken ? 1 : 0), "what begins with AT is answered");
            require(!taken || answers[0].bytes.empty() || answers[0].bytes.ends_with('\n') ||
                        answers[0].bytes.ends_with('\r'),
                    "an answer is whole lines");
        }
        require(split(module.state(), "\n").size() == 10, "a state has nine lines");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> lines = split(textOf(data, size), "\r\n");
    if (lines[0] == "generator") {
        command(lines);
    } else {
        ask(lines);
    }
    return 0;
}
