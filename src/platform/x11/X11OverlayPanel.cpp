// Override-redirect panel windows: drawn once into a background pixmap, stacked with checked configure requests.
#include "X11OverlayPanel.h"

#include "platform/ScreenCoordinates.h"

#include "X11PanelContext.h"
#include "platform/Logging.h"

#include <QPainter>
#include <QRegion>
#include <chrono>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

#include <xcb/shape.h>

namespace tamsinvale {

X11OverlayPanel::X11OverlayPanel(std::shared_ptr<X11PanelContext> context, const QRectF& frame, int level)
    : m_context(std::move(context)), m_connection(m_context->connection), m_frame(frame), m_level(level)
{
    // Translucency needs both a compositor and an ARGB visual; without a compositor the server would show the
    // alpha channel as garbage, so the panel is opaque there.
    const bool argb = m_context->translucent();
    m_depth = argb ? 32 : m_context->rootDepth;
    const xcb_visualid_t visual = argb ? m_context->argbVisual : m_context->rootVisual;
    if (argb) {
        m_colormap = xcb_generate_id(m_connection);
        xcb_create_colormap(m_connection, XCB_COLORMAP_ALLOC_NONE, m_colormap, m_context->root, visual);
    }
    m_rootRect = rootRect(frame);
    m_window = xcb_generate_id(m_connection);
    // Its own ConfigureNotify tells when somebody else restacks it.
    std::uint32_t mask = XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK;
    std::vector<std::uint32_t> values{argb ? 0u : 0xff000000u, 0u, 1u, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    if (argb) {
        mask |= XCB_CW_COLORMAP;
        values.push_back(m_colormap);
    }
    xcb_create_window(m_connection, m_depth, m_window, m_context->root, std::int16_t(m_rootRect.x()),
                      std::int16_t(m_rootRect.y()), std::uint16_t(m_rootRect.width()), std::uint16_t(m_rootRect.height()),
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual, mask, values.data());
    // An empty input shape: clicks fall through to whatever lies below.
    xcb_shape_rectangles(m_connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, m_window, 0,
                         0, 0, nullptr);

    static constexpr char name[] = "Tamsinvale";
    static constexpr char wmClass[] = "tamsinvale\0Tamsinvale";
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        sizeof name - 1, name);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        sizeof wmClass, wmClass);
    const std::uint32_t pid = std::uint32_t(getpid());
    if (m_context->wmPid)
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, m_context->wmPid, XCB_ATOM_CARDINAL, 32, 1,
                            &pid);
    xcb_flush(m_connection);
    m_guard = std::make_unique<QObject>();
    m_context->panels.push_back(this);
}

X11OverlayPanel::~X11OverlayPanel()
{
    std::erase(m_context->panels, this);
    if (m_mapped && m_context->hooks.hidden)
        m_context->hooks.hidden(m_window);
    if (offline())
        return;
    xcb_destroy_window(m_connection, m_window);
    if (m_background != XCB_NONE)
        xcb_free_pixmap(m_connection, m_background);
    if (m_colormap != XCB_NONE)
        xcb_free_colormap(m_connection, m_colormap);
    xcb_flush(m_connection);
}

bool X11OverlayPanel::offline() const
{
    return m_context->detached || xcb_connection_has_error(m_connection);
}

QRect X11OverlayPanel::rootRect(const QRectF& frame) const
{
    const QRect primary = m_context->primaryMonitor();
    return ScreenCoordinates(QRectF(QPointF(0, 0), primary.size()), primary.topLeft()).toTopLevel(frame);
}

