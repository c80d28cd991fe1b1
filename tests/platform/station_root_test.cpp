#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/host.h"
#include "platform/io_registry.h"
#include "platform/simulated/simulated_registry.h"

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

std::string repeated(int count, const std::string& text) {
    std::string result;
    for (int index = 0; index < count; ++index) result += text;
    return result;
}

// Entries that nest `levels` deep.
std::string nested(int levels) {
    const std::string level = entry("n", children(" "));
    const std::size_t middle = level.find(' ');
    return kHead + "<array>" + repeated(levels - 1, level.substr(0, middle)) + entry("leaf", "") +
           repeated(levels - 1, level.substr(middle + 1)) + "</array></plist>";
}

// The registry is read once in a run, so each capture is looked at by a child of its own, whose
// exit status is what `look` returns and whose standard error stays in the file "said".
class StationRoot : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarnwick root.XXXXXX";
        root = mkdtemp(pattern);
        for (const char* folder : {"ioregistry", "dev", "sbin", "tmp"}) {
            fs::create_directories(root / folder);
        }
        setenv("TARNWICK_STATION", root.c_str(), 1);
    }
    void TearDown() override { fs::remove_all(root); }

    void write(const fs::path& file, const std::string& text) const {
        std::ofstream(root / file, std::ios::binary) << text;
    }
    template <typename Look>
    int inChild(Look look) const {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            [[maybe_unused]] const FILE* said = freopen((root / "said").c_str(), "w", stderr);
            const int result = look();
            fflush(stderr);
            _exit(result);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    std::string said() const {
        std::ostringstream text;
        text << std::ifstream(root / "said").rdbuf();
        return text.str();
    }

    fs::path root;
};

constexpr int kNoRegistry = 255;

// The number of entries of the class, or kNoRegistry when the registry cannot be had.
int countClass() {
    registry::Port port = 0;
    registry::Object iterator = 0;
    if (registry::MasterPort(&port) != 0) return kNoRegistry;
    registry::GetMatchingServices(port, registry::ServiceMatching("Class"), &iterator);
    int count = 0;
    while (const registry::Object object = registry::IteratorNext(iterator)) {
        registry::ObjectRelease(object);
        ++count;
    }
    registry::ObjectRelease(iterator);
    return count % 256;
}

}  // namespace

TEST_F(StationRoot, TakesWhatACaptureHolds) {
    const std::string id = "<key>IORegistryEntryID</key><integer>5</integer>";
    const std::string utf8 = kHead + "<array>" + entry("a", "") + "</array></plist>";
    std::string utf16 = "\xFF\xFE";
    for (const char letter : utf8) utf16 += {letter, '\0'};
    const struct {
        const char* what;
        std::string capture;
        int count;  // of the entries that are found
    } cases[] = {
        {"a dictionary",
         kHead + entry("Root", children(entry("a", children(entry("b", ""))))) + "</plist>", 2},
        {"an array", kHead + "<array>" + entry("a", "") + entry("b", "") + "</array></plist>", 2},
        {"the same entry twice",
         kHead + "<array>" + entry("a", id) + entry("b", id) + "</array></plist>", 1},
        {"the id behind the children",
         kHead + "<array>" + entry("a", children(entry("b", "")) + id) + entry("a", id) +
             "</array></plist>",
         2},
        {"containers and entities as values",
         kHead + "<array>" +
             entry("a",
                   "<key>v</key><dict><key>IOObjectClass</key><array>"
                   "<string>Class</string><dict/></array></dict>") +
             entry("b", "<key>v</key><string>&#128246;&lt;</string>") + "</array></plist>",
         2},
        {"no entries", kHead + "<array/></plist>", 0},
        {"a byte order mark", "\xEF\xBB\xBF" + utf8, 1},
        {"UTF-16", utf16, 1},
        {"a thousand levels", nested(1000), 1000 % 256},
    };
    for (const auto& testCase : cases) {
        write("ioregistry/IOService.plist", testCase.capture);
        EXPECT_EQ(inChild(countClass), testCase.count) << testCase.what << said();
    }
    unsetenv("TARNWICK_STATION");
    EXPECT_EQ(inChild(countClass), 0) << "no station";
}

