#include "station/radio.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace station {
namespace {

constexpr double kPathLoss = 30;           // dB, generator to first receiver
constexpr double kSecondReceiverLoss = 4;  // dB more
constexpr double kSaturation = -20;        // dBm

struct Reception {
    double halfBandwidthKhz;
    double noiseFloor;  // dBm
};

Reception receptionOf(Radio radio) {
    switch (radio) {
        case Radio::kCdma:
            return {1250.0 / 2, -108};
        case Radio::kGsm:
            return {200.0 / 2, -113};
        case Radio::kWcdma:
            return {5000.0 / 2, -106};
    }
    return {0, 0};
}

bool within(int number, int first, int last) {
    return number >= first && number <= last;
}

constexpr std::int64_t kGsmSpacing = 200;  // kHz from channel to channel

}  // namespace

std::optional<Channel> cdmaChannel(int bandClass, int number) {
    // Band class 0 counts its extended channels backwards from 1023.
    if (bandClass == 0 && within(number, 0, 799))
        return Channel{Radio::kCdma, 870000 + 30 * number};
    if (bandClass == 0 && within(number, 991, 1023)) {
        return Channel{Radio::kCdma, 870000 + 30 * (number - 1023)};
    }
    if (bandClass == 1 && within(number, 0, 1200)) {
        return Channel{Radio::kCdma, 1930000 + 50 * number};
    }
    return std::nullopt;
}

std::optional<CellularBand> bandOfCode(int code) {
    struct Code {
        int code;
        CellularBand band;
    };
    constexpr std::array kCodes = {
        Code{18, CellularBand::kGsm850},  Code{10, CellularBand::kGsm900},
        Code{11, CellularBand::kGsm1800}, Code{12, CellularBand::kGsm1900},
        Code{22, CellularBand::kUmtsV},   Code{16, CellularBand::kUmtsII},
        Code{9, CellularBand::kUmtsI},
    };
    const auto* found = std::find_if(kCodes.begin(), kCodes.end(),
                                     [code](const Code& known) { return known.code == code; });
    return found == kCodes.end() ? std::nullopt : std::optional(found->band);
}

std::optional<Channel> cellularChannel(CellularBand band, int number) {
    const auto gsm = [](std::int64_t uplink, std::int64_t duplex) {
        return Channel{Radio::kGsm, uplink + duplex};
    };
    const auto umts = [number](std::int64_t duplex) {
        return Channel{Radio::kWcdma, std::int64_t{number} * 1000 / 5 + duplex};
    };
    switch (band) {
        case CellularBand::kGsm850:
            if (!within(number, 128, 251)) break;
            return gsm(824200 + kGsmSpacing * (number - 128), 45000);
        case CellularBand::kGsm900:
            if (within(number, 0, 124)) return gsm(890000 + kGsmSpacing * number, 45000);
            if (!within(number, 975, 1023)) break;
            return gsm(890000 + kGsmSpacing * (number - 1024), 45000);
        case CellularBand::kGsm1800:
            if (!within(number, 512, 885)) break;
            return gsm(1710200 + kGsmSpacing * (number - 512), 95000);
        case CellularBand::kGsm1900:
            if (!within(number, 512, 810)) break;
            return gsm(1850200 + kGsmSpacing * (number - 512), 80000);
        case CellularBand::kUmtsI:
            if (within(number, 9612, 9888)) return umts(190000);
            break;
        case CellularBand::kUmtsII:
            if (within(number, 9262, 9538)) return umts(80000);
            break;
        case CellularBand::kUmtsV:
            if (within(number, 4132, 4233)) return umts(45000);
            break;
    }
    return std::nullopt;
}

int receivedLevel(const RfField& field, const Channel& channel, int receiver, double loss) {
    const Reception reception = receptionOf(channel.radio);
    const double distanceKhz =
        std::abs(field.frequencyHz / 1000 - static_cast<double>(channel.downlinkKhz));
    const double pathLoss = receiver == 2 ? kPathLoss + kSecondReceiverLoss : kPathLoss;
    const double level = field.output && distanceKhz <= reception.halfBandwidthKhz
                             ? field.levelDbm - pathLoss - loss
                             : reception.noiseFloor;
    return static_cast<int>(std::lround(std::clamp(level, reception.noiseFloor, kSaturation)));
}

}  // namespace station
