// The inactive apps window's show and close sequence and its placement.
#include "InactiveAppsWindowController.h"

#include "AppUsageTracker.h"
#include "InactiveAppsView.h"
#include "InactiveLog.h"
#include "InactivePanel.h"
#include "platform/ScreenCoordinates.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

InactiveAppsWindowController::InactiveAppsWindowController(const Platform& platform, SettingsStore& settings,
                                                           AppUsageTracker& tracker, AppIconStore* icons,
                                                           QObject* parent)
    : QObject(parent), m_platform(platform), m_settings(settings), m_tracker(tracker), m_icons(icons)
{
}

InactiveAppsWindowController::~InactiveAppsWindowController()
{
    if (m_panel)
        m_panel->setView(nullptr);
}

void InactiveAppsWindowController::show()
{
    m_showTimer.start();
    // While the panel has the focus, Tamsinvale is frontmost: the user's application is the one from before.
    const auto front = m_platform.workspace->frontmostApplication();
    if (front && front->pid != m_platform.workspace->ownPid())
        m_userApp = front->pid;
    else if (!m_open)
        m_userApp.reset();

    if (!m_panel) {
        m_panel = std::make_unique<InactivePanel>(m_icons);
        connect(m_panel.get(), &InactivePanel::closeRequested, this, &InactiveAppsWindowController::close);
        connect(m_panel.get(), &InactivePanel::painted, this, [this] {
            if (!m_awaitingFirstPaint)
                return;
            m_awaitingFirstPaint = false;
            const qint64 ms = m_showTimer.elapsed();
            qCInfo(lcInactive, "window: first paint %lld ms after show", static_cast<long long>(ms));
            emit firstPaint(ms);
        });
    }
    if (m_view) {
        m_view->reload();
    } else {
        AppUsageTracker* tracker = &m_tracker;
        m_view = std::make_unique<InactiveAppsView>(
            m_platform, m_settings, [tracker](const RunningApp& app) { return tracker->lastActive(app); }, m_userApp);
        m_view->onEscape = [this] { close(); };
        m_panel->setView(m_view.get());
    }
    const bool wasVisible = m_panel->isVisible();
    if (!wasVisible) {
        placePanel();
        if (preparePanel)
            preparePanel(m_panel.get());
        m_awaitingFirstPaint = true;
    }
    m_panel->show();
    m_panel->raise();
    m_panel->activateWindow();
    m_open = true;
    qCInfo(lcInactive, "window: shown with %lld apps inactive for more than %s (+%lld ms)",
           static_cast<long long>(m_view->rows().size()), qUtf8Printable(m_view->thresholdLabel()),
           static_cast<long long>(m_showTimer.elapsed()));
    emit shown();
}

void InactiveAppsWindowController::close()
{
    if (!m_open)
        return;
    m_open = false;
    m_awaitingFirstPaint = false;
    m_panel->hide();
    m_panel->setView(nullptr);
    // The panel had the keyboard: give it back to the application the user was in, rather than to whichever
    // window the window manager picks next. Not when the user has already gone on to another application.
    const auto front = m_platform.workspace->frontmostApplication();
    if (m_userApp && (!front || front->pid == m_platform.workspace->ownPid()))
        m_platform.workspace->activate(*m_userApp, false);
    // Released later: this runs inside the view's own Escape or a click on the panel.
    m_view.release()->deleteLater();
    qCInfo(lcInactive, "window: closed");
    emit closed();
}

void InactiveAppsWindowController::placePanel()
{
    const std::optional<ScreenInfo> main = m_platform.screens ? m_platform.screens->mainScreen() : std::nullopt;
    const QSize available = main ? main->visibleFrame.size().toSize() : QSize(InactivePanel::panelWidth, 600);
    const QSize size = m_panel->preferredSize(QSize(available.width(), int(available.height() * 0.8)));
    if (!main) {
        m_panel->resize(size);
        return;
    }
    // Centred across the visible frame, a third of the free height down from its top (y up in screen space).
    const QRectF visible = main->visibleFrame;
    const double x = visible.center().x() - size.width() / 2.0;
    const double top = visible.y() + visible.height() - std::max(0.0, (visible.height() - size.height()) / 3.0);
    const QRectF screenRect(x, top - size.height(), size.width(), size.height());
    m_panel->setGeometry(ScreenCoordinates::of(*m_platform.screens).toTopLevel(screenRect));
}

}  // namespace tamsinvale
