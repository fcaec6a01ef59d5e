// The overlays themselves (creation, appearance, frames) and the ordering engine that stacks them.
#include "FocusDimmer.h"

#include "DimmingLog.h"
#include "MediaPlayback.h"
#include "MenuBarGeometry.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {
QString tag(const QString& source) { return source.isEmpty() ? QStringLiteral("?") : source; }
}  // namespace

FocusDimmer::FocusDimmer(const Platform& platform, SettingsStore& settings, MediaPlayback& media, QObject* parent)
    : QObject(parent),
      m_platform(platform),
      m_settings(settings),
      m_media(media),
      m_fullScreen(platform),
      m_focused(platform),
      m_images(settings, *platform.bookmarks)
{
    // A picture decoded off the main thread shows as soon as it is ready.
    m_images.onPictureReady = [this] { applyAppearance(); };
    m_lastEventAt = m_platform.scheduler->now();
    Workspace* ws = m_platform.workspace;
    connect(ws, &Workspace::applicationActivated, this, [this] { onApplicationActivated(); });
    connect(m_platform.screens, &Screens::screensChanged, this, [this] {
        DIMLOG << "didChangeScreenParameters notification";
        handleScreenConfigurationChange();
    });
    connect(ws, &Workspace::activeSpaceChanged, this, [this] {
        DIMLOG << "activeSpaceDidChange notification";
        refresh();
    });
    connect(ws, &Workspace::screensDidWake, this, [this] {
        DIMLOG << "screensDidWake notification";
        m_detached.append(later(0.5, [](FocusDimmer& d) { d.handleScreenConfigurationChange(); }));
        for (const double delay : {2.0, 5.0, 10.0})
            m_detached.append(later(delay, [](FocusDimmer& d) { d.refresh(); }));
    });
    connect(ws, &Workspace::leftMouseDown, this, [this] {
        if (m_windowsByScreen.empty())
            return;
        m_detached.append(later(0.05, [](FocusDimmer& d) { d.updateOrdering(QStringLiteral("mouse-click")); }));
    });
}

FocusDimmer::~FocusDimmer()
{
    for (TaskHandle* slot : {&m_timer, &m_pendingTargetRetry, &m_fullscreenRecoveryWork, &m_pendingAXWork})
        cancelTask(*slot);
    for (TaskHandle& t : m_detached)
        cancelTask(t);
    m_axObserver.reset();
    for (auto& [id, panel] : m_windowsByScreen)
        panel->orderOut();
}

TaskHandle FocusDimmer::later(double seconds, std::function<void(FocusDimmer&)> work)
{
    m_detached.removeIf([](const TaskHandle& t) { return !t || !t->isPending(); });
    QPointer<FocusDimmer> self(this);
    return m_platform.scheduler->postAfter(seconds, [self, work = std::move(work)] {
        if (self)
            work(*self);
    });
}

void FocusDimmer::schedule(TaskHandle& slot, double seconds, std::function<void(FocusDimmer&)> work)
{
    cancelTask(slot);
    QPointer<FocusDimmer> self(this);
    slot = m_platform.scheduler->postAfter(seconds, [self, work = std::move(work)] {
        if (self)
            work(*self);
    });
}

std::optional<RunningApp> FocusDimmer::frontmostApplication() const
{
    if (m_readScopeDepth == 0)
        return m_platform.workspace->frontmostApplication();
    if (!m_scopedFront)
        m_scopedFront = m_platform.workspace->frontmostApplication();
    return *m_scopedFront;
}

std::optional<WindowSnapshot> FocusDimmer::windowSnapshot() const
{
    if (m_readScopeDepth == 0)
        return m_platform.windowList->onScreenWindows();
    if (!m_scopedSnapshot)
        m_scopedSnapshot = m_platform.windowList->onScreenWindows();
    return *m_scopedSnapshot;
}

bool FocusDimmer::isSelf(const RunningApp& app) const
{
    return app.pid == m_platform.workspace->ownPid()
        || (app.bundleIdentifier && app.bundleIdentifier == m_platform.workspace->ownBundleIdentifier());
}

bool FocusDimmer::isExcluded(const RunningApp& app) const
{
    return m_settings.isExcludedFromDimming(app.bundleIdentifier, app.localizedName);
}

QList<ScreenInfo> FocusDimmer::usableScreens() const
{
    QList<ScreenInfo> out;
    for (const ScreenInfo& s : m_platform.screens->screens())
        if (s.displayId != 0)
            out.append(s);
    return out;
}

