#include "platform/property_value.h"

#include <CoreFoundation/CoreFoundation.h>

namespace property {

static CFNumberRef asNumber(Value value) {
    return static_cast<CFNumberRef>(value);
}
static CFStringRef asString(Value value) {
    return static_cast<CFStringRef>(value);
}
static CFDataRef asData(Value value) {
    return static_cast<CFDataRef>(value);
}

Kind KindOf(Value value) {
    if (value == nullptr) return Kind::kNone;
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFBooleanGetTypeID()) return Kind::kBoolean;
    if (type == CFNumberGetTypeID()) return Kind::kNumber;
    if (type == CFStringGetTypeID()) return Kind::kString;
    if (type == CFDataGetTypeID()) return Kind::kData;
    return Kind::kOther;
}

bool BooleanValue(Value boolean) {
    return CFBooleanGetValue(static_cast<CFBooleanRef>(boolean)) != 0;
}

NumberType NumberTypeOf(Value number) {
    return static_cast<NumberType>(CFNumberGetType(asNumber(number)));
}

std::int64_t NumberByteSize(Value number) {
    return CFNumberGetByteSize(asNumber(number));
}

bool GetNumber(Value number, NumberType type, void* out) {
    return CFNumberGetValue(asNumber(number), static_cast<CFNumberType>(type), out) != 0;
}

std::int64_t StringLength(Value string) {
    return CFStringGetLength(asString(string));
}

Encoding SystemEncoding() {
    return static_cast<Encoding>(CFStringGetSystemEncoding());
}

bool StringToCString(Value string, char* text, std::int64_t size, Encoding encoding) {
    return CFStringGetCString(asString(string), text, size, encoding) != 0;
}

std::int64_t StringToBytes(Value string, std::uint8_t* bytes, std::int64_t size, Encoding encoding,
                           std::uint8_t loss) {
    const CFRange all = CFRangeMake(0, CFStringGetLength(asString(string)));
    CFIndex used = 0;
    CFStringGetBytes(asString(string), all, encoding, loss, 0, bytes, size, &used);
    return used;
}

std::int64_t DataLength(Value data) {
    return CFDataGetLength(asData(data));
}

const std::uint8_t* DataBytes(Value data) {
    return CFDataGetBytePtr(asData(data));
}

Value CreateBoolean(bool boolean) {
    return CFRetain(boolean ? kCFBooleanTrue : kCFBooleanFalse);
}

Value CreateNumber(NumberType type, const void* bytes) {
    return CFNumberCreate(kCFAllocatorDefault, static_cast<CFNumberType>(type), bytes);
}

Value CreateString(const char* text, Encoding encoding) {
    return CFStringCreateWithCString(kCFAllocatorDefault, text, encoding);
}

Value CreateData(const std::uint8_t* bytes, std::int64_t length) {
    return CFDataCreate(kCFAllocatorDefault, bytes, length);
}

void Release(Value value) {
    if (value != nullptr) CFRelease(value);
}

}  // namespace property
