#include "modem/sim_interface.h"

#include <cstdio>
#include <cstring>

#include "discovery/module_table.h"
#include "modem/query.h"
#include "serial/module_session.h"

static constexpr const char* kOperation = "VerifySIMInterface";
static constexpr const char* kBusyMark = "SIM busy";

namespace {

struct SIMStep {
    const char* command;
    const char* refusal;  // in the reply: failed, busy or not
    const char* answer;   // not in the reply, and the SIM not busy: failed
    SIMResult failure;
    const char* complaint;
};

}  // namespace

static constexpr SIMStep kSteps[] = {
    {"AT+CPIN?\r", "+CME", "", kSIMStatusFailed, "ERROR: error reading SIM status"},
    {"AT+CPBW=1,\"123456789\",129,\"hello\"\r", nullptr, "OK", kSIMPhonebookFailed,
     "ERROR: error writing to SIM phonebook"},
    {"AT+CPBR=1\r", nullptr, "+CPBR: 1,\"123456789\",129,\"hello\"", kSIMPhonebookFailed,
     "ERROR: error reading from SIM phonebook"},
    {"AT+CPBW=1,\"\",129,\"\"\r", nullptr, "OK", kSIMPhonebookFailed,
     "ERROR: error writing to SIM phonebook"},
};

namespace {

enum class Outcome { kPassed, kBusy, kFailed };

}  // namespace

static Outcome judge(const SIMStep& step, const char* reply) {
    if (step.refusal != nullptr && strstr(reply, step.refusal) != nullptr) return Outcome::kFailed;
    if (strstr(reply, kBusyMark) != nullptr) return Outcome::kBusy;
    return strstr(reply, step.answer) != nullptr ? Outcome::kPassed : Outcome::kFailed;
}

static std::int32_t runSteps(ModuleSession* session) {
    for (const SIMStep& step : kSteps) {
        Outcome outcome = Outcome::kBusy;
        prepareCommand(session, "%s", step.command);
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

std::int32_t VerifySIMInterface(const char* ttyPath) {
    const ModuleFamily family = familyOf(gCardModel);
    if (family == ModuleFamily::kEvdo) return reportNotSupported(kOperation);
    if (family == ModuleFamily::kUnknown) return kModemOk;
    ModuleSession session;
    const int result = openModule(&session, kOperation, ttyPath);
    return result != kSerialOk ? result : runSteps(&session);
}
