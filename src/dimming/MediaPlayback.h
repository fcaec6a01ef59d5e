// Pausing and resuming whatever media plays, requested by quick dim when it begins and ends.
#pragma once

namespace tamsinvale {

class MediaPlayback {
public:
    virtual ~MediaPlayback() = default;
    virtual void pause() = 0;
    virtual void resume() = 0;
};

}  // namespace tamsinvale
