#include "discovery/kernel_extension.h"

#include <cstdarg>

#include "platform/bounded_text.h"
#include "platform/host.h"
#include "serial/serial_port.h"

static constexpr std::size_t kShellLineSize = 256;

// Runs a shell line and returns its undecoded status. A line that does not fit is not run, since
// what is left of it would do something else; its status is -1.
__attribute__((format(printf, 1, 2))) static int runShell(const char* format, ...) {
    char line[kShellLineSize];
    va_list arguments;
    va_start(arguments, format);
    const bool whole = formatArguments(line, sizeof line, format, arguments);
    va_end(arguments);
    return whole ? host::RunShell(line) : -1;
}

static bool isLoaded(const char* name) {
    return runShell("/usr/sbin/kextstat | grep \"%s\" > /dev/null 2>&1", name) == 0;
}

namespace {

// How loading and unloading differ.
struct KextChange {
    const char* notRoot;
    const char* tool;
    const char* log;
    const char* operation;
    const char* doing;
    int failure;
};

}  // namespace

static constexpr KextChange kLoad = {"loadKext: Must be run as root\n",
                                     "/sbin/kextload",
                                     "/tmp/kextload.log",
                                     "loadKext",
                                     "loading",
                                     kLoadFailed};
static constexpr KextChange kUnload = {"unloadKext: Must be run as root",
                                       "/sbin/kextunload",
                                       "/tmp/kextunload.log",
                                       "unloadKext",
                                       "unloading",
                                       kUnloadFailed};

static int changeKext(const KextChange& change, const char* directory, const char* name,
                      char* message) {
    if (host::RealUserId() != 0) {
        if (message != nullptr) copyText(message, kMessageSize, change.notRoot);
        return kNotRoot;
    }
    const int status =
        runShell("%s \"%s/%s.kext\" >> %s 2>&1", change.tool, directory, name, change.log);
    if (status == 0) return kKextOk;
    if (message != nullptr) {
        formatText(message, kMessageSize,
                   "%s: Error (%d) %s the kext (%s/%s.kext), see '%s' for details",
                   change.operation, status, change.doing, directory, name, change.log);
    }
    return change.failure;
}

int loadKext(const char* directory, const char* name, std::uint32_t* wasLoaded, char* message) {
    *wasLoaded = isLoaded(name) ? 1 : 0;
    return *wasLoaded == 1 ? kKextOk : changeKext(kLoad, directory, name, message);
}

int unloadKext(const char* directory, const char* name, char* message) {
    return isLoaded(name) ? changeKext(kUnload, directory, name, message) : kKextOk;
}