OverlayPanel* FocusDimmer::overlay(DisplayId id) const
{
    const auto it = m_windowsByScreen.find(id);
    return it == m_windowsByScreen.end() ? nullptr : it->second.get();
}

double FocusDimmer::menuBarHeight(const ScreenInfo& screen) const
{
    return MenuBarGeometry::menuBarHeight(screen, m_platform.screens->screens(), windowSnapshot());
}

std::optional<QImage> FocusDimmer::overlayImage(const ScreenInfo& screen) { return m_images.overlayImage(screen); }

OverlayAppearance FocusDimmer::appearanceFor(const ScreenInfo& screen, double overlayHeight,
                                             const OverlayAppearance* previous)
{
    OverlayAppearance a;
    a.fill = Qt::black;
    a.topInset = std::max(0.0, screen.frame.height() - overlayHeight);
    // Without a picture (black background, or nothing loads) the overlay is plain black with no darkening.
    OverlayPicture picture = m_images.overlayPicture(screen);
    if (!picture.image && picture.pending && previous && previous->picture)
        picture.image = previous->picture;
    if (picture.image) {
        a.picture = std::move(*picture.image);
        a.darkening = m_settings.settings().focusDimWallpaperDarkening;
    }
    return a;
}

bool FocusDimmer::fullScreenInFront()
{
    const auto first = windowSnapshot();
    if (!first)
        return false;
    if (isFrontAppFullScreen(*first))
        return true;
    const auto second = windowSnapshot();
    return second && isAnyFullScreenPresent(*second);
}

bool FocusDimmer::hiddenForFullScreen(const WindowSnapshot& snapshot, const char* step, const QString& source)
{
    if (!isFrontAppFullScreen(snapshot) && !isAnyFullScreenPresent(snapshot))
        return false;
    DIMLOG << step << ": hide due to fullscreen (source=" << source << ")";
    hide();
    startFullscreenRecovery();
    return true;
}

void FocusDimmer::show()
{
    if (fullScreenInFront()) {
        DIMLOG << "show: skipping due to fullscreen";
        hide();
        startFullscreenRecovery();
        return;
    }
    cancelTask(m_fullscreenRecoveryWork);
    // Rebuilt overlays keep their pictures while a new one decodes.
    const std::map<DisplayId, OverlayAppearance> previous = m_appliedAppearance;
    hide();
    m_images.beginRound();
    m_windowsByScreen.clear();
    m_lastOrderedWindowByScreen.clear();
    m_currentDisplayIDs.clear();
    for (const ScreenInfo& screen : usableScreens()) {
        const QRectF frame = MenuBarGeometry::frameBelowMenuBar(screen, menuBarHeight(screen));
        std::unique_ptr<OverlayPanel> panel = m_platform.overlays->createPanel(frame, WindowLevel::normal);
        if (!panel)
            continue;
        panel->setHasShadow(false);
        const auto before = previous.find(screen.displayId);
        OverlayAppearance look =
            appearanceFor(screen, frame.height(), before == previous.end() ? nullptr : &before->second);
        panel->setAppearance(look);
        m_appliedAppearance[screen.displayId] = std::move(look);
        m_windowsByScreen[screen.displayId] = std::move(panel);
        m_currentDisplayIDs.insert(screen.displayId);
    }
    m_images.endRound();
    startSafetyTimer();
    // Ordered below their targets first and only then brought up where nothing placed them, so that on X11 an
    // overlay never flashes above the window it belongs under.
    updateOrdering(QStringLiteral("show"));
    orderFrontHiddenOverlays();
}

void FocusDimmer::orderFrontHiddenOverlays()
{
    for (auto& [id, panel] : m_windowsByScreen)
        if (!panel->isVisible())
            panel->orderFrontRegardless();
}

void FocusDimmer::startSafetyTimer()
{
    if (m_timer)
        return;
    QPointer<FocusDimmer> self(this);
    m_timer = m_platform.scheduler->repeat(safetyTimerInterval, [self] {
        if (self)
            self->updateOrdering(QStringLiteral("timer"));
    });
}

void FocusDimmer::hide()
{
    for (auto& [id, panel] : m_windowsByScreen)
        panel->orderOut();
    m_windowsByScreen.clear();
    m_appliedAppearance.clear();
    m_lastOrderedWindowByScreen.clear();
    m_currentDisplayIDs.clear();
    cancelTask(m_timer);
}

