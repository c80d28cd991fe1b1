#include "devicetree/device_tree.h"

#include <cstring>

#include "platform/bounded_text.h"
#include "platform/registry_scan.h"

using registry::Object;

namespace {

struct PropertySpec {
    char plane[kDTPlaneNameLength + 1];
    char name[kDTPropertyNameLength + 1];
};

// Entries that match, of which the first `most` are held for the caller.
struct Matches {
    Object* entries;
    std::uint32_t most;
    std::uint32_t count;
};

}  // namespace

std::uint32_t DT_CFTypeRefSize(property::Value value) {
    switch (property::KindOf(value)) {
        case property::Kind::kBoolean:
            return 1;
        case property::Kind::kNumber:
            return static_cast<std::uint32_t>(property::NumberByteSize(value));
        case property::Kind::kString:
            return static_cast<std::uint32_t>(property::StringLength(value));
        case property::Kind::kData:
            return static_cast<std::uint32_t>(property::DataLength(value));
        case property::Kind::kNone:
        case property::Kind::kOther:
            break;
    }
    return 0;
}

std::int32_t DT_ConvertCFTypeRefToValue(property::Value value, void* buffer, std::uint32_t* size) {
    if (buffer == nullptr || size == nullptr || *size == 0) return kDTBadArgument;
    const std::uint32_t length = DT_CFTypeRefSize(value);
    if (length > *size) return kDTBadArgument;
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    switch (property::KindOf(value)) {
        case property::Kind::kBoolean:
            bytes[0] = property::BooleanValue(value) ? 1 : 0;
            break;
        case property::Kind::kNumber:
            if (!property::GetNumber(value, property::NumberTypeOf(value), buffer)) {
                return kDTNumberFailed;
            }
            break;
        case property::Kind::kString:
            // What does not convert leaves zeros: the size is that of the whole string.
            memset(bytes, 0, length);
            property::StringToBytes(value, bytes, length, property::kMacRoman, 0);
            break;
        case property::Kind::kData:
            if (length > 0) memcpy(bytes, property::DataBytes(value), length);
            break;
        case property::Kind::kNone:
        case property::Kind::kOther:
            return kDTUnknownType;
    }
    *size = length;
    return kDTOk;
}

static int hexDigit(std::uint8_t byte) {
    if (byte >= '0' && byte <= '9') return byte - '0';
    if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
    if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
    return -1;
}

// Decodes "%41" to "A" in place; the number of bytes left, or -1 for a "%" without its digits.
static std::int64_t decodeEscapes(std::uint8_t* bytes, std::uint32_t length) {
    std::uint32_t kept = 0;
    for (std::uint32_t next = 0; next < length; ++next) {
        std::uint8_t byte = bytes[next];
        if (byte == '%') {
            const int high = next + 2 < length ? hexDigit(bytes[next + 1]) : -1;
            const int low = next + 2 < length ? hexDigit(bytes[next + 2]) : -1;
            if (high < 0 || low < 0) return -1;
            byte = static_cast<std::uint8_t>(high << 4 | low);
            next += 2;
        }
        bytes[kept++] = byte;
    }
    return kept;
}

static bool anySet(const std::uint8_t* bytes, std::uint32_t length) {
    for (std::uint32_t index = 0; index < length; ++index) {
        if (bytes[index] != 0) return true;
    }
    return false;
}

static property::Value createString(const std::uint8_t* bytes, std::uint32_t length) {
    char text[kDTLongestProperty + 1];
    const std::size_t kept = strnlen(reinterpret_cast<const char*>(bytes), length);
    if (kept > kDTLongestProperty) return nullptr;
    memcpy(text, bytes, kept);
    text[kept] = '\0';
    return property::CreateString(text, property::kMacRoman);
}

static property::Value createNumber(property::Value existing, const std::uint8_t* bytes,
                                    std::uint32_t length) {
    if (property::NumberByteSize(existing) > std::int64_t{length}) return nullptr;
    return property::CreateNumber(property::NumberTypeOf(existing), bytes);
}

