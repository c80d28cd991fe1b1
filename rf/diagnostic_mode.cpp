#include "rf/diagnostic_mode.h"

static constexpr const char* kPassword = "K482";

bool enterDiagnosticMode(ModuleSession* session) {
    return issueCommand(session, "AT!ENTERCND=\"%s\"\r", kPassword) &&
           issueCommand(session, "AT!DAFTMACT\r");
}

void prepareBandCommand(ModuleSession* session, const Band* band) {
    if (band != nullptr && band->bandCode != kNoBandCode) {
        prepareCommand(session, "AT!DASBAND=%d\r", band->bandCode);
    }
}
