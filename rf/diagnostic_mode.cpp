#include "rf/diagnostic_mode.h"

static constexpr const char* kPassword = "K482";

bool enterDiagnosticMode(ModuleSession* session) {
    prepareCommand(session, "AT!ENTERCND=\"%s\"\r", kPassword);
    return sendCommand(session) && sendText(session, "AT!DAFTMACT\r");
}

void prepareBandCommand(ModuleSession* session, const Band* band) {
    if (band != nullptr && band->bandCode != kNoBandCode) {
        prepareCommand(session, "AT!DASBAND=%d\r", band->bandCode);
    }
}

bool selectChannel(ModuleSession* session, std::int32_t channel) {
    prepareCommand(session, "AT!DASCHAN=%d\r", channel);
    return sendCommand(session);
}
