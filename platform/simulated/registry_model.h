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

constexpr std::uint32_t kNone = 0xFFFFFFFF;  // no node, no property

// Where a text begins in Model::texts; a NUL ends it. 0 is the empty text.
using Text = std::uint32_t;

// A property as the capture has it. Its value is made when it is asked for.
struct CapturedProperty {
    Text key;  // the value's text, as it stands in the file, begins behind the key's NUL
    std::uint32_t next;
    std::uint8_t element;  // the value's, as the reader of captures numbers them
};

struct EntryRecord {
    std::uint64_t id = 0;
    Text name = 0;
    Text className = 0;
    std::uint32_t firstCaptured = kNone;  // a chain through Model::captured, the last one first
    std::uint32_t references = 0;
    std::uint32_t planes = 0;  // a bit for each plane that it is in
    std::vector<std::pair<std::string, property::Value>> properties;  // set since
};

// An entry's place in one plane, where it has a name and a location of its own.
struct PlaneNode {
    std::uint32_t entry = 0;
    Text name = 0;
    Text location = 0;
    bool repeated = false;  // the entry stands in the plane at an earlier node, too
    std::uint32_t parent = kNone;
    std::uint32_t firstChild = kNone;
    std::uint32_t lastChild = kNone;
    std::uint32_t nextSibling = kNone;
};

struct Plane {
    std::string name;
    bool loadFailed = false;
    std::vector<PlaneNode> nodes;  // the first is the root
};

// An entry comes to be in three steps: appendNode makes it, whoever fills it writes its record and
// its node, settleNodes then finds the entries that are one, which takes all ids.
struct Model {
    Model();

    std::vector<EntryRecord> entries;  // the first is the root of all planes
    std::deque<Plane> planes;          // the first is the service plane
    std::unordered_map<std::uint64_t, std::uint32_t> entriesById;
    std::vector<CapturedProperty> captured;
    std::string texts;
    std::uint64_t bytesRead = 0;  // from captures
};

// The plane's index. Makes the plane when there is none of that name.
std::uint32_t planeIndex(Model* model, const char* name);

// Appends a new entry to the plane behind `parent`'s children and returns its node.
std::uint32_t appendNode(Model* model, std::uint32_t plane, std::uint32_t parent);

// Finds the entries that are one: a node from `first` on whose entry's id an earlier entry has
// becomes a place of that one.
void settleNodes(Model* model, std::uint32_t plane, std::uint32_t first);

// Fills the plane from a capture, behind what is there. False with a sentence in `problem` when the
// file is none; what it left in the model is of no use then.
bool loadCapture(Model* model, std::uint32_t plane, const std::string& path, std::string* problem);

// A new value for the captured property of an entry, or null.
property::Value capturedProperty(const Model& model, const EntryRecord& entry, const char* name);

}  // namespace simulated
