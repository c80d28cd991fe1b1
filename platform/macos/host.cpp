#include "platform/host.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace host {

int OpenDevice(const char* path, int flags) {
    return open(path, flags);
}

void CloseDevice(int fd) {
    close(fd);
}

bool IsReadable(const char* path) {
    return access(path, R_OK) == 0;
}

int RunShell(const char* line) {
    return system(line);
}

std::uint32_t RealUserId() {
    return getuid();
}

void PauseMilliseconds(std::uint32_t milliseconds) {
    // usleep takes less than a second.
    sleep(milliseconds / 1000);
    usleep(milliseconds % 1000 * 1000);
}

void ExplainNoModule() {}

int NextOption(int argc, char** argv, const char* letters) {
    return getopt(argc, argv, letters);
}

}  // namespace host
