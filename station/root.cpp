#include "station/root.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
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
state=${0%/usr/sbin/*}/state/driver
driver=
[ -f "$state" ] && read -r driver <"$state"
[ "$driver" != loaded=yes ] ||
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
# Unloads the adapter's driver; the adapter's node goes with it, and first, as the next load may come
# as soon as the state is written.
root=${0%/sbin/*}
state=$root/state/driver
driver=
[ -f "$state" ] && read -r driver <"$state"
[ "$driver" = loaded=yes ] || {
    echo "(kernel) Kext not found for unload request."
    exit 3
}
rm -f "$root/dev/tty.KeySerial1"
echo loaded=no >"$state.$$" && mv "$state.$$" "$state"
)"},
};

static fs::path makeTemporary() {
    const char* base = getenv("TMPDIR");
    if (base == nullptr || *base == '\0') base = "/tmp";
    std::string pattern = (fs::canonical(base) / "tarnwick-station.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) fail(pattern);
    return pattern;
}

// The tool asks for a lock of its own, for a moment, to see whether a station is there; so one that
// is refused once may be given a little later.
static bool lock(int folder) {
    constexpr int kTries = 100;
    constexpr timespec kStep = {0, 10000000};
    for (int tries = 0; tries < kTries; ++tries) {
        if (flock(folder, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return true;
        nanosleep(&kStep, nullptr);
    }
    return false;
}

Root::Root(const std::string& directory) : temporary_(directory.empty()) {
    constexpr int kForRemoval = 4;  // as deep as the folders are
    for (int count = 0; temporary_ && count < kForRemoval; ++count) {
        reserve_.emplace_back(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
        if (!reserve_.back()) fail("descriptors");
    }
    try {
        take(directory);
    } catch (...) {
        remove();
        throw;
    }
}

void Root::take(const std::string& directory) {
    const bool isMade = temporary_ || fs::create_directories(directory);
    path_ = temporary_ ? makeTemporary() : fs::canonical(directory);
    if (isMade) fs::permissions(path_, kOpenToAll);
    folder_ = Descriptor(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder_) fail(path_.string());
    if (!lock(folder_.get())) {
        throw std::runtime_error(path_.string() + ": another station is at work there");
    }
}

Root::~Root() {
    unlinkDevices();
    remove();
}

// In a folder that is kept, or was moved away, no node may be left: it would lead nowhere, or to
// another's pty.
void Root::unlinkDevices() const {
    const int dev = openat(folder_.get(), "dev", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const entries = dev == -1 ? nullptr : fdopendir(dev);
    if (entries == nullptr) {
        if (dev != -1) close(dev);
        return;
    }
    while (const dirent* entry = readdir(entries)) {
        struct stat status = {};
        if (fstatat(dev, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISLNK(status.st_mode)) {
            unlinkat(dev, entry->d_name, 0);
        }
    }
    closedir(entries);
}

// A driver tool that is at work may put a file into a folder that was just emptied.
void Root::remove() {
    constexpr int kTries = 200;
    constexpr timespec kStep = {0, 1000000};
    if (!temporary_ || path_.empty() || (folder_ && !isAtItsPath())) return;
    reserve_.clear();
    for (int tries = 0; tries < kTries; ++tries) {
        std::error_code problem;
        fs::remove_all(path_, problem);
        if (!problem) return;
        nanosleep(&kStep, nullptr);
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
    removeUnusualLogs();
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

// A shell that appends to a FIFO waits for a reader.
void Root::removeUnusualLogs() const {
    std::error_code ignored;
    for (const char* log : {"tmp/kextload.log", "tmp/kextunload.log"}) {
        if (!fs::is_regular_file(path_ / log, ignored)) fs::remove(path_ / log, ignored);
    }
}

bool Root::isAtItsPath() const {
    struct stat there = {};
    struct stat own = {};
    return stat(path_.c_str(), &there) == 0 && fstat(folder_.get(), &own) == 0 &&
           there.st_dev == own.st_dev && there.st_ino == own.st_ino;
}

bool Root::exists() const {
    std::error_code ignored;
    return isAtItsPath() && fs::is_directory(path_ / "state", ignored);
}

void Root::linkDevice(const std::string& name, const fs::path& target) const {
    prepareDevice(name, target);
    fs::rename(path_ / "dev" / ("." + name), path_ / "dev" / name);
}

void Root::prepareDevice(const std::string& name, const fs::path& target) const {
    const fs::path beside = path_ / "dev" / ("." + name);
    std::error_code ignored;
    if (fs::read_symlink(beside, ignored) == target) return;
    fs::remove(beside, ignored);
    fs::create_symlink(target, beside);
}

void Root::unlinkDevice(const std::string& name) const {
    std::error_code ignored;
    fs::remove(path_ / "dev" / name, ignored);
}

bool Root::hasDevice(const std::string& name) const {
    std::error_code ignored;
    return fs::is_symlink(path_ / "dev" / name, ignored);
}

void Root::writeState(const std::string& name, std::string_view text) const {
    if (exists()) writeFile("state/" + name, text);
}

bool Root::driverWasWritten() {
    const fs::path path = path_ / "state/driver";
    std::error_code ignored;
    struct stat status = {};
    stat(path.c_str(), &status);
    const WrittenFile now{status.st_ino, fs::last_write_time(path, ignored)};
    return std::exchange(driverFile_, now) != now;
}

// Opening a FIFO for reading would wait for a writer.
bool Root::driverLoaded() const {
    const fs::path path = path_ / "state/driver";
    std::error_code ignored;
    if (!fs::is_regular_file(path, ignored)) return false;
    std::ifstream file(path);
    std::string line;
    return std::getline(file, line) && line == "loaded=yes";
}

}  // namespace station
