// Opens and closes the app switcher: takes the keyboard at hotkey time, builds a fresh view and router per
// showing, places the panel on the main screen, and turns keys nobody handled into the beep.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <functional>
#include <memory>

#include "platform/KeyboardCapture.h"
#include "platform/Platform.h"

namespace tamsinvale {

class AppDiscoveryStore;
class AppIconStore;
class FocusablePanel;
class ShortcutStore;
class SwitcherKeyRouter;
class SwitcherView;
struct SwitcherKeyEvent;

class SwitcherWindowController : public QObject {
    Q_OBJECT
public:
    // Without a capture (or when it is refused) keys reach the panel only through its own window.
    SwitcherWindowController(const Platform& platform, ShortcutStore& store, AppDiscoveryStore& discovery,
                             AppIconStore* icons, KeyboardCapture* capture, QObject* parent = nullptr);
    ~SwitcherWindowController() override;

    // Opens the settings window; set by the application.
    std::function<void()> openSettings;
    // Seconds after which the view registers its key handler even if the panel has not been exposed yet.
    static constexpr double appearFallbackSeconds = 0.25;

    void show();
    void close();
    // Makes what the next showing needs (router, view with its rows, panel, placement and first frame) while the
    // panel is closed; done after each close and after each refresh that changed the list.
    void prepareNextShowing();
    bool isPrepared() const { return bool(m_nextView); }
    // The hotkey's action: open, or close when already open.
    void toggle();
    bool isOpen() const { return m_open; }

    // A key press from the capture or from the panel window.
    void keyDown(const SwitcherKeyEvent& event);

    SwitcherView* view() const { return m_view.get(); }
    SwitcherKeyRouter* router() const { return m_router.get(); }
    FocusablePanel* window() const { return m_window.get(); }
    // Whether the capture holds the keyboard (the panel's "key window" state on X11).
    bool isKey() const { return m_capturing; }

signals:
    void shown();
    void closed();

private:
    std::unique_ptr<SwitcherView> makeView(SwitcherKeyRouter& router);
    void ensureWindow();
    void refreshPreparedFrame();
    void viewAppears();
    void placePanel();
    qint64 sinceShow() const { return m_showTimer.elapsed(); }

    Platform m_platform;
    ShortcutStore& m_store;
    AppDiscoveryStore& m_discovery;
    AppIconStore* m_icons;
    KeyboardCapture* m_capture;
    std::unique_ptr<SwitcherKeyRouter> m_router;
    std::unique_ptr<SwitcherView> m_view;
    std::unique_ptr<FocusablePanel> m_window;
    std::unique_ptr<SwitcherKeyRouter> m_nextRouter;
    std::unique_ptr<SwitcherView> m_nextView;
    TaskHandle m_appearFallback;
    QElapsedTimer m_showTimer;
    bool m_open = false;
    bool m_capturing = false;
    bool m_appeared = false;
};

}  // namespace tamsinvale
