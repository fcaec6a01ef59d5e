// The focus dimmer's event side: activation, the accessibility observer, the shared debounce, refresh(),
// screen changes and the polling that brings the overlays back after full screen.
#include "DimmingLog.h"
#include "FocusDimmer.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

void FocusDimmer::onApplicationActivated()
{
    DIMLOG << "didActivateApplication notification";
    m_floatingWindowActive = false;
    refresh();
    if (!m_floatingWindowActive)
        setupAXObserver();
}

void FocusDimmer::setupAXObserver()
{
    const DesktopReadScope scope(*this);
    Accessibility* ax = m_platform.accessibility;
    if (!ax || !ax->isProcessTrusted())
        return;
    const auto front = frontmostApplication();
    if (!front) {
        tearDownAXObserver();
        return;
    }
    if (isExcluded(*front)) {
        // The dimmed application stays followed while an excluded one is in front.
        DIMLOG << "AX observer unchanged — front app is excluded from dimming";
        return;
    }
    if (m_observedPid == front->pid && m_axObserver)
        return;
    tearDownAXObserver();
    AXError status = AXError::success;
    QPointer<FocusDimmer> self(this);
    auto handle = ax->observe(
        front->pid,
        {AXNotification::focusedWindowChanged, AXNotification::windowCreated, AXNotification::windowResized,
         AXNotification::windowMoved},
        [self](const QString& notification, const AXElement&) {
            if (self)
                self->onAXNotification(notification);
        },
        &status);
    if (!handle) {
        DIMLOG << "AXObserverCreate failed for pid=" << front->pid << " status=" << int(status);
        return;
    }
    m_axObserver = std::move(handle);
    m_observedPid = front->pid;
    DIMLOG << "AX observing front app pid=" << front->pid << " name=" << front->localizedName;
}

void FocusDimmer::tearDownAXObserver()
{
    if (!m_axObserver && !m_observedPid)
        return;
    const std::int32_t pid = m_observedPid.value_or(0);
    m_axObserver.reset();
    m_observedPid.reset();
    DIMLOG << "AX observer torn down for pid=" << pid;
}

void FocusDimmer::onAXNotification(const QString& notification)
{
    if (notification == AXNotification::focusedWindowChanged) {
        DIMLOG << "AX kAXFocusedWindowChanged received";
        handleAXFocusChange(QStringLiteral("ax-focus"));
    } else if (notification == AXNotification::windowCreated) {
        DIMLOG << "AX kAXWindowCreated received";
        handleAXFocusChange(QStringLiteral("ax-window-created"));
    } else if (notification == AXNotification::windowResized || notification == AXNotification::windowMoved) {
        DIMLOG << "AX window resized/moved received - checking fullscreen state";
        debouncedRefresh(QStringLiteral("ax-resize"));
    }
}

void FocusDimmer::debounce(const QString& source, const std::function<void(const QString&, bool)>& action)
{
    cancelTask(m_pendingAXWork);
    const double elapsed = m_platform.scheduler->now() - m_lastReorderAt;
    if (elapsed < reorderDebounceInterval) {
        // The burst's last event is never lost: it runs once the interval since the previous action is over.
        schedule(m_pendingAXWork, reorderDebounceInterval - elapsed, [source, action](FocusDimmer& d) {
            d.m_lastReorderAt = d.m_platform.scheduler->now();
            action(source + QStringLiteral("-debounced"), true);
        });
        return;
    }
    m_lastReorderAt = m_platform.scheduler->now();
    action(source, false);
}

void FocusDimmer::debouncedRefresh(const QString& source)
{
    debounce(source, [this](const QString& tag, bool deferred) {
        if (deferred)
            DIMLOG << "debouncedRefresh: executing (source=" << tag << ")";
        else
            DIMLOG << "debouncedRefresh: immediate (source=" << tag << ")";
        refresh();
    });
}

void FocusDimmer::handleAXFocusChange(const QString& source)
{
    debounce(source, [this](const QString& tag, bool) { reorderOptimisticallyThenVerify(tag); });
}

