#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "cli/module_options.h"
#include "cli/verify_arguments.h"
#include "discovery/module_table.h"
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

TEST(Arguments, EveryCheckPrintsItsLine) {
    const char* receiver = "VerifyArguments: Invalid input for receiver (3)\n";
    const struct {
        std::uint32_t productId;
        std::int32_t receiver, band, channel;
        std::string output;
    } cases[] = {
        {0x8231, 1, 2, 128, ""},
        {0x8231, 3, 2, 128, receiver},
        {0x0019, 1, 9, 5,
         "VerifyArguments: Invalid input for band (9)\n"
         "VerifyArguments: Invalid band (9) for installed WWAN module (0x0019) \n"},
        {0, 1, -1, 5, "VerifyArguments: Invalid input for band (-1)\n"},
        {0, 2, 6, 4234, "VerifyArguments: Invalid input for channel (4234) for band 6\n"},
        {0, 2, 8, -9888, "VerifyArguments: Invalid input for channel (-9888) for band 8\n"},
        {0x8232, 1, 1, 25,
         "VerifyArguments: Invalid band (1) for installed WWAN module (0x8232) \n"},
        {0x8222, 3, 10, 5,
         receiver + std::string("VerifyArguments: Invalid input for band (10)\n"
                                "VerifyArguments: Invalid band (10) for installed WWAN module "
                                "(0x8222) \n")},
    };
    for (const auto& example : cases) {
        gCardModel = example.productId;
        const std::string output = printed([&] {
            EXPECT_EQ(VerifyArguments(example.receiver, example.band, example.channel),
                      example.output.empty() ? 0 : 1);
        });
        EXPECT_EQ(output, example.output);
    }
}

// The generator settles before anything is measured. It is on the module's line here, and silent.
TEST(SignalStrength, IsReadAfterItsPauses) {
    const auto module = answering({{"AT!RXAGC?", "RX AGC = -81 dBm"}});
    const OperationRun run = runOperation(
        0x0019,
        [&](const std::string& command) {
            return command.starts_with("AT") ? module(command) : ScriptedDevice::Reaction{};
        },
        [](const char* tty) {
            gHost.devices["/dev/tty.KeySerial1"] = tty;
            return ReceiveFromGenerator(tty, {1, -50, 1, 25});
        });
    EXPECT_EQ(run.output, "-81 dBm\n");
    EXPECT_EQ(run.pauses, (std::vector<std::uint32_t>{3000, 350, 350, 350, 350, 600, 600}));
}

// Nothing is measured and nothing fails: the port is closed all the same.
TEST(SignalStrength, OfABandWithoutACodeClosesThePort) {
    for (const std::uint32_t band : {0U, 1U, 9U}) {
        const OperationRun run = runOperation(
            0x8231, answering({}), [&](const char* tty) { return GetWWanRSSI(tty, 1, band, 25); });
        EXPECT_EQ(run.result, 65535);
        EXPECT_EQ(run.output, "Issue \"AT!DAFTMACT\r\"\n");
    }
}

// No operator can ask for it: the front end knows two receivers.
TEST(SignalStrength, OfAThirdReceiverSendsTheCommandBeforeAgain) {
    const OperationRun run =
        runOperation(0x8232, answering({{"AT!DAWGAVG", "-81"}}),
                     [](const char* tty) { return GetWWanRSSI(tty, 3, 6, 4132); });
    EXPECT_EQ(run.result, 65535);
    EXPECT_EQ(run.wire,
              "AT!ENTERCND=\"K482\" AT!DAFTMACT AT!DASBAND=22 AT!DASCHAN=4132 AT!DASLNAGAIN=0 "
              "AT!DAWSSCHAIN=1 AT!DAWSSCHAIN=1");
    EXPECT_EQ(run.output, "Issue \"AT!DASBAND=22\r\"\n");
}

// Replies that hold no reading, as they stand on the wire.
TEST(SignalStrength, TakesNoReadingFromABrokenReply) {
    const struct {
        std::uint32_t productId;
        std::uint32_t band;
        const char* query;
        const char* reply;
        std::int32_t reading;
    } cases[] = {
        {0x0019, 0, "AT!RXAGC?", "dBm OK\r\n", 65535},
        {0x0019, 0, "AT!RXAGC?", "x=OK dBm\r\n", 0},
        {0x0019, 0, "AT!RXAGC?", "a\r\nb= -7 dBm\r\nc= -8 dBm\r\nOK\r\n", -7},
        {0x8231, 6, "AT!DAWGAVGAGC", "-81\r\nOK\r\n", 65535},
        {0x8231, 6, "AT!DAWGAVGAGC", "OK AT!DAWGAVGAGC\r\n", 65535},
        {0x8231, 6, "AT!DAWGAVGAGC", "AT!DAWGAVGAGC\r\r\nOK\r\n", 0},
        {0x8231, 6, "AT!DAWGAVGAGC", "OK AT!DAWGAVGAGC\r\nskipped\r\n", 65535},
        {0x8231, 2, "AT!DAGGAVGRSSI", "OK\r\nlevel dBm -3\r\n", 0},
        {0x8231, 2, "AT!DAGGAVGRSSI", "OK no level\r\n", 65535},
    };
    for (const auto& example : cases) {
        const OperationRun run = runOperation(
            example.productId,
            [&](const std::string& command) -> ScriptedDevice::Reaction {
                if (command.starts_with(example.query)) return {example.reply};
                return answering({})(command);
            },
            [&](const char* tty) { return GetWWanRSSI(tty, 1, example.band, 128); });
        EXPECT_EQ(run.result, example.reading) << example.reply;
    }
}
