#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "platform/bounded_text.h"
#include "platform/simulated/simulated_registry.h"

using namespace property;

TEST(Values, NumbersKeepTheirTypeAndRefuseLoss) {
    const std::int64_t wide = std::int64_t{1} << 40;
    const double real = 2.5;
    const std::int8_t small = -5;
    const Value values[] = {CreateNumber(kInt64, &wide), CreateNumber(kFloat64, &real),
                            CreateNumber(kInt8, &small)};
    std::int32_t narrow = 0;
    EXPECT_FALSE(GetNumber(values[0], kInt32, &narrow));
    EXPECT_FALSE(GetNumber(values[1], kInt32, &narrow));
    EXPECT_TRUE(GetNumber(values[2], kInt32, &narrow));
    EXPECT_EQ(narrow, -5);
    float single = 0;
    EXPECT_TRUE(GetNumber(values[1], kFloat32, &single));
    EXPECT_EQ(single, 2.5F);
    const std::int64_t sizes[] = {8, 8, 1};
    for (int index = 0; index < 3; ++index) {
        EXPECT_EQ(NumberByteSize(values[index]), sizes[index]);
        Release(values[index]);
    }
    const double infinite = INFINITY;
    const Value value = CreateNumber(kFloat64, &infinite);
    std::int64_t integer = 0;
    EXPECT_FALSE(GetNumber(value, kInt64, &integer));
    Release(value);
}

TEST(Values, StringsConvertBetweenEncodings) {
    const struct {
        const char* utf8;
        std::int64_t length;
        const char* macRoman;  // null: does not convert
    } cases[] = {{"plain", 5, "plain"},
                 {"\xC3\xA4\xE2\x82\xAC\xEF\xA3\xBF", 3, "\x8A\xDB\xF0"},
                 {"\xF0\x9F\x93\xB6", 2, nullptr},
                 {"\xE4\xB8\x96", 1, nullptr}};
    for (const auto& example : cases) {
        const Value value = CreateString(example.utf8, kUtf8);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(StringLength(value), example.length);
        char text[16];
        EXPECT_EQ(StringToCString(value, text, sizeof text, kMacRoman),
                  example.macRoman != nullptr);
        if (example.macRoman != nullptr) {
            EXPECT_STREQ(text, example.macRoman);
            const Value back = CreateString(example.macRoman, kMacRoman);
            EXPECT_TRUE(StringToCString(back, text, sizeof text, kUtf8));
            EXPECT_STREQ(text, example.utf8);
            Release(back);
        }
        Release(value);
    }
    for (const char* bad : {"\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\x80"}) {
        EXPECT_EQ(CreateString(bad, kUtf8), nullptr);
    }
    const Value value = CreateString("12345", kAscii);
    char text[5];
    EXPECT_FALSE(StringToCString(value, text, sizeof text, kAscii)) << "no room for the NUL";
    Release(value);
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

// The test of the tests: leaks and over-releases must show.
TEST(References, AreCounted) {
    simulated::ClearRegistry();
    const auto entry =
        simulated::AddEntry(registry::kServicePlane, simulated::kRoot, {"n", "Class"});
    const registry::Object object = simulated::HandOut(entry);
    EXPECT_EQ(simulated::LiveObjects(), 1U);
    registry::ObjectRelease(object);
    EXPECT_EQ(simulated::LiveObjects(), 0U);
    registry::ObjectRelease(object);
    EXPECT_EQ(registry::EntryCreateProperty(object, "p"), nullptr);
    EXPECT_EQ(simulated::Misuses(), 2U);
    simulated::ClearRegistry();
}
