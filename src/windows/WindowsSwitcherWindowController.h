// Opens and closes the window switcher: a fresh provider and view per showing, the keyboard taken from the
// hotkey on (keys typed before the panel is up are handed over, not lost), the panel centred on the main screen.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <functional>
#include <memory>

#include "platform/KeyboardCapture.h"
#include "platform/Platform.h"

namespace tamsinvale {

class AppIconStore;
class WindowDataProvider;
class WindowsSwitcherView;
class WSFocusablePanel;
struct SwitcherKeyEvent;

class WindowsSwitcherWindowController : public QObject {
    Q_OBJECT
public:
    // Without a capture (or when it is refused) keys reach the panel only through its own window.
    WindowsSwitcherWindowController(const Platform& platform, AppIconStore* icons, KeyboardCapture* capture,
                                    QObject* parent = nullptr);
    ~WindowsSwitcherWindowController() override;

    // Asked for after a window was activated (focus dimming, reason "windowsSwitch").
    std::function<void(const QString& reason)> refreshFocusDimming;
    // Runs before a showing takes the keyboard: the other switcher closes, so that the two never share it.
    std::function<void()> beforeShow;

    // Shows the windows of the application with this process identifier and name.
    void show(std::int32_t pid, const QString& name);
    void close();
    // Another panel has taken the keyboard over: close without giving back what is no longer ours.
    void yieldKeyboard();
    bool isOpen() const { return m_open; }
    // Whether the capture holds the keyboard for us (the panel's "key window" state on X11).
    bool isKey() const { return m_capturing; }

    // A key press from the capture or from the panel window.
    void keyDown(const SwitcherKeyEvent& event);

    WindowsSwitcherView* view() const { return m_view.get(); }
    WindowDataProvider* provider() const { return m_provider.get(); }
    WSFocusablePanel* window() const { return m_window.get(); }

signals:
    void shown();
    void closed();

private:
    void hidePanel();

    Platform m_platform;
    AppIconStore* m_icons;
    KeyboardCapture* m_capture;
    std::shared_ptr<WindowDataProvider> m_provider;
    std::unique_ptr<WindowsSwitcherView> m_view;
    std::unique_ptr<WSFocusablePanel> m_window;
    QElapsedTimer m_showTimer;
    bool m_open = false;
    bool m_capturing = false;
};

}  // namespace tamsinvale
