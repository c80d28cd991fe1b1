#include "tests/program/fault_rules.h"

#include "tests/support/case_text.h"

using std::string;
using enum Answer;

static const Operation kQuery = {"GetWWanValue"};
static const Operation kTemperature = {"GetHWTemperature"};
static const Operation kStatus = {"GetWWanStatus"};
static const Operation kPower = {"SetPowerState"};
static const Operation kSimTest = {"VerifySIMInterface"};
static const Operation kTransmit = {"SetWWanTransmit"};
static const Operation kLevel = {"GetRSSI", 6, "ERROR: GetWWanRSSI() unable to obtain rssi\n"};
static const Operation kWakeUp = {
    "GetRSSI", 6,
    "ERROR: GetWWanRSSI() unable to obtain rssi\nERROR: GetFWRevision() returns error 6\n"};
static const Operation kEnable = {"EnableSignalGenerator"};
static const Operation kIdentify = {"VerifySignalGeneratorConnection"};

static const char* const kNotWritten = "ERROR: error writing to SIM phonebook\nFAIL\n";
static const char* const kUnheard = "-108 dBm\n";

using Steps = std::vector<Step>;

// A step for each of the words, and what comes behind them.
static Steps acknowledged(const char* commands, const Steps& last = {}) {
    Steps steps;
    for (const string& command : wordsOf(commands)) steps.push_back({command, kAcknowledged});
    steps.insert(steps.end(), last.begin(), last.end());
    return steps;
}

// clang-format off
static std::vector<Dialogue> makeDialogues() {
    return {
    {"evdo", "-s 1 1 25 -50 0", &kEnable,
     {{"*RST"},
      {":SYST:DISP:UPD ON"},
      {.command = "SOUR:FREQ 1931.199951MHz", .rest = kUnheard},
      {"SOUR:POWer:MODE FIX"},
      {.command = "SOUR:POWer:LEVel -50", .rest = "-60 dBm\n"},
      {.command = "OUTPut1:STATe ON", .well = "-80 dBm\n", .rest = kUnheard},
      {"OUTPut1:STATe OFF"},
      {":SYST:DISP:UPD OFF"}},
     1, true},
    {"evdo", "-c", &kIdentify,
     {{"*RST"},
      {"*IDN?", kGenerator, "Device Identification = Tarnwick Instruments,SG-3000,100042,1.07\n"}},
     0, true},
    {"hspa,id=352099001761481", "-e", &kQuery, {{"AT+CGSN", kValue, "352099001761481\n", "\n"}}},
    {"hspa", "-i", &kQuery,
     {{"AT!GVER?", kValue, "FW = K2_0_7_19AP\n", "FW = \n"},
      {"AT^HVER", kValue, "HW = 1.4\n", "HW = \n"},
      {"AT^SYSINFO", kValue, "SIM PRESENT = 1,1\n", "SIM PRESENT = 1,\n"},
      {"AT^CARDMODE", kValue, "SIM TYPE = 2\n", "SIM TYPE = \n"},
      {"AT!GSTATUS?", kReport,
       "STATUS = !GSTATUS:\nMode: ONLINE\r\nTemperature: 41\r\nSystem mode: WCDMA\r\n"
       "GMM state: REGISTERED\r\n\r\n\n", "STATUS = \n", &kStatus}}},
    {"hspa", "-k", &kQuery, {{"AT!PRIID?", kValue, "9901042\n", "\n"}}},
    {"hspa", "-m", &kQuery, {{"AT^SYSINFO", kValue, "TRUE\n", "TRUE\n"}}},
    {"hspa", "-t", &kTemperature,
     {{.command = "AT!DTEMP? 0", .answer = kValue, .lost = "?\n", .rest = "0\t43\n"},
      {"AT!DTEMP? 1", kValue, "41\t43\n", "41\t0\n", &kTemperature, "?\n"}}},
    {"hspa", "-w", &kQuery, {{"AT+CFUN?", kValue, "ON\n", "OFF\n"}}},
    {"hspa", "-p", &kPower, {{"AT+CFUN=1"}}},
    {"hspa", "-f", &kPower, {{"AT+CFUN=0"}}},
    {"hspa", "-a", &kSimTest,
     {{"AT+CPIN?", kValue, "", "", &kSimTest, "PASS\n"},
      {R"(AT+CPBW=1,"123456789",129,"hello")", kSim, "", kNotWritten, &kSimTest, "PASS\n"},
      {"AT+CPBR=1", kSim, "", "ERROR: error reading from SIM phonebook\nFAIL\n", &kSimTest, "PASS\n"},
      {R"(AT+CPBW=1,"",129,"")", kSim, "PASS\n", kNotWritten, &kSimTest, "PASS\n"}}},
    {"hspa", "-r 1 3 62 0", &kLevel,
     acknowledged(R"(AT!ENTERCND="K482" AT!DAFTMACT AT!DASBAND=10 AT!DASCHAN=62 AT!DASLNAGAIN=0)"
                  " AT!DAGSRXBURST=0", {{"AT!DAGGAVGRSSI=62,0", kReport, "-113 dBm\n"}})},
    {"hspa", "-r 2 8 9750 1", &kLevel,
     acknowledged(R"(AT!ENTERCND="K482" AT!DAFTMACT AT!DASBAND=9 AT!DASCHAN=9750 AT!DASLNAGAIN=0)"
                  " AT!DAWSSCHAIN=1",
                  {{"AT!DAWGAVGAGC=9750,0,1", kReport, "2\t8\t9750\t2140.000000\t-106\n"}}),
     5},
    {"hspa", "-b 4 700 20 1", &kTransmit,
     acknowledged(R"(AT!ENTERCND="K482" AT!DAFTMACT AT!DASBAND=11 AT!DASCHAN=700)"
                  " AT!DAGSTXFRAME=0,1,2000,0 AT!DASTXON")},
    {"hspa", "-b 7 9400 20 1", &kTransmit,
     acknowledged(R"(AT!ENTERCND="K482" AT!DAFTMACT AT!DASBAND=16 AT!DASCHAN=9400)"
                  " AT!DASTXON AT!DAWSTXCW=0 AT!DASPDM=2,20 AT!DAWSPARANGE=3"),
     4},
    {"hspa", "-b 7 9400 20 0", &kTransmit, acknowledged("AT!DASTXOFF")},
    {"evdo", "-i", &kQuery,
     {{"AT!MDMVER?", kValue, "FW =  p2813300,59370\nHW = NA\n", "FW = \nHW = NA\n"},
      {"AT!PRLVER?", kValue, "PRLVER = 60683\n", "PRLVER = \n"},
      {"AT!STATUS", kReport,
       "STATUS = Band: 0\nChannel: 0\r\nPower mode: Awake\r\nTemperature: 41 C\r\n"
       "System: Idle\r\n\r\n\n", "STATUS = \n", &kStatus}}},
    {"evdo", "-t", &kStatus, {{"AT!STATUS", kReport, "41\n", "0\n"}}},
    {"evdo,asleep=yes", "-t", &kWakeUp,
     {{"AT!STATUS", kReport, "", "0\n", &kStatus},
      {"AT!OEM=176", kAcknowledged},
      {"AT!DIAG", kAcknowledged},
      {"AT!RX=1", kAcknowledged},
      {"AT!CHAN=0,0", kAcknowledged},
      {"AT!CHAN?", kReport},
      {"AT!RXAGC?", kReport},
      {"AT!STATUS", kReport, "41\n"}}},
    {"evdo", "-r 2 1 25 1", &kLevel,
     acknowledged("AT!OEM=176 AT!DIAG AT!RX2=1 AT!CHAN=25,1",
                  {{"AT!CHAN?", kReport},
                   {"AT!RX2AGC?", kReport, "2\t1\t25\t1931.199951\t-108\n"}})},
    {"evdo", "-b 0 25 20 0", &kTransmit, acknowledged("AT!DASTXOFF")},
};
}
// clang-format on

