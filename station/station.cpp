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
#include <filesystem>
#include <system_error>
#include <utility>

#include "station/failure.h"
#include "station/module.h"
#include "station/registry_capture.h"
#include "station/replay.h"
#include "station/signal_generator.h"
#include "station/signals.h"

namespace station {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

static constexpr const char* kAdapter = "tty.KeySerial1";
// From the driver's load to the node.
static constexpr milliseconds kAdapterDelay{1500};
// How often the station looks where the host cannot tell of changes.
static constexpr milliseconds kLookAround{20};
// How often it looks whether its root is there: one that is moved away tells nobody.
static constexpr milliseconds kRootCheck{1000};
static constexpr milliseconds kRetry{100};

// As a word of a shell.
static std::string quoted(const std::string& text) {
    std::string word = "'";
    for (const char letter : text) word += letter == '\'' ? "'\\''" : std::string(1, letter);
    return word + "'";
}

static milliseconds scaled(milliseconds delay, double scale) {
    return std::max(milliseconds{1}, std::chrono::duration_cast<milliseconds>(delay * scale));
}

static void complain(const char* sentence) {
    fprintf(stderr, "tarnwick-station: %s\n", sentence);
}

// The options, unless the transcript would be written over a recording: once it is open, it is too
// late to notice.
static const Options& checked(const Options& options) {
    const auto check = [&](const LineSpec& line) {
        std::error_code ignored;
        const std::string& path = line.replay.path;
        if (path.empty() || !fs::equivalent(path, options.transcript, ignored)) return;
        refuse("the transcript would be written over the recording", path);
    };
    check(options.generator);
    for (const DescribedModule& module : options.modules) check(module.line);
    return options;
}

Station::Station(const Options& options)
    : options_(checked(options)),
      root_(options.root),
      transcript_(options.transcript, options.verbose) {
    const std::vector<std::string> ports = portNames(options_);
    root_.fill(options_, ports);
    // Lines are read in this order: what the generator was told first has its effect first.
    if (!options_.noGenerator) addGenerator();
    for (std::size_t index = 0; index < ports.size(); ++index) {
        addModule(options_.modules[index], ports[index], static_cast<int>(index));
    }
    driverLoaded_ = root_.driverLoaded();
    if (driverLoaded_) linkAdapter();
}

void Station::addModule(const DescribedModule& described, const std::string& port, int index) {
    const std::string node = "cu." + port;
    const auto& [spec, line] = described;
    addLine({.name = port,
             .prepare = [this, node](auto& path) { root_.prepareDevice(node, path); },
             .place = [this, node](auto& path) { root_.linkDevice(node, path); }},
            line, std::make_unique<Module>(spec, index, field_));
}

void Station::addGenerator() {
    addLine({.name = "generator",
             .prepare = [this](auto& path) { root_.prepareDevice(kAdapter, path); },
             .place = [this](auto& path) { placeAdapter(path); }},
            options_.generator, std::make_unique<SignalGenerator>(&field_));
}

// With the instrument, or what is to take its place, behind the line.
void Station::addLine(const LineSettings& settings, const LineSpec& spec,
                      std::unique_ptr<Instrument> instrument) {
    if (!spec.device.empty()) return addRelay(settings, spec, instrument->unsolicited());
    const auto& [path, name] = spec.replay;
    if (!path.empty()) {
        instrument = std::make_unique<Replay>(path, name.empty() ? settings.name : name,
                                              instrument->unsolicited());
    }
    addInstrument(settings, spec, std::move(instrument));
}

void Station::addInstrument(LineSettings settings, const LineSpec& spec,
                            std::unique_ptr<Instrument> instrument) {
    const std::string name = settings.name;
    instrument->note = [this, name](std::string_view text) { transcript_.add(name, '!', text); };
    const auto save = [this, name, &state = *instrument] { saveState(name, state); };
    save();
    instruments_.push_back(std::make_unique<InstrumentLine>(
        InstrumentLine{std::move(instrument), spec, options_.timeScale, save}));
    const SessionMaker maker = [&line = *instruments_.back()](Wire* wire) {
        return std::make_unique<InstrumentSession>(wire, line);
    };
    lines_.push_back(std::make_unique<Line>(std::move(settings), maker, &transcript_));
}

void Station::addRelay(LineSettings settings, const LineSpec& spec,
                       const std::string& unsolicited) {
    if (fs::weakly_canonical(fs::absolute(spec.device).parent_path()) == root_.path() / "dev") {
        refuse("a device of this very station", spec.device);
    }
    settings.beginsAtOpen = true;
    relays_.push_back(
        std::make_unique<RelayLine>(RelayLine{spec, unsolicited, options_.timeScale}));
    const SessionMaker maker = [&line = *relays_.back()](Wire* wire) {
        return std::make_unique<Relay>(wire, line);
    };
    lines_.push_back(std::make_unique<Line>(std::move(settings), maker, &transcript_));
}

// A disk that is full costs the state file and nothing else.
void Station::saveState(const std::string& name, const Instrument& instrument) {
    try {
        root_.writeState(name, instrument.state());
    } catch (const std::exception& error) {
        if (!std::exchange(stateFailed_, true)) complain(error.what());
    }
}

// An unload takes the node along. So when the state was written and the node is missing, the driver
// was unloaded and loaded again since the last look.
void Station::driverChanged() {
    const bool wasLoaded = driverLoaded_;
    driverLoaded_ = root_.driverLoaded();
    const bool wasWritten = root_.driverWasWritten();
    const bool isMissing = wasWritten && adapterDue_ == kNever && !root_.hasDevice(kAdapter);
    const bool wasUnloaded = wasLoaded && (!driverLoaded_ || isMissing);
    if (wasUnloaded) {
        transcript_.add("driver", '!', "unloaded");
        adapterDue_ = kNever;
        root_.unlinkDevice(kAdapter);
    }
    if (driverLoaded_ && (!wasLoaded || wasUnloaded)) {
        transcript_.add("driver", '!', "loaded");
        adapterDue_ = Clock::now() + scaled(kAdapterDelay, options_.timeScale);
    }
}

void Station::placeAdapter(const std::string& path) {
    adapter_ = path;
    if (driverLoaded_ && adapterDue_ == kNever) linkAdapter();
}

// The driver may have gone in the meantime, with nobody told yet.
void Station::linkAdapter() {
    if (adapter_.empty() || !root_.driverLoaded()) return;
    root_.linkDevice(kAdapter, adapter_);
    if (!root_.driverLoaded()) root_.unlinkDevice(kAdapter);
}

void Station::showAdapter() {
    adapterDue_ = kNever;
    try {
        linkAdapter();
        adapterFailed_ = false;
    } catch (const std::system_error& problem) {
        if (!std::exchange(adapterFailed_, true)) complain(problem.what());
        adapterDue_ = Clock::now() + kRetry;
    }
}

void Station::startCommand() {
    setenv("TARNWICK_STATION", root_.path().c_str(), 1);
    char** const words = options_.command;
    child_ = fork();
    if (child_ == -1) fail("fork");
    if (child_ != 0) return;
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif
    restoreSignals();
    execvp(words[0], words);
    fprintf(stderr, "tarnwick-station: %s: %s\n", words[0],
            std::generic_category().message(errno).c_str());
    _exit(errno == ENOENT ? 127 : 126);
}

void Station::announce() const {
    printf("export TARNWICK_STATION=%s\n", quoted(root_.path()).c_str());
    if (fflush(stdout) != 0) fail("standard output");
    if (isatty(STDERR_FILENO) == 0) return;
    fprintf(stderr,
            "Run the line above in another shell, then Tarnwick there. Interrupt to end.\n");
}

int Station::timeout() const {
    const auto now = Clock::now();
    const bool watched = root_.watchDescriptor() != -1;
    const auto look = watched ? kRootCheck : scaled(kLookAround, options_.timeScale);
    Clock::time_point due = std::min<Clock::time_point>(now + look, adapterDue_);
    for (const auto& line : lines_) due = std::min(due, line->nextDue());
    const auto left = std::chrono::ceil<milliseconds>(due - now);
    return static_cast<int>(std::max(left, milliseconds{0}).count());
}

void Station::wait() const {
    std::vector<pollfd> waits = {{signalDescriptor(), POLLIN, 0}};
    if (root_.watchDescriptor() != -1) {
        waits.push_back({root_.watchDescriptor(), POLLIN, 0});
        for (const auto& line : lines_) line->addWaits(&waits);
    }
    const int result = poll(waits.data(), static_cast<nfds_t>(waits.size()), timeout());
    if (result == -1 && errno != EINTR) fail("poll");
}

void Station::serveLines() {
    for (const auto& line : lines_) line->receive();
    const Clock::time_point now = Clock::now();
    for (const auto& line : lines_) line->advance(now);
}

void Station::lookAtRoot() {
    if (root_.driverMayHaveChanged()) driverChanged();
    if (adapterDue_ <= Clock::now()) showAdapter();
    if (status_ || root_.exists()) return;
    complain("the station root is gone");
    status_ = EXIT_FAILURE;
    if (child_ != kNoChild) kill(child_, SIGTERM);
}

void Station::handleSignals() {
    while (const int signal = takeSignal()) {
        if (signal == SIGCHLD) {
            reapCommand();
        } else if (child_ != kNoChild) {
            kill(child_, signal);  // the command decides when to end, and the station with it
            if (status_) child_ = kNoChild;
        } else if (!status_) {
            status_ = *options_.command == nullptr ? EXIT_SUCCESS : 128 + signal;
        }
    }
}

void Station::reapCommand() {
    int status = 0;
    if (child_ == kNoChild || waitpid(child_, &status, WNOHANG) != child_) return;
    child_ = kNoChild;
    if (!status_) status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int Station::serve() {
    handleSignals();  // one that came during the start ends it here
    if (status_) return *status_;
    if (*options_.command == nullptr) {
        announce();
    } else {
        startCommand();
    }
    while (!status_ || child_ != kNoChild) {
        wait();
        handleSignals();
        serveLines();
        lookAtRoot();
    }
    return *status_;
}

}  // namespace station
