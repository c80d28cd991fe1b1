#include "platform/simulated/simulated_registry.h"

#include <dirent.h>
#include <fnmatch.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/simulated/capture.h"
#include "platform/simulated/registry_model.h"
#include "platform/simulated/registry_path.h"
#include "platform/simulated/station_root.h"

namespace simulated {
static constexpr std::int32_t kIOReturnError = static_cast<std::int32_t>(0xe00002bc);
static constexpr std::int32_t kIOReturnBadArgument = static_cast<std::int32_t>(0xe00002c2);
static constexpr registry::Object kIteratorBit = 0x80000000;
static constexpr std::uint32_t kServicePlaneIndex = 0;

namespace {

enum class Wanted { kAll, kClass, kName };

// What the caller of a matching or a walk holds. Its maker writes the first three; the others are
// written by IteratorNext and IteratorReset, `references` by whoever hands out and takes back.
struct Iterator {
    std::uint32_t plane = 0;
    Wanted wanted = Wanted::kAll;
    std::string text;        // the class or name; empty for kAll
    std::uint32_t node = 0;  // the one handed out last, the root before the first, kNone at the end
    int handedOut = 0;       // entries since the start
    bool valid = true;
    std::uint32_t references = 0;  // 0: the place is free for the next iterator
};

// Written by FailCall, but `passes`, which counts down with each call.
struct Fault {
    std::int32_t code = registry::kSuccess;  // which is no fault
    int passes = 0;
};

struct MatchingText {
    Wanted wanted;
    std::string text;
};

struct Registry {
    Model model;
    // A test's, from its first ClearRegistry on: no station root is looked at.
    bool ownRegistry = false;
    // Each plane's captures are read once, when they are first asked for: loadServices and
    // findPlane write these.
    bool servicesLoaded = false;
    bool servicesFailed = false;
    bool deviceTreeLoaded = false;
    std::deque<Iterator> iterators;  // an Object is kIteratorBit and the index
    Fault faults[static_cast<int>(Call::kCount)];
    // Written by InvalidateIterator, and by the IteratorNext that it befalls.
    int invalidateAfter = -1;  // entries; -1: no iterator becomes invalid
    bool invalidateWithLast = false;
    bool noEmptyIterators = false;  // written by GiveNoEmptyIterators
    std::size_t liveObjects = 0;    // references to entries and iterators that are handed out
    std::size_t misuses = 0;
};

}  // namespace

// Never destroyed: giving back every entry of a large capture takes time when the program ends.
static Registry& theRegistry() {
    static auto* const registry = new Registry;
    return *registry;
}

static const char* textAt(Text text) {
    return &theRegistry().model.texts[text];
}

// The fault's code when the call is to fail now.
static std::int32_t failing(Call call) {
    Fault& fault = theRegistry().faults[static_cast<int>(call)];
    if (fault.code == registry::kSuccess) return registry::kSuccess;
    if (fault.passes == 0) return fault.code;
    --fault.passes;
    return registry::kSuccess;
}

static bool loadFile(std::uint32_t plane, const std::string& path) {
    std::string problem;
    if (loadCapture(&theRegistry().model, plane, path, &problem)) return true;
    fprintf(stderr, "%s\n", problem.c_str());
    return false;
}

static int byName(const dirent** one, const dirent** other) {
    return strcmp((*one)->d_name, (*other)->d_name);
}

// PLANE.plist and then every PLANE-*.plist, in the order of their names.
static bool loadPlane(const char* name, bool optional) {
    const std::string folder = stationRoot() + std::string("/ioregistry/");
    const std::uint32_t plane = planeIndex(&theRegistry().model, name);
    const std::string first = folder + name + ".plist";
    const bool isMissing = optional && access(first.c_str(), F_OK) == -1 && errno == ENOENT;
    bool loaded = isMissing || loadFile(plane, first);
    dirent** files = nullptr;
    const int count = scandir(folder.c_str(), &files, nullptr, byName);
    for (int index = 0; index < count; ++index) {
        const std::string file = files[index]->d_name;
        const bool isFurther =
            fnmatch((name + std::string("-*.plist")).c_str(), file.c_str(), 0) == 0;
        if (isFurther) loaded = loaded && loadFile(plane, folder + file);
        free(files[index]);
    }
    free(files);
    if (!loaded) theRegistry().model.planes[plane].nodes.assign(1, PlaneNode());
    theRegistry().model.planes[plane].loadFailed = !loaded;
    return loaded;
}

static bool loadServices() {
    Registry& state = theRegistry();
    if (!state.ownRegistry && !state.servicesLoaded && stationRoot() != nullptr) {
        state.servicesLoaded = true;
        state.servicesFailed = !checkStationRoot() || !loadPlane(registry::kServicePlane, false);
    }
    return !state.servicesFailed;
}

// The plane's index, or -1. The device tree is read when it is asked for.
static int findPlane(const char* name) {
    Registry& state = theRegistry();
    if (!state.ownRegistry && !state.deviceTreeLoaded && stationRoot() != nullptr &&
        strcmp(name, registry::kDeviceTreePlane) == 0) {
        state.deviceTreeLoaded = true;
        loadPlane(registry::kDeviceTreePlane, true);
    }
    for (std::size_t index = 0; index < state.model.planes.size(); ++index) {
        if (state.model.planes[index].name == name) return static_cast<int>(index);
    }
    return -1;
}

static void misuse(const char* what, registry::Object object) {
    ++theRegistry().misuses;
    fprintf(stderr, "simulated registry: %s 0x%x\n", what, object);
}

static EntryRecord* entryOf(registry::Object object) {
    Registry& state = theRegistry();
    const std::size_t index = std::size_t{object} - 1;
    if (object == 0 || index >= state.model.entries.size() ||
        state.model.entries[index].references == 0) {
        misuse("use of what is no entry in use:", object);
        return nullptr;
    }
    return &state.model.entries[index];
}

// Null for 0 as well, which is an iterator that finds nothing.
static Iterator* iteratorOf(registry::Object object) {
    Registry& state = theRegistry();
    if (object == 0) return nullptr;
    const std::size_t index = object & ~kIteratorBit;
    if ((object & kIteratorBit) == 0 || index >= state.iterators.size() ||
        state.iterators[index].references == 0) {
        misuse("use of what is no iterator in use:", object);
        return nullptr;
    }
    return &state.iterators[index];
}

static registry::Object handOutEntry(std::uint32_t entry) {
    ++theRegistry().model.entries[entry].references;
    ++theRegistry().liveObjects;
    return entry + 1;
}

// The node behind `node` in a walk that does not go below it when `isLeaf`, or kNone.
static std::uint32_t nodeAfter(const Plane& plane, std::uint32_t node, bool isLeaf) {
    if (!isLeaf && plane.nodes[node].firstChild != kNone) return plane.nodes[node].firstChild;
    while (node != kNone && plane.nodes[node].nextSibling == kNone) {
        node = plane.nodes[node].parent;
    }
    return node == kNone ? kNone : plane.nodes[node].nextSibling;
}

// A walk hands out an entry at each of its places; a match, once.
static bool isWanted(const Iterator& iterator, const PlaneNode& node) {
    if (iterator.wanted == Wanted::kAll) return true;
    const EntryRecord& entry = theRegistry().model.entries[node.entry];
    const Text text = iterator.wanted == Wanted::kName ? entry.name : entry.className;
    return !node.repeated && iterator.text == textAt(text);
}

// The node that the iterator comes to next, or kNone.
static std::uint32_t nextNode(const Iterator& iterator) {
    const Plane& plane = theRegistry().model.planes[iterator.plane];
    std::uint32_t node = iterator.node;
    while (node != kNone) {
        // A walk descends into an entry once.
        const bool isLeaf = iterator.wanted == Wanted::kAll && plane.nodes[node].repeated;
        node = nodeAfter(plane, node, isLeaf);
        if (node != kNone && isWanted(iterator, plane.nodes[node])) break;
    }
    return node;
}

static registry::Object handOutIterator(Iterator iterator) {
    Registry& state = theRegistry();
    if (state.noEmptyIterators && nextNode(iterator) == kNone) return 0;
    std::size_t index = 0;
    while (index < state.iterators.size() && state.iterators[index].references > 0) ++index;
    if (index == state.iterators.size()) state.iterators.emplace_back();
    iterator.references = 1;
    state.iterators[index] = std::move(iterator);
    ++state.liveObjects;
    return kIteratorBit | static_cast<registry::Object>(index);
}

void ClearRegistry() {
    for (const EntryRecord& entry : theRegistry().model.entries) {
        for (const auto& [name, value] : entry.properties) property::Release(value);
    }
    theRegistry() = Registry();
    theRegistry().ownRegistry = true;
}

Entry AddEntry(const char* plane, Entry parent, const EntryDescription& description) {
    Model& model = theRegistry().model;
    const std::uint32_t index = planeIndex(&model, plane);
    const std::vector<PlaneNode>& nodes = model.planes[index].nodes;
    std::uint32_t parentNode = 0;
    if (parent != kRoot) {
        while (parentNode < nodes.size() && nodes[parentNode].entry != parent) ++parentNode;
        if (parentNode == nodes.size()) parentNode = 0;
    }
    const std::uint32_t place = appendNode(&model, index, parentNode);
    PlaneNode& node = model.planes[index].nodes[place];
    EntryRecord& entry = model.entries[node.entry];
    node.name = entry.name = addText(&model, description.name);
    node.location = description.location.empty() ? 0 : addText(&model, description.location);
    entry.className = addText(&model, description.className);
    entry.id = description.id;
    settleNodes(&model, index, place);
    return node.entry;
}

void SetProperty(Entry entry, const char* name, property::Value value) {
    auto& properties = theRegistry().model.entries[entry].properties;
    for (auto& [known, current] : properties) {
        if (known != name) continue;
        property::Release(current);
        current = value;
        return;
    }
    properties.emplace_back(name, value);
}

registry::Object HandOut(Entry entry) {
    return handOutEntry(static_cast<std::uint32_t>(entry));
}

void FailCall(Call call, std::int32_t code, int passes) {
    theRegistry().faults[static_cast<int>(call)] = {code, passes};
}

void InvalidateIterator(int entries, bool lastOne) {
    theRegistry().invalidateAfter = entries;
    theRegistry().invalidateWithLast = lastOne;
}

void GiveNoEmptyIterators() {
    theRegistry().noEmptyIterators = true;
}

std::size_t LiveObjects() {
    return theRegistry().liveObjects;
}

std::size_t Misuses() {
    return theRegistry().misuses;
}

}  // namespace simulated

