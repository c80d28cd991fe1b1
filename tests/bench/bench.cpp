#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <numeric>
#include <random>
#include <sstream>

#include "devicetree/device_tree.h"
#include "tests/support/scripted_device.h"

// Measures programs and prints tables, columns parted by tabs, times in milliseconds, for
// scripts/bench.sh.
//
//   tarnwick-bench runs ROUNDS     what standard input lists
//   tarnwick-bench replies ROUNDS  the tool, on replies of growing length
//   tarnwick-bench captures DIR    the registry, on captures of growing size, made in DIR
//
// TARNWICK is the tool's path, TARNWICK_STATION a station with a module at cu.wwanCMD19.
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// --- Printing

using Row = std::vector<std::string>;

std::string number(double value, int digits = 2) {
    char text[64];
    snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

void printRow(const Row& row) {
    for (std::size_t column = 0; column < row.size(); ++column) {
        printf(column == 0 ? "%s" : "\t%s", row[column].c_str());
    }
    puts("");
}

// --- Runs

// The value that half of the others are below, or a quarter, or three.
double quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(static_cast<double>(values.size()) * share)];
}

double timed(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

// A program that is run many times, its output discarded.
struct Program {
    std::vector<std::string> words;
    std::vector<double> wall = {};
    std::vector<double> processor = {};  // user and system
    int status = 0;

    void run() {
        std::vector<char*> list;
        for (std::string& word : words) list.push_back(word.data());
        list.push_back(nullptr);
        posix_spawn_file_actions_t discard;
        posix_spawn_file_actions_init(&discard);
        posix_spawn_file_actions_addopen(&discard, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&discard, STDOUT_FILENO, STDERR_FILENO);
        pid_t process = -1;
        rusage usage = {};
        wall.push_back(timed([&] {
            if (posix_spawn(&process, list[0], &discard, nullptr, list.data(), environ) != 0)
                abort();
            wait4(process, &status, 0, &usage);
        }));
        posix_spawn_file_actions_destroy(&discard);
        processor.push_back(milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime));
    }

    std::string quartiles() const {
        return number(quantile(wall, 0.25)) + "-" + number(quantile(wall, 0.75));
    }
};

// A program with what a trace of it showed.
struct Subject {
    std::string name, commands, pauses, lines, calls, heap, peak, root;
    Program program = {};
};

std::istream& operator>>(std::istream& stream, Subject& subject) {
    for (std::string* field : {&subject.name, &subject.commands, &subject.pauses, &subject.lines,
                               &subject.calls, &subject.heap, &subject.peak, &subject.root}) {
        std::getline(stream, *field, '\t');
    }
    std::string line;
    std::getline(stream, line);
    std::istringstream words(line);
    for (std::string word; words >> word;) subject.program.words.push_back(word);
    return stream;
}

// All in every round, so that a disturbance hits them alike, each time in another order. The first
// is what the others are measured against, the second the shell line that some of them run.
void showRuns(int rounds) {
    std::vector<Subject> subjects;
    for (Subject subject; std::cin >> subject; subject = {}) subjects.push_back(subject);
    std::vector<std::size_t> order(subjects.size());
    std::iota(order.begin(), order.end(), 0);
    std::minstd_rand random;
    for (int round = 0; round < rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t place : order) {
            setenv("TARNWICK_STATION", subjects[place].root.c_str(), 1);
            subjects[place].program.run();
        }
    }
    printRow({"run", "exit", "commands", "pauses", "children", "wall", "quartiles", "addition",
              "less first", "CPU", "peak KiB", "calls", "heap"});
    const double first = quantile(subjects[0].program.wall, 0.5);
    const double line = quantile(subjects[1].program.wall, 0.5);
    subjects[1].lines = "0";  // what its own shell waits for is no other line
    for (const Subject& subject : subjects) {
        const Program& program = subject.program;
        const double wall = quantile(program.wall, 0.5);
        const double children = std::stoi(subject.lines) * line;
        const double addition = wall - std::stod(subject.pauses) - children;
        printRow({subject.name, std::to_string(WEXITSTATUS(program.status)), subject.commands,
                  subject.pauses, number(children), number(wall), program.quartiles(),
                  number(addition), number(addition - first),
                  number(quantile(program.processor, 0.5)), subject.peak, subject.calls,
                  subject.heap});
    }
}

// --- Replies of growing length

std::string replyOf(std::size_t length) {
    std::string reply;
    const std::string answer = "+CFUN: 1\r\n\r\nOK\r\n";
    while (reply.size() + answer.size() < length) {
        reply += std::string(std::min<std::size_t>(58, length - reply.size() - answer.size()), 'x');
        reply += "\r\n";
    }
    return reply + answer;
}

