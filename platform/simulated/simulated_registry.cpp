#include "platform/simulated/simulated_registry.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/bounded_text.h"
#include "platform/simulated/registry_model.h"
#include "platform/simulated/station_root.h"

namespace simulated {
namespace {

constexpr std::int32_t kIOReturnError = static_cast<std::int32_t>(0xe00002bc);
constexpr std::int32_t kIOReturnBadArgument = static_cast<std::int32_t>(0xe00002c2);
constexpr registry::Object kIteratorBit = 0x80000000;
constexpr std::uint32_t kServicePlaneIndex = 0;

struct Iterator {
    std::uint32_t plane = 0;
    std::uint32_t node = kNoNode;  // the one handed out last
    bool done = false;
    const char* wanted = nullptr;  // class or name; null: all
    bool byName = false;
    std::string text;
    int handedOut = 0;
    bool valid = true;
    std::uint32_t references = 0;
};

struct Fault {
    std::int32_t code = registry::kSuccess;
    int passes = 0;
};

struct MatchingText {
    bool byName;
    std::string text;
};

struct Registry {
    Model model;
    bool ownRegistry = false;  // a test's: no station root is looked at
    bool servicesLoaded = false;
    bool servicesFailed = false;
    bool deviceTreeLoaded = false;
    std::deque<Iterator> iterators;
    Fault faults[static_cast<int>(Call::kCount)];
    int invalidateAfter = -1;
    bool invalidateWithLast = false;
    std::size_t liveObjects = 0;
    std::size_t misuses = 0;

