#include "platform/property_value.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/simulated_values.h"

static constexpr std::uint32_t kAlive = 0x56414c55;
static constexpr std::uint32_t kDead = 0xdeadda7a;

namespace {

struct Node {
    std::uint32_t mark = kAlive;
    std::uint32_t references = 1;
    property::Kind kind = property::Kind::kOther;
    bool boolean = false;
    property::NumberType numberType = property::kInt64;
    std::int64_t integer = 0;
    double real = 0;
    std::string text;  // UTF-8
    std::vector<std::uint8_t> data;
};

}  // namespace

static std::size_t liveValues = 0;

// A stale reference is a bug in whoever holds it, so it ends the program where it shows.
static Node* nodeOf(property::Value value) {
    auto* node = static_cast<Node*>(const_cast<void*>(value));
    if (node->mark != kAlive) {
        fputs("simulated registry: use of a property value that has been released\n", stderr);
        abort();
    }
    return node;
}

static Node* newNode(property::Kind kind) {
    auto* node = new Node;
    node->kind = kind;
    ++liveValues;
    return node;
}

// Mac Roman above ASCII: the characters from 0x80 on, in UTF-8.
// clang-format off
static constexpr std::string_view kMacRomanAboveAscii[] = {
    "Ä", "Å", "Ç", "É", "Ñ", "Ö", "Ü", "á", "à", "â", "ä", "ã", "å", "ç", "é", "è",  // 80
    "ê", "ë", "í", "ì", "î", "ï", "ñ", "ó", "ò", "ô", "ö", "õ", "ú", "ù", "û", "ü",  // 90
    "†", "°", "¢", "£", "§", "•", "¶", "ß", "®", "©", "™", "´", "¨", "≠", "Æ", "Ø",  // A0
    "∞", "±", "≤", "≥", "¥", "µ", "∂", "∑", "∏", "π", "∫", "ª", "º", "Ω", "æ", "ø",  // B0
    "¿", "¡", "¬", "√", "ƒ", "≈", "∆", "«", "»", "…", "\u00A0", "À", "Ã", "Õ", "Œ", "œ",  // C0
    "–", "—", "“", "”", "‘", "’", "÷", "◊", "ÿ", "Ÿ", "⁄", "€", "‹", "›", "ﬁ", "ﬂ",  // D0
    "‡", "·", "‚", "„", "‰", "Â", "Ê", "Á", "Ë", "È", "Í", "Î", "Ï", "Ì", "Ó", "Ô",  // E0
    "\uF8FF", "Ò", "Ú", "Û", "Ù", "ı", "ˆ", "˜", "¯", "˘", "˙", "˚", "¸", "˝", "˛", "ˇ",  // F0
};
// clang-format on

// UTF-8 continues a character with bytes from 0x80 to 0xBF.
static bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The character that begins at `at`: its first byte and all that continue it.
static std::string_view characterAt(const std::string& text, std::size_t at) {
    std::size_t end = at + 1;
    while (end < text.size() && isContinuation(text[end])) ++end;
    return std::string_view(text).substr(at, end - at);
}

// The character's byte in an encoding of one byte for each, or -1.
static int byteOf(std::string_view character, property::Encoding encoding) {
    if (character.size() == 1) return static_cast<unsigned char>(character[0]);
    if (encoding != property::kMacRoman) return -1;
    const auto* end = std::end(kMacRomanAboveAscii);
    const auto* place = std::find(std::begin(kMacRomanAboveAscii), end, character);
    return place == end ? -1 : static_cast<int>(0x80 + (place - kMacRomanAboveAscii));
}

// Copies the characters of UTF-8 that fit whole.
static std::size_t copyCharacters(const std::string& text, std::uint8_t* bytes, std::size_t size) {
    std::size_t used = std::min(size, text.size());
    while (used < text.size() && used > 0 && isContinuation(text[used])) --used;
    std::copy_n(text.data(), used, bytes);
    return used;
}

