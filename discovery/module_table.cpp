#include "discovery/module_table.h"

#include <cstdio>
#include <cstring>

#include "discovery/registry_services.h"
#include "platform/bounded_text.h"
#include "platform/host.h"
#include "platform/registry_scan.h"
#include "serial/reply_lines.h"

WWANDevice gWWANDevice[kMaxModules];
std::int32_t gTotalWWANDevices = 0;

// Stores the service's callout path as entry `index` and returns true if it is a command port's.
// Behind the table's end there is nothing to store, but the port counts.
static bool takeCommandPort(registry::Object service, std::int32_t index) {
    char path[kPropertyTextSize] = {};
    TypeRefToString(registry::EntryCreateProperty(service, "IOCalloutDevice"), path, sizeof path);
    if (strstr(path, "wwanCMD") == nullptr) return false;
    if (index < kMaxModules) copyText(gWWANDevice[index].path, kTtyPathSize, path);
    return true;
}

static bool takeProductId(registry::Object service, std::int32_t index) {
    const property::Value value =
        registry::EntrySearchProperty(service, registry::kServicePlane, "idProduct");
    if (value == nullptr) return false;
    char text[kPropertyTextSize] = {};
    TypeRefToString(value, text, sizeof text);
    if (index < kMaxModules) {
        gWWANDevice[index].productId = static_cast<std::uint32_t>(parseInteger(text));
    }
    return true;
}

// Offers each service of the class to `take` and counts those that it took. When the registry
// changes, the scan begins again and what was taken so far is void.
static int scanServices(const char* className, bool (*take)(registry::Object, std::int32_t),
                        std::int32_t* count) {
    *count = 0;
    RegistryScan scan = {0, 0};
    if (!findServices("IdentifyWWANModule", className, &scan.iterator)) return kRegistryFailed;
    for (;;) {
        bool restarted = false;
        const registry::Object service = NextEntry(&scan, &restarted);
        if (restarted) *count = 0;
        if (service == 0) break;
        if (take(service, *count)) ++*count;
        registry::ObjectRelease(service);
    }
    registry::ObjectRelease(scan.iterator);
    return kDiscoveryOk;
}

int IdentifyWWANModule() {
    memset(gWWANDevice, 0, sizeof gWWANDevice);
    int result = scanServices("IOSerialBSDClient", takeCommandPort, &gTotalWWANDevices);
    if (result != kDiscoveryOk) return result;
    std::int32_t productIds = 0;
    result = scanServices("OrvelWWANSupport", takeProductId, &productIds);
    if (result != kDiscoveryOk) return result;
    // A scan that began again may have stored more before than afterwards.
    for (int index = productIds; index < kMaxModules; ++index) gWWANDevice[index].productId = 0;
    if (gTotalWWANDevices > kMaxModules) {
        printf("WARNING: More than %d WWAN module(s) found.\n", kMaxModules);
        printf("WARNING: Tarnwick only supports %d device at a time.\n", kMaxModules);
        return kTooManyModules;
    }
    if (gTotalWWANDevices == 0) {
        puts("WARNING: WWAN module not found");
        fflush(stdout);
        host::ExplainNoModule();
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