    Registry() {
        model.entries.emplace_back();
        model.entries[0].name = "Root";
        model.entries[0].className = "IORegistryEntry";
        planeIndex(&model, registry::kServicePlane);
    }
};

Registry* theRegistry = nullptr;

Registry& reg() {
    if (theRegistry == nullptr) theRegistry = new Registry;
    return *theRegistry;
}

// The fault's code when the call is to fail now.
std::int32_t failing(Call call) {
    Fault& fault = reg().faults[static_cast<int>(call)];
    if (fault.code == registry::kSuccess) return registry::kSuccess;
    return fault.passes-- > 0 ? registry::kSuccess : (fault.passes = 0, fault.code);
}

bool loadPlane(const char* name, const char* file, bool optional) {
    char path[PATH_MAX];
    if (!stationPath(path, sizeof path, file)) return true;
    const std::uint32_t plane = planeIndex(&reg().model, name);
    reg().model.planes[plane].loadFailed = !loadCapture(&reg().model, plane, path, optional);
    return !reg().model.planes[plane].loadFailed;
}

bool loadServices() {
    Registry& registry = reg();
    if (!registry.ownRegistry && !registry.servicesLoaded) {
        registry.servicesLoaded = true;
        registry.servicesFailed =
            !loadPlane(registry::kServicePlane, "/ioregistry/IOService.plist", false);
    }
    return !registry.servicesFailed;
}

// The plane's index, or -1. The device tree is read when it is asked for.
int findPlane(const char* name) {
    Registry& registry = reg();
    if (!registry.ownRegistry && !registry.deviceTreeLoaded &&
        strcmp(name, registry::kDeviceTreePlane) == 0) {
        registry.deviceTreeLoaded = true;
        loadPlane(registry::kDeviceTreePlane, "/ioregistry/IODeviceTree.plist", true);
    }
    for (std::size_t index = 0; index < registry.model.planes.size(); ++index) {
        if (registry.model.planes[index].name == name) return static_cast<int>(index);
    }
    return -1;
}

void misuse(const char* what, registry::Object object) {
    ++reg().misuses;
    fprintf(stderr, "simulated registry: %s 0x%x\n", what, object);
}

EntryRecord* entryOf(registry::Object object) {
    Registry& registry = reg();
    const std::size_t index = std::size_t{object} - 1;
    if (object == 0 || index >= registry.model.entries.size() ||
        registry.model.entries[index].references == 0) {
        misuse("use of what is no entry in use:", object);
        return nullptr;
    }
    return &registry.model.entries[index];
}

Iterator* iteratorOf(registry::Object object) {
    Registry& registry = reg();
    const std::size_t index = object & ~kIteratorBit;
    if ((object & kIteratorBit) == 0 || index >= registry.iterators.size() ||
        registry.iterators[index].references == 0) {
        misuse("use of what is no iterator in use:", object);
        return nullptr;
    }
    return &registry.iterators[index];
}

registry::Object handOutEntry(std::uint32_t entry) {
    ++reg().model.entries[entry].references;
    ++reg().liveObjects;
    return entry + 1;
}

registry::Object handOutIterator(Iterator iterator) {
    Registry& registry = reg();
    std::size_t index = 0;
    while (index < registry.iterators.size() && registry.iterators[index].references > 0) ++index;
    if (index == registry.iterators.size()) registry.iterators.emplace_back();
    iterator.references = 1;
    registry.iterators[index] = std::move(iterator);
    ++registry.liveObjects;
    return kIteratorBit | static_cast<registry::Object>(index);
}

std::uint32_t nodeAfter(const Plane& plane, std::uint32_t node) {
    if (plane.nodes[node].firstChild != kNoNode) return plane.nodes[node].firstChild;
    while (node != kNoNode && plane.nodes[node].nextSibling == kNoNode) {
        node = plane.nodes[node].parent;
    }
    return node == kNoNode ? kNoNode : plane.nodes[node].nextSibling;
}

bool isWanted(const Iterator& iterator, const PlaneNode& node) {
    if (node.repeated) return false;
    if (iterator.wanted == nullptr) return true;
    const EntryRecord& entry = reg().model.entries[node.entry];
    return iterator.text == (iterator.byName ? entry.name : entry.className);
}

// Whether the component of a path, "name" or "name@location", names the node.
bool isNamed(const PlaneNode& node, const std::string& component) {
    if (component == node.name) return true;
    return *node.location != '\0' && component == std::string(node.name) + "@" + node.location;
}

std::uint32_t findChild(const Plane& plane, std::uint32_t parent, const std::string& component) {
    std::uint32_t child = plane.nodes[parent].firstChild;
    while (child != kNoNode && !isNamed(plane.nodes[child], component)) {
        child = plane.nodes[child].nextSibling;
    }
    return child;
}

}  // namespace

std::uint32_t planeIndex(Model* model, const char* name) {
    for (std::uint32_t index = 0; index < model->planes.size(); ++index) {
        if (model->planes[index].name == name) return index;
    }
    const auto index = static_cast<std::uint32_t>(model->planes.size());
    model->planes.push_back({name, false, {PlaneNode{0, "", ""}}});
    model->entries[0].planes |= 1U << index;
    return index;
}

std::uint32_t appendEntry(Model* model, std::uint32_t plane, std::uint32_t parent,
                          const NewEntry& entry) {
    auto index = static_cast<std::uint32_t>(model->entries.size());
    bool isNew = true;
    if (entry.id != 0) {
        const auto [place, inserted] = model->entriesById.emplace(entry.id, index);
        index = place->second;
        isNew = inserted;
    }
    if (isNew) {
        EntryRecord record;
        record.name = entry.name;
        record.className = entry.className;
        record.captured = entry.captured;
        model->entries.push_back(std::move(record));
    }
    const std::uint32_t bit = 1U << plane;
    std::vector<PlaneNode>& nodes = model->planes[plane].nodes;
    PlaneNode node{index, entry.name, entry.location};
    node.repeated = (model->entries[index].planes & bit) != 0;
    node.parent = parent;
    model->entries[index].planes |= bit;
    const auto place = static_cast<std::uint32_t>(nodes.size());
    nodes.push_back(node);
    if (nodes[parent].lastChild == kNoNode) {
        nodes[parent].firstChild = place;
    } else {
        nodes[nodes[parent].lastChild].nextSibling = place;
    }
    nodes[parent].lastChild = place;
    return place;
}

void ClearRegistry() {
    for (const EntryRecord& entry : reg().model.entries) {
        for (const auto& [name, value] : entry.properties) property::Release(value);
    }
    delete theRegistry;
    theRegistry = new Registry;
    theRegistry->ownRegistry = true;
}

static const char* keepText(const std::string& text) {
    return reg().model.texts.emplace_back(text).c_str();
}

Entry AddEntry(const char* plane, Entry parent, const EntryDescription& description) {
    Model& model = reg().model;
    const std::uint32_t index = planeIndex(&model, plane);
    std::uint32_t parentNode = 0;
    if (parent != kRoot) {
        const std::vector<PlaneNode>& nodes = model.planes[index].nodes;
        while (parentNode < nodes.size() && nodes[parentNode].entry != parent) ++parentNode;
        if (parentNode == nodes.size()) parentNode = 0;
    }
    const std::uint32_t node =
        appendEntry(&model, index, parentNode,
                    {keepText(description.name), keepText(description.className),
                     keepText(description.location), description.id, nullptr});
    return model.planes[index].nodes[node].entry;
}

void SetProperty(Entry entry, const char* name, property::Value value) {
    auto& properties = reg().model.entries[entry].properties;
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
    reg().faults[static_cast<int>(call)] = {code, passes};
}

void InvalidateIterator(int entries, bool lastOne) {
    reg().invalidateAfter = entries;
    reg().invalidateWithLast = lastOne;
}

std::size_t LiveObjects() {
    return reg().liveObjects;
}

std::size_t Misuses() {
    return reg().misuses;
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

static Matching matchingFor(bool byName, const char* text) {
    if (failing(Call::kServiceMatching) != kSuccess) return nullptr;
    return new MatchingText{byName, text};
}

Matching ServiceMatching(const char* className) {
    return matchingFor(false, className);
}

Matching ServiceNameMatching(const char* name) {
    return matchingFor(true, name);
}

std::int32_t GetMatchingServices(Port, Matching matching, Object* iterator) {
    auto* text = static_cast<MatchingText*>(matching);
    const std::int32_t fault =
        text != nullptr ? failing(Call::kGetMatchingServices) : kIOReturnBadArgument;
    if (fault == kSuccess) {
        Iterator made;
        made.plane = kServicePlaneIndex;
        made.byName = text->byName;
        made.text = text->text;
        made.wanted = "";
        *iterator = handOutIterator(std::move(made));
    }
    delete text;
    return fault;
}

Object IteratorNext(Object object) {
    Iterator* iterator = iteratorOf(object);
    if (iterator == nullptr || !iterator->valid) return 0;
    Registry& registry = reg();
    if (registry.invalidateAfter >= 0 && iterator->handedOut == registry.invalidateAfter) {
        registry.invalidateAfter = -1;
        iterator->valid = false;
        if (!registry.invalidateWithLast) return 0;
    }
    if (iterator->done) return 0;
    const Plane& plane = registry.model.planes[iterator->plane];
    std::uint32_t node = nodeAfter(plane, iterator->node == kNoNode ? 0 : iterator->node);
    while (node != kNoNode && !isWanted(*iterator, plane.nodes[node]))
        node = nodeAfter(plane, node);
    iterator->done = node == kNoNode;
    if (iterator->done) return 0;
    iterator->node = node;
    ++iterator->handedOut;
    return handOutEntry(plane.nodes[node].entry);
}

bool IteratorIsValid(Object object) {
    const Iterator* iterator = iteratorOf(object);
    return iterator != nullptr && iterator->valid;
}

void IteratorReset(Object object) {
    Iterator* iterator = iteratorOf(object);
    if (iterator == nullptr) return;
    iterator->node = kNoNode;
    iterator->done = false;
    iterator->handedOut = 0;
    iterator->valid = true;
}

void ObjectRelease(Object object) {
    std::uint32_t* references = nullptr;
    if ((object & kIteratorBit) != 0) {
        Iterator* iterator = iteratorOf(object);
        if (iterator != nullptr) references = &iterator->references;
    } else if (EntryRecord* entry = entryOf(object)) {
        references = &entry->references;
    }
    if (references == nullptr) return;
    --*references;
    --reg().liveObjects;
}

property::Value EntryCreateProperty(Object object, const char* name) {
    const EntryRecord* entry = entryOf(object);
    if (entry == nullptr) return nullptr;
    for (const auto& [known, value] : entry->properties) {
        if (known == name) return Retain(value);
    }
    return entry->captured != nullptr ? capturedProperty(entry->captured, name) : nullptr;
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
    const Plane& plane = reg().model.planes[static_cast<std::size_t>(index)];
    std::uint32_t node = 0;
    const char* rest = separator + 2;
    while (*rest != '\0' && node != kNoNode) {
        const std::size_t length = strcspn(rest, "/");
        node = findChild(plane, node, std::string(rest, length));
        rest += length + (rest[length] == '/' ? 1 : 0);
    }
    return node == kNoNode ? 0 : handOutEntry(plane.nodes[node].entry);
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
    if (reg().model.planes[static_cast<std::size_t>(plane)].loadFailed) return kIOReturnError;
    Iterator made;
    made.plane = static_cast<std::uint32_t>(plane);
    *iterator = handOutIterator(std::move(made));
    return kSuccess;
}

}  // namespace registry
