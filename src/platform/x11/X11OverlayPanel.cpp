// Override-redirect panel windows: drawn once into a background pixmap, stacked with checked configure requests.
#include "X11OverlayPanel.h"

#include "platform/ScreenCoordinates.h"

#include "X11PanelContext.h"
#include "platform/Logging.h"

#include <QPainter>
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
    std::uint32_t mask = XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT;
    std::vector<std::uint32_t> values{argb ? 0u : 0xff000000u, 0u, 1u};
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
}

X11OverlayPanel::~X11OverlayPanel()
{
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
    } else if (m_shaped) {
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
    restack(frame, XCB_STACK_MODE_BELOW);
}

std::optional<xcb_window_t> X11OverlayPanel::topmostNormalFrame() const
{
    auto* list = xcb_get_property_reply(
        m_connection,
        xcb_get_property(m_connection, 0, m_context->root, m_context->clientListStacking, XCB_ATOM_WINDOW, 0, 4096),
        nullptr);
    if (!list || list->format != 32) {
        std::free(list);
        return std::nullopt;  // no EWMH manager: nothing tells normal windows from the rest
    }
    std::vector<xcb_window_t> clients;
    {
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
    xcb_window_t found = XCB_WINDOW_NONE;
    for (std::size_t i = 0; i < clients.size(); ++i) {
        auto* state = xcb_get_property_reply(m_connection, cookies[i].first, nullptr);
        auto* type = xcb_get_property_reply(m_connection, cookies[i].second, nullptr);
        if (found == XCB_WINDOW_NONE && state && type) {
            bool normal = true;
            const auto* states = static_cast<const xcb_atom_t*>(xcb_get_property_value(state));
            for (int k = 0; state->format == 32 && k < xcb_get_property_value_length(state) / 4; ++k)
                normal = normal && states[k] != m_context->wmStateAbove && states[k] != m_context->wmStateBelow;
            const auto* types = static_cast<const xcb_atom_t*>(xcb_get_property_value(type));
            if (type->format == 32 && xcb_get_property_value_length(type) >= 4)
                normal = normal && (types[0] == m_context->wmWindowTypeNormal || types[0] == m_context->wmWindowTypeDialog);
            if (normal)
                found = clients[i];
        }
        std::free(state);
        std::free(type);
    }
    return found == XCB_WINDOW_NONE ? xcb_window_t(XCB_WINDOW_NONE) : topLevelOf(m_connection, found);
}

void X11OverlayPanel::orderFrontRegardless()
{
    if (offline())
        return;
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
    if (!offline()) {
        xcb_unmap_window(m_connection, m_window);
        xcb_flush(m_connection);
    }
    if (m_context->hooks.hidden)
        m_context->hooks.hidden(m_window);
}

}  // namespace tamsinvale
