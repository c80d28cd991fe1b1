#include "platform/io_registry.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

namespace {

// The property's name for the length of a call.
class Key {
  public:
    explicit Key(const char* name)
        : string_(CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8)) {}
    ~Key() {
        if (string_ != nullptr) CFRelease(string_);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    CFStringRef get() const { return string_; }

  private:
    CFStringRef string_;
};

}  // namespace

namespace registry {

std::int32_t MasterPort(Port* port) {
// The newer name of the call is missing on the oldest systems that the tool serves.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    return IOMasterPort(MACH_PORT_NULL, port);
#pragma clang diagnostic pop
}

Matching ServiceMatching(const char* className) {
    return IOServiceMatching(className);
}

Matching ServiceNameMatching(const char* name) {
    return IOServiceNameMatching(name);
}

std::int32_t GetMatchingServices(Port port, Matching matching, Object* iterator) {
    return IOServiceGetMatchingServices(port, static_cast<CFDictionaryRef>(matching), iterator);
}

Object IteratorNext(Object iterator) {
    return IOIteratorNext(iterator);
}

bool IteratorIsValid(Object iterator) {
    return IOIteratorIsValid(iterator) != 0;
}

void IteratorReset(Object iterator) {
    IOIteratorReset(iterator);
}

void ObjectRelease(Object object) {
    IOObjectRelease(object);
}

property::Value EntryCreateProperty(Object entry, const char* name) {
    const Key key(name);
    if (key.get() == nullptr) return nullptr;
    return IORegistryEntryCreateCFProperty(entry, key.get(), kCFAllocatorDefault, 0);
}

property::Value EntrySearchProperty(Object entry, const char* plane, const char* name) {
    const Key key(name);
    if (key.get() == nullptr) return nullptr;
    return IORegistryEntrySearchCFProperty(entry, plane, key.get(), kCFAllocatorDefault, 0);
}

std::int32_t EntrySetProperty(Object entry, const char* name, property::Value value) {
    const Key key(name);
    if (key.get() == nullptr) return kIOReturnBadArgument;
    return IORegistryEntrySetCFProperty(entry, key.get(), value);
}

Object EntryFromPath(Port port, const char* path) {
    return IORegistryEntryFromPath(port, path);
}

bool EntryInPlane(Object entry, const char* plane) {
    return IORegistryEntryInPlane(entry, plane) != 0;
}

std::int32_t CreateRecursiveIterator(Port port, const char* plane, Object* iterator) {
    return IORegistryCreateIterator(port, plane, kIORegistryIterateRecursively, iterator);
}

}  // namespace registry
