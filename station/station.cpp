#include "station/station.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "station/module.h"
#include "station/signal_generator.h"

namespace station {
namespace {

constexpr const char* kAdapter = "tty.KeySerial1";
constexpr std::chrono::milliseconds kAdapterDelay{1500};  // from the driver's load to the node
constexpr std::chrono::milliseconds kLookAround{100};     // where the host cannot tell of changes
constexpr int kFirstPort = 19;
constexpr int kPortStep = 10;

// Signals and the end of the command wake the loop through a pipe.
int signalPipe[2] = {-1, -1};

void onSignal(int signal) {
    const int saved = errno;
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t written = write(signalPipe[1], &byte, 1);
    errno = saved;
}

// As a word of a shell.
std::string quoted(const std::string& text) {
    std::string word = "'";
    for (const char letter : text) word += letter == '\'' ? "'\\''" : std::string(1, letter);
    return word + "'";
}

std::chrono::milliseconds scaled(std::chrono::milliseconds delay, double scale) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(delay * scale);
}

}  // namespace

SignalCatcher::SignalCatcher() {
    if (pipe(signalPipe) == -1) throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : signalPipe) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    struct sigaction action = {};
    action.sa_handler = onSignal;
    for (const int signal :
         {SIGHUP, SIGINT, SIGQUIT, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU, SIGCHLD}) {
        sigaction(signal, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

Station::Station(const Options& options) : options_(options), root_(options.root) {
    if (!options_.transcript.empty()) transcript_.writeTo(options_.transcript);
    if (options_.verbose) transcript_.show();
    RootContent content;
    content.capture = options_.capture;
    content.timeScale = options_.timeScale;
    content.userId = options_.userId;
    content.driverLoaded = options_.driverLoaded;
    for (const ModuleSpec& spec : options_.modules) addModule(spec, &content);
    root_.fill(content);
    for (const auto& line : modules_) {
        root_.linkDevice("cu." + line->name(), line->slavePath());
        saveState(*line);
    }
    generator_ = std::make_unique<Line>("generator", std::make_unique<SignalGenerator>(&field_),
                                        options_.generatorFault, options_.timeScale, &transcript_);
    saveState(*generator_);
    for (const auto& line : modules_) watchLine(line.get());
    watchLine(generator_.get());
    watchRoot();
    driverLoaded_ = root_.driverLoaded();
    if (driverLoaded_) showAdapter();
}

void Station::addModule(const ModuleSpec& spec, RootContent* content) {
    const int index = static_cast<int>(modules_.size());
    const std::string name = "wwanCMD" + std::to_string(kFirstPort + kPortStep * index);
    modules_.push_back(std::make_unique<Line>(name, std::make_unique<Module>(spec, index, field_),
                                              spec.fault, options_.timeScale, &transcript_));
    content->ports.push_back({name, spec.productId});
}

void Station::watchLine(Line* line) {
    const std::string path = line->slavePath();
    const bool watched = watch_.users(path, [this, line, path](Watch::Event event) {
        if (path != line->slavePath()) return;  // a pty that has hung up
        if (event == Watch::Event::kWritten) return line->userWrote();
        const bool came = event == Watch::Event::kOpened;
        came ? line->userCame() : line->userWent();
        transcript_.add(line->name(), '!', came ? "open" : "close");
    });
    if (watched) line->countUsers();
}

void Station::watchRoot() {
    canWatch_ = watch_.folder((root_.path() / "state").string(), [this](Watch::Event event) {
        if (event == Watch::Event::kReplaced) driverChanged();
    });
}

void Station::saveState(const Line& line) {
    root_.writeState(line.name(), line.instrument().state());
}

void Station::driverChanged() {
    const bool loaded = root_.driverLoaded();
    if (loaded == driverLoaded_) return;
    driverLoaded_ = loaded;
    transcript_.add("driver", '!', loaded ? "loaded" : "unloaded");
    adapterDue_.reset();
    if (loaded) {
        adapterDue_ = Clock::now() + scaled(kAdapterDelay, options_.timeScale);
    } else {
        root_.unlinkDevice(kAdapter);
    }
}

// The driver may have gone again in the meantime, with nobody told yet.
void Station::showAdapter() {
    adapterDue_.reset();
    if (!options_.generator || !root_.driverLoaded()) return;
    root_.linkDevice(kAdapter, generator_->slavePath());
    if (!root_.driverLoaded()) root_.unlinkDevice(kAdapter);
}

void Station::startCommand() {
    setenv("TARNWICK_STATION", root_.path().c_str(), 1);
    std::vector<char*> words;
    for (std::string& word : options_.command) words.push_back(word.data());
    words.push_back(nullptr);
    child_ = fork();
    if (child_ == -1) throw std::system_error(errno, std::generic_category(), "fork");
    if (child_ > 0) return;
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif
    std::signal(SIGPIPE, SIG_DFL);
    execvp(words.front(), words.data());
    fprintf(stderr, "tarnwick-station: %s: %s\n", words.front(),
            std::generic_category().message(errno).c_str());
    _exit(errno == ENOENT ? 127 : 126);
}

void Station::announce() const {
    printf("export TARNWICK_STATION=%s\n", quoted(root_.path()).c_str());
    fflush(stdout);
    if (isatty(STDERR_FILENO) == 0) return;
    fprintf(stderr, "Serving %zu module(s):", modules_.size());
    for (const auto& line : modules_) fprintf(stderr, " /dev/cu.%s", line->name().c_str());
    fprintf(stderr,
            "\nRun the line above in another shell, then Tarnwick there. Interrupt to end.\n");
}

int Station::timeout() const {
    std::optional<Clock::time_point> due = adapterDue_;
    const auto consider = [&due](const Line& line) {
        const auto next = line.nextDue();
        if (next && (!due || *next < *due)) due = next;
    };
    for (const auto& line : modules_) consider(*line);
    consider(*generator_);
    if (!due) return canWatch_ ? -1 : static_cast<int>(kLookAround.count());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60000));
}

