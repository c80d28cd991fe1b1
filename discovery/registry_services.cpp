#include "discovery/registry_services.h"

#include <cstdio>

#include "discovery/module_table.h"

int findServices(const char* operation, const char* className, registry::Object* iterator) {
    registry::Port port = 0;
    std::int32_t result = registry::MasterPort(&port);
    if (result != registry::kSuccess) {
        printf("%s: IOMasterPort returned: %d\n", operation, result);
        return kRegistryFailed;
    }
    const registry::Matching matching = registry::ServiceMatching(className);
    if (matching == nullptr) {
        printf("%s: IOServiceMatching returned a NULL dictionary.\n", operation);
        return kRegistryFailed;
    }
    result = registry::GetMatchingServices(port, matching, iterator);
    if (result != registry::kSuccess) {
        printf("%s: IOServiceGetMatchingServices returned %d\n", operation, result);
        return kRegistryFailed;
    }
    return kDiscoveryOk;
}
