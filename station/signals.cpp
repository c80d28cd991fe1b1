#include "station/signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <iterator>

#include "station/failure.h"

namespace station {

using Handler = void (*)(int);

// Those that would end the program, unless they tell of its own fault.
static constexpr int kEnds[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGALRM,   SIGTERM, SIGUSR1,
                                SIGUSR2, SIGXCPU, SIGIO,   SIGVTALRM, SIGPROF};
static constexpr int kChanged[] = {SIGCHLD, SIGPIPE, SIGXFSZ};

// All three are set by catchSignals() alone.
static int signalPipe[2] = {-1, -1};
static Handler handlersBefore[std::size(kChanged)];
static sigset_t maskBefore;

static void onSignal(int signal) {
    const int saved = errno;
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t written = write(signalPipe[1], &byte, 1);
    errno = saved;
}

void catchSignals() {
    if (pipe(signalPipe) == -1) fail("pipe");
    for (const int end : signalPipe) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    for (const int signal : kEnds) {
        if (std::signal(signal, onSignal) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
    for (std::size_t index = 0; index < std::size(kChanged); ++index) {
        const bool isChild = kChanged[index] == SIGCHLD;
        handlersBefore[index] = std::signal(kChanged[index], isChild ? onSignal : SIG_IGN);
    }
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_UNBLOCK, &child, &maskBefore);
}

int signalDescriptor() {
    return signalPipe[0];
}

int takeSignal() {
    char signal = 0;
    return read(signalPipe[0], &signal, 1) == 1 ? signal : 0;
}

// The exec drops handlers by itself; what is ignored stays ignored.
void restoreSignals() {
    for (std::size_t index = 0; index < std::size(kChanged); ++index) {
        std::signal(kChanged[index], handlersBefore[index]);
    }
    sigprocmask(SIG_SETMASK, &maskBefore, nullptr);
}

}  // namespace station
