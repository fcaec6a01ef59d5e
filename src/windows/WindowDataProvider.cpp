// The window list and its fallbacks, the title chain with its debug lines, and activating a chosen window.
#include "WindowDataProvider.h"

#include <QRandomGenerator>
#include <QSet>
#include <climits>
#include <cmath>

#include "platform/Logging.h"

namespace tamsinvale {

namespace {

const QString emDashSeparator = QStringLiteral(" \u2014 ");
const QString enDashSeparator = QStringLiteral(" \u2013 ");
constexpr double windowServerMatchTolerance = 2.0;

QString textOf(const AXResult& r)
{
    return r.status == AXError::success && r.value.typeId() == QMetaType::QString ? r.value.toString() : QString();
}

// The last component of a path, or of a URL's path: "file:///Users/x/My%20File.txt" gives "My%20File.txt" (the
// escapes stay, as the platform's path functions leave them).
QString lastPathComponent(const QString& text)
{
    QString path = text;
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    if (path == QLatin1String("/"))
        return path;
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

int code(AXError e) { return static_cast<int>(e); }

}  // namespace

WindowDataProvider::WindowDataProvider(const Platform& platform, std::int32_t targetPid, const QString& targetAppName,
                                       QObject* parent)
    : QObject(parent), m_platform(platform), m_targetPid(targetPid), m_targetAppName(targetAppName)
{
}

void WindowDataProvider::refresh()
{
    qCDebug(lcWindows, "[WindowDataProvider] refresh() called for pid:%d app:%s", m_targetPid,
            qUtf8Printable(m_targetAppName));
    Accessibility& ax = *m_platform.accessibility;
    const bool trusted = ax.isProcessTrusted();
    qCDebug(lcWindows, "[WindowDataProvider] AXIsProcessTrusted: %s", trusted ? "true" : "false");
    if (!trusted)
        ax.requestTrust();
    // One look at the desktop: every attribute of every window below is answered from the same reading.
    if (m_platform.windowList)
        m_platform.windowList->beginReadBatch();
    qCDebug(lcWindows, "[WindowDataProvider] Calling fetchWindowsAX...");
    const QList<WindowInfo> axWindows = fetchWindowsAX(m_targetPid, m_targetAppName);
    qCDebug(lcWindows, "[WindowDataProvider] fetchWindowsAX returned %ld windows", long(axWindows.size()));
    if (axWindows.isEmpty()) {
        qCDebug(lcWindows, "[WindowDataProvider] AX empty, falling back to CGWindow...");
        m_windows = fetchWindowsCG(m_targetPid);
        qCDebug(lcWindows, "[WindowDataProvider] CGWindow returned %ld windows", long(m_windows.size()));
    } else {
        m_windows = axWindows;
        qCDebug(lcWindows, "[WindowDataProvider] Using %ld AX windows", long(m_windows.size()));
    }
    if (m_platform.windowList)
        m_platform.windowList->endReadBatch();
    emit windowsChanged();
}

void WindowDataProvider::collectWindows(const AXElement& element, int depth, QList<AXElement>& out) const
{
    if (depth < 0)
        return;
    const Accessibility& ax = *m_platform.accessibility;
    const AXResult children = ax.copyAttribute(element, AXAttr::children);
    if (!children.ok() || !children.value.canConvert<QList<AXElement>>())
        return;
    for (const AXElement& child : children.value.value<QList<AXElement>>()) {
        if (ax.stringAttribute(child, AXAttr::role) == QLatin1String("AXWindow"))
            out.append(child);
        else
            collectWindows(child, depth - 1, out);
    }
}

QList<WindowInfo> WindowDataProvider::fetchWindowsAX(std::int32_t pid, const QString& appName) const
{
    qCDebug(lcWindows, "[fetchWindowsAX] Starting for pid:%d app:%s", pid, qUtf8Printable(appName));
    const Accessibility& ax = *m_platform.accessibility;
    const AXElement app = ax.applicationElement(pid);
    const AXResult windows = ax.copyAttribute(app, AXAttr::windows);
    qCDebug(lcWindows, "[fetchWindowsAX] kAXWindows status: %d", code(windows.status));
    QList<AXElement> candidates;
    if (windows.ok() && windows.value.canConvert<QList<AXElement>>()) {
        candidates = windows.value.value<QList<AXElement>>();
        qCDebug(lcWindows, "[fetchWindowsAX] Got %ld raw AX windows via kAXWindows", long(candidates.size()));
    } else {
        const AXResult names = ax.copyAttributeNames(app);
        qCDebug(lcWindows, "[fetchWindowsAX] kAXWindows unavailable (status=%d). AttributeNames(status=%d): %s",
                code(windows.status), code(names.status),
                qUtf8Printable(names.value.toStringList().join(QStringLiteral(", "))));
        qCDebug(lcWindows, "[fetchWindowsAX] Falling back to recursive AX search for windows…");
        collectWindows(app, recursiveSearchDepth, candidates);
        qCDebug(lcWindows, "[fetchWindowsAX] Collected %ld AXWindow elements via fallback", long(candidates.size()));
    }

    QList<WindowInfo> out;
    for (const AXElement& element : std::as_const(candidates)) {
        if (ax.stringAttribute(element, AXAttr::role) != QLatin1String("AXWindow"))
            continue;
        // Minimised windows are not offered; an unreadable state counts as not minimised.
        if (ax.boolAttribute(element, AXAttr::minimized).value_or(false))
            continue;
        const auto id = static_cast<std::int64_t>(element.ref);
        out.append(WindowInfo{id, normaliseTitle(resolveTitle(element, id, appName, pid)), appName, pid, element});
    }
    return out;
}

QString WindowDataProvider::resolveTitle(const AXElement& element, std::int64_t id, const QString& appName,
                                         std::int32_t pid) const
{
    const Accessibility& ax = *m_platform.accessibility;
    qCDebug(lcWindows, "[WindowTitle] Resolving title for window %ld in %s (pid %d)", long(id),
            qUtf8Printable(appName), pid);

    const AXResult title = ax.copyAttribute(element, AXAttr::title);
    const QString titleText = textOf(title).trimmed();
    qCDebug(lcWindows, "[WindowTitle]   kAXTitle status: %d, value: %s", code(title.status), qUtf8Printable(titleText));
    if (!titleText.isEmpty()) {
        qCDebug(lcWindows, "[WindowTitle]   ✓ Using kAXTitle: '%s'", qUtf8Printable(titleText));
        return titleText;
    }

    const AXResult titleElement = ax.copyAttribute(element, AXAttr::titleUIElement);
    qCDebug(lcWindows, "[WindowTitle]   kAXTitleUIElement status: %d", code(titleElement.status));
    if (titleElement.ok() && titleElement.value.canConvert<AXElement>()) {
        const AXResult value = ax.copyAttribute(titleElement.value.value<AXElement>(), AXAttr::value);
        const QString valueText = textOf(value).trimmed();
        qCDebug(lcWindows, "[WindowTitle]     kAXValue status: %d, value: %s", code(value.status),
                qUtf8Printable(valueText));
        if (!valueText.isEmpty()) {
            qCDebug(lcWindows, "[WindowTitle]   ✓ Using kAXTitleUIElement → kAXValue: '%s'", qUtf8Printable(valueText));
            return valueText;
        }
    }

    const AXResult document = ax.copyAttribute(element, AXAttr::document);
    qCDebug(lcWindows, "[WindowTitle]   kAXDocument status: %d, value: %s", code(document.status),
            qUtf8Printable(textOf(document)));
    if (const QString name = lastPathComponent(textOf(document)); !name.isEmpty()) {
        qCDebug(lcWindows, "[WindowTitle]   ✓ Using kAXDocument (lastPathComponent): '%s'", qUtf8Printable(name));
        return name;
    }

    const AXResult filename = ax.copyAttribute(element, AXAttr::filename);
    qCDebug(lcWindows, "[WindowTitle]   kAXFilename status: %d, value: %s", code(filename.status),
            qUtf8Printable(textOf(filename)));
    if (const QString name = lastPathComponent(textOf(filename)); !name.isEmpty()) {
        qCDebug(lcWindows, "[WindowTitle]   ✓ Using kAXFilename (lastPathComponent): '%s'", qUtf8Printable(name));
        return name;
    }

    // The window server knows the window by its frame.
    const AXResult position = ax.copyAttribute(element, AXAttr::position);
    const AXResult size = ax.copyAttribute(element, AXAttr::size);
    const bool framed = position.status == AXError::success && size.status == AXError::success
        && position.value.typeId() == QMetaType::QPointF && size.value.typeId() == QMetaType::QSizeF;
    if (framed && m_platform.windowList) {
        const QRectF frame(position.value.toPointF(), size.value.toSizeF());
        if (const auto list = m_platform.windowList->onScreenWindows()) {
            for (const WindowSnapshotEntry& entry : *list) {
                if (entry.ownerPid != pid)
                    continue;
                const QRectF& b = entry.bounds;
                if (std::abs(b.x() - frame.x()) > windowServerMatchTolerance
                    || std::abs(b.y() - frame.y()) > windowServerMatchTolerance
                    || std::abs(b.width() - frame.width()) > windowServerMatchTolerance
                    || std::abs(b.height() - frame.height()) > windowServerMatchTolerance)
                    continue;
                if (!entry.name.isEmpty()) {
                    qCDebug(lcWindows, "[WindowTitle]   ✓ Using CGWindow match: '%s'", qUtf8Printable(entry.name));
                    return entry.name;
                }
                break;  // the first match decides
            }
        }
    }
    qCDebug(lcWindows, "[WindowTitle]   ✗ All methods failed, using appName: '%s'", qUtf8Printable(appName));
    return appName;
}

QString WindowDataProvider::normaliseTitle(const QString& text)
{
    for (const QString& separator : {emDashSeparator, enDashSeparator}) {
        const QStringList pieces = text.split(separator);
        if (pieces.size() != 2)
            continue;
        const QString first = pieces[0].trimmed();
        const QString second = pieces[1].trimmed();
        if (first.isEmpty() || second.isEmpty())
            continue;
        return second + separator + first;
    }
    return text;
}

QList<WindowInfo> WindowDataProvider::fetchWindowsCG(std::int32_t pid) const
{
    QList<WindowInfo> out;
    if (!m_platform.windowList)
        return out;
    const auto list = m_platform.windowList->onScreenWindows();
    if (!list)
        return out;
    const AXElement app = m_platform.accessibility->applicationElement(pid);
    QSet<std::int64_t> seen;
    for (const WindowSnapshotEntry& entry : *list) {
        if (entry.ownerPid != pid)
            continue;
        const std::int64_t number =
            entry.number ? std::int64_t(*entry.number) : std::int64_t(QRandomGenerator::global()->bounded(1, INT32_MAX));
        if (seen.contains(number))
            continue;
        seen.insert(number);
        QString title = normaliseTitle(entry.name.trimmed());
        if (title.isEmpty())
            title = entry.ownerName;
        out.append(WindowInfo{number, title, m_targetAppName, pid, app});
    }
    return out;
}

void WindowDataProvider::activate(const WindowInfo& window, const AXElement& appElement)
{
    Accessibility& ax = *m_platform.accessibility;
    // Each write may fail (the window closed meanwhile); the others are still worth trying.
    ax.performAction(window.axElement, AXAttr::raiseAction);
    ax.setAttribute(window.axElement, AXAttr::main, true);
    ax.setAttribute(window.axElement, AXAttr::focused, true);
    ax.setAttribute(appElement, AXAttr::focusedWindow, QVariant::fromValue(window.axElement));
    std::function<void(const QString&)> refresh = refreshFocusDimming;
    m_platform.scheduler->post([refresh] {
        if (refresh)
            refresh(QStringLiteral("windowsSwitch"));
    });
}

}  // namespace tamsinvale
