#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/simulated/simulated_registry.h"

// What the simulated registry is made of. Private to this folder.
namespace simulated {

constexpr std::uint32_t kNoNode = 0xFFFFFFFF;

struct EntryRecord {
    const char* name = "";
    const char* className = "";
    void* captured = nullptr;  // the dictionary in the capture, if it came from one
    std::vector<std::pair<std::string, property::Value>> properties;  // set since
    std::uint32_t references = 0;
    std::uint32_t planes = 0;  // a bit for each plane that it is in
};

// An entry's place in one plane, where it has a name and a location of its own.
struct PlaneNode {
    std::uint32_t entry;
    const char* name;
    const char* location;
    bool repeated = false;  // the entry stands in the plane more than once, and before this
    std::uint32_t parent = kNoNode;
    std::uint32_t firstChild = kNoNode;
    std::uint32_t lastChild = kNoNode;
    std::uint32_t nextSibling = kNoNode;
};

struct Plane {
    std::string name;
    bool loadFailed = false;
    std::vector<PlaneNode> nodes;  // the first is the root
};

struct Model {
    std::vector<EntryRecord> entries;  // the first is the root of all planes
    std::deque<Plane> planes;
    std::unordered_map<std::uint64_t, std::uint32_t> entriesById;
    std::deque<std::string> texts;  // names that no capture holds
};

// Appends an entry to the plane behind `parent`'s children and returns its node. An `id` that is
// known already is another place of the same entry. `name`, `className` and `location` must
// live as long as the model.
struct NewEntry {
    const char* name;
    const char* className;
    const char* location;
    std::uint64_t id;
    void* captured;
};
std::uint32_t appendEntry(Model* model, std::uint32_t plane, std::uint32_t parent,
                          const NewEntry& entry);

// The plane's index; it comes to be if need be.
std::uint32_t planeIndex(Model* model, const char* name);

// Fills the plane from a capture. False, after a line on standard error, when the file
// cannot be read or is no capture; `optional` ones may be missing.
bool loadCapture(Model* model, std::uint32_t plane, const char* path, bool optional);

// A new value for the property of a captured entry, or null.
property::Value capturedProperty(void* captured, const char* name);

}  // namespace simulated
