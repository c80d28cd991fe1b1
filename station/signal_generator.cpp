#include "station/signal_generator.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "station/text.h"

namespace station {

namespace {

// The bits of the event status register, and those of the status byte.
enum : int { kOperationComplete = 1, kDeviceError = 8, kExecutionError = 16, kCommandError = 32 };
enum : int { kErrorQueue = 4, kMessageAvailable = 16, kEventSummary = 32, kMasterSummary = 64 };

// A unit and its factor, or a word and the number that it stands for.
struct Word {
    std::string_view notation;
    double value;
};

using Words = std::vector<Word>;

}  // namespace

static constexpr std::size_t kErrorQueueSize = 16;
static constexpr const char* kBlanks = " \t\v\f";

static const Words kHertz = {{"HZ", 1}, {"KHZ", 1e3}, {"MHZ", 1e6}, {"GHZ", 1e9}};
static const Words kDbm = {{"DBM", 1}};
static const Words kSwitch = {{"OFF", 0}, {"0", 0}, {"ON", 1}, {"1", 1}};
static const Words kFixed = {{"FIXed", 0}};

static int rounded(double mask) {
    return static_cast<int>(std::lround(mask));
}

static std::string flag(bool on) {
    return on ? "1" : "0";
}

// A header in SCPI's notation: its short form is in capitals, and what stands in brackets may be
// left out. What a header has no function for does not exist: HEADER?, HEADER alone, or HEADER with
// a parameter.
struct SignalGenerator::Command {
    std::string_view header;
    std::string (*query)(SignalGenerator& generator) = nullptr;
    void (*act)(SignalGenerator& generator) = nullptr;
    void (*set)(SignalGenerator& generator, double value) = nullptr;
    // The parameter of `set`: one of the words, or else a number in its range, with a unit or none.
    Words words = {};
    Words units = {};
    double least = 0;
    double most = 0;
};

const SignalGenerator::Command SignalGenerator::kCommands[] = {
    {.header = "*CLS", .act = [](auto& generator) { generator.clear(); }},
    {.header = "*ESE",
     .query = [](auto& generator) { return std::to_string(generator.eventMask_); },
     .set = [](auto& generator, double mask) { generator.eventMask_ = rounded(mask); },
     .most = 255},
    {.header = "*ESR",
     .query = [](auto& generator) { return std::to_string(std::exchange(generator.events_, 0)); }},
    {.header = "*IDN",
     .query = [](auto&) { return std::string("Tarnwick Instruments,SG-3000,100042,1.07"); }},
    {.header = "*OPC",
     .query = [](auto&) { return std::string("1"); },
     .act = [](auto& generator) { generator.events_ |= kOperationComplete; }},
    {.header = "*RST", .act = [](auto& generator) { generator.settings_ = {}; }},
    {.header = "*SRE",
     .query = [](auto& generator) { return std::to_string(generator.serviceMask_); },
     .set = [](auto& generator,
               double mask) { generator.serviceMask_ = rounded(mask) & ~kMasterSummary; },
     .most = 255},
    {.header = "*STB",
     .query = [](auto& generator) { return std::to_string(generator.statusByte()); }},
    {.header = "*TST", .query = [](auto&) { return std::string("0"); }},
    {.header = "*WAI", .act = [](auto&) {}},

    {.header = "[SOURce]:FREQuency",
     .query = [](auto& generator) { return format("%.0f", generator.settings_.frequencyHz); },
     .set = [](auto& generator, double hertz) { generator.settings_.frequencyHz = hertz; },
     .units = kHertz,
     .least = 250e3,
     .most = 3e9},
    {.header = "[SOURce]:POWer:[LEVel]",
     .query = [](auto& generator) { return format("%.2f", generator.settings_.levelDbm); },
     .set = [](auto& generator, double dbm) { generator.settings_.levelDbm = dbm; },
     .units = kDbm,
     .least = -140,
     .most = 25},
    {.header = "[SOURce]:POWer:MODE",
     .query = [](auto&) { return std::string("FIX"); },
     .set = [](auto&, double) {},
     .words = kFixed},
    {.header = "OUTPut:[STATe]",
     .query = [](auto& generator) { return flag(generator.settings_.output); },
     .set = [](auto& generator, double on) { generator.settings_.output = on != 0; },
     .words = kSwitch},
    {.header = "SYSTem:DISPlay:UPDate",
     .query = [](auto& generator) { return flag(generator.settings_.display); },
     .set = [](auto& generator, double on) { generator.settings_.display = on != 0; },
     .words = kSwitch},
    {.header = "SYSTem:ERRor:[NEXT]",
     .query = [](auto& generator) { return generator.nextError(); }},
    {.header = "SYSTem:VERSion", .query = [](auto&) { return std::string("1999.0"); }},
};

static std::string_view trimmed(std::string_view text) {
    const std::size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

// Takes what stands before the first of the separators off the text, and the separator.
static std::string_view takePart(std::string_view* text, const char* separators) {
    const std::size_t end = text->find_first_of(separators);
    const std::string_view part = text->substr(0, end);
    *text = end == std::string_view::npos ? "" : text->substr(end + 1);
    return part;
}

// Whether the word is the short or the long form. A 1 behind it counts, as in OUTPUT1.
static bool isSpelled(std::string_view notation, std::string_view word) {
    if (word.size() > 1 && word.back() == '1') word.remove_suffix(1);
    const auto isSmall = [](unsigned char letter) { return std::islower(letter) != 0; };
    const auto end = std::find_if(notation.begin(), notation.end(), isSmall);
    const auto shortSize = static_cast<std::size_t>(end - notation.begin());
    return isSameWord(word, notation) || isSameWord(word, notation.substr(0, shortSize));
}

// Whether the header, from the root on, is one that the notation describes.
static bool isHeader(std::string_view notation, std::string_view header) {
    if (notation.empty()) return header.empty();
    std::string_view word = takePart(&notation, ":");
    if (word.starts_with('[')) {
        if (isHeader(notation, header)) return true;
        word = word.substr(1, word.size() - 2);
    }
    return !header.empty() && isSpelled(word, takePart(&header, ":")) && isHeader(notation, header);
}

static const Word* wordOf(const Words& words, std::string_view text) {
    const auto known = std::find_if(words.begin(), words.end(), [text](const Word& word) {
        return isSpelled(word.notation, text);
    });
    return known == words.end() ? nullptr : &*known;
}

// The header from the root on. `path` is what its words stand behind, and becomes what those of the
// next one do.
static std::string wholeHeader(std::string_view header, std::string* path) {
    if (header.starts_with('*')) return std::string(header);
    if (header.starts_with(':')) {
        header.remove_prefix(1);
        path->clear();
    }
    std::string whole = *path + std::string(header);
    *path = whole.substr(0, whole.rfind(':') + 1);
    return whole;
}

SignalGenerator::SignalGenerator(RfField* field) : field_(field) {
    radiate();
}

void SignalGenerator::radiate() {
    *field_ = {settings_.output, settings_.frequencyHz, settings_.levelDbm};
}

void SignalGenerator::clear() {
    errors_.clear();
    events_ = 0;
}

int SignalGenerator::statusByte() const {
    int status = errors_.empty() ? 0 : kErrorQueue;
    if (hasAnswer_) status |= kMessageAvailable;
    if ((events_ & eventMask_) != 0) status |= kEventSummary;
    if ((status & serviceMask_) != 0) status |= kMasterSummary;
    return status;
}

std::string SignalGenerator::nextError() {
    if (errors_.empty()) return "0,\"No error\"";
    std::string entry = std::move(errors_.front());
    errors_.pop_front();
    return entry;
}

std::string SignalGenerator::raise(int code, const char* text) {
    errors_.push_back(std::to_string(code) + ",\"" + text + "\"");
    note("error queue: " + errors_.back());
    events_ |= code > -200 ? kCommandError : kExecutionError;
    if (errors_.size() > kErrorQueueSize) {
        errors_.resize(kErrorQueueSize);
        errors_.back() = "-350,\"Queue overflow\"";
        events_ |= kDeviceError;
    }
    return "";
}

std::string SignalGenerator::setWord(const Command& command, std::string_view text) {
    const Word* word = wordOf(command.words, text);
    if (word == nullptr) return raise(-224, "Illegal parameter value");
    command.set(*this, word->value);
    return "";
}

std::string SignalGenerator::setNumber(const Command& command, const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(number)) return raise(-104, "Data type error");
    const std::string_view suffix = trimmed(end);
    const Word* unit = wordOf(command.units, suffix);
    if (!suffix.empty() && unit == nullptr) return raise(-131, "Invalid suffix");
    const double value = unit == nullptr ? number : number * unit->value;
    if (value < command.least || value > command.most) return raise(-222, "Data out of range");
    command.set(*this, value);
    return "";
}

std::string SignalGenerator::execute(std::string_view header, std::string_view parameter) {
    const bool isQuery = header.ends_with('?');
    if (isQuery) header.remove_suffix(1);
    const auto* command =
        std::find_if(std::begin(kCommands), std::end(kCommands), [&](const Command& known) {
            const bool exists =
                isQuery ? known.query != nullptr : known.act != nullptr || known.set != nullptr;
            return exists && isHeader(known.header, header);
        });
    if (command == std::end(kCommands)) return raise(-113, "Undefined header");
    const bool isSetting = !isQuery && command->set != nullptr;
    if (isSetting && parameter.empty()) return raise(-109, "Missing parameter");
    if (!isSetting && !parameter.empty()) return raise(-108, "Parameter not allowed");
    if (isQuery) return command->query(*this);
    if (isSetting) {
        return command->words.empty() ? setNumber(*command, std::string(parameter))
                                      : setWord(*command, parameter);
    }
    command->act(*this);
    return "";
}

std::vector<Answer> SignalGenerator::receive(std::string_view line) {
    std::string answers;
    std::string path;
    while (!line.empty()) {
        std::string_view message = trimmed(takePart(&line, ";"));
        if (message.empty()) continue;
        hasAnswer_ = !answers.empty();
        const std::string header = wholeHeader(takePart(&message, kBlanks), &path);
        const std::string answer = execute(header, trimmed(message));
        radiate();
        if (!answer.empty()) answers += (answers.empty() ? "" : ";") + answer;
    }
    if (answers.empty()) return {};
    return {{answers + "\n"}};
}

std::string SignalGenerator::state() const {
    const auto onOrOff = [](bool on) { return on ? "on" : "off"; };
    return format("output=%s\nfrequency=%.0f Hz\nlevel=%.2f dBm\ndisplay=%s\nerrors=%zu\n",
                  onOrOff(settings_.output), settings_.frequencyHz, settings_.levelDbm,
                  onOrOff(settings_.display), errors_.size());
}

}  // namespace station
