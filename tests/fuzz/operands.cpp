// The check of a receive test's operands, the conversion of its channel, and the station's own
// reading of channels, which must agree. The input: receiver, band, channel and the module's
// product id, with blanks between them.
#include <cmath>

#include "cli/verify_arguments.h"
#include "rf/band_plan.h"
#include "rf/channel_frequency.h"
#include "serial/reply_lines.h"
#include "station/radio.h"
#include "tests/fuzz/fuzz_target.h"

static double stationMhz(std::int32_t band, std::int32_t channel) {
    const auto code = station::bandOfCode(kBands[band].bandCode);
    const auto found =
        code ? station::cellularChannel(*code, channel) : station::cdmaChannel(band, channel);
    return found ? static_cast<double>(found->downlinkKhz) / 1000 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words = split(textOf(data, size) + "   ", " ");
    const std::int32_t receiver = parseInteger(words[0].c_str());
    const std::int32_t band = parseInteger(words[1].c_str());
    const std::int32_t channel = parseInteger(words[2].c_str());

    const float frequency = FrequencyLookup(static_cast<std::uint32_t>(band), channel);
    const bool exists = frequency != 0.0F;
    gCardModel = 0;
    const bool valid = VerifyArguments(receiver, band, channel) == 0;
    require(valid == (exists && (receiver == 1 || receiver == 2)), "the check fits the conversion");
    // The tool's PCS channels stand one step below the station's.
    require(!exists || std::abs(double{frequency} - stationMhz(band, channel)) < 0.051,
            "the tool tunes to the station's channel");
    gCardModel = static_cast<std::uint32_t>(std::strtoul(words[3].c_str(), nullptr, 16));
    const ModuleFamily family = familyOf(gCardModel);
    const bool fits = family == ModuleFamily::kUnknown ||
                      (family == ModuleFamily::kEvdo) == (band == kCellular || band == kPcs);
    require((VerifyArguments(receiver, band, channel) == 0) == (valid && fits),
            "the family counts");
    return 0;
}
