// The key handler's state: idle, or waiting for the second key of a sequence that began with `firstKey`.
#pragma once

#include <QString>
#include <optional>

namespace tamsinvale {

struct ShortcutInputState {
    std::optional<QString> waitingFirstKey;  // absent: idle

    static ShortcutInputState idle() { return {}; }
    static ShortcutInputState waitingForSecondKey(const QString& firstKey) { return {firstKey}; }
    bool isIdle() const { return !waitingFirstKey; }
    bool operator==(const ShortcutInputState&) const = default;
};

}  // namespace tamsinvale