void X11OverlayPanel::setFrame(const QRectF& frame)
{
    m_frame = frame;
    if (offline())
        return;
    const QRect r = rootRect(frame);
    if (r == m_rootRect)
        return;
    const bool resized = r.size() != m_rootRect.size();
    m_rootRect = r;
    const std::uint32_t values[] = {std::uint32_t(r.x()), std::uint32_t(r.y()), std::uint32_t(r.width()),
                                    std::uint32_t(r.height())};
    xcb_configure_window(m_connection, m_window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    if (resized && m_hasAppearance)
        repaint();
    xcb_flush(m_connection);
}

void X11OverlayPanel::setAppearance(const OverlayAppearance& appearance)
{
    m_appearance = appearance;
    m_hasAppearance = true;
    if (offline())
        return;
    repaint();
    xcb_flush(m_connection);
}

void X11OverlayPanel::setAlpha(double alpha)
{
    m_alpha = std::clamp(alpha, 0.0, 1.0);
    if (!m_context->windowOpacity || offline())
        return;
    // Compositors read the window's opacity from this property; without one it has no effect.
    if (m_alpha >= 1.0) {
        xcb_delete_property(m_connection, m_window, m_context->windowOpacity);
    } else {
        const std::uint32_t opacity = std::uint32_t(std::lround(m_alpha * 0xffffffffu));
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, m_context->windowOpacity,
                            XCB_ATOM_CARDINAL, 32, 1, &opacity);
    }
    xcb_flush(m_connection);
}

