// Opens and closes the inactive apps window: builds the panel on first use, installs a freshly computed view on
// each showing, places the panel on the main screen, and releases the view when Escape closes it.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Platform.h"

class QWidget;

namespace tamsinvale {

class AppIconStore;
class AppUsageTracker;
class InactiveAppsView;
class InactivePanel;
class SettingsStore;

class InactiveAppsWindowController : public QObject {
    Q_OBJECT
public:
    InactiveAppsWindowController(const Platform& platform, SettingsStore& settings, AppUsageTracker& tracker,
                                 AppIconStore* icons = nullptr, QObject* parent = nullptr);
    ~InactiveAppsWindowController() override;

    // The window system's part of a floating panel (every desktop, above others, no focus taken when shown),
    // applied before each showing; set by the application for its desktop.
    std::function<void(QWidget* panel)> preparePanel;

    // Brings the window forward with a freshly computed list (building the panel on first use).
    void show();
    // Orders the panel out and releases its content; the next show starts afresh.
    void close();
    bool isOpen() const { return m_open; }

    InactiveAppsView* view() const { return m_view.get(); }
    InactivePanel* panel() const { return m_panel.get(); }

signals:
    void shown();
    void closed();
    // The panel's first paint after a show, with the milliseconds since show() began.
    void firstPaint(qint64 milliseconds);

private:
    void placePanel();

    Platform m_platform;
    SettingsStore& m_settings;
    AppUsageTracker& m_tracker;
    AppIconStore* m_icons;
    std::unique_ptr<InactivePanel> m_panel;
    std::unique_ptr<InactiveAppsView> m_view;
    // The application the user was working in when the window was asked for: it counts as active now.
    std::optional<std::int32_t> m_userApp;
    QElapsedTimer m_showTimer;
    bool m_open = false;
    bool m_awaitingFirstPaint = false;
};

}  // namespace tamsinvale
