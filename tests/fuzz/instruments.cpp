// What the station understands. The input: a line with a module's description, or "generator", then
// a command a line; a module's line is sent its bytes as they are, too.
#include <memory>
#include <stdexcept>

#include "station/instrument_session.h"
#include "station/module.h"
#include "station/module_spec.h"
#include "station/signal_generator.h"
#include "station/text.h"
#include "tests/fuzz/fuzz_target.h"

using namespace station;

namespace {

struct User : Wire {
    std::size_t write(std::string_view bytes) override { return bytes.size(); }
    void hangUp() override {}
    void note(char mark, std::string_view text) override {
        require(mark != '>' || (!text.empty() && text.find_first_of("\r\n") == text.npos),
                "a command is a line");
    }
    termios settings() const override { return {}; }
};

}  // namespace

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

static void write(const DescribedModule& described, std::string_view bytes) {
    const RfField field;
    InstrumentLine line{std::make_unique<Module>(described.module, 1, field), described.line, 0};
    User user;
    InstrumentSession session(&user, line);
    for (const char& byte : bytes) {
        session.receive({&byte, 1});
        session.advance(Clock::now());
    }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    const std::vector<std::string> lines = split(text, "\r\n");
    if (lines[0] == "generator") {
        command(lines);
    } else {
        ask(lines);
        write(describedBy(lines[0]), text);
    }
    return 0;
}
