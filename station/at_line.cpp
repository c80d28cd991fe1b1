#include "station/at_line.h"

#include <algorithm>
#include <cctype>

#include "station/text.h"

namespace station {

static bool isCommandLine(std::string_view line) {
    return inCapitals(line.substr(0, 2)) == "AT";
}

static std::string take(std::string_view* commands, std::size_t size) {
    const std::string_view part = commands->substr(0, size);
    commands->remove_prefix(part.size());
    return std::string(part);
}

// A number that is left out is 0.
static std::string takeNumber(std::string_view* commands) {
    const std::string digits = take(commands, commands->find_first_not_of("0123456789"));
    return digits.empty() ? "0" : digits;
}

// A letter, maybe behind an ampersand, and a number, as in E1 and &F. Behind S stand a register's
// number and a sign, as in S3? and S0=1; all registers are alike.
static std::string takeBasicCommand(std::string_view* commands) {
    const std::string name = inCapitals(take(commands, commands->front() == '&' ? 2 : 1));
    const std::string number = takeNumber(commands);
    if (name != "S") return name + "=" + number;
    const std::string sign = take(commands, 1);
    return name + sign + (sign == "=" ? takeNumber(commands) : "");
}

// Reaches to the next semicolon outside of quotes.
static std::string takeExtendedCommand(std::string_view* commands) {
    bool quoted = false;
    std::size_t end = 0;
    for (; end < commands->size() && (quoted || (*commands)[end] != ';'); ++end) {
        if ((*commands)[end] == '"') quoted = !quoted;
    }
    return take(commands, end);
}

static std::string takeCommand(std::string_view* commands) {
    const unsigned char first = static_cast<unsigned char>(commands->front());
    return first == '&' || std::isalpha(first) != 0 ? takeBasicCommand(commands)
                                                    : takeExtendedCommand(commands);
}

std::vector<Answer> AtLine::receive(std::string_view line, const Execute& execute) {
    if (!isCommandLine(line)) return {};
    Answer answer{.bytes = echoOf(line)};
    std::string_view commands = line.substr(2);
    AtResult result;
    while (result.failure.empty()) {
        commands.remove_prefix(std::min(commands.find_first_not_of(" ;"), commands.size()));
        if (commands.empty()) break;
        result = run(takeCommand(&commands), execute);
        if (!result.text.empty()) answer.bytes += (words_ ? "\r\n" : "") + result.text + "\r\n";
        answer.delay += result.delay;
    }
    answer.bytes += resultCode(result.failure);
    return {answer};
}

std::vector<Answer> AtLine::reject(std::string_view line) const {
    if (!isCommandLine(line)) return {};
    return {{echoOf(line) + resultCode(kAtError)}};
}

void AtLine::reset() {
    echo_ = echoAtStart_;
    words_ = true;
    quiet_ = false;
}

AtResult AtLine::run(const std::string& command, const Execute& execute) {
    const struct {
        std::string_view name;
        bool* setting;
    } settings[] = {{"E=", &echo_}, {"V=", &words_}, {"Q=", &quiet_}};
    for (const auto& [name, setting] : settings) {
        if (!command.starts_with(name)) continue;
        const std::string value = command.substr(name.size());
        if (value != "0" && value != "1") return {.failure = kAtError};
        *setting = value == "1";
        return {};
    }
    return execute(command);
}

std::string AtLine::echoOf(std::string_view line) const {
    return echo_ ? std::string(line) + "\r" : "";
}

std::string AtLine::resultCode(std::string_view failure) const {
    if (quiet_) return "";
    if (words_) return "\r\n" + std::string(failure.empty() ? "OK" : failure) + "\r\n";
    return (failure.empty() ? "0" : failure == kAtError ? "4" : std::string(failure)) + "\r";
}

}  // namespace station
