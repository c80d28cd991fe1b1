#pragma once

#include "rf/band_plan.h"
#include "serial/module_session.h"

// The HSPA family's diagnostic command set, in which a band and a channel are tested.

// Opens the set with its password and enters the test mode. False when an exchange failed.
bool enterDiagnosticMode(ModuleSession* session);

// Prepares the command that selects the band. A band that the module has no code for prepares
// none, so that the previous command is sent again.
void prepareBandCommand(ModuleSession* session, const Band* band);
