#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/property_value.h"

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

// An entry of the registry, whatever planes it is in. Whoever makes it writes what describes it;
// the registry writes `references` and `properties`, settleNodes `planes`.
struct EntryRecord {
    std::uint64_t id = 0;                 // 0: an entry of its own
    Text name = 0;                        // at its first place
    Text className = 0;                   // 0: no class finds it
    std::uint32_t firstCaptured = kNone;  // a chain through Model::captured, the last one first
    std::uint32_t references = 0;         // to it that are handed out and not given back
    std::uint32_t planes = 0;             // a bit for each plane that it is in
    // Set by a caller, before the captured ones of the same name; each value is one reference.
    std::vector<std::pair<std::string, property::Value>> properties;
};

// An entry's place in one plane, where it has a name and a location of its own. appendNode writes
// the four links, settleNodes `repeated` and, for an entry that is known already, `entry`.
struct PlaneNode {
    std::uint32_t entry = 0;
    Text name = 0;          // 0: no path leads here by name
    Text location = 0;      // 0: it has none
    bool repeated = false;  // the entry stands in the plane at an earlier node, too
    std::uint32_t parent = kNone;
    std::uint32_t firstChild = kNone;
    std::uint32_t lastChild = kNone;
    std::uint32_t nextSibling = kNone;
};

struct Plane {
    std::string name;
    bool loadFailed = false;       // written by the registry: a capture of it was refused
    std::vector<PlaneNode> nodes;  // the first is the root
};

// An entry comes to be in three steps: appendNode makes it, whoever fills it writes its record and
// its node, settleNodes then finds the entries that are one, which takes all ids.
struct Model {
    Model();

    std::vector<EntryRecord> entries;  // the first is the root of all planes
    std::deque<Plane> planes;          // the first is the service plane
    std::unordered_map<std::uint64_t, std::uint32_t> entriesById;  // written by settleNodes
    std::vector<CapturedProperty> captured;  // written by the reader of captures, as is bytesRead
    std::string texts;
    std::uint64_t bytesRead = 0;  // from all captures
};

// Appends the text and its NUL to the model's texts.
Text addText(Model* model, const std::string& text);

// The plane's index. Makes the plane when there is none of that name.
std::uint32_t planeIndex(Model* model, const char* name);

// Appends a new entry to the plane behind `parent`'s children and returns its node.
std::uint32_t appendNode(Model* model, std::uint32_t plane, std::uint32_t parent);

// Finds the entries that are one: a node from `first` on whose entry's id an earlier entry has
// becomes a place of that one.
void settleNodes(Model* model, std::uint32_t plane, std::uint32_t first);

}  // namespace simulated
