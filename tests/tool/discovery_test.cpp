#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "discovery/module_table.h"
#include "discovery/registry_services.h"
#include "discovery/serial_device.h"
#include "platform/simulated/simulated_registry.h"
#include "serial/serial_port.h"
#include "tests/support/fake_host.h"

using simulated::Call;

namespace {

constexpr const char* kPort = "IOSerialBSDClient";
constexpr const char* kSupport = "OrvelWWANSupport";

property::Value text(const char* value) {
    return property::CreateString(value, property::kUtf8);
}

property::Value number(std::int32_t value) {
    return property::CreateNumber(property::kInt32, &value);
}

simulated::Entry add(const char* className, const char* property, property::Value value) {
    const auto entry =
        simulated::AddEntry(registry::kServicePlane, simulated::kRoot, {className, className});
    if (value != nullptr) simulated::SetProperty(entry, property, value);
    return entry;
}

void addPort(const char* callout) {
    const auto entry = add(kPort, "IOCalloutDevice", text(callout));
    simulated::SetProperty(entry, "IOTTYDevice", text(callout + 8));
}

void fillTwoModules() {
    simulated::ClearRegistry();
    addPort("/dev/cu.wwanCNTL19");
    addPort("/dev/cu.wwanCMD19");
    add(kPort, "", nullptr);
    add(kSupport, "", nullptr);  // without an id: the next service's goes to the next port
    add(kSupport, "idProduct", number(0x8232));
    addPort("/dev/cu.wwanCMD29");
    add(kSupport, "idProduct", number(0x0019));
}

void expectNothingHeld() {
    EXPECT_EQ(simulated::LiveObjects(), 0U);
    EXPECT_EQ(simulated::Misuses(), 0U);
}

}  // namespace

// A module that stands in the table twice is tested twice and its neighbour not at all.
TEST(Identify, StartsFromNothingWhenTheRegistryChanges) {
    for (const bool lastOne : {false, true}) {
        for (int entries = 0; entries <= 4; ++entries) {
            fillTwoModules();
            simulated::InvalidateIterator(entries, lastOne);
            EXPECT_EQ(printed([] { EXPECT_EQ(IdentifyWWANModule(), kDiscoveryOk); }), "");
            EXPECT_EQ(gTotalWWANDevices, 2);
            EXPECT_STREQ(gWWANDevice[0].path, "/dev/cu.wwanCMD19");
            EXPECT_EQ(gWWANDevice[0].productId, 0x8232U);
            EXPECT_STREQ(gWWANDevice[1].path, "/dev/cu.wwanCMD29");
            EXPECT_EQ(gWWANDevice[1].productId, 0x0019U);
            expectNothingHeld();
        }
    }
}

TEST(Identify, ReportsEachRegistryFailureInEitherPass) {
    const struct {
        Call call;
        const char* output;
    } cases[] = {
        {Call::kMasterPort, "IOMasterPort returned: -5\n"},
        {Call::kServiceMatching, "IOServiceMatching returned a NULL dictionary.\n"},
        {Call::kGetMatchingServices, "IOServiceGetMatchingServices returned -5\n"},
    };
    for (const auto& testCase : cases) {
        for (const int passes : {0, 1}) {
            fillTwoModules();
            simulated::FailCall(testCase.call, -5, passes);
            const std::string output =
                printed([] { EXPECT_EQ(IdentifyWWANModule(), kRegistryFailed); });
            EXPECT_EQ(output, std::string("IdentifyWWANModule: ") + testCase.output);
            EXPECT_EQ(gTotalWWANDevices, passes == 0 ? 0 : 2);
            expectNothingHeld();
        }
    }
}

TEST(Identify, CutsALongPathAndTakesOddValuesAsTheyAre) {
    simulated::ClearRegistry();
    addPort("/dev/cu.wwanCMD-of-a-very-long-name");
    add(kPort, "IOCalloutDevice", number(7));
    add(kSupport, "idProduct", text("033330 and more"));
    printed([] { EXPECT_EQ(IdentifyWWANModule(), kDiscoveryOk); });
    EXPECT_EQ(gTotalWWANDevices, 1);
    EXPECT_STREQ(gWWANDevice[0].path, "/dev/cu.wwanCMD-of-");
    EXPECT_EQ(gWWANDevice[0].productId, 33330U);
}

