#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "cli/module_options.h"
#include "tests/support/fake_host.h"
#include "tests/support/operation_run.h"

// Counts what the tool takes from the heap while an option is served: all of it but the host's.
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

TEST(Heap, IsNotUsedByTheToolsOwnRooms) {
#if CANNOT_COUNT
    GTEST_SKIP() << "the allocator cannot be interposed here";
#else
    const ModuleOption options[] = {
        VerifySIM,       Transmit,        ShowIdentifier,      PowerOff, ShowInformation,
        ShowSKU,         ShowSIMPresence, ShowFirmware,        PowerOn,  Receive,
        ShowTemperature, ShowPower,       ReceiveFromGenerator};
    for (const std::uint32_t productId : {0x0019U, 0x8231U}) {
        for (const ModuleOption option : options) {
            Operands operands;
            operands.band = productId == 0x0019 ? 0 : 7;
            operands.channel = productId == 0x0019 ? 25 : 9400;
            operands.enable = 1;
            int taken = -1;
            // The generator's node leads to the module: it takes what it is sent.
            const auto serve = [&](const char* tty) {
                gHost.devices["/dev/tty.KeySerial1"] = tty;
                putchar('\n');  // standard output has its buffer from here on
                counting = true;
                allocations = 0;
                const int status = option(tty, operands);
                taken = allocations;
                counting = false;
                return status;
            };
            runOperation(productId,
                         answering({{"AT!RXAGC", "RX = -90 dBm"},
                                    {"AT!DAWGAVGAGC", "-90"},
                                    {"AT+CPBR", "+CPBR: 1,\"123456789\",129,\"hello\""}}),
                         serve);
            EXPECT_EQ(taken, 0);
        }
    }
#endif
}