static property::Value createData(std::uint8_t* bytes, std::uint32_t length) {
    const std::int64_t decoded = decodeEscapes(bytes, length);
    return decoded >= 0 ? property::CreateData(bytes, decoded) : nullptr;
}

property::Value DT_ConvertValueToCFTypeRef(property::Value existing, void* bytes,
                                           std::uint32_t length) {
    if (bytes == nullptr) return nullptr;
    auto* content = static_cast<std::uint8_t*>(bytes);
    switch (property::KindOf(existing)) {
        case property::Kind::kBoolean:
            return property::CreateBoolean(anySet(content, length));
        case property::Kind::kNumber:
            return createNumber(existing, content, length);
        case property::Kind::kString:
            return createString(content, length);
        case property::Kind::kNone:
        case property::Kind::kData:
            return createData(content, length);
        case property::Kind::kOther:
            break;
    }
    return nullptr;
}

// A look-up that failed leaves an entry 0, which has no properties.
static property::Value propertyOf(Object entry, const char* name) {
    return entry != 0 ? registry::EntryCreateProperty(entry, name) : nullptr;
}

static bool inEitherPlane(Object entry) {
    return registry::EntryInPlane(entry, registry::kDeviceTreePlane) ||
           registry::EntryInPlane(entry, registry::kServicePlane);
}

static std::int32_t findByName(registry::Port port, const char* name, Object* entry) {
    RegistryScan scan = {0, 0};
    const registry::Matching matching = registry::ServiceNameMatching(name);
    if (matching == nullptr ||
        registry::GetMatchingServices(port, matching, &scan.iterator) != registry::kSuccess) {
        // Callers tell a registry that cannot be asked from a name that is not there by the entry.
        return kDTOk;
    }
    std::int32_t result = kDTNotFound;
    bool restarted = false;
    while (const Object service = NextEntry(&scan, &restarted)) {
        if (inEitherPlane(service)) {
            *entry = service;
            result = kDTOk;
            break;
        }
        registry::ObjectRelease(service);
    }
    registry::ObjectRelease(scan.iterator);
    return result;
}

std::int32_t DT_FindDevice(const char* spec, Object* entry) {
    if (spec == nullptr || entry == nullptr) return kDTBadArgument;
    *entry = 0;
    registry::Port port = 0;
    const std::int32_t result = registry::MasterPort(&port);
    if (result != registry::kSuccess) return result;
    if (strstr(spec, ":/") == nullptr) return findByName(port, spec, entry);
    *entry = registry::EntryFromPath(port, spec);
    return *entry != 0 ? kDTOk : kDTNotFound;
}

static std::int32_t walkPlane(const char* plane, RegistryScan* scan) {
    registry::Port port = 0;
    const std::int32_t result = registry::MasterPort(&port);
    if (result != registry::kSuccess) return result;
    return registry::CreateRecursiveIterator(port, plane, &scan->iterator);
}

// A list of names is a string in which a NUL ends each: the terminator counts as part of the name.
static bool listsName(property::Value value, const char* name) {
    if (property::KindOf(value) != property::Kind::kString) return false;
    // Stands for what is not in Mac Roman, which must not hide the names behind it. No name has it.
    constexpr std::uint8_t kSubstitute = 0x1A;
    std::uint8_t bytes[kDTLongestProperty];
    const auto length = static_cast<std::size_t>(
        property::StringToBytes(value, bytes, sizeof bytes, property::kMacRoman, kSubstitute));
    const std::size_t wanted = strlen(name) + 1;
    for (std::size_t start = 0; start + wanted <= length; ++start) {
        if (memcmp(bytes + start, name, wanted) == 0) return true;
    }
    return false;
}

std::int32_t DT_FindCompatibleDevice(const char* name, Object* entry) {
    if (name == nullptr || entry == nullptr) return kDTBadArgument;
    *entry = 0;
    RegistryScan scan = {0, 0};
    const std::int32_t result = walkPlane(registry::kDeviceTreePlane, &scan);
    if (result != registry::kSuccess) return result;
    bool restarted = false;
    while (const Object candidate = NextEntry(&scan, &restarted)) {
        const property::Value compatible = propertyOf(candidate, "compatible");
        const bool found = listsName(compatible, name);
        property::Release(compatible);
        if (found) {
            *entry = candidate;
            break;
        }
        registry::ObjectRelease(candidate);
    }
    registry::ObjectRelease(scan.iterator);
    return *entry != 0 ? kDTOk : kDTNotFound;
}