TEST(Obtain, TakesTheLastPathThatContainsTheText) {
    const struct {
        int modules;
        const char* text;
        int result;
        std::uint32_t id;
    } cases[] = {{2, "wwanCMD", 0, 0x0019}, {2, "CMD19", 0, 0x8232},
                 {2, "", 0, 0x0019},        {2, "/dev/cu.wwanCNTL19", kNoModule, 77},
                 {1, "", 0, 0x8232},        {0, "", kNoModule, 77}};
    fillTwoModules();
    IdentifyWWANModule();
    for (const auto& testCase : cases) {
        gTotalWWANDevices = testCase.modules;
        std::uint32_t id = 77;
        EXPECT_EQ(ObtainWWANModuleProductID(testCase.text, &id), testCase.result);
        EXPECT_EQ(id, testCase.id) << testCase.text;
    }
}

TEST(TypeRef, TextByType) {
    const std::size_t before = simulated::LiveValues();
    const std::uint8_t bytes[] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'};
    const double real = 2.5;
    const std::int64_t wide = 33330;
    const property::Value other = simulated::CreateOther();
    const struct {
        property::Value value;
        const char* text;
    } cases[] = {
        {nullptr, "?"},
        {other, "?"},
        {property::CreateBoolean(true), "1"},
        {property::CreateBoolean(false), "0"},
        {number(-1), "-1"},
        {property::CreateNumber(property::kInt64, &wide), "33330"},
        {property::CreateNumber(property::kFloat64, &real), "?"},
        {text("seven77"), "seven77"},
        {text("eight888"), "?"},
        {text("\xE4\xB8\x96"), "?"},
        {property::CreateData(bytes, 7), "abcdefg"},
        {property::CreateData(bytes, 8), "?"},
        {property::CreateData(bytes, 0), "?"},
    };
    for (const auto& testCase : cases) {
        char text[8] = {};
        TypeRefToString(testCase.value, text, sizeof text);
        EXPECT_STREQ(text, testCase.text);
    }
    EXPECT_EQ(simulated::LiveValues(), before + 1) << "a value without a text stays the caller's";
    property::Release(other);
}

TEST(BSDPath, KeepsAnAbsentPropertysTextAndStopsAtOneWithoutText) {
    simulated::ClearRegistry();
    addPort("/dev/cu.wwanCMD19");
    add(kPort, "", nullptr);
    add(kPort, "IOTTYDevice", number(7));
    addPort("/dev/cu.wwanCMD29");
    char path[] = "x";
    const std::string output =
        printed([&] { EXPECT_EQ(GetWWanBSDPath("CMD19", path), kDeviceLookupFailed); });
    EXPECT_EQ(output,
              "kIOTTYDeviceKey = wwanCMD19\nkIOCalloutDeviceKey = /dev/cu.wwanCMD19\n"
              "kIOTTYDeviceKey = /dev/cu.wwanCMD19\nkIOCalloutDeviceKey = /dev/cu.wwanCMD19\n"
              "kIOTTYDeviceKey = \n");
    EXPECT_STREQ(path, "");
    expectNothingHeld();
    simulated::FailCall(Call::kMasterPort, -5);
    EXPECT_EQ(printed([&] { EXPECT_EQ(GetWWanBSDPath("", path), kDeviceLookupFailed); }),
              "GetWWanBSDPath: IOMasterPort returned: -5\n");
    simulated::ClearRegistry();
    addPort("/dev/cu.wwanCMD19");
    simulated::InvalidateIterator(1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(GetWWanBSDPath("x", path), kDeviceNotMatched); }),
              "kIOTTYDeviceKey = wwanCMD19\nInvalid  InteratorkIOTTYDeviceKey = wwanCMD19\n");
}

// Nothing was found then, and nothing has changed.
TEST(Identify, TakesNoIteratorForAnEmptyScan) {
    simulated::ClearRegistry();
    simulated::GiveNoEmptyIterators();
    EXPECT_EQ(printed([] { EXPECT_EQ(IdentifyWWANModule(), kNoModule); }),
              "WARNING: WWAN module not found\n");
    char path[] = "x";
    EXPECT_EQ(printed([&] { EXPECT_EQ(GetWWanBSDPath("", path), kDeviceOk); }), "");
    EXPECT_STREQ(path, "x");
    expectNothingHeld();
}

TEST(DeviceWait, ChecksTenTimesASecondApartAndOnceMore) {
    for (const std::size_t readableAfter : {0U, 4U, 10U, 11U}) {
        gHost = {};
        gHost.isReadable = [&](const std::string&) { return gHost.pauses.size() >= readableAfter; };
        char message[kMessageSize] = {};
        const bool seen = readableAfter <= 10;
        EXPECT_EQ(verifyDeviceConnected("/dev/tty.X", message), seen ? kDeviceOk : kDeviceTimeout);
        EXPECT_EQ(gHost.pauses, std::vector<std::uint32_t>(seen ? readableAfter : 10, 1000));
    }
}