QImage X11OverlayPanel::renderedImage() const
{
    const QSize size = m_rootRect.size();
    const bool translucent = m_depth == 32;
    QImage image(size, translucent ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    image.fill(translucent ? Qt::transparent : Qt::black);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF bounds(QPointF(0, 0), QSizeF(size));
    if (m_appearance.content) {
        painter.drawImage(bounds, *m_appearance.content);
        return image;
    }
    painter.fillRect(bounds, m_appearance.fill);
    if (m_appearance.picture && !m_appearance.picture->isNull()) {
        // Laid out for the whole screen height, the strip under the top inset included, then clipped at the top.
        const QImage& picture = *m_appearance.picture;
        const QRectF area(0, -m_appearance.topInset, bounds.width(), bounds.height() + m_appearance.topInset);
        const double scale = std::max(area.width() / picture.width(), area.height() / picture.height());
        const QSizeF drawn(picture.width() * scale, picture.height() * scale);
        const QRectF target(area.center().x() - drawn.width() / 2, area.center().y() - drawn.height() / 2,
                            drawn.width(), drawn.height());
        painter.setClipRect(bounds);
        painter.drawImage(target, picture);
        painter.setClipping(false);
    }
    if (m_appearance.darkening > 0)
        painter.fillRect(bounds, QColor(0, 0, 0, int(std::lround(std::clamp(m_appearance.darkening, 0.0, 1.0) * 255))));
    return image;
}

void X11OverlayPanel::repaint()
{
    const bool plain = !m_appearance.content && !(m_appearance.picture && !m_appearance.picture->isNull())
        && m_appearance.darkening <= 0;
    if (plain) {
        // A plain colour needs no pixmap: the server fills the window itself.
        QColor c = m_appearance.fill;
        std::uint32_t pixel;
        if (m_depth == 32) {
            const double a = c.alphaF();
            pixel = (std::uint32_t(std::lround(a * 255)) << 24) | (std::uint32_t(std::lround(c.redF() * a * 255)) << 16)
                | (std::uint32_t(std::lround(c.greenF() * a * 255)) << 8) | std::uint32_t(std::lround(c.blueF() * a * 255));
        } else {
            // Opaque: the colour as it would look over black.
            const double a = c.alphaF();
            pixel = (std::uint32_t(std::lround(c.redF() * a * 255)) << 16)
                | (std::uint32_t(std::lround(c.greenF() * a * 255)) << 8) | std::uint32_t(std::lround(c.blueF() * a * 255));
        }
        xcb_change_window_attributes(m_connection, m_window, XCB_CW_BACK_PIXEL, &pixel);
        if (m_background != XCB_NONE) {
            xcb_free_pixmap(m_connection, m_background);
            m_background = XCB_NONE;
        }
    } else if (!uploadBackground(renderedImage())) {
        return;
    }
    updateShape();
    xcb_clear_area(m_connection, 0, m_window, 0, 0, 0, 0);
}

void X11OverlayPanel::updateShape()
{
    // An opaque window cannot leave a rendered card's transparent parts (its rounded corners) see-through; it can
    // leave them out of its shape instead of painting them black.
    std::vector<xcb_rectangle_t> rectangles;
    bool cut = false;
    if (m_depth != 32 && m_appearance.content && m_appearance.content->hasAlphaChannel()) {
        QImage alpha(m_rootRect.size(), QImage::Format_ARGB32_Premultiplied);
        alpha.fill(Qt::transparent);
        QPainter painter(&alpha);
        painter.drawImage(QRectF(QPointF(0, 0), QSizeF(m_rootRect.size())), *m_appearance.content);
        painter.end();
        // Runs of mostly opaque pixels per row; a row like the one above only makes that row's rectangles taller.
        std::vector<std::pair<int, int>> previous;
        std::size_t previousStart = 0;
        for (int y = 0; y < alpha.height(); ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(alpha.constScanLine(y));
            std::vector<std::pair<int, int>> runs;
            for (int x = 0; x < alpha.width();) {
                while (x < alpha.width() && qAlpha(line[x]) < 128)
                    ++x;
                const int start = x;
                while (x < alpha.width() && qAlpha(line[x]) >= 128)
                    ++x;
                if (x > start)
                    runs.push_back({start, x - start});
            }
            cut = cut || runs.size() != 1 || runs.front() != std::pair(0, alpha.width());
            if (y > 0 && runs == previous) {
                for (std::size_t i = previousStart; i < rectangles.size(); ++i)
                    ++rectangles[i].height;
                continue;
            }
            previousStart = rectangles.size();
            for (const auto& [x, width] : runs)
                rectangles.push_back({std::int16_t(x), std::int16_t(y), std::uint16_t(width), 1});
            previous = std::move(runs);
        }
    }
    if (cut) {
        xcb_shape_rectangles(m_connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED,
                             m_window, 0, 0, std::uint32_t(rectangles.size()), rectangles.data());
        m_shaped = true;
    } else if (m_shaped && m_holes.empty()) {
        xcb_shape_mask(m_connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, m_window, 0, 0, XCB_NONE);
        m_shaped = false;
    }
}

bool X11OverlayPanel::uploadBackground(const QImage& source)
{
    const xcb_setup_t* setup = xcb_get_setup(m_connection);
    int bitsPerPixel = 0;
    for (auto it = xcb_setup_pixmap_formats_iterator(setup); it.rem; xcb_format_next(&it))
        if (it.data->depth == m_depth)
            bitsPerPixel = it.data->bits_per_pixel;
    if (bitsPerPixel != 32) {
        qCWarning(lcDimming) << "overlay: no 32-bit pixel format for depth" << m_depth << "- drawing the fill colour only";
        return false;
    }
    QImage image = source;
    if (!m_context->imageLsbFirst)
        for (int y = 0; y < image.height(); ++y) {
            auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
            for (int x = 0; x < image.width(); ++x)
                line[x] = qbswap(line[x]);
        }

    const xcb_pixmap_t pixmap = xcb_generate_id(m_connection);
    xcb_create_pixmap(m_connection, m_depth, pixmap, m_window, std::uint16_t(image.width()), std::uint16_t(image.height()));
    const xcb_gcontext_t gc = xcb_generate_id(m_connection);
    xcb_create_gc(m_connection, gc, pixmap, 0, nullptr);
    // A whole screen is more than one request may carry; send it in bands of rows.
    const std::size_t maxBytes = std::size_t(xcb_get_maximum_request_length(m_connection)) * 4 - 64;
    const int stride = int(image.bytesPerLine());
    const int rowsPerRequest = std::max(1, int(maxBytes / std::size_t(stride)));
    for (int y = 0; y < image.height(); y += rowsPerRequest) {
        const int rows = std::min(rowsPerRequest, image.height() - y);
        xcb_put_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, gc, std::uint16_t(image.width()),
                      std::uint16_t(rows), 0, std::int16_t(y), 0, m_depth, std::uint32_t(stride * rows),
                      image.constScanLine(y));
    }
    xcb_free_gc(m_connection, gc);
    xcb_change_window_attributes(m_connection, m_window, XCB_CW_BACK_PIXMAP, &pixmap);
    if (m_background != XCB_NONE)
        xcb_free_pixmap(m_connection, m_background);
    m_background = pixmap;
    return true;
}

