#include "tests/support/operation_run.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "discovery/module_family.h"
#include "tests/support/fake_host.h"

std::string play(int master, const Script& script) {
    std::string wire;
    std::string line;
    for (char byte = 0; read(master, &byte, 1) == 1 && byte != kEndOfScript;) {
        if (byte != '\r' && byte != '\n') {
            line += byte;
        } else if (!line.empty()) {
            wire += (wire.empty() ? "" : " ") + line;
            const std::string reply = script(line);
            if (write(master, reply.data(), reply.size()) == -1) abort();
            line.clear();
        }
    }
    return wire;
}

OperationRun runOperation(std::uint32_t productId, const Script& script,
                          const std::function<int(const char* tty)>& operation) {
    const HeldPty pty;
    gHost = {};
    gCardModel = productId;
    OperationRun run;
    std::thread device([&] { run.wire = play(pty.master, script); });
    run.output = printed([&] { run.result = operation(pty.path.c_str()); });
    EXPECT_EQ(openPorts(), 0) << "a port was left open";
    if (write(pty.slave, &kEndOfScript, 1) == -1) abort();
    device.join();
    run.pauses = gHost.pauses;
    return run;
}

Script answering(std::vector<std::pair<std::string, std::string>> answers) {
    return [answers = std::move(answers)](const std::string& command) {
        std::string reply = command + "\r\r\n";
        std::string text;
        for (const auto& [start, answer] : answers) {
            if (command.starts_with(start)) text = answer;
        }
        if (!text.empty()) reply += text + "\r\n\r\n";
        return reply + "OK\r\n";
    };
}