const std::vector<Dialogue>& dialogues() {
    static const std::vector<Dialogue> kDialogues = makeDialogues();
    return kDialogues;
}

static const Operation& operationOf(const Dialogue& dialogue, const Step& step) {
    return step.operation != nullptr ? *step.operation : *dialogue.operation;
}

static void send(const Dialogue& dialogue, std::size_t index, Outcome* outcome) {
    const string& command = dialogue.steps[index].command;
    const bool isAnnounced = dialogue.operation == &kLevel && command.starts_with("AT!DASBAND");
    if (isAnnounced) outcome->output += "Issue \"" + command + "\r\"\n";
    outcome->commands.push_back(command);
}

// The steps from `first` to before `last` go well.
static void pass(const Dialogue& dialogue, std::size_t first, std::size_t last, Outcome* outcome) {
    for (std::size_t index = first; index < last; ++index) {
        send(dialogue, index, outcome);
        outcome->output += dialogue.steps[index].well;
    }
}

// The steps after `index` go well. In place of what they print stands `rest`, if it is given.
static void passRest(const Dialogue& dialogue, std::size_t index, const char* rest,
                     Outcome* outcome) {
    const string printed = outcome->output;
    pass(dialogue, index + 1, dialogue.steps.size(), outcome);
    if (rest != nullptr) outcome->output = printed + rest;
}

static void end(int status, const string& text, Outcome* outcome) {
    outcome->status = status;
    outcome->output += text;
}

static string report(const Operation& operation, const Step& step, const string& message) {
    return string(operation.name) + ": error while issue command " + step.command +
           "\r --- code= 0, msg= " + message + "\n";
}