void Station::step() {
    std::vector<pollfd> waits = {{signalPipe[0], POLLIN, 0}, {watch_.descriptor(), POLLIN, 0}};
    std::vector<Line*> lines;
    for (const auto& line : modules_) lines.push_back(line.get());
    lines.push_back(generator_.get());
    for (const Line* line : lines) {
        const int events = POLLIN | (line->wantsToWrite() ? POLLOUT : 0);
        waits.push_back({line->masterDescriptor(), static_cast<short>(events), 0});
    }
    if (poll(waits.data(), waits.size(), timeout()) == -1 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "poll");
    }
    handleSignals();
    // What has been written was told of before, or is the last thing that was done to the line.
    for (Line* line : lines) line->fetch();
    watch_.dispatch();
    for (Line* line : lines) {
        if (line->receive()) saveState(*line);
    }
    const Clock::time_point now = Clock::now();
    if (adapterDue_ && *adapterDue_ <= now) showAdapter();
    for (Line* line : lines) {
        if (!line->advance(now)) continue;
        watchLine(line);
        if (line != generator_.get()) {
            root_.linkDevice("cu." + line->name(), line->slavePath());
        } else if (driverLoaded_) {
            showAdapter();
        }
        line->hangUp();
    }
    if (!canWatch_) driverChanged();
    if (!root_.exists()) {
        fprintf(stderr, "tarnwick-station: the station root is gone\n");
        status_ = EXIT_FAILURE;
    }
}

void Station::reapCommand() {
    int status = 0;
    if (child_ <= 0 || waitpid(child_, &status, WNOHANG) != child_) return;
    child_ = -1;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Station::handleSignals() {
    char signal = 0;
    while (read(signalPipe[0], &signal, 1) == 1) {
        if (signal == SIGCHLD) {
            reapCommand();
        } else if (child_ > 0) {
            kill(child_, signal);  // the command decides when to end, and the station with it
        } else if (!status_) {
            status_ = EXIT_SUCCESS;
        }
    }
}

int Station::serve() {
    if (options_.command.empty()) {
        announce();
    } else {
        startCommand();
    }
    while (!status_) step();
    if (child_ > 0) {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
    }
    return *status_;
}

}  // namespace station
