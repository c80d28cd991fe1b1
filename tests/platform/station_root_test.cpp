#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host.h"
#include "platform/io_registry.h"
#include "platform/simulated/simulated_registry.h"
#include "tests/support/case_text.h"
#include "tests/support/held_pty.h"

namespace {

namespace fs = std::filesystem;

std::string repeated(int count, const std::string& text) {
    std::string result;
    for (int index = 0; index < count; ++index) result += text;
    return result;
}

// A program reads its root once, so each root is looked at by a child of its own.
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
    // What `look`, run in a child, says on standard error, the folder of the captures taken out;
    // and how the child ended, unless it ended well.
    std::string said(const std::function<void()>& look) const {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            [[maybe_unused]] const FILE* file = freopen((root / "said").c_str(), "w", stderr);
            look();
            _exit(fflush(stderr));
        }
        int status = 0;
        waitpid(child, &status, 0);
        std::ostringstream text;
        text << std::ifstream(root / "said").rdbuf();
        if (status != 0) text << "ended with " << status;
        std::string result = text.str();
        const std::string folder = (root / "ioregistry/").string();
        const std::size_t place = result.find(folder);
        if (place != std::string::npos) result.erase(place, folder.size());
        return result;
    }

    fs::path root;
};

std::string textOf(property::Value value) {
    char text[64] = "";
    double number = 0;
    switch (property::KindOf(value)) {
        case property::Kind::kNone:
            return "-";
        case property::Kind::kBoolean:
            return property::BooleanValue(value) ? "yes" : "no";
        case property::Kind::kNumber:
            property::GetNumber(value, property::kFloat64, &number);
            snprintf(text, sizeof text, "%d:%.15g",
                     static_cast<int>(property::NumberByteSize(value)), number);
            return text;
        case property::Kind::kString:
            property::StringToCString(value, text, sizeof text, property::kUtf8);
            return text;
        case property::Kind::kData:
            return "data:" + std::string(reinterpret_cast<const char*>(property::DataBytes(value)),
                                         static_cast<std::size_t>(property::DataLength(value)));
        case property::Kind::kOther:
            break;
    }
    return "other";
}

// As captures.txt has it.
void describeRegistry() {
    registry::Port port = 0;
    registry::Object iterator = 0;
    if (registry::MasterPort(&port) != 0) return;
    registry::GetMatchingServices(port, registry::ServiceMatching("C"), &iterator);
    int count = 0;
    while (registry::IteratorNext(iterator) != 0) ++count;
    fprintf(stderr, "%d found:", count);
    for (const char* plane : {registry::kServicePlane, registry::kDeviceTreePlane}) {
        if (registry::CreateRecursiveIterator(port, plane, &iterator) != 0) continue;
        const char* mark = plane == registry::kServicePlane ? " " : " /";
        while (const registry::Object object = registry::IteratorNext(iterator)) {
            const std::string text = textOf(registry::EntryCreateProperty(object, "p"));
            fprintf(stderr, "%s%s", mark, text.c_str());
        }
    }
    fputs("\n", stderr);
}

struct Block {
    std::map<std::string, std::string> files;
    std::string said;
};

Block blockOf(const Case& testCase) {
    std::string file = "IOService.plist";
    Block block = {{{file, ""}}, ""};
    for (const CaseLine& line : testCase.lines) {
        if (line.mark == "|") {
            block.said += printed(line);
        } else if (line.mark == "file") {
            file = line.text;
        } else {
            block.files[file] += line.text + "\n";
        }
    }
    return block;
}

}  // namespace

TEST_F(StationRoot, GivesWhatItsCapturesHold) {
    for (const Case& testCase : readCases(TARNWICK_CAPTURES, {"%", "file", "|"})) {
        const Block block = blockOf(testCase);
        fs::remove_all(root / "ioregistry");
        fs::create_directory(root / "ioregistry");
        for (const auto& [name, capture] : block.files) write("ioregistry/" + name, capture);
        EXPECT_EQ(said(describeRegistry), block.said) << testCase.place << ": " << testCase.title;
    }
    unsetenv("TARNWICK_STATION");
    EXPECT_EQ(said(describeRegistry), "0 found:\n");
}