xcb_window_t X11OverlayPanel::topLevelOf(xcb_connection_t* connection, xcb_window_t window)
{
    xcb_window_t current = window;
    for (int depth = 0; depth < 32; ++depth) {
        auto* tree = xcb_query_tree_reply(connection, xcb_query_tree(connection, current), nullptr);
        if (!tree)
            return XCB_WINDOW_NONE;  // gone (or going): nothing to stack against
        const xcb_window_t parent = tree->parent;
        const xcb_window_t root = tree->root;
        std::free(tree);
        if (current == root)
            return XCB_WINDOW_NONE;
        if (parent == root)
            return current;
        current = parent;
    }
    return XCB_WINDOW_NONE;
}

bool X11OverlayPanel::restack(xcb_window_t sibling, std::uint32_t stackMode)
{
    std::uint32_t values[2];
    std::uint16_t mask = XCB_CONFIG_WINDOW_STACK_MODE;
    if (sibling != XCB_WINDOW_NONE) {
        mask |= XCB_CONFIG_WINDOW_SIBLING;
        values[0] = sibling;
        values[1] = stackMode;
    } else {
        values[0] = stackMode;
    }
    const xcb_void_cookie_t cookie = xcb_configure_window_checked(m_connection, m_window, mask, values);
    if (m_mapped) {
        // Already on screen: a sibling that vanished meanwhile leaves us where we were, which is all we could do.
        xcb_discard_reply(m_connection, cookie.sequence);
        xcb_flush(m_connection);
        return true;
    }
    // Mapping only after the stacking took: a panel never shows above the window it belongs under, not even once.
    if (xcb_generic_error_t* error = xcb_request_check(m_connection, cookie)) {
        std::free(error);
        return false;
    }
    show();
    return true;
}

void X11OverlayPanel::show()
{
    xcb_map_window(m_connection, m_window);
    xcb_flush(m_connection);
    m_mapped = true;
    if (m_context->hooks.shown)
        m_context->hooks.shown(m_window, m_level);
}

void X11OverlayPanel::orderBelow(WindowNumber window)
{
    if (offline() || window == m_window)
        return;
    const xcb_window_t frame =
        m_context->hooks.frameOf ? m_context->hooks.frameOf(window) : topLevelOf(m_connection, window);
    if (frame == XCB_WINDOW_NONE || frame == m_window)
        return;
    m_belowWindow = window;
    m_belowFrame = frame;
    if (m_context->placement.mode() == OverlayPlacement::Mode::cutOut) {
        placeCutOut();
        return;
    }
    setHoles({});
    if (restack(frame, XCB_STACK_MODE_BELOW) && m_context->eventsDelivered)
        checkFocusedWindowRaised(window, frame);
}

void X11OverlayPanel::placeAgain()
{
    if (m_mapped && m_belowWindow != XCB_WINDOW_NONE && !offline())
        orderBelow(m_belowWindow);
}

