#include "station/radio.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace station {

namespace {

struct Reception {
    double halfBandwidthKhz = 0;
    double noiseFloor = 0;  // dBm
};

}  // namespace

static constexpr double kPathLoss = 30;           // dB, generator to first receiver
static constexpr double kSecondReceiverLoss = 4;  // dB more
static constexpr double kSaturation = -20;        // dBm

// Channels in a row.
static constexpr struct {
    Radio radio;
    int band, first, last;
    double downlinkKhz;  // of the first
    int spacingKhz;
} kRows[] = {
    {Radio::kCdma, 0, 0, 799, 870000, 30},         {Radio::kCdma, 0, 991, 1023, 869040, 30},
    {Radio::kCdma, 1, 0, 1200, 1930000, 50},       {Radio::kGsm, 18, 128, 251, 869200, 200},  // 850
    {Radio::kGsm, 10, 0, 124, 935000, 200},                                                   // 900
    {Radio::kGsm, 10, 975, 1023, 925200, 200},      // 900, extended
    {Radio::kGsm, 11, 512, 885, 1805200, 200},      // 1800
    {Radio::kGsm, 12, 512, 810, 1930200, 200},      // 1900
    {Radio::kWcdma, 22, 4132, 4233, 871400, 200},   // V
    {Radio::kWcdma, 16, 9262, 9538, 1932400, 200},  // II
    {Radio::kWcdma, 9, 9612, 9888, 2112400, 200},   // I
};

static Reception receptionOf(Radio radio) {
    switch (radio) {
        case Radio::kCdma:
            return {.halfBandwidthKhz = 1250.0 / 2, .noiseFloor = -108};
        case Radio::kGsm:
            return {.halfBandwidthKhz = 200.0 / 2, .noiseFloor = -113};
        case Radio::kWcdma:
            return {.halfBandwidthKhz = 5000.0 / 2, .noiseFloor = -106};
    }
    return {};
}

std::optional<Channel> channelOf(int band, int number) {
    const auto* row = std::find_if(std::begin(kRows), std::end(kRows), [&](const auto& known) {
        return known.band == band && number >= known.first && number <= known.last;
    });
    if (row == std::end(kRows)) return std::nullopt;
    return Channel{row->radio, row->downlinkKhz + row->spacingKhz * (number - row->first)};
}

bool isBandCode(int code) {
    return std::any_of(std::begin(kRows), std::end(kRows), [code](const auto& known) {
        return known.band == code && known.radio != Radio::kCdma;
    });
}

int receivedLevel(const RfField& field, const Channel& channel, int receiver, double loss) {
    const auto [halfBandwidthKhz, noiseFloor] = receptionOf(channel.radio);
    const double distanceKhz = std::abs(field.frequencyHz / 1000 - channel.downlinkKhz);
    const double pathLoss = receiver == 2 ? kPathLoss + kSecondReceiverLoss : kPathLoss;
    const double level = field.output && distanceKhz <= halfBandwidthKhz
                             ? field.levelDbm - pathLoss - loss
                             : noiseFloor;
    return static_cast<int>(std::lround(std::clamp(level, noiseFloor, kSaturation)));
}

}  // namespace station
