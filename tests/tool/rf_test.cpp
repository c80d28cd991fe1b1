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

// Stations compare frequencies to the last digit.
TEST(Frequency, ToTheLastDigit) {
    const struct {
        std::uint32_t band;
        std::int32_t channel;
        const char* frequency;
    } cases[] = {{0, 0, "870.000000"},       {0, 799, "893.969971"},   {0, 991, "869.039978"},
                 {0, 1023, "870.000000"},    {1, 0, "1929.949951"},    {1, 25, "1931.199951"},
                 {2, 190, "881.600037"},     {3, 62, "947.400024"},    {3, 975, "925.200012"},
                 {4, 512, "1805.199951"},    {5, 810, "1989.799927"},  {6, 4132, "871.400024"},
                 {7, 9400, "1960.000000"},   {8, 9750, "2140.000000"}, {9, 1, "0.000000"},
                 {0xFFFFFFFF, 1, "0.000000"}};
    for (const auto& example : cases) {
        char text[32];
        snprintf(text, sizeof text, "%f",
                 static_cast<double>(FrequencyLookup(example.band, example.channel)));
        EXPECT_STREQ(text, example.frequency) << example.band << " " << example.channel;
    }
}

// One channel too many is one that a station measures and nobody looks at.
TEST(Frequency, EndsWhereTheOperandCheckDoes) {
    const struct {
        std::int32_t band, first, last;
    } ranges[] = {{0, 0, 799},     {0, 991, 1023},  {1, 0, 1200},   {2, 128, 251},
                  {3, 1, 124},     {3, 975, 1023},  {4, 512, 885},  {5, 512, 810},
                  {6, 4132, 4233}, {7, 9262, 9538}, {8, 9612, 9888}};
    gCardModel = 0;
    for (const auto& range : ranges) {
        for (const std::int32_t channel :
             {range.first - 1, range.first, range.last, range.last + 1}) {
            const bool inside = channel >= range.first && channel <= range.last;
            EXPECT_EQ(FrequencyLookup(static_cast<std::uint32_t>(range.band), channel) != 0, inside)
                << range.band << " " << channel;
            EXPECT_EQ(printed([&] {
                          EXPECT_EQ(VerifyArguments(1, range.band, channel), inside ? 0 : 1);
                      }).empty(),
                      inside);
        }
    }
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
