// Every option, every command of its dialogue, every way in which a device can fail at it. What the
// tool then printed and returned stands in fault_sweep.txt, as far as it differs from a run without
// a fault; run with TARNWICK_SWEEP=write to renew it, and read what changed.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/program/station_run.h"

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

// A read that spun would use all the time for which a silent device is watched.
constexpr double kSilence = 0.1;
#if defined(__SANITIZE_ADDRESS__)
constexpr double kProcessorLimit = 5;
#else
constexpr double kProcessorLimit = kSilence / 2;
#endif
constexpr int kKilled = 128 + 15;

struct Dialogue {
    const char* module;
    Words arguments;
    const char* unread = nullptr;  // commands to which no answer is read; "": to none
    bool generator = false;        // it is the generator that fails
    const char* from = "";         // the first that fails: earlier ones fail in another dialogue
};

// The longest first.
const Dialogue kDialogues[] = {
    {"evdo", {"-s", "1", "1", "25", "-50", "0"}, "", true, ":SYST:DISP:UPD ON"},
    {"evdo", {"-c"}, "*RST", true},
    {"hspa", {"-e"}},
    {"hspa", {"-i"}},
    {"hspa", {"-k"}},
    {"hspa", {"-m"}},
    {"hspa", {"-t"}},
    {"hspa", {"-w"}},
    {"hspa", {"-p"}, ""},
    {"hspa", {"-f"}, ""},
    {"hspa", {"-a"}},
    {"hspa", {"-r", "1", "3", "62", "0"}},
    {"hspa", {"-r", "2", "8", "9750", "1"}, nullptr, false, "AT!DAWSSCHAIN"},
    {"hspa", {"-b", "4", "700", "20", "1"}},
    {"hspa", {"-b", "7", "9400", "20", "1"}, nullptr, false, "AT!DASTXON"},
    {"hspa", {"-b", "7", "9400", "20", "0"}},
    {"evdo", {"-i"}},
    {"evdo", {"-t"}},
    {"evdo,asleep=yes", {"-t"}},
    {"evdo", {"-r", "2", "1", "25", "1"}},
    {"evdo", {"-b", "0", "25", "20", "0"}},
};

const Words kKinds = {"error",  "garbage", "late",       "split",
                      "silent", "hangup",  "hangup-mid", "hangup-after"};
// Those that make a difference where no answer is read.
const Words kUnreadKinds = {"error", "silent", "hangup"};
constexpr std::size_t kModules = 4;  // that fail side by side at one station

std::string nameOf(const Dialogue& dialogue) {
    std::string name = dialogue.module;
    for (const std::string& word : dialogue.arguments) name += " " + word;
    return name;
}

void PrintTo(const Dialogue& dialogue, std::ostream* stream) {
    *stream << nameOf(dialogue);
}

Words linesOf(const std::string& text) {
    std::istringstream stream(text);
    Words lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string escaped(const std::string& text) {
    std::ostringstream result;
    for (const char byte : text) {
        if (byte == '\n') {
            result << "\\n\n";
        } else if (byte == '\r') {
            result << "\\r";
        } else if (byte < 0x20 || byte == 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned char>(byte));
            result << code;
        } else {
            result << byte;
        }
    }
    return result.str();
}

// Each module at a station has an identifier of its own.
std::string withoutIdentifier(std::string text) {
    for (const std::string identifier : {"012345006780000", "809A1B20"}) {
        const std::string common = identifier.substr(0, identifier.size() - 4);
        const std::size_t place = text.find(common);
        if (place != std::string::npos) text.replace(place, identifier.size(), "IDENTIFIER");
    }
    return text;
}

// The outcome's lines but for those at its start and end that are the healthy one's, too.
std::string difference(const std::string& outcome, const std::string& healthy) {
    if (outcome == healthy) return "as with no fault\n";
    const Words lines = linesOf(outcome);
    const Words known = linesOf(healthy);
    const auto [head, knownHead] = std::ranges::mismatch(lines, known);
    auto tail = lines.end();
    auto knownTail = known.end();
    while (tail > head && knownTail > knownHead && tail[-1] == knownTail[-1]) {
        --tail;
        --knownTail;
    }
    std::string text;
    if (head != lines.begin()) text = lines.front() + (head - lines.begin() > 1 ? " ..." : "");
    for (auto line = head; line < tail; ++line) {
        text += (line == lines.begin() ? "" : "\n    ") + *line;
    }
    return text + (tail != lines.end() ? "\n    ...\n" : "\n");
}

