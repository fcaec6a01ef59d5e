// The window switcher's content as logic: the filter, the selection, the rows to draw and what each key does,
// and bringing the chosen window forward. The panel only draws this and forwards keys and clicks.
#pragma once

#include <QList>
#include <QObject>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Platform.h"
#include "switcher/SwitcherKeyEvent.h"
#include "windows/WindowDataProvider.h"
#include "windows/WindowSwitcherRow.h"

namespace tamsinvale {

class WindowsSwitcherView : public QObject {
    Q_OBJECT
public:
    inline static const QString placeholder = QStringLiteral("Filter windows, Enter to activate, Esc to close");
    // The wait between bringing the application forward and raising the chosen window within it.
    static constexpr double windowRaiseDelay = 0.05;

    WindowsSwitcherView(const Platform& platform, std::shared_ptr<WindowDataProvider> provider,
                        QObject* parent = nullptr);

    // Closes the panel; set by the controller.
    std::function<void()> onClose;

    // A key press: the switcher's own keys first, then the filter field. False when nobody took it.
    bool keyDown(const SwitcherKeyEvent& event);
    // Escape, the arrows, Return and keypad Enter; true when consumed, false to pass the key on.
    bool handleKey(const SwitcherKeyEvent& event);
    // A key passed on, as the filter field takes it (characters, Backspace); false when it has no use for it.
    bool editFilter(const SwitcherKeyEvent& event);
    // A click on a row: selects it and activates its window.
    void choose(int index);

    // The provider's windows whose title contains the filter (ignoring case), in the provider's order.
    QList<WindowInfo> filteredWindows() const;
    QList<WindowSwitcherRow> rows() const;

    const QString& filter() const { return m_filter; }
    void setFilter(const QString& filter);
    // The filter field has the keys from the start; kept for the panel to draw its focus ring.
    bool searchFocused() const { return m_searchFocused; }
    std::optional<int> selectedIndex() const { return m_selectedIndex; }
    const QUuid& sessionId() const { return m_sessionId; }
    WindowDataProvider& provider() const { return *m_provider; }

    // Brings the window forward: its application first, the window itself a moment later.
    void activate(const WindowInfo& window);

signals:
    void changed();

private:
    Platform m_platform;
    std::shared_ptr<WindowDataProvider> m_provider;
    QString m_iconKey;
    std::optional<QString> m_iconPath;
    QString m_filter;
    bool m_searchFocused = true;
    std::optional<int> m_selectedIndex;
    QUuid m_sessionId = QUuid::createUuid();
};

}  // namespace tamsinvale
