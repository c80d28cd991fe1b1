#include "tests/program/station_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/case_text.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

struct Started {
    pid_t process = -1;
    int output = -1;
    int errors = -1;  // -1: left where it is
};

Started start(const std::vector<std::string>& program, const std::vector<std::string>& environment,
              bool takeErrors) {
    int output[2];
    int errors[2];
    if (pipe(output) == -1 || pipe(errors) == -1) std::abort();
    for (const int end : {output[0], output[1], errors[0], errors[1]}) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    Started started{fork(), output[0], errors[0]};
    if (started.process == 0) {
        // A program built for coverage would tell of counts that it cannot write, on a full disk.
        setenv("GCOV_ERROR_FILE", "/dev/null", 0);
        for (const std::string& word : environment) putenv(const_cast<char*>(word.c_str()));
        // A shell's background job starts with these ignored, and so would the program.
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT}) ::signal(signal, SIG_DFL);
        dup2(output[1], STDOUT_FILENO);
        if (takeErrors) dup2(errors[1], STDERR_FILENO);
        std::vector<char*> words;
        for (const std::string& word : program) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        execvp(words.front(), words.data());
        _exit(127);
    }
    close(output[1]);
    close(errors[1]);
    return started;
}

int shellStatus(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Appends what there is to read; false at the end.
bool drain(int descriptor, std::string* text) {
    char bytes[4096];
    const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
    if (count > 0) text->append(bytes, static_cast<std::size_t>(count));
    return count > 0;
}

std::string variable(const char* name, const std::string& otherwise) {
    const char* value = std::getenv(name);
    return value == nullptr ? otherwise : value;
}

std::string programFolder() {
    return variable("TARNWICK_PROGRAMS", TARNWICK_PROGRAM_FOLDER);
}

std::vector<std::string> toolCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = wordsOf(variable("TARNWICK_UNDER", ""));
    command.push_back(toolPath());
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Takes all that the program prints and its end; it is killed by SIGTERM after `limit` seconds.
ToolRun finish(const Started& started, double limit) {
    const auto end = Clock::now() + std::chrono::duration<double>(limit);
    ToolRun run;
    pollfd waits[] = {{started.output, POLLIN, 0}, {started.errors, POLLIN, 0}};
    std::string* const texts[] = {&run.output, &run.errors};
    while (waits[0].fd != -1 || waits[1].fd != -1) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0 || poll(waits, 2, static_cast<int>(left)) == 0) {
            kill(started.process, SIGTERM);
            break;
        }
        for (int index = 0; index < 2; ++index) {
            if (waits[index].fd == -1 || waits[index].revents == 0) continue;
            if (!drain(waits[index].fd, texts[index])) waits[index].fd = -1;
        }
    }
    int status = 0;
    rusage usage = {};
    wait4(started.process, &status, 0, &usage);
    close(started.output);
    close(started.errors);
    run.status = shellStatus(status);
    run.processorSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    return run;
}

}  // namespace

std::string toolPath() {
    return programFolder() + "/Tarnwick";
}

std::string stationPath() {
    return programFolder() + "/tarnwick-station";
}

ToolRun runProgram(const std::vector<std::string>& program,
                   const std::vector<std::string>& environment, double limit) {
    return finish(start(program, environment, true), limit);
}

TestStation::TestStation(std::vector<std::string> options, double timeScale) {
    std::string pattern = variable("TMPDIR", "/tmp") + "/tarnwick-test-XXXXXX";
    root_ = fs::canonical(mkdtemp(pattern.data()));
    std::vector<std::string> command = {stationPath(), "--root=" + root_,
                                        "--transcript=" + root_ + "/transcript",
                                        "--time-scale=" + std::to_string(timeScale)};
    command.insert(command.end(), options.begin(), options.end());
    const Started started = start(command, {}, false);
    process_ = started.process;
    output_ = started.output;
    close(started.errors);
    // It says that it serves once it does.
    std::string announced;
    while (announced.find('\n') == std::string::npos && drain(output_, &announced)) {
    }
    EXPECT_EQ(announced, "export TARNWICK_STATION='" + root_ + "'\n");
}

TestStation::~TestStation() {
    stop();
    fs::remove_all(root_);
}

int TestStation::stop(int signal) {
    if (process_ == -1) return status_;
    kill(process_, signal);
    int status = 0;
    waitpid(process_, &status, 0);
    status_ = shellStatus(status);
    process_ = -1;
    close(output_);
    return status_;
}

ToolRun TestStation::tool(const std::vector<std::string>& arguments, double limit) const {
    return runProgram(toolCommand(arguments), {"TARNWICK_STATION=" + root_}, limit);
}

ToolRun TestStation::shell(const std::string& script) const {
    ToolRun run = runProgram(
        {"sh", "-c", "cd \"$TARNWICK_STATION/tmp\"\n" + script},
        {"TARNWICK_STATION=" + root_, "PATH=" + programFolder() + ":" + variable("PATH", "")});
    for (std::string* text : {&run.output, &run.errors}) {
        for (std::size_t at = 0; (at = text->find(root_, at)) != std::string::npos;) {
            text->replace(at, root_.size(), "ROOT");
        }
    }
    return run;
}

pid_t TestStation::startTool(const std::vector<std::string>& arguments) const {
    const Started started = start(toolCommand(arguments), {"TARNWICK_STATION=" + root_}, true);
    close(started.output);
    close(started.errors);
    return started.process;
}

ToolRun TestStation::toolUntil(const std::vector<std::string>& arguments, const std::string& line,
                               double limit) const {
    const Started started = start(toolCommand(arguments), {"TARNWICK_STATION=" + root_}, true);
    waitFor(line);
    return finish(started, limit);
}

std::string TestStation::read(const std::string& name) const {
    std::ifstream file(root_ + "/" + name);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void TestStation::write(const std::string& name, const std::string& content) const {
    const fs::path path = root_ + "/" + name;
    std::ofstream(path) << content;
    fs::permissions(path, fs::perms::owner_exec, fs::perm_options::add);
}

std::vector<std::string> TestStation::transcript() const {
    std::istringstream file(read("transcript"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line.substr(std::min(line.find(' '), line.size() - 1) + 1));
    }
    return lines;
}

void TestStation::waitFor(const std::string& start) const {
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (Clock::now() < end) {
        for (const std::string& line : transcript()) {
            if (line.starts_with(start)) return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ADD_FAILURE() << "not seen in the transcript: " << start;
}

std::map<std::string, std::string> TestStation::wires() {
    stop();
    std::map<std::string, std::string> wires;
    for (const std::string& entry : transcript()) {
        const std::size_t nameEnd = entry.find(' ');
        if (nameEnd == std::string::npos || entry.compare(nameEnd, 3, " > ") != 0) continue;
        std::string& commands = wires[entry.substr(0, nameEnd)];
        commands += (commands.empty() ? "" : " ") + entry.substr(nameEnd + 3);
    }
    return wires;
}