// The processes whose command line names `path`.
std::vector<pid_t> processesNaming(const std::string& path) {
    std::vector<pid_t> processes;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::ifstream file(entry.path() / "cmdline");
        std::ostringstream content;
        content << file.rdbuf();
        if (content.str().find(path) != std::string::npos) processes.push_back(std::stoi(name));
    }
    return processes;
}

// A station at whose lines the command fails, in another way at each.
class FaultyStation {
  public:
    FaultyStation(const Dialogue& dialogue, const Words& kinds, std::string command)
        : dialogue_(dialogue),
          kinds_(kinds),
          command_(std::move(command)),
          station_(options(dialogue, kinds, command_)) {}

    // Runs the tool at the line that fails in the way of `kinds[index]`.
    std::string outcome(std::size_t index) {
        const std::string& kind = kinds_[index];
        const std::string node = "/dev/cu." + moduleOf(index);
        Words arguments = dialogue_.arguments;
        if (arguments.front() != "-c") arguments.push_back(node);
        const bool unread = dialogue_.unread != nullptr && command_.starts_with(dialogue_.unread);
        const bool waits = kind == "silent" && !unread;
        const ToolRun run =
            waits ? station_.toolUntil(arguments, lineOf(index) + " > " + command_, kSilence)
                  : station_.tool(arguments);
        const std::string fault = kind + "@" + command_;
        EXPECT_TRUE(!waits || run.status == kKilled) << fault;
        // The generator's driver tools are the run's own, too.
        EXPECT_TRUE(dialogue_.generator || run.processorSeconds < kProcessorLimit)
            << fault << ": " << run.processorSeconds;
        EXPECT_EQ(run.errors, "") << fault;
        std::string text = "exit " + std::to_string(run.status);
        if (dialogue_.generator) {
            text += ", driver " + linesOf(station_.read("state/driver")).front();
        }
        return text + "\n" + withoutIdentifier(escaped(run.output));
    }

    // What the runs have started has ended with them.
    void expectNoProcessLeft() const {
        if (!fs::exists("/proc")) return;
        EXPECT_EQ(processesNaming(station_.root()), std::vector{station_.process()}) << command_;
    }

    // Stops the station; what the line at `index` was sent: each command once, in order.
    Words commands(std::size_t index) {
        station_.stop();
        Words commands;
        for (const std::string& entry : station_.transcript()) {
            const std::string mark = lineOf(index) + " > ";
            if (!entry.starts_with(mark)) continue;
            const std::string command = entry.substr(mark.size());
            if (std::ranges::find(commands, command) == commands.end()) commands.push_back(command);
        }
        return commands;
    }

  private:
    static Words options(const Dialogue& dialogue, const Words& kinds, const std::string& command) {
        Words options;
        for (const std::string& kind : kinds) {
            const std::string fault = kind.empty() ? "" : kind + "@" + command;
            const bool atModule = !dialogue.generator && !kind.empty();
            options.insert(options.end(), {"-m", std::string(dialogue.module) +
                                                     (atModule ? ",fault=" + fault : "")});
            if (!dialogue.generator || kind.empty()) continue;
            options.insert(options.end(), {"--generator-fault", fault});
        }
        if (dialogue.generator) options.emplace_back("--driver-loaded");
        return options;
    }

    static std::string moduleOf(std::size_t index) {
        return "wwanCMD" + std::to_string(19 + 10 * index);
    }
    std::string lineOf(std::size_t index) const {
        return dialogue_.generator ? "generator" : moduleOf(index);
    }

    const Dialogue& dialogue_;
    Words kinds_;
    std::string command_;
    TestStation station_;
};

// A line that goes while nobody reads shows in the next write or read or open, if one comes; an
// answer that nobody expects, before the next one or not at all. Each is right, and which it is
// nobody can foretell.
bool isRace(const Dialogue& dialogue, const std::string& kind, const std::string& command) {
    if (kind == "hangup-after") return true;
    if (kind.starts_with("hangup")) return dialogue.unread != nullptr;
    return dialogue.generator && command == "*RST" && (kind == "error" || kind == "garbage");
}

