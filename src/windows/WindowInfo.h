// One row of the window switcher's list: a window of the target application with its readable title.
#pragma once

#include <QString>
#include <cstdint>

#include "platform/Accessibility.h"

namespace tamsinvale {

struct WindowInfo {
    // Unique within one list: the accessibility element's reference, or the window number in the fallback list.
    std::int64_t id = 0;
    QString title;
    QString appName;
    std::int32_t pid = 0;
    // The window's element; in the fallback list (no accessibility), the application's.
    AXElement axElement;

    bool operator==(const WindowInfo&) const = default;
};

}  // namespace tamsinvale
