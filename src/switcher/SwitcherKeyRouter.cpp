// Key routing with a buffer for the gap between the hotkey and the handler's registration.
#include "SwitcherKeyRouter.h"

#include "platform/Logging.h"

namespace tamsinvale {

std::optional<SwitcherKeyEvent> SwitcherKeyRouter::route(const SwitcherKeyEvent& event)
{
    if (m_handler)
        return m_handler(event);
    qCInfo(lcSwitcher, "router: buffered key '%s' (handler not registered yet)", qUtf8Printable(event.logText()));
    m_pending.append(event);
    return std::nullopt;
}

void SwitcherKeyRouter::registerHandler(Handler handler)
{
    m_handler = std::move(handler);
    if (m_pending.isEmpty() || !m_handler)
        return;
    const QList<SwitcherKeyEvent> replay = std::exchange(m_pending, {});
    // A replayed key that the handler passes on is dropped: the moment to beep for it has gone.
    for (const SwitcherKeyEvent& event : replay)
        (void)m_handler(event);
}

}  // namespace tamsinvale
