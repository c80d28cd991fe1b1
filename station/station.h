#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <vector>

#include "station/line.h"
#include "station/options.h"
#include "station/radio.h"
#include "station/root.h"
#include "station/watch.h"

namespace station {

// From here on signals wake the station's loop, whose work outlives none of them.
struct SignalCatcher {
    SignalCatcher();
};

// A test station at work: its root, its lines, the command that it serves.
class Station {
  public:
    explicit Station(const Options& options);

    // Serves until the command has ended, or a signal comes when there is none, or the root is
    // gone. Returns the exit status of the program.
    int serve();

  private:
    void addModule(const ModuleSpec& spec, RootContent* content);
    void watchLine(Line* line);
    void watchRoot();
    void saveState(const Line& line);
    void driverChanged();
    void showAdapter();
    void startCommand();
    void announce() const;

    int timeout() const;
    void step();
    void handleSignals();
    void reapCommand();

    SignalCatcher catcher_;  // before there is a root that a signal could leave behind
    Options options_;
    Transcript transcript_;
    Root root_;
    RfField field_;
    Watch watch_;
    std::vector<std::unique_ptr<Line>> modules_;
    std::unique_ptr<Line> generator_;
    bool driverLoaded_ = false;
    bool canWatch_ = false;
    std::optional<Clock::time_point> adapterDue_;
    pid_t child_ = -1;
    std::optional<int> status_;
};

}  // namespace station
