// Focus dimming: one overlay per screen kept directly below the active window, the events that move them,
// full-screen handling, and the quick-dim, clear-inactive-screens and forced-cover modes.
#pragma once

#include <QObject>
#include <QPointer>
#include <QSet>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "FocusedWindowInspector.h"
#include "FullScreenDetector.h"
#include "OverlayImageLoader.h"
#include "OverlayOrdering.h"
#include "platform/Platform.h"

namespace tamsinvale {

class MediaPlayback;
class SettingsStore;

class FocusDimmer : public QObject {
    Q_OBJECT
public:
    // Registers the event sources at once; overlays appear with the first refresh().
    FocusDimmer(const Platform& platform, SettingsStore& settings, MediaPlayback& media, QObject* parent = nullptr);
    ~FocusDimmer() override;

    // Overlays and appearance.
    void show();
    void hide();
    void applyAppearance();
    double menuBarHeight(const ScreenInfo& screen) const;
    std::optional<QImage> overlayImage(const ScreenInfo& screen);
    OverlayImageLoader& imageLoader() { return m_images; }

    // Ordering engine.
    void updateOrdering(const QString& source = QString());
    void reorderOptimisticallyThenVerify(const QString& source);

    // Event handling.
    void refresh();
    void debouncedRefresh(const QString& source);
    void handleAXFocusChange(const QString& source);
    void handleScreenConfigurationChange();
    void setupAXObserver();
    void tearDownAXObserver();
    bool isFrontAppFullScreen(const WindowSnapshot& windows) const
    {
        return m_fullScreen.isFrontAppFullScreen(windows, frontmostApplication());
    }
    bool isAnyFullScreenPresent(const WindowSnapshot& windows) const
    {
        return m_fullScreen.isAnyFullScreenPresent(windows, frontmostApplication());
    }
    void startFullscreenRecovery();
    // The second look 1.5 s after start-up, once the window manager has listed every window.
    void delayedStart();

    // Modes.
    void enterQuickDimMode();
    void exitQuickDimMode();
    void activateQuickDimApp();
    bool isQuickDimApp(const RunningApp& app) const;
    void toggleClearInactiveScreens();
    void clearInactiveScreensOff();
    void coverScreenAfterWindowMoved(const ScreenInfo& screen);
    void applyEnabledSetting();
    // Called after refresh() when dimming is switched on, for the wallpaper rotation to pick up its picture;
    // the argument says whether a picture for all screens is set.
    std::function<void(bool hasPictureForAllScreens)> onDimmingEnabled;

    // State, for menus, the command line and tests.
    const std::map<DisplayId, std::unique_ptr<OverlayPanel>>& windowsByScreen() const { return m_windowsByScreen; }
    OverlayPanel* overlay(DisplayId id) const;
    const std::map<DisplayId, WindowNumber>& lastOrderedWindowByScreen() const { return m_lastOrderedWindowByScreen; }
    const QSet<DisplayId>& currentDisplayIDs() const { return m_currentDisplayIDs; }
    const QSet<DisplayId>& forcedCoverDisplayIDs() const { return m_forcedCoverDisplayIDs; }
    bool quickDimModeActive() const { return m_quickDimModeActive; }
    bool quickDimAwaitingApp() const { return m_quickDimAwaitingApp; }
    bool clearInactiveScreensActive() const { return m_clearInactiveScreensActive; }
    std::optional<DisplayId> clearInactiveScreensAnchorDisplayID() const { return m_clearInactiveScreensAnchorDisplayID; }
    bool floatingWindowActive() const { return m_floatingWindowActive; }
    std::optional<std::int32_t> observedPid() const { return m_observedPid; }
    bool safetyTimerRunning() const { return m_timer != nullptr; }
    bool fullscreenRecoveryPending() const { return m_fullscreenRecoveryWork && m_fullscreenRecoveryWork->isPending(); }
    int fullscreenRecoveryAttempts() const { return m_recoveryAttempts ? *m_recoveryAttempts : 0; }

