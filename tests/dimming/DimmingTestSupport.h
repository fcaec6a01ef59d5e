// A simulated two-display desktop with a focus dimmer on it, log capture and stacking helpers for dimming tests.
#pragma once

#include <QLoggingCategory>
#include <QStringList>
#include <memory>

#include "dimming/FocusDimmer.h"
#include "dimming/MediaPlayback.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"

namespace tamsinvale::test {

// Collects the dimming category's debug lines while alive.
class DimmingLog {
public:
    DimmingLog()
    {
        s_lines = &m_lines;
        QLoggingCategory::setFilterRules(QStringLiteral("tamsinvale.dimming.debug=true"));
        m_previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext& context, const QString& message) {
            if (s_lines && context.category && QByteArray(context.category) == "tamsinvale.dimming")
                s_lines->append(message);
        });
    }
    ~DimmingLog()
    {
        qInstallMessageHandler(m_previous);
        QLoggingCategory::setFilterRules(QStringLiteral("tamsinvale.dimming.debug=false"));
        s_lines = nullptr;
    }
    const QStringList& lines() const { return m_lines; }
    void clear() { m_lines.clear(); }
    int count(const QString& needle) const
    {
        int n = 0;
        for (const QString& l : m_lines)
            n += l.contains(needle) ? 1 : 0;
        return n;
    }
    bool has(const QString& needle) const { return count(needle) > 0; }
    QString dump() const { return m_lines.join(QLatin1Char('\n')); }

private:
    static inline QStringList* s_lines = nullptr;
    QStringList m_lines;
    QtMessageHandler m_previous = nullptr;
};

class RecordingMedia : public MediaPlayback {
public:
    void pause() override { calls << QStringLiteral("pause"); }
    void resume() override { calls << QStringLiteral("resume"); }
    QStringList calls;
};

// Display 1: 1512 × 982 at the origin; display 2: 1920 × 1080 to its right, bottoms aligned. In window-server
// coordinates display 2 spans y −98 … 982.
struct DimmingDesktop {
    static constexpr DisplayId left = 1;
    static constexpr DisplayId right = 2;

    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    RecordingMedia media;
    std::unique_ptr<FocusDimmer> dimmer;

    explicit DimmingDesktop(bool twoScreens = true)
    {
        QList<ScreenInfo> screens{FakeScreens::makeScreen(left, QRectF(0, 0, 1512, 982))};
        if (twoScreens)
            screens.append(FakeScreens::makeScreen(right, QRectF(1512, 0, 1920, 1080)));
        desktop.screens.setScreens(screens);
    }
    void start()
    {
        dimmer = std::make_unique<FocusDimmer>(desktop.platform(), settings, media);
        dimmer->refresh();
    }

    WindowNumber window(std::int32_t pid, const QRectF& bounds, int layer = WindowLevel::normal)
    {
        if (!desktop.workspace.runningApplication(pid))
            desktop.workspace.addApplication(desktop.makeApp(pid, QStringLiteral("org.example.app%1").arg(pid),
                                                             QStringLiteral("App%1").arg(pid)));
        FakeWindow w;
        w.pid = pid;
        w.bounds = bounds;
        w.layer = layer;
        w.title = QStringLiteral("w");
        return desktop.server.addWindow(w);
    }
    WindowNumber menuBar(const QRectF& bounds)
    {
        FakeWindow w;
        w.pid = 1;
        w.layer = WindowLevel::mainMenu;
        w.isMenuBar = true;
        w.bounds = bounds;
        w.ownerName = QStringLiteral("Window Server");
        return desktop.server.addWindow(w);
    }
    // Window-server rectangles inside each display.
    static QRectF onLeft(double x = 100, double y = 100, double w = 600, double h = 500) { return QRectF(x, y, w, h); }
    static QRectF onRight(double x = 1700, double y = 100, double w = 800, double h = 600) { return QRectF(x, y, w, h); }

    void activate(std::int32_t pid) { desktop.workspace.activate(pid, true); }
    OverlayPanel* overlay(DisplayId id) const { return dimmer->overlay(id); }
    // The overlay sits immediately below `window` in the one stack of windows and panels.
    bool directlyBelow(DisplayId id, WindowNumber window) const
    {
        const OverlayPanel* panel = overlay(id);
        if (!panel)
            return false;
        const QList<WindowNumber> stack = desktop.server.stackingOrder();
        const auto w = stack.indexOf(window);
        return w >= 0 && stack.indexOf(panel->windowNumber()) == w + 1;
    }
    // The overlay covers every normal window (it is frontmost among them).
    bool coversAll(DisplayId id)
    {
        const OverlayPanel* panel = overlay(id);
        if (!panel || !panel->isVisible())
            return false;
        const QList<WindowNumber> stack = desktop.server.stackingOrder();
        const auto at = stack.indexOf(panel->windowNumber());
        for (qsizetype i = 0; i < at; ++i)
            if (const FakeWindow* w = desktop.server.window(stack[i]); w && w->layer == 0)
                return false;
        return at >= 0;
    }
};

}  // namespace tamsinvale::test
