#include "discovery/registry_services.h"

#include <cstdio>
#include <cstring>

#include "platform/bounded_text.h"

bool findServices(const char* operation, const char* className, registry::Object* iterator) {
    registry::Port port = 0;
    std::int32_t result = registry::MasterPort(&port);
    if (result != registry::kSuccess) {
        printf("%s: IOMasterPort returned: %d\n", operation, result);
        return false;
    }
    const registry::Matching matching = registry::ServiceMatching(className);
    if (matching == nullptr) {
        printf("%s: IOServiceMatching returned a NULL dictionary.\n", operation);
        return false;
    }
    result = registry::GetMatchingServices(port, matching, iterator);
    if (result != registry::kSuccess) {
        printf("%s: IOServiceGetMatchingServices returned %d\n", operation, result);
        return false;
    }
    return true;
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
