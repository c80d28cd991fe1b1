// The built tool at a built station: exit status, output, wire and state, whole. The cases stand in
// options.txt and scripts.txt, which say how a block reads.

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
    std::string script;  // in place of the arguments
    bool isForLinux = false;
    int status = -1;
    std::string broken;  // a driver tool that only fails
    std::string output;
    std::string errors;                        // how standard error ends
    std::map<std::string, std::string> wires;  // by their lines; what is not named is sent nothing
    std::vector<std::pair<std::string, std::string>> states;  // "NAME", "KEY=VALUE"
};

void PrintTo(const Block& block, std::ostream* stream) {
    *stream << "the block at line " << block.place;
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

std::vector<Block> blocksOf(const std::string& fileName) {
    std::ifstream file(std::string(TARNWICK_OPTIONS_FOLDER) + "/" + fileName);
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
        } else if (line.starts_with("% ")) {
            blocks.back().script += line.substr(2) + "\n";
        } else if (line.starts_with('|')) {
            blocks.back().output += printedLine(line.substr(1));
        } else if (line.starts_with("! ")) {
            blocks.back().errors += line.substr(2) + "\n";
        } else if (line == "only linux") {
            blocks.back().isForLinux = true;
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
            ADD_FAILURE() << fileName << ", line " << place << ": " << line;
        }
    }
    return blocks;
}

}  // namespace

class Blocks : public testing::TestWithParam<Block> {};

TEST_P(Blocks, DoAsWritten) {
    Block block = GetParam();
#ifndef __linux__
    if (block.isForLinux) GTEST_SKIP() << "needs Linux";
#endif
    TestStation station(block.options);
    if (!block.broken.empty()) station.write(block.broken, "#!/bin/sh\necho no\nexit 1\n");
    const ToolRun run =
        block.script.empty() ? station.tool(block.arguments) : station.shell(block.script);
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

static std::string nameOf(const testing::TestParamInfo<Block>& block) {
    return "Line" + std::to_string(block.param.place);
}

INSTANTIATE_TEST_SUITE_P(Option, Blocks, testing::ValuesIn(blocksOf("options.txt")), nameOf);
INSTANTIATE_TEST_SUITE_P(Script, Blocks, testing::ValuesIn(blocksOf("scripts.txt")), nameOf);
