#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "cli/module_options.h"
#include "cli/verify_arguments.h"
#include "discovery/module_family.h"
#include "rf/channel_frequency.h"
#include "rf/signal_strength.h"
#include "tests/support/fake_host.h"
#include "tests/support/operation_run.h"

// Stations compare frequencies to the last digit, and one channel too many is one that a station
// measures and nobody looks at. Each hash is the 64-bit FNV-1a of the band's frequencies from
// channel -10000 to 10000, each as "%f\n"; they were reckoned in Python from the channel plan,
// every constant, product and sum rounded to a 32-bit float by struct.pack("f").
TEST(Frequency, OfEveryChannelToTheLastDigit) {
    const std::uint64_t hashes[] = {
        0xABAE6B09194395F2ULL, 0xC15323C9DC4CC2A1ULL, 0x5058EAC98B94946EULL, 0x2BE331E67ADC788EULL,
        0x1B6BF0E876DD28E4ULL, 0x45A92285040BE910ULL, 0xC349132F378E999DULL, 0x87671B6396574053ULL,
        0x91A2907815762B33ULL, 0x788633A1DB82FEE3ULL,
    };
    gCardModel = 0;
    printed([&] {
        for (std::int32_t band = 0; band < 10; ++band) {
            std::uint64_t hash = 14695981039346656037ULL;
            for (std::int32_t channel = -10000; channel <= 10000; ++channel) {
                const float frequency = FrequencyLookup(static_cast<std::uint32_t>(band), channel);
                EXPECT_EQ(VerifyArguments(1, band, channel), frequency != 0 ? 0 : 1)
                    << band << " " << channel;
                char text[32];
                snprintf(text, sizeof text, "%f\n", static_cast<double>(frequency));
                for (const char* byte = text; *byte != '\0'; ++byte) {
                    hash = (hash ^ static_cast<std::uint8_t>(*byte)) * 1099511628211ULL;
                }
            }
            EXPECT_EQ(hash, hashes[band]) << band;
        }
    });
    EXPECT_EQ(FrequencyLookup(0xFFFFFFFF, 1), 0);
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
