#include "station/signal_generator.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace station {
namespace {

constexpr double kLowestHz = 250e3;
constexpr double kHighestHz = 3e9;
constexpr double kLowestDbm = -140;
constexpr double kHighestDbm = 25;
constexpr std::size_t kErrorQueueSize = 16;

std::string upper(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    return result;
}

std::string_view trim(std::string_view text) {
    const auto isBlank = [](char byte) { return byte == ' ' || byte == '\t'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

// The next part of `text` up to `separator`, which is taken off it.
std::string_view takePart(std::string_view* text, char separator) {
    const std::size_t end = text->find(separator);
    const std::string_view part = text->substr(0, end);
    *text = end == std::string_view::npos ? "" : text->substr(end + 1);
    return part;
}

// Whether `word` is the node's long form, or its short one: the capitals. A node may be numbered 1.
bool isNode(std::string_view word, std::string_view node) {
    std::string wanted = upper(word);
    if (wanted.size() > 1 && wanted.back() == '1') wanted.pop_back();
    std::string shortForm;
    for (const char byte : node) {
        if (std::isupper(static_cast<unsigned char>(byte)) != 0) shortForm.push_back(byte);
    }
    return wanted == upper(node) || wanted == shortForm;
}

// Whether the header matches a pattern such as "[SOURce:]FREQuency[:CW]", given as nodes parted by
// colons, optional ones in round brackets: "(SOURce):FREQuency:(CW)".
bool matches(std::string_view header, std::string_view pattern) {
    if (header.empty()) {
        while (!pattern.empty()) {
            if (takePart(&pattern, ':').front() != '(') return false;
        }
        return true;
    }
    if (pattern.empty()) return false;
    std::string_view node = takePart(&pattern, ':');
    const bool optional = node.front() == '(';
    if (optional) node = node.substr(1, node.size() - 2);
    std::string_view rest = header;
    if (isNode(takePart(&rest, ':'), node) && matches(rest, pattern)) return true;
    return optional && matches(header, pattern);
}

// The factor of a frequency's unit.
std::optional<double> unitFactor(std::string_view unit) {
    const std::string name = upper(unit);
    if (name.empty() || name == "HZ") return 1;
    if (name == "KHZ") return 1e3;
    if (name == "MHZ") return 1e6;
    if (name == "GHZ") return 1e9;
    return std::nullopt;
}

std::string format(const char* pattern, double number) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, number);
    return text;
}

enum Form { kSet, kQuery, kEvent };  // an event takes no parameter

}  // namespace

struct SignalGenerator::Command {
    std::string_view pattern;
    Form form;
    void (*run)(SignalGenerator& generator, std::string_view parameter, std::string* answer);
};

const SignalGenerator::Command SignalGenerator::kCommands[] = {
    {"*RST", kEvent, [](SignalGenerator& generator, auto, auto*) { generator.reset(); }},
    {"*CLS", kEvent, [](SignalGenerator& generator, auto, auto*) { generator.errors_.clear(); }},
    {"*IDN", kQuery,
     [](SignalGenerator&, auto, std::string* answer) {
         *answer = "Tarnwick Instruments,SG-3000,100042,1.07";
     }},
    {"*OPC", kQuery, [](SignalGenerator&, auto, std::string* answer) { *answer = "1"; }},
    {"SYSTem:ERRor:(NEXT)", kQuery,
     [](SignalGenerator& generator, auto, std::string* answer) {
         *answer = generator.nextError();
     }},
    {"SYSTem:DISPlay:UPDate", kSet,
     [](SignalGenerator& generator, std::string_view parameter, auto*) {
         generator.takeSwitch(parameter, &generator.display_);
     }},
    {"SYSTem:DISPlay:UPDate", kQuery,
     [](SignalGenerator& generator, auto, std::string* answer) {
         *answer = generator.display_ ? "1" : "0";
     }},
    {"(SOURce):FREQuency:(CW)", kSet,
     [](SignalGenerator& generator, std::string_view parameter, auto*) {
         generator.takeNumber(parameter, true, kLowestHz, kHighestHz,
                              &generator.field_->frequencyHz);
     }},
    {"(SOURce):FREQuency:(CW)", kQuery,
     [](SignalGenerator& generator, auto, std::string* answer) {
         *answer = format("%.0f", generator.field_->frequencyHz);
     }},
    {"(SOURce):POWer:MODE", kSet,
     [](SignalGenerator& generator, std::string_view parameter, auto*) {
         if (!isNode(parameter, "FIXed")) generator.raise(-224, "Illegal parameter value");
     }},
    {"(SOURce):POWer:MODE", kQuery,
     [](SignalGenerator&, auto, std::string* answer) { *answer = "FIX"; }},
    {"(SOURce):POWer:(LEVel)", kSet,
     [](SignalGenerator& generator, std::string_view parameter, auto*) {
         generator.takeNumber(parameter, false, kLowestDbm, kHighestDbm,
                              &generator.field_->levelDbm);
     }},
    {"(SOURce):POWer:(LEVel)", kQuery,
     [](SignalGenerator& generator, auto, std::string* answer) {
         *answer = format("%.2f", generator.field_->levelDbm);
     }},
    {"OUTPut:(STATe)", kSet,
     [](SignalGenerator& generator, std::string_view parameter, auto*) {
         generator.takeSwitch(parameter, &generator.field_->output);
     }},
    {"OUTPut:(STATe)", kQuery,
     [](SignalGenerator& generator, auto, std::string* answer) {
         *answer = generator.field_->output ? "1" : "0";
     }},
};