std::int32_t DT_FindDeviceID(const char* spec, Object* entry) {
    if (spec == nullptr || entry == nullptr) return kDTBadArgument;
    const std::int32_t result = DT_FindDevice(spec, entry);
    return result == kDTOk ? kDTOk : DT_FindCompatibleDevice(spec, entry);
}

static bool splitSpec(const char* spec, PropertySpec* split) {
    const char* colon = strchr(spec, ':');
    if (colon == nullptr) {
        copyText(split->plane, sizeof split->plane, registry::kDeviceTreePlane);
        return copyText(split->name, sizeof split->name, spec);
    }
    return formatText(split->plane, sizeof split->plane, "%.*s", static_cast<int>(colon - spec),
                      spec) &&
           copyText(split->name, sizeof split->name, colon + 1);
}

static void addMatch(Matches* matches, Object entry) {
    if (matches->count < matches->most) {
        matches->entries[matches->count] = entry;
    } else {
        registry::ObjectRelease(entry);
    }
    ++matches->count;
}

static void dropMatches(Matches* matches) {
    const std::uint32_t held = matches->count < matches->most ? matches->count : matches->most;
    for (std::uint32_t index = 0; index < held; ++index) {
        registry::ObjectRelease(matches->entries[index]);
    }
    matches->count = 0;
}

// Whether the property's bytes are those that `value` begins with; without one, any are. Returns
// the conversion's result. Data needs no conversion, nor does a string that is not compared.
static std::int32_t compareProperty(property::Value found, const void* value, bool* isEqual) {
    const property::Kind kind = property::KindOf(found);
    *isEqual = value == nullptr;
    if (kind == property::Kind::kData) {
        const std::uint32_t length = DT_CFTypeRefSize(found);
        if (value != nullptr) {
            *isEqual = length == 0 || memcmp(value, property::DataBytes(found), length) == 0;
        }
        return kDTOk;
    }
    if (kind == property::Kind::kString && value == nullptr) return kDTOk;
    std::uint8_t bytes[kDTLongestProperty];
    std::uint32_t size = sizeof bytes;
    const std::int32_t result = DT_ConvertCFTypeRefToValue(found, bytes, &size);
    if (value != nullptr) *isEqual = result == kDTOk && memcmp(value, bytes, size) == 0;
    return result;
}

// Takes over the entry. Returns the conversion's result, or `result` when the property is absent.
static std::int32_t matchEntry(Object entry, const char* name, const void* value, Matches* matches,
                               std::int32_t result) {
    const property::Value found = propertyOf(entry, name);
    bool isMatch = false;
    if (found != nullptr) result = compareProperty(found, value, &isMatch);
    property::Release(found);
    if (isMatch) {
        addMatch(matches, entry);
    } else {
        registry::ObjectRelease(entry);
    }
    return result;
}

std::int32_t DT_FindDevicesWithProp(const char* spec, const void* value, Object* entries,
                                    std::int32_t maxEntries, std::uint32_t* count) {
    if (spec == nullptr || entries == nullptr || count == nullptr || maxEntries < 1) {
        return kDTBadArgument;
    }
    *count = 0;
    PropertySpec split;
    if (!splitSpec(spec, &split)) return kDTBadArgument;
    RegistryScan scan = {0, 0};
    std::int32_t result = walkPlane(split.plane, &scan);
    if (result != registry::kSuccess) return result;
    Matches matches = {entries, static_cast<std::uint32_t>(maxEntries), 0};
    bool restarted = false;
    while (const Object entry = NextEntry(&scan, &restarted)) {
        if (restarted) dropMatches(&matches);
        result = matchEntry(entry, split.name, value, &matches, result);
    }
    if (restarted) dropMatches(&matches);
    registry::ObjectRelease(scan.iterator);
    *count = matches.count;
    return result;
}

