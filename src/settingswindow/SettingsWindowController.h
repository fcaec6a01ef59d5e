// The one settings window: opened from the tray, `tamsinvale ctl settings` and the switcher's settings row,
// brought forward when already open; the global hotkeys are suspended while one of its fields records.
#pragma once

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QObject>
#include <memory>
#include <optional>

#include "SettingsPage.h"
#include "SettingsWindowContext.h"

Q_DECLARE_LOGGING_CATEGORY(lcSettingsWindow)

namespace tamsinvale {

class SettingsWindow;

class SettingsWindowController : public QObject {
    Q_OBJECT
public:
    explicit SettingsWindowController(SettingsWindowContext context, QObject* parent = nullptr);
    ~SettingsWindowController() override;

    // Builds the window on first use, shows `page` (or the page it was on), and brings it forward with the focus.
    void show(std::optional<SettingsPage> page = std::nullopt);
    void close();
    bool isOpen() const;
    SettingsWindow* window() const { return m_window.get(); }
    bool hotkeysSuspended() const { return m_suspended; }

    // Called before the window is mapped (desktop hints), like the other panels' `preparePanel`.
    std::function<void(QWidget*)> prepareWindow;

signals:
    void firstPaint(qint64 milliseconds);

private:
    void recordingStarted();
    void recordingEnded();
    void windowHidden();

    SettingsWindowContext m_context;
    std::unique_ptr<SettingsWindow> m_window;
    QElapsedTimer m_showTimer;
    bool m_awaitingFirstPaint = false;
    bool m_suspended = false;
};

}  // namespace tamsinvale