TEST_F(StationRoot, RefusesWhatIsNoCapture) {
    const std::string list = kHead + "<array>";
    const std::string notEntries =
        "a property list, but not of registry entries; take the capture with ioreg -a -l";
    const struct {
        std::string content, said;
    } cases[] = {
        {"", "empty; take the capture with ioreg -a -l"},
        {"bplist00\xD1\x01", "a binary property list; make it XML with plutil -convert xml1"},
        {"+-o Root  <class IORegistryEntry>\n",
         "the text that ioreg prints without -a; take the capture with ioreg -a -l"},
        {kHead + "<dict><key>$archiver</key><string>NSKeyedArchiver</string></dict></plist>",
         "the archive of a registry viewer, not a capture; take one on that Mac with ioreg -a -l"},
        {kHead + "\n<dict><key>IOObj",
         "line 2: ends too early; not the XML that ioreg -a -l prints"},
        {kHead + "\n<dict></array>\n",
         "line 2: mismatched tag; not the XML that ioreg -a -l prints"},
        {"<html></html>", "line 1: <html>: no property list; take the capture with ioreg -a -l"},
        {kHead + "</plist>", notEntries},
        {kHead + "\n<string>x</string></plist>", "line 2: " + notEntries},
        {kHead + "<dict><key>CFBundleName</key><string>x</string></dict></plist>",
         "line 1: " + notEntries},
        {list + "<string>x</string></array></plist>", "line 1: " + notEntries},
        {list + entry("a", "<key>IORegistryEntryChildren</key><true/>") + "</array></plist>",
         "line 1: " + notEntries},
        {list + entry("a", "<key>k</key><key>k</key>") + "</array></plist>",
         "line 1: no key and value in turn"},
        {list + entry("a", "<key>k</key><u/>") + "</array></plist>",
         "line 1: <u>: no property list has it here"},
        {"<!DOCTYPE plist [<!ENTITY a \"b\">]>" + kHead,
         "declares entities, which no capture does"},
        {"<!--" + std::string(2 << 20, 'x') + "-->" + kHead,
         "line 1: a tag or comment of more than 1 MiB"},
        {nested(1001), "line 1: nests deeper than 1,000 levels"},
        {list + entry("a", "<key>k</key>" + repeated(100000, "<array>")),
         "line 1: nests deeper than 1,000 levels"},
    };
    const fs::path capture = root / "ioregistry/IOService.plist";
    const std::string prefix = "registry capture " + capture.string() + ": ";
    for (const auto& testCase : cases) {
        write(capture, testCase.content);
        EXPECT_EQ(inChild(countClass), kNoRegistry);
        EXPECT_EQ(said(), prefix + testCase.said + "\n");
    }
    fs::remove(capture);
    EXPECT_EQ(inChild(countClass), kNoRegistry);
    EXPECT_EQ(said(), prefix + "No such file or directory\n");
    fs::create_symlink("/dev/zero", capture);
    EXPECT_EQ(inChild(countClass), kNoRegistry);
    EXPECT_EQ(said(), prefix + "not a regular file\n");
}

// What else is wrong with a root ends the run as well, and nobody waits for a FIFO's writer.
TEST_F(StationRoot, RefusesARootThatCannotBeRead) {
    const fs::path capture = root / "ioregistry/IOService.plist";
    write(capture, kHead + "<array/></plist>");
    for (const char* file : {"ioregistry/IOService-x.plist", "host.conf"}) {
        const fs::path path = root / file;
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        EXPECT_EQ(inChild(countClass), kNoRegistry);
        EXPECT_NE(said().find(path.string() + ": not a regular file"), std::string::npos) << said();
        fs::remove(path);
        fs::create_directory(path);
        EXPECT_EQ(inChild(countClass), kNoRegistry);
        EXPECT_NE(said().find(path.string() + ": not a regular file"), std::string::npos) << said();
        fs::remove(path);
    }
    EXPECT_EQ(inChild(countClass), 0);
    setenv("TARNWICK_STATION", ("/" + std::string(5000, 'x')).c_str(), 1);
    EXPECT_EQ(inChild(countClass), kNoRegistry);
    EXPECT_EQ(said(), "TARNWICK_STATION: the path is too long: make a shorter one\n");
}

