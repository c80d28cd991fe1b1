#include "platform/simulated/host_conf.h"

#include <cstring>

namespace simulated {

// With C's streams: C++'s would bring their locales into a program that starts for each
// measurement, a fifth of its start.
static void takeLine(const char* line, HostConf* conf) {
    char key[16] = "";
    char rest = '\0';
    double number = 0;
    const int found = sscanf(line, "%15s %lf %c", key, &number, &rest);
    if (found < 1 || key[0] == '#') return;
    const bool isNumber = found == 2 && number >= 0 && number < 4294967296.0;
    if (isNumber && strcmp(key, "user-id") == 0) {
        conf->userId = static_cast<std::uint32_t>(number);
    } else if (isNumber && strcmp(key, "time-scale") == 0) {
        conf->timeScale = number;
    } else {
        fprintf(stderr, "host.conf: not understood: %s\n", line);
    }
}

HostConf readHostConf(FILE* file) {
    constexpr int kMostLines = 1000;
    HostConf conf;
    char line[256];
    for (int lines = 0; fgets(line, sizeof line, file) != nullptr; ++lines) {
        if (lines == kMostLines) {
            fprintf(stderr, "host.conf: what is behind line %d is not read\n", kMostLines);
            break;
        }
        line[strcspn(line, "\r\n")] = '\0';
        takeLine(line, &conf);
    }
    return conf;
}

}  // namespace simulated
