#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

// A transcript tells what happens at a station, a line each: "SECONDS NAME MARK TEXT". Other
// programs read it, and so does a replay, so each byte of each text can be had back from it.
namespace station {

// One line of a transcript.
struct Record {
    std::chrono::milliseconds time{0};  // since the station's start
    std::string name;                   // of the line; no blanks, printable, not empty
    char mark = '!';                    // '>' from the tool, '<' from the device, '!' a note
    std::string text;                   // any bytes
};

// What ends a line's dialogue, as notes of it.
constexpr std::string_view kHangUpNote = "hang up";
constexpr std::string_view kCloseNote = "close";

// The record as a line, without its newline: a backslash is doubled, CR and LF are \r and \n, and
// what is not printable ASCII is \x and two hexadecimal digits.
std::string printRecord(const Record& record);

// The other way round. Throws std::invalid_argument with what is wrong.
Record parseRecord(std::string_view line);

// Calls `take` with each record of a transcript. Throws std::invalid_argument with a sentence that
// begins with the path, and has the line's number if one is to blame: for what is no regular file,
// is larger than 64 MiB or holds a line that is no record. Never waits.
void readTranscript(const std::string& path, const std::function<void(const Record&)>& take);

// Writes the transcript of this run.
class Transcript {
  public:
    // Writes to a file, which is emptied, if its path is not empty, and to standard error if it is
    // to be shown, in colour when that is a terminal. Throws std::system_error.
    Transcript(const std::string& path, bool shown);

    // A record is in the file when this returns. A file that cannot be written costs a line on
    // standard error, and ends there.
    void add(std::string_view name, char mark, std::string_view text);

  private:
    std::string path_;
    bool shown_;
    std::unique_ptr<FILE, int (*)(FILE*)> file_{nullptr, fclose};
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace station
