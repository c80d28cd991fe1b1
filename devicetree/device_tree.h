#pragma once

#include <cstdint>

#include "platform/io_registry.h"
#include "platform/property_value.h"

// Finding I/O registry entries and reading and writing their properties as raw bytes.
//
// Entries are registry handles. The caller owns every entry that it receives and gives it back with
// registry::ObjectRelease; every property::Value that it receives, with property::Release. The
// library keeps neither. Every operation returns one of these codes, or the registry's own code
// where it says so:
enum DTResult : std::int32_t {
    kDTOk = 0,
    kDTStub = 1,         // the operation does nothing
    kDTBadArgument = 2,  // a null pointer, a size of 0, a name that is too long
    kDTNotFound = 3,
    kDTBufferTooSmall = 4,
    kDTNumberFailed = -2543,   // the number does not convert to its own type
    kDTUnknownType = -2546,    // neither boolean, number, string nor data
    kDTDeleteRefused = -2557,  // properties cannot be deleted
};

// Longest names, in characters.
constexpr std::uint32_t kDTPlaneNameLength = 63;
constexpr std::uint32_t kDTPropertyNameLength = 127;

// Bytes that the value takes: boolean 1, number its own size, string its length in characters, data
// its length, anything else 0.
std::uint32_t DT_CFTypeRefSize(property::Value value);

// Writes the value's bytes into `buffer` of `*size` bytes and their number into `*size`: a boolean
// as 0 or 1, a number in its own type, a string in Mac Roman without a terminator, data as it is.
// From the first character on that Mac Roman lacks, a string's bytes are zeros, for as many as it
// has. Returns kDTBadArgument also when the value does not fit, kDTNumberFailed or kDTUnknownType.
std::int32_t DT_ConvertCFTypeRefToValue(property::Value value, void* buffer, std::uint32_t* size);

// Makes a value from `length` bytes, of the same type as `existing`, or data when that is null. The
// caller releases it. A boolean is true when any byte is not 0; a number takes its own type's size
// from the bytes; a string ends at the first NUL or at `length`, in Mac Roman; in data, "%" and two
// hex digits stand for a byte, and are decoded in place: `bytes` is changed. Null when there are
// too few bytes for the number, a "%" has no digits behind it, a string is longer than
// kDTLongestProperty, or `existing` is of another type.
constexpr std::uint32_t kDTLongestProperty = 16384;
property::Value DT_ConvertValueToCFTypeRef(property::Value existing, void* bytes,
                                           std::uint32_t length);

// `spec` is a path in a plane ("IODeviceTree:/cpus/cpu0@0"), or the name of a service, of which the
// first in the device-tree or the service plane is taken. kDTNotFound when there is none. When the
// lookup of services itself fails, returns kDTOk with `*entry` 0.
std::int32_t DT_FindDevice(const char* spec, registry::Object* entry);

// The first entry of the device-tree plane whose "compatible" property is a string that holds
// `name`, in Mac Roman, and a NUL right behind it, in its first kDTLongestProperty bytes.
// kDTNotFound, or the registry's code when it cannot be walked.
std::int32_t DT_FindCompatibleDevice(const char* name, registry::Object* entry);

// DT_FindDevice and, when that fails, DT_FindCompatibleDevice.
std::int32_t DT_FindDeviceID(const char* spec, registry::Object* entry);

// Walks a plane for entries that have a property. `spec` is "PLANE:PROPERTY", or "PROPERTY" in the
// device-tree plane. With `value`, an entry matches when its property's bytes are those that
// `value` begins with, so `value` must be as long as the longest of them. Up to `maxEntries`, 1 at
// least, matches are stored in `entries`; `*count` receives the number of all. Returns the result
// of the last conversion (normally kDTOk), or the registry's code when the plane cannot be walked.
// A string of more than kDTLongestProperty bytes matches no `value` and counts as kDTBadArgument.
std::int32_t DT_FindDevicesWithProp(const char* spec, const void* value, registry::Object* entries,
                                    std::int32_t maxEntries, std::uint32_t* count);

// The properties of an entry, which is passed by pointer and stays the caller's.

// The property's value, which the caller releases; null with kDTNotFound.
std::int32_t DT_ReadProperty(const registry::Object* entry, const char* name,
                             property::Value* value);

// kDTNotFound when the property is absent or of size 0.
std::int32_t DT_GetPropertyLength(const registry::Object* entry, const char* name,
                                  std::uint32_t* length);

// As DT_ConvertCFTypeRefToValue. Absent: kDTNotFound with `*size` kDTAbsent. kDTBufferTooSmall when
// the value does not fit, with `*size` as it was.
constexpr std::uint32_t kDTAbsent = 0xFFFFFFFF;
std::int32_t DT_GetProperty(const registry::Object* entry, const char* name, void* buffer,
                            std::uint32_t* size);

// Sets the property from `*size` bytes, converted by DT_ConvertValueToCFTypeRef after the property
// that is there: `bytes` may be changed. kDTBadArgument also when they convert to no value; else
// the registry's code.
std::int32_t DT_SetProperty(const registry::Object* entry, const char* name, void* bytes,
                            const std::uint32_t* size);

// Deletes nothing: kDTDeleteRefused when the property exists, else kDTNotFound.
std::int32_t DT_DeleteProperty(const registry::Object* entry, const char* name);

// The same with an entry that DT_FindDeviceID finds, whose error is returned as it is.
std::int32_t DT_GetDeviceProperty(const char* spec, const char* name, void* buffer,
                                  std::uint32_t* size);
std::int32_t DT_SetDeviceProperty(const char* spec, const char* name, void* bytes,
                                  const std::uint32_t* size);
std::int32_t DT_DeleteDeviceProperty(const char* spec, const char* name);

// Names without an operation: they do nothing and return kDTStub, the last one kDTOk.
std::int32_t DT_Child(const registry::Object* entry, registry::Object* child);
std::int32_t DT_Peer(const registry::Object* entry, registry::Object* peer);
std::int32_t DT_Parent(const registry::Object* entry, registry::Object* parent);
std::int32_t DT_EntryToPath(const registry::Object* entry, char* path, std::uint32_t* size);
std::int32_t DT_AddEntry(const char* path, registry::Object* entry);
std::int32_t DT_DeleteEntry(const registry::Object* entry);
std::int32_t DT_GetNextProperty(const registry::Object* entry, const char* previous, char* name);
