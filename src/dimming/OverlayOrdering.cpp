// Window-to-screen assignment for the ordering engine: flips, best screens and the per-screen target rules.
#include "OverlayOrdering.h"

#include <algorithm>

#include "platform/Logging.h"

namespace tamsinvale {

namespace {

double area(const QRectF& r) { return r.isValid() ? r.width() * r.height() : 0.0; }

bool onScreen(const WindowSnapshotEntry& e) { return e.onScreen.value_or(true); }

bool normalLayer(const WindowSnapshotEntry& e) { return !e.layer || *e.layer == WindowLevel::normal; }

}  // namespace

OverlayOrdering::OverlayOrdering(QList<ScreenFrame> frames, double primaryHeight, std::int32_t ownPid)
    : m_frames(std::move(frames)), m_primaryHeight(primaryHeight), m_ownPid(ownPid)
{
    std::stable_sort(m_frames.begin(), m_frames.end(),
                     [](const ScreenFrame& a, const ScreenFrame& b) { return a.displayId < b.displayId; });
}

OverlayOrdering OverlayOrdering::fromScreens(const QList<ScreenInfo>& screens, std::int32_t ownPid)
{
    QList<ScreenFrame> frames;
    frames.reserve(screens.size());
    for (const ScreenInfo& s : screens)
        if (s.displayId != 0)
            frames.append({s.displayId, s.frame});
    return OverlayOrdering(std::move(frames), screens.isEmpty() ? 0.0 : screens.first().frame.height(), ownPid);
}

std::optional<QRectF> OverlayOrdering::frame(DisplayId id) const
{
    for (const ScreenFrame& f : m_frames)
        if (f.displayId == id)
            return f.frame;
    return std::nullopt;
}

QRectF OverlayOrdering::flip(const QRectF& b) const
{
    return QRectF(b.x(), m_primaryHeight - b.y() - b.height(), b.width(), b.height());
}

std::optional<DisplayId> OverlayOrdering::bestScreen(const QRectF& rect,
                                                     const std::map<DisplayId, WindowNumber>* taken) const
{
    std::optional<DisplayId> best;
    double bestArea = 0;
    for (const ScreenFrame& f : m_frames) {
        if (taken && taken->count(f.displayId))
            continue;
        const double a = area(f.frame.intersected(rect));
        if (a > bestArea) {
            bestArea = a;
            best = f.displayId;
        }
    }
    return best;
}

bool OverlayOrdering::isNormalSized(const WindowSnapshotEntry& e)
{
    return e.bounds.width() >= minimumTargetSide && e.bounds.height() >= minimumTargetSide;
}

std::map<DisplayId, WindowNumber> OverlayOrdering::frontmostWindowNumbersPerScreen(const WindowSnapshot& windows,
                                                                                   std::int32_t pid, bool quiet) const
{
    std::map<DisplayId, WindowNumber> result;
    const auto full = [&] { return result.size() >= std::size_t(m_frames.size()); };
    for (const WindowSnapshotEntry& e : windows) {
        if (e.ownerPid != pid || !onScreen(e) || !normalLayer(e) || !e.number || !isNormalSized(e))
            continue;
        if (const auto screen = bestScreen(flip(e.bounds), &result)) {
            result[*screen] = *e.number;
            if (!quiet)
                qCDebug(lcDimming).noquote().nospace()
                    << "frontmostWindowNumbersPerScreen: screen " << *screen << " -> window " << *e.number;
            if (full())
                return result;
        }
    }
    // A palette or always-on-top window is better than nothing on a screen without a normal window.
    for (const WindowSnapshotEntry& e : windows) {
        if (e.ownerPid != pid || !onScreen(e) || !e.layer || *e.layer < 1 || *e.layer > 19 || !e.number)
            continue;
        if (const auto screen = bestScreen(flip(e.bounds), &result)) {
            result[*screen] = *e.number;
            if (!quiet)
                qCDebug(lcDimming).noquote().nospace() << "frontmostWindowNumbersPerScreen: (floating fallback) screen "
                                                       << *screen << " -> window " << *e.number << " layer=" << *e.layer;
            if (full())
                return result;
        }
    }
    return result;
}

std::optional<DisplayId> OverlayOrdering::focusedScreen(const WindowSnapshot& windows, std::int32_t pid) const
{
    for (const WindowSnapshotEntry& e : windows)
        if (e.ownerPid == pid && onScreen(e) && normalLayer(e) && isNormalSized(e))
            return bestScreen(flip(e.bounds));
    return std::nullopt;
}

std::optional<WindowNumber> OverlayOrdering::topmostWindowOnScreen(DisplayId id, const WindowSnapshot& windows) const
{
    if (!contains(id))
        return std::nullopt;
    for (const WindowSnapshotEntry& e : windows) {
        if (e.ownerPid == m_ownPid || !onScreen(e) || e.layer.value_or(WindowLevel::normal) != WindowLevel::normal
            || !e.number || !isNormalSized(e))
            continue;
        if (bestScreen(flip(e.bounds)) == id)
            return *e.number;
    }
    return std::nullopt;
}

bool OverlayOrdering::isWindowStillOnScreen(WindowNumber number, const WindowSnapshot& windows, DisplayId id) const
{
    const auto screen = frame(id);
    if (!screen)
        return false;
    for (const WindowSnapshotEntry& e : windows)
        if (e.number == number && onScreen(e))
            return screen->intersects(flip(e.bounds));
    return false;
}

}  // namespace tamsinvale