void FocusDimmer::refresh()
{
    const DesktopReadScope scope(*this);
    const bool wanted = m_settings.settings().focusDimEnabled || m_clearInactiveScreensActive;
    if (wanted && !m_windowsByScreen.empty()) {
        if (const auto front = frontmostApplication()) {
            if (isExcluded(*front)) {
                DIMLOG << "refresh: front app is excluded from dimming — keeping current state";
                return;
            }
            if (m_floatingWindowActive) {
                DIMLOG << "refresh: floating window still active (sticky) — keeping current state";
                return;
            }
            if (!isSelf(*front)) {
                const auto snapshot = windowSnapshot();
                const int layer = snapshot ? m_focused.focusedWindowLayer(front->pid, *snapshot) : 0;
                if (layer >= 1 && layer <= 19) {
                    m_floatingWindowActive = true;
                    DIMLOG << "refresh: front app focused window is floating — keeping current state";
                    return;
                }
                if (m_focused.isFocusedWindowDialogOrSheet(front->pid)) {
                    DIMLOG << "refresh: front app focused window is a dialog/sheet — keeping current state";
                    return;
                }
            }
        } else if (m_floatingWindowActive) {
            DIMLOG << "refresh: floating window still active (sticky) — keeping current state";
            return;
        }
    }
    if (fullScreenInFront()) {
        hide();
        if (wanted) {
            startFullscreenRecovery();
            setupAXObserver();
        }
        return;
    }
    if (!wanted) {
        hide();
        return;
    }
    cancelTask(m_fullscreenRecoveryWork);
    if (m_windowsByScreen.empty()) {
        show();
    } else {
        applyAppearance();
        updateOrdering(QStringLiteral("refresh"));
        orderFrontHiddenOverlays();
    }
    setupAXObserver();
}

void FocusDimmer::delayedStart()
{
    DIMLOG << "delayedStart: second look after start-up";
    refresh();
}

void FocusDimmer::handleScreenConfigurationChange()
{
    QSet<DisplayId> now;
    for (const ScreenInfo& s : usableScreens())
        now.insert(s.displayId);
    if (now == m_currentDisplayIDs) {
        DIMLOG << "handleScreenConfigurationChange: screen configuration unchanged, refreshing";
    } else {
        const QSet<DisplayId> old = m_currentDisplayIDs;
        hide();
        auto text = [](const QSet<DisplayId>& ids) {
            QList<DisplayId> sorted(ids.cbegin(), ids.cend());
            std::sort(sorted.begin(), sorted.end());
            QStringList parts;
            for (const DisplayId id : sorted)
                parts << QString::number(id);
            return QStringLiteral("[") + parts.join(QStringLiteral(", ")) + QStringLiteral("]");
        };
        DIMLOG << "handleScreenConfigurationChange: screen configuration changed from " << text(old) << " to "
               << text(now);
    }
    refresh();
    m_detached.append(later(1.0, [](FocusDimmer& d) { d.refresh(); }));
}

void FocusDimmer::startFullscreenRecovery()
{
    cancelTask(m_fullscreenRecoveryWork);
    auto attempts = std::make_shared<int>(0);
    m_recoveryAttempts = attempts;
    schedule(m_fullscreenRecoveryWork, 0.1, [attempts](FocusDimmer& d) { d.runFullscreenRecovery(attempts); });
    DIMLOG << "fullscreenRecovery: started polling for fullscreen exit";
    emit fullScreenWindowInFront();
}

void FocusDimmer::runFullscreenRecovery(std::shared_ptr<int> attempts)
{
    ++*attempts;
    bool present = false;
    if (const auto a = windowSnapshot(); a && isAnyFullScreenPresent(*a))
        present = true;
    else if (const auto b = windowSnapshot(); b && isFrontAppFullScreen(*b))
        present = true;
    if (!present) {
        DIMLOG << "fullscreenRecovery: fullscreen ended, refreshing";
        m_fullscreenRecoveryWork.reset();
        refresh();
        return;
    }
    if (*attempts < fullscreenRecoveryMaxAttempts) {
        const double delay = std::min(0.1 + 0.025 * *attempts, 0.5);
        schedule(m_fullscreenRecoveryWork, delay, [attempts](FocusDimmer& d) { d.runFullscreenRecovery(attempts); });
        return;
    }
    DIMLOG << "fullscreenRecovery: max attempts reached, stopping";
    m_fullscreenRecoveryWork.reset();
}

}  // namespace tamsinvale
