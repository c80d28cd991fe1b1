// Every option of the built tool at a built station: exit status, output, wire and state, whole.
// The cases stand in options.txt, which says how a block reads.

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/program/station_run.h"

namespace {

using Words = std::vector<std::string>;

struct Block {
    int place = 0;  // of its first line
    Words options;
    Words arguments;
    int status = -1;
    std::string broken;  // a driver tool that only fails
    std::string output;
    std::string errors;                        // how standard error ends
    std::map<std::string, std::string> wires;  // by their lines; what is not named is sent nothing
    std::vector<std::pair<std::string, std::string>> states;  // "NAME", "KEY=VALUE"
};

void PrintTo(const Block& block, std::ostream* stream) {
    for (const Words& words : {block.options, block.arguments}) {
        for (const std::string& word : words) *stream << word << " ";
    }
}

std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

std::string printedLine(std::string line) {
    if (line == "\\help") return contentOf(std::string(TARNWICK_OPTIONS_FOLDER) + "/help.txt");
    std::string text;
    for (std::size_t place = 0; place < line.size(); ++place) {
        const std::string code = line.substr(place, 2);
        if (code == "\\c") return text;
        text += code == "\\r" ? '\r' : code == "\\t" ? '\t' : line[place];
        if (code == "\\r" || code == "\\t") ++place;
    }
    return text + "\n";
}

std::vector<Block> blocks() {
    std::ifstream file(std::string(TARNWICK_OPTIONS_FOLDER) + "/options.txt");
    std::vector<Block> blocks;
    int place = 0;
    for (std::string line; std::getline(file, line);) {
        ++place;
        std::istringstream stream(line);
        std::string key;
        std::string name;
        stream >> key;
        if (key == "$") {
            blocks.emplace_back().place = place;
            Words* words = &blocks.back().options;
            while (stream >> name) {
                if (name == ":") {
                    words = &blocks.back().arguments;
                } else {
                    words->push_back(name);
                }
            }
        } else if (line.starts_with('|')) {
            blocks.back().output += printedLine(line.substr(1));
        } else if (line.starts_with("! ")) {
            blocks.back().errors = line.substr(2) + "\n";
        } else if (key == "exit") {
            stream >> blocks.back().status;
        } else if (key == "breaks") {
            stream >> blocks.back().broken;
        } else if (key == "wire") {
            stream >> name >> std::ws;
            std::getline(stream, blocks.back().wires[name]);
        } else if (key == "state") {
            stream >> name >> std::ws;
            std::getline(stream, blocks.back().states.emplace_back(name, "").second);
        } else if (!line.empty() && key != "#") {
            ADD_FAILURE() << "options.txt, line " << place << ": " << line;
        }
    }
    return blocks;
}

}  // namespace

class Options : public testing::TestWithParam<Block> {};

TEST_P(Options, DoAsWritten) {
    Block block = GetParam();
    TestStation station(block.options);
    if (!block.broken.empty()) station.write(block.broken, "#!/bin/sh\necho no\nexit 1\n");
    const ToolRun run = station.tool(block.arguments);
    EXPECT_EQ(run.status, block.status);
    EXPECT_EQ(run.output, block.output);
    EXPECT_TRUE(run.errors.ends_with(block.errors)) << run.errors;
    EXPECT_EQ(run.errors.empty(), block.errors.empty()) << run.errors;
    for (const char* line : {"wwanCMD19", "wwanCMD29", "generator"}) {
        EXPECT_EQ(station.wire(line), block.wires[line]) << line;
    }
    for (const auto& [name, state] : block.states) {
        EXPECT_NE(("\n" + station.read("state/" + name)).find("\n" + state + "\n"),
                  std::string::npos)
            << name << " is not " << state << ":\n"
            << station.read("state/" + name);
    }
}

INSTANTIATE_TEST_SUITE_P(Blocks, Options, testing::ValuesIn(blocks()), [](const auto& block) {
    return "Line" + std::to_string(block.param.place);
});

TEST(NoStation, HasNoModule) {
    const std::string gone = "/nowhere/at/all";
    ToolRun run = runProgram({toolPath(), "-v"}, {"TARNWICK_STATION=" + gone});
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.errors.find(gone), std::string::npos) << run.errors;
    // Whatever the letter: modules are looked for first.
    for (const char* option : {"-v", "-h", "-c", "-x", "-w"}) {
        run = runProgram({"env", "-u", "TARNWICK_STATION", toolPath(), option});
        EXPECT_EQ(run.status, 7);
        EXPECT_EQ(run.output, "WARNING: WWAN module not found\n");
    }
}

