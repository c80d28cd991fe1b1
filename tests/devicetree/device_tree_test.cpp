#include "devicetree/device_tree.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/simulated/simulated_registry.h"

using registry::kDeviceTreePlane;
using registry::kServicePlane;
using simulated::Call;

namespace {

property::Value string(const std::string& text) {
    return simulated::CreateText(text);
}

property::Value data(const std::string& bytes) {
    return property::CreateData(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                static_cast<std::int64_t>(bytes.size()));
}

template <typename Number>
property::Value number(property::NumberType type, Number value) {
    return property::CreateNumber(type, &value);
}

// A small registry; when a test is over nobody may hold anything of it.
class DeviceTree : public testing::Test {
  protected:
    void SetUp() override {
        simulated::ClearRegistry();
        values_ = simulated::LiveValues();
        const auto tree =
            simulated::AddEntry(kDeviceTreePlane, simulated::kRoot, {"device-tree", "Expert"});
        cpus_ = simulated::AddEntry(kDeviceTreePlane, tree, {"cpus", "IOPlatformDevice"});
        cpu_ = simulated::AddEntry(kDeviceTreePlane, cpus_, {"cpu", "IOPlatformDevice", "1", 77});
        board_ = simulated::AddEntry(kServicePlane, simulated::kRoot, {"x:board", "Expert"});
        simulated::AddEntry(kServicePlane, board_, {"cpu", "IOPlatformDevice", "1", 77});
        simulated::AddEntry("IOUSB", simulated::kRoot, {"hub", "IOUSBDevice"});
    }
    void TearDown() override {
        EXPECT_EQ(simulated::LiveObjects(), 0U) << "an entry or iterator leaks";
        EXPECT_EQ(simulated::Misuses(), 0U);
        simulated::ClearRegistry();
        EXPECT_EQ(simulated::LiveValues(), values_) << "a value leaks";
    }

    std::size_t values_ = 0;
    simulated::Entry cpus_ = 0;
    simulated::Entry cpu_ = 0;
    simulated::Entry board_ = 0;
};

}  // namespace

// Read, set, read: what is written must be what the next reader gets, in the property's own type.
TEST_F(DeviceTree, RoundTripsEveryTypeAndWidth) {
    const std::string longest(kDTLongestProperty, 'x');
    const struct {
        property::Value before;
        std::string bytes;
        std::string after;
    } cases[] = {
        {property::CreateBoolean(false), std::string("\0\0\1", 3), "\1"},
        {property::CreateBoolean(true), std::string("\0\0", 2), std::string("\0", 1)},
        {number<std::int32_t>(property::kInt32, 1), "abcd+", "abcd"},
        {number<std::int64_t>(property::kInt64, 1), "abcdefgh", "abcdefgh"},
        {number<long>(property::kLong, 1), "abcdefgh", std::string("abcdefgh", sizeof(long))},
        {number<double>(property::kFloat64, 1), "abcdefgh", "abcdefgh"},
        {string("old"), std::string("new\0rest", 8), "new"},
        {string("old"), longest, longest},
        {string("old"), "\x80 caf\x8E \xFF", "\x80 caf\x8E \xFF"},
        {data("old"), "ab%41%2f", "abA/"},
        {nullptr, std::string("a\0%00b%aF%Fa", 12), std::string("a\0\0b\xAF\xFA", 6)},
    };
    const registry::Object entry = simulated::HandOut(cpu_);
    std::string name;
    for (const auto& testCase : cases) {
        name += "p";
        if (testCase.before != nullptr) {
            simulated::SetProperty(cpu_, name.c_str(), testCase.before);
        }
        // Without a byte to spare, so that the address sanitizer notices one too many.
        std::vector<char> bytes(testCase.bytes.begin(), testCase.bytes.end());
        auto size = static_cast<std::uint32_t>(bytes.size());
        EXPECT_EQ(DT_SetDeviceProperty("cpu", name.c_str(), bytes.data(), &size), kDTOk);
        std::vector<char> buffer(testCase.after.size());
        size = static_cast<std::uint32_t>(buffer.size());
        EXPECT_EQ(DT_GetDeviceProperty("IOService:/cpu", name.c_str(), buffer.data(), &size),
                  kDTOk);
        EXPECT_EQ(std::string(buffer.begin(), buffer.end()), testCase.after);
        std::uint32_t length = 0;
        EXPECT_EQ(DT_GetPropertyLength(&entry, name.c_str(), &length), kDTOk);
        EXPECT_EQ(length, size);
    }
    registry::ObjectRelease(entry);
}