void X11OverlayPanel::windowChanged(xcb_window_t window)
{
    if (!m_mapped || m_belowFrame == XCB_WINDOW_NONE || offline())
        return;
    if (m_context->placement.mode() == OverlayPlacement::Mode::stacked) {
        if (window == m_window)
            verifyStacking();
        return;
    }
    // Cut out: the hole follows the window and what stands above it; a burst of changes is one re-cut. Our own
    // panels' changes are ours (re-cutting on them would answer each re-cut with another).
    if (m_recutPending || isOurPanel(window))
        return;
    m_recutPending = true;
    QMetaObject::invokeMethod(
        m_guard.get(),
        [this] {
            m_recutPending = false;
            if (m_mapped && m_belowFrame != XCB_WINDOW_NONE && !offline())
                placeCutOut();
        },
        Qt::QueuedConnection);
}

std::vector<xcb_window_t> X11OverlayPanel::rootChildren() const
{
    std::vector<xcb_window_t> children;
    if (auto* tree = xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_context->root), nullptr)) {
        const xcb_window_t* w = xcb_query_tree_children(tree);
        children.assign(w, w + xcb_query_tree_children_length(tree));
        std::free(tree);
    }
    return children;  // bottom to top
}

bool X11OverlayPanel::isOurPanel(xcb_window_t window) const
{
    return std::any_of(m_context->panels.begin(), m_context->panels.end(),
                       [window](const X11OverlayPanel* p) { return p->m_window == window; });
}

void X11OverlayPanel::verifyStacking()
{
    // A manager that takes override-redirect windows back to the top does it after our restack succeeded; what
    // shows it is our own ConfigureNotify with the panel now above the frame it was put below.
    const std::vector<xcb_window_t> children = rootChildren();
    const auto panel = std::find(children.begin(), children.end(), m_window);
    const auto frame = std::find(children.begin(), children.end(), m_belowFrame);
    if (panel == children.end() || frame == children.end() || panel < frame)
        return;
    auto* attributes =
        xcb_get_window_attributes_reply(m_connection, xcb_get_window_attributes(m_connection, m_belowFrame), nullptr);
    const bool viewable = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    std::free(attributes);
    if (!viewable)
        return;
    qCInfo(lcDimming, "overlay placement: overlay 0x%x was put below frame 0x%x and the window manager moved it above",
           m_window, m_belowFrame);
    if (m_context->placement.restackOverridden())
        m_context->placementChanged();
}

void X11OverlayPanel::checkFocusedWindowRaised(xcb_window_t window, xcb_window_t frame)
{
    auto* active = xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, m_context->root, m_context->activeWindow, XCB_ATOM_WINDOW, 0, 1),
        nullptr);
    const bool focused = active && active->format == 32 && xcb_get_property_value_length(active) >= 4
        && *static_cast<const xcb_window_t*>(xcb_get_property_value(active)) == window;
    std::free(active);
    if (!focused)
        return;
    const std::vector<xcb_window_t> children = rootChildren();
    const auto at = std::find(children.begin(), children.end(), frame);
    if (at == children.end())
        return;
    const std::vector<xcb_window_t> normal = normalClientFrames();
    std::vector<xcb_get_geometry_cookie_t> cookies;
    for (auto it = at + 1; it != children.end(); ++it)
        if (std::find(normal.begin(), normal.end(), *it) != normal.end())
            cookies.push_back(xcb_get_geometry(m_connection, *it));
    bool covered = false;
    for (const auto cookie : cookies)
        if (auto* g = xcb_get_geometry_reply(m_connection, cookie, nullptr)) {
            covered = covered || QRect(g->x, g->y, g->width + 2 * g->border_width, g->height + 2 * g->border_width)
                                     .intersects(m_rootRect);
            std::free(g);
        }
    if (!covered) {
        m_context->placement.focusedWindowRaised();
        return;
    }
    const double now = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    if (m_context->placement.focusedWindowNotRaised(now))
        m_context->placementChanged();
}

