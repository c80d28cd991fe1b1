#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/host.h"
#include "platform/io_registry.h"

namespace {

namespace fs = std::filesystem;

const std::string kHead = "<plist version=\"1.0\">";

std::string entry(const std::string& name, const std::string& more) {
    return "<dict><key>IORegistryEntryName</key><string>" + name +
           "</string><key>IOObjectClass</key><string>Class</string>" + more + "</dict>";
}

std::string children(const std::string& entries) {
    return "<key>IORegistryEntryChildren</key><array>" + entries + "</array>";
}

// The registry is read once in a run, so each capture is looked at by a child of its own, whose
// exit status is what `look` returns.
class StationRoot : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarnwick root.XXXXXX";
        root = mkdtemp(pattern);
        fs::create_directories(root / "ioregistry");
        fs::create_directories(root / "dev");
        fs::create_directories(root / "sbin");
        fs::create_directories(root / "tmp");
        setenv("TARNWICK_STATION", root.c_str(), 1);
    }
    void TearDown() override { fs::remove_all(root); }

    void write(const char* file, const std::string& text) const {
        std::ofstream(root / file, std::ios::binary) << text;
    }
    template <typename Look>
    int inChild(Look look) const {
        const pid_t child = fork();
        if (child == 0) _exit(look());
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    fs::path root;
};

// The number of entries of the class, or 100 when the registry cannot be had.
int countClass() {
    registry::Port port = 0;
    registry::Object iterator = 0;
    if (registry::MasterPort(&port) != 0) return 100;
    registry::GetMatchingServices(port, registry::ServiceMatching("Class"), &iterator);
    int count = 0;
    while (const registry::Object object = registry::IteratorNext(iterator)) {
        registry::ObjectRelease(object);
        ++count;
    }
    registry::ObjectRelease(iterator);
    return count;
}

}  // namespace

TEST_F(StationRoot, TakesWhatACaptureHolds) {
    const std::string level = entry("n", children(" "));
    const std::size_t middle = level.find(' ');
    std::string head, tail;
    for (int depth = 0; depth < 10000; ++depth) {
        head.append(level, 0, middle);
        tail.append(level, middle + 1);
    }
    const std::string deep = head + entry("leaf", "") + tail;
    std::string wide;
    for (int index = 0; index < 90; ++index) wide += entry("n", "");
    const std::string id = "<key>IORegistryEntryID</key><integer>5</integer>";
    const struct {
        const char* what;
        std::string capture;
        int count;  // of the entries that are found
    } cases[] = {
        {"a dictionary",
         kHead + entry("Root", children(entry("a", children(entry("b", ""))))) + "</plist>", 2},
        {"an array", kHead + "<array>" + entry("a", "") + entry("b", "") + "</array></plist>", 2},
        {"many children", kHead + "<array>" + wide + "</array></plist>", 90},
        {"the same entry twice",
         kHead + "<array>" + entry("a", id) + entry("b", id) + "</array></plist>", 1},
        {"a child that is no dictionary",
         kHead + "<array><string>x</string>" + entry("a", "") +
             "<date>2020-01-01T00:00:00Z</date></array></plist>",
         1},
        {"children that are no array",
         kHead + "<array>" + entry("a", "<key>IORegistryEntryChildren</key><true/>") +
             "</array></plist>",
         1},
        {"a name that is no string",
         kHead + "<array><dict><key>IORegistryEntryName</key><integer>1</"
                 "integer><key>IOObjectClass</key><array/></dict></array></plist>",
         0},
        {"no entries", kHead + "<dict/></plist>", 0},
        {"nothing", "", 100},
        {"a piece", kHead + "<dict><key>IOR", 100},
        {"text", "Index Refs Address", 100},
        {"a string", kHead + "<string>x</string></plist>", 100},
        {"a damaged binary", "bplist00\xD1\x01\x02" + std::string(40, '\xFF'), 100},
    };
    for (const auto& example : cases) {
        write("ioregistry/IOService.plist", example.capture);
        EXPECT_EQ(inChild(countClass), example.count) << example.what;
    }
    write("ioregistry/IOService.plist", kHead + "<array>" + deep + "</array></plist>");
    EXPECT_EQ(inChild([] { return countClass() % 255; }), 10001 % 255) << "deep nesting";
    fs::remove(root / "ioregistry/IOService.plist");
    EXPECT_EQ(inChild(countClass), 100) << "missing";
    unsetenv("TARNWICK_STATION");
    EXPECT_EQ(inChild(countClass), 0) << "no station";
}

