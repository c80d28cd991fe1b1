#include <cstdio>

#include "devicetree/device_tree.h"

// Prints the product id of the first module in the registry, and the machine's model.
int main() {
    std::int32_t product = 0;
    std::uint32_t size = sizeof product;
    std::int32_t result =
        DT_GetDeviceProperty("IOService:/WWAN Module", "idProduct", &product, &size);
    printf("%d: 0x%04x\n", result, static_cast<unsigned>(product));
    char model[64];
    size = sizeof model;
    result = DT_GetDeviceProperty("IODeviceTree:/", "model", model, &size);
    printf("%d: %.*s\n", result, result == 0 ? static_cast<int>(size) : 0, model);
}
