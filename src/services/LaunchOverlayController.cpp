// Launch overlay panels: created on first use, placed on the main screen, faded with an ease-out curve.
#include "LaunchOverlayController.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>

#include "platform/Logging.h"

namespace tamsinvale {

namespace {
constexpr std::uint32_t escapeKeyCode = 53;
constexpr double fadeTick = 1.0 / 60.0;
}  // namespace

LaunchOverlayController::LaunchOverlayController(const Platform& platform, QObject* parent)
    : QObject(parent), m_platform(platform), m_self(std::make_shared<LaunchOverlayController*>(this))
{
    if (m_platform.overlays)
        m_translucencyWatch = m_platform.overlays->observeTranslucency([this] { rebuildPanels(); });
}

LaunchOverlayController::~LaunchOverlayController() { cancelTask(m_fadeTask); }

void LaunchOverlayController::setKeyMonitors(KeyMonitorInstaller local, KeyMonitorInstaller global)
{
    m_installLocal = std::move(local);
    m_installGlobal = std::move(global);
}

bool LaunchOverlayController::isVisible() const { return m_window && m_window->isVisible(); }

void LaunchOverlayController::show(const QString& message, const std::optional<QImage>& icon)
{
    m_model.update(message, icon);
    if (!m_platform.overlays)
        return;
    // Black at half alpha is a dim layer only where it can be see-through; drawn opaque it would black the screen
    // out until the application appears. Without translucency the card shows alone.
    const bool dims = m_platform.overlays->translucencyAvailable();
    if (!dims && !m_loggedNoDimming) {
        qCInfo(lcSwitcher, "launch overlay: no compositor is running, so the screen is not dimmed behind the card "
                           "(the dim layer would be drawn opaque)");
        m_loggedNoDimming = true;
    }
    if (dims && !m_dimWindow) {
        m_dimWindow = m_platform.overlays->createPanel(QRectF(), dimLevel);
        OverlayAppearance dim;
        dim.fill = QColor(0, 0, 0, 128);
        m_dimWindow->setAppearance(dim);
        m_dimWindow->setHasShadow(false);
    }
    if (!m_window) {
        m_window = m_platform.overlays->createPanel(QRectF(0, 0, LaunchOverlayModel::minimumCardWidth, cardHeight),
                                                    cardLevel);
        m_window->setHasShadow(true);
    }
    m_isFadingOut = false;
    cancelTask(m_fadeTask);
    m_window->setAlpha(1.0);
    if (m_dimWindow)
        m_dimWindow->setAlpha(1.0);

    const std::optional<ScreenInfo> screen = m_platform.screens ? m_platform.screens->mainScreen() : std::nullopt;
    if (screen) {
        if (m_dimWindow) {
            m_dimWindow->setFrame(screen->frame);
            m_dimWindow->orderFrontRegardless();
        }
        const double width = m_model.cardWidth();
        const double height = m_window->frame().height() > 0 ? m_window->frame().height() : cardHeight;
        const QPointF mid = screen->visibleFrame.center();
        OverlayAppearance card;
        card.fill = Qt::transparent;
        card.content = renderCard(m_model, int(height), screen->backingScale);
        m_window->setAppearance(card);
        m_window->setFrame(QRectF(mid.x() - width / 2, mid.y() - height / 2, width, height));
        m_window->orderFrontRegardless();
    }

    std::weak_ptr<LaunchOverlayController*> weak = m_self;
    Scheduler* scheduler = m_platform.scheduler;
    auto onKey = [weak, scheduler](std::uint32_t keyCode) {
        if (keyCode != escapeKeyCode)
            return;
        // Dismissing removes the monitor that is calling us; do it once that call has returned.
        auto dismiss = [weak] {
            if (auto self = weak.lock())
                (*self)->dismiss();
        };
        if (scheduler)
            scheduler->post(dismiss);
        else
            dismiss();
    };
    if (!m_localMonitor && m_installLocal)
        m_localMonitor = m_installLocal(onKey);
    if (!m_globalMonitor && m_installGlobal)
        m_globalMonitor = m_installGlobal(onKey);
}

void LaunchOverlayController::dismiss()
{
    m_localMonitor.reset();
    m_globalMonitor.reset();
    if (m_isFadingOut || !m_window || !m_window->isVisible())
        return;
    m_isFadingOut = true;
    m_fadeStarted = m_platform.scheduler ? m_platform.scheduler->now() : 0;
    if (!m_platform.scheduler) {
        finishFade();
        return;
    }
    std::weak_ptr<LaunchOverlayController*> weak = m_self;
    m_fadeTask = m_platform.scheduler->repeat(fadeTick, [weak] {
        if (auto self = weak.lock())
            (*self)->fadeStep();
    });
}

void LaunchOverlayController::fadeStep()
{
    if (!m_isFadingOut) {
        // A show() during the fade took the panels back; this fade has nothing left to do.
        cancelTask(m_fadeTask);
        return;
    }
    const double t = std::min(1.0, (m_platform.scheduler->now() - m_fadeStarted) / fadeSeconds);
    const double eased = 1.0 - (1.0 - t) * (1.0 - t);
    m_window->setAlpha(1.0 - eased);
    if (m_dimWindow)
        m_dimWindow->setAlpha(1.0 - eased);
    if (t >= 1.0) {
        cancelTask(m_fadeTask);
        finishFade();
    }
}

void LaunchOverlayController::finishFade()
{
    if (!m_isFadingOut)
        return;
    m_isFadingOut = false;
    m_window->orderOut();
    m_window->setAlpha(1.0);
    if (m_dimWindow) {
        m_dimWindow->orderOut();
        m_dimWindow->setAlpha(1.0);
    }
}

void LaunchOverlayController::rebuildPanels()
{
    // The panels keep the visual they were made with; a compositor that came or went needs new ones.
    const bool wasUp = isVisible() && !m_isFadingOut;
    cancelTask(m_fadeTask);
    m_isFadingOut = false;
    m_window.reset();
    m_dimWindow.reset();
    if (m_platform.overlays && m_platform.overlays->translucencyAvailable())
        m_loggedNoDimming = false;
    if (wasUp) {
        const QString message = m_model.message();
        const std::optional<QImage> icon = m_model.icon();
        show(message, icon);
    }
}

QImage LaunchOverlayController::renderCard(const LaunchOverlayModel& model, int height, double scale)
{
    const int width = model.cardWidth();
    QImage image(int(width * scale), int(height * scale), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath card;
    card.addRoundedRect(QRectF(0.5, 0.5, width - 1, height - 1), 18, 18);
    p.fillPath(card, QColor(28, 28, 30, 235));
    p.setPen(QColor(255, 255, 255, 40));
    p.drawPath(card);
    const QRectF iconRect((width - 72) / 2.0, 34, 72, 72);
    if (model.icon() && !model.icon()->isNull())
        p.drawImage(iconRect, *model.icon());
    p.setFont(LaunchOverlayModel::messageFont());
    p.setPen(Qt::white);
    p.drawText(QRectF(16, 124, width - 32, 48), Qt::AlignHCenter | Qt::AlignTop | Qt::TextSingleLine,
               QFontMetricsF(LaunchOverlayModel::messageFont()).elidedText(model.message(), Qt::ElideRight, width - 32));
    return image;
}

}  // namespace tamsinvale