TEST_F(DeviceTree, RefusesWhatDoesNotConvert) {
    const property::Value other = simulated::CreateOther();
    const struct {
        property::Value existing;
        std::string bytes;
    } cases[] = {
        {nullptr, "ab%4"},
        {nullptr, "ab%"},
        {nullptr, "%4g"},
        {nullptr, "%%41"},
        {number<std::int32_t>(property::kInt32, 1), "abc"},
        {string(""), std::string(kDTLongestProperty + 1, 'x')},
        {other, "abc"},
    };
    for (const auto& testCase : cases) {
        std::vector<char> bytes(testCase.bytes.begin(), testCase.bytes.end());
        EXPECT_EQ(DT_ConvertValueToCFTypeRef(testCase.existing, bytes.data(),
                                             static_cast<std::uint32_t>(bytes.size())),
                  nullptr);
        if (testCase.existing != other) property::Release(testCase.existing);
    }
    std::uint8_t buffer[4];
    std::uint32_t size = sizeof buffer;
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(other, buffer, &size), kDTUnknownType);
    EXPECT_EQ(DT_CFTypeRefSize(other), 0U);
    property::Release(other);
    const property::Value large = data("12345");
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(large, buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(large, nullptr, &size), kDTBadArgument);
    property::Release(large);
    const property::Value empty = data("");
    size = 0;
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(empty, buffer, &size), kDTBadArgument);
    property::Release(empty);
}

TEST_F(DeviceTree, TellsHowAPropertyIsMissed) {
    simulated::SetProperty(cpu_, "p", data("12345"));
    const registry::Object entry = simulated::HandOut(cpu_);
    char buffer[] = "%41";
    std::uint32_t none = 0;
    std::uint32_t size = 2;
    EXPECT_EQ(DT_GetProperty(&entry, "p", buffer, &size), kDTBufferTooSmall);
    EXPECT_EQ(DT_GetProperty(&entry, "p", buffer, &none), kDTBadArgument);
    EXPECT_EQ(DT_GetProperty(nullptr, "p", buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, "p", buffer, &size), kDTBadArgument) << "half an escape";
    EXPECT_EQ(DT_SetProperty(&entry, "p", buffer, &none), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(nullptr, "p", buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, nullptr, buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, "p", nullptr, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, "p", buffer, nullptr), kDTBadArgument);
    EXPECT_EQ(size, 2U);
    EXPECT_EQ(DT_DeleteDeviceProperty("cpu", "p"), kDTDeleteRefused);
    EXPECT_EQ(DT_DeleteProperty(&entry, "q"), kDTNotFound);
    EXPECT_EQ(DT_GetPropertyLength(&entry, "p", &size), kDTOk);
    EXPECT_EQ(size, 5U) << "a refused value was set";
    EXPECT_EQ(DT_GetPropertyLength(&entry, "q", &size), kDTNotFound);
    size = 1;
    EXPECT_EQ(DT_GetProperty(&entry, "q", buffer, &size), kDTNotFound);
    EXPECT_EQ(size, kDTAbsent);
    simulated::SetProperty(cpu_, "wide", string("a\xE4\xB8\x96"));
    size = 2;
    EXPECT_EQ(DT_GetProperty(&entry, "wide", buffer, &size), kDTOk);
    EXPECT_EQ(buffer[1], '\0') << "stands for what is not in Mac Roman";
    size = 1;
    simulated::FailCall(Call::kSetProperty, -9);
    EXPECT_EQ(DT_SetProperty(&entry, "p", &none, &size), -9);
    registry::ObjectRelease(entry);
}

TEST_F(DeviceTree, FindsByPathNameAndCompatibility) {
    // Mac Roman lacks the second name.
    const std::string names("one\0\xE4\xB8\x96\0two\0caf\xC3\xA9\0unended", 24);
    simulated::SetProperty(cpus_, "compatible", string(names));
    const std::string tail("\0in\0out\0", 8);  // of which the last name is beyond what is looked at
    simulated::SetProperty(cpu_, "compatible",
                           string(std::string(kDTLongestProperty - 4, 'x') + tail));
    const struct {
        const char* spec;
        std::int32_t result;
        simulated::Entry entry;
    } cases[] = {{"IODeviceTree:/cpus/cpu@1", 0, cpu_},
                 {"IODeviceTree:/cpus/cpu", 0, cpu_},
                 {"IODeviceTree:/cpus/cpu@2", 3, 0},
                 {"IOService:/cpu@1", 0, cpu_},
                 {"NoPlane:/cpus", 3, 0},
                 {"cpu", 0, cpu_},
                 {"x:board", 0, board_},
                 {"hub", 3, 0},
                 {"two", 0, cpus_},
                 {"one", 0, cpus_},
                 {"unended", 3, 0},
                 {"wo", 0, cpus_},
                 {"caf\x8E", 0, cpus_},
                 {"in", 0, cpu_},
                 {"out", 3, 0}};
    for (const auto& testCase : cases) {
        registry::Object entry = 99;
        EXPECT_EQ(DT_FindDeviceID(testCase.spec, &entry), testCase.result) << testCase.spec;
        EXPECT_EQ(entry, testCase.result == 0 ? testCase.entry + 1 : 0) << testCase.spec;
        if (entry != 0) registry::ObjectRelease(entry);
    }
    registry::Object entry = 99;
    EXPECT_EQ(DT_FindDeviceID(nullptr, &entry), kDTBadArgument);
    EXPECT_EQ(DT_FindDeviceID("cpu", nullptr), kDTBadArgument);
    EXPECT_EQ(DT_FindDevice(nullptr, &entry), kDTBadArgument);
    EXPECT_EQ(DT_FindDevice("cpu", nullptr), kDTBadArgument);
}

