// The window switcher's show/close sequence, its keyboard capture and the panel's place on the main screen.
#include "WindowsSwitcherWindowController.h"

#include "WSFocusablePanel.h"
#include "WindowDataProvider.h"
#include "WindowsSwitcherView.h"
#include "platform/Logging.h"
#include "platform/ScreenCoordinates.h"
#include "switcher/SwitcherActivity.h"
#include "switcher/SwitcherKeyEvent.h"

namespace tamsinvale {

WindowsSwitcherWindowController::WindowsSwitcherWindowController(const Platform& platform, AppIconStore* icons,
                                                                 KeyboardCapture* capture, QObject* parent)
    : QObject(parent), m_platform(platform), m_icons(icons), m_capture(capture)
{
}

WindowsSwitcherWindowController::~WindowsSwitcherWindowController()
{
    if (m_open)
        close();
}

void WindowsSwitcherWindowController::show(std::int32_t pid, const QString& name)
{
    m_showTimer.start();
    qCDebug(lcWindows, "[WindowsSwitcherController] show() called with pid:%d name:%s", pid, qUtf8Printable(name));
    const std::optional<ScreenInfo> main = m_platform.screens ? m_platform.screens->mainScreen() : std::nullopt;
    if (!main) {
        qCInfo(lcWindows, "window switcher: no display to show it on");
        return;
    }
    if (m_open) {
        // A second showing replaces the session; the keyboard is taken afresh for it.
        if (m_capture && m_capturing)
            m_capture->end();
        m_capturing = false;
    } else if (beforeShow) {
        beforeShow();
    }

    m_provider = std::make_shared<WindowDataProvider>(m_platform, pid, name);
    m_provider->refreshFocusDimming = refreshFocusDimming;
    m_provider->refresh();
    if (lcWindows().isDebugEnabled()) {
        QStringList titles;
        for (const WindowInfo& w : m_provider->windows())
            titles << QLatin1Char('\'') + w.title + QLatin1Char('\'');
        qCDebug(lcWindows, "window switcher: listing %s", qUtf8Printable(titles.join(QStringLiteral(", "))));
    }
    m_view = std::make_unique<WindowsSwitcherView>(m_platform, m_provider);
    m_view->onClose = [this] { close(); };
    const QUuid session = m_view->sessionId();
    SwitcherActivity::shared().setMode(SwitcherActivity::Kind::windows(session));
    m_open = true;

    // The view is ready before the keyboard is taken: the keys typed since the hotkey are handed over at once, and
    // one of them may already close the panel again.
    if (m_capture) {
        m_capturing = true;
        m_capturing = m_capture->begin([this](const CapturedKey& key) {
            keyDown(SwitcherKeyEvent{key.keyCode, key.text, key.modifiers});
        });
    }
    if (!m_open || !m_view || m_view->sessionId() != session) {
        m_capturing = false;  // closed by a key typed before the panel was up; the keyboard went back then
        return;
    }
    if (m_capturing) {
        // A click into another window means the user went there: the panel lets go, as on Escape, and the click
        // goes on to that window.
        m_capture->setPressOutsideHandler([this] { return m_window ? m_window->geometry() : QRect(); },
                                          [this] {
                                              if (!m_open)
                                                  return;
                                              qCInfo(lcWindows, "window switcher: pointer pressed outside the panel");
                                              close();
                                          });
    }

    if (!m_window) {
        m_window = std::make_unique<WSFocusablePanel>(m_icons);
        connect(m_window.get(), &WSFocusablePanel::keyPressed, this, &WindowsSwitcherWindowController::keyDown);
        m_window->onEscape = [this] { close(); };
    }
    m_window->setView(m_view.get());
    // Centred on the main screen's visible frame, wherever that monitor stands among the others.
    const ScreenCoordinates coordinates = ScreenCoordinates::of(*m_platform.screens);
    const QRectF visible = coordinates.toWindowServer(main->visibleFrame);
    const QSize size = m_window->size();
    const QPointF topLeft(visible.center().x() - size.width() / 2.0, visible.center().y() - size.height() / 2.0);
    m_window->setPosition(coordinates.windowServerToTopLevel(topLeft).toPoint());
    // Without the capture the panel's own window must take the focus for keys to reach it.
    m_window->setFlag(Qt::WindowDoesNotAcceptFocus, m_capturing);
    m_window->show();
    m_window->raise();
    if (!m_capturing)
        m_window->requestActivate();
    qCInfo(lcWindows, "window switcher: shown for %s (pid %d), %ld windows, keyboard %s (+%lld ms)",
           qUtf8Printable(name), pid, long(m_provider->windows().size()), m_capturing ? "taken" : "not taken",
           static_cast<long long>(m_showTimer.elapsed()));
    emit shown();
}

void WindowsSwitcherWindowController::hidePanel()
{
    m_open = false;
    if (m_window)
        m_window->hide();
    if (m_view && SwitcherActivity::shared().mode() == SwitcherActivity::Kind::windows(m_view->sessionId()))
        SwitcherActivity::shared().setMode(std::nullopt);
}

void WindowsSwitcherWindowController::close()
{
    if (!m_open)
        return;
    qCInfo(lcWindows, "window switcher: closed");
    if (m_capture && m_capturing) {
        m_capture->setPressOutsideHandler({}, {});
        m_capture->end();
    }
    m_capturing = false;
    hidePanel();
    emit closed();
}

void WindowsSwitcherWindowController::yieldKeyboard()
{
    if (!m_open)
        return;
    qCInfo(lcWindows, "window switcher: closed, another panel took the keyboard");
    m_capturing = false;
    hidePanel();
    emit closed();
}

void WindowsSwitcherWindowController::keyDown(const SwitcherKeyEvent& event)
{
    if (!m_open || !m_view)
        return;
    // A key with no use here (Return with nothing selected, Tab) is simply dropped.
    m_view->keyDown(event);
}

}  // namespace tamsinvale
