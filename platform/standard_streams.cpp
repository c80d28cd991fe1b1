#include "platform/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

void occupyStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDONLY);
    if (fd > STDERR_FILENO) close(fd);
}
