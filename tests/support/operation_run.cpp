#include "tests/support/operation_run.h"

#include <gtest/gtest.h>

#include "discovery/module_table.h"
#include "tests/support/fake_host.h"

OperationRun runOperation(std::uint32_t productId, ScriptedDevice::Script script,
                          const std::function<int(const char* tty)>& operation) {
    gHost = {};
    gCardModel = productId;
    ScriptedDevice device(std::move(script));
    OperationRun run;
    run.output = printed([&] { run.result = operation(device.path().c_str()); });
    EXPECT_EQ(openPorts(), 0) << "a port was left open";
    for (const char byte : device.wire()) {
        if (byte == '\n') {
            run.wire += ' ';
        } else if (byte != '\r') {
            run.wire += byte;
        }
    }
    if (!run.wire.empty()) run.wire.pop_back();
    run.pauses = gHost.pauses;
    return run;
}

ScriptedDevice::Script answering(std::vector<std::pair<std::string, std::string>> answers) {
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
