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
        const auto board =
            simulated::AddEntry(kServicePlane, simulated::kRoot, {"board", "Expert"});
        simulated::AddEntry(kServicePlane, board, {"cpu", "IOPlatformDevice", "1", 77});
        elsewhere_ = simulated::AddEntry("IOUSB", simulated::kRoot, {"hub", "IOUSBDevice"});
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
    simulated::Entry elsewhere_ = 0;
};

}  // namespace

// Read, set, read: what is written must be what the next reader gets, in the property's own type.
TEST_F(DeviceTree, RoundTripsEveryTypeAndWidth) {
    const struct {
        property::Value before;
        std::string bytes;
        std::string after;
        property::Kind kind;
    } cases[] = {
        {property::CreateBoolean(false), std::string("\0\0\1", 3), "\1", property::Kind::kBoolean},
        {property::CreateBoolean(true), std::string("\0\0", 2), std::string("\0", 1),
         property::Kind::kBoolean},
        {number<std::int32_t>(property::kInt32, 1), "abcd+", "abcd", property::Kind::kNumber},
        {number<std::int64_t>(property::kInt64, 1), "abcdefgh", "abcdefgh",
         property::Kind::kNumber},
        {number<long>(property::kLong, 1), "abcdefgh", std::string("abcdefgh", sizeof(long)),
         property::Kind::kNumber},
        {number<double>(property::kFloat64, 1), "abcdefgh", "abcdefgh", property::Kind::kNumber},
        {string("old"), std::string("new\0rest", 8), "new", property::Kind::kString},
        {data("old"), "ab%41%2f", "abA/", property::Kind::kData},
        {nullptr, std::string("a\0%00b", 6), std::string("a\0\0b", 4), property::Kind::kData},
    };
    for (const auto& example : cases) {
        simulated::Entry fresh =
            simulated::AddEntry(kDeviceTreePlane, simulated::kRoot, {"x", "X"});
        if (example.before != nullptr) simulated::SetProperty(fresh, "p", example.before);
        const registry::Object entry = simulated::HandOut(fresh);
        std::string bytes = example.bytes;
        auto size = static_cast<std::uint32_t>(bytes.size());
        EXPECT_EQ(DT_SetProperty(&entry, "p", bytes.data(), &size), kDTOk);
        char buffer[64];
        size = sizeof buffer;
        EXPECT_EQ(DT_GetProperty(&entry, "p", buffer, &size), kDTOk);
        EXPECT_EQ(std::string(buffer, size), example.after);
        std::uint32_t length = 0;
        EXPECT_EQ(DT_GetPropertyLength(&entry, "p", &length), kDTOk);
        EXPECT_EQ(length, size);
        property::Value value = nullptr;
        EXPECT_EQ(DT_ReadProperty(&entry, "p", &value), kDTOk);
        EXPECT_EQ(property::KindOf(value), example.kind);
        property::Release(value);
        registry::ObjectRelease(entry);
    }
}

TEST_F(DeviceTree, RefusesWhatDoesNotConvert) {
    const struct {
        property::Value existing;
        std::string bytes;
    } cases[] = {
        {data(""), "ab%4"},
        {data(""), "ab%"},
        {data(""), "%4g"},
        {data(""), "%%41"},
        {number<std::int32_t>(property::kInt32, 1), "abc"},
        {string(""), std::string(kDTLongestProperty + 1, 'x')},
        {simulated::CreateOther(), "abc"},
    };
    for (const auto& example : cases) {
        std::string bytes = example.bytes;
        EXPECT_EQ(DT_ConvertValueToCFTypeRef(example.existing, bytes.data(),
                                             static_cast<std::uint32_t>(bytes.size())),
                  nullptr);
        property::Release(example.existing);
    }
    const property::Value other = simulated::CreateOther();
    std::uint8_t buffer[4];
    std::uint32_t size = sizeof buffer;
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(other, buffer, &size), kDTUnknownType);
    EXPECT_EQ(DT_CFTypeRefSize(other), 0U);
    property::Release(other);
    const property::Value large = data("12345");
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(large, buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(large, nullptr, &size), kDTBadArgument);
    size = 0;
    EXPECT_EQ(DT_ConvertCFTypeRefToValue(large, buffer, &size), kDTBadArgument);
    property::Release(large);
}

