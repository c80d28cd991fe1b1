#pragma once

#include <optional>

// Radio channels as the standards number them, and the field that reaches a module's antenna. The
// numbers are the standards', so that they check the tool's tuning.
namespace station {

enum class Radio { kCdma, kGsm, kWcdma };

struct Channel {
    Radio radio;
    double downlinkKhz;  // where the module receives
};

// The channel of a CDMA band class (0 cellular, 1 PCS), or of a GSM or UMTS band by the code that
// diagnostic commands select it by. UMTS counts the uplink, as those commands do.
std::optional<Channel> channelOf(int band, int number);

// Whether that is the code of a GSM or UMTS band.
bool isBandCode(int code);

// What the signal generator radiates. One for the whole station: the generator writes it, the
// modules read it.
struct RfField {
    bool output = false;
    double frequencyHz = 0;
    double levelDbm = 0;
};

// What a receiver (1 or 2) tuned to the channel reads, in whole dBm: the generator's level less the
// path loss and `loss` dB more when the generator stands within the channel's bandwidth, else the
// noise floor.
int receivedLevel(const RfField& field, const Channel& channel, int receiver, double loss);

}  // namespace station
