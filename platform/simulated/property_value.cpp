#include "platform/property_value.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/simulated/simulated_values.h"

namespace {

constexpr std::uint32_t kAlive = 0x56414c55;
constexpr std::uint32_t kDead = 0xdeadda7a;

struct Node {
    std::uint32_t mark = kAlive;
    std::uint32_t references = 1;
    property::Kind kind = property::Kind::kOther;
    bool boolean = false;
    property::NumberType numberType = property::kInt64;
    std::int64_t integer = 0;
    double real = 0;
    std::u16string text;
    std::vector<std::uint8_t> data;
};

std::size_t liveValues = 0;

// A stale reference is a bug in whoever holds it, so it ends the program where it shows.
Node* nodeOf(property::Value value) {
    auto* node = static_cast<Node*>(const_cast<void*>(value));
    if (node->mark != kAlive) {
        fputs("simulated registry: use of a property value that has been released\n", stderr);
        abort();
    }
    return node;
}

Node* newNode(property::Kind kind) {
    auto* node = new Node;
    node->kind = kind;
    ++liveValues;
    return node;
}

// Mac Roman's upper half; Unicode code points of bytes 0x80 to 0xFF.
constexpr char16_t kMacRomanUpper[] =
    u"\u00C4\u00C5\u00C7\u00C9\u00D1\u00D6\u00DC\u00E1\u00E0\u00E2\u00E4\u00E3\u00E5\u00E7\u00E9"
    u"\u00E8\u00EA\u00EB\u00ED\u00EC\u00EE\u00EF\u00F1\u00F3\u00F2\u00F4\u00F6\u00F5\u00FA\u00F9"
    u"\u00FB\u00FC\u2020\u00B0\u00A2\u00A3\u00A7\u2022\u00B6\u00DF\u00AE\u00A9\u2122\u00B4\u00A8"
    u"\u2260\u00C6\u00D8\u221E\u00B1\u2264\u2265\u00A5\u00B5\u2202\u2211\u220F\u03C0\u222B\u00AA"
    u"\u00BA\u03A9\u00E6\u00F8\u00BF\u00A1\u00AC\u221A\u0192\u2248\u2206\u00AB\u00BB\u2026\u00A0"
    u"\u00C0\u00C3\u00D5\u0152\u0153\u2013\u2014\u201C\u201D\u2018\u2019\u00F7\u25CA\u00FF\u0178"
    u"\u2044\u20AC\u2039\u203A\uFB01\uFB02\u2021\u00B7\u201A\u201E\u2030\u00C2\u00CA\u00C1\u00CB"
    u"\u00C8\u00CD\u00CE\u00CF\u00CC\u00D3\u00D4\uF8FF\u00D2\u00DA\u00DB\u00D9\u0131\u02C6\u02DC"
    u"\u00AF\u02D8\u02D9\u02DA\u00B8\u02DD\u02DB\u02C7";
static_assert(sizeof kMacRomanUpper / sizeof kMacRomanUpper[0] == 129);

// Decodes UTF-8 into UTF-16; false when it is malformed.
bool decodeUtf8(const char* bytes, std::size_t length, std::u16string* text) {
    const auto* next = reinterpret_cast<const unsigned char*>(bytes);
    const unsigned char* end = next + length;
    while (next < end) {
        const unsigned char lead = *next++;
        const int trailing = lead < 0x80   ? 0
                             : lead < 0xC2 ? -1
                             : lead < 0xE0 ? 1
                             : lead < 0xF0 ? 2
                             : lead < 0xF5 ? 3
                                           : -1;
        if (trailing < 0 || end - next < trailing) return false;
        std::uint32_t point = trailing == 0 ? lead : lead & (0x3FU >> trailing);
        for (int index = 0; index < trailing; ++index) {
            if ((*next & 0xC0) != 0x80) return false;
            point = point << 6 | (*next++ & 0x3FU);
        }
        constexpr std::uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
        if (point < kLeast[trailing] || point > 0x10FFFF || (point >= 0xD800 && point < 0xE000)) {
            return false;
        }
        if (point >= 0x10000) {
            point -= 0x10000;
            text->push_back(static_cast<char16_t>(0xD800 + (point >> 10)));
            point = 0xDC00 + (point & 0x3FF);
        }
        text->push_back(static_cast<char16_t>(point));
    }
    return true;
}

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

int encodeUtf8(const std::u16string& text, std::size_t* index, std::uint8_t* bytes) {
    std::uint32_t point = text[*index];
    if (isHighSurrogate(text[*index]) && *index + 1 < text.size() &&
        isLowSurrogate(text[*index + 1])) {
        point = 0x10000 + ((point - 0xD800) << 10) + (text[++*index] - 0xDC00U);
    } else if (point >= 0xD800 && point < 0xE000) {
        return 0;
    }
    if (point < 0x80) {
        bytes[0] = static_cast<std::uint8_t>(point);
        return 1;
    }
    const int trailing = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    constexpr std::uint8_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
    for (int place = trailing; place > 0; --place, point >>= 6) {
        bytes[place] = static_cast<std::uint8_t>(0x80 | (point & 0x3F));
    }
    bytes[0] = static_cast<std::uint8_t>(kLead[trailing] | point);
    return trailing + 1;
}

// Encodes the character at `*index` into at most 4 bytes; their number, or 0 when the encoding
// lacks it.
int encode(const std::u16string& text, std::size_t* index, property::Encoding encoding,
           std::uint8_t* bytes) {
    const char16_t unit = text[*index];
    if (encoding == property::kUtf8) return encodeUtf8(text, index, bytes);
    if (unit < 0x80) {
        bytes[0] = static_cast<std::uint8_t>(unit);
        return 1;
    }
    if (encoding != property::kMacRoman) return 0;
    for (unsigned upper = 0; upper < 0x80; ++upper) {
        if (kMacRomanUpper[upper] != unit) continue;
        bytes[0] = static_cast<std::uint8_t>(0x80 + upper);
        return 1;
    }
    return 0;
}

// Encodes as many characters as fit and convert; `*whole` tells whether that was all of them.
std::int64_t encodeAll(const Node* node, std::uint8_t* bytes, std::int64_t size,
                       property::Encoding encoding, bool* whole) {
    std::int64_t used = 0;
    *whole = false;
    for (std::size_t index = 0; index < node->text.size(); ++index) {
        std::uint8_t encoded[4];
        const int length = encode(node->text, &index, encoding, encoded);
        if (length == 0 || used + length > size) return used;
        memcpy(bytes + used, encoded, static_cast<std::size_t>(length));
        used += length;
    }
    *whole = true;
    return used;
}

bool isFloat(property::NumberType type) {
    return type == property::kFloat32 || type == property::kFloat64;
}

std::size_t widthOf(property::NumberType type) {
    switch (type) {
        case property::kInt8:
            return 1;
        case property::kInt16:
            return 2;
        case property::kInt32:
        case property::kFloat32:
            return 4;
        case property::kInt64:
        case property::kFloat64:
        case property::kLong:
            return 8;
    }
    return 0;
}

template <typename Integer>
bool writeInteger(std::int64_t number, void* out) {
    const auto narrowed = static_cast<Integer>(number);
    memcpy(out, &narrowed, sizeof narrowed);
    return narrowed == number;
}

bool writeReal(double number, property::NumberType type, void* out) {
    if (type == property::kFloat64) {
        memcpy(out, &number, sizeof number);
        return true;
    }
    const auto narrowed = static_cast<float>(number);
    memcpy(out, &narrowed, sizeof narrowed);
    return static_cast<double>(narrowed) == number || std::isnan(number);
}

template <typename Number>
Number readAs(const void* bytes) {
    Number number;
    memcpy(&number, bytes, sizeof number);
    return number;
}

}  // namespace

