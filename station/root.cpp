#include "station/root.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "station/failure.h"
#include "station/registry_capture.h"
#include "station/text.h"

namespace station {

namespace fs = std::filesystem;

static constexpr fs::perms kOpenToAll{0755};

// The driver tools keep the driver's state in a file, which the station watches; so they work, and
// end, whether the station still runs or not.
static constexpr std::pair<const char*, std::string_view> kTools[] = {
    {"usr/sbin/kextstat", R"(#!/bin/sh
# Lists the loaded kernel extensions.
echo 'Index Refs Address            Size       Wired      Name (Version) <Linked Against>
    1   92 0xffffff7f80a3d000 0x10e0     0x10e0     com.apple.kpi.bsd (20.6.0)
   23    4 0xffffff7f81034000 0x9000     0x9000     com.apple.iokit.IOSerialFamily (11) <5 1>'
read -r state <"${0%/usr/sbin/*}/state/driver"
[ "$state" != loaded=yes ] ||
    echo '  141    0 0xffffff7f83a51000 0xb000     0xb000     com.tarnwick.driver.KeyspanUSAdriver (2.6.1) <23 5>'
)"},
    {"sbin/kextload", R"(#!/bin/sh
# Loads the adapter's driver.
state=${0%/sbin/*}/state/driver
[ "${1##*/}" = KeyspanUSAdriver.kext ] || {
    echo "$1 failed to load - (libkern/kext) not found."
    exit 71
}
echo loaded=yes >"$state.$$" && mv "$state.$$" "$state"
)"},
    {"sbin/kextunload", R"(#!/bin/sh
# Unloads the adapter's driver; the adapter's node goes with it.
root=${0%/sbin/*}
read -r state <"$root/state/driver"
[ "$state" = loaded=yes ] || {
    echo "(kernel) Kext not found for unload request."
    exit 3
}
echo loaded=no >"$root/state/driver.$$" && mv "$root/state/driver.$$" "$root/state/driver"
rm -f "$root/dev/tty.KeySerial1"
)"},
};

static std::string makeTemporary() {
    const char* base = getenv("TMPDIR");
    if (base == nullptr || *base == '\0') base = "/tmp";
    std::string pattern = std::string(base) + "/tarnwick-station.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) fail(pattern);
    return pattern;
}

Root::Root(const std::string& directory) : temporary_(directory.empty()) {
    const bool made = temporary_ || fs::create_directories(directory);
    path_ = fs::canonical(temporary_ ? makeTemporary() : directory);
    if (made) fs::permissions(path_, kOpenToAll);
    lock_ = Descriptor(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock_) fail(path_.string());
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK) {
        throw std::runtime_error(path_.string() + ": another station is at work there");
    }
}

Root::~Root() {
    std::error_code ignored;
    unlinkDevices();
    if (temporary_) fs::remove_all(path_, ignored);
}

// In a folder that is kept no node may be left: it would lead nowhere, or to another's pty.
void Root::unlinkDevices() const {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(path_ / "dev", ignored)) {
        if (entry.is_symlink(ignored)) fs::remove(entry.path(), ignored);
    }
}

// Written beside and moved into place, so that nobody ever reads a half of it.
template <typename Content>
void Root::writeFile(const std::string& name, const Content& content, fs::perms mode) const {
    const fs::path beside = path_ / (name + ".part");
    std::ofstream stream(beside, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream) fail(beside.string());
    fs::permissions(beside, mode);
    fs::rename(beside, path_ / name);
}

void Root::fill(const Options& options, const std::vector<std::string>& ports) {
    for (const char* folder : {"ioregistry", "dev", "usr", "usr/sbin", "sbin", "tmp", "state"}) {
        if (fs::create_directory(path_ / folder)) fs::permissions(path_ / folder, kOpenToAll);
    }
    fs::permissions(path_ / "tmp", fs::perms{01777});
    unlinkDevices();  // a station that was killed has left its own
    writeRegistry(options, ports);
    for (const auto& [name, script] : kTools) {
        // A tool that somebody put there is meant to be used.
        if (access((path_ / name).c_str(), X_OK) != 0) writeFile(name, script, kOpenToAll);
    }
    writeFile("state/driver", options.driverLoaded ? "loaded=yes\n" : "loaded=no\n");
    writeFile("host.conf",
              format("user-id %u\ntime-scale %g\n", options.userId, options.timeScale));
    watch_ = Watch::ofFolder(path_ / "state");
}

// The station's own entries are the plane, or stand behind those of a capture.
void Root::writeRegistry(const Options& options, const std::vector<std::string>& ports) const {
    const std::string whole = "ioregistry/IOService.plist";
    const std::string rest = "ioregistry/IOService-station.plist";
    const bool isAlone = options.capture.empty();
    // A copy, as the capture may be the very file that is replaced.
    if (!isAlone) writeFile(whole, std::ifstream(options.capture, std::ios::binary).rdbuf());
    if (isAlone) fs::remove(path_ / rest);
    writeFile(isAlone ? whole : rest, servicePlane(options.modules, ports));
    writeFile("ioregistry/IODeviceTree.plist", deviceTreePlane());
}

bool Root::exists() const {
    std::error_code ignored;
    return fs::is_directory(path_ / "state", ignored);
}

void Root::linkDevice(const std::string& name, const fs::path& target) const {
    const fs::path beside = path_ / "dev" / (name + ".part");
    unlinkDevice(beside.filename());
    fs::create_symlink(target, beside);
    fs::rename(beside, path_ / "dev" / name);
}

void Root::unlinkDevice(const std::string& name) const {
    std::error_code ignored;
    fs::remove(path_ / "dev" / name, ignored);
}

void Root::writeState(const std::string& name, std::string_view text) const {
    if (exists()) writeFile("state/" + name, text);
}

bool Root::driverLoaded() const {
    std::ifstream file(path_ / "state/driver");
    std::string line;
    return std::getline(file, line) && line == "loaded=yes";
}

}  // namespace station
