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
#include "station/relay.h"
#include "station/root.h"
#include "station/transcript.h"

namespace station {

// A test station at work: its root, its lines, the command that it serves.
//
// 1. The adapter's node is there while the driver is loaded, from kAdapterDelay after its load on.
//    The driver tools write the driver's state, the station follows. The driver may have been
//    unloaded and loaded again before the station looks.
// 2. A line, a state file or a node that fails costs a line on standard error and nothing else.
// 3. The station ends when it has a status and no command to wait for. When its root has gone it
//    has a status, and tells the command to end; a signal then ends it without the command.
class Station {
  public:
    // Signals must have been caught. Throws std::exception, with a sentence for the operator.
    explicit Station(const Options& options);

    // Serves until the command has ended, or a signal comes when there is none, or the root is
    // gone. Returns the exit status of the program.
    int serve();

  private:
    static constexpr pid_t kNoChild = -1;

    void addModule(const DescribedModule& described, const std::string& port, int index);
    void addGenerator();
    void addLine(const LineSettings& settings, const LineSpec& spec,
                 std::unique_ptr<Instrument> instrument);
    void addInstrument(LineSettings settings, const LineSpec& spec,
                       std::unique_ptr<Instrument> instrument);
    void addRelay(LineSettings settings, const LineSpec& spec, const std::string& unsolicited);
    void saveState(const std::string& name, const Instrument& instrument);

    void driverChanged();
    void placeAdapter(const std::string& path);
    void linkAdapter();
    void showAdapter();

    void announce() const;
    void startCommand();
    void reapCommand();

    // One turn of the loop is these four, in this order: a signal may end the station, what is
    // written on the lines has its effect before anything is answered, and the root comes last.
    void wait() const;
    void handleSignals();
    void serveLines();
    void lookAtRoot();

    int timeout() const;

    const Options options_;
    Root root_;
    Transcript transcript_;
    RfField field_;  // the generator writes it, the modules read it
    // Both are filled by the constructor. The sessions of a line use its instrument, so the
    // instruments go last.
    std::vector<std::unique_ptr<InstrumentLine>> instruments_;
    std::vector<std::unique_ptr<RelayLine>> relays_;
    std::vector<std::unique_ptr<Line>> lines_;
    // What the adapter's node leads to when it is there; empty: there is no adapter. Set by
    // addGenerator() and placeAdapter().
    std::string adapter_;
    bool driverLoaded_ = false;  // as of the last look; set by driverChanged()
    Clock::time_point adapterDue_ =
        kNever;                   // when its node appears; kNever: it is there or must not
    bool adapterFailed_ = false;  // its node cannot be made, which was said
    bool stateFailed_ = false;    // a state file could not be written, which was said
    pid_t child_ = kNoChild;      // the command, while it is waited for
    std::optional<int> status_;   // the program's; empty: it goes on
};

}  // namespace station
