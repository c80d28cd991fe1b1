#include "station/line.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "station/text.h"

namespace station {

static constexpr std::size_t kLongestLine = 4096;
static constexpr int kReadsAtOnce = 64;  // so that one who never stops writing stops no other line

Line::Line(LineSettings settings, std::unique_ptr<Instrument> instrument, Transcript* transcript)
    : settings_(std::move(settings)),
      instrument_(std::move(instrument)),
      transcript_(transcript),
      pty_(openPty()) {
    instrument_->note = [this](std::string_view text) { note('!', text); };
    settings_.place(pty_.slavePath);
}

// The settings are made through the master: a slave that was opened and closed for them would leave
// the pty looking like one whose users have gone.
Line::Pty Line::openPty() {
    Pty pty{Descriptor(posix_openpt(O_RDWR | O_NOCTTY)), "", false};
    const int master = pty.master.get();
    termios settings = {};
    if (!pty.master || fcntl(master, F_SETFD, FD_CLOEXEC) == -1 || grantpt(master) == -1 ||
        unlockpt(master) == -1 || tcgetattr(master, &settings) == -1) {
        fail("pty");
    }
    cfmakeraw(&settings);
    tcsetattr(master, TCSANOW, &settings);
    fcntl(master, F_SETFL, O_RDWR | O_NONBLOCK);
    pty.slavePath = ptsname(master);
    // As a Mac's callout devices are.
    if (chmod(pty.slavePath.c_str(), 0666) == -1) fail(pty.slavePath);
    char byte = 0;
    pty.endCounts = ::read(master, &byte, 1) == -1 && errno == EAGAIN;
    return pty;
}

Clock::duration Line::scaled(std::chrono::duration<double> delay) const {
    return std::chrono::duration_cast<Clock::duration>(delay * settings_.timeScale);
}

Clock::time_point Line::nextChatter() const {
    const std::chrono::duration<double> seconds(settings_.chatter);
    return Clock::now() + std::max<Clock::duration>(std::chrono::milliseconds{1}, scaled(seconds));
}

Clock::time_point Line::nextDue() const {
    return pending_.empty() ? chatterDue_ : std::min(chatterDue_, pending_.begin()->first);
}

bool Line::receive() {
    taken_ = false;
    if (!read()) endTenure();
    return taken_;
}

// Takes what users have written. False when they have gone and all of it is taken.
bool Line::read() {
    for (int reads = 0; reads < kReadsAtOnce; ++reads) {
        char bytes[1024];
        const ssize_t count = ::read(masterDescriptor(), bytes, sizeof bytes);
        if (count == -1 && errno != EIO) return true;
        if (count <= 0) return !pty_.endCounts;
        pty_.endCounts = true;
        incoming_.append(bytes, static_cast<std::size_t>(count));
        takeLines();
    }
    return true;
}

void Line::takeLines() {
    for (;;) {
        const std::size_t end = incoming_.find_first_of("\r\n");
        if (end == std::string::npos) break;
        const std::string line = incoming_.substr(0, end);
        incoming_.erase(0, end + 1);
        if (!line.empty()) take(line);
    }
    if (incoming_.size() > kLongestLine) incoming_.clear();
}

void Line::take(std::string_view line) {
    note('>', line);
    taken_ = true;
    // Whoever sends a command has stopped waiting for earlier answers.
    std::erase_if(pending_, [](const auto& step) { return !step.second.hangUp; });
    const std::vector<Answer> answers = receiveWithFault(settings_.fault, instrument_.get(), line);
    if (!answers.empty() && answers.front().hangUp) incoming_.clear();  // nobody hears the rest
    Clock::time_point due = Clock::now();
    for (const Answer& answer : answers) {
        due += scaled(answer.delay);
        pending_.emplace(due, answer);
    }
    if (settings_.chatter > 0 && chatterDue_ == kNever) chatterDue_ = nextChatter();
}

// What does not fit is lost, as on a real line that nobody reads.
void Line::write(std::string_view bytes) {
    if (bytes.empty()) return;
    note('<', bytes);
    [[maybe_unused]] const ssize_t count = ::write(masterDescriptor(), bytes.data(), bytes.size());
}

void Line::advance(Clock::time_point now) {
    while (!pending_.empty() && pending_.begin()->first <= now) {
        const Answer answer = pending_.extract(pending_.begin()).mapped();
        write(answer.bytes);
        if (answer.hangUp) return hangUp();
    }
    if (chatterDue_ > now) return;
    write(instrument_->unsolicited());
    chatterDue_ = nextChatter();
}

void Line::dropTraffic() {
    incoming_.clear();
    pending_.clear();
    chatterDue_ = kNever;
}

void Line::endTenure() {
    dropTraffic();
    if (!next_.master) next_ = openPty();
    settings_.place(next_.slavePath);
    // Whoever was on the way to the old pty may have opened it by now: he keeps it, and the new one
    // is kept for later, as he, or another, may have come to that one in the meantime.
    if (read()) return settings_.place(pty_.slavePath);
    dropTraffic();
    pty_ = std::exchange(next_, {});
    note('!', kCloseNote);
}

void Line::hangUp() {
    note('!', kHangUpNote);
    dropTraffic();
    Pty next = openPty();
    settings_.place(next.slavePath);
    pty_ = std::move(next);
}

}  // namespace station
