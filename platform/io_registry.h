#pragma once

#include <cstdint>

#include "platform/property_value.h"

// The I/O registry, one function for one platform call and named after it.
//
// Return codes are the platform's own: kSuccess or a kernel return, which may be of either sign.
// Every Object handed out (entries and iterators alike) is one reference that the caller gives back
// with ObjectRelease; 0 is "no object". An iterator that would find nothing may be 0, with success:
// it is not valid, gives nothing, and is released to no effect.
namespace registry {

using Object = std::uint32_t;
using Port = std::uint32_t;
using Matching = void*;  // a matching dictionary; null is none

constexpr std::int32_t kSuccess = 0;

constexpr const char* kServicePlane = "IOService";
constexpr const char* kDeviceTreePlane = "IODeviceTree";

std::int32_t MasterPort(Port* port);

// Matches every service of the class, or with the name. Null when none can be made.
Matching ServiceMatching(const char* className);
Matching ServiceNameMatching(const char* name);
// Uses up `matching`, whatever the outcome.
std::int32_t GetMatchingServices(Port port, Matching matching, Object* iterator);

// 0 at the end, and from an iterator that has become invalid or is 0.
Object IteratorNext(Object iterator);
bool IteratorIsValid(Object iterator);
void IteratorReset(Object iterator);
void ObjectRelease(Object object);  // of 0, too: the platform takes it for nothing to do

// The entry's property, or null. Search looks at the entry itself, by plane.
property::Value EntryCreateProperty(Object entry, const char* name);
property::Value EntrySearchProperty(Object entry, const char* plane, const char* name);
// Keeps its own reference to `value`.
std::int32_t EntrySetProperty(Object entry, const char* name, property::Value value);

// `path` is plane-qualified ("IODeviceTree:/cpus/cpu0@0"). It leads down from the plane's first
// entry by names, compared whole, with or without a location. 0 when there is none.
Object EntryFromPath(Port port, const char* path);
bool EntryInPlane(Object entry, const char* plane);
// Walks the whole plane, parents before children, without the root entry.
std::int32_t CreateRecursiveIterator(Port port, const char* plane, Object* iterator);

}  // namespace registry
