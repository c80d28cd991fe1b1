#include "tests/bench/program_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

double milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

std::vector<char*> pointers(const Words& words) {
    std::vector<char*> list;
    for (const std::string& word : words) list.push_back(const_cast<char*>(word.c_str()));
    list.push_back(nullptr);
    return list;
}

std::vector<char*> wholeEnvironment(const Words& added) {
    std::vector<char*> list = pointers(added);
    list.pop_back();
    for (char** word = environ; *word != nullptr; ++word) list.push_back(*word);
    list.push_back(nullptr);
    return list;
}

bool isTerminal(pid_t process, std::uint64_t descriptor) {
    std::error_code ignored;
    const auto link = std::filesystem::read_symlink(
        "/proc/" + std::to_string(process) + "/fd/" + std::to_string(descriptor), ignored);
    return link.native().starts_with("/dev/pts/");
}

double timespecAt(pid_t process, std::uint64_t address) {
    timespec time = {};
    const iovec here = {&time, sizeof time};
    const iovec there = {reinterpret_cast<void*>(address), sizeof time};
    process_vm_readv(process, &here, 1, &there, 1, 0);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

long peakOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    while (status >> word && word != "VmHWM:") {
    }
    long peak = 0;
    status >> peak;
    return peak;
}

// Waits for the next stop of the traced program; false at its end.
bool nextStop(pid_t process, int* status) {
    return waitpid(process, status, 0) == process && !WIFEXITED(*status) && !WIFSIGNALED(*status);
}

}  // namespace

Cost runProgram(const Words& program, const Words& environment) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    const std::vector<char*> words = pointers(program);
    const std::vector<char*> variables = wholeEnvironment(environment);
    pid_t process = 0;
    int status = 0;
    rusage usage = {};
    const auto start = Clock::now();
    const int error =
        posix_spawn(&process, words[0], &actions, nullptr, words.data(), variables.data());
    if (error == 0) wait4(process, &status, 0, &usage);
    const double wall = milliseconds(Clock::now() - start);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        perror(words[0]);
        exit(EXIT_FAILURE);
    }
    return {wall, milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime)};
}

Trace traceProgram(const Words& program, const Words& environment) {
    const std::vector<char*> words = pointers(program);
    const std::vector<char*> variables = wholeEnvironment(environment);
    const pid_t process = fork();
    if (process == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        close(null);
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        execve(words[0], words.data(), variables.data());
        _exit(127);
    }
    Trace trace;
    int status = 0;
    waitpid(process, &status, 0);
    ptrace(PTRACE_SETOPTIONS, process, nullptr,
           PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    bool started = false;
    Clock::time_point entered;
    std::uint64_t call = 0;
    for (int signal = 0;; signal = 0) {
        ptrace(PTRACE_SYSCALL, process, nullptr, signal);
        if (!nextStop(process, &status)) return trace;
        if (status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8)) trace.peak = peakOf(process);
        if (status >> 8 == (SIGTRAP | PTRACE_EVENT_EXEC << 8)) started = true;
        if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
            if (WSTOPSIG(status) != SIGTRAP) signal = WSTOPSIG(status);
            continue;
        }
        __ptrace_syscall_info info = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY && started) {
            ++trace.systemCalls;
            call = info.entry.nr;
            entered = Clock::now();
            if (call == SYS_clock_nanosleep) {
                trace.pauses += timespecAt(process, info.entry.args[2]);
            }
            if (call == SYS_write && isTerminal(process, info.entry.args[0])) ++trace.commands;
        } else if (call == SYS_wait4 || call == SYS_clone || call == SYS_clone3 ||
                   call == SYS_vfork) {
            trace.shell += milliseconds(Clock::now() - entered);
            call = 0;
        }
    }
}
