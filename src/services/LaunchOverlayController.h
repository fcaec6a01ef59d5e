// The launch overlay: a dimmed main screen and a centred card with the target's icon and "Name…", shown while an
// application or script opens, faded out when the open completes or on Escape. It never takes the keyboard.
#pragma once

#include <QImage>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>

#include "LaunchOverlayModel.h"
#include "platform/Platform.h"

namespace tamsinvale {

class LaunchOverlayController : public QObject {
    Q_OBJECT
public:
    static constexpr int dimLevel = 25;
    static constexpr int cardLevel = 26;
    static constexpr int cardHeight = 200;
    static constexpr double fadeSeconds = 0.35;

    // Watches key-downs without taking them; returns the token that keeps the watch alive (drop it to stop).
    using KeyMonitorInstaller = std::function<std::shared_ptr<void>(std::function<void(std::uint32_t keyCode)>)>;

    explicit LaunchOverlayController(const Platform& platform, QObject* parent = nullptr);
    ~LaunchOverlayController() override;

    // In-process key-downs, and key-downs anywhere on the desktop; either may be left unset.
    void setKeyMonitors(KeyMonitorInstaller local, KeyMonitorInstaller global);

    void show(const QString& message, const std::optional<QImage>& icon);
    void dismiss();

    const LaunchOverlayModel& model() const { return m_model; }
    bool isFadingOut() const { return m_isFadingOut; }
    bool isVisible() const;
    bool hasKeyMonitors() const { return m_localMonitor || m_globalMonitor; }
    OverlayPanel* window() const { return m_window.get(); }
    // Absent where panels cannot be see-through (no compositor): the card then shows alone.
    OverlayPanel* dimWindow() const { return m_dimWindow.get(); }

    // The card as drawn: icon above the message on a dark rounded card.
    static QImage renderCard(const LaunchOverlayModel& model, int height, double scale);

private:
    void fadeStep();
    void finishFade();
    void rebuildPanels();

    Platform m_platform;
    LaunchOverlayModel m_model;
    std::unique_ptr<OverlayPanel> m_window;
    std::unique_ptr<OverlayPanel> m_dimWindow;
    std::shared_ptr<void> m_localMonitor;
    std::shared_ptr<void> m_globalMonitor;
    KeyMonitorInstaller m_installLocal;
    KeyMonitorInstaller m_installGlobal;
    bool m_isFadingOut = false;
    TaskHandle m_fadeTask;
    double m_fadeStarted = 0;
    std::shared_ptr<LaunchOverlayController*> m_self;
    std::shared_ptr<void> m_translucencyWatch;
    bool m_loggedNoDimming = false;
};

}  // namespace tamsinvale