namespace property {

Kind KindOf(Value value) {
    return value == nullptr ? Kind::kNone : nodeOf(value)->kind;
}

bool BooleanValue(Value boolean) {
    return nodeOf(boolean)->boolean;
}

NumberType NumberTypeOf(Value number) {
    return nodeOf(number)->numberType;
}

std::int64_t NumberByteSize(Value number) {
    return static_cast<std::int64_t>(widthOf(nodeOf(number)->numberType));
}

bool GetNumber(Value number, NumberType type, void* out) {
    const Node* node = nodeOf(number);
    const bool fromFloat = isFloat(node->numberType);
    if (isFloat(type)) {
        return writeReal(fromFloat ? node->real : static_cast<double>(node->integer), type, out);
    }
    std::int64_t integer = node->integer;
    if (fromFloat) {
        constexpr double kLimit = 9223372036854775808.0;
        if (!(node->real >= -kLimit && node->real < kLimit)) return false;
        integer = static_cast<std::int64_t>(node->real);
    }
    const bool exact = !fromFloat || static_cast<double>(integer) == node->real;
    switch (widthOf(type)) {
        case 1:
            return writeInteger<std::int8_t>(integer, out) && exact;
        case 2:
            return writeInteger<std::int16_t>(integer, out) && exact;
        case 4:
            return writeInteger<std::int32_t>(integer, out) && exact;
        case 8:
            return writeInteger<std::int64_t>(integer, out) && exact;
        default:
            return false;
    }
}

std::int64_t StringLength(Value string) {
    return static_cast<std::int64_t>(nodeOf(string)->text.size());
}

Encoding SystemEncoding() {
    return kMacRoman;
}

bool StringToCString(Value string, char* text, std::int64_t size, Encoding encoding) {
    if (size < 1) return false;
    bool whole = false;
    const std::int64_t used = encodeAll(nodeOf(string), reinterpret_cast<std::uint8_t*>(text),
                                        size - 1, encoding, &whole);
    text[used] = '\0';
    return whole;
}

std::int64_t StringToBytes(Value string, std::uint8_t* bytes, std::int64_t size,
                           Encoding encoding) {
    bool whole = false;
    return encodeAll(nodeOf(string), bytes, size, encoding, &whole);
}

std::int64_t DataLength(Value data) {
    return static_cast<std::int64_t>(nodeOf(data)->data.size());
}

const std::uint8_t* DataBytes(Value data) {
    return nodeOf(data)->data.data();
}

Value CreateBoolean(bool boolean) {
    Node* node = newNode(Kind::kBoolean);
    node->boolean = boolean;
    return node;
}

Value CreateNumber(NumberType type, const void* bytes) {
    if (widthOf(type) == 0) return nullptr;
    Node* node = newNode(Kind::kNumber);
    node->numberType = type == kLong ? kInt64 : type;
    switch (type) {
        case kInt8:
            node->integer = std::int64_t{readAs<std::int8_t>(bytes)};
            break;
        case kInt16:
            node->integer = readAs<std::int16_t>(bytes);
            break;
        case kInt32:
            node->integer = readAs<std::int32_t>(bytes);
            break;
        case kInt64:
        case kLong:
            node->integer = readAs<std::int64_t>(bytes);
            break;
        case kFloat32:
            node->real = static_cast<double>(readAs<float>(bytes));
            break;
        case kFloat64:
            node->real = readAs<double>(bytes);
            break;
    }
    return node;
}

Value CreateString(const char* text, Encoding encoding) {
    const std::size_t length = strlen(text);
    std::u16string units;
    units.reserve(length);
    if (encoding == kUtf8) {
        if (!decodeUtf8(text, length, &units)) return nullptr;
    } else {
        for (std::size_t index = 0; index < length; ++index) {
            const auto byte = static_cast<unsigned char>(text[index]);
            if (byte >= 0x80 && encoding != kMacRoman) return nullptr;
            units.push_back(byte < 0x80 ? byte : kMacRomanUpper[byte - 0x80]);
        }
    }
    return simulated::CreateText(units);
}

Value CreateData(const std::uint8_t* bytes, std::int64_t length) {
    Node* node = newNode(Kind::kData);
    if (length > 0) node->data.assign(bytes, bytes + length);
    return node;
}

void Release(Value value) {
    if (value == nullptr) return;
    Node* node = nodeOf(value);
    if (--node->references > 0) return;
    node->mark = kDead;
    --liveValues;
    delete node;
}

}  // namespace property

namespace simulated {

property::Value CreateText(const std::u16string& text) {
    Node* node = newNode(property::Kind::kString);
    node->text = text;
    return node;
}

property::Value CreateOther() {
    return newNode(property::Kind::kOther);
}

property::Value Retain(property::Value value) {
    ++nodeOf(value)->references;
    return value;
}

std::size_t LiveValues() {
    return liveValues;
}

}  // namespace simulated
