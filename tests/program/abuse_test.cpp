// What operators, hosts and kill do to the built tool.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/program/station_run.h"

namespace {

using Words = std::vector<std::string>;

// `script` with the tool as $1, run by a shell.
ToolRun shell(const TestStation& station, const std::string& script) {
    return runProgram({"sh", "-c", script, "sh", toolPath()},
                      {"TARNWICK_STATION=" + station.root()});
}

}  // namespace

class Killed : public testing::TestWithParam<int> {};

// A signal at any moment of a dialogue, and the next run finds the line free and the station whole.
TEST_P(Killed, AtAnyMoment) {
    constexpr unsigned kMoments = 50;
    constexpr unsigned kLongest = 30000;  // microseconds
    TestStation station({"-m", "hspa", "-m", "evdo"});
    const Words dialogues[] = {{"-a", "/dev/cu.wwanCMD19"},
                               {"-r", "1", "1", "25", "0", "/dev/cu.wwanCMD29"},
                               {"-b", "7", "9400", "20", "0", "/dev/cu.wwanCMD19"},
                               {"-c"}};
    std::minstd_rand random(20);  // NOLINT(cert-msc51-cpp): the same moments in each run
    for (unsigned moment = 0; moment < kMoments; ++moment) {
        const Words& dialogue = dialogues[moment % std::size(dialogues)];
        const pid_t tool = station.startTool(dialogue);
        const std::chrono::microseconds wait(random() % kLongest);
        std::this_thread::sleep_for(wait);
        kill(tool, GetParam());
        waitpid(tool, nullptr, 0);
        const ToolRun next = station.tool({"-e"});
        EXPECT_EQ(next.output, "012345006780006\n809A1B21\n")
            << dialogue.front() << " killed after " << wait.count() << " us";
        EXPECT_EQ(next.status, 0);
    }
    // A run that was killed may leave the driver loaded; the next one takes it as it is.
    EXPECT_EQ(station.tool({"-c"}).status, 0);
    EXPECT_EQ(station.tool({"-a", "/dev/cu.wwanCMD19"}).output, "PASS\n");
}

INSTANTIATE_TEST_SUITE_P(By, Killed, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGKILL));

// Streams that are closed or full, and a host that is short of everything.
TEST(Abuse, HostileSurroundings) {
    const std::string imei = "012345006780006\n";
    const struct {
        const char* script;
        int status;
        std::string output;
        std::string errors = {};
    } cases[] = {
        {"\"$1\" -e >&-", 0, ""},
        {"\"$1\" -e >/dev/full", 0, ""},
        {"\"$1\" -e <&- 2>&-", 0, imei},
        {"\"$1\" -e <&- >&- 2>&-", 0, ""},
        {"\"$1\" -r 1 9 1 0 <&- >&- 2>&-", 1, ""},
        {"\"$1\" -c <&- >&- 2>&-", 0, ""},
        {"exec env -i TARNWICK_STATION=\"$TARNWICK_STATION\" \"$1\" -e", 0, imei},
        {"exec env -i \"$1\" -e", 7, "WARNING: WWAN module not found\n"},
        {"ulimit -n 16 && exec \"$1\" -a", 0, "PASS\n"},
        {"ulimit -s 256 && exec \"$1\" -i | tail -n 1", 0, "\n"},
        {"exec \"$1\" -w /dev/cu.wwanCMD19 $(seq 10000) | head -n 1", 0, "Incorrect Usage!\n"},
        {"exec \"$1\" -w /dev/$(printf %04000d 1)", 7,
         "ERROR: Unable to find matching productID for /dev/00000000000000\n"},
        {"exec \"$1\" -w ''", 6,
         "GetWWanValue: code= 1, msg= OpenSerialPort: Error opening serial port \n\n"
         "ERROR: GetWWanValue() returns error 1\nERROR: GetPowerState() returns error 6\n"},
        {"exec \"$1\" -w %s%n", 7, "ERROR: Unable to find matching productID for %s%n\n"},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.script);
        TestStation station;
        const ToolRun run = shell(station, example.script);
        EXPECT_EQ(run.status, example.status);
        EXPECT_EQ(run.output, example.output);
        EXPECT_EQ(run.errors, example.errors);
        // Nothing of what the tool prints goes where a module hears it.
        const std::string wire = station.wire();
        EXPECT_TRUE(wire.empty() || wire.starts_with("AT")) << wire;
        EXPECT_EQ(wire.find("0123450"), std::string::npos) << wire;
    }
}

// A user who waits for ever keeps the line from root, too, and leaves it free.
TEST(Abuse, ALineIsOneRunsAlone) {
    TestStation station({"-m", "hspa,fault=silent@AT+CFUN"});
    const pid_t tool = station.startTool({"-w"});
    station.waitFor("wwanCMD19 > AT+CFUN?");
    const ToolRun run = station.tool({"-n"});
    EXPECT_EQ(run.status, 6);
    EXPECT_EQ(run.output,
              "GetWWanValue: code= 1, msg= OpenSerialPort: Error opening serial port "
              "/dev/cu.wwanCMD19\n\nERROR: GetWWanValue() returns error 1\n"
              "ERROR: GetFWRevision() returns error 6\n");
    kill(tool, SIGKILL);
    waitpid(tool, nullptr, 0);
    EXPECT_EQ(station.tool({"-n"}).output, "K2_0_7_19AP\n");
}

// Two runs at each of two modules at the same moment: each prints its own result or that it could
// not open the line, none waits, and the next run finds the lines free.
TEST(Abuse, TwoRunsAtOnce) {
    const std::string rounds = R"sh(
check() {
    IFS= read -r text <"$1"
    case $text in "$2" | *"Error opening serial port"*) ;; *) cat "$1" ;; esac
}
cd "$TARNWICK_STATION/tmp" && for round in $(seq 25); do
    for module in 19 29; do
        "$1" -n /dev/cu.wwanCMD$module >n$module & "$1" -e /dev/cu.wwanCMD$module >e$module &
    done
    wait
    check n19 K2_0_7_19AP; check e19 012345006780006
    check n29 ' p2813300,59370'; check e29 809A1B21
    "$1" -m >free && check free TRUE || echo "not free after round $round"
done)sh";
    // The programs where another user reaches them: root's own build folder may be closed to him.
    TestStation keeper;  // for its folder
    const std::string station = keeper.root() + "/station";
    const std::string tool = keeper.root() + "/tool";
    std::filesystem::copy_file(stationPath(), station);
    std::filesystem::copy_file(toolPath(), tool);
    for (const std::string& path : {keeper.root(), station, tool}) {
        std::filesystem::permissions(path, std::filesystem::perms{0755});
    }
    const Words asAnother[] = {
        {}, {"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"}};
    for (Words program : asAnother) {
        if (!program.empty() && getuid() != 0) break;  // is an ordinary user already
        const Words words = {station, "--time-scale", "0.002", "-m",   "hspa", "-m",
                             "evdo",  "sh",           "-c",    rounds, "sh",   tool};
        program.insert(program.end(), words.begin(), words.end());
        const ToolRun run = runProgram(program);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.output + run.errors, "");
    }
}