TEST_F(StationRoot, HandsOutNumbersAsTheRegistryDoes) {
    write("ioregistry/IOService.plist",
          kHead + "<array>" +
              entry("a",
                    "<key>n</key><integer>4000000000</integer>"
                    "<key>w</key><integer>5000000000</integer>"
                    "<key>h</key><integer>99999999999999999999999</integer>"
                    "<key>s</key><string>caf\xC3\xA9</string>"
                    "<key>x</key><array/>") +
              "</array></plist>");
    EXPECT_EQ(inChild([] {
                  registry::Port port = 0;
                  registry::MasterPort(&port);
                  const registry::Object object = registry::EntryFromPath(port, "IOService:/a");
                  using property::Kind;
                  const auto is = [&](const char* name, Kind kind, std::int64_t size) {
                      const property::Value value = registry::EntryCreateProperty(object, name);
                      const bool right = property::KindOf(value) == kind;
                      return right &&
                             (kind != Kind::kNumber || property::NumberByteSize(value) == size);
                  };
                  return is("n", Kind::kNumber, 4) && is("w", Kind::kNumber, 8) &&
                                 property::KindOf(registry::EntryCreateProperty(object, "h")) ==
                                     Kind::kNumber &&
                                 is("s", Kind::kString, 0) && is("x", Kind::kOther, 0) &&
                                 is("IORegistryEntryName", Kind::kNone, 0)
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(StationRoot, MapsDevicesAndTools) {
    write("dev/cu.x", "");
    EXPECT_TRUE(host::IsReadable("/dev/cu.x"));
    EXPECT_FALSE(host::IsReadable("/dev/null")) << "the host's own device is out of reach";
    EXPECT_FALSE(host::IsReadable("cu.x"));
    const int fd = host::OpenDevice("/dev/cu.x", O_RDWR);
    EXPECT_NE(fd, -1);
    close(fd);
    write("sbin/kextload", "#!/bin/sh\necho loading \"$@\"; exit 3\n");
    fs::permissions(root / "sbin/kextload", fs::perms{0755});
    EXPECT_EQ(host::RunShell("/sbin/kextload \"/D/N.kext\" >> /tmp/kextload.log 2>&1"), 3 << 8);
    std::ifstream log(root / "tmp/kextload.log");
    std::string line;
    std::getline(log, line);
    EXPECT_EQ(line, "loading /D/N.kext");
    unsetenv("TARNWICK_STATION");
    EXPECT_EQ(host::RunShell("/sbin/kextload x"), 127 << 8);
}

TEST_F(StationRoot, ReadsHostConf) {
    const struct {
        const char* conf;
        std::uint32_t userId;
    } cases[] = {{"user-id 501\ntime-scale 0\n", 501},
                 {"# a note\n\n  user-id\t7\r\ntime-scale 0.001", 7},
                 {"user-id x\nnonsense\ntime-scale 0\nuser-id -1\n", getuid()},
                 {"", getuid()}};
    for (const auto& example : cases) {
        write("host.conf", example.conf);
        EXPECT_EQ(inChild([&] { return host::RealUserId() == example.userId ? 0 : 1; }), 0)
            << example.conf;
    }
    write("host.conf", "time-scale 0\n");
    EXPECT_EQ(inChild([] {
                  alarm(5);
                  host::PauseMilliseconds(3600000);
                  return 0;
              }),
              0);
}
