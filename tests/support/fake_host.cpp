#include "tests/support/fake_host.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "platform/host.h"

FakeHost gHost;

int openPorts() {
    return static_cast<int>(std::ranges::count_if(
        gHost.opened, [](int fd) { return fd != -1 && fcntl(fd, F_GETFD) != -1; }));
}

std::string printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

namespace host {

int OpenDevice(const char* path, int flags) {
    if (openPorts() == 0) {
        for (const HeldPty* pty : gHost.held) pty->endExclusiveUse();
    }
    const auto device = gHost.devices.find(path);
    if (gHost.readOnly) flags = (flags & ~O_ACCMODE) | O_RDONLY;
    gHost.opened.push_back(
        open(device != gHost.devices.end() ? device->second.c_str() : path, flags));
    return gHost.opened.back();
}

bool IsReadable(const char* path) {
    return gHost.isReadable(path);
}

int RunShell(const char* line) {
    gHost.shellLines.emplace_back(line);
    return gHost.shell(line);
}

std::uint32_t RealUserId() {
    return 0;
}

void PauseMilliseconds(std::uint32_t milliseconds) {
    gHost.pauses.push_back(milliseconds);
}

int NextOption(int argc, char** argv, const char* letters) {
    return getopt(argc, argv, (std::string("+") + letters).c_str());
}

}  // namespace host
