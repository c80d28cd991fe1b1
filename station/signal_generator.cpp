#include "station/signal_generator.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "station/text.h"

namespace station {

static constexpr std::size_t kErrorQueueSize = 16;
static constexpr std::string_view kCommon =
    " *RST *CLS *IDN? *OPC? *ESR? SYST:ERR? ";  // no settings

// Words with their short forms, which are the names that this file uses.
static const std::map<std::string_view, std::string_view> kShortForms = {
    {"FREQUENCY", "FREQ"}, {"POWER", "POW"},  {"LEVEL", "LEV"},   {"FIXED", "FIX"},
    {"OUTPUT", "OUTP"},    {"STATE", "STAT"}, {"SOURCE", "SOUR"}, {"SYSTEM", "SYST"},
    {"DISPLAY", "DISP"},   {"UPDATE", "UPD"}, {"ERROR", "ERR"},
};

static const std::map<std::string_view, double> kUnits = {
    {"HZ", 1}, {"KHZ", 1e3}, {"MHZ", 1e6}, {"GHZ", 1e9}, {"DBM", 1}};

// The next part of `text` up to `separator`, which is taken off it, without blanks around it.
static std::string takePart(std::string_view* text, char separator) {
    const std::size_t end = text->find(separator);
    std::string_view part = text->substr(0, end);
    *text = end == std::string_view::npos ? "" : text->substr(end + 1);
    const std::size_t first = std::min(part.find_first_not_of(" \t"), part.size());
    part = part.substr(first, part.find_last_not_of(" \t") + 1 - first);
    return std::string(part);
}

// In capitals and short: "output1" is "OUTP".
static std::string shortForm(std::string_view text) {
    std::string word = inCapitals(text);
    if (word.size() > 1 && word.back() == '1') word.pop_back();
    const auto known = kShortForms.find(word);
    return known == kShortForms.end() ? word : std::string(known->second);
}

// The header with its optional words settled: ":source:power?" is "POW:LEV?".
static std::string headerOf(std::string_view text) {
    const bool isQuery = text.ends_with('?');
    if (isQuery) text.remove_suffix(1);
    if (text.starts_with(':')) text.remove_prefix(1);
    std::string header = shortForm(takePart(&text, ':'));
    if (header == "SOUR") header = shortForm(takePart(&text, ':'));
    while (!text.empty()) header += ":" + shortForm(takePart(&text, ':'));
    if (header == "POW") header += ":LEV";
    if (header == "OUTP") header += ":STAT";
    return isQuery ? header + "?" : header;
}

SignalGenerator::SignalGenerator(RfField* field) : field_(field) {
    reset();
    settings_ = {
        {"FREQ", {nullptr, &field->frequencyHz, 250e3, 3e9, "HZ", "%.0f"}},
        {"POW:LEV", {nullptr, &field->levelDbm, -140, 25, "DBM", "%.2f"}},
        {"POW:MODE", {}},  // fixed
        {"OUTP:STAT", {&field->output}},
        {"SYST:DISP:UPD", {&display_}},
    };
}

void SignalGenerator::reset() {
    *field_ = {.output = false, .frequencyHz = 100e6, .levelDbm = -30};
    display_ = true;
}

void SignalGenerator::raise(int code, const char* text) {
    constexpr int kCommandError = 32;
    constexpr int kExecutionError = 16;
    const std::string entry = std::to_string(code) + ",\"" + text + "\"";
    note("error queue: " + entry);
    events_ |= code > -200 ? kCommandError : kExecutionError;
    if (errors_.size() < kErrorQueueSize) {
        errors_.push_back(entry);
    } else {
        errors_.back() = "-350,\"Queue overflow\"";
    }
}

std::string SignalGenerator::valueOf(const Setting& setting) {
    if (setting.number != nullptr) return format(setting.pattern, *setting.number);
    if (setting.state != nullptr) return *setting.state ? "1" : "0";
    return "FIX";
}

void SignalGenerator::setNumber(const Setting& setting, const std::string& text) {
    char* end = nullptr;
    double number = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(number)) return raise(-104, "Data type error");
    std::string_view rest = end;
    std::string unit = shortForm(takePart(&rest, '\0'));
    if (unit.empty()) unit = setting.unit;
    const auto known = kUnits.find(unit);
    if (known == kUnits.end() || !unit.ends_with(setting.unit)) {
        return raise(-131, "Invalid suffix");
    }
    number *= known->second;
    if (number < setting.least || number > setting.most) return raise(-222, "Data out of range");
    *setting.number = number;
}

void SignalGenerator::set(const Setting& setting, const std::string& parameter) {
    if (setting.number != nullptr) return setNumber(setting, parameter);
    const std::string word = shortForm(parameter);
    const bool isOn = word == "ON" || parameter == "1";
    if (setting.state == nullptr ? word != "FIX" : !isOn && word != "OFF" && word != "0") {
        return raise(-224, "Illegal parameter value");
    }
    if (setting.state != nullptr) *setting.state = isOn;
}

std::string SignalGenerator::nextError() {
    if (errors_.empty()) return "0,\"No error\"";
    std::string entry = errors_.front();
    errors_.pop_front();
    return entry;
}

// The message's answer, empty for none.
std::string SignalGenerator::execute(std::string_view message) {
    const std::string header = headerOf(takePart(&message, ' '));
    const std::string parameter = takePart(&message, '\0');
    const bool isQuery = header.ends_with('?');
    const auto setting = settings_.find(header.substr(0, header.size() - (isQuery ? 1 : 0)));
    const bool isSetting = setting != settings_.end();
    if (!isSetting && kCommon.find(" " + header + " ") == std::string_view::npos) {
        raise(-113, "Undefined header");
    } else if (isSetting && !isQuery && parameter.empty()) {
        raise(-109, "Missing parameter");
    } else if (isSetting && !isQuery) {
        set(setting->second, parameter);
    } else if (!parameter.empty()) {
        raise(-108, "Parameter not allowed");
    } else if (isSetting) {
        return valueOf(setting->second);
    } else if (header == "*RST") {
        reset();
    } else if (header == "*CLS") {
        errors_.clear();
        events_ = 0;
    } else {
        if (header == "*IDN?") return "Tarnwick Instruments,SG-3000,100042,1.07";
        if (header == "*ESR?") return std::to_string(std::exchange(events_, 0));
        return header == "*OPC?" ? "1" : nextError();
    }
    return "";
}

std::vector<Answer> SignalGenerator::receive(std::string_view line) {
    std::string answers;
    while (!line.empty()) {
        const std::string message = takePart(&line, ';');
        if (message.empty()) continue;
        const std::string answer = execute(message);
        if (!answer.empty()) answers += (answers.empty() ? "" : ";") + answer;
    }
    if (answers.empty()) return {};
    return {{answers + "\n"}};
}

std::string SignalGenerator::state() const {
    return std::string("output=") + (field_->output ? "on" : "off") + "\n" +
           format("frequency=%.0f Hz\n", field_->frequencyHz) +
           format("level=%.2f dBm\n", field_->levelDbm) + "display=" + (display_ ? "on" : "off") +
           "\n" + "errors=" + std::to_string(errors_.size()) + "\n";
}

}  // namespace station
