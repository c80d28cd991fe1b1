// A station between its users and a device that knows nothing of stations.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "tests/program/station_run.h"
#include "tests/support/foreign_line.h"

namespace {

// Reads `size` bytes, or what comes until the line ends or is silent for ten seconds.
std::string readFrom(int fd, std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t count = 0;
    pollfd line = {fd, POLLIN, 0};
    while (count < size && poll(&line, 1, 10000) == 1) {
        const ssize_t got = read(fd, &bytes[count], size - count);
        if (got <= 0) break;
        count += static_cast<std::size_t>(got);
    }
    return bytes.substr(0, count);
}

void writeAll(int fd, const std::string& bytes) {
    for (std::size_t count = 0; count < bytes.size();) {
        const ssize_t put = write(fd, &bytes[count], bytes.size() - count);
        if (put <= 0) return;
        count += static_cast<std::size_t>(put);
    }
}

// A device in the test's hand, behind a station's line, and a user of the line.
class Relayed : public testing::Test {
  protected:
    void begin(const std::string& keys) {
        station_ = std::make_unique<TestStation>(
            std::vector<std::string>{"-m", "hspa,device=" + device_->path + keys});
        user_ = open((station_->root() + "/dev/cu.wwanCMD19").c_str(), O_RDWR | O_NOCTTY);
    }
    ~Relayed() override { close(user_); }

    std::unique_ptr<HeldPty> device_ = std::make_unique<HeldPty>(false);
    std::unique_ptr<TestStation> station_;
    int user_ = -1;
};

}  // namespace

TEST(Relay, LetsTheToolAskAForeignModem) {
    const ForeignLine modem(answering({{"AT+CGSN", "004401234567893"}}));
    const TestStation station({"-m", "hspa,device=" + modem.pty.path});
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(station.tool({"-e"}).output, "004401234567893\n");
    }
}

TEST_F(Relayed, BytesPassUnchangedAndSettingsWithThem) {
    begin("");
    termios settings = {};
    tcgetattr(user_, &settings);
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B9600});
    cfsetspeed(&settings, B115200);
    settings.c_cflag |= CSTOPB;
    tcsetattr(user_, TCSANOW, &settings);
    std::minstd_rand random(20);  // NOLINT(cert-msc51-cpp): the same bytes in each run
    std::string bytes(1 << 20, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() >> 8); });
    for (const auto& [from, to] : {std::pair{user_, device_->master}, {device_->master, user_}}) {
        std::thread writer([&, writing = from] { writeAll(writing, bytes); });
        EXPECT_TRUE(readFrom(to, bytes.size()) == bytes);
        writer.join();
    }
    tcgetattr(device_->slave, &settings);
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B115200});
    EXPECT_NE(settings.c_cflag & CSTOPB, tcflag_t{0});
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO), tcflag_t{0});
}

TEST_F(Relayed, PiecesArePassedOnAsTheyCome) {
    begin(",fault=silent@AT+CFUN=");
    const struct {
        std::string written, heard;
    } pieces[] = {{"A", ""},
                  {"T+CG", "AT+CG"},  // no command that the fault is for
                  {"SN\r\n", "SN\r\n"},
                  {"at+cfun=0\r\r\nAT", ""},  // one, with all of its line ends
                  {"\r", "AT\r"}};
    for (const auto& [written, heard] : pieces) {
        writeAll(user_, written);
        EXPECT_EQ(readFrom(device_->master, heard.size()), heard);
    }
    for (const std::string piece : {"one", "\r\ntwo", "\x1a\xff"}) {
        writeAll(device_->master, piece);
        EXPECT_EQ(readFrom(user_, piece.size()), piece);
    }
    const std::vector<std::string> dialogue = {"wwanCMD19 > AT+CGSN",   "wwanCMD19 > at+cfun=0",
                                               "wwanCMD19 > AT",        "wwanCMD19 < one",
                                               "wwanCMD19 < \\r\\ntwo", "wwanCMD19 < \\x1A\\xFF"};
    EXPECT_EQ(station_->transcript(), dialogue);
}

TEST_F(Relayed, ADeviceThatGoesHangsUp) {
    begin("");
    writeAll(user_, "AT\r");
    EXPECT_EQ(readFrom(device_->master, 3), "AT\r");
    writeAll(device_->master, "half");
    EXPECT_EQ(readFrom(user_, 4), "half");
    device_.reset();
    EXPECT_EQ(readFrom(user_, 1), "");
    station_->waitFor("wwanCMD19 ! hang up");
}

TEST_F(Relayed, ABusyDeviceHangsUp) {
    ASSERT_EQ(flock(device_->slave, LOCK_EX), 0);  // as terminal programs do
    begin("");
    writeAll(user_, "AT\r");
    EXPECT_EQ(readFrom(user_, 1), "");
    station_->waitFor("wwanCMD19 ! hang up");
}
