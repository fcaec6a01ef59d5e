// The switcher's show/close sequence with its timing log, the keyboard capture and the unhandled-key beep.
#include "SwitcherWindowController.h"

#include <QGuiApplication>
#include <QPointer>

#include "AppDiscoveryStore.h"
#include "AppIconStore.h"
#include "FocusablePanel.h"
#include "ShortcutStore.h"
#include "SwitcherActivity.h"
#include "SwitcherKeyRouter.h"
#include "SwitcherView.h"
#include "platform/Logging.h"
#include "platform/ScreenCoordinates.h"

namespace tamsinvale {

SwitcherWindowController::SwitcherWindowController(const Platform& platform, ShortcutStore& store,
                                                   AppDiscoveryStore& discovery, AppIconStore* icons,
                                                   KeyboardCapture* capture, QObject* parent)
    : QObject(parent)
    , m_platform(platform)
    , m_store(store)
    , m_discovery(discovery)
    , m_icons(icons)
    , m_capture(capture)
{
    // A refresh that changed the list or its icons while the panel is closed: the next frame is drawn now.
    connect(&m_discovery, &AppDiscoveryStore::refreshFinished, this, [this](bool changed) {
        if (changed)
            refreshPreparedFrame();
    });
    QPointer<SwitcherWindowController> self(this);
    m_platform.scheduler->post([self] {
        if (self)
            self->prepareNextShowing();
    });
    // Icons loaded after their list (the first scan's): drawn into the prepared frame once the panel has dropped
    // the rows that showed placeholders, one turn later.
    if (m_icons) {
        connect(m_icons, &AppIconStore::iconsChanged, this, [self] {
            self->m_platform.scheduler->post([self] {
                if (self)
                    self->refreshPreparedFrame();
            });
        });
    }
}

std::unique_ptr<SwitcherView> SwitcherWindowController::makeView(SwitcherKeyRouter& router)
{
    auto view = std::make_unique<SwitcherView>(m_store, m_discovery, router, *m_platform.scheduler);
    view->onClose = [this] { close(); };
    view->onOpenSettings = [this] {
        if (openSettings)
            openSettings();
    };
    // Edits of the bindings while closed: the prepared frame follows them.
    connect(view.get(), &SwitcherView::changed, this, [this] {
        if (!m_open)
            refreshPreparedFrame();
    });
    return view;
}

void SwitcherWindowController::ensureWindow()
{
    if (m_window)
        return;
    m_window = std::make_unique<FocusablePanel>(m_icons);
    connect(m_window.get(), &FocusablePanel::keyPressed, this, &SwitcherWindowController::keyDown);
    connect(m_window.get(), &FocusablePanel::exposedOnScreen, this, [this] {
        if (m_open && !m_appeared)
            viewAppears();
    });
    m_window->onEscape = [this] { close(); };
}

void SwitcherWindowController::prepareNextShowing()
{
    // A view made ahead follows the stores by itself; one is enough.
    if (m_open || (m_nextView && m_window && m_window->view() == m_nextView.get()))
        return;
    if (m_view)
        m_view->stopFollowingStores();
    m_nextRouter = std::make_unique<SwitcherKeyRouter>();
    m_nextView = makeView(*m_nextRouter);
    ensureWindow();
    m_window->setView(m_nextView.get());
    // The native window exists before the first showing, so that showing is only a map.
    m_window->create();
    refreshPreparedFrame();
}

void SwitcherWindowController::refreshPreparedFrame()
{
    if (m_open || !m_window || !m_nextView || m_window->view() != m_nextView.get())
        return;
    placePanel();
    m_window->prepareFrame();
}

SwitcherWindowController::~SwitcherWindowController()
{
    if (m_open)
        close();
}

void SwitcherWindowController::toggle()
{
    if (m_open)
        close();
    else
        show();
}

void SwitcherWindowController::show()
{
    m_showTimer.start();
    const bool trusted = m_platform.accessibility && m_platform.accessibility->isProcessTrusted();
    qCInfo(lcSwitcher, "show: begin (axTrusted=%s)", logBool(trusted));
    if (m_open) {
        // A second show replaces the session; the old view's keys are no longer ours.
        if (m_capture)
            m_capture->end();
        m_capturing = false;
    }

    m_store.migrateLegacyDiscoveredBindings(m_discovery.apps());
    qCInfo(lcSwitcher, "show: migration done (+%ld ms)", long(sinceShow()));

    // The keyboard is taken first, so that nothing typed from here on can go to another application. Keys typed
    // before it (the capture hands them over as it begins) already count: the router keeps them for the view.
    if (!m_nextView) {
        m_nextRouter = std::make_unique<SwitcherKeyRouter>();
        m_nextView = makeView(*m_nextRouter);
    }
    m_router = std::move(m_nextRouter);
    m_open = true;
    if (m_capture) {
        m_capturing = m_capture->begin([this](const CapturedKey& key) {
            keyDown(SwitcherKeyEvent{key.keyCode, key.text, key.modifiers});
        });
        if (m_capturing) {
            qCInfo(lcSwitcher, "panel: became key window");
            // A click into another window means the user went there: the switcher lets go, as on Escape, and the
            // click goes on to that window.
            m_capture->setPressOutsideHandler([this] { return m_window ? m_window->geometry() : QRect(); },
                                              [this] {
                                                  if (!m_open)
                                                      return;
                                                  qCInfo(lcSwitcher, "close: pointer pressed outside the panel");
                                                  close();
                                              });
        }
    }
    qCInfo(lcSwitcher, "show: monitor ready (+%ld ms)", long(sinceShow()));

    m_view = std::move(m_nextView);
    qCInfo(lcSwitcher, "show: view struct made (+%ld ms)", long(sinceShow()));

    ensureWindow();
    if (m_window->view() != m_view.get())
        m_window->setView(m_view.get());
    qCInfo(lcSwitcher, "show: hosting view built (+%ld ms)", long(sinceShow()));
    qCInfo(lcSwitcher, "show: window content set (+%ld ms)", long(sinceShow()));

    m_appeared = false;
    placePanel();
    // Without the capture the panel's own window must take the focus for keys to reach it.
    m_window->setFlag(Qt::WindowDoesNotAcceptFocus, m_capturing);
    m_window->show();
    m_window->raise();
    if (!m_capturing)
        m_window->requestActivate();
    const std::optional<RunningApp> front =
        m_platform.workspace ? m_platform.workspace->frontmostApplication() : std::nullopt;
    qCInfo(lcSwitcher, "show: ordered front (+%ld ms total, frontmost=%s, isKey=%s, shortcuts=%ld)",
           long(sinceShow()), qUtf8Printable(front ? front->localizedName : QStringLiteral("none")),
           logBool(m_capturing), long(m_store.shortcuts().size()));

    // The view appears once the panel is on screen; until then keys wait in the router.
    cancelTask(m_appearFallback);
    if (m_window->isExposed()) {
        viewAppears();
    } else {
        QPointer<SwitcherWindowController> self(this);
        m_appearFallback = m_platform.scheduler->postAfter(appearFallbackSeconds, [self] {
            if (self && self->m_open && !self->m_appeared)
                self->viewAppears();
        });
    }
    emit shown();
}

void SwitcherWindowController::viewAppears()
{
    m_appeared = true;
    cancelTask(m_appearFallback);
    m_view->appear();
}

void SwitcherWindowController::close()
{
    if (!m_open)
        return;
    qCInfo(lcSwitcher, "close: removing monitor, hiding panel");
    m_open = false;
    cancelTask(m_appearFallback);
    if (m_capture && m_capturing) {
        m_capture->setPressOutsideHandler({}, {});
        m_capture->end();
        qCInfo(lcSwitcher, "panel: resigned key window");
    }
    m_capturing = false;
    if (m_window)
        m_window->hide();
    if (m_view && SwitcherActivity::shared().isAppSession(m_view->sessionId()))
        SwitcherActivity::shared().setMode(std::nullopt);
    // The next showing is made ready one turn later, after what this close started (an activation) has run.
    QPointer<SwitcherWindowController> self(this);
    m_platform.scheduler->post([self] {
        if (self)
            self->prepareNextShowing();
    });
    emit closed();
}

void SwitcherWindowController::keyDown(const SwitcherKeyEvent& event)
{
    if (!m_open || !m_router)
        return;
    // Keys typed before the handler is there wait for it, but Escape means leave now.
    if (!m_router->hasHandler() && event.keyCode == SwitcherKeyEvent::escape) {
        close();
        return;
    }
    const std::optional<SwitcherKeyEvent> passed = m_router->route(event);
    if (!passed || !m_open)
        return;
    if (m_view && m_view->editFilter(*passed))
        return;
    if (passed->keyCode == SwitcherKeyEvent::escape) {
        close();
        return;
    }
    qCInfo(lcSwitcher, "panel: unhandled keyDown '%s' fell through to panel (this is the beep)",
           qUtf8Printable(passed->logText()));
    if (m_platform.workspace)
        m_platform.workspace->beep();
}

void SwitcherWindowController::placePanel()
{
    const std::optional<ScreenInfo> main = m_platform.screens ? m_platform.screens->mainScreen() : std::nullopt;
    if (!main)
        return;
    const ScreenCoordinates coordinates = ScreenCoordinates::of(*m_platform.screens);
    const QRectF topDown = coordinates.toWindowServer(main->visibleFrame);
    const QSize size = m_window->preferredSize(topDown.size().toSize());
    const QPointF topLeft(topDown.center().x() - size.width() / 2.0,
                          topDown.y() + std::max(0.0, (topDown.height() - size.height()) / 3.0));
    m_window->setGeometry(QRect(coordinates.windowServerToTopLevel(topLeft).toPoint(), size));
}

}  // namespace tamsinvale
