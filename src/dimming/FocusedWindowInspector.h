// What the active application's focused window is: its window level, and whether it is a small dialog or sheet.
#pragma once

#include "platform/Platform.h"

namespace tamsinvale {

class FocusedWindowInspector {
public:
    explicit FocusedWindowInspector(const Platform& platform) : m_platform(platform) {}

    // The layer of the snapshot entry matching the focused window's frame (±10 points), else one matching its
    // size; 0 when unknown (no trust, no focused window, no match).
    int focusedWindowLayer(std::int32_t pid, const WindowSnapshot& windows) const;
    // A sheet or dialog covering less than half its screen: the overlays stay where they are while it is up.
    bool isFocusedWindowDialogOrSheet(std::int32_t pid) const;

private:
    Platform m_platform;
};

}  // namespace tamsinvale