    static constexpr double reorderDebounceInterval = 0.05;
    static constexpr double safetyTimerInterval = 3.0;
    static constexpr int fullscreenRecoveryMaxAttempts = 20;

signals:
    void quickDimModeActiveChanged(bool active);
    // A full-screen window was found in front (the overlays have stepped aside for it).
    void fullScreenWindowInFront();
    void clearInactiveScreensActiveChanged(bool active);

private:
    friend class DesktopReadScope;
    std::optional<RunningApp> frontmostApplication() const;
    // The window list as read now, or as read at the start of the reaction under way (see DesktopReadScope).
    std::optional<WindowSnapshot> windowSnapshot() const;
    bool isSelf(const RunningApp& app) const;
    bool isExcluded(const RunningApp& app) const;
    QList<ScreenInfo> usableScreens() const;
    // While the screen's new picture is still being decoded, `previous` (what the overlay shows now) stays.
    OverlayAppearance appearanceFor(const ScreenInfo& screen, double overlayHeight,
                                    const OverlayAppearance* previous = nullptr);
    // Full screen found in a fresh read: the front app's test on one snapshot, then any window's on a second.
    bool fullScreenInFront();
    // With a full-screen window in `snapshot`: hides the overlays, starts the polling that brings them back, logs
    // "<step>: hide due to fullscreen (source=…)" and answers true.
    bool hiddenForFullScreen(const WindowSnapshot& snapshot, const char* step, const QString& source);
    void orderFrontHiddenOverlays();
    void startSafetyTimer();
    void runFullscreenRecovery(std::shared_ptr<int> attempts);
    // The 0.05 s rate limit shared by the refresh and accessibility-focus paths.
    void debounce(const QString& source, const std::function<void(const QString& tag, bool deferred)>& action);
    void setQuickDimModeActive(bool active);
    void setClearInactiveScreensActive(bool active);
    void onApplicationActivated();
    void onAXNotification(const QString& notification);
    void schedule(TaskHandle& slot, double seconds, std::function<void(FocusDimmer&)> work);
    TaskHandle later(double seconds, std::function<void(FocusDimmer&)> work);

    Platform m_platform;
    SettingsStore& m_settings;
    MediaPlayback& m_media;
    FullScreenDetector m_fullScreen;
    FocusedWindowInspector m_focused;
    OverlayImageLoader m_images;

    std::map<DisplayId, std::unique_ptr<OverlayPanel>> m_windowsByScreen;
    std::map<DisplayId, OverlayAppearance> m_appliedAppearance;
    TaskHandle m_timer;
    std::unique_ptr<AXObserverHandle> m_axObserver;
    std::optional<std::int32_t> m_observedPid;
    std::map<DisplayId, WindowNumber> m_lastOrderedWindowByScreen;
    QSet<DisplayId> m_currentDisplayIDs;
    double m_lastEventAt = 0;
    TaskHandle m_pendingTargetRetry;
    TaskHandle m_fullscreenRecoveryWork;
    std::shared_ptr<int> m_recoveryAttempts;
    TaskHandle m_pendingAXWork;
    double m_lastReorderAt = -1e9;
    bool m_floatingWindowActive = false;
    bool m_quickDimModeActive = false;
    bool m_quickDimAwaitingApp = false;
    bool m_clearInactiveScreensActive = false;
    std::optional<DisplayId> m_clearInactiveScreensAnchorDisplayID;
    QSet<DisplayId> m_forcedCoverDisplayIDs;
    std::optional<RunningApp> m_quickDimPreviousApp;
    // Deferred work that is not kept in a named slot (wake re-checks, mouse clicks, the quick-dim wait), so that
    // destruction cancels it too.
    QList<TaskHandle> m_detached;
    // One reaction to an event reads the desktop once: nested steps (menu bar heights, full-screen tests, the
    // ordering pass) share what the first of them read. On X11 each read is several round trips.
    int m_readScopeDepth = 0;
    mutable std::optional<std::optional<WindowSnapshot>> m_scopedSnapshot;
    mutable std::optional<std::optional<RunningApp>> m_scopedFront;
};

// Marks one synchronous reaction to an event (refresh(), a pass) during which the desktop is read only once.
class DesktopReadScope {
public:
    explicit DesktopReadScope(FocusDimmer& dimmer) : m_dimmer(dimmer)
    {
        ++m_dimmer.m_readScopeDepth;
        if (m_dimmer.m_platform.windowList)
            m_dimmer.m_platform.windowList->beginReadBatch();
    }
    ~DesktopReadScope()
    {
        if (m_dimmer.m_platform.windowList)
            m_dimmer.m_platform.windowList->endReadBatch();
        if (--m_dimmer.m_readScopeDepth == 0) {
            m_dimmer.m_scopedSnapshot.reset();
            m_dimmer.m_scopedFront.reset();
        }
    }
    DesktopReadScope(const DesktopReadScope&) = delete;
    DesktopReadScope& operator=(const DesktopReadScope&) = delete;

private:
    FocusDimmer& m_dimmer;
};

}  // namespace tamsinvale
