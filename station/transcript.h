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
    // Writes to a file, which is emptied, if its path is not empty, and to standard error if it is
    // to be shown, in colour when that is a terminal. Throws std::system_error.
    Transcript(const std::string& path, bool shown);

    // A file that cannot be written costs a line on standard error, and ends there.
    void add(std::string_view name, char mark, std::string_view text);

  private:
    std::string path_;
    bool shown_;
    std::unique_ptr<FILE, int (*)(FILE*)> file_{nullptr, fclose};
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace station