void showReplies(int rounds) {
    const fs::path node = std::string(getenv("TARNWICK_STATION")) + "/dev/cu.wwanCMD19";
    printRow({"reply bytes", "wall", "quartiles"});
    for (const std::size_t length : {20, 100, 300, 1000}) {
        const std::string reply = replyOf(length);
        ScriptedDevice device([&](const std::string&) { return ScriptedDevice::Reaction{reply}; });
        fs::remove(node);
        fs::create_symlink(device.path(), node);
        Program program = {{getenv("TARNWICK"), "-w", "/dev/cu.wwanCMD19"}};
        for (int round = 0; round < rounds; ++round) program.run();
        printRow({std::to_string(reply.size()), number(quantile(program.wall, 0.5)),
                  program.quartiles()});
    }
}

// --- Captures of growing size

// Entries of ten children each, as deep as that goes, every tenth with the property looked for.
void writeEntry(std::ofstream& file, long index, long count) {
    file << "<dict>\n<key>IORegistryEntryID</key><integer>" << 4294967296 + index
         << "</integer>\n<key>IORegistryEntryName</key><string>device" << index
         << "</string>\n<key>IOObjectClass</key><string>IOService</string>\n"
            "<key>compatible</key><data>YmVuY2gsZGV2aWNlAA==</data>\n"
            "<key>IOBusyInterest</key><string>IOCommand is not serializable</string>\n"
            "<key>vendor-id</key><integer>4523</integer>\n";
    if (index % 10 == 0) file << "<key>wanted</key><true/>\n";
    if (index * 10 + 1 < count) {
        file << "<key>IORegistryEntryChildren</key>\n<array>\n";
        for (long child = index * 10 + 1; child <= index * 10 + 10 && child < count; ++child) {
            writeEntry(file, child, count);
        }
        file << "</array>\n";
    }
    file << "</dict>\n";
}

void writeCapture(const fs::path& path, long count) {
    std::ofstream file(path);
    file << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<array>\n";
    writeEntry(file, 0, count);
    file << "</array>\n</plist>\n";
}

long walkPlane() {
    registry::Object iterator = 0;
    registry::CreateRecursiveIterator(0, registry::kServicePlane, &iterator);
    long count = 0;
    while (const registry::Object entry = registry::IteratorNext(iterator)) {
        registry::ObjectRelease(entry);
        ++count;
    }
    registry::ObjectRelease(iterator);
    return count;
}

std::uint32_t findWanted() {
    registry::Object first = 0;
    std::uint32_t count = 0;
    DT_FindDevicesWithProp("IOService:wanted", nullptr, &first, 1, &count);
    return count;
}

// What `work` measured in a process of its own: a registry is read once in a process, and a second
// parse would find the heap ready.
void measureApart(std::vector<double>* times, const std::function<std::vector<double>()>& work) {
    int ends[2];
    if (pipe(ends) == -1) abort();
    const pid_t process = fork();
    if (process == 0) {
        const std::vector<double> measured = work();
        const std::size_t size = measured.size() * sizeof(double);
        _exit(write(ends[1], measured.data(), size) == -1);
    }
    close(ends[1]);
    double measured = 0;
    for (; read(ends[0], &measured, sizeof measured) == sizeof measured; ++times) {
        times->push_back(measured);
    }
    close(ends[0]);
    waitpid(process, nullptr, 0);
}

std::vector<double> timeRegistry(long count) {
    registry::Port port = 0;
    long walked = 0;
    long found = 0;
    std::vector<double> times = {timed([&] { registry::MasterPort(&port); }),
                                 timed([&] { walked = walkPlane(); }),
                                 timed([&] { found = findWanted(); })};
    if (walked != count || found != (count + 9) / 10) abort();
    return times;
}

void showCaptures(const fs::path& root) {
    fs::create_directories(root / "ioregistry");
    setenv("TARNWICK_STATION", root.c_str(), 1);
    printRow({"entries", "load", "walk", "us/entry", "search", "us/entry", "Tarnwick -v"});
    const fs::path capture = root / "ioregistry/IOService.plist";
    for (const long count : {10, 100, 1000, 10000, 100000}) {
        writeCapture(capture, count);
        std::vector<double> times[3];  // the load, the walk, the search
        Program program = {{getenv("TARNWICK"), "-v"}};
        for (int round = 0; round < 7; ++round) {
            measureApart(times, [&] { return timeRegistry(count); });
            program.run();
        }
        const auto median = [&](int index) { return quantile(times[index], 0.5); };
        const auto each = [&](int index) {
            return number(median(index) * 1000 / static_cast<double>(count));
        };
        printRow({std::to_string(count), number(median(0)), number(median(1), 3), each(1),
                  number(median(2), 3), each(2), number(quantile(program.wall, 0.5))});
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc == 3 ? argv[1] : "";
    if (what == "runs") {
        showRuns(atoi(argv[2]));
    } else if (what == "replies") {
        showReplies(atoi(argv[2]));
    } else if (what == "captures") {
        showCaptures(argv[2]);
    } else {
        fprintf(stderr, "Usage: tarnwick-bench runs ROUNDS | replies ROUNDS | captures DIR\n");
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
