#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/dispatcher.h"
#include "platform/simulated/simulated_registry.h"
#include "tests/support/fake_host.h"
#include "tests/support/operation_run.h"

// Counts what a whole run takes from the heap: all of it but the host's.
#if defined(__SANITIZE_ADDRESS__) || !defined(__GLIBC__)
#define CANNOT_COUNT 1
#else
#define CANNOT_COUNT 0
namespace {
thread_local bool counting = false;
thread_local int allocations = 0;
void count() {
    if (counting && !gInHost) ++allocations;
}
}  // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
    count();
    return __libc_malloc(size);
}
void* calloc(std::size_t number, std::size_t size) {
    count();
    return __libc_calloc(number, size);
}
void* realloc(void* block, std::size_t size) {
    count();
    return __libc_realloc(block, size);
}
}
#endif

#if !CANNOT_COUNT
namespace {

int allocationsOf(const std::function<int()>& work) {
    putchar('\n');  // standard output has its buffer from here on
    counting = true;
    allocations = 0;
    work();
    counting = false;
    return allocations;
}

void fillRegistry(std::int32_t productId) {
    simulated::ClearRegistry();
    const auto port = simulated::AddEntry(registry::kServicePlane, simulated::kRoot,
                                          {"IOSerialBSDClient", "IOSerialBSDClient"});
    simulated::SetProperty(port, "IOCalloutDevice",
                           property::CreateString("/dev/cu.wwanCMD19", property::kUtf8));
    const auto support = simulated::AddEntry(registry::kServicePlane, simulated::kRoot,
                                             {"OrvelWWANSupport", "OrvelWWANSupport"});
    simulated::SetProperty(support, "idProduct",
                           property::CreateNumber(property::kInt32, &productId));
}

// What a run asks of the registry, which is not a room of the tool's own.
int scanServices(const char* className, const char* name) {
    registry::Port port = 0;
    registry::Object iterator = 0;
    registry::MasterPort(&port);
    registry::GetMatchingServices(port, registry::ServiceMatching(className), &iterator);
    while (const registry::Object entry = registry::IteratorNext(iterator)) {
        property::Release(registry::EntryCreateProperty(entry, name));
        registry::ObjectRelease(entry);
    }
    registry::ObjectRelease(iterator);
    return 0;
}

}  // namespace
#endif

TEST(Heap, IsNotUsedByTheToolsOwnRooms) {
#if CANNOT_COUNT
    GTEST_SKIP() << "the allocator cannot be interposed here";
#else
    using Words = std::vector<std::string>;
    const Words everywhere[] = {{"-v"},           {"-h"},           {"-c"},
                                {"-a"},           {"-e"},           {"-f"},
                                {"-i"},           {"-k"},           {"-m"},
                                {"-n"},           {"-p"},           {"-t"},
                                {"-w"},           {"-w", "CMD19"},  {},
                                {"-w", "a", "b"}, {"-w", "/dev/x"}, {"-r", "3", "9", "x", "0"}};
    const struct {
        std::int32_t productId;
        std::vector<Words> options;
    } families[] = {
        {0x0019,
         {{"-b", "0", "25", "10", "1"},
          {"-r", "1", "0", "25", "0"},
          {"-s", "2", "1", "25", "-50", "1"}}},
        {0x8231,
         {{"-b", "7", "9400", "20", "1"},
          {"-b", "5", "600", "10", "1"},
          {"-b", "5", "600", "10", "0"},
          {"-r", "1", "7", "9400", "0"},
          {"-r", "2", "5", "600", "1"},
          {"-s", "1", "7", "9400", "-50", "0"}}},
    };
    for (const auto& family : families) {
        fillRegistry(family.productId);
        std::vector<Words> runs = family.options;
        runs.insert(runs.end(), std::begin(everywhere), std::end(everywhere));
        for (Words words : runs) {
            std::string line = "Tarnwick";
            std::vector<char*> argv = {line.data()};
            for (std::string& word : words) argv.push_back(word.data());
            argv.push_back(nullptr);
            int taken = -1;
            int registryTook = -1;
            // The generator's node leads to the module: it takes what it is sent.
            const auto serve = [&](const char* tty) {
                gHost.devices["/dev/cu.wwanCMD19"] = gHost.devices["/dev/tty.KeySerial1"] = tty;
                optind = 0;  // getopt starts anew
                taken = allocationsOf(
                    [&] { return RunTarnwick(static_cast<int>(argv.size()) - 1, argv.data()); });
                registryTook = words.empty() ? 0 : allocationsOf([] {
                    return scanServices("IOSerialBSDClient", "IOCalloutDevice") +
                           scanServices("OrvelWWANSupport", "idProduct");
                });
                return 0;
            };
            runOperation(0,
                         answering({{"AT!RXAGC", "RX = -90 dBm"},
                                    {"AT!DAWGAVGAGC", "-90"},
                                    {"AT+CPBR", "+CPBR: 1,\"123456789\",129,\"hello\""}}),
                         serve);
            EXPECT_EQ(taken, registryTook) << testing::PrintToString(words);
        }
    }
#endif
}
