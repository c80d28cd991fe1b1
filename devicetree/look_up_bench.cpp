// Walks a large capture and looks each of its entries up by its path, to be timed:
//
//   devicetree_bench capture    prints that capture: 100,000 entries, ten below each
//   devicetree_bench            does it at a root that has the capture
#include <cstdio>
#include <cstring>
#include <string>

#include "devicetree/device_tree.h"

static constexpr int kEntries = 100000;

static void printEntry(int entry) {
    printf(
        "<dict><key>IORegistryEntryName</key><string>device%d</string>"
        "<key>IORegistryEntryLocation</key><string>%d</string>"
        "<key>vendor-id</key><integer>4523</integer>\n",
        entry % 10, entry);
    printf("<key>IORegistryEntryChildren</key><array>");
    for (int child = entry * 10 + 1; child <= entry * 10 + 10 && child <= kEntries; ++child) {
        printEntry(child);
    }
    printf("</array></dict>\n");
}

// The entries from `entry` down, at `path`, that are found.
static int lookUp(int entry, const std::string& path) {
    int count = 0;
    for (int child = entry * 10 + 1; child <= entry * 10 + 10 && child <= kEntries; ++child) {
        const std::string own =
            path + "/device" + std::to_string(child % 10) + "@" + std::to_string(child);
        registry::Object found = 0;
        if (DT_FindDevice(own.c_str(), &found) != kDTOk) continue;
        registry::ObjectRelease(found);
        ++count;
        count += lookUp(child, own);
    }
    return count;
}

int main(int count, char** arguments) {
    if (count > 1 && strcmp(arguments[1], "capture") == 0) {
        printf("<plist><array>\n");
        printEntry(0);
        printf("</array></plist>\n");
        return 0;
    }
    registry::Object first = 0;
    std::uint32_t walked = 0;
    DT_FindDevicesWithProp("IOService:vendor-id", nullptr, &first, 1, &walked);
    const int found = lookUp(0, "IOService:");
    printf("%u walked to, %d found\n", walked, found);
    return walked == kEntries + 1 && found == kEntries ? 0 : 1;
}
