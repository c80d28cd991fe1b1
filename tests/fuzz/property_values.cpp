// The conversions between property values and bytes. The input: the kind of the present value, its
// number type, the size of its content, the room for its bytes, then the content, then the
// bytes that are to take its place.
#include <cstring>

#include "devicetree/device_tree.h"
#include "platform/simulated/simulated_values.h"
#include "tests/fuzz/fuzz_target.h"

using property::Kind;
using property::Value;

static Value makeValue(int kind, int type, std::string content) {
    content.resize(content.size() + 8);  // a number takes eight bytes at most
    const char* bytes = content.data();
    switch (kind) {
        case 0:
            return nullptr;
        case 1:
            return property::CreateBoolean(bytes[0] != 0);
        case 2:
            return property::CreateNumber(static_cast<property::NumberType>(type), bytes);
        case 3:
            return property::CreateString(bytes, property::kUtf8);
        case 4:
            return property::CreateData(reinterpret_cast<const std::uint8_t*>(bytes),
                                        static_cast<std::int64_t>(content.size() - 8));
        default:
            return simulated::CreateOther();
    }
}

// Converts into a buffer without a byte to spare.
static std::int32_t convert(Value value, std::uint32_t room, std::string* bytes) {
    std::vector<char> buffer(room);
    std::uint32_t size = room;
    const std::int32_t result = DT_ConvertCFTypeRefToValue(value, buffer.data(), &size);
    require(size <= room, "a value fits its room");
    require(size == (result == kDTOk ? DT_CFTypeRefSize(value) : room), "the size is the value's");
    bytes->assign(buffer.data(), size);
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kHeader = 4;
    if (size < kHeader) return 0;
    const std::string content = textOf(data + kHeader, size - kHeader).substr(0, data[2]);
    const std::size_t used = kHeader + content.size();
    const std::string bytes = textOf(data + used, size - used);
    const Value existing = makeValue(data[0] % 6, data[1] % 12, content);
    std::string back;
    convert(existing, data[3], &back);
    std::vector<char> changed(bytes.begin(), bytes.end());
    const Value value = DT_ConvertValueToCFTypeRef(existing, changed.data(),
                                                   static_cast<std::uint32_t>(changed.size()));
    if (value != nullptr) {
        const Kind kind = property::KindOf(value);
        require(existing == nullptr || kind == property::KindOf(existing), "the kind stays");
        const auto room = static_cast<std::uint32_t>(bytes.size()) + 1;  // a boolean takes one
        require(convert(value, room, &back) == kDTOk, "the bytes come back");
        require(kind != Kind::kString || back == bytes.c_str(), "a string comes back as it was");
    }
    property::Release(value);
    property::Release(existing);
    require(simulated::LiveValues() == 0, "no value is left");
    return 0;
}
