#include "tests/support/fake_host.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "platform/host.h"

FakeHost gHost;
thread_local bool gInHost = false;

namespace {

struct HostCall {
    HostCall() { gInHost = true; }
    ~HostCall() { gInHost = false; }
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;
};

}  // namespace

std::string printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

namespace host {

int OpenDevice(const char* path, int flags) {
    const HostCall call;
    const auto device = gHost.devices.find(path);
    return open(device != gHost.devices.end() ? device->second.c_str() : path, flags);
}

bool IsReadable(const char* path) {
    const HostCall call;
    return gHost.isReadable(path);
}

int RunShell(const char* line) {
    const HostCall call;
    gHost.shellLines.emplace_back(line);
    return gHost.shell(line);
}

std::uint32_t RealUserId() {
    return 0;
}

void PauseMilliseconds(std::uint32_t milliseconds) {
    const HostCall call;
    gHost.pauses.push_back(milliseconds);
}

int NextOption(int argc, char** argv, const char* letters) {
    const HostCall call;
    return getopt(argc, argv, (std::string("+") + letters).c_str());
}

}  // namespace host
