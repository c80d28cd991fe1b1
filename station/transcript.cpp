#include "station/transcript.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "station/text.h"

namespace station {

static std::string escape(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        const bool isControl = byte < ' ' || byte > '~';
        const int value = static_cast<unsigned char>(byte);
        escaped += byte == '\r'   ? "\\r"
                   : byte == '\n' ? "\\n"
                   : byte == '\\' ? "\\\\"
                                  : format(isControl ? "\\x%02X" : "%c", value);
    }
    return escaped;
}

Transcript::Transcript(const std::string& path, bool shown) : path_(path), shown_(shown) {
    if (path.empty()) return;
    file_.reset(fopen(path.c_str(), "we"));
    if (!file_) fail(path);
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
    const bool coloured = isatty(STDERR_FILENO) != 0;
    const char* colour = mark == '>' ? "\033[36m" : mark == '<' ? "\033[32m" : "\033[33m";
    fprintf(stderr, "%s%.3f %s%s\n", coloured ? colour : "", time.count(), line.c_str(),
            coloured ? "\033[0m" : "");
}

}  // namespace station
