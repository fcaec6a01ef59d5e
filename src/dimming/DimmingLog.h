// The focus dimmer's debug lines: one per decision, built only when debug logging of dimming is on.
#pragma once

#include "platform/Logging.h"

#define DIMLOG qCDebug(::tamsinvale::lcDimming).noquote().nospace()
