#include <cstdio>
#include <exception>
#include <stdexcept>

#include "platform/standard_streams.h"
#include "station/options.h"
#include "station/station.h"

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
            puts("tarnwick-station " TARNWICK_VERSION);
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
