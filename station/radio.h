#pragma once

#include <cstdint>
#include <optional>

// Radio channels as the standards number them, and the field that reaches a module's antenna. The
// formulas are written from the standards, so that they check the tool's tuning.
namespace station {

enum class Radio { kCdma, kGsm, kWcdma };

struct Channel {
    Radio radio;
    std::int64_t downlinkKhz;  // where the module receives
};

// CDMA band classes 0 (cellular) and 1 (PCS).
std::optional<Channel> cdmaChannel(int bandClass, int number);

// The bands that a module's diagnostic commands select by code; nothing for a code it lacks.
enum class CellularBand { kGsm850, kGsm900, kGsm1800, kGsm1900, kUmtsI, kUmtsII, kUmtsV };
std::optional<CellularBand> bandOfCode(int code);

// GSM ARFCNs; for UMTS the uplink UARFCN, as the diagnostic commands take it.
std::optional<Channel> cellularChannel(CellularBand band, int number);

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
