// A private queue off the main thread: jobs run one at a time, in the order they were queued.
#pragma once

#include <functional>

namespace tamsinvale {

// Like a serial dispatch queue: `work` runs off the main thread after every job queued before it has finished;
// then `thenOnMain` runs on the main queue. Jobs never overlap, so a job queued behind another sees its effect.
class SerialQueue {
public:
    virtual ~SerialQueue() = default;
    virtual void run(std::function<void()> work, std::function<void()> thenOnMain) = 0;
};

}  // namespace tamsinvale
