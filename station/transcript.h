#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace station {

// What happens at the station, a line each: seconds since its start, the line's name, a mark and
// the text with its control characters escaped. '>' is from the tool, '<' from the device, '!' a
// note.
class Transcript {
  public:
    // Adds a file, which is emptied. Throws std::system_error.
    void writeTo(const std::string& path);
    // Adds standard error, in colour when it is a terminal.
    void show();

    // A file that cannot be written costs a line on standard error, and ends there.
    void add(std::string_view name, char mark, std::string_view text);

  private:
    struct Closer {
        void operator()(FILE* file) const { fclose(file); }
    };
    std::unique_ptr<FILE, Closer> file_;
    std::string path_;
    bool shown_ = false;
    bool coloured_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace station
