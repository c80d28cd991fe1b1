#include "station/transcript.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "station/text.h"

namespace station {

static std::string escape(std::string_view text) {
    constexpr std::string_view kLetters = "\r\n\\";
    std::string escaped;
    for (const char byte : text) {
        const std::size_t letter = kLetters.find(byte);
        const auto value = static_cast<unsigned char>(byte);
        if (letter != std::string_view::npos) {
            escaped += std::string("\\") + "rn\\"[letter];
        } else if (value < 0x20 || value >= 0x7F) {
            escaped += format("\\x%02X", value);
        } else {
            escaped += byte;
        }
    }
    return escaped;
}

void Transcript::writeTo(const std::string& path) {
    file_.reset(fopen(path.c_str(), "we"));
    if (!file_) fail(path);
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
    const char* colour = mark == '>' ? "\033[36m" : mark == '<' ? "\033[32m" : "\033[33m";
    const char* begin = coloured_ ? colour : "";
    const char* end = coloured_ ? "\033[0m" : "";
    fprintf(stderr, "%s%.3f %s%s\n", begin, time.count(), line.c_str(), end);
}

}  // namespace station