// The answer is a refusal (`error`) or none at all (`garbage`).
static void missAnswer(const Dialogue& dialogue, std::size_t index, bool isRefusal,
                       Outcome* outcome) {
    const Step& step = dialogue.steps[index];
    const Operation& operation = operationOf(dialogue, step);
    const string name = operation.name;
    const string reply = isRefusal ? step.command + "\r\r\nERROR" : "";
    const string tooLong = "readSerialPort: Error buffer full [0]";
    const string mismatch =
        "writeAndReadSerialPort: Comparison Failed - returned '" + reply + "', expected 'OK'";
    switch (step.answer) {
        case kUnread:
        case kValue:
            outcome->output += step.failed;
            return passRest(dialogue, index, step.rest, outcome);
        case kAcknowledged:
        case kReport: {
            const bool isRead = isRefusal || step.answer == kReport;
            outcome->output += report(operation, step, isRead ? mismatch : tooLong);
            return end(operation.status, step.failed + string(operation.ending), outcome);
        }
        case kSim:
            return end(0, "RETURN = " + reply + "\n" + step.failed, outcome);
        case kGenerator:
            outcome->output += "Device Identification = " + reply + "\n";
            if (isRefusal) return;
            outcome->isDriverLoaded = false;
            return end(
                5,
                name + ": code= 5, msg= " + tooLong + "\nERROR: " + name + "() returns error 5\n",
                outcome);
    }
}

// The line is gone when the command is written or its answer is read.
static Outcome lostAt(const Dialogue& dialogue, std::size_t index, const string& message) {
    const Step& step = dialogue.steps[index];
    const Operation& operation = operationOf(dialogue, step);
    Outcome outcome;
    pass(dialogue, 0, index, &outcome);
    send(dialogue, index, &outcome);
    outcome.output += report(operation, step, message);
    if (step.lost != nullptr) {
        end(operation.status, step.lost, &outcome);
    } else if (step.answer == kValue) {
        outcome.output += step.failed;
        passRest(dialogue, index, nullptr, &outcome);
    } else {
        end(operation.status, step.failed + string(operation.ending), &outcome);
    }
    return outcome;
}

Outcome soundOutcome(const Dialogue& dialogue) {
    Outcome outcome;
    pass(dialogue, 0, dialogue.steps.size(), &outcome);
    return outcome;
}

static const char* const kReadError = "readSerialPort: Error reading from serial port";

bool canForetell(const Dialogue& dialogue, std::size_t index, const string& fault) {
    const bool isUnread = dialogue.steps[index].answer == kUnread;
    if (fault == "hangup-after") return false;
    if (fault.starts_with("hangup")) return !isUnread && !dialogue.generator;
    const bool isAnswered = fault == "error" || fault == "garbage";
    const bool isRead = isUnread && index + 1 < dialogue.steps.size() &&
                        dialogue.steps[index + 1].answer == kGenerator;
    return !isAnswered || !isRead;
}

Outcome faultyOutcome(const Dialogue& dialogue, std::size_t index, const string& fault) {
    if (fault == "late" || fault == "split") return soundOutcome(dialogue);
    if (fault.starts_with("hangup")) return lostAt(dialogue, index, kReadError);
    Outcome outcome;
    pass(dialogue, 0, index, &outcome);
    send(dialogue, index, &outcome);
    if (fault == "silent" && dialogue.steps[index].answer != kUnread) {
        outcome.status = kKilled;
    } else {
        missAnswer(dialogue, index, fault == "error", &outcome);
    }
    return outcome;
}

static bool saysTheSame(const Outcome& outcome, const Outcome& other) {
    return outcome.output == other.output && outcome.status == other.status;
}

static bool holds(const string& text, const char* part) {
    return text.find(part) != string::npos;
}

// The generator is at work with a part of the commands, or the driver was unloaded and the failure
// is the exit status.
static bool isPossibleAtGenerator(const Outcome& outcome) {
    const string& output = outcome.output;
    if (outcome.status == 0) {
        const bool isIdentified = output.starts_with("Device Identification = ");
        return outcome.isDriverLoaded && (output == kUnheard || isIdentified);
    }
    return !outcome.isDriverLoaded && holds(output, "SerialPort: Error") &&
           output.ends_with("returns error " + std::to_string(outcome.status) + "\n");
}

bool isPossible(const Dialogue& dialogue, std::size_t index, const Outcome& outcome) {
    if (saysTheSame(outcome, soundOutcome(dialogue))) return true;
    if (dialogue.generator) return isPossibleAtGenerator(outcome);
    for (std::size_t later = index; later < dialogue.steps.size(); ++later) {
        const string length = std::to_string(dialogue.steps[later].command.size() + 3);
        const string writeError =
            "writeSerialPort: Error writing to serial port - returned -1, expected " + length;
        if (saysTheSame(outcome, lostAt(dialogue, later, kReadError))) return true;
        if (saysTheSame(outcome, lostAt(dialogue, later, writeError))) return true;
    }
    // Between the last answer and the close, or between two users.
    return holds(outcome.output, "CloseSerialPort: Error") ||
           holds(outcome.output, "Error opening serial port");
}
