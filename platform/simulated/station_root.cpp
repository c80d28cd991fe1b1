#include "platform/simulated/station_root.h"

#include <cstdlib>

#include "platform/bounded_text.h"

namespace simulated {

const char* stationRoot() {
    const char* root = getenv("TARNWICK_STATION");
    return root != nullptr && *root != '\0' ? root : nullptr;
}

bool stationPath(char* target, std::size_t size, const char* path) {
    const char* root = stationRoot();
    return root != nullptr && formatText(target, size, "%s%s", root, path);
}

}  // namespace simulated
