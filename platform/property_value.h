#pragma once

#include <cstdint>

// Values of registry properties, one function for one platform call.
//
// A Value is a counted reference. A function whose name begins with Create, and
// every registry call that hands out a property, gives the caller one reference
// to release. No function but Release takes a reference away. A null Value is
// "no value"; only KindOf and Release accept it.
//
// Platforms differ in two things, so nobody may rely on either: bytes from 0x80 on are Latin-1 in
// kAscii, or not valid there; and the double 2^63 becomes the largest 64-bit integer, or does not
// convert.
namespace property {

using Value = const void*;

enum class Kind { kNone, kBoolean, kNumber, kString, kData, kOther };

// Encodings of C strings, by the platform's own numbers.
enum Encoding : std::uint32_t { kMacRoman = 0, kAscii = 0x0600, kUtf8 = 0x08000100 };

// Number types, by the platform's own numbers: those that a registry hands out, which are 32 or 64
// bits wide, and kLong, which is as wide as the host's long and kept as one of the others.
enum NumberType : std::int32_t { kInt32 = 3, kInt64 = 4, kFloat64 = 6, kLong = 10 };

Kind KindOf(Value value);

bool BooleanValue(Value boolean);

NumberType NumberTypeOf(Value number);
// Bytes that GetNumber writes for the number's own type.
std::int64_t NumberByteSize(Value number);
// Writes the number as `type` into `out`. False when it cannot be represented
// without loss; `out` is then unspecified but never overrun.
bool GetNumber(Value number, NumberType type, void* out);

// Length in UTF-16 code units, which is what the platform calls characters.
std::int64_t StringLength(Value string);
// The encoding that the platform uses for C strings by default.
Encoding SystemEncoding();
// Copies the text and a NUL into `text` of `size` bytes. False when it does not
// fit or has a character that the encoding lacks.
bool StringToCString(Value string, char* text, std::int64_t size, Encoding encoding);
// Copies at most `size` bytes of the encoded text, without a NUL, stopping at the first character
// that does not fit. `loss` stands for each that the encoding lacks; with 0 the copy stops there,
// too. Returns the bytes copied.
std::int64_t StringToBytes(Value string, std::uint8_t* bytes, std::int64_t size, Encoding encoding,
                           std::uint8_t loss);

std::int64_t DataLength(Value data);
// Valid as long as the value is.
const std::uint8_t* DataBytes(Value data);

Value CreateBoolean(bool boolean);
// `bytes` holds a number of `type`.
Value CreateNumber(NumberType type, const void* bytes);
// Null when `text` is not valid in the encoding, but with kUtf8 it must be.
Value CreateString(const char* text, Encoding encoding);
Value CreateData(const std::uint8_t* bytes, std::int64_t length);

void Release(Value value);

}  // namespace property