// 0 for a type that there is not.
static std::size_t widthOf(property::NumberType type) {
    switch (type) {
        case property::kInt32:
            return 4;
        case property::kInt64:
        case property::kFloat64:
            return 8;
        case property::kLong:
            return sizeof(long);
    }
    return 0;
}

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
    const bool fromReal = node->numberType == kFloat64;
    if (type == kFloat64) {
        const double real = fromReal ? node->real : static_cast<double>(node->integer);
        memcpy(out, &real, sizeof real);
        return true;
    }
    std::int64_t integer = node->integer;
    if (fromReal) {
        constexpr double kLimit = 9223372036854775808.0;
        if (!(node->real >= -kLimit && node->real < kLimit)) return false;
        integer = static_cast<std::int64_t>(node->real);
        if (static_cast<double>(integer) != node->real) return false;
    }
    if (widthOf(type) == sizeof integer) {
        memcpy(out, &integer, sizeof integer);
        return true;
    }
    const auto narrowed = static_cast<std::int32_t>(integer);
    if (widthOf(type) == sizeof narrowed) memcpy(out, &narrowed, sizeof narrowed);
    return widthOf(type) == sizeof narrowed && narrowed == integer;
}

std::int64_t StringLength(Value string) {
    std::int64_t units = 0;
    for (const char byte : nodeOf(string)->text) {
        // A character of four bytes in UTF-8 is one of two units in UTF-16.
        if (!isContinuation(byte)) units += static_cast<unsigned char>(byte) >= 0xF0 ? 2 : 1;
    }
    return units;
}

Encoding SystemEncoding() {
    return kMacRoman;
}

bool StringToCString(Value string, char* text, std::int64_t size, Encoding encoding) {
    if (size < 1) return false;
    const std::int64_t used =
        StringToBytes(string, reinterpret_cast<std::uint8_t*>(text), size - 1, encoding, 0);
    text[used] = '\0';
    const std::size_t whole = nodeOf(string)->text.size();
    return used == (encoding == kUtf8 ? static_cast<std::int64_t>(whole) : StringLength(string));
}

std::int64_t StringToBytes(Value string, std::uint8_t* bytes, std::int64_t size, Encoding encoding,
                           std::uint8_t loss) {
    const std::string& text = nodeOf(string)->text;
    const auto room = static_cast<std::size_t>(size);
    if (encoding == kUtf8) return static_cast<std::int64_t>(copyCharacters(text, bytes, room));
    std::size_t used = 0;
    for (std::size_t at = 0; at < text.size() && used < room;) {
        const std::string_view character = characterAt(text, at);
        const int byte = byteOf(character, encoding);
        if (byte == -1 && loss == 0) break;
        bytes[used++] = byte == -1 ? loss : static_cast<std::uint8_t>(byte);
        at += character.size();
    }
    return static_cast<std::int64_t>(used);
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
    const std::size_t width = widthOf(type);
    if (width == 0) return nullptr;
    Node* node = newNode(Kind::kNumber);
    std::int32_t narrow = 0;
    if (type == kFloat64) {
        memcpy(&node->real, bytes, width);
    } else if (width == sizeof narrow) {
        memcpy(&narrow, bytes, width);
        node->integer = narrow;
    } else {
        memcpy(&node->integer, bytes, width);
    }
    node->numberType = type != kLong ? type : width == sizeof narrow ? kInt32 : kInt64;
    return node;
}

Value CreateString(const char* text, Encoding encoding) {
    if (encoding == kUtf8) return simulated::CreateText(text);
    std::string converted;
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte < 0x80) {
            converted += *text;
        } else if (encoding == kMacRoman) {
            converted += kMacRomanAboveAscii[byte - 0x80];
        } else {
            return nullptr;
        }
    }
    return simulated::CreateText(converted);
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

property::Value CreateText(const std::string& text) {
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