void X11OverlayPanel::placeCutOut()
{
    const std::vector<xcb_window_t> children = rootChildren();
    const auto at = std::find(children.begin(), children.end(), m_belowFrame);
    if (at == children.end())
        return;  // the window went; the next order brings a new one
    if (m_context->watch)
        m_context->watch(m_belowFrame);
    // Bright: the frame and whatever stands above it but other normal windows (docks, panels, pop-ups, windows
    // kept above). Normal windows above it are those a manager that does not raise left there: they are dimmed.
    const std::vector<xcb_window_t> normal = normalClientFrames();
    struct Pending {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
    };
    std::vector<Pending> pending;
    for (auto it = at; it != children.end(); ++it) {
        if (it != at && (isOurPanel(*it) || std::find(normal.begin(), normal.end(), *it) != normal.end()))
            continue;
        pending.push_back({xcb_get_window_attributes(m_connection, *it), xcb_get_geometry(m_connection, *it)});
    }
    std::vector<QRect> holes;
    for (const Pending& p : pending) {
        auto* a = xcb_get_window_attributes_reply(m_connection, p.attributes, nullptr);
        auto* g = xcb_get_geometry_reply(m_connection, p.geometry, nullptr);
        if (a && g && a->map_state == XCB_MAP_STATE_VIEWABLE) {
            const QRect r(g->x, g->y, g->width + 2 * g->border_width, g->height + 2 * g->border_width);
            if (r.intersects(m_rootRect))
                holes.push_back(r);
        }
        std::free(a);
        std::free(g);
    }
    setHoles(std::move(holes));
    // Above the windows, but under our own panels of a higher level (menu bar strips, cards).
    xcb_window_t lowestHigher = XCB_WINDOW_NONE;
    for (const xcb_window_t w : children)
        if (w != m_window && lowestHigher == XCB_WINDOW_NONE)
            for (const X11OverlayPanel* p : m_context->panels)
                if (p->m_window == w && p->m_mapped && p->m_level > m_level)
                    lowestHigher = w;
    if (lowestHigher != XCB_WINDOW_NONE)
        restack(lowestHigher, XCB_STACK_MODE_BELOW);
    else
        restack(XCB_WINDOW_NONE, XCB_STACK_MODE_ABOVE);
}

void X11OverlayPanel::setHoles(std::vector<QRect> holes)
{
    if (holes == m_holes)
        return;
    m_holes = std::move(holes);
    if (m_holes.empty()) {
        if (!m_shaped)
            return;
        xcb_shape_mask(m_connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, m_window, 0, 0, XCB_NONE);
        m_shaped = false;
        xcb_flush(m_connection);
        return;
    }
    QRegion region(QRect(QPoint(0, 0), m_rootRect.size()));
    for (const QRect& hole : m_holes)
        region -= hole.translated(-m_rootRect.topLeft());
    std::vector<xcb_rectangle_t> rectangles;
    for (const QRect& r : region)
        rectangles.push_back({std::int16_t(r.x()), std::int16_t(r.y()), std::uint16_t(r.width()), std::uint16_t(r.height())});
    xcb_shape_rectangles(m_connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_YX_BANDED, m_window, 0,
                         0, std::uint32_t(rectangles.size()), rectangles.data());
    m_shaped = true;
    xcb_flush(m_connection);
}

