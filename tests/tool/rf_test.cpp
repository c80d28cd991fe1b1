#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>

#include "cli/module_options.h"
#include "cli/verify_arguments.h"
#include "discovery/module_family.h"
#include "rf/channel_frequency.h"
#include "rf/signal_strength.h"
#include "tests/support/fake_host.h"
#include "tests/support/operation_run.h"

namespace {

// Channels in a row, and the frequencies that stations know three of them by: the first, one whose
// last digit tells single precision and the order of the sums, and the last.
struct Row {
    std::int32_t band;
    std::int32_t channels[3];
    const char* frequencies[3];
};

constexpr Row kRows[] = {
    {0, {0, 1, 799}, {"870.000000", "870.030029", "893.969971"}},
    {0, {991, 999, 1023}, {"869.039978", "869.279968", "870.000000"}},
    {1, {0, 2, 1200}, {"1929.949951", "1930.049927", "1989.949951"}},
    {2, {128, 130, 251}, {"869.200012", "869.600037", "893.799988"}},
    {3, {1, 3, 124}, {"935.200012", "935.600037", "959.799988"}},
    {3, {975, 977, 1023}, {"925.200012", "925.600037", "934.799988"}},
    {4, {512, 513, 885}, {"1805.199951", "1805.399902", "1879.799927"}},
    {5, {512, 513, 810}, {"1930.199951", "1930.399902", "1989.799927"}},
    {6, {4132, 4133, 4233}, {"871.400024", "871.600037", "891.600037"}},
    {7, {9262, 9266, 9538}, {"1932.400024", "1933.200073", "1987.599976"}},
    {8, {9612, 9616, 9888}, {"2112.399902", "2113.200195", "2167.600098"}},
};

bool isChannel(std::int32_t band, std::int32_t channel) {
    return std::any_of(std::begin(kRows), std::end(kRows), [&](const Row& row) {
        return row.band == band && channel >= row.channels[0] && channel <= row.channels[2];
    });
}

}  // namespace

// Stations compare frequencies to the last digit.
TEST(Frequency, OfEachRowOfChannelsToTheLastDigit) {
    for (const Row& row : kRows) {
        for (const int place : {0, 1, 2}) {
            char text[32];
            snprintf(text, sizeof text, "%f",
                     static_cast<double>(FrequencyLookup(static_cast<std::uint32_t>(row.band),
                                                         row.channels[place])));
            EXPECT_STREQ(text, row.frequencies[place]) << row.band << " " << row.channels[place];
        }
    }
    EXPECT_EQ(FrequencyLookup(0xFFFFFFFF, 1), 0);
}

// One channel too many is one that a station measures and nobody looks at.
TEST(Frequency, IsOfTheChannelsThatMayBeAskedForAlone) {
    gCardModel = 0;
    printed([&] {
        for (std::int32_t band = -1; band <= 9; ++band) {
            for (std::int32_t channel = -10000; channel <= 10000; ++channel) {
                const bool isKnown = isChannel(band, channel);
                const float frequency = FrequencyLookup(static_cast<std::uint32_t>(band), channel);
                EXPECT_EQ(frequency != 0, isKnown) << band << " " << channel;
                EXPECT_EQ(VerifyArguments(1, band, channel), isKnown ? 0 : 1)
                    << band << " " << channel;
            }
        }
    });
}

TEST(Arguments, FitTheModule) {
    const auto verify = [](std::uint32_t productId, std::int32_t receiver, std::int32_t band) {
        gCardModel = productId;
        return printed([&] { EXPECT_EQ(VerifyArguments(receiver, band, 25), 1); });
    };
    EXPECT_EQ(verify(0x8232, 1, 1),
              "VerifyArguments: Invalid band (1) for installed WWAN module (0x8232) \n");
    EXPECT_EQ(verify(0x0019, 3, 9),
              "VerifyArguments: Invalid input for receiver (3)\n"
              "VerifyArguments: Invalid input for band (9)\n"
              "VerifyArguments: Invalid band (9) for installed WWAN module (0x0019) \n");
}

// The generator settles before anything is measured. It is on the module's line here, and silent.
TEST(SignalStrength, IsReadAfterItsPauses) {
    const auto module = answering({{"AT!RXAGC?", "RX AGC = -81 dBm"}});
    const OperationRun run = runOperation(
        0x0019,
        [&](const std::string& command) {
            return command.starts_with("AT") ? module(command) : "";
        },
        [](const char* tty) {
            gHost.node = tty;
            return ReceiveFromGenerator(tty, {1, -50, 1, 25});
        });
    EXPECT_EQ(run.output, "-81 dBm\n");
    EXPECT_EQ(run.pauses, (std::vector<std::uint32_t>{3000, 350, 350, 350, 350, 600, 600}));
}

// Replies that hold no reading, as they stand on the wire, and what no operator can ask for.
// Whether or not there is a reading, the port is closed.
TEST(SignalStrength, IsTakenFromOddReplies) {
    const struct {
        std::uint32_t productId;
        std::int32_t receiver;
        std::uint32_t band;
        const char* query;
        const char* reply;
        std::int32_t reading;
    } cases[] = {
        {0x0019, 1, 0, "AT!RXAGC?", "dBm OK\r\n", 65535},
        {0x0019, 1, 0, "AT!RXAGC?", "x=OK dBm\r\n", 0},
        {0x0019, 1, 0, "AT!RXAGC?", "a\r\nb= -7 dBm\r\nc= -8 dBm\r\nOK\r\n", -7},
        {0x8231, 1, 6, "AT!DAWGAVGAGC", "-81\r\nOK\r\n", 65535},
        {0x8231, 1, 6, "AT!DAWGAVGAGC", "OK AT!DAWGAVGAGC\r\n", 65535},
        {0x8231, 1, 6, "AT!DAWGAVGAGC", "AT!DAWGAVGAGC\r\r\nOK\r\n", 0},
        {0x8231, 1, 6, "AT!DAWGAVGAGC", "OK AT!DAWGAVGAGC\r\nskipped\r\n", 65535},
        {0x8231, 3, 6, "AT!DAWGAVGAGC", "AT!DAWGAVGAGC\r\r\n-81\r\nOK\r\n", 65535},
        {0x8231, 1, 2, "AT!DAGGAVGRSSI", "OK\r\nlevel dBm -3\r\n", 0},
        {0x8231, 1, 2, "AT!DAGGAVGRSSI", "OK no level\r\n", 65535},
        {0x8231, 1, 0, "AT!DA", "OK dBm\r\n", 65535},
        {0x8231, 1, 9, "AT!DA", "OK dBm\r\n", 65535},
    };
    for (const auto& testCase : cases) {
        const OperationRun run = runOperation(
            testCase.productId,
            [&](const std::string& command) {
                return command.starts_with(testCase.query) ? testCase.reply
                                                           : answering({})(command);
            },
            [&](const char* tty) {
                return GetWWanRSSI(tty, testCase.receiver, testCase.band, 128);
            });
        EXPECT_EQ(run.result, testCase.reading) << testCase.reply;
    }
}
