// Run loop: none needed; call from the main thread (the logic reads the list there), each read is one synchronous window-server query.
// The window server's on-screen list on macOS (CGWindowListCopyWindowInfo), converted by portable/MacWindowInfo.
#pragma once

#include <optional>

#include "platform/WindowList.h"
#include "portable/MacBatchedRead.h"

namespace tamsinvale {

class MacWindowList : public WindowList {
public:
    MacWindowList();

    // On-screen only, desktop elements excluded, relative to no window: front to back.
    std::optional<WindowSnapshot> onScreenWindows() const override;
    // Inside a batch the first list read is the answer to every later read.
    void beginReadBatch() const override;
    void endReadBatch() const override;

private:
    mutable MacBatchedRead<std::optional<WindowSnapshot>> m_list;
};

}  // namespace tamsinvale
