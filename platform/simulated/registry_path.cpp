#include "platform/simulated/registry_path.h"

#include <strings.h>

#include <cstring>
#include <string>

namespace simulated {

static bool isEnd(char behindComponent) {
    return behindComponent == '\0' || behindComponent == '/';
}

// Takes the location that the text begins with: its numbers without zeros in front, a comma behind
// each but behind zeros at the end. False where a number is missing.
static bool takeLocation(const char** text, std::string* numbers) {
    for (;; ++*text) {
        const std::size_t length = strspn(*text, "0123456789abcdefABCDEF");
        const std::size_t zeros = strspn(*text, "0");
        if (length == 0) return false;
        numbers->append(*text + zeros, length - zeros).push_back(',');
        *text += length;
        if (**text != ',') break;
    }
    numbers->erase(numbers->find_last_not_of(',') + 1);
    return true;
}

// The end of the path's component, whose rest is a location, when it is this one; else null.
static const char* matchLocation(const char* path, const char* location) {
    std::string wanted;
    std::string numbers;
    if (!takeLocation(&path, &wanted) || !isEnd(*path)) return nullptr;
    if (!takeLocation(&location, &numbers) || *location != '\0') return nullptr;
    return strcasecmp(wanted.c_str(), numbers.c_str()) == 0 ? path : nullptr;
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
