// Lists the windows of one application for the window switcher, with readable titles, and brings a chosen one
// forward. One provider is made per showing of the switcher.
#pragma once

#include <QList>
#include <QObject>
#include <functional>

#include "platform/Platform.h"
#include "windows/WindowInfo.h"

namespace tamsinvale {

class WindowDataProvider : public QObject {
    Q_OBJECT
public:
    WindowDataProvider(const Platform& platform, std::int32_t targetPid, const QString& targetAppName,
                       QObject* parent = nullptr);

    // Asked after a window was activated, with the reason "windowsSwitch" (focus dimming); empty: nobody is.
    std::function<void(const QString& reason)> refreshFocusDimming;

    // Fills `windows`: the accessibility list, or the window server's when accessibility yields none.
    void refresh();
    const QList<WindowInfo>& windows() const { return m_windows; }
    std::int32_t targetPid() const { return m_targetPid; }
    const QString& targetAppName() const { return m_targetAppName; }

    QList<WindowInfo> fetchWindowsAX(std::int32_t pid, const QString& appName) const;
    QList<WindowInfo> fetchWindowsCG(std::int32_t pid) const;
    // The first of title, title element, document, file name and the window server's name that says anything;
    // the application's name when none does.
    QString resolveTitle(const AXElement& element, std::int64_t id, const QString& appName, std::int32_t pid) const;
    // "report.txt — Editor" reads "Editor — report.txt": the part after the dash leads (em dash, else en dash).
    static QString normaliseTitle(const QString& text);
    // Raises and focuses the window, makes it its application's focused window, then asks dimming to follow.
    void activate(const WindowInfo& window, const AXElement& appElement);

    // How deep the search for windows below the application element goes when it has no window list.
    static constexpr int recursiveSearchDepth = 3;

signals:
    void windowsChanged();

private:
    void collectWindows(const AXElement& element, int depth, QList<AXElement>& out) const;

    Platform m_platform;
    QList<WindowInfo> m_windows;
    std::int32_t m_targetPid;
    QString m_targetAppName;
};

}  // namespace tamsinvale
