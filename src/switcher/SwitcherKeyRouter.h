// Hands every key press of an open switcher to the registered handler, keeping presses that arrive before the
// handler exists and replaying them to it, so that typing right after the hotkey is never lost.
#pragma once

#include <QList>
#include <functional>
#include <optional>

#include "SwitcherKeyEvent.h"

namespace tamsinvale {

class SwitcherKeyRouter {
public:
    // Returns the event to pass it on (the panel beeps), nothing to consume it.
    using Handler = std::function<std::optional<SwitcherKeyEvent>(const SwitcherKeyEvent&)>;

    std::optional<SwitcherKeyEvent> route(const SwitcherKeyEvent& event);
    void registerHandler(Handler handler);

    bool hasHandler() const { return bool(m_handler); }
    const QList<SwitcherKeyEvent>& pending() const { return m_pending; }

private:
    Handler m_handler;
    QList<SwitcherKeyEvent> m_pending;
};

}  // namespace tamsinvale
