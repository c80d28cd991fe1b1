#include "station/line.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace station {
namespace {

constexpr std::size_t kLongestLine = 4096;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Line::Line(std::string name, std::unique_ptr<Instrument> instrument, Fault fault, double timeScale,
           Transcript* transcript)
    : name_(std::move(name)),
      instrument_(std::move(instrument)),
      fault_(std::move(fault)),
      timeScale_(timeScale),
      transcript_(transcript) {
    instrument_->note = [this](std::string_view text) { transcript_->add(name_, '!', text); };
    openPty();
}

void Line::openPty() {
    master_ = Descriptor(posix_openpt(O_RDWR | O_NOCTTY));
    if (!master_ || grantpt(master_.get()) == -1 || unlockpt(master_.get()) == -1) fail("pty");
    slavePath_ = ptsname(master_.get());
    slave_ = Descriptor(open(slavePath_.c_str(), O_RDWR | O_NOCTTY));
    termios settings = {};
    if (!slave_ || tcgetattr(slave_.get(), &settings) == -1) fail(slavePath_);
    cfmakeraw(&settings);
    tcsetattr(slave_.get(), TCSANOW, &settings);
    fcntl(master_.get(), F_SETFL, fcntl(master_.get(), F_GETFL) | O_NONBLOCK);
    fcntl(master_.get(), F_SETFD, FD_CLOEXEC);
    fcntl(slave_.get(), F_SETFD, FD_CLOEXEC);
}

std::optional<Clock::time_point> Line::nextDue() const {
    return pending_.empty() ? std::nullopt : std::optional(pending_.front().due);
}

// A command that nothing is known of yet is the last that was written: its user has not gone.
bool Line::isFromPresentUser() {
    if (!users_) return true;
    if (tenures_.empty()) {
        ++early_;
        return true;
    }
    const bool present = tenures_.front() == tenure_;
    tenures_.pop_front();
    return present;
}

void Line::take(std::string_view line) {
    transcript_->add(name_, '>', line);
    // Whoever sends a command has stopped waiting for earlier answers.
    std::erase_if(pending_, [](const Pending& step) { return !step.answer.hangUp; });
    std::vector<Answer> answers = receiveWithFault(fault_, instrument_.get(), line);
    const bool isPresent = isFromPresentUser();
    if (!answers.empty() && answers.front().hangUp) {
        incoming_.clear();  // nobody hears what comes after
    } else if (!isPresent) {
        return;
    }
    Clock::time_point due = Clock::now();
    for (Answer& answer : answers) {
        due += std::chrono::duration_cast<Clock::duration>(answer.delay * timeScale_);
        pending_.push_back({due, std::move(answer)});
    }
}

void Line::fetch() {
    char bytes[1024];
    ssize_t count = 0;
    while ((count = read(master_.get(), bytes, sizeof bytes)) > 0) {
        incoming_.append(bytes, static_cast<std::size_t>(count));
        if (incoming_.size() > kLongestLine) break;
    }
}

bool Line::receive() {
    bool taken = false;
    for (;;) {
        const std::size_t end = incoming_.find_first_of("\r\n");
        if (end == std::string::npos) break;
        const std::string line = incoming_.substr(0, end);
        incoming_.erase(0, end + 1);
        if (line.empty()) continue;
        take(line);
        taken = true;
    }
    if (incoming_.size() > kLongestLine) incoming_.clear();
    // Whoever types writes a command in pieces.
    if (taken && incoming_.empty()) tenures_.clear();
    return taken;
}

void Line::writeOut() {
    const ssize_t count = write(master_.get(), outgoing_.data(), outgoing_.size());
    if (count > 0) outgoing_.erase(0, static_cast<std::size_t>(count));
    if (count == -1 && errno != EAGAIN) outgoing_.clear();
}

bool Line::advance(Clock::time_point now) {
    if (!outgoing_.empty()) writeOut();
    while (!pending_.empty() && pending_.front().due <= now) {
        const Answer answer = std::move(pending_.front().answer);
        pending_.pop_front();
        // As a real line loses what nobody reads.
        if (users_ == 0 && !answer.hangUp) continue;
        if (!answer.bytes.empty()) {
            transcript_->add(name_, '<', answer.bytes);
            outgoing_ += answer.bytes;
            writeOut();
        }
        if (!answer.hangUp) continue;
        transcript_->add(name_, '!', "hang up");
        dropTraffic();
        if (users_) users_ = 0;
        old_ = std::move(master_);
        openPty();
        return true;
    }
    return false;
}

void Line::dropTraffic() {
    pending_.clear();
    outgoing_.clear();
    incoming_.clear();
    tenures_.clear();
    early_ = 0;
}

void Line::userCame() {
    if (users_ == 0) early_ = 0;
    users_ = users_.value_or(0) + 1;
}

void Line::userWrote() {
    if (early_ > 0) {
        --early_;
    } else {
        tenures_.push_back(tenure_);
    }
}

void Line::userWent() {
    users_ = std::max(0, users_.value_or(1) - 1);
    if (*users_ > 0) return;
    ++tenure_;
    // The last to go takes exclusive use, unread bytes and half a command along; a pty keeps them
    // as long as its other end is open.
    ioctl(slave_.get(), TIOCNXCL);
    tcflush(slave_.get(), TCIFLUSH);
    outgoing_.clear();
    const Clock::time_point now = Clock::now();
    std::erase_if(pending_,
                  [now](const Pending& step) { return !step.answer.hangUp || step.due > now; });
    int unread = 0;
    ioctl(master_.get(), FIONREAD, &unread);
    if (unread == 0 && incoming_.find_first_of("\r\n") == std::string::npos) {
        incoming_.clear();
        tenures_.clear();
    }
}

}  // namespace station
