// The built station as a program: what it runs, how it ends, what it leaves behind.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/program/station_run.h"

namespace fs = std::filesystem;

namespace {

using Words = std::vector<std::string>;

ToolRun station(Words arguments, double limit = 60) {
    arguments.insert(arguments.begin(), stationPath());
    return runProgram(arguments, {}, limit);
}

// A capture of a Mac that has a module of its own; the station takes the next free name.
constexpr const char* kCapture = R"(<plist version="1.0"><dict>
<key>IORegistryEntryName</key><string>Root</string>
<key>IORegistryEntryChildren</key><array>
<dict><key>IOObjectClass</key><string>IOSerialBSDClient</string>
<key>IOCalloutDevice</key><string>/dev/cu.wwanCMD19</string></dict>
<dict><key>IOObjectClass</key><string>OrvelWWANSupport</string>
<key>idProduct</key><integer>33329</integer></dict>
</array></dict></plist>)";

}  // namespace

TEST(Station, EndsAsItsCommandDoes) {
    const struct {
        Words command;
        int status;
    } cases[] = {{{"true"}, 0},
                 {{"sh", "-c", "exit 7"}, 7},
                 {{"sh", "-c", "kill -9 $$"}, 137},
                 {{"/no/such/command"}, 127},
                 {{"/tmp"}, 126},
                 // The command is told of the signal, and decides.
                 {{"sh", "-c", "trap 'exit 5' TERM; kill $PPID; while :; do sleep 0.01; done"}, 5}};
    for (const auto& example : cases) {
        Words arguments = {"-m", "evdo", "--"};
        arguments.insert(arguments.end(), example.command.begin(), example.command.end());
        EXPECT_EQ(station(arguments).status, example.status) << example.command.back();
    }
}

TEST(Station, LeavesNothingBehind) {
    const char* const ends[] = {"exit 0", "exit 1", "kill -9 $$", "kill -TERM $$",
                                "rm -rf \"$TARNWICK_STATION\"; exec sleep 60"};
    for (const std::string end : ends) {
        const ToolRun run = station({"sh", "-c",
                                     "echo \"$TARNWICK_STATION\"; ls \"$TARNWICK_STATION/dev\"; "
                                     "readlink \"$TARNWICK_STATION\"/dev/*; " +
                                         end});
        const std::string root = run.output.substr(0, run.output.find('\n'));
        EXPECT_TRUE(run.output.find("cu.wwanCMD19\n/dev/pts/") != std::string::npos) << run.output;
        EXPECT_FALSE(fs::exists(root)) << end;
    }
}

// A signal that finds the station half made.
TEST(Station, LeavesNothingBehindItsStart) {
    TestStation keeper;  // for its folder
    const std::string folder = keeper.root() + "/roots";
    fs::create_directory(folder);
    for (int moment = 0; moment < 40; ++moment) {
        const pid_t process = fork();
        if (process == 0) {
            setenv("TMPDIR", folder.c_str(), 1);
            execl(stationPath().c_str(), "tarnwick-station", "sleep", "60", nullptr);
            _exit(127);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(moment * 200));
        kill(process, SIGTERM);
        waitpid(process, nullptr, 0);
    }
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST(Station, ServesUntilItIsTold) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        TestStation station;
        EXPECT_EQ(station.stop(signal), 0);
        // A root that was named is kept, but no node that leads nowhere.
        EXPECT_EQ(station.read("host.conf"), "user-id 0\ntime-scale 0.005\n");
        EXPECT_TRUE(fs::is_empty(station.root() + "/dev"));
    }
    // Nor one that a killed station left.
    TestStation killed({"--driver-loaded"});
    killed.stop(SIGKILL);
    const ToolRun next =
        ::station({"-r", killed.root(), "--no-generator", "ls", killed.root() + "/dev"});
    EXPECT_EQ(next.output, "cu.wwanCMD19\n");
    TestStation removed;
    fs::remove_all(removed.root());
    EXPECT_EQ(removed.stop(0), 1);
    TestStation moved;
    const std::string place = moved.root() + "-moved";
    fs::rename(moved.root(), place);
    EXPECT_EQ(moved.stop(0), 1);
    fs::remove_all(place);
}

// Scripts with the station as $1, the tool as $2 and a root of its own as $3.
TEST(Station, BearsItsSurroundings) {
    TestStation keeper;  // for its folder
    const std::string root = keeper.root() + "/root";
    const std::string firmware = "K2_0_7_19AP\n";
    const struct {
        const char* script;
        int status;
        std::string output;
        std::string errors = {};
    } cases[] = {
        {R"("$1" >/dev/full)", 1, "", "standard output: No space left on device\n"},
        {R"("$1" >&-)", 1, "", "standard output: Bad file descriptor\n"},
        {R"(cd / && TMPDIR=tmp "$1" sh -c 'dirname "$TARNWICK_STATION"')", 0, "/tmp\n"},
        {R"(TMPDIR= "$1" sh -c 'dirname "$TARNWICK_STATION"')", 0, "/tmp\n"},
        {R"(umask 077; "$1" sh -c 'find -L "$TARNWICK_STATION" ! -perm -444')", 0, ""},
        {R"("$1" --time-scale 0.005 -t /dev/full "$2" -n)", 0, firmware,
         "/dev/full: No space left on device; the transcript ends here\n"},
        {R"("$1" --time-scale 0.005 -r "$3" sh -c '"$1" -r "$3" true; echo $?; "$2" -n' sh "$@")",
         0, "1\n" + firmware, "ROOT: another station is at work there\n"},
        {R"("$1" --time-scale 0.005 -r "$3" -t "$3/log" sh -c 'prlimit --fsize=0 --pid $PPID; "$1" -n; "$1" -n' sh "$2")",
         0, firmware + firmware,
         "ROOT/log: File too large; the transcript ends here\n"
         "tarnwick-station: ROOT/state/wwanCMD19.part: File too large\n"},
        {R"("$1" --time-scale 0.005 -r "$3" sh -c 'for round in 1 2 3 4 5 6 7 8 9 10; do
                "$3/sbin/kextload" /x/KeyspanUSAdriver.kext &
            done; wait; ls "$3/state"' sh "$@")",
         0, "driver\ngenerator\nwwanCMD19\n"},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.script);
        ToolRun run =
            runProgram({"sh", "-c", example.script, "sh", stationPath(), toolPath(), root});
        for (std::size_t at = 0; (at = run.errors.find(root)) != std::string::npos;) {
            run.errors.replace(at, root.size(), "ROOT");
        }
        EXPECT_EQ(run.status, example.status);
        EXPECT_EQ(run.output, example.output);
        EXPECT_EQ(run.errors, example.errors.empty() ? "" : "tarnwick-station: " + example.errors);
    }
}

