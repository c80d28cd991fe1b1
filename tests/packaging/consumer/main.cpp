#include <cstdio>

#include "devicetree/device_tree.h"

// Prints the product id of the first module in the registry.
int main() {
    std::int32_t product = 0;
    std::uint32_t size = sizeof product;
    const std::int32_t result =
        DT_GetDeviceProperty("IOService:/WWAN Module", "idProduct", &product, &size);
    printf("%d: 0x%04x\n", result, static_cast<unsigned>(product));
}
