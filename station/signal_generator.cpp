#include "station/signal_generator.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "station/text.h"

namespace station {

using Names = std::map<std::string_view, double>;

struct SignalGenerator::Setting {
    std::string_view header;
    // A switch's values by their words, or a number's factors by its units, "" for none.
    Names names;
    double initial, least, most;
    const char* pattern;  // of the answer to a query
};

static constexpr std::size_t kErrorQueueSize = 16;
static constexpr std::string_view kCommon = " *RST *CLS *IDN? *OPC? *ESR? SYST:ERR? ";

// Words with their short forms, which are the names that this file uses.
static const std::map<std::string_view, std::string_view> kShortForms = {
    {"FREQUENCY", "FREQ"}, {"POWER", "POW"},  {"LEVEL", "LEV"},   {"FIXED", "FIX"},
    {"OUTPUT", "OUTP"},    {"STATE", "STAT"}, {"SOURCE", "SOUR"}, {"SYSTEM", "SYST"},
    {"DISPLAY", "DISP"},   {"UPDATE", "UPD"}, {"ERROR", "ERR"},
};

static const Names kSwitch = {{"OFF", 0}, {"0", 0}, {"ON", 1}, {"1", 1}};
static const Names kHertz = {{"", 1}, {"HZ", 1}, {"KHZ", 1e3}, {"MHZ", 1e6}, {"GHZ", 1e9}};

const SignalGenerator::Setting SignalGenerator::kSettings[] = {
    {"FREQ", kHertz, 100e6, 250e3, 3e9, "%.0f"},
    {"POW:LEV", {{"", 1}, {"DBM", 1}}, -30, -140, 25, "%.2f"},
    {"POW:MODE", {{"FIX", 1}}, 1, 1, 1, "FIX"},
    {"OUTP:STAT", kSwitch, 0, 0, 1, "%.0f"},
    {"SYST:DISP:UPD", kSwitch, 1, 0, 1, "%.0f"},
};

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
}

void SignalGenerator::reset() {
    for (const Setting& setting : kSettings) values_[setting.header] = setting.initial;
    radiate();
}

void SignalGenerator::clear() {
    errors_.clear();
    events_ = 0;
}

void SignalGenerator::radiate() {
    *field_ = {values_["OUTP:STAT"] != 0, values_["FREQ"], values_["POW:LEV"]};
}

std::string SignalGenerator::raise(int code, const char* text) {
    errors_.push_back(std::to_string(code) + ",\"" + text + "\"");
    note("error queue: " + errors_.back());
    events_ |= code > -200 ? 32 : 16;  // a command error or an execution error
    if (errors_.size() > kErrorQueueSize) {
        errors_.resize(kErrorQueueSize);
        errors_.back() = "-350,\"Queue overflow\"";
    }
    return "";
}

std::string SignalGenerator::set(const Setting& setting, const std::string& text) {
    const bool isNumber = setting.names.contains("");
    char* end = nullptr;
    const double number = isNumber ? std::strtod(text.c_str(), &end) : 1;
    if (end == text.c_str() || !std::isfinite(number)) return raise(-104, "Data type error");
    std::string_view name = isNumber ? std::string_view(end) : text;
    const auto known = setting.names.find(shortForm(takePart(&name, '\0')));
    if (known == setting.names.end()) {
        return isNumber ? raise(-131, "Invalid suffix") : raise(-224, "Illegal parameter value");
    }
    const double value = number * known->second;
    if (value < setting.least || value > setting.most) return raise(-222, "Data out of range");
    values_[setting.header] = value;
    radiate();
    return "";
}

std::string SignalGenerator::execute(std::string_view message) {
    const std::string header = headerOf(takePart(&message, ' '));
    const std::string parameter = takePart(&message, '\0');
    const bool isQuery = header.ends_with('?');
    const std::string name = header.substr(0, header.size() - (isQuery ? 1 : 0));
    const auto* setting = std::find_if(std::begin(kSettings), std::end(kSettings),
                                       [&](const Setting& known) { return known.header == name; });
    const bool isSetting = setting != std::end(kSettings);
    const bool isKnown = isSetting || kCommon.find(" " + header + " ") != kCommon.npos;
    const bool takesParameter = isSetting && !isQuery;
    if (!isKnown) return raise(-113, "Undefined header");
    if (takesParameter && parameter.empty()) return raise(-109, "Missing parameter");
    if (!takesParameter && !parameter.empty()) return raise(-108, "Parameter not allowed");
    if (takesParameter) return set(*setting, parameter);
    if (isSetting) return format(setting->pattern, values_[setting->header]);
    if (header == "*IDN?") return "Tarnwick Instruments,SG-3000,100042,1.07";
    if (header == "*ESR?") return std::to_string(std::exchange(events_, 0));
    if (header == "*OPC?") return "1";
    if (header == "*RST") reset();
    if (header == "*CLS") clear();
    if (header != "SYST:ERR?") return "";
    if (errors_.empty()) return "0,\"No error\"";
    std::string entry = errors_.front();
    errors_.pop_front();
    return entry;
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
    const auto isOn = [this](const char* header) { return values_.at(header) != 0 ? "on" : "off"; };
    return format("output=%s\n", isOn("OUTP:STAT")) +
           format("frequency=%.0f Hz\n", field_->frequencyHz) +
           format("level=%.2f dBm\n", field_->levelDbm) +
           format("display=%s\n", isOn("SYST:DISP:UPD")) + format("errors=%zu\n", errors_.size());
}

}  // namespace station