bool isAnEndOfTheRace(const std::string& outcome, const std::string& healthy) {
    const auto holds = [&](const char* text) { return outcome.find(text) != std::string::npos; };
    return outcome == healthy || holds("readSerialPort: Error") ||
           holds("writeSerialPort: Error writing") || holds("Error opening serial port") ||
           holds("CloseSerialPort: Error") || holds("dBm") || holds("Device Identification");
}

// The recorded blocks by their names.
std::map<std::string, std::string> recorded() {
    std::ifstream file(TARNWICK_SWEEP_FILE);
    std::map<std::string, std::string> blocks;
    std::string name;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("== ")) {
            name = line.substr(3);
        } else if (!name.empty()) {
            blocks[name] += line + "\n";
        }
    }
    return blocks;
}

// How the runs end in which the command fails, as text: the faults, then what they end in.
std::string outcomesAt(const Dialogue& dialogue, const std::string& command,
                       const std::string& healthy) {
    const bool isUnread = dialogue.unread != nullptr && *dialogue.unread == '\0';
    const Words& kinds = isUnread ? kUnreadKinds : kKinds;
    Words outcomes(kinds.size());
    const std::size_t atOnce = dialogue.generator ? 1 : std::min(kModules, kinds.size());
    for (std::size_t first = 0; first < kinds.size(); first += atOnce) {
        const auto begin = kinds.begin() + static_cast<std::ptrdiff_t>(first);
        FaultyStation station(dialogue, Words(begin, begin + static_cast<std::ptrdiff_t>(atOnce)),
                              command);
        for (std::size_t index = 0; index < atOnce; ++index) {
            outcomes[first + index] = station.outcome(index);
        }
        station.expectNoProcessLeft();
    }
    std::vector<std::pair<std::string, std::string>> shown;
    for (std::size_t index = 0; index < kinds.size(); ++index) {
        const std::string& kind = kinds[index];
        if (isRace(dialogue, kind, command)) {
            EXPECT_TRUE(isAnEndOfTheRace(outcomes[index], healthy))
                << kind << "@" << command << ": " << outcomes[index];
            continue;
        }
        const std::string text = difference(outcomes[index], healthy);
        const auto same =
            std::ranges::find(shown, text, &std::pair<std::string, std::string>::second);
        if (same == shown.end()) {
            shown.emplace_back(kind, text);
        } else {
            same->first += ", " + kind;
        }
    }
    std::string block = "-- " + command + "\n";
    for (const auto& [faults, text] : shown) block.append(faults).append(": ").append(text);
    return block;
}

}  // namespace

class FaultSweep : public testing::TestWithParam<Dialogue> {};

TEST_P(FaultSweep, EndsAsRecorded) {
    const Dialogue& dialogue = GetParam();
    std::optional<FaultyStation> sound(std::in_place, dialogue, Words{""}, "");
    const std::string healthy = sound->outcome(0);
    const Words commands = sound->commands(0);
    sound.reset();
    std::string block;
    for (const std::string& line : linesOf(healthy)) {
        block += (block.empty() ? "no fault: " : "    ") + line + "\n";
    }
    bool isDue = false;
    for (const std::string& command : commands) {
        isDue = isDue || command.starts_with(dialogue.from);
        if (isDue) block += outcomesAt(dialogue, command, healthy);
    }
    const char* mode = std::getenv("TARNWICK_SWEEP");
    if (mode != nullptr && std::string(mode) == "write") {
        std::ofstream(TARNWICK_SWEEP_FILE, std::ios::app) << "== " << nameOf(dialogue) << "\n"
                                                          << block;
        return;
    }
    EXPECT_EQ(block, recorded()[nameOf(dialogue)]);
}

INSTANTIATE_TEST_SUITE_P(All, FaultSweep, testing::ValuesIn(kDialogues),
                         [](const testing::TestParamInfo<Dialogue>& dialogue) {
                             std::string name = nameOf(dialogue.param);
                             std::ranges::replace_if(
                                 name, [](char byte) { return !std::isalnum(byte); }, '_');
                             return name;
                         });
