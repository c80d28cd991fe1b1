#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"

namespace station {

// An instrument that answers as a transcript says that another did.
//
// 1. A recorded answer belongs to the last command before it. It has all its pieces, the time of
//    each, and a hang-up. It ends where the user closed; what comes before a user's first command
//    is not replayed.
// 2. A command gets the next recorded answer to the same command, which may be silence. When all
//    were given, it gets the last one again.
// 3. One that was never recorded is answered ERROR and noted.
class Replay : public Instrument {
  public:
    // Replays that line of the transcript. Throws std::invalid_argument when it cannot be read or
    // has no command to the line.
    Replay(const std::string& path, const std::string& name, std::string unsolicited = "");

    std::vector<Answer> receive(std::string_view line) override;
    std::string unsolicited() const override { return unsolicited_; }
    // How many commands were replayed, and how many were unknown.
    std::string state() const override;

  private:
    struct Recorded {
        std::vector<std::vector<Answer>> answers;  // in their order, never empty
        std::size_t next = 0;                      // the place of the one to give
    };
    const std::string unsolicited_;
    std::map<std::string, Recorded, std::less<>> commands_;
    int replayed_ = 0;
    int unknown_ = 0;
};

}  // namespace station