TEST_F(DeviceTree, TellsHowAPropertyIsMissed) {
    simulated::SetProperty(cpu_, "p", data("12345"));
    const registry::Object entry = simulated::HandOut(cpu_);
    std::uint8_t buffer[4];
    std::uint32_t size = sizeof buffer;
    EXPECT_EQ(DT_GetProperty(&entry, "p", buffer, &size), kDTBufferTooSmall);
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(DT_GetProperty(&entry, "q", buffer, &size), kDTNotFound);
    EXPECT_EQ(size, 0xFFFFFFFFU);
    EXPECT_EQ(DT_GetPropertyLength(&entry, "q", &size), kDTNotFound);
    EXPECT_EQ(DT_DeleteProperty(&entry, "p"), kDTDeleteRefused);
    EXPECT_EQ(DT_DeleteProperty(&entry, "q"), kDTNotFound);
    size = 0;
    EXPECT_EQ(DT_GetProperty(&entry, "p", buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, "p", buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_GetProperty(nullptr, "p", buffer, &size), kDTBadArgument);
    char halfEscape[] = "ab%4";
    size = 4;
    EXPECT_EQ(DT_SetProperty(&entry, "p", halfEscape, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(nullptr, "p", buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, nullptr, buffer, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, "p", nullptr, &size), kDTBadArgument);
    EXPECT_EQ(DT_SetProperty(&entry, "p", buffer, nullptr), kDTBadArgument);
    EXPECT_EQ(DT_GetPropertyLength(&entry, "p", &size), kDTOk);
    EXPECT_EQ(size, 5U) << "a refused value was set";
    size = 2;
    simulated::FailCall(Call::kSetProperty, -9);
    EXPECT_EQ(DT_SetProperty(&entry, "p", buffer, &size), -9);
    registry::ObjectRelease(entry);
}

TEST_F(DeviceTree, FindsByPathNameAndCompatibility) {
    simulated::SetProperty(cpus_, "compatible", string(std::string("one\0two\0unended", 15)));
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
                 {"hub", 3, 0},
                 {"two", 0, cpus_},
                 {"one", 0, cpus_},
                 {"unended", 3, 0},
                 {"wo", 0, cpus_}};
    for (const auto& example : cases) {
        registry::Object entry = 99;
        EXPECT_EQ(DT_FindDeviceID(example.spec, &entry), example.result) << example.spec;
        EXPECT_EQ(entry, example.result == 0 ? example.entry + 1 : 0) << example.spec;
        if (entry != 0) registry::ObjectRelease(entry);
    }
    registry::Object entry = 99;
    EXPECT_EQ(DT_FindDeviceID(nullptr, &entry), kDTBadArgument);
    EXPECT_EQ(DT_FindDeviceID("cpu", nullptr), kDTBadArgument);
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
}

TEST_F(DeviceTree, CountsAllMatchesAndStoresSome) {
    for (int index = 0; index < 5; ++index) {
        const auto entry = simulated::AddEntry(kDeviceTreePlane, cpus_, {"n", "N"});
        simulated::SetProperty(entry, "p", data(index < 3 ? "abc" : "abd"));
    }
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
                 {longName, nullptr, 0, 0},
                 {longName + "n", nullptr, 2, 0},
                 {longPlane + ":" + longName, nullptr, 0, 0},
                 {longPlane + "p:p", nullptr, 2, 0}};
    for (const bool restarts : {false, true}) {
        for (const auto& example : cases) {
            if (restarts) simulated::InvalidateIterator(3);
            registry::Object entries[2] = {};
            std::uint32_t count = 0;
            EXPECT_EQ(
                DT_FindDevicesWithProp(example.spec.c_str(), example.value, entries, 2, &count),
                example.result);
            EXPECT_EQ(count, example.count) << example.spec;
            EXPECT_EQ(simulated::LiveObjects(), std::min(example.count, 2U));
            for (const registry::Object entry : entries) {
                if (entry != 0) registry::ObjectRelease(entry);
            }
        }
    }
    // Larger than any buffer of the library's own.
    const std::string large(3 * kDTLongestProperty, 'x');
    simulated::SetProperty(cpus_, "large", data(large));
    registry::Object entry = 0;
    std::uint32_t count = 0;
    for (const char* value : {static_cast<const char*>(nullptr), large.c_str()}) {
        EXPECT_EQ(DT_FindDevicesWithProp("large", value, &entry, 1, &count), kDTOk);
        EXPECT_EQ(count, 1U);
        registry::ObjectRelease(entry);
    }
    EXPECT_EQ(DT_FindDevicesWithProp("p", nullptr, &entry, 0, &count), kDTBadArgument);
    EXPECT_EQ(DT_FindDevicesWithProp(nullptr, nullptr, &entry, 1, &count), kDTBadArgument);
}

TEST_F(DeviceTree, WorksThroughADevicesName) {
    simulated::SetProperty(cpu_, "p", data("old"));
    char bytes[] = "new";
    std::uint32_t size = 3;
    EXPECT_EQ(DT_SetDeviceProperty("cpu", "p", bytes, &size), kDTOk);
    char buffer[8];
    size = sizeof buffer;
    EXPECT_EQ(DT_GetDeviceProperty("IOService:/cpu", "p", buffer, &size), kDTOk);
    EXPECT_EQ(std::string(buffer, size), "new");
    EXPECT_EQ(DT_DeleteDeviceProperty("cpu", "p"), kDTDeleteRefused);
    EXPECT_EQ(DT_GetDeviceProperty("nobody", "p", buffer, &size), kDTNotFound);
}