std::vector<xcb_window_t> X11OverlayPanel::normalClientFrames() const
{
    auto* list = xcb_get_property_reply(
        m_connection,
        xcb_get_property(m_connection, 0, m_context->root, m_context->clientListStacking, XCB_ATOM_WINDOW, 0, 4096),
        nullptr);
    std::vector<xcb_window_t> clients;
    if (list && list->format == 32) {
        const auto* w = static_cast<const xcb_window_t*>(xcb_get_property_value(list));
        clients.assign(w, w + xcb_get_property_value_length(list) / 4);
    }
    std::free(list);
    // Top first; every property request goes out before the first answer is read.
    std::reverse(clients.begin(), clients.end());
    std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_property_cookie_t>> cookies;
    for (const xcb_window_t w : clients)
        cookies.push_back({xcb_get_property(m_connection, 0, w, m_context->wmState, XCB_ATOM_ATOM, 0, 64),
                           xcb_get_property(m_connection, 0, w, m_context->wmWindowType, XCB_ATOM_ATOM, 0, 64)});
    std::vector<xcb_window_t> normal;
    for (std::size_t i = 0; i < clients.size(); ++i) {
        auto* state = xcb_get_property_reply(m_connection, cookies[i].first, nullptr);
        auto* type = xcb_get_property_reply(m_connection, cookies[i].second, nullptr);
        if (state && type) {
            bool isNormal = true;
            const auto* states = static_cast<const xcb_atom_t*>(xcb_get_property_value(state));
            for (int k = 0; state->format == 32 && k < xcb_get_property_value_length(state) / 4; ++k)
                isNormal = isNormal && states[k] != m_context->wmStateAbove && states[k] != m_context->wmStateBelow;
            const auto* types = static_cast<const xcb_atom_t*>(xcb_get_property_value(type));
            if (type->format == 32 && xcb_get_property_value_length(type) >= 4)
                isNormal = isNormal
                    && (types[0] == m_context->wmWindowTypeNormal || types[0] == m_context->wmWindowTypeDialog);
            if (isNormal)
                normal.push_back(clients[i]);
        }
        std::free(state);
        std::free(type);
    }
    for (xcb_window_t& w : normal)
        w = m_context->hooks.frameOf ? m_context->hooks.frameOf(w) : topLevelOf(m_connection, w);
    std::erase(normal, xcb_window_t(XCB_WINDOW_NONE));
    return normal;  // top first
}

std::optional<xcb_window_t> X11OverlayPanel::topmostNormalFrame() const
{
    auto* list = xcb_get_property_reply(
        m_connection,
        xcb_get_property(m_connection, 0, m_context->root, m_context->clientListStacking, XCB_ATOM_WINDOW, 0, 4096),
        nullptr);
    const bool managed = list && list->format == 32;
    std::free(list);
    if (!managed)
        return std::nullopt;  // no EWMH manager: nothing tells normal windows from the rest
    const std::vector<xcb_window_t> normal = normalClientFrames();
    if (normal.empty())
        return xcb_window_t(XCB_WINDOW_NONE);
    // The manager's stacking list may lag behind or differ from the real order (IceWM keeps its frames' order
    // there only roughly), so the topmost frame is the one highest among the root's children.
    const std::vector<xcb_window_t> children = rootChildren();
    for (auto it = children.rbegin(); it != children.rend(); ++it) {
        if (std::find(normal.begin(), normal.end(), *it) != normal.end())
            return *it;
    }
    return normal.front();
}

void X11OverlayPanel::orderFrontRegardless()
{
    if (offline())
        return;
    m_belowWindow = m_belowFrame = XCB_WINDOW_NONE;
    setHoles({});
    if (m_level > WindowLevel::normal) {
        // Status-level strips and cards go above everything, docks and always-on-top windows included.
        restack(XCB_WINDOW_NONE, XCB_STACK_MODE_ABOVE);
        return;
    }
    // A normal-level panel goes above the normal windows but stays under always-on-top ones and docks.
    const std::optional<xcb_window_t> frame = topmostNormalFrame();
    if (!frame)
        restack(XCB_WINDOW_NONE, XCB_STACK_MODE_ABOVE);
    else if (*frame == XCB_WINDOW_NONE)
        restack(XCB_WINDOW_NONE, XCB_STACK_MODE_BELOW);
    else
        restack(*frame, XCB_STACK_MODE_ABOVE);  // refused only when it vanished just now; the next order fixes it
}

void X11OverlayPanel::orderOut()
{
    if (!m_mapped)
        return;
    m_mapped = false;
    m_belowWindow = m_belowFrame = XCB_WINDOW_NONE;
    if (!offline()) {
        xcb_unmap_window(m_connection, m_window);
        setHoles({});
        xcb_flush(m_connection);
    }
    if (m_context->hooks.hidden)
        m_context->hooks.hidden(m_window);
}

}  // namespace tamsinvale
