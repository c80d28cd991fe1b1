#include "rf/signal_strength.h"

#include <cstdio>

#include "discovery/module_family.h"
#include "platform/host.h"
#include "rf/band_plan.h"
#include "rf/diagnostic_mode.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

static constexpr std::uint32_t kFamilyPause = 1000;  // ms

namespace {

struct Measurement {
    std::int32_t receiver;
    std::uint32_t band;
    std::int32_t channel;
};

}  // namespace

// Each way of measuring returns false when an exchange has failed, which has closed the port. A
// reply without a reading is no failure and leaves `*reading` as it is.

// "RX AGC = -95 dBm": the level stands behind the last equals sign.
static void takeReceiverLevel(char* reply, std::int32_t* reading) {
    LineWalker lines = walkLines(reply);
    const char* line = findLine(&lines, "dBm");
    const char* level = line != nullptr ? textAfterLast(line, '=') : nullptr;
    if (level != nullptr) *reading = parseInteger(level);
}

static bool measureDirectly(ModuleSession* session, const Measurement& wanted,
                            std::int32_t* reading) {
    const bool first = wanted.receiver == 1;
    char reply[kReplySize];
    if (!issueCommand(session, "AT!OEM=176\r") || !issueCommand(session, "AT!DIAG\r") ||
        !issueCommand(session, first ? "AT!RX=1\r" : "AT!RX2=1\r")) {
        return false;
    }
    // Any other band prepares nothing, so that the receiver command goes out a second time.
    if (wanted.band == kCellular || wanted.band == kPcs) {
        prepareCommand(session, "AT!CHAN=%d,%d\r", wanted.channel,
                       static_cast<std::int32_t>(wanted.band));
    }
    if (!sendCommand(session)) return false;
    prepareCommand(session, "AT!CHAN?\r");
    if (!queryReply(session, "OK", reply)) return false;  // it only has to be answered
    prepareCommand(session, "%s", first ? "AT!RXAGC?\r" : "AT!RX2AGC?\r");
    if (!queryReply(session, "OK", reply)) return false;
    takeReceiverLevel(reply, reading);
    return true;
}

// "AT!DAWGAVGAGC=9750,0,1" CR CR LF "-81": the echo's second CR counts as a line.
static void takeAveragedAgc(char* reply, std::int32_t* reading) {
    LineWalker lines = walkLines(reply);
    if (findLine(&lines, "AT!DAWGAVGAGC") == nullptr || nextLine(&lines) == nullptr) return;
    const char* figure = nextLine(&lines);
    if (figure != nullptr) *reading = parseInteger(figure);
}

static bool measureWcdma(ModuleSession* session, const Measurement& wanted, std::int32_t* reading) {
    if (!issueCommand(session, "AT!DAWSSCHAIN=1\r")) return false;
    // Any other receiver prepares nothing: the chain command goes out again as the query.
    if (wanted.receiver == 1 || wanted.receiver == 2) {
        prepareCommand(session, "AT!DAWGAVGAGC=%d,0,%d\r", wanted.channel, wanted.receiver - 1);
    }
    char reply[kReplySize];
    if (!queryReply(session, "OK", reply)) return false;
    takeAveragedAgc(reply, reading);
    return true;
}

// "-75 dBm"
static void takeAveragedRssi(char* reply, std::int32_t* reading) {
    LineWalker lines = walkLines(reply);
    const char* line = findLine(&lines, "dBm");
    if (line != nullptr) *reading = parseInteger(line);
}

static bool measureGsm(ModuleSession* session, const Measurement& wanted, std::int32_t* reading) {
    if (!issueCommand(session, "AT!DAGSRXBURST=0\r")) return false;
    prepareCommand(session, "AT!DAGGAVGRSSI=%d,0\r", wanted.channel);
    char reply[kReplySize];
    if (!queryReply(session, "OK", reply)) return false;
    takeAveragedRssi(reply, reading);
    return true;
}

static bool measureInDiagnosticMode(ModuleSession* session, const Measurement& wanted,
                                    std::int32_t* reading) {
    const Band* band = findBand(static_cast<std::int32_t>(wanted.band));
    if (!enterDiagnosticMode(session)) return false;
    prepareBandCommand(session, band);
    printf("Issue \"%s\"\n", session->command);
    if (!sendCommand(session) || !issueCommand(session, "AT!DASCHAN=%d\r", wanted.channel) ||
        !issueCommand(session, "AT!DASLNAGAIN=0\r")) {
        return false;
    }
    if (band == nullptr) return true;
    switch (band->standard) {
        case RadioStandard::kWcdma:
            return measureWcdma(session, wanted, reading);
        case RadioStandard::kGsm:
            return measureGsm(session, wanted, reading);
        case RadioStandard::kCdma:
            break;
    }
    return true;
}

static bool measure(ModuleSession* session, const Measurement& wanted, std::int32_t* reading) {
    for (;;) {
        switch (familyOf(gCardModel)) {
            case ModuleFamily::kEvdo:
                return measureDirectly(session, wanted, reading);
            case ModuleFamily::kHspa:
                return measureInDiagnosticMode(session, wanted, reading);
            case ModuleFamily::kUnknown:
                // Callers refuse unknown ids, so this is never reached; there is neither a way to
                // measure here nor a code to fail with.
                host::PauseMilliseconds(kFamilyPause);
        }
    }
}

std::int32_t GetWWanRSSI(const char* ttyPath, std::int32_t receiver, std::uint32_t band,
                         std::int32_t channel) {
    std::int32_t reading = kNoReading;
    ModuleSession session;
    if (openModule(&session, "GetRSSI", ttyPath) != kSerialOk) return reading;
    if (measure(&session, {receiver, band, channel}, &reading)) closeModule(&session);
    return reading;
}