// The tool at a station whose devices are another one's.
TEST(Station, LeadsToRealDevices) {
    TestStation real({"--driver-loaded", "-m", "hspa,id=49015420323751"});
    const std::string nodes = real.root() + "/dev/";
    const char* const identity =
        "Device Identification = Tarnwick Instruments,SG-3000,100042,1.07\n";
    for (int round = 0; round < 2; ++round) {
        const ToolRun run =
            station({"--driver-loaded", "--time-scale", "0.005", "-m",
                     "hspa,device=" + nodes + "cu.wwanCMD19", "--generator-device",
                     nodes + "tty.KeySerial1", "sh", "-c", R"("$0" -e; "$0" -c)", toolPath()});
        EXPECT_EQ(run.output, "490154203237518\n" + std::string(identity));
    }
}

// The tool takes them for the answers that do not come.
TEST(Station, SendsUnsolicitedLinesBetweenCommands) {
    TestStation station({"-m", "hspa,chatter=2,fault=silent"});
    EXPECT_EQ(station.tool({"-t"}).output, "0\t0\n");
    station.waitFor("wwanCMD19 ! close");
    // How many come, and whether the last came before the second command, is for the clock to say.
    Words lines = station.transcript();
    EXPECT_GE(std::erase(lines, R"(wwanCMD19 < \r\n^RSSI: 18\r\n)"), 1U);
    EXPECT_EQ(lines,
              (Words{"wwanCMD19 > AT!DTEMP? 0", "wwanCMD19 > AT!DTEMP? 1", "wwanCMD19 ! close"}));
}

TEST(Station, ServesOnTopOfACapture) {
    TestStation keeper;  // for its folder
    const std::string capture = keeper.root() + "/capture.plist";
    std::ofstream(capture) << kCapture;
    const ToolRun run =
        station({"--time-scale", "0.005", "--capture", capture, "-m", "hspa", toolPath(), "-n"});
    EXPECT_EQ(run.status, 6);
    EXPECT_EQ(run.output,
              "GetWWanValue: code= 1, msg= OpenSerialPort: Error opening serial port "
              "/dev/cu.wwanCMD19\n\nERROR: GetWWanValue() returns error 1\n"
              "ERROR: GetFWRevision() returns error 6\n");
    EXPECT_EQ(station({"--time-scale", "0.005", "--capture", capture, "-m", "evdo", toolPath(),
                       "-e", "/dev/cu.wwanCMD29"})
                  .output,
              "809A1B20\n");
}

TEST(Station, RefusesWhatItDoesNotKnow) {
    const struct {
        Words arguments;
        std::string complaint;
    } cases[] = {
        {{"--nonsense"}, "unknown option: '--nonsense'"},
        {{"-m"}, "the option needs an argument: '-m'"},
        {{"-m", "gsm"}, "unknown kind of module: 'gsm'"},
        {{"-m", "hspa,sim"}, "module key without a value: 'sim'"},
        {{"-m", "hspa,sim=lost"}, "unknown value: 'lost'"},
        {{"-m", "hspa,colour=red"}, "unknown module key: 'colour'"},
        {{"-m", "hspa,fault=boredom"}, "unknown value: 'boredom'"},
        {{"--time-scale", "-1"}, "the number is too small: '-1'"},
        {{"--time-scale", "1e7"}, "the number is too large: '1e7'"},
        {{"--time-scale", "1x"}, "not a number: '1x'"},
        {{"--user-id", "1000.7"}, "not a whole number: '1000.7'"},
        {{"--verbose=yes"}, "the option takes no argument: '--verbose=yes'"},
        {{"-m", "0x-5"}, "not a number: '0x-5'"},
        {{"--capture", "/no/such/file"},
         "registry capture /no/such/file: No such file or directory"},
        {{"--capture", "/dev/zero"}, "registry capture /dev/zero: not a regular file"},
    };
    for (const auto& example : cases) {
        Words arguments = example.arguments;
        arguments.emplace_back("true");
        if (example.arguments.back() == "-m") arguments.pop_back();
        const ToolRun run = station(arguments);
        EXPECT_EQ(run.status, 2) << example.complaint;
        EXPECT_EQ(run.output, "");
        EXPECT_TRUE(run.errors.starts_with("tarnwick-station: " + example.complaint)) << run.errors;
        EXPECT_TRUE(run.errors.ends_with("Try 'tarnwick-station --help'.\n")) << run.errors;
    }
}
