#include "station/root.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include "station/registry_capture.h"

namespace station {
namespace {

namespace fs = std::filesystem;

// The driver tools keep the driver's state in a file, which the station watches; so they work, and
// end, whether the station still runs or not.
constexpr std::string_view kKextstat = R"(#!/bin/sh
# Lists the loaded kernel extensions.
root=${0%/usr/sbin/*}
cat <<'END'
Index Refs Address            Size       Wired      Name (Version) <Linked Against>
    1   92 0xffffff7f80a3d000 0x10e0     0x10e0     com.apple.kpi.bsd (20.6.0)
   23    4 0xffffff7f81034000 0x9000     0x9000     com.apple.iokit.IOSerialFamily (11) <5 1>
END
grep -q '^loaded=yes' "$root/state/driver" &&
    echo '  141    0 0xffffff7f83a51000 0xb000     0xb000     com.tarnwick.driver.KeyspanUSAdriver (2.6.1) <23 5>'
exit 0
)";

constexpr std::string_view kKextload = R"(#!/bin/sh
# Loads the adapter's driver.
root=${0%/sbin/*}
case $1 in
*/KeyspanUSAdriver.kext) ;;
*)
    echo "$1 failed to load - (libkern/kext) not found."
    exit 71
    ;;
esac
echo loaded=yes >"$root/state/driver.new" && mv "$root/state/driver.new" "$root/state/driver"
)";

constexpr std::string_view kKextunload = R"(#!/bin/sh
# Unloads the adapter's driver; the adapter's node goes with it.
root=${0%/sbin/*}
grep -q '^loaded=yes' "$root/state/driver" || {
    echo "(kernel) Kext not found for unload request."
    exit 3
}
echo loaded=no >"$root/state/driver.new" && mv "$root/state/driver.new" "$root/state/driver"
rm -f "$root/dev/tty.KeySerial1"
)";

fs::path makeTemporary() {
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/tarnwick-station.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    // A tool that runs as another user reaches the devices, too.
    fs::permissions(pattern, fs::perms{0755});
    return pattern;
}

}  // namespace

Root::Root(const std::string& directory) : temporary_(directory.empty()) {
    if (!temporary_) fs::create_directories(directory);
    path_ = temporary_ ? makeTemporary() : fs::canonical(directory);
}

Root::~Root() {
    std::error_code ignored;
    if (temporary_) {
        fs::remove_all(path_, ignored);
    } else {
        unlinkDevices();
    }
}

// In a folder that is kept no node may be left: it would lead nowhere, or to another's pty.
void Root::unlinkDevices() const {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(path_ / "dev", ignored)) {
        if (entry.is_symlink(ignored)) fs::remove(entry.path(), ignored);
    }
}

void Root::fill(const RootContent& content) {
    for (const char* folder : {"ioregistry", "dev", "usr/sbin", "sbin", "tmp", "state"}) {
        fs::create_directories(path_ / folder);
    }
    fs::permissions(path_ / "tmp", fs::perms{01777});
    unlinkDevices();  // a station that was killed has left its own
    writeFile("ioregistry/IOService.plist", servicePlane(content));
    writeFile("ioregistry/IODeviceTree.plist", deviceTreePlane());
    writeTool("usr/sbin/kextstat", kKextstat);
    writeTool("sbin/kextload", kKextload);
    writeTool("sbin/kextunload", kKextunload);
    writeFile("state/driver", content.driverLoaded ? "loaded=yes\n" : "loaded=no\n");
    std::ostringstream conf;
    conf << "user-id " << content.userId << "\ntime-scale " << content.timeScale << "\n";
    writeFile("host.conf", conf.str());
}

bool Root::exists() const {
    std::error_code ignored;
    return fs::is_directory(path_ / "state", ignored);
}

// Written beside and moved into place, so that nobody ever reads a half of it.
void Root::writeFile(const fs::path& file, std::string_view text) const {
    const fs::path target = path_ / file;
    fs::path beside = target;
    beside += ".part";
    std::ofstream stream(beside, std::ios::binary | std::ios::trunc);
    stream << text;
    stream.close();
    if (!stream) throw std::system_error(errno, std::generic_category(), beside.string());
    fs::rename(beside, target);
}

void Root::writeTool(const std::string& name, std::string_view script) const {
    // A tool that somebody put there is meant to be used.
    if (access((path_ / name).c_str(), X_OK) == 0) return;
    writeFile(name, script);
    fs::permissions(path_ / name, fs::perms{0755});
}

void Root::linkDevice(const std::string& name, const std::string& target) const {
    const fs::path beside = path_ / "dev" / (name + ".part");
    std::error_code ignored;
    fs::remove(beside, ignored);
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