// The radio, the phonebook and the transmitter, as the next run finds them.
TEST(State, LastsFromRunToRun) {
    TestStation station;
    EXPECT_EQ(station.tool({"-w"}).output, "ON\n");
    EXPECT_EQ(station.tool({"-f"}).output, "");
    EXPECT_EQ(station.tool({"-w"}).output, "OFF\n");
    EXPECT_EQ(station.tool({"-p"}).output, "");
    EXPECT_EQ(station.tool({"-w"}).output, "ON\n");
    EXPECT_EQ(station.tool({"-a"}).output, "PASS\n");
    EXPECT_EQ(station.wire(),
              "AT+CFUN? AT+CFUN=0 AT+CFUN? AT+CFUN=1 AT+CFUN? AT+CPIN? "
              "AT+CPBW=1,\"123456789\",129,\"hello\""
              " AT+CPBR=1 AT+CPBW=1,\"\",129,\"\"");
    EXPECT_NE(station.read("state/wwanCMD19").find("phonebook.1=,\n"), std::string::npos);
}

// What is left on the SIM: nothing, or the test entry when it could not be read back.
TEST(State, OfThePhonebookAfterAFailure) {
    const struct {
        const char* fault;
        const char* entry;
    } cases[] = {{"error@AT+CPBW", "phonebook.1=,\n"},
                 {"error@AT+CPBR", "phonebook.1=123456789,hello\n"},
                 {"hangup@AT+CPBW=1,\"\"", "phonebook.1=123456789,hello\n"}};
    for (const auto& example : cases) {
        TestStation station({"-m", std::string("hspa,fault=") + example.fault});
        station.tool({"-a"});
        station.stop();
        EXPECT_NE(station.read("state/wwanCMD19").find(example.entry), std::string::npos)
            << example.fault << "\n"
            << station.read("state/wwanCMD19");
    }
}

// A transmitter that was switched on, by whatever module the line is.
TEST(State, OfTheTransmitterEndsWithIt) {
    for (const char* module : {"hspa", "evdo"}) {
        TestStation station({"-m", module});
        station.tool({"-b", "6", "4182", "20", "1"});
        const ToolRun run = station.tool({"-b", "6", "4182", "20", "0"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.output, "");
        EXPECT_TRUE(station.wire().ends_with("AT!DASTXOFF"));
        EXPECT_NE(station.read("state/wwanCMD19").find("transmitter=off\n"), std::string::npos);
    }
}

TEST(Driver, ToolsLogWhatTheySay) {
    TestStation station;
    station.write("sbin/kextload", "#!/bin/sh\necho \"tried $1\"\necho loudly >&2\nexit 2\n");
    station.tool({"-c"});
    station.tool({"-c"});
    const std::string once = "tried /Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext\nloudly\n";
    EXPECT_EQ(station.read("tmp/kextload.log"), once + once);
}

// Driver tools that fail in every way there is: the run goes on or ends as with a tool that is fine
// or one that fails, and no more than its own clean-up is done.
TEST(Driver, ToolsThatMisbehave) {
    const std::string noise = "head -c 100000 /dev/urandom; head -c 100000 /dev/urandom >&2\n";
    const struct {
        const char* tool;
        std::string script;  // "": the tool is missing
        int checked;         // exit status of -c
        int measured;        // and of -s
    } cases[] = {
        {"sbin/kextload", noise + "exit 1", 8, 5},
        {"sbin/kextload", "kill -9 $$", 8, 5},
        {"sbin/kextload", "", 8, 5},
        {"sbin/kextload", "sleep 0.05", 11, 5},  // says that it has, and has not
        {"sbin/kextunload", noise + "exit 1", 9, 9},
        {"sbin/kextunload", "kill -9 $$", 9, 9},
        {"sbin/kextunload", "", 9, 9},
        {"sbin/kextunload", "sleep 0.05", 0, 0},
        {"usr/sbin/kextstat", noise, 0, 0},
        {"usr/sbin/kextstat", "kill -9 $$", 0, 0},
        {"usr/sbin/kextstat", "", 0, 0},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(std::string(example.tool) + ": " + example.script);
        for (const bool measure : {false, true}) {
            TestStation station({"-m", "evdo"});
            station.write(example.tool, "#!/bin/sh\n" + example.script + "\n");
            if (example.script.empty()) unlink((station.root() + "/" + example.tool).c_str());
            const ToolRun run =
                station.tool(measure ? Words{"-s", "1", "1", "600", "-50", "0"} : Words{"-c"});
            EXPECT_EQ(run.status, measure ? example.measured : example.checked) << run.output;
            const bool completed = run.status == 0;
            EXPECT_EQ(run.output.ends_with(measure ? "-80 dBm\n" : "SG-3000,100042,1.07\n"),
                      completed)
                << run.output;
        }
    }
}