void FocusDimmer::applyAppearance()
{
    m_images.beginRound();
    for (const ScreenInfo& screen : usableScreens()) {
        OverlayPanel* panel = overlay(screen.displayId);
        if (!panel)
            continue;
        const QRectF expected = MenuBarGeometry::frameBelowMenuBar(screen, menuBarHeight(screen));
        if (panel->frame() != expected) {
            const QRectF old = panel->frame();
            DIMLOG << "applyAppearance: correcting overlay frame on display " << screen.displayId << " from " << old
                   << " to " << expected;
            panel->setFrame(expected);
        }
        // Repainting a whole-screen picture is the costliest thing an overlay does (on X11 an upload of the
        // rendered pixmap), and refresh() runs on every activation: only a changed look is applied.
        const auto last = m_appliedAppearance.find(screen.displayId);
        OverlayAppearance look = appearanceFor(screen, expected.height(),
                                               last == m_appliedAppearance.end() ? nullptr : &last->second);
        if (last == m_appliedAppearance.end() || !(last->second == look)) {
            panel->setAppearance(look);
            m_appliedAppearance[screen.displayId] = std::move(look);
        }
    }
    m_images.endRound();
}

void FocusDimmer::updateOrdering(const QString& sourceTag)
{
    const DesktopReadScope scope(*this);
    const QString source = tag(sourceTag);
    if (m_windowsByScreen.empty())
        return;
    const auto front = frontmostApplication();
    if (!m_lastOrderedWindowByScreen.empty() && front && isExcluded(*front)) {
        DIMLOG << "updateOrdering: front app is excluded from dimming — keeping current overlay position (source="
               << source << ")";
        return;
    }
    const auto snapshot = windowSnapshot();
    if (!snapshot)
        return;
    if (hiddenForFullScreen(*snapshot, "updateOrdering", source))
        return;
    if (!front)
        return;
    const std::int32_t pid = front->pid;
    const OverlayOrdering ordering = OverlayOrdering::fromScreens(m_platform.screens->screens(),
                                                                  m_platform.workspace->ownPid());

    const int layer = m_focused.focusedWindowLayer(pid, *snapshot);
    const bool floatingLayer = layer >= 1 && layer <= 19;
    if (layer == WindowLevel::normal)
        m_floatingWindowActive = false;
    if (floatingLayer || (layer != WindowLevel::normal && m_floatingWindowActive)) {
        m_floatingWindowActive = true;
        DIMLOG << "updateOrdering: focused window is floating (layer=" << layer
               << ", sticky=" << (floatingLayer ? "false" : "true")
               << ") — keeping current overlay position (source=" << source << ")";
        return;
    }
    if (m_focused.isFocusedWindowDialogOrSheet(pid)) {
        DIMLOG << "updateOrdering: focused window is a dialog/sheet — keeping current overlay position (source="
               << source << ")";
        return;
    }

    const std::map<DisplayId, WindowNumber> targets = ordering.frontmostWindowNumbersPerScreen(*snapshot, pid, false);
    const std::optional<DisplayId> focus = ordering.focusedScreen(*snapshot, pid);

    if (m_clearInactiveScreensActive && m_quickDimAwaitingApp) {
        if (isQuickDimApp(*front))
            m_quickDimAwaitingApp = false;
        else
            DIMLOG << "updateOrdering: waiting for quick-dim app before clearing screens (source=" << source << ")";
    }
    bool clearOthers = false;
    if (m_clearInactiveScreensActive && !m_quickDimAwaitingApp) {
        if (m_clearInactiveScreensAnchorDisplayID && focus && *focus != *m_clearInactiveScreensAnchorDisplayID) {
            DIMLOG << "updateOrdering: focus moved to screen " << *focus
                   << " — ending clear-inactive-screens mode (source=" << source << ")";
            clearInactiveScreensOff();
            return;
        }
        if (!m_clearInactiveScreensAnchorDisplayID)
            m_clearInactiveScreensAnchorDisplayID = focus;
        clearOthers = focus.has_value();
    }

    bool needsRetry = false;
    const double now = m_platform.scheduler->now();
    for (auto& [id, panel] : m_windowsByScreen) {
        const bool isFocus = focus && *focus == id;
        if (clearOthers && !isFocus) {
            panel->orderFrontRegardless();
            m_lastOrderedWindowByScreen.erase(id);
            DIMLOG << "updateOrdering: screen " << id << " cleared — inactive screen fully covered (source=" << source
                   << ")";
            continue;
        }
        if (m_forcedCoverDisplayIDs.contains(id)) {
            if (!isFocus) {
                panel->orderFrontRegardless();
                m_lastOrderedWindowByScreen.erase(id);
                DIMLOG << "updateOrdering: screen " << id << " fully covered — window was moved away (source="
                       << source << ")";
                continue;
            }
            m_forcedCoverDisplayIDs.remove(id);
            DIMLOG << "updateOrdering: screen " << id << " active again — releasing forced cover (source=" << source
                   << ")";
        }
        std::optional<WindowNumber> target;
        if (const auto it = targets.find(id); it != targets.end())
            target = it->second;
        const auto cachedIt = m_lastOrderedWindowByScreen.find(id);
        const std::optional<WindowNumber> cached =
            cachedIt == m_lastOrderedWindowByScreen.end() ? std::nullopt : std::optional<WindowNumber>(cachedIt->second);

        if (target && !isFocus) {
            // On a screen the user is not working on, a window of the active app buried under another app's
            // window must not pull the overlay down: it would uncover everything above it.
            const auto top = ordering.topmostWindowOnScreen(id, *snapshot);
            if (top && *top != *target) {
                const WindowNumber anchor =
                    cached && ordering.isWindowStillOnScreen(*cached, *snapshot, id) ? *cached : *top;
                DIMLOG << "updateOrdering: screen " << id << " front-app window " << *target
                       << " is not topmost — keeping anchor " << anchor << " (source=" << source << ")";
                target = anchor;
            }
        }
        if (!target) {
            if (m_settings.settings().focusDimOtherScreensFully) {
                panel->orderFrontRegardless();
                m_lastOrderedWindowByScreen.erase(id);
                DIMLOG << "updateOrdering: screen " << id << " fully dimmed — active app has no window here (source="
                       << source << ")";
                continue;
            }
            if (cached && ordering.isWindowStillOnScreen(*cached, *snapshot, id)) {
                target = cached;
                DIMLOG << "updateOrdering: screen " << id << " using cached targetNumber=" << *cached
                       << " (source=" << source << ")";
            } else if (const auto top = ordering.topmostWindowOnScreen(id, *snapshot)) {
                target = top;
                DIMLOG << "updateOrdering: screen " << id << " surfacing topmost remaining window " << *top
                       << " (source=" << source << ")";
            } else {
                needsRetry = true;
                DIMLOG << "updateOrdering: screen " << id << " no target window found (source=" << source << ")";
                continue;
            }
        }
        panel->orderBelow(*target);
        m_lastOrderedWindowByScreen[id] = *target;
        DIMLOG << "updateOrdering: screen " << id << " ordered below windowNumber=" << *target << " (source=" << source
               << ") dt=" << QString::asprintf("%.3f", now - m_lastEventAt) << "s";
    }
    m_lastEventAt = now;

    if (needsRetry) {
        DIMLOG << "updateOrdering: scheduling retry for screens with no target (source=" << source << ")";
        schedule(m_pendingTargetRetry, 0.05, [](FocusDimmer& d) { d.updateOrdering(QStringLiteral("retry")); });
    }
}

void FocusDimmer::reorderOptimisticallyThenVerify(const QString& sourceTag)
{
    const DesktopReadScope scope(*this);
    const QString source = tag(sourceTag);
    const auto snapshot = windowSnapshot();
    if (!snapshot)
        return;
    if (hiddenForFullScreen(*snapshot, "reorderOptimisticallyThenVerify", source))
        return;
    cancelTask(m_pendingTargetRetry);
    const OverlayOrdering ordering = OverlayOrdering::fromScreens(m_platform.screens->screens(),
                                                                  m_platform.workspace->ownPid());
    for (auto& [id, panel] : m_windowsByScreen) {
        const auto it = m_lastOrderedWindowByScreen.find(id);
        if (it == m_lastOrderedWindowByScreen.end() || !ordering.isWindowStillOnScreen(it->second, *snapshot, id))
            continue;
        panel->orderBelow(it->second);
        DIMLOG << "optimistic reorder screen " << id << " below last=" << it->second << " (source=" << source << ")";
    }
    schedule(m_pendingTargetRetry, 0.03,
             [source](FocusDimmer& d) { d.updateOrdering(source + QStringLiteral("-verify")); });
}

}  // namespace tamsinvale