std::int32_t DT_ReadProperty(const Object* entry, const char* name, property::Value* value) {
    if (entry == nullptr || name == nullptr || value == nullptr) return kDTBadArgument;
    *value = propertyOf(*entry, name);
    return *value != nullptr ? kDTOk : kDTNotFound;
}

std::int32_t DT_GetPropertyLength(const Object* entry, const char* name, std::uint32_t* length) {
    if (entry == nullptr || name == nullptr || length == nullptr) return kDTBadArgument;
    const property::Value value = propertyOf(*entry, name);
    *length = DT_CFTypeRefSize(value);
    property::Release(value);
    return *length != 0 ? kDTOk : kDTNotFound;
}

std::int32_t DT_GetProperty(const Object* entry, const char* name, void* buffer,
                            std::uint32_t* size) {
    if (entry == nullptr || name == nullptr || buffer == nullptr || size == nullptr || *size == 0) {
        return kDTBadArgument;
    }
    const property::Value value = propertyOf(*entry, name);
    if (value == nullptr) {
        *size = kDTAbsent;
        return kDTNotFound;
    }
    const std::int32_t result = *size < DT_CFTypeRefSize(value)
                                    ? std::int32_t{kDTBufferTooSmall}
                                    : DT_ConvertCFTypeRefToValue(value, buffer, size);
    property::Release(value);
    return result;
}

std::int32_t DT_SetProperty(const Object* entry, const char* name, void* bytes,
                            const std::uint32_t* size) {
    if (entry == nullptr || name == nullptr || bytes == nullptr || size == nullptr || *size == 0) {
        return kDTBadArgument;
    }
    if (*entry == 0) return kDTNotFound;
    const property::Value existing = propertyOf(*entry, name);
    const property::Value value = DT_ConvertValueToCFTypeRef(existing, bytes, *size);
    property::Release(existing);
    if (value == nullptr) return kDTBadArgument;
    const std::int32_t result = registry::EntrySetProperty(*entry, name, value);
    property::Release(value);
    return result;
}

std::int32_t DT_DeleteProperty(const Object* entry, const char* name) {
    property::Value value = nullptr;
    const std::int32_t result = DT_ReadProperty(entry, name, &value);
    property::Release(value);
    return result == kDTOk ? std::int32_t{kDTDeleteRefused} : result;
}

// The operation's result for the entry that DT_FindDeviceID finds, or its error.
template <typename Operation>
static std::int32_t forDevice(const char* spec, Operation operation) {
    Object entry = 0;
    std::int32_t result = DT_FindDeviceID(spec, &entry);
    if (result == kDTOk) result = operation(&entry);
    registry::ObjectRelease(entry);
    return result;
}

std::int32_t DT_GetDeviceProperty(const char* spec, const char* name, void* buffer,
                                  std::uint32_t* size) {
    return forDevice(
        spec, [=](const Object* entry) { return DT_GetProperty(entry, name, buffer, size); });
}

std::int32_t DT_SetDeviceProperty(const char* spec, const char* name, void* bytes,
                                  const std::uint32_t* size) {
    return forDevice(spec,
                     [=](const Object* entry) { return DT_SetProperty(entry, name, bytes, size); });
}

std::int32_t DT_DeleteDeviceProperty(const char* spec, const char* name) {
    return forDevice(spec, [=](const Object* entry) { return DT_DeleteProperty(entry, name); });
}

std::int32_t DT_Child(const Object*, Object*) {
    return kDTStub;
}

std::int32_t DT_Peer(const Object*, Object*) {
    return kDTStub;
}

std::int32_t DT_Parent(const Object*, Object*) {
    return kDTStub;
}

std::int32_t DT_EntryToPath(const Object*, char*, std::uint32_t*) {
    return kDTStub;
}

std::int32_t DT_AddEntry(const char*, Object*) {
    return kDTStub;
}

std::int32_t DT_DeleteEntry(const Object*) {
    return kDTStub;
}

std::int32_t DT_GetNextProperty(const Object*, const char*, char*) {
    return kDTOk;
}