// Never a wrong entry: 0 stands for none.
TEST_F(DeviceTree, ComparesPathsWholeNameByWholeName) {
    const auto add = [&](const char* name, const char* location) {
        return simulated::AddEntry(kDeviceTreePlane, cpus_, {name, "N", location});
    };
    const auto boot = add("Mouse / Boot", "1D");
    const auto second = add("Mouse / Boot", "1E,0");
    const auto under = simulated::AddEntry(kDeviceTreePlane, second, {"x:b@c/", "N"});
    const auto zeros = add("n", "00000000");
    add("n", "0");
    const auto parts = add("n", "1,2");
    const auto nameless = add("", "7");
    const std::string digits(40, '1');
    const auto wide = add("n", digits.c_str());
    add("n", "1z");
    const struct {
        std::string path;
        simulated::Entry entry;
    } cases[] = {{"/Mouse / Boot", boot},
                 {"/Mouse / Boot@1e", second},
                 {"/Mouse / Boot@01d/", boot},
                 {"/@1E", second},
                 {"/Mouse / Boot@1E,00/x:b@c/", under},
                 {"/@1E/x:b@c//", under},
                 {"/n", zeros},
                 {"/n@0", zeros},
                 {"/n@0,0", zeros},
                 {"/n@1,2,0", parts},
                 {"/@7", nameless},
                 {"/n@" + digits, wide}};
    const char* none[] = {"/n@10000000000000000",
                          "/@1Ex:b@c/",
                          "/n@1",
                          "/n@",
                          "/n@0,",
                          "/n@,0",
                          "/n@0x0",
                          "/n@ 0",
                          "/n@1z",
                          "/n:0",
                          "/Mouse ",
                          "/Mouse / Boot@1F",
                          "//n",
                          "/n//",
                          "//"};
    const auto find = [](const std::string& path) {
        const registry::Object entry = registry::EntryFromPath(1, path.c_str());
        registry::ObjectRelease(entry);
        return entry;
    };
    for (const auto& [path, entry] : cases) {
        EXPECT_EQ(find("IODeviceTree:/cpus" + path), entry + 1) << path;
    }
    for (const std::string path : none) EXPECT_EQ(find("IODeviceTree:/cpus" + path), 0U) << path;
    EXPECT_EQ(find("IODeviceTree:/cpus/n@1" + digits), 0U);
    EXPECT_EQ(find("IODeviceTree:/cpus/" + std::string(10000, 'n')), 0U);
    for (const char* path : {"", "IODeviceTree:", ":/", ":/cpus", "IODeviceTree://cpus"}) {
        EXPECT_EQ(find(path), 0U) << path;
    }
}

TEST_F(DeviceTree, PassesOnTheRegistrysFailures) {
    registry::Object entry = 99;
    simulated::FailCall(Call::kGetMatchingServices, -5);
    EXPECT_EQ(DT_FindDevice("cpu", &entry), kDTOk);
    EXPECT_EQ(entry, 0U) << "the quirk that callers look for";
    char bytes[4];
    std::uint32_t size = sizeof bytes;
    EXPECT_EQ(DT_SetDeviceProperty("cpu", "p", bytes, &size), kDTNotFound);
    EXPECT_EQ(DT_DeleteDeviceProperty("cpu", "p"), kDTNotFound);
    EXPECT_EQ(DT_GetDeviceProperty("cpu", "p", bytes, &size), kDTNotFound);
    EXPECT_EQ(size, kDTAbsent);
    simulated::FailCall(Call::kCreateIterator, -6);
    EXPECT_EQ(DT_FindCompatibleDevice("x", &entry), -6);
    std::uint32_t count = 9;
    EXPECT_EQ(DT_FindDevicesWithProp("p", nullptr, &entry, 1, &count), -6);
    EXPECT_EQ(count, 0U);
    simulated::FailCall(Call::kMasterPort, -7);
    EXPECT_EQ(DT_FindCompatibleDevice("x", &entry), -7);
    EXPECT_EQ(DT_FindDevice("cpu", &entry), -7);
    EXPECT_EQ(DT_GetDeviceProperty("cpu", "p", bytes, &size), -7);
    EXPECT_EQ(DT_SetDeviceProperty("cpu", "p", bytes, &size), -7);
    EXPECT_EQ(DT_DeleteDeviceProperty("cpu", "p"), -7);
}

