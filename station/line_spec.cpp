#include "station/line_spec.h"

namespace station {

static constexpr struct {
    std::string_view name;
    void (*take)(const Argument& argument, LineSpec* spec);
} kKeys[] = {
    {"chatter", [](auto& argument, auto* spec) { spec->chatter = number(argument, 0, 3600); }},
    {"device", setDevice},
    {"fault", [](auto& argument, auto* spec) { spec->fault = parseFault(argument); }},
    {"replay", setReplay},
};

Fault parseFault(const Argument& argument) {
    const std::size_t at = argument.text.find('@');
    Fault fault;
    choose({argument.name, argument.text.substr(0, at)},
           {{"silent", FaultKind::kSilent},
            {"error", FaultKind::kError},
            {"garbage", FaultKind::kGarbage},
            {"late", FaultKind::kLate},
            {"split", FaultKind::kSplit},
            {"hangup", FaultKind::kHangUp},
            {"hangup-mid", FaultKind::kHangUpMid},
            {"hangup-after", FaultKind::kHangUpAfter}},
           &fault.kind);
    if (at != std::string_view::npos) fault.command = argument.text.substr(at + 1);
    return fault;
}

static ReplaySource parseReplaySource(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || text.find('/', colon) != std::string_view::npos) {
        return {std::string(text)};
    }
    return {std::string(text.substr(0, colon)), std::string(text.substr(colon + 1))};
}

void setDevice(const Argument& argument, LineSpec* spec) {
    if (!spec->replay.path.empty()) refuse(argument, "for a line that replays a transcript");
    spec->device = argument.text;
}

void setReplay(const Argument& argument, LineSpec* spec) {
    if (!spec->device.empty()) refuse(argument, "for a line with a real device");
    spec->replay = parseReplaySource(argument.text);
}

bool takeLineKey(const Argument& argument, LineSpec* spec) {
    for (const auto& key : kKeys) {
        if (key.name != argument.name) continue;
        key.take(argument, spec);
        return true;
    }
    return false;
}

std::string lineKeys() {
    std::string names;
    for (const auto& key : kKeys) names += (names.empty() ? "" : ", ") + std::string(key.name);
    return names;
}

}  // namespace station
