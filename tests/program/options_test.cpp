// The built tool at a built station: exit status, output, wire and state, whole. The cases stand in
// options.txt and scripts.txt, which say how a block reads.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/program/station_run.h"
#include "tests/support/case_text.h"

namespace {

using Words = std::vector<std::string>;

struct Block {
    Words options;
    Words arguments;
    std::string script;  // in place of the arguments
    bool isForLinux = false;
    int status = 0;
    std::string broken;  // a driver tool that only fails
    std::string output;
    std::optional<std::string> errors;                        // how standard error ends
    std::map<std::string, std::string> wires;                 // by their lines
    std::vector<std::pair<std::string, std::string>> states;  // "NAME", "KEY=VALUE"
};

std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

// "NAME REST", and an empty rest.
std::pair<std::string, std::string> nameAndRest(const std::string& text) {
    const std::size_t end = std::min(text.find(' '), text.size());
    return {text.substr(0, end), text.substr(std::min(end + 1, text.size()))};
}

void takeCommand(const Words& words, Block* block) {
    const auto colon = std::find(words.begin(), words.end(), ":");
    block->options.assign(words.begin(), colon);
    if (colon != words.end()) block->arguments.assign(colon + 1, words.end());
}

void takeLine(const CaseLine& line, Block* block) {
    if (line.mark == "station") {
        takeCommand(wordsOf(line.text), block);
    } else if (line.mark == "%") {
        block->script += line.text + "\n";
    } else if (line.mark == "|") {
        block->output += printed(line);
    } else if (line.mark == "help") {
        block->output += contentOf(std::string(TARNWICK_OPTIONS_FOLDER) + "/help.txt");
    } else if (line.mark == "!") {
        const bool isOfHost = line.text.empty() && !block->errors;
        block->errors = block->errors.value_or("") + (isOfHost ? "" : printed(line));
    } else if (line.mark == "exit") {
        block->status = std::stoi(line.text);
    } else if (line.mark == "breaks") {
        block->broken = line.text;
    } else if (line.mark == "wire") {
        block->wires.insert(nameAndRest(line.text));
    } else if (line.mark == "state") {
        block->states.push_back(nameAndRest(line.text));
    } else if (line.mark == "only" && line.text == "linux") {
        block->isForLinux = true;
    } else {
        refuse(line);
    }
}

Block blockOf(const Case& testCase) {
    Block block;
    for (const CaseLine& line : testCase.lines) takeLine(line, &block);
    return block;
}

std::vector<Case> casesIn(const std::string& fileName) {
    std::vector<Case> cases =
        readCases(std::string(TARNWICK_OPTIONS_FOLDER) + "/" + fileName,
                  {"station", "%", "|", "help", "!", "exit", "breaks", "wire", "state", "only"});
    for (const Case& testCase : cases) blockOf(testCase);  // refuses what it does not understand
    return cases;
}

// Runs what the block says, and stops the station.
void expectAsWritten(const Block& block, TestStation* station) {
    if (!block.broken.empty()) station->write(block.broken, "#!/bin/sh\necho no\nexit 1\n");
    const ToolRun run =
        block.script.empty() ? station->tool(block.arguments) : station->shell(block.script);
    EXPECT_EQ(run.status, block.status);
    EXPECT_EQ(run.output, block.output);
    EXPECT_TRUE(run.errors.ends_with(block.errors.value_or(""))) << run.errors;
    EXPECT_EQ(run.errors.empty(), !block.errors.has_value()) << run.errors;
    EXPECT_EQ(station->wires(), block.wires);
}

// The options of a station that differs in what is behind its lines: `source` gives what a line has
// behind it as a module's key or the end of an option's name, "KEY=VALUE", or "" for the default.
template <typename Source>
Words withLines(const Words& options, const Source& source) {
    Words changed;
    int port = 19;
    const auto addModule = [&](const std::string& spec) {
        const std::string key = source("wwanCMD" + std::to_string(port));
        changed.insert(changed.end(),
                       {"-m", spec.substr(0, spec.find(',')) + (key.empty() ? "" : "," + key)});
        port += 10;
    };
    for (std::size_t index = 0; index < options.size(); ++index) {
        if (options[index] == "-m") {
            addModule(options[++index]);
        } else {
            changed.push_back(options[index]);
        }
    }
    if (port == 19) addModule("hspa");
    const std::string key = source("generator");
    if (!key.empty()) changed.push_back("--generator-" + key);
    return changed;
}

std::vector<Case> casesOnWires(const std::string& fileName) {
    std::vector<Case> cases = casesIn(fileName);
    std::erase_if(cases, [](const Case& testCase) { return blockOf(testCase).wires.empty(); });
    return cases;
}

}  // namespace

class Blocks : public testing::TestWithParam<Case> {};

TEST_P(Blocks, DoAsWritten) {
    const Block block = blockOf(GetParam());
#ifndef __linux__
    if (block.isForLinux) GTEST_SKIP() << "needs Linux";
#endif
    TestStation station(block.options);
    expectAsWritten(block, &station);
    for (const auto& [name, state] : block.states) {
        EXPECT_NE(("\n" + station.read("state/" + name)).find("\n" + state + "\n"),
                  std::string::npos)
            << name << " is not " << state << ":\n"
            << station.read("state/" + name);
    }
}

// What simulated devices do, another station's do as real ones, and recordings of those once more.
class RealDevices : public Blocks {};

TEST_P(RealDevices, DoAsSimulatedOnes) {
    const Block block = blockOf(GetParam());
    Words options = block.options;
    options.emplace_back("--driver-loaded");
    const TestStation real(options);
    TestStation relay(withLines(block.options, [&](const std::string& line) {
        const bool isGenerator = line == "generator";
        return "device=" + real.root() + "/dev/" + (isGenerator ? "tty.KeySerial1" : "cu." + line);
    }));
    expectAsWritten(block, &relay);
    TestStation replay(withLines(block.options, [&](const std::string& line) {
        return block.wires.contains(line) ? "replay=" + relay.root() + "/transcript" : "";
    }));
    expectAsWritten(block, &replay);
}

static std::string nameOfParameter(const testing::TestParamInfo<Case>& testCase) {
    return nameOf(testCase.param);
}

INSTANTIATE_TEST_SUITE_P(options, Blocks, testing::ValuesIn(casesIn("options.txt")),
                         nameOfParameter);
INSTANTIATE_TEST_SUITE_P(scripts, Blocks, testing::ValuesIn(casesIn("scripts.txt")),
                         nameOfParameter);
INSTANTIATE_TEST_SUITE_P(real, RealDevices, testing::ValuesIn(casesOnWires("options.txt")),
                         nameOfParameter);
