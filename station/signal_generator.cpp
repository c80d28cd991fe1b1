#include "station/signal_generator.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace station {
namespace {

constexpr std::size_t kErrorQueueSize = 16;

// Words with their short forms, which are the names that this file uses.
constexpr std::pair<std::string_view, std::string_view> kWords[] = {
    {"FREQUENCY", "FREQ"}, {"POWER", "POW"},  {"LEVEL", "LEV"},   {"FIXED", "FIX"},
    {"OUTPUT", "OUTP"},    {"STATE", "STAT"}, {"SOURCE", "SOUR"}, {"SYSTEM", "SYST"},
    {"DISPLAY", "DISP"},   {"UPDATE", "UPD"}, {"ERROR", "ERR"},
};

constexpr std::string_view kEvents[] = {"*RST", "*CLS"};
constexpr std::string_view kQueries[] = {"*IDN?", "*OPC?", "*ESR?", "SYST:ERR?"};
constexpr std::string_view kSettings[] = {"FREQ", "POW:LEV", "POW:MODE", "OUTP:STAT",
                                          "SYST:DISP:UPD"};

template <std::size_t size>
bool isOneOf(const std::string_view (&names)[size], std::string_view name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// The next part of `text` up to `separator`, which is taken off it, without blanks around it.
std::string takePart(std::string_view* text, char separator) {
    const std::size_t end = text->find(separator);
    std::string_view part = text->substr(0, end);
    *text = end == std::string_view::npos ? "" : text->substr(end + 1);
    const std::size_t first = std::min(part.find_first_not_of(" \t"), part.size());
    part = part.substr(first, part.find_last_not_of(" \t") + 1 - first);
    return std::string(part);
}

// In capitals and short: "output1" is "OUTP".
std::string shortForm(std::string word) {
    std::transform(word.begin(), word.end(), word.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    if (word.size() > 1 && word.back() == '1') word.pop_back();
    const auto* known = std::find_if(std::begin(kWords), std::end(kWords),
                                     [&](const auto& pair) { return pair.first == word; });
    return known == std::end(kWords) ? word : std::string(known->second);
}

// The header with its optional words settled: ":source:power?" is "POW:LEV?".
std::string headerOf(std::string_view text) {
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

std::string format(const char* pattern, double number) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, number);
    return text;
}

}  // namespace

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

std::string SignalGenerator::query(std::string_view header) {
    if (header == "*IDN?") return "Tarnwick Instruments,SG-3000,100042,1.07";
    if (header == "*OPC?") return "1";
    if (header == "*ESR?") return std::to_string(std::exchange(events_, 0));
    if (header == "FREQ?") return format("%.0f", field_->frequencyHz);
    if (header == "POW:LEV?") return format("%.2f", field_->levelDbm);
    if (header == "POW:MODE?") return "FIX";
    if (header == "OUTP:STAT?") return field_->output ? "1" : "0";
    if (header == "SYST:DISP:UPD?") return display_ ? "1" : "0";
    if (errors_.empty()) return "0,\"No error\"";
    std::string entry = errors_.front();
    errors_.pop_front();
    return entry;
}

void SignalGenerator::setSwitch(std::string_view word, bool* target) {
    if (word == "ON" || word == "1") {
        *target = true;
    } else if (word == "OFF" || word == "0") {
        *target = false;
    } else {
        raise(-224, "Illegal parameter value");
    }
}

void SignalGenerator::setNumber(const std::string& text, bool isFrequency, double least,
                                double most, double* target) {
    static constexpr std::pair<std::string_view, double> kUnits[] = {
        {"", 1}, {"HZ", 1}, {"KHZ", 1e3}, {"MHZ", 1e6}, {"GHZ", 1e9}};
    char* end = nullptr;
    double number = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(number)) return raise(-104, "Data type error");
    std::string_view rest = end;
    const std::string unit = shortForm(takePart(&rest, '\0'));
    const auto* known = std::find_if(std::begin(kUnits), std::end(kUnits),
                                     [&](const auto& pair) { return pair.first == unit; });
    const bool isLevel = !isFrequency && (unit.empty() || unit == "DBM");
    if (!isLevel && (!isFrequency || known == std::end(kUnits)))
        return raise(-131, "Invalid suffix");
    if (isFrequency) number *= known->second;
    if (number < least || number > most) return raise(-222, "Data out of range");
    *target = number;
}

void SignalGenerator::set(std::string_view header, std::string_view parameter) {
    const std::string word = shortForm(std::string(parameter));
    if (header == "FREQ") {
        setNumber(std::string(parameter), true, 250e3, 3e9, &field_->frequencyHz);
    } else if (header == "POW:LEV") {
        setNumber(std::string(parameter), false, -140, 25, &field_->levelDbm);
    } else if (header == "POW:MODE") {
        if (word != "FIX") raise(-224, "Illegal parameter value");
    } else {
        setSwitch(word, header == "OUTP:STAT" ? &field_->output : &display_);
    }
}

// The message's answer, empty for none.
std::string SignalGenerator::execute(std::string_view message) {
    std::string_view rest = message;
    const std::string header = headerOf(takePart(&rest, ' '));
    const std::string parameter = takePart(&rest, '\0');
    const bool isQuery = header.ends_with('?');
    const std::string_view name(header.data(), header.size() - (isQuery ? 1 : 0));
    const bool isSetting = isOneOf(kSettings, name);
    if (!isSetting && !isOneOf(kQueries, header) && !isOneOf(kEvents, header)) {
        raise(-113, "Undefined header");
    } else if (isSetting && !isQuery && parameter.empty()) {
        raise(-109, "Missing parameter");
    } else if (isSetting && !isQuery) {
        set(header, parameter);
    } else if (!parameter.empty()) {
        raise(-108, "Parameter not allowed");
    } else if (isQuery) {
        return query(header);
    } else if (header == "*RST") {
        reset();
    } else {
        errors_.clear();
        events_ = 0;
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
