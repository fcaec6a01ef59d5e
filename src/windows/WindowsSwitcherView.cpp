// Filtering, selection and the keys of the window switcher, and the two-step activation of a chosen window.
#include "WindowsSwitcherView.h"

#include <QPointer>
#include <QTextBoundaryFinder>

#include "platform/Logging.h"

namespace tamsinvale {

WindowsSwitcherView::WindowsSwitcherView(const Platform& platform, std::shared_ptr<WindowDataProvider> provider,
                                         QObject* parent)
    : QObject(parent), m_platform(platform), m_provider(std::move(provider))
{
    // Every row shows the one application's icon: looked up once.
    if (const auto app = m_platform.workspace->runningApplication(m_provider->targetPid())) {
        m_iconPath = app->bundlePath.isEmpty() ? std::nullopt : std::optional<QString>(app->bundlePath);
        m_iconKey = app->bundleIdentifier.value_or(app->bundlePath);
    }
    connect(m_provider.get(), &WindowDataProvider::windowsChanged, this, [this] {
        if (m_selectedIndex && *m_selectedIndex >= filteredWindows().size())
            m_selectedIndex.reset();
        emit changed();
    });
}

QList<WindowInfo> WindowsSwitcherView::filteredWindows() const
{
    if (m_filter.isEmpty())
        return m_provider->windows();
    QList<WindowInfo> out;
    for (const WindowInfo& w : m_provider->windows())
        if (w.title.contains(m_filter, Qt::CaseInsensitive))
            out.append(w);
    return out;
}

QList<WindowSwitcherRow> WindowsSwitcherView::rows() const
{
    QList<WindowSwitcherRow> out;
    const QList<WindowInfo> windows = filteredWindows();
    for (qsizetype i = 0; i < windows.size(); ++i) {
        const WindowInfo& w = windows[i];
        out.append(WindowSwitcherRow{w.id, w.title, w.appName, m_iconKey, m_iconPath,
                                     m_selectedIndex && *m_selectedIndex == i});
    }
    return out;
}

void WindowsSwitcherView::setFilter(const QString& filter)
{
    if (filter == m_filter)
        return;
    m_filter = filter;
    // A narrowed list starts at its best match, so that Enter takes it; the whole list starts with no selection.
    const qsizetype matches = filteredWindows().size();
    m_selectedIndex = m_filter.isEmpty() || matches == 0 ? std::nullopt : std::optional<int>(0);
    qCDebug(lcWindows, "window switcher: filter '%s' → %ld windows", qUtf8Printable(m_filter), long(matches));
    emit changed();
}

bool WindowsSwitcherView::keyDown(const SwitcherKeyEvent& event)
{
    return handleKey(event) || editFilter(event);
}

bool WindowsSwitcherView::handleKey(const SwitcherKeyEvent& event)
{
    switch (event.keyCode) {
    case SwitcherKeyEvent::escape:
        if (onClose)
            onClose();
        return true;
    case SwitcherKeyEvent::upArrow: {
        if (filteredWindows().isEmpty())
            return true;
        m_selectedIndex = std::max(m_selectedIndex.value_or(0) - 1, 0);
        emit changed();
        return true;
    }
    case SwitcherKeyEvent::downArrow: {
        const qsizetype count = filteredWindows().size();
        if (count == 0)
            return true;
        m_selectedIndex = std::min(m_selectedIndex.value_or(-1) + 1, int(count) - 1);
        emit changed();
        return true;
    }
    case SwitcherKeyEvent::returnKey:
    case SwitcherKeyEvent::keypadEnter: {
        const QList<WindowInfo> windows = filteredWindows();
        if (!m_selectedIndex || *m_selectedIndex < 0 || *m_selectedIndex >= windows.size())
            return false;
        const WindowInfo chosen = windows[*m_selectedIndex];
        if (onClose)
            onClose();
        activate(chosen);
        return true;
    }
    default:
        return false;
    }
}

bool WindowsSwitcherView::editFilter(const SwitcherKeyEvent& event)
{
    if (event.keyCode == SwitcherKeyEvent::deleteKey) {
        if (m_filter.isEmpty())
            return false;
        QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, m_filter);
        finder.toEnd();
        setFilter(m_filter.left(std::max<qsizetype>(0, finder.toPreviousBoundary())));
        return true;
    }
    if (event.characters.isEmpty() || !event.characters.at(0).isPrint())
        return false;
    setFilter(m_filter + event.characters);
    return true;
}

void WindowsSwitcherView::choose(int index)
{
    const QList<WindowInfo> windows = filteredWindows();
    if (index < 0 || index >= windows.size())
        return;
    m_selectedIndex = index;
    emit changed();
    const WindowInfo chosen = windows[index];
    if (onClose)
        onClose();
    activate(chosen);
}

void WindowsSwitcherView::activate(const WindowInfo& window)
{
    Accessibility& ax = *m_platform.accessibility;
    const bool trusted = ax.isProcessTrusted();
    if (!trusted)
        ax.requestTrust();
    Workspace& workspace = *m_platform.workspace;
    // The application may have quit since the list was made.
    if (const auto app = workspace.runningApplication(window.pid); !app || app->terminated) {
        qCInfo(lcWindows, "activate: %s (pid %d) is no longer running", qUtf8Printable(window.appName), window.pid);
        return;
    }
    qCInfo(lcWindows, "activate: '%s' of %s", qUtf8Printable(window.title), qUtf8Printable(window.appName));
    if (!trusted) {
        // No window can be raised without accessibility: all of the application's windows come forward.
        workspace.activate(window.pid, true);
        return;
    }
    workspace.activate(window.pid, false);
    const AXElement appElement = ax.applicationElement(window.pid);
    // The provider outlives the panel's session for this one step.
    std::shared_ptr<WindowDataProvider> provider = m_provider;
    m_platform.scheduler->postAfter(windowRaiseDelay,
                                    [provider, window, appElement] { provider->activate(window, appElement); });
}

}  // namespace tamsinvale
