#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "station/module.h"
#include "station/radio.h"
#include "station/signal_generator.h"

using namespace station;

namespace {

std::string answerOf(Instrument& instrument, const char* command) {
    std::string text;
    for (const Answer& answer : instrument.receive(command)) text += answer.bytes;
    return text;
}

}  // namespace

TEST(Radio, ALevelReachesOnlyATunedReceiver) {
    const Channel gsm = *channelOf(18, 190);
    const struct {
        bool output;
        double frequencyHz, levelDbm;
        int receiver, reading;
    } cases[] = {{true, 881.6e6, -50, 1, -80},   {true, 881.6e6, -50, 2, -84},
                 {true, 881.69e6, -50, 1, -80},  {true, 881.71e6, -50, 1, -113},
                 {false, 881.6e6, -50, 1, -113}, {true, 881.6e6, -130, 1, -113},
                 {true, 881.6e6, 25, 1, -20}};
    for (const auto& example : cases) {
        const RfField field{example.output, example.frequencyHz, example.levelDbm};
        EXPECT_EQ(receivedLevel(field, gsm, example.receiver, 0), example.reading);
    }
}

TEST(Module, KeepsItsState) {
    RfField field;
    Module module(parseModuleSpec("0x8231,temp=-5/60"), 2, field);
    const struct {
        const char* command;
        const char* answer;  // behind the echo
    } dialogue[] = {
        {"AT!DAFTMACT", "ERROR\r\n"},
        {"AT!ENTERCND=\"wrong\"", "ERROR\r\n"},
        {"AT!ENTERCND=\"K482\"", "OK\r\n"},
        {"AT!DASCHAN=62", "ERROR\r\n"},
        {"at!daftmact", "OK\r\n"},
        {"AT!DASBAND=17", "ERROR\r\n"},
        {"AT!DASBAND=10", "OK\r\n"},
        {"AT!DASCHAN=500", "ERROR\r\n"},
        {"AT!DASCHAN=62", "OK\r\n"},
        {"AT!DAGGAVGRSSI=61,0", "ERROR\r\n"},
        {"AT!DAGGAVGRSSI=62,0", "-113 dBm\r\n\r\nOK\r\n"},
        {"AT+CFUN=2", "ERROR\r\n"},
        {"AT+CFUN=0", "OK\r\n"},
        {"AT+CFUN?", "+CFUN: 0\r\n\r\nOK\r\n"},
        {"AT!DTEMP? 1", "60\r\n\r\nOK\r\n"},
        {"AT!DTEMP? 2", "ERROR\r\n"},
        {"AT+CPBR=1", "OK\r\n"},
        {"AT+CPBW=1,\"123\",129,\"hi\"", "OK\r\n"},
        {"AT+CPBR=1", "+CPBR: 1,\"123\",129,\"hi\"\r\n\r\nOK\r\n"},
        {"AT+CPBW=1,\"\",129,\"\"", "OK\r\n"},
        {"AT+CPBR=1", "OK\r\n"},
        {"AT+CPBW=251", "ERROR\r\n"},
        {"AT!STATUS", "ERROR\r\n"},  // the other family's
        {"AT+NONSENSE", "ERROR\r\n"},
    };
    for (const auto& line : dialogue) {
        EXPECT_EQ(answerOf(module, line.command),
                  std::string(line.command) + "\r\r\n" + line.answer);
    }
}

