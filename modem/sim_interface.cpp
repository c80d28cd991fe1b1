#include "modem/sim_interface.h"

#include <cstdio>
#include <cstring>

#include "discovery/module_family.h"
#include "modem/query.h"
#include "platform/bounded_text.h"
#include "serial/module_session.h"

static constexpr const char* kOperation = "VerifySIMInterface";
static constexpr const char* kBusyMark = "SIM busy";

// The test entry.
static constexpr int kIndex = 1;
static constexpr const char* kNumber = "123456789";
static constexpr int kNumberType = 129;
static constexpr const char* kText = "hello";

namespace {

// Command and answer are formats of an entry's index, number, number type and text, in that order.
struct SIMStep {
    const char* command;
    const char* number;
    const char* text;
    const char* refusal;  // a reply that has it is a failure, even if the SIM is busy, too
    const char* answer;   // a reply that lacks it is a failure, unless the SIM is busy
    SIMResult failure;
    const char* complaint;
};

enum class Outcome { kPassed, kBusy, kFailed };

}  // namespace

static constexpr const char* kWrite = "AT+CPBW=%d,\"%s\",%d,\"%s\"\r";
static constexpr SIMStep kSteps[] = {
    {"AT+CPIN?\r", "", "", "+CME", "", kSIMStatusFailed, "ERROR: error reading SIM status"},
    {kWrite, kNumber, kText, nullptr, "OK", kSIMPhonebookFailed,
     "ERROR: error writing to SIM phonebook"},
    {"AT+CPBR=%d\r", kNumber, kText, nullptr, "+CPBR: %d,\"%s\",%d,\"%s\"", kSIMPhonebookFailed,
     "ERROR: error reading from SIM phonebook"},
    {kWrite, "", "", nullptr, "OK", kSIMPhonebookFailed, "ERROR: error writing to SIM phonebook"},
};

static Outcome judge(const SIMStep& step, const char* reply) {
    if (step.refusal != nullptr && strstr(reply, step.refusal) != nullptr) return Outcome::kFailed;
    if (strstr(reply, kBusyMark) != nullptr) return Outcome::kBusy;
    char answer[kValueSize];
    formatText(answer, sizeof answer, step.answer, kIndex, step.number, kNumberType, step.text);
    return strstr(reply, answer) != nullptr ? Outcome::kPassed : Outcome::kFailed;
}

static std::int32_t runSteps(ModuleSession* session) {
    for (const SIMStep& step : kSteps) {
        prepareCommand(session, step.command, kIndex, step.number, kNumberType, step.text);
        Outcome outcome = Outcome::kBusy;
        while (outcome == Outcome::kBusy) {
            char reply[kReplySize];
            if (!queryReply(session, "", reply)) return kModemOk;
            outcome = judge(step, reply);
            if (outcome != Outcome::kFailed) continue;
            printf("RETURN = %s\n", reply);
            puts(step.complaint);
            CloseSerialPort(session->fd, session->message);
            return step.failure;
        }
    }
    return closeModule(session);
}

static std::int32_t testSIM(const char* ttyPath) {
    ModuleSession session;
    const int result = openModule(&session, kOperation, ttyPath);
    return result != kModemOk ? result : runSteps(&session);
}

std::int32_t VerifySIMInterface(const char* ttyPath) {
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            return reportNotSupported(kOperation);
        case ModuleFamily::kHspa:
            return testSIM(ttyPath);
        case ModuleFamily::kUnknown:
            break;
    }
    return kModemOk;
}
