#include "station/transcript.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace station {

static std::string escape(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        if (byte == '\r') {
            escaped += "\\r";
        } else if (byte == '\n') {
            escaped += "\\n";
        } else if (byte == '\\') {
            escaped += "\\\\";
        } else if (value < 0x20 || value >= 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", value);
            escaped += code;
        } else {
            escaped += byte;
        }
    }
    return escaped;
}

static const char* colourOf(char mark) {
    switch (mark) {
        case '>':
            return "\033[36m";
        case '<':
            return "\033[32m";
        default:
            return "\033[33m";
    }
}

void Transcript::writeTo(const std::string& path) {
    file_.reset(fopen(path.c_str(), "we"));
    if (!file_) throw std::system_error(errno, std::generic_category(), path);
    path_ = path;
}

void Transcript::show() {
    shown_ = true;
    coloured_ = isatty(STDERR_FILENO) != 0;
}

void Transcript::add(std::string_view name, char mark, std::string_view text) {
    if (!file_ && !shown_) return;
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start_;
    const std::string line = std::string(name) + " " + mark + " " + escape(text);
    if (file_ && (fprintf(file_.get(), "%.3f %s\n", time.count(), line.c_str()) < 0 ||
                  fflush(file_.get()) != 0)) {
        fprintf(stderr, "tarnwick-station: %s: %s; the transcript ends here\n", path_.c_str(),
                std::generic_category().message(errno).c_str());
        file_.reset();
    }
    if (!shown_) return;
    const char* begin = coloured_ ? colourOf(mark) : "";
    const char* end = coloured_ ? "\033[0m" : "";
    fprintf(stderr, "%s%.3f %s%s\n", begin, time.count(), line.c_str(), end);
}

}  // namespace station