// A walk hands out an entry at each of its places and goes below it once; a match finds it once.
TEST_F(StationRoot, WalksThroughAnEntryOnce) {
    const auto id = [](int number) {
        return "<key>IORegistryEntryID</key><integer>" + std::to_string(number) + "</integer>";
    };
    const std::string twice = children(entry("x", id(5) + children(entry("y", id(6)))));
    write("ioregistry/IOService.plist",
          kHead + "<array>" + entry("a", twice) + entry("b", twice) + "</array></plist>");
    EXPECT_EQ(inChild(countClass), 4);
    EXPECT_EQ(inChild([] {
                  registry::Port port = 0;
                  registry::Object iterator = 0;
                  registry::MasterPort(&port);
                  registry::CreateRecursiveIterator(port, "IOService", &iterator);
                  int count = 0;
                  while (registry::IteratorNext(iterator) != 0) ++count;
                  return count;
              }),
              5);
}

// Further files stand behind the first, in the order of their names.
TEST_F(StationRoot, ReadsSeveralFilesAsOnePlane) {
    const auto withClass = [](const char* name) {
        return kHead + "<dict>" + children(entry(name, "")) + "</dict></plist>";
    };
    write("ioregistry/IOService-b.plist", withClass("c"));
    write("ioregistry/IOService-a.plist", withClass("b"));
    write("ioregistry/IOService.plist", withClass("a"));
    write("ioregistry/IOService-z.plist.part", "");
    EXPECT_EQ(inChild([] {
                  registry::Port port = 0;
                  registry::MasterPort(&port);
                  registry::Object iterator = 0;
                  registry::CreateRecursiveIterator(port, "IOService", &iterator);
                  for (const char* name : {"a", "b", "c"}) {
                      registry::Object match = 0;
                      registry::GetMatchingServices(port, registry::ServiceNameMatching(name),
                                                    &match);
                      const registry::Object named = registry::IteratorNext(match);
                      if (named == 0 || named != registry::IteratorNext(iterator)) return 1;
                  }
                  return registry::IteratorNext(iterator) == 0 ? 0 : 2;
              }),
              0);
}

TEST_F(StationRoot, HandsOutNumbersAsTheRegistryDoes) {
    write("ioregistry/IOService.plist",
          kHead + "<array>" +
              entry("machine",
                    "<key>n</key><integer>4000000000</integer>"
                    "<key>w</key><integer>5000000000</integer>"
                    "<key>h</key><integer>99999999999999999999999</integer>"
                    "<key>s</key><string>caf\xC3\xA9</string>"
                    "<key>x</key><array/>") +
              "</array></plist>");
    EXPECT_EQ(inChild([] {
                  registry::Port port = 0;
                  registry::MasterPort(&port);
                  const registry::Object object = registry::EntryFromPath(port, "IOService:/");
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
    for (const std::string tool : {"kextload", "kextunload"}) {
        write("sbin/" + tool, "#!/bin/sh\necho $0 \"$@\"; exit 3\n");
        fs::permissions(root / "sbin" / tool, fs::perms{0755});
        const std::string line = "/sbin/" + tool + " \"/D/N.kext\" >> /tmp/" + tool + ".log 2>&1";
        EXPECT_EQ(host::RunShell(line.c_str()), 3 << 8);
        std::ifstream log(root / "tmp" / (tool + ".log"));
        std::string said;
        std::getline(log, said);
        EXPECT_EQ(said, (root / "sbin" / tool).string() + " /D/N.kext");
    }
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

// The test of the tests: leaks and over-releases must show.
TEST(References, AreCounted) {
    simulated::ClearRegistry();
    const auto entry =
        simulated::AddEntry(registry::kServicePlane, simulated::kRoot, {"n", "Class"});
    const registry::Object object = simulated::HandOut(entry);
    EXPECT_EQ(simulated::LiveObjects(), 1U);
    registry::ObjectRelease(object);
    EXPECT_EQ(simulated::LiveObjects(), 0U);
    registry::ObjectRelease(object);
    EXPECT_EQ(registry::EntryCreateProperty(object, "p"), nullptr);
    EXPECT_EQ(simulated::Misuses(), 2U);
    simulated::ClearRegistry();
}
