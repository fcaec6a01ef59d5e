// The media controller where no media adapter can be reached: requests are logged and nothing else happens.
#pragma once

#include "MediaPlayback.h"
#include "platform/Logging.h"

namespace tamsinvale {

class NullMediaPlayback : public MediaPlayback {
public:
    void pause() override { qCDebug(lcMedia) << "pause requested; no media controller on this desktop"; }
    void resume() override { qCDebug(lcMedia) << "resume requested; no media controller on this desktop"; }
};

}  // namespace tamsinvale
