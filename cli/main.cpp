#include <fcntl.h>
#include <unistd.h>

#include "cli/dispatcher.h"

// If standard output were closed, a tty would be opened in its place and be sent the results.
static void holdStandardDescriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= STDIN_FILENO && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO) close(fd);
}

int main(int argc, char** argv) {
    holdStandardDescriptors();
    return RunTarnwick(argc, argv);
}
