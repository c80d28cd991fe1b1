#include "station/transcript.h"

#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "platform/simulated/station_root.h"
#include "station/descriptor.h"
#include "station/failure.h"
#include "station/text.h"

namespace station {

using std::chrono::milliseconds;

static constexpr std::size_t kLargestFile = std::size_t{64} << 20;
static constexpr std::string_view kDigits = "0123456789";
static constexpr std::string_view kMarks = "<>!";

static bool isPrintable(char byte) {
    return byte >= ' ' && byte <= '~';
}

static std::string escape(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        if (byte == '\r') {
            escaped += "\\r";
        } else if (byte == '\n') {
            escaped += "\\n";
        } else if (byte == '\\') {
            escaped += "\\\\";
        } else if (isPrintable(byte)) {
            escaped += byte;
        } else {
            escaped += format("\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        }
    }
    return escaped;
}

// The byte that the escape at the start of `text` stands for; the escape is taken away.
static char takeEscape(std::string_view* text) {
    const char letter = text->size() > 1 ? (*text)[1] : '\0';
    const std::string digits(text->substr(0, 4).substr(letter == 'x' ? 2 : 0));
    if (letter == 'x' && digits.size() == 2 &&
        digits.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos) {
        text->remove_prefix(4);
        return static_cast<char>(std::stoi(digits, nullptr, 16));
    }
    const std::size_t known = std::string_view("rn\\").find(letter);
    if (known == std::string_view::npos) refuse("an unknown escape", text->substr(0, 2));
    text->remove_prefix(2);
    return "\r\n\\"[known];
}

static std::string unescape(std::string_view text) {
    std::string bytes;
    while (!text.empty()) {
        if (text.front() == '\\') {
            bytes += takeEscape(&text);
        } else {
            bytes += text.front();
            text.remove_prefix(1);
        }
    }
    return bytes;
}

// Seconds with three decimals; of nine digits at most, so that every time fits.
static milliseconds parseTime(std::string_view text) {
    const std::size_t point = text.find('.');
    const std::string_view seconds = text.substr(0, point);
    const std::string_view rest = text.substr(std::min(seconds.size() + 1, text.size()));
    const std::string digits = std::string(seconds) + std::string(rest);
    if (seconds.empty() || seconds.size() > 9 || rest.size() != 3 ||
        digits.find_first_not_of(kDigits) != std::string::npos) {
        throw std::invalid_argument("it does not begin with a time in seconds, as 12.345 is");
    }
    return milliseconds(std::stoll(digits));
}

// The text up to the next blank; both are taken away.
static std::string_view takeWord(std::string_view* text) {
    const std::string_view word = text->substr(0, text->find(' '));
    text->remove_prefix(std::min(word.size() + 1, text->size()));
    return word;
}

std::string printRecord(const Record& record) {
    const double seconds = std::chrono::duration<double>(record.time).count();
    return format("%.3f", seconds) + " " + record.name + " " + record.mark + " " +
           escape(record.text);
}

Record parseRecord(std::string_view line) {
    if (!std::all_of(line.begin(), line.end(), isPrintable)) {
        throw std::invalid_argument("it has bytes that are not printable ASCII");
    }
    Record record;
    record.time = parseTime(takeWord(&line));
    record.name = takeWord(&line);
    if (record.name.empty()) throw std::invalid_argument("there is no name behind the time");
    if (line.size() < 2 || line[1] != ' ' || kMarks.find(line[0]) == std::string_view::npos) {
        throw std::invalid_argument("there is no mark, one of < > !, behind the name");
    }
    record.mark = line[0];
    record.text = unescape(line.substr(2));
    return record;
}

static std::string contentOf(const std::string& path) {
    const char* problem = "";
    const Descriptor file(simulated::openRegular(path.c_str(), &problem));
    if (!file) throw std::invalid_argument(problem);
    std::string content;
    char bytes[65536];
    for (;;) {
        const ssize_t count = read(file.get(), bytes, sizeof bytes);
        if (count == -1) throw std::invalid_argument(std::generic_category().message(errno));
        if (count == 0) return content;
        content.append(bytes, static_cast<std::size_t>(count));
        if (content.size() > kLargestFile) throw std::invalid_argument("larger than 64 MiB");
    }
}

void readTranscript(const std::string& path, const std::function<void(const Record&)>& take) {
    int number = 0;
    try {
        const std::string content = contentOf(path);
        for (std::string_view rest = content; !rest.empty();) {
            ++number;
            const std::string_view line = rest.substr(0, rest.find('\n'));
            if (line.size() == rest.size()) throw std::invalid_argument("it is cut off");
            take(parseRecord(line));
            rest.remove_prefix(line.size() + 1);
        }
    } catch (const std::invalid_argument& error) {
        const std::string place = number > 0 ? ", line " + std::to_string(number) : "";
        throw std::invalid_argument("transcript " + path + place + ": " + error.what());
    }
}

Transcript::Transcript(const std::string& path, bool shown) : path_(path), shown_(shown) {
    if (path.empty()) return;
    file_.reset(fopen(path.c_str(), "we"));
    if (!file_) fail(path);
}

void Transcript::add(std::string_view name, char mark, std::string_view text) {
    if (!file_ && !shown_) return;
    const auto time = std::chrono::round<milliseconds>(std::chrono::steady_clock::now() - start_);
    const std::string line = printRecord({time, std::string(name), mark, std::string(text)});
    if (file_ && (fprintf(file_.get(), "%s\n", line.c_str()) < 0 || fflush(file_.get()) != 0)) {
        fprintf(stderr, "tarnwick-station: %s: %s; the transcript ends here\n", path_.c_str(),
                std::generic_category().message(errno).c_str());
        file_.reset();
    }
    if (!shown_) return;
    const bool coloured = isatty(STDERR_FILENO) != 0;
    const char* colour = mark == '>' ? "\033[36m" : mark == '<' ? "\033[32m" : "\033[33m";
    fprintf(stderr, "%s%s%s\n", coloured ? colour : "", line.c_str(), coloured ? "\033[0m" : "");
}

}  // namespace station
