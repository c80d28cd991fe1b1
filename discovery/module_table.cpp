#include "discovery/module_table.h"

#include <cstdio>
#include <cstring>

#include "discovery/registry_services.h"
#include "platform/bounded_text.h"
#include "platform/registry_scan.h"
#include "serial/reply_lines.h"

static constexpr const char* kOperation = "IdentifyWWANModule";

WWANDevice gWWANDevice[kMaxModules];
std::int32_t gTotalWWANDevices = 0;
std::uint32_t gCardModel = 0;

ModuleFamily familyOf(std::uint32_t productId) {
    switch (productId) {
        case 0x0019:
        case 0x8222:
            return ModuleFamily::kEvdo;
        case 0x8231:
        case 0x8232:
            return ModuleFamily::kHspa;
        default:
            return ModuleFamily::kUnknown;
    }
}

void TypeRefToString(property::Value value, char* text, std::size_t size) {
    copyText(text, size, "?");
    const auto room = static_cast<std::int64_t>(size);
    switch (property::KindOf(value)) {
        case property::Kind::kData: {
            const std::int64_t length = property::DataLength(value);
            if (length > 0 && length < room) {
                memcpy(text, property::DataBytes(value), static_cast<std::size_t>(length));
            }
            break;
        }
        case property::Kind::kString:
            // A conversion that fails half-way may leave anything behind.
            if (property::StringLength(value) < room &&
                !property::StringToCString(value, text, room, property::SystemEncoding())) {
                copyText(text, size, "?");
            }
            break;
        case property::Kind::kBoolean:
            formatText(text, size, "%d", property::BooleanValue(value) ? 1 : 0);
            break;
        case property::Kind::kNumber: {
            long number = 0;
            if (property::GetNumber(value, property::kLong, &number)) {
                formatText(text, size, "%d", static_cast<int>(number));
            }
            break;
        }
        case property::Kind::kNone:
        case property::Kind::kOther:
            return;
    }
    property::Release(value);
}

namespace {

// One pass over the services of a class: `read` takes an entry's property, `store` its text and
// the number of entries stored before it, and says whether it was one.
struct Pass {
    const char* className;
    property::Value (*read)(registry::Object entry);
    bool (*store)(const char* text, std::int32_t index);
};

}  // namespace

static property::Value readCalloutDevice(registry::Object entry) {
    return registry::EntryCreateProperty(entry, "IOCalloutDevice");
}

static bool storePath(const char* path, std::int32_t index) {
    if (strstr(path, "wwanCMD") == nullptr) return false;
    if (index < kMaxModules) copyText(gWWANDevice[index].path, kTtyPathSize, path);
    return true;
}

static property::Value readProductId(registry::Object entry) {
    return registry::EntrySearchProperty(entry, registry::kServicePlane, "idProduct");
}

static bool storeProductId(const char* text, std::int32_t index) {
    if (index < kMaxModules) {
        gWWANDevice[index].productId = static_cast<std::uint32_t>(parseInteger(text));
    }
    return true;
}

static constexpr Pass kCommandPorts = {"IOSerialBSDClient", readCalloutDevice, storePath};
static constexpr Pass kProductIds = {"OrvelWWANSupport", readProductId, storeProductId};

// What was stored since the pass began is void.
static void startAgain(const Pass& pass, std::int32_t* count) {
    for (std::int32_t index = 0; index < kMaxModules; ++index) pass.store("", index);
    *count = 0;
}

static int runPass(const Pass& pass, std::int32_t* count) {
    *count = 0;
    RegistryScan scan = {0, 0};
    const int result = findServices(kOperation, pass.className, &scan.iterator);
    if (result != kDiscoveryOk) return result;
    bool restarted = false;
    while (const registry::Object entry = NextEntry(&scan, &restarted)) {
        if (restarted) startAgain(pass, count);
        const property::Value value = pass.read(entry);
        registry::ObjectRelease(entry);
        if (value == nullptr) continue;
        char text[kPropertyTextSize] = {};
        TypeRefToString(value, text, sizeof text);
        if (pass.store(text, *count)) ++*count;
    }
    if (restarted) startAgain(pass, count);
    registry::ObjectRelease(scan.iterator);
    return kDiscoveryOk;
}

int IdentifyWWANModule() {
    memset(gWWANDevice, 0, sizeof gWWANDevice);
    int result = runPass(kCommandPorts, &gTotalWWANDevices);
    if (result != kDiscoveryOk) return result;
    std::int32_t productIds = 0;
    result = runPass(kProductIds, &productIds);
    if (result != kDiscoveryOk) return result;
    if (gTotalWWANDevices > kMaxModules) {
        printf("WARNING: More than %d WWAN module(s) found.\n", kMaxModules);
        printf("WARNING: Tarnwick only supports %d device at a time.\n", kMaxModules);
        return kTooManyModules;
    }
    if (gTotalWWANDevices == 0) {
        puts("WARNING: WWAN module not found");
        return kNoModule;
    }
    return kDiscoveryOk;
}

int ObtainWWANModuleProductID(const char* ttyPath, std::uint32_t* productId) {
    int result = kNoModule;
    const int stored = gTotalWWANDevices < kMaxModules ? gTotalWWANDevices : kMaxModules;
    for (int index = 0; index < stored; ++index) {
        if (strstr(gWWANDevice[index].path, ttyPath) == nullptr) continue;
        *productId = gWWANDevice[index].productId;
        result = kDiscoveryOk;
    }
    return result;
}