// What clients set up first, on either family: whole answers, echo and framing included.
TEST(Module, AnswersAsItIsSetUp) {
    const struct {
        const char* spec;
        const char* command;
        const char* answer;
    } dialogue[] = {
        {"hspa", "ATE0V1Q0", "ATE0V1Q0\r\r\nOK\r\n"},  // echoed as it comes
        {"hspa,echo=off", "AT", "\r\nOK\r\n"},
        {"hspa", "AT+CMEE=2;+CSQ;E0", "AT+CMEE=2;+CSQ;E0\r\r\n+CSQ: 2,99\r\n\r\nOK\r\n"},
        {"hspa", "ATV0", "ATV0\r0\r"},
        {"hspa", "ATQ1", "ATQ1\r"},
        {"hspa", "*IDN?", ""},
        {"evdo,id=12AB34CD", "at+gsn", "at+gsn\r\r\n0x12AB34CD\r\n\r\nOK\r\n"},
        {"evdo", "ATZ", "ATZ\r\r\nOK\r\n"},
        {"evdo", "AT+CIMI", "AT+CIMI\r\r\nERROR\r\n"},
        {"hspa,sku=1,2", "AT", nullptr},
    };
    for (const auto& line : dialogue) {
        SCOPED_TRACE(std::string(line.spec) + " " + line.command);
        const RfField field;
        if (line.answer == nullptr) {
            EXPECT_THROW(parseModuleSpec(line.spec), std::invalid_argument);
        } else {
            Module module(parseModuleSpec(line.spec), 0, field);
            EXPECT_EQ(answerOf(module, line.command), line.answer);
        }
    }
}

TEST(Fault, LeavesASilentModuleAsItWas) {
    RfField field;
    Module module(parseModuleSpec("hspa"), 0, field);
    EXPECT_TRUE(receiveWithFault(parseFault("silent"), &module, "AT+CFUN=0").empty());
    EXPECT_NE(module.state().find("radio=on"), std::string::npos);
}

TEST(Generator, TakesLongAndShortForms) {
    const struct {
        const char* line;
        const char* answer;
    } dialogue[] = {
        {"*RST", ""},
        {"FREQ?", "100000000\n"},
        {"SOUR:FREQ 881.600037MHz", ""},
        {":source:frequency?", "881600037\n"},
        {"freq 1.5 GHZ;FREQ?;:OUTP ON;OUTPUT1:STATE?", "1500000000;1\n"},
        {"SOUR1:FREQ 900000 kHz;FREQ?", "900000000\n"},
        {"SOUR:POWer:LEVel -50;POW?", "-50.00\n"},
        {"POW:LEV 3 DBM;POW?", "3.00\n"},
        {"SOUR:POWER:MODE FIXED;POW:MODE?", "FIX\n"},
        {"*ESR?", "0\n"},
        {"POW 26", ""},
        {"FREQ 10 GHz", ""},
        {"FREQ 10 V", ""},
        {"FREQ x", ""},
        {"FREQ", ""},
        {"NONS:ENSE 1", ""},
        {"OUTP MAYBE", ""},
        {"*IDN? 1", ""},
        {"SYST:ERR?", "-222,\"Data out of range\"\n"},
        {"*ESR?;*ESR?", "48;0\n"},
        {"SYST:ERR?;SYSTEM:ERROR?", "-222,\"Data out of range\";-131,\"Invalid suffix\"\n"},
        {"SYST:ERR?;:SYST:ERR?", "-104,\"Data type error\";-109,\"Missing parameter\"\n"},
        {"SYST:ERR?", "-113,\"Undefined header\"\n"},
        {"SYST:ERR?;SYST:ERR?",
         "-224,\"Illegal parameter value\";-108,\"Parameter not allowed\"\n"},
        {"SYST:ERR?", "0,\"No error\"\n"},
        {":SYST:DISP:UPD OFF;SYSTEM:DISPLAY:UPDATE?", "0\n"},
        {"::;;: ;?", ""},
        {"X;*CLS;SYST:ERR?;*ESR?;*OPC?", "0,\"No error\";0;1\n"},
    };
    RfField field;
    SignalGenerator generator(&field);
    std::string notes;
    generator.note = [&](std::string_view note) { notes += std::string(note) + "\n"; };
    for (const auto& line : dialogue) {
        EXPECT_EQ(answerOf(generator, line.line), line.answer) << line.line;
    }
    EXPECT_TRUE(notes.starts_with("error queue: -222,\"Data out of range\"\n"));
    EXPECT_TRUE(field.output);
    answerOf(generator, "*RST");
    EXPECT_FALSE(field.output);
}
