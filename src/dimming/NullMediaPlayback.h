// The media controller until a real one (MPRIS on Linux) lands: requests are logged and nothing else happens.
#pragma once

#include "MediaPlayback.h"
#include "platform/Logging.h"

namespace tamsinvale {

class NullMediaPlayback : public MediaPlayback {
public:
    void pause() override { qCDebug(lcMedia) << "pause requested; no media controller on this desktop yet"; }
    void resume() override { qCDebug(lcMedia) << "resume requested; no media controller on this desktop yet"; }
};

}  // namespace tamsinvale