TEST_F(DeviceTree, TakesNoIteratorForAnEmptyScan) {
    simulated::GiveNoEmptyIterators();
    registry::Object entry = 99;
    EXPECT_EQ(DT_FindDevice("no such name", &entry), kDTNotFound);
    EXPECT_EQ(entry, 0U);
    EXPECT_EQ(DT_FindDevice("cpu", &entry), kDTOk);
    registry::ObjectRelease(entry);
    simulated::ClearRegistry();
    simulated::GiveNoEmptyIterators();
    std::uint32_t count = 9;
    EXPECT_EQ(DT_FindDevicesWithProp("IOService:p", nullptr, &entry, 1, &count), kDTOk);
    EXPECT_EQ(count, 0U);
    registry::Object iterator = 99;
    EXPECT_EQ(registry::CreateRecursiveIterator(1, kServicePlane, &iterator), registry::kSuccess);
    EXPECT_EQ(iterator, 0U);
    EXPECT_FALSE(registry::IteratorIsValid(iterator));
}

TEST_F(DeviceTree, CountsAllMatchesAndStoresSome) {
    for (int index = 0; index < 5; ++index) {
        const auto entry = simulated::AddEntry(kDeviceTreePlane, cpus_, {"n", "N"});
        simulated::SetProperty(entry, "p", data(index < 3 ? "abc" : "abd"));
    }
    const std::string large(3 * kDTLongestProperty, 'x');  // than any buffer of the library's own
    simulated::SetProperty(cpus_, "large-data", data(large));
    simulated::SetProperty(cpus_, "large-text", string(large));
    simulated::SetProperty(cpus_, "text", string("abc"));
    simulated::SetProperty(cpus_, "empty", data(""));
    simulated::SetProperty(cpus_, "other", simulated::CreateOther());
    const std::string longPlane(63, 'p');
    simulated::AddEntry(longPlane.c_str(), simulated::kRoot, {"n", "N"});
    const std::string longName(127, 'n');
    const struct {
        std::string spec;
        const char* value;
        std::int32_t result;
        std::uint32_t count;
    } cases[] = {{"p", nullptr, 0, 5},
                 {"IODeviceTree:p", "abcd", 0, 3},
                 {"p", "xyz", 0, 0},
                 {"q", nullptr, 0, 0},
                 {"large-data", nullptr, 0, 1},
                 {"large-data", large.c_str(), 0, 1},
                 {"large-text", nullptr, 0, 1},
                 {"large-text", large.c_str(), 2, 0},
                 {"text", "abcd", 0, 1},
                 {"text", "abd", 0, 0},
                 {"empty", "x", 0, 1},
                 {"other", nullptr, kDTUnknownType, 1},
                 {longName, nullptr, 0, 0},
                 {longName + "n", nullptr, 2, 0},
                 {longPlane + ":" + longName, nullptr, 0, 0},
                 {longPlane + "p:p", nullptr, 2, 0}};
    for (const bool restarts : {false, true}) {
        for (const auto& testCase : cases) {
            if (restarts) simulated::InvalidateIterator(3);
            registry::Object entries[2] = {};
            std::uint32_t count = 0;
            EXPECT_EQ(
                DT_FindDevicesWithProp(testCase.spec.c_str(), testCase.value, entries, 2, &count),
                testCase.result);
            EXPECT_EQ(count, testCase.count) << testCase.spec;
            EXPECT_EQ(simulated::LiveObjects(), std::min(testCase.count, 2U));
            for (const registry::Object entry : entries) {
                if (entry != 0) registry::ObjectRelease(entry);
            }
        }
    }
    std::string text(large.size(), '\0');
    auto size = static_cast<std::uint32_t>(text.size());
    EXPECT_EQ(DT_GetDeviceProperty("IODeviceTree:/cpus", "large-text", text.data(), &size), kDTOk);
    EXPECT_TRUE(text == large);
    registry::Object entry = 0;
    std::uint32_t count = 0;
    EXPECT_EQ(DT_FindDevicesWithProp("p", nullptr, &entry, 0, &count), kDTBadArgument);
    EXPECT_EQ(DT_FindDevicesWithProp(nullptr, nullptr, &entry, 1, &count), kDTBadArgument);
}