TEST_F(StationRoot, TakesCapturesOfOtherEncodingsAndOfAnySizeThatOneHas) {
    const std::string level = "<dict><key>IORegistryEntryChildren</key><array>";
    const auto nested = [&](int levels) {
        return "<plist><array>" + repeated(levels, level) + repeated(levels, "</array></dict>") +
               "</array></plist>";
    };
    std::string utf16 = "\xFF\xFE";
    for (const char letter : nested(1)) utf16 += {letter, '\0'};
    const std::string refused = "registry capture IOService.plist: line 1: ";
    const std::string tooDeep = refused + "nests deeper than 1,000 levels\n";
    const struct {
        std::string capture, said;
    } cases[] = {
        {"\xEF\xBB\xBF" + nested(1), "0 found: -\n"},
        {utf16, "0 found: -\n"},
        {nested(1000), "0 found:" + repeated(1000, " -") + "\n"},
        {"<plist><array>" + repeated(1001, level + "</array></dict>") + "</array></plist>",
         "0 found:" + repeated(1001, " -") + "\n"},
        {nested(1001), tooDeep},
        {"<plist>" + level + "<dict><key>k</key>" + repeated(100000, "<array>"), tooDeep},
        {"bplist00" + std::string(16370, 'x') + "NSKeyedArchiver",
         "registry capture IOService.plist: the archive of a registry viewer, not a capture; "
         "take one on that Mac with ioreg -a -l\n"},
        {"<!--" + std::string(2 << 20, 'x') + "--><plist/>",
         refused + "a tag or comment of more than 1 MiB\n"},
    };
    for (const auto& testCase : cases) {
        write("ioregistry/IOService.plist", testCase.capture);
        EXPECT_EQ(said(describeRegistry), testCase.said);
    }
    fs::resize_file(root / "ioregistry/IOService.plist", (256 << 20) + 1);
    EXPECT_EQ(said(describeRegistry),
              "registry capture IOService.plist: larger than any capture (256 MiB)\n")
        << "read, it is no XML";
}

static std::string keyed(const char* key, const std::string& type, const std::string& value) {
    return std::string("<key>") + key + "</key><" + type + ">" + value + "</" + type + ">";
}

// What ioreg adds to an entry is no property of it.
static constexpr const char* kAdded[] = {"IOObjectRetainCount", "IOServiceState",
                                         "IOServiceBusyState", "IOServiceBusyTime"};

// The children of the entry at `path`, and theirs, under names and locations that make paths hard.
// Each has the number of its path and its name as properties.
static std::string childrenOf(const std::string& path, int levels,
                              std::vector<std::string>* paths) {
    constexpr std::pair<const char*, const char*> kPlaces[] = {
        {"Mouse / Boot", "1d"}, {"Mouse / Boot", "14100000,1"}, {"a@b:c", nullptr}, {"n", "0"},
        {"@home", "00000002"},  {"Apple\u2019s/", "ffffffff"}};
    std::string text;
    for (const auto& [name, location] : kPlaces) {
        std::string own = path + "/" + name;
        if (location != nullptr) own += std::string("@") + location;
        paths->push_back(own);
        text += "<dict>" + keyed("p", "integer", std::to_string(paths->size())) +
                keyed("t", "string", name) + keyed("IORegistryEntryName", "string", name);
        for (const char* key : kAdded) text += keyed(key, "integer", "1");
        if (location != nullptr) text += keyed("IORegistryEntryLocation", "string", location);
        if (levels > 1) {
            text += keyed("IORegistryEntryChildren", "array", childrenOf(own, levels - 1, paths));
        }
        text += "</dict>";
    }
    return text;
}

TEST_F(StationRoot, FindsEveryEntryByThePathThatTheMacPrints) {
    std::vector<std::string> paths;
    const std::string capture =
        "<plist><array><dict>" +
        keyed("IORegistryEntryChildren", "array", childrenOf("", 4, &paths)) +
        "</dict></array></plist>";
    write("ioregistry/IOService.plist", capture);
    write("ioregistry/IODeviceTree.plist", capture);
    const auto findAll = [&] {
        registry::Port port = 0;
        registry::MasterPort(&port);
        for (std::size_t index = 0; index < 2 * paths.size(); ++index) {
            const std::string& path = paths[index / 2];
            const std::string plane = index % 2 == 0 ? "IOService:" : "IODeviceTree:";
            const registry::Object entry = registry::EntryFromPath(port, (plane + path).c_str());
            const auto valueOf = [&](const char* key) {
                return entry == 0 ? nullptr : registry::EntryCreateProperty(entry, key);
            };
            bool isRight = textOf(valueOf("p")) == "4:" + std::to_string(index / 2 + 1);
            for (const char* key : kAdded) isRight = isRight && valueOf(key) == nullptr;
            if (isRight && path.ends_with("ffffffff")) {
                char text[32];
                property::StringToCString(valueOf("t"), text, sizeof text, property::kMacRoman);
                isRight = std::string(text) == "Apple\xD5s/";
            }
            if (!isRight) fprintf(stderr, "%s%s\n", plane.c_str(), path.c_str());
        }
    };
    EXPECT_EQ(said(findAll), "");
}

