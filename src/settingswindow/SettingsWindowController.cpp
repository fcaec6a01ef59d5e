// Showing, bringing forward and closing the settings window, and the hotkeys' suspension while a field records.
#include "SettingsWindowController.h"

#include "SettingsWindow.h"
#include "hotkeys/HotKeyManager.h"

Q_LOGGING_CATEGORY(lcSettingsWindow, "tamsinvale.settingswindow", QtInfoMsg)

namespace tamsinvale {

SettingsWindowController::SettingsWindowController(SettingsWindowContext context, QObject* parent)
    : QObject(parent), m_context(std::move(context))
{
    m_context.recordingStarted = [this] { recordingStarted(); };
    m_context.recordingEnded = [this] { recordingEnded(); };
}

SettingsWindowController::~SettingsWindowController()
{
    // The fields go with the window; their end of recording must not reach a half-destroyed controller.
    if (m_window)
        m_window->disconnect(this);
    m_window.reset();
    if (m_suspended && m_context.hotKeys)
        m_context.hotKeys->resume();
}

bool SettingsWindowController::isOpen() const
{
    return m_window && m_window->isVisible();
}

void SettingsWindowController::show(std::optional<SettingsPage> page)
{
    m_showTimer.start();
    const bool cold = !m_window;
    if (cold) {
        m_window = std::make_unique<SettingsWindow>(m_context);
        connect(m_window.get(), &SettingsWindow::hidden, this, &SettingsWindowController::windowHidden);
        connect(m_window.get(), &SettingsWindow::painted, this, [this] {
            if (!m_awaitingFirstPaint)
                return;
            m_awaitingFirstPaint = false;
            const qint64 ms = m_showTimer.elapsed();
            qCInfo(lcSettingsWindow, "window: first paint %lld ms after show", static_cast<long long>(ms));
            emit firstPaint(ms);
        });
    }
    m_window->showPage(page.value_or(m_window->currentPage()));
    m_window->focusSidebar();
    const bool wasVisible = m_window->isVisible();
    if (!wasVisible) {
        if (prepareWindow)
            prepareWindow(m_window.get());
        m_awaitingFirstPaint = true;
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
    // A window already mapped behind others is brought forward through the window manager, as the switchers
    // bring other applications' windows forward; a new one takes the focus as the manager maps it.
    if (wasVisible && m_context.platform.workspace)
        m_context.platform.workspace->activate(m_context.platform.workspace->ownPid(), false);
    qCInfo(lcSettingsWindow, "window: shown on %s (%s, +%lld ms)",
           qUtf8Printable(settingsPageName(m_window->currentPage())), cold ? "cold" : "reopened",
           static_cast<long long>(m_showTimer.elapsed()));
}

void SettingsWindowController::close()
{
    if (m_window)
        m_window->hide();
}

void SettingsWindowController::recordingStarted()
{
    if (m_suspended)
        return;
    m_suspended = true;
    if (m_context.hotKeys)
        m_context.hotKeys->suspend();
}

void SettingsWindowController::recordingEnded()
{
    if (!m_suspended)
        return;
    m_suspended = false;
    if (m_context.hotKeys)
        m_context.hotKeys->resume();
}

void SettingsWindowController::windowHidden()
{
    m_awaitingFirstPaint = false;
    // Closed mid-recording: the field may not have heard of it yet.
    recordingEnded();
    qCInfo(lcSettingsWindow, "window: closed");
}

}  // namespace tamsinvale
