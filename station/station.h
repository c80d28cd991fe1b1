#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/instrument_session.h"
#include "station/line.h"
#include "station/options.h"
#include "station/radio.h"
#include "station/root.h"
#include "station/transcript.h"

namespace station {

// From now on signals wake a station's loop instead of ending the program, which would leave its
// root behind.
void catchSignals();

// A test station at work: its root, its lines, the command that it serves.
class Station {
  public:
    // Signals must have been caught.
    explicit Station(const Options& options);

    // Serves until the command has ended, or a signal comes when there is none, or the root is
    // gone. Returns the exit status of the program.
    int serve();

  private:
    void addModule(const DescribedModule& described, const std::string& port, int index);
    void addGenerator();
    void addInstrument(LineSettings settings, const LineSpec& spec,
                       std::unique_ptr<Instrument> instrument);
    void saveState(const std::string& name, const Instrument& instrument);
    void driverChanged();
    void showAdapter();
    void startCommand();
    void announce() const;

    // One turn of the loop is these four, in this order: a signal may end the station, what is
    // written on the lines has its effect before anything is answered, and the root comes last.
    void wait() const;
    void handleSignals();
    void serveLines();
    void lookAtRoot();

    int timeout() const;

    Options options_;
    Root root_;
    Transcript transcript_;
    RfField field_;
    std::vector<std::unique_ptr<InstrumentLine>> instruments_;
    std::vector<std::unique_ptr<Line>> lines_;
    std::string adapter_;  // what the adapter's node leads to; empty: there is no adapter
    bool driverLoaded_ = false;
    Clock::time_point adapterDue_ = kNever;  // when its node appears, after its driver was loaded
    bool stateFailed_ = false;
    pid_t child_ = -1;
    std::optional<int> status_;
};

}  // namespace station
