#include "platform/simulated/registry_path.h"

#include <strings.h>

#include <cstring>
#include <string_view>

namespace simulated {

// Takes the next number of a location and the comma behind it. `digits` leaves out leading zeros,
// so it is empty for 0; behind the last number, too, since "1D" is "1D,0". False if a number is
// missing.
static bool takeNumber(const char** location, bool* ended, std::string_view* digits) {
    const std::size_t length = *ended ? 0 : strspn(*location, "0123456789abcdefABCDEF");
    const std::size_t zeros = *ended ? 0 : strspn(*location, "0");
    *digits = {*location + zeros, length - zeros};
    if (*ended) return true;
    *location += length;
    *ended = **location != ',';
    if (!*ended) ++*location;
    return length > 0;
}

static bool isEnd(char behindComponent) {
    return behindComponent == '\0' || behindComponent == '/';
}

// The end of the path's component, whose rest is a location, when it is this one; else null.
static const char* matchLocation(const char* path, const char* location) {
    bool pathEnded = false;
    bool locationEnded = false;
    while (!pathEnded || !locationEnded) {
        std::string_view wanted;
        std::string_view number;
        if (!takeNumber(&path, &pathEnded, &wanted) ||
            !takeNumber(&location, &locationEnded, &number) || wanted.size() != number.size() ||
            strncasecmp(wanted.data(), number.data(), wanted.size()) != 0) {
            return nullptr;
        }
    }
    return isEnd(*path) && *location == '\0' ? path : nullptr;
}

// The end of the path's first component when it stands for the node, else null.
static const char* matchNode(const char* path, const char* name, const char* location) {
    const std::size_t length = strlen(name);
    if (length > 0 && strncmp(path, name, length) == 0) {
        if (isEnd(path[length])) return path + length;
        if (path[length] == '@') return matchLocation(path + length + 1, location);
    }
    return *path == '@' ? matchLocation(path + 1, location) : nullptr;
}

std::uint32_t findNode(const Model& model, const Plane& plane, const char* path) {
    std::uint32_t node = plane.nodes[0].firstChild;  // which has no name in a path
    while (node != kNone && *path != '\0') {
        const char* end = nullptr;
        node = plane.nodes[node].firstChild;
        while (node != kNone) {
            const PlaneNode& child = plane.nodes[node];
            end = matchNode(path, &model.texts[child.name], &model.texts[child.location]);
            if (end != nullptr) break;
            node = child.nextSibling;
        }
        if (end != nullptr) path = *end == '/' ? end + 1 : end;
    }
    return node;
}

}  // namespace simulated
