#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>

#include "station/options.h"
#include "station/station.h"

// A stream that is closed would be the number of the next file to be opened, and be written to.
static void occupyStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDONLY);
    if (fd > STDERR_FILENO) close(fd);
}

int main(int, char** argv) {
    constexpr int kUsageStatus = 2;
    occupyStandardStreams();
    try {
        const station::Options options = station::parseOptions(argv + 1);
        if (options.help) {
            fputs(station::kHelp, stdout);
            return 0;
        }
        if (options.version) {
            puts("tarnwick-station 29.0");
            return 0;
        }
        station::catchSignals();
        return station::Station(options).serve();
    } catch (const std::invalid_argument& error) {
        fprintf(stderr, "tarnwick-station: %s\nTry 'tarnwick-station --help'.\n", error.what());
        return kUsageStatus;
    } catch (const std::exception& error) {
        fprintf(stderr, "tarnwick-station: %s\n", error.what());
        return 1;
    }
}
