#include "tests/support/fake_host.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/host.h"

FakeHost gHost;

// The port in use: what the device's thread writes is none of it.
static std::atomic<int> gPort = -1;

// In front of the system's.
extern "C" ssize_t write(int fd, const void* bytes, std::size_t size) {
    if (fd == gPort && gHost.writes-- <= 0) {
        breakLine("");
        errno = EIO;
        return -1;
    }
    iovec piece = {const_cast<void*>(bytes), size};
    return writev(fd, &piece, 1);
}

int openPorts() {
    const auto isOpen = [](int fd) { return fd != -1 && fcntl(fd, F_GETFD) != -1; };
    return static_cast<int>(std::count_if(gHost.opened.begin(), gHost.opened.end(), isOpen));
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
    gHost.opened.push_back(open(gHost.node.empty() ? path : gHost.node.c_str(), flags));
    return gPort = gHost.opened.back();
}

void CloseDevice(int fd) {
    gPort = -1;
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

void ExplainNoModule() {}

int NextOption(int argc, char** argv, const char* letters) {
    return getopt(argc, argv, (std::string("+") + letters).c_str());
}

}  // namespace host
