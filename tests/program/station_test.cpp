// The built station as others treat it: signals at any moment, roots that go.

#include <gtest/gtest.h>
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

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

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
    const ToolRun next = runProgram(
        {stationPath(), "-r", killed.root(), "--no-generator", "ls", killed.root() + "/dev"});
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

class Killed : public testing::TestWithParam<int> {};

// A signal at any moment of a dialogue, and the next run finds the line free and the station whole.
TEST_P(Killed, AtAnyMoment) {
    constexpr unsigned kMoments = 28;
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
    // A run that was killed may leave the driver loaded; the next one takes it as it is. It waits
    // at a larger scale than the station, which comes to its turn in that time on a busy machine,
    // too.
    station.write("host.conf", "user-id 0\ntime-scale 0.05\n");
    EXPECT_EQ(station.tool({"-c"}).status, 0);
    EXPECT_EQ(station.tool({"-a", "/dev/cu.wwanCMD19"}).output, "PASS\n");
}

INSTANTIATE_TEST_SUITE_P(By, Killed, testing::Values(SIGTERM, SIGKILL));
