#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "platform/standard_streams.h"
#include "station/options.h"
#include "station/signals.h"
#include "station/station.h"

// Returns an exit status.
static int print(const char* text) {
    if (fputs(text, stdout) >= 0 && fflush(stdout) == 0) return EXIT_SUCCESS;
    perror("tarnwick-station: standard output");
    return EXIT_FAILURE;
}

int main(int argc, char** argv) {
    constexpr int kUsageStatus = 2;
    occupyStandardStreams();
    try {
        const station::Options options = station::parseOptions(argc, argv);
        if (options.help) return print(station::kHelp);
        if (options.version) return print("tarnwick-station " TARNWICK_VERSION "\n");
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
