#include "station/line_spec.h"

#include "station/text.h"

namespace station {

Fault parseFault(std::string_view text) {
    const std::size_t at = text.find('@');
    Fault fault;
    choose(text.substr(0, at),
           {"silent", "error", "garbage", "late", "split", "hangup", "hangup-mid", "hangup-after"},
           &fault.kind);
    if (at != std::string_view::npos) fault.command = text.substr(at + 1);
    return fault;
}

bool takeLineKey(std::string_view key, std::string_view value, LineSpec* spec) {
    if (key == "fault") {
        spec->fault = parseFault(value);
    } else if (key == "chatter") {
        spec->chatter = number(value, 0, 3600);
    } else if (key == "device") {
        spec->device = value;
    } else {
        return false;
    }
    return true;
}

}  // namespace station
