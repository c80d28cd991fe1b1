// The whole program, every operation of it, against a module that replies anything. The input has
// parts with bars between them: the modules, the command line, a character for each line that the
// driver tools run ('0', or it fails), then the replies, as in
//     /dev/cu.wwanCMD19=8232 /dev/cu.wwanCMD29=0019|-r 1 3 62 0|0|AT...
// A line feed is added to a reply that ends no line, as reading waits for one. One that begins with
// EOT (4) is followed by a hang-up. Once they are used up, the answer is ERROR.
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "cli/dispatcher.h"
#include "discovery/module_family.h"
#include "platform/simulated/simulated_registry.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/fake_host.h"

static std::optional<HeldPty> line;  // to which every device path leads; none: hung up

static void addModule(const std::string& word) {
    const std::vector<std::string> parts = split(word + "=", "=");
    const auto id = static_cast<std::int32_t>(std::strtoul(parts[1].c_str(), nullptr, 16));
    for (const char* className : {"IOSerialBSDClient", "OrvelWWANSupport"}) {
        const auto entry =
            simulated::AddEntry(registry::kServicePlane, simulated::kRoot, {"entry", className});
        simulated::SetProperty(entry, "IOCalloutDevice", simulated::CreateText(parts[0]));
        simulated::SetProperty(entry, "idProduct", property::CreateNumber(property::kInt32, &id));
    }
}

static void layLine() {
    if (!line) {
        line.emplace();
        fcntl(line->master, F_SETFL, O_NONBLOCK);
    }
    for (const int fd : {line->master, line->slave}) tcflush(fd, TCIOFLUSH);
    gHost.node = line->path;
}

// At a pause the tool has sent a command and not yet read.
static void answer(std::string reply) {
    if (!line) return;
    char heard[4096];
    while (read(line->master, heard, sizeof heard) > 0) {
    }
    if (!reply.ends_with('\r') && !reply.ends_with('\n')) reply += '\n';
    const ssize_t written = write(line->master, reply.data(), reply.size());
    if (written == static_cast<ssize_t>(reply.size()) && !reply.starts_with('\4')) return;
    gHost.node = "/nowhere";
    line.reset();
}

static int runTarnwick(const std::string& operands, std::string* output) {
    std::vector<std::string> words = split("Tarnwick " + operands, " ");
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    optind = 0;  // getopt starts anew
    opterr = 0;  // most inputs have unknown options, and a complaint is a system call
    gCardModel = 0;
    int status = 0;
    *output =
        printed([&] { status = RunTarnwick(static_cast<int>(words.size()), arguments.data()); });
    return status;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> parts = split(textOf(data, size), "|");
    parts.resize(std::max(parts.size(), std::size_t{3}));
    simulated::ClearRegistry();
    for (const std::string& word : split(parts[0], " ")) addModule(word);
    gHost = {};
    layLine();
    std::size_t nextStatus = 0;
    std::size_t nextReply = 3;
    gHost.isReadable = [](const std::string&) { return line.has_value(); };
    gHost.shell = [&](const std::string&) {
        return nextStatus >= parts[2].size() || parts[2][nextStatus++] == '0' ? 0 : 256;
    };
    gHost.atPause = [&] { answer(nextReply < parts.size() ? parts[nextReply++] : "ERROR"); };
    termios before = {};
    tcgetattr(line->slave, &before);
    std::string output;
    const int status = runTarnwick(parts[1], &output);
    termios after = before;
    if (line) tcgetattr(line->slave, &after);
    require(memcmp(&before, &after, sizeof after) == 0, "settings are restored");
    require(openPorts() == 0, "a port is closed");
    require(status >= 0 && status <= 12, "an exit status is one of those that stations know");
    require(output.find('\0') == std::string::npos, "what is printed is text");
    const auto says = [&](const char* text) { return output.find(text) != std::string::npos; };
    require(status == 0 || says("ERROR: ") || says("WARNING: ") || says("Usage") ||
                says("VerifyArguments() returns error"),
            "a failure is explained");
    require(simulated::LiveObjects() == 0 && simulated::Misuses() == 0, "no object is left");
    simulated::ClearRegistry();
    require(simulated::LiveValues() == 0, "no value is left");
    return 0;
}