namespace registry {

using namespace simulated;

std::int32_t MasterPort(Port* port) {
    *port = 1;
    const std::int32_t fault = failing(Call::kMasterPort);
    if (fault != kSuccess) return fault;
    return loadServices() ? kSuccess : kIOReturnError;
}

static Matching matchingFor(Wanted wanted, const char* text) {
    if (failing(Call::kServiceMatching) != kSuccess) return nullptr;
    return new MatchingText{wanted, text};
}

Matching ServiceMatching(const char* className) {
    return matchingFor(Wanted::kClass, className);
}

Matching ServiceNameMatching(const char* name) {
    return matchingFor(Wanted::kName, name);
}

std::int32_t GetMatchingServices(Port, Matching matching, Object* iterator) {
    auto* text = static_cast<MatchingText*>(matching);
    const std::int32_t fault =
        text != nullptr ? failing(Call::kGetMatchingServices) : kIOReturnBadArgument;
    if (fault == kSuccess) {
        Iterator made;
        made.plane = kServicePlaneIndex;
        made.wanted = text->wanted;
        made.text = text->text;
        *iterator = handOutIterator(std::move(made));
    }
    delete text;
    return fault;
}

Object IteratorNext(Object object) {
    Iterator* iterator = iteratorOf(object);
    if (iterator == nullptr || !iterator->valid) return 0;
    Registry& state = theRegistry();
    if (state.invalidateAfter >= 0 && iterator->handedOut == state.invalidateAfter) {
        state.invalidateAfter = -1;
        iterator->valid = false;
        if (!state.invalidateWithLast) return 0;
    }
    iterator->node = nextNode(*iterator);
    if (iterator->node == kNone) return 0;
    ++iterator->handedOut;
    return handOutEntry(state.model.planes[iterator->plane].nodes[iterator->node].entry);
}

bool IteratorIsValid(Object object) {
    const Iterator* iterator = iteratorOf(object);
    return iterator != nullptr && iterator->valid;
}

void IteratorReset(Object object) {
    Iterator* iterator = iteratorOf(object);
    if (iterator == nullptr) return;
    iterator->node = 0;
    iterator->handedOut = 0;
    iterator->valid = true;
}

void ObjectRelease(Object object) {
    if (object == 0) return;
    std::uint32_t* references = nullptr;
    if ((object & kIteratorBit) != 0) {
        Iterator* iterator = iteratorOf(object);
        if (iterator != nullptr) references = &iterator->references;
    } else if (EntryRecord* entry = entryOf(object)) {
        references = &entry->references;
    }
    if (references == nullptr) return;
    --*references;
    --theRegistry().liveObjects;
}

property::Value EntryCreateProperty(Object object, const char* name) {
    const EntryRecord* entry = entryOf(object);
    if (entry == nullptr) return nullptr;
    for (const auto& [known, value] : entry->properties) {
        if (known == name) return Retain(value);
    }
    return capturedProperty(theRegistry().model, *entry, name);
}

property::Value EntrySearchProperty(Object entry, const char*, const char* name) {
    return EntryCreateProperty(entry, name);
}

std::int32_t EntrySetProperty(Object object, const char* name, property::Value value) {
    if (entryOf(object) == nullptr || value == nullptr) return kIOReturnBadArgument;
    const std::int32_t fault = failing(Call::kSetProperty);
    if (fault == kSuccess) SetProperty(object - 1, name, Retain(value));
    return fault;
}

Object EntryFromPath(Port, const char* path) {
    const char* separator = strstr(path, ":/");
    if (separator == nullptr) return 0;
    const int index = findPlane(std::string(path, separator).c_str());
    if (index < 0) return 0;
    const Model& model = theRegistry().model;
    const Plane& plane = model.planes[static_cast<std::size_t>(index)];
    const std::uint32_t node = findNode(model, plane, separator + 2);
    return node == kNone ? 0 : handOutEntry(plane.nodes[node].entry);
}

bool EntryInPlane(Object object, const char* name) {
    const int plane = findPlane(name);
    const EntryRecord* entry = entryOf(object);
    return plane >= 0 && entry != nullptr && (entry->planes & 1U << plane) != 0;
}

std::int32_t CreateRecursiveIterator(Port, const char* name, Object* iterator) {
    const std::int32_t fault = failing(Call::kCreateIterator);
    if (fault != kSuccess) return fault;
    const int plane = findPlane(name);
    if (plane < 0) return kIOReturnBadArgument;
    if (theRegistry().model.planes[static_cast<std::size_t>(plane)].loadFailed)
        return kIOReturnError;
    Iterator made;
    made.plane = static_cast<std::uint32_t>(plane);
    *iterator = handOutIterator(std::move(made));
    return kSuccess;
}

}  // namespace registry