void SignalGenerator::reset() {
    *field_ = {.output = false, .frequencyHz = 100e6, .levelDbm = -30};
    display_ = true;
}

void SignalGenerator::raise(int code, std::string_view text) {
    const std::string entry = std::to_string(code) + ",\"" + std::string(text) + "\"";
    note("error queue: " + entry);
    if (errors_.size() < kErrorQueueSize) {
        errors_.push_back(entry);
    } else {
        errors_.back() = "-350,\"Queue overflow\"";
    }
}

std::string SignalGenerator::nextError() {
    if (errors_.empty()) return "0,\"No error\"";
    std::string entry = errors_.front();
    errors_.pop_front();
    return entry;
}

bool SignalGenerator::takeSwitch(std::string_view parameter, bool* target) {
    const std::string word = upper(parameter);
    if (word != "ON" && word != "OFF" && word != "1" && word != "0") {
        raise(-224, "Illegal parameter value");
        return false;
    }
    *target = word == "ON" || word == "1";
    return true;
}

bool SignalGenerator::takeNumber(std::string_view parameter, bool isFrequency, double low,
                                 double high, double* target) {
    const std::string text(parameter);
    char* end = nullptr;
    double number = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(number)) {
        raise(-104, "Data type error");
        return false;
    }
    const std::string_view unit = trim(end);
    const bool isLevelUnit = unit.empty() || upper(unit) == "DBM";
    const auto factor = isFrequency   ? unitFactor(unit)
                        : isLevelUnit ? std::optional(1.0)
                                      : std::nullopt;
    if (!factor) {
        raise(-131, "Invalid suffix");
        return false;
    }
    number *= *factor;
    if (number < low || number > high) {
        raise(-222, "Data out of range");
        return false;
    }
    *target = number;
    return true;
}

void SignalGenerator::execute(std::string_view message, std::string* answer) {
    std::string_view parameter = message;
    std::string_view header = takePart(&parameter, ' ');
    parameter = trim(parameter);
    if (header.starts_with(':')) header.remove_prefix(1);
    const bool isQuery = header.ends_with('?');
    if (isQuery) header.remove_suffix(1);
    for (const Command& command : kCommands) {
        if ((command.form == kQuery) != isQuery || !matches(header, command.pattern)) continue;
        if (command.form == kSet && parameter.empty()) return raise(-109, "Missing parameter");
        if (command.form != kSet && !parameter.empty()) return raise(-108, "Parameter not allowed");
        return command.run(*this, parameter, answer);
    }
    raise(-113, "Undefined header");
}

std::vector<Answer> SignalGenerator::receive(std::string_view line) {
    std::string answers;
    while (!line.empty()) {
        const std::string_view message = trim(takePart(&line, ';'));
        if (message.empty()) continue;
        std::string answer;
        execute(message, &answer);
        if (!answer.empty()) answers += (answers.empty() ? "" : ";") + answer;
    }
    if (answers.empty()) return {};
    return {{answers + "\n"}};
}

std::string SignalGenerator::state() const {
    std::string text = std::string("output=") + (field_->output ? "on" : "off") + "\n";
    text += format("frequency=%.0f Hz\n", field_->frequencyHz);
    text += format("level=%.2f dBm\n", field_->levelDbm);
    text += std::string("display=") + (display_ ? "on" : "off") + "\n";
    text += "errors=" + std::to_string(errors_.size()) + "\n";
    return text;
}

}  // namespace station
