#include "tests/support/fake_host.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/host.h"

FakeHost gHost;

int openPorts() {
    return static_cast<int>(std::ranges::count_if(
        gHost.opened, [](int fd) { return fd != -1 && fcntl(fd, F_GETFD) != -1; }));
}

void breakLine(const std::string& text) {
    int ends[2];
    if (pipe(ends) == -1 || write(ends[1], text.data(), text.size()) == -1 ||
        dup2(ends[0], gHost.opened.back()) == -1) {
        abort();
    }
    for (const int end : ends) close(end);
}

std::string printed(const std::function<void()>& action) {
    char* text = nullptr;
    std::size_t length = 0;
    FILE* const saved = std::exchange(stdout, open_memstream(&text, &length));
    action();
    fclose(std::exchange(stdout, saved));
    std::string output(text, length);
    free(text);
    return output;
}

namespace host {

int OpenDevice(const char* path, int flags) {
    if (gHost.readOnly) flags = (flags & ~O_ACCMODE) | O_RDONLY;
    gHost.opened.push_back(open(gHost.node.empty() ? path : gHost.node.c_str(), flags));
    return gHost.opened.back();
}

void CloseDevice(int fd) {
    ioctl(fd, TIOCNXCL);
    close(fd);
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
    gHost.atPause();
}

int NextOption(int argc, char** argv, const char* letters) {
    return getopt(argc, argv, (std::string("+") + letters).c_str());
}

}  // namespace host
