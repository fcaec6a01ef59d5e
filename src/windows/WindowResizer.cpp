// The resizer's target lookup, its arithmetic on the display's visible frame, and the way a frame is written.
#include "WindowResizer.h"

#include <cmath>

#include "platform/Logging.h"
#include "platform/ScreenCoordinates.h"
#include "windows/FocusTracker.h"
#include "windows/SizeDimension.h"

namespace tamsinvale {

namespace {

// Halves go away from zero, as the platform's rounding of frames does.
double roundHalfAway(double v) { return std::round(v); }

// Half-open, like the platform's point-in-rectangle test: a point on the shared edge of two displays belongs to
// the one it starts.
bool containsPoint(const QRectF& r, const QPointF& p)
{
    return p.x() >= r.left() && p.x() < r.left() + r.width() && p.y() >= r.top() && p.y() < r.top() + r.height();
}

QString describe(const QRectF& r)
{
    return QStringLiteral("(%1, %2, %3, %4)")
        .arg(QString::number(r.x()), QString::number(r.y()), QString::number(r.width()), QString::number(r.height()));
}

}  // namespace

WindowResizer::WindowResizer(const Platform& platform, const FocusTracker* focusTracker)
    : m_platform(platform), m_focusTracker(focusTracker)
{
}

QRectF WindowResizer::toAccessibility(const QRectF& screenRect) const
{
    return ScreenCoordinates::of(*m_platform.screens).toWindowServer(screenRect);
}

std::optional<AXElement> WindowResizer::focusedWindow(const AXElement& app) const
{
    const Accessibility& ax = *m_platform.accessibility;
    if (const auto focused = ax.elementAttribute(app, AXAttr::focusedWindow))
        return focused;
    const AXResult windows = ax.copyAttribute(app, AXAttr::windows);
    if (windows.ok() && windows.value.canConvert<QList<AXElement>>()) {
        const auto list = windows.value.value<QList<AXElement>>();
        if (!list.isEmpty())
            return list.first();
    }
    return std::nullopt;
}

std::optional<QRectF> WindowResizer::frame(const AXElement& window) const
{
    const auto position = m_platform.accessibility->position(window);
    const auto size = m_platform.accessibility->size(window);
    if (!position || !size)
        return std::nullopt;
    return QRectF(*position, *size);
}

std::optional<FocusedWindowContext> WindowResizer::focusedWindowContext() const
{
    Accessibility& ax = *m_platform.accessibility;
    if (!ax.isProcessTrusted()) {
        qCCritical(lcResize, "accessibility not granted");
        return std::nullopt;
    }
    Workspace& workspace = *m_platform.workspace;
    std::optional<RunningApp> target = workspace.frontmostApplication();
    // With our own window in front (the settings, the about box) the user means the window they came from.
    if (target && target->bundleIdentifier == workspace.ownBundleIdentifier())
        target = m_focusTracker ? m_focusTracker->lastNonSelf() : std::nullopt;
    if (!target)
        return std::nullopt;

    const AXElement app = ax.applicationElement(target->pid);
    const std::optional<AXElement> window = focusedWindow(app);
    if (!window) {
        const QString name = target->localizedName.isEmpty() ? QStringLiteral("?") : target->localizedName;
        qCCritical(lcResize, "no focused window for %s", qUtf8Printable(name));
        return std::nullopt;
    }
    const std::optional<QRectF> windowFrame = frame(*window);
    if (!windowFrame)
        return std::nullopt;
    // A full-screen window owns its display until it leaves full screen; moving it would only fight the desktop.
    if (ax.boolAttribute(*window, AXAttr::fullScreen).value_or(false)) {
        qCInfo(lcResize, "the window of %s is full screen; left alone", qUtf8Printable(target->localizedName));
        return std::nullopt;
    }

    const QList<ScreenInfo> screens = m_platform.screens->screens();
    std::optional<ScreenInfo> screen;
    const QPointF centre = windowFrame->center();
    for (const ScreenInfo& s : screens) {
        if (containsPoint(toAccessibility(s.frame), centre)) {
            screen = s;
            break;
        }
    }
    if (!screen) {
        for (const ScreenInfo& s : screens) {
            if (toAccessibility(s.frame).intersects(*windowFrame)) {
                screen = s;
                break;
            }
        }
    }
    if (!screen)
        screen = m_platform.screens->mainScreen();
    if (!screen)
        return std::nullopt;
    return FocusedWindowContext{app, *window, *windowFrame, *screen};
}

void WindowResizer::setFrame(const AXElement& window, const QRectF& rect)
{
    // Failures are ignored: the next write, or the second pass, still gets its chance.
    m_platform.accessibility->setAttribute(window, AXAttr::position, rect.topLeft());
    m_platform.accessibility->setAttribute(window, AXAttr::size, rect.size());
}

void WindowResizer::applyFrame(const FocusedWindowContext& context, const QRectF& rect)
{
    Accessibility& ax = *m_platform.accessibility;
    // Applications with the enhanced interface on animate each change and drop the second one; it is switched off
    // for the change only, and only where it was on. An attribute the platform lacks reads as off.
    const bool enhanced = ax.boolAttribute(context.axApp, enhancedUIAttribute).value_or(false);
    if (enhanced)
        ax.setAttribute(context.axApp, enhancedUIAttribute, false);
    // Twice: a position the old size did not fit is corrected once the size is right, and the other way round.
    setFrame(context.window, rect);
    setFrame(context.window, rect);
    if (enhanced)
        ax.setAttribute(context.axApp, enhancedUIAttribute, true);
}

void WindowResizer::apply(const WindowSizePreset& preset)
{
    const std::optional<SizeDimension> width = parseSizeDimension(preset.width);
    const std::optional<SizeDimension> height = parseSizeDimension(preset.height);
    if (!width || !height) {
        qCCritical(lcResize, "apply: preset '%s' has invalid size '%s' x '%s'", qUtf8Printable(preset.name),
                   qUtf8Printable(preset.width), qUtf8Printable(preset.height));
        return;
    }
    const auto context = focusedWindowContext();
    if (!context)
        return;
    const QRectF v = toAccessibility(context->screen.visibleFrame);
    const double w = width->resolve(v.width());
    const double h = height->resolve(v.height());
    const QRectF rect(roundHalfAway(v.center().x() - w * 0.5), roundHalfAway(v.center().y() - h * 0.5), w, h);
    qCInfo(lcResize, "apply: '%s' → %s", qUtf8Printable(preset.name), qUtf8Printable(describe(rect)));
    applyFrame(*context, rect);
}

void WindowResizer::snap(SnapSide side)
{
    const auto context = focusedWindowContext();
    if (!context)
        return;
    const QRectF v = toAccessibility(context->screen.visibleFrame);
    const double half = std::floor(v.width() * 0.5);
    const double x = side == SnapSide::left ? v.left() : v.left() + v.width() - half;
    const QRectF rect(x, v.top(), half, v.height());
    qCInfo(lcResize, "snap: %s → %s", side == SnapSide::left ? "left" : "right", qUtf8Printable(describe(rect)));
    applyFrame(*context, rect);
}

void WindowResizer::moveToNextScreen()
{
    const QList<ScreenInfo> screens = m_platform.screens->screens();
    if (screens.size() < 2)
        return;
    const auto context = focusedWindowContext();
    if (!context)
        return;
    const qsizetype index = screens.indexOf(context->screen);
    if (index < 0)
        return;
    const ScreenInfo& next = screens[(index + 1) % screens.size()];
    const QRectF s = toAccessibility(context->screen.visibleFrame);
    const QRectF t = toAccessibility(next.visibleFrame);
    const QRectF f = context->frame;

    // The window keeps its size, shrunk only where the next display is smaller.
    const double width = std::min(t.width(), f.width());
    const double height = std::min(t.height(), f.height());
    // Where the window stood within the room it had to move in: 0 flush left (top), 1 flush right (bottom).
    auto relative = [](double start, double extent, double windowStart, double windowExtent) {
        const double r = windowExtent < extent ? (windowStart - start) / (extent - windowExtent) : 0.5;
        return r <= 0 ? 0.0 : std::min(r, 1.0);
    };
    const double fx = relative(s.left(), s.width(), f.left(), f.width());
    const double fy = relative(s.top(), s.height(), f.top(), f.height());
    const double x = roundHalfAway(t.left() + fx * std::max(0.0, t.width() - width));
    const double y = roundHalfAway(t.top() + fy * std::max(0.0, t.height() - height));
    const QRectF rect(x, y, width, height);
    qCInfo(lcResize, "moveToNextScreen: → %s %s", qUtf8Printable(next.localizedName), qUtf8Printable(describe(rect)));
    applyFrame(*context, rect);
    if (coverScreenAfterWindowMoved)
        coverScreenAfterWindowMoved(context->screen);
}

}  // namespace tamsinvale