// What else is wrong with a root ends the run as well, and nobody waits for a FIFO's writer.
TEST_F(StationRoot, RefusesARootThatCannotBeRead) {
    const fs::path capture = root / "ioregistry/IOService.plist";
    const std::function<void(const fs::path&)> replacements[] = {
        [](const fs::path& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); },
        [](const fs::path& path) { fs::create_directory(path); },
        [](const fs::path& path) { fs::create_symlink("/dev/zero", path); },
    };
    for (const char* file :
         {"ioregistry/IOService.plist", "ioregistry/IOService-x.plist", "host.conf"}) {
        for (const auto& replace : replacements) {
            write(capture, "<plist><array/></plist>");
            fs::remove(root / file);
            replace(root / file);
            const std::string text = said(describeRegistry);
            EXPECT_NE(text.find(": not a regular file"), std::string::npos) << text;
            EXPECT_EQ(text.find("found"), std::string::npos) << file;
            fs::remove(root / file);
        }
    }
    fs::remove(capture);
    EXPECT_EQ(said(describeRegistry),
              "registry capture IOService.plist: No such file or directory\n");
    setenv("TARNWICK_STATION", ("/" + std::string(5000, 'x')).c_str(), 1);
    EXPECT_EQ(said(describeRegistry),
              "TARNWICK_STATION: the path is too long: make a shorter one\n");
}

TEST_F(StationRoot, MapsDevicesAndTools) {
    write("dev/cu.x", "");
    EXPECT_TRUE(host::IsReadable("/dev/cu.x"));
    EXPECT_FALSE(host::IsReadable("/dev/null")) << "the host's own device is out of reach";
    EXPECT_TRUE(host::IsReadable((root / "dev/cu.x").c_str()));
    for (const std::string tool : {"kextload", "kextunload"}) {
        write("sbin/" + tool, "#!/bin/sh\necho $0 \"$@\"; exit 3\n");
        fs::permissions(root / "sbin" / tool, fs::perms{0755});
        const std::string line = "/sbin/" + tool + " \"/D/N.kext\" >> /tmp/" + tool + ".log 2>&1";
        EXPECT_EQ(host::RunShell(line.c_str()), 3 << 8);
        std::ifstream log(root / "tmp" / (tool + ".log"));
        std::string logged;
        std::getline(log, logged);
        EXPECT_EQ(logged, (root / "sbin" / tool).string() + " /D/N.kext");
    }
    unsetenv("TARNWICK_STATION");
    EXPECT_EQ(host::RunShell("true"), 127 << 8);
}

TEST_F(StationRoot, ReadsHostConf) {
    const std::string own = "user " + std::to_string(getuid());
    const std::string refused = "host.conf: not understood: ";
    const struct {
        std::string conf;
        std::string said;
    } cases[] = {
        {"user-id 501\ntime-scale 0\n", "user 501"},
        {"# a note\n\n  user-id\t7\r\ntime-scale 0.001", "user 7"},
        {"user-id x\nuser-id 1 2\nuser-id -1\nuser-id 4294967296\n",
         refused + "user-id x\n" + refused + "user-id 1 2\n" + refused + "user-id -1\n" + refused +
             "user-id 4294967296\n" + own},
        {"", own},
        {std::string(1000, '\n') + "user-id 7",
         "host.conf: what is behind line 1000 is not read\n" + own},
    };
    for (const auto& testCase : cases) {
        write("host.conf", testCase.conf);
        EXPECT_EQ(said([] { fprintf(stderr, "user %u", host::RealUserId()); }), testCase.said);
    }
    // Of any size, and without a line's end in it.
    fs::resize_file(root / "host.conf", std::uintmax_t{5} << 30);
    EXPECT_EQ(said(host::RealUserId), "host.conf: what is behind line 1000 is not read\n");
    write("host.conf", "time-scale 0\n");
    EXPECT_EQ(said([] { host::PauseMilliseconds(3600000); }), "");
}

// On a line that somebody keeps open exclusive use would last for ever; on a station's own, which
// is replaced, it keeps the next user away until then.
TEST_F(StationRoot, TakesExclusiveUseOffALineThatOutlivesItsUser) {
    for (const bool isStations : {false, true}) {
        const HeldPty pty;
        const timespec never[2] = {};
        ASSERT_EQ(utimensat(AT_FDCWD, pty.path.c_str(), never, 0), 0);
        ASSERT_EQ(chmod(pty.path.c_str(), isStations ? 01666 : 0666), 0);
        fs::create_symlink(pty.path, root / "dev/cu.x");
        const int fd = host::OpenDevice("/dev/cu.x", O_RDWR | O_NOCTTY);
        EXPECT_EQ(ioctl(fd, TIOCEXCL), 0);
        host::CloseDevice(fd);
#ifdef TIOCGEXCL
        int exclusive = -1;
        EXPECT_EQ(ioctl(pty.slave, TIOCGEXCL, &exclusive), 0);
        EXPECT_EQ(exclusive != 0, isStations);
#endif
        const int next = host::OpenDevice("/dev/cu.x", O_RDWR | O_NOCTTY);
        EXPECT_EQ(next == -1, isStations);
        if (next != -1) host::CloseDevice(next);
        fs::remove(root / "dev/cu.x");
    }
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
