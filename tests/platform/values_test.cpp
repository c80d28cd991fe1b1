#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "platform/bounded_text.h"
#include "platform/property_value.h"

// What every platform's values do: these tests run over CoreFoundation, too.
using namespace property;

TEST(Values, NumbersRefuseLoss) {
    const std::int64_t wide = std::int64_t{1} << 40;
    const double real = 2.5;
    const std::int32_t small = -5;
    const double infinite = INFINITY;
    const struct {
        Value number;
        std::int64_t size;
        bool fitsInt32;
        bool fitsInt64;
    } cases[] = {{CreateNumber(kInt64, &wide), 8, false, true},
                 {CreateNumber(kFloat64, &real), 8, false, false},
                 {CreateNumber(kFloat64, &infinite), 8, false, false},
                 {CreateNumber(kInt32, &small), 4, true, true}};
    for (const auto& testCase : cases) {
        std::int32_t narrow = 0;
        std::int64_t broad = 0;
        EXPECT_EQ(NumberByteSize(testCase.number), testCase.size);
        EXPECT_EQ(GetNumber(testCase.number, kInt32, &narrow), testCase.fitsInt32);
        EXPECT_EQ(GetNumber(testCase.number, kInt64, &broad), testCase.fitsInt64);
        Release(testCase.number);
    }
    // A long and no more is written, however wide the host's is.
    struct {
        long number = 0;
        char behind = 'x';
    } target;
    const Value number = CreateNumber(kInt32, &small);
    EXPECT_TRUE(GetNumber(number, kLong, &target.number));
    EXPECT_EQ(target.number, -5);
    EXPECT_EQ(target.behind, 'x');
    Release(number);
}

TEST(Values, StringsConvertWholeOrNot) {
    const struct {
        const char* utf8;
        std::int64_t length;
        bool converts;
    } cases[] = {{"plain", 5, true}, {"\xF0\x9F\x93\xB6", 2, false}, {"a\xE4\xB8\x96", 2, false}};
    for (const auto& testCase : cases) {
        const Value value = CreateString(testCase.utf8, kUtf8);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(StringLength(value), testCase.length);
        char text[16];
        EXPECT_EQ(StringToCString(value, text, sizeof text, kMacRoman), testCase.converts);
        EXPECT_TRUE(StringToCString(value, text, sizeof text, kUtf8));
        EXPECT_STREQ(text, testCase.utf8);
        Release(value);
    }
    const Value value = CreateString("a\xE4\xB8\x96", kUtf8);
    std::uint8_t bytes[4];
    EXPECT_EQ(StringToBytes(value, bytes, 3, kUtf8, 0), 1) << "half a character";
    EXPECT_EQ(StringToBytes(value, bytes, 4, kUtf8, 0), 4);
    EXPECT_EQ(StringToBytes(value, bytes, 4, kMacRoman, 0), 1);
    EXPECT_EQ(StringToBytes(value, bytes, 4, kMacRoman, '?'), 2);
    EXPECT_EQ(bytes[1], '?');
    Release(value);
    const Value five = CreateString("12345", kAscii);
    char text[5];
    EXPECT_FALSE(StringToCString(five, text, sizeof text, kAscii)) << "no room for the NUL";
    Release(five);
}

TEST(Values, MacRomanHasAllBytes) {
    std::string every;
    for (int byte = 1; byte < 256; ++byte) every += static_cast<char>(byte);
    const Value value = CreateString(every.c_str(), kMacRoman);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(StringLength(value), 255);
    char text[256];
    EXPECT_TRUE(StringToCString(value, text, sizeof text, kMacRoman));
    EXPECT_EQ(text, every);
    Release(value);
    const Value upperHalf = CreateString(every.c_str() + 0x7F, kMacRoman);
    char utf8[512];
    EXPECT_TRUE(StringToCString(upperHalf, utf8, sizeof utf8, kUtf8));
    EXPECT_STREQ(utf8,
                 "ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ"
                 "∞±≤≥¥µ∂∑∏π∫ªºΩæø¿¡¬√ƒ≈∆«»…\u00A0ÀÃÕŒœ"
                 "–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uF8FFÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ");
    Release(upperHalf);
}

TEST(Text, CopiesAreBoundedAndTerminated) {
    char target[5] = "xxxx";
    EXPECT_TRUE(copyText(target, sizeof target, "four"));
    EXPECT_FALSE(copyText(target, sizeof target, "fives"));
    EXPECT_STREQ(target, "five");
    EXPECT_FALSE(appendText(target, sizeof target, "!"));
    EXPECT_STREQ(target, "five");
    EXPECT_FALSE(formatText(target, sizeof target, "%d", 12345));
    EXPECT_STREQ(target, "1234");
}
