// Every option, every command of its dialogue, every way in which a device can fail at it: the
// outcome of each run is what the rules say.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/program/fault_rules.h"
#include "tests/program/station_run.h"
#include "tests/support/case_text.h"

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

const Words kFaults = {"error",  "garbage", "late",       "split",
                       "silent", "hangup",  "hangup-mid", "hangup-after"};
// Those that make a difference where no answer is read, ever.
const Words kUnreadFaults = {"error", "silent", "hangup"};
constexpr std::size_t kModules = 4;  // that fail side by side at one station

std::string nameOf(const Dialogue& dialogue) {
    return std::string(dialogue.module) + " " + dialogue.arguments;
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

// A station at whose lines the step fails, in another way at each.
class FaultyStation {
  public:
    FaultyStation(const Dialogue& dialogue, std::size_t step, const Words& faults)
        : dialogue_(dialogue),
          step_(dialogue.steps[step]),
          faults_(faults),
          real_(getenv("TARNWICK_REAL") == nullptr ? nullptr : realDevices(dialogue)),
          station_(options()) {}

    // Runs the tool at the line that fails in the way of `faults[index]`.
    Outcome run(std::size_t index) {
        const std::string& fault = faults_[index];
        Words arguments = wordsOf(dialogue_.arguments);
        if (arguments.front() != "-c") arguments.push_back("/dev/cu." + moduleOf(index));
        const bool waits = fault == "silent" && step_.answer != Answer::kUnread;
        const ToolRun run =
            waits ? station_.toolUntil(arguments, lineOf(index) + " > " + step_.command, kSilence)
                  : station_.tool(arguments);
        // The generator's driver tools are the run's own, too.
        EXPECT_TRUE(dialogue_.generator || run.processorSeconds < kProcessorLimit)
            << run.processorSeconds;
        EXPECT_EQ(run.errors, "");
        const bool isLoaded = station_.read("state/driver").starts_with("loaded=yes\n");
        return {run.output, run.status, {}, isLoaded || !dialogue_.generator};
    }

    // What the runs have started has ended with them.
    void expectNoProcessLeft() const {
        if (!fs::exists("/proc")) return;
        EXPECT_EQ(processesNaming(station_.root()), std::vector{station_.process()});
    }

    // Stops the station; the commands that went over the line at `index`.
    Words commands(std::size_t index) {
        station_.stop();
        Words commands;
        const std::string mark = lineOf(index) + " > ";
        for (const std::string& entry : station_.transcript()) {
            if (entry.starts_with(mark)) commands.push_back(entry.substr(mark.size()));
        }
        return commands;
    }

  private:
    // Another station, with sound devices.
    static std::unique_ptr<TestStation> realDevices(const Dialogue& dialogue) {
        Words options = {"--driver-loaded"};
        for (std::size_t index = 0; index < kModules; ++index) {
            options.insert(options.end(), {"-m", std::string(dialogue.module)});
        }
        return std::make_unique<TestStation>(options);
    }

    Words options() const {
        Words options;
        for (std::size_t index = 0; index < faults_.size(); ++index) {
            const std::string setting =
                faults_[index].empty() ? "" : faults_[index] + "@" + step_.command;
            const bool atModule = !dialogue_.generator && !setting.empty();
            options.insert(options.end(),
                           {"-m", moduleAt(index) + (atModule ? ",fault=" + setting : "")});
            if (!dialogue_.generator || setting.empty()) continue;
            options.insert(options.end(), {"--generator-fault", setting});
        }
        if (dialogue_.generator) options.emplace_back("--driver-loaded");
        if (real_) options.push_back("--generator-device=" + node("tty.KeySerial1"));
        return options;
    }
    // A real one has its own identity and state.
    std::string moduleAt(std::size_t index) const {
        const std::string module = dialogue_.module;
        if (!real_) return module;
        return module.substr(0, module.find(',')) + ",device=" + node("cu." + moduleOf(index));
    }
    std::string node(const std::string& name) const { return real_->root() + "/dev/" + name; }

    static std::string moduleOf(std::size_t index) {
        return "wwanCMD" + std::to_string(19 + 10 * index);
    }
    std::string lineOf(std::size_t index) const {
        return dialogue_.generator ? "generator" : moduleOf(index);
    }

    const Dialogue& dialogue_;
    const Step& step_;
    Words faults_;
    std::unique_ptr<TestStation> real_;  // behind the lines; none: they are simulated
    TestStation station_;
};

// Runs the dialogue at a station at which each of its lines fails in one of the ways.
void runWith(const Dialogue& dialogue, std::size_t step, const Words& faults) {
    FaultyStation station(dialogue, step, faults);
    std::vector<Outcome> outcomes;
    for (std::size_t index = 0; index < faults.size(); ++index) {
        outcomes.push_back(station.run(index));
    }
    station.expectNoProcessLeft();
    for (std::size_t index = 0; index < faults.size(); ++index) {
        SCOPED_TRACE(faults[index] + "@" + dialogue.steps[step].command);
        if (!canForetell(dialogue, step, faults[index])) {
            EXPECT_TRUE(isPossible(dialogue, step, outcomes[index])) << outcomes[index].output;
            continue;
        }
        const Outcome expected = faultyOutcome(dialogue, step, faults[index]);
        EXPECT_EQ(outcomes[index].output, expected.output);
        EXPECT_EQ(outcomes[index].status, expected.status);
        EXPECT_EQ(outcomes[index].isDriverLoaded, expected.isDriverLoaded);
        EXPECT_EQ(station.commands(index), expected.commands);
    }
}

// An earlier step with the same command fails in its place.
bool isRepeated(const Dialogue& dialogue, std::size_t step) {
    for (std::size_t index = 0; index < step; ++index) {
        if (dialogue.steps[index].command == dialogue.steps[step].command) return true;
    }
    return false;
}

}  // namespace

void PrintTo(const Dialogue& dialogue, std::ostream* stream) {
    *stream << nameOf(dialogue);
}

class FaultSweep : public testing::TestWithParam<Dialogue> {};

TEST_P(FaultSweep, EndsByTheRules) {
    const Dialogue& dialogue = GetParam();
    FaultyStation sound(dialogue, 0, Words{""});
    const Outcome outcome = sound.run(0);
    EXPECT_EQ(outcome.output, soundOutcome(dialogue).output);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.isDriverLoaded, true);
    EXPECT_EQ(sound.commands(0), soundOutcome(dialogue).commands);
    const auto isUnread = [](const Step& step) { return step.answer == Answer::kUnread; };
    const bool readsNothing = std::all_of(dialogue.steps.begin(), dialogue.steps.end(), isUnread);
    const Words& faults = readsNothing ? kUnreadFaults : kFaults;
    const std::size_t atOnce = dialogue.generator ? 1 : kModules;
    for (std::size_t step = dialogue.from; step < dialogue.steps.size(); ++step) {
        if (isRepeated(dialogue, step)) continue;
        for (std::size_t first = 0; first < faults.size(); first += atOnce) {
            const std::size_t last = std::min(first + atOnce, faults.size());
            runWith(dialogue, step, Words(&faults[first], &faults[first] + (last - first)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, FaultSweep, testing::ValuesIn(dialogues()),
                         [](const testing::TestParamInfo<Dialogue>& dialogue) {
                             std::string name = nameOf(dialogue.param);
                             std::replace_if(
                                 name.begin(), name.end(), [](char byte) { return !isalnum(byte); },
                                 '_');
                             return name;
                         });
