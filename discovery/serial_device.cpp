#include "discovery/serial_device.h"

#include <cstdio>
#include <cstring>

#include "discovery/registry_services.h"
#include "platform/bounded_text.h"
#include "platform/host.h"
#include "platform/registry_scan.h"
#include "serial/serial_port.h"

static constexpr int kDeviceWaits = 10;
static constexpr std::uint32_t kDeviceWait = 1000;  // ms

int verifyDeviceConnected(const char* path, char* message) {
    for (int wait = 0; wait < kDeviceWaits; ++wait) {
        if (host::IsReadable(path)) return kDeviceOk;
        host::PauseMilliseconds(kDeviceWait);
    }
    if (host::IsReadable(path)) return kDeviceOk;
    formatText(message, kMessageSize,
               "verifyDeviceConnected: Timeout waiting for serial device '%s'\n", path);
    return kDeviceTimeout;
}

// An absent property leaves `text` as it was. False when the value has no text in ASCII.
static bool readText(registry::Object entry, const char* name, char* text, std::int64_t size) {
    const property::Value value = registry::EntryCreateProperty(entry, name);
    if (value == nullptr) return true;
    const bool converted = property::KindOf(value) == property::Kind::kString &&
                           property::StringToCString(value, text, size, property::kAscii);
    property::Release(value);
    return converted;
}

static int showDevice(registry::Object entry, const char* wanted, char* text, std::int64_t size) {
    const bool hasName = readText(entry, "IOTTYDevice", text, size);
    if (!hasName) copyText(text, static_cast<std::size_t>(size), "");
    printf("kIOTTYDeviceKey = %s\n", text);
    if (!hasName || !readText(entry, "IOCalloutDevice", text, size)) return kDeviceLookupFailed;
    if (strstr(text, wanted) == nullptr) return kDeviceNotMatched;
    printf("kIOCalloutDeviceKey = %s\n", text);
    return kDeviceOk;
}

static registry::Object nextDevice(RegistryScan* scan, char* path) {
    const int restartsBefore = scan->restarts;
    bool restarted = false;
    const registry::Object entry = NextEntry(scan, &restarted);
    if (entry != 0 || restarted) path[0] = '\0';
    for (int restart = restartsBefore; restart < scan->restarts; ++restart) {
        fputs("Invalid  Interator", stdout);
    }
    return entry;
}

int GetWWanBSDPath(const char* text, char* path) {
    RegistryScan scan = {0, 0};
    if (!findServices("GetWWanBSDPath", "IOSerialBSDClient", &scan.iterator)) {
        return kDeviceLookupFailed;
    }
    int result = kDeviceOk;
    char property[kPropertyTextSize] = {};
    while (const registry::Object entry = nextDevice(&scan, path)) {
        result = showDevice(entry, text, property, sizeof property);
        registry::ObjectRelease(entry);
        if (result == kDeviceLookupFailed) break;
    }
    registry::ObjectRelease(scan.iterator);
    return result;
}
