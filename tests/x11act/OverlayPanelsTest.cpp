// Overlay panels against real X: stacking under the active frame, vanished windows, click-through, drawing, frames.
#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "ActHelpers.h"
#include "XTestSession.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11OverlayPanels.h"
#include "platform/x11/X11WindowList.h"
#include "platform/x11/X11WindowReader.h"

#include <xcb/shape.h>

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

bool overrideRedirect(xcb_window_t window)
{
    XTestDisplay& x = XTestSession::get().x();
    auto* a = xcb_get_window_attributes_reply(x.xcb(), xcb_get_window_attributes(x.xcb(), window), nullptr);
    const bool on = a && a->override_redirect;
    std::free(a);
    return on;
}

bool near(std::optional<std::uint32_t> pixel, std::uint32_t rgb)
{
    if (!pixel)
        return false;
    for (int shift : {0, 8, 16})
        if (std::abs(int((*pixel >> shift) & 0xff) - int((rgb >> shift) & 0xff)) > 3)
            return false;
    return true;
}

QPoint rootOrigin(xcb_window_t window)
{
    XTestDisplay& x = XTestSession::get().x();
    auto* t = xcb_translate_coordinates_reply(x.xcb(), xcb_translate_coordinates(x.xcb(), window, x.root(), 0, 0),
                                              nullptr);
    const QPoint p = t ? QPoint(t->dst_x, t->dst_y) : QPoint();
    std::free(t);
    return p;
}

WindowSpec windowSpec(const QString& title, int x, int y, const QStringList& states = {})
{
    WindowSpec w;
    w.title = title;
    w.x = x;
    w.y = y;
    w.states = states;
    return w;
}

// A connection of its own that records the root's substructure events in the order the server sent them.
class Witness {
public:
    Witness()
    {
        m_connection = xcb_connect(XTestSession::get().display().toLocal8Bit().constData(), nullptr);
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }
    ~Witness() { xcb_disconnect(m_connection); }
    // "configure" or "map" per event about `window`, in arrival order.
    QStringList eventsOf(xcb_window_t window)
    {
        while (xcb_generic_event_t* e = xcb_poll_for_event(m_connection)) {
            const std::uint8_t type = e->response_type & 0x7f;
            if (type == XCB_CONFIGURE_NOTIFY && reinterpret_cast<xcb_configure_notify_event_t*>(e)->window == window)
                m_events << QStringLiteral("configure");
            else if (type == XCB_MAP_NOTIFY && reinterpret_cast<xcb_map_notify_event_t*>(e)->window == window)
                m_events << QStringLiteral("map");
            std::free(e);
        }
        return m_events;
    }

private:
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    QStringList m_events;
};

struct HookLog {
    QList<std::pair<WindowNumber, int>> shown;
    QList<WindowNumber> hidden;
    X11PanelHooks hooks()
    {
        X11PanelHooks h;
        // Also as the port wires them: our panels appear in the window list while they are up.
        h.shown = [this](WindowNumber w, int level) {
            shown.append({w, level});
            XTestSession::get().desktop().registerOwnPanel(w, level);
        };
        h.hidden = [this](WindowNumber w) {
            hidden.append(w);
            XTestSession::get().desktop().unregisterOwnPanel(w);
        };
        return h;
    }
};

}  // namespace

TEST(OverlayPanelsTest, staysDirectlyBelowTheActiveFrameThroughActivationsAndWhenItCloses)
{
    XTestSession& s = XTestSession::get();
    HookLog log;
    X11OverlayPanels panels(s.desktop().connection(), log.hooks());
    auto panel = panels.createPanel(QRectF(0, 0, 1920, 1050), WindowLevel::normal);
    const xcb_window_t overlay = panel->windowNumber();
    OverlayAppearance look;
    look.darkening = 0.6;
    panel->setAppearance(look);
    // Hidden until first ordered, already at its place: the 30 points at the top stay free.
    ASSERT_TRUE(s.waitUntil([&] { return rootGeometry(overlay) == QRect(0, 30, 1920, 1050); }));
    EXPECT_FALSE(isMapped(overlay));
    EXPECT_TRUE(overrideRedirect(overlay));

    auto client = s.client({windowSpec(QStringLiteral("one"), 100, 100), windowSpec(QStringLiteral("two"), 300, 200),
                            windowSpec(QStringLiteral("three"), 500, 300)});
    ASSERT_TRUE(client);

    // First appearance: restacked below the active frame before it is mapped, so it never covers that window.
    Witness witness;
    const xcb_window_t first = client->window(2);
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                         QStringLiteral("0x%1").arg(first, 0, 16)}));
    panel->orderBelow(first);
    ASSERT_TRUE(s.waitUntil([&] { return witness.eventsOf(overlay).contains(QStringLiteral("map")); }));
    EXPECT_EQ(witness.eventsOf(overlay), (QStringList{QStringLiteral("configure"), QStringLiteral("map")}));
    EXPECT_TRUE(directlyBelowFrameOf(overlay, first));

    // What the focus dimmer does: the manager's change of the active window orders the overlay below it.
    X11Connection& connection = s.desktop().connection();
    const xcb_atom_t activeAtom = connection.ewmh()->_NET_ACTIVE_WINDOW;
    QObject::connect(&connection, &X11Connection::propertyChanged, [&](xcb_window_t window, xcb_atom_t atom) {
        if (window == connection.root() && atom == activeAtom)
            if (const xcb_window_t active = s.desktop().reader().activeWindow())
                panel->orderBelow(active);
    });

    for (int i = 0; i < 30; ++i) {
        const xcb_window_t target = client->window(i % 3);
        ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                             QStringLiteral("0x%1").arg(target, 0, 16)}));
        ASSERT_TRUE(s.waitUntil([&] { return isMapped(overlay) && directlyBelowFrameOf(overlay, target); }))
            << "activation " << i;
    }
    ASSERT_EQ(log.shown.size(), 1);
    // The window list, front to back, has the overlay right behind the active window, as ours, at level 0.
    const auto listed = s.desktop().windowList().onScreenWindows();
    ASSERT_TRUE(listed);
    qsizetype at = -1;
    for (qsizetype i = 0; i < listed->size(); ++i)
        if ((*listed)[i].number == overlay)
            at = i;
    ASSERT_GT(at, 0);
    EXPECT_EQ((*listed)[at - 1].number, std::optional<WindowNumber>(client->window(29 % 3)));
    EXPECT_EQ((*listed)[at].ownerPid, std::int32_t(getpid()));
    EXPECT_EQ((*listed)[at].layer, std::optional<int>(WindowLevel::normal));
    EXPECT_EQ(log.shown.first(), std::make_pair(WindowNumber(overlay), WindowLevel::normal));

    // The active window closes: ordering below it is no error, and the manager's next choice takes the overlay.
    const xcb_window_t closing = client->window(2);
    ASSERT_TRUE(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                         QStringLiteral("0x%1").arg(closing, 0, 16)}));
    ASSERT_TRUE(s.waitUntil([&] { return directlyBelowFrameOf(overlay, closing); }));
    ASSERT_TRUE(client->closeWindow(2));
    panel->orderBelow(closing);
    panel->orderBelow(0x1fffff0);  // never existed
    EXPECT_TRUE(panel->isVisible());
    ASSERT_TRUE(s.waitUntil([&] {
        const xcb_window_t active = s.desktop().reader().activeWindow();
        return active != XCB_WINDOW_NONE && active != closing && directlyBelowFrameOf(overlay, active);
    }));
    EXPECT_TRUE(isMapped(overlay));
    screenshot(QStringLiteral("overlay-below-active-window-after-close"));

    panel->orderOut();
    EXPECT_TRUE(s.waitUntil([&] { return !isMapped(overlay); }));
    EXPECT_EQ(log.hidden, QList<WindowNumber>{overlay});
    EXPECT_FALSE(panel->isVisible());
}

TEST(OverlayPanelsTest, clicksPassThroughAndThePictureIsAspectFilledWithItsTopInsetClipped)
{
    XTestSession& s = XTestSession::get();
    auto input = InputClient::start(QStringLiteral("under the overlay"), 200, 200, 400, 300);
    ASSERT_TRUE(input);

    // 200×100: a green band over the top tenth, red left half and blue right half below it.
    QImage picture(200, 100, QImage::Format_RGB32);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 200; ++x)
            picture.setPixel(x, y, y < 10 ? qRgb(0, 255, 0) : x < 100 ? qRgb(255, 0, 0) : qRgb(0, 0, 255));
    OverlayAppearance look;
    look.picture = picture;
    look.darkening = 0.5;
    look.topInset = 30;

    HookLog log;
    X11OverlayPanels panels(s.desktop().connection(), log.hooks());
    auto panel = panels.createPanel(QRectF(0, 0, 1920, 1050), WindowLevel::status);
    panel->setAppearance(look);
    panel->orderFrontRegardless();
    const xcb_window_t overlay = panel->windowNumber();
    ASSERT_TRUE(s.waitUntil([&] { return isMapped(overlay) && rootChildren().last() == overlay; }));
    const xcb_window_t frame = s.x().topLevelAncestor(input->window());
    EXPECT_GT(rootChildren().indexOf(overlay), rootChildren().indexOf(frame));

    // Scaled by 10.8 to cover 1920×1080 (the inset included) and centred: the green band is 108 rows, 30 of them
    // under the inset, so it ends 78 rows into the panel (root row 108).
    EXPECT_TRUE(near(screenPixel(100, 30 + 40), 0x007f00)) << std::hex << screenPixel(100, 70).value_or(0);
    EXPECT_TRUE(near(screenPixel(100, 30 + 200), 0x7f0000)) << std::hex << screenPixel(100, 230).value_or(0);
    EXPECT_TRUE(near(screenPixel(1800, 30 + 200), 0x00007f)) << std::hex << screenPixel(1800, 230).value_or(0);
    // Without the inset the band would reach root row 138.
    EXPECT_TRUE(near(screenPixel(100, 30 + 95), 0x7f0000)) << std::hex << screenPixel(100, 125).value_or(0);

    screenshot(QStringLiteral("overlay-picture-aspect-filled-under-top-inset"));

    // A click on the covered window reaches it, not the overlay above.
    const QPoint origin = rootOrigin(input->window());
    ASSERT_TRUE(xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + 100), QString::number(origin.y() + 80),
                         QStringLiteral("click"), QStringLiteral("1")}));
    EXPECT_EQ(input->nextClick(std::chrono::milliseconds(5000)), QStringLiteral("100 80"));
}

TEST(OverlayPanelsTest, framesComeFromScreenCoordinatesAndFrontOrderRespectsLevels)
{
    XTestSession& s = XTestSession::get();
    auto client = s.client({windowSpec(QStringLiteral("normal"), 100, 100),
                            windowSpec(QStringLiteral("on top"), 600, 400, {QStringLiteral("above")})});
    ASSERT_TRUE(client);
    const xcb_window_t normalFrame = s.x().topLevelAncestor(client->window(0));
    const xcb_window_t aboveFrame = s.x().topLevelAncestor(client->window(1));

    HookLog log;
    X11OverlayPanels panels(s.desktop().connection(), log.hooks());
    auto panel = panels.createPanel(QRectF(100, 200, 300, 400), WindowLevel::normal);
    const xcb_window_t overlay = panel->windowNumber();
    EXPECT_TRUE(s.waitUntil([&] { return rootGeometry(overlay) == QRect(100, 480, 300, 400); }));
    panel->setFrame(QRectF(0, 0, 1920, 1080));
    EXPECT_TRUE(s.waitUntil([&] { return rootGeometry(overlay) == QRect(0, 0, 1920, 1080); }));

    // A normal-level panel in front: above the normal window, under the always-on-top one.
    panel->orderFrontRegardless();
    ASSERT_TRUE(s.waitUntil([&] { return isMapped(overlay); }));
    const QList<xcb_window_t> order = rootChildren();
    EXPECT_GT(order.indexOf(overlay), order.indexOf(normalFrame));
    EXPECT_LT(order.indexOf(overlay), order.indexOf(aboveFrame));

    // A status-level strip above all of it; translucent colours are drawn as over black without a compositor.
    auto strip = panels.createPanel(QRectF(0, 1050, 1920, 30), WindowLevel::statusAboveStrips);
    OverlayAppearance red;
    red.fill = QColor(255, 0, 0, 128);
    strip->setAppearance(red);
    strip->orderFrontRegardless();
    ASSERT_TRUE(s.waitUntil([&] { return isMapped(strip->windowNumber()) && rootChildren().last() == strip->windowNumber(); }));
    EXPECT_TRUE(s.waitUntil([&] { return rootGeometry(strip->windowNumber()) == QRect(0, 0, 1920, 30); }));
    screenshot(QStringLiteral("overlay-normal-level-front-with-status-strip"));
    EXPECT_TRUE(near(screenPixel(10, 10), 0x800000)) << std::hex << screenPixel(10, 10).value_or(0);
    EXPECT_EQ(log.shown.size(), 2);

    const xcb_window_t stripWindow = strip->windowNumber();
    strip.reset();
    EXPECT_TRUE(log.hidden.contains(stripWindow));
    EXPECT_TRUE(s.waitUntil([&] { return !rootChildren().contains(stripWindow); }));
}

TEST(OverlayPanelsTest, withACompositorPanelsAreTranslucentAndCarryTheirOpacity)
{
    XTestSession& s = XTestSession::get();
    auto compositor = s.application({QStringLiteral("xcompmgr")});
    ASSERT_TRUE(compositor);
    ASSERT_TRUE(s.waitUntil([&] { return s.x().selectionOwner("_NET_WM_CM_S0") != XCB_WINDOW_NONE; }));

    X11OverlayPanels panels(s.desktop().connection());
    auto dim = panels.createPanel(QRectF(0, 0, 1920, 1080), WindowLevel::status);
    OverlayAppearance half;
    half.fill = QColor(0, 0, 0, 128);
    dim->setAppearance(half);
    dim->setAlpha(0.5);
    dim->orderFrontRegardless();
    const xcb_window_t window = dim->windowNumber();
    ASSERT_TRUE(s.waitUntil([&] { return isMapped(window); }));

    XTestDisplay& x = s.x();
    auto* geometry = xcb_get_geometry_reply(x.xcb(), xcb_get_geometry(x.xcb(), window), nullptr);
    ASSERT_TRUE(geometry);
    EXPECT_EQ(geometry->depth, 32);
    std::free(geometry);
    EXPECT_EQ(x.cardinals(window, "_NET_WM_WINDOW_OPACITY"), QList<uint32_t>{0x80000000u});

    // The window's own pixels are half-transparent black, premultiplied.
    auto* image = xcb_get_image_reply(
        x.xcb(), xcb_get_image(x.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, window, 10, 10, 1, 1, ~0u), nullptr);
    ASSERT_TRUE(image);
    std::uint32_t pixel = 0;
    ASSERT_GE(xcb_get_image_data_length(image), 4);
    std::memcpy(&pixel, xcb_get_image_data(image), 4);
    std::free(image);
    EXPECT_EQ(pixel, 0x80000000u);

    dim->setAlpha(1.0);
    EXPECT_TRUE(s.waitUntil([&] { return x.cardinals(window, "_NET_WM_WINDOW_OPACITY").isEmpty(); }));
    dim.reset();
    compositor->stop();
}

TEST(OverlayPanelsTest, aCompositorStartingOrStoppingLaterIsAnnouncedAndNewPanelsFollowIt)
{
    XTestSession& s = XTestSession::get();
    ASSERT_EQ(s.x().selectionOwner("_NET_WM_CM_S0"), XCB_WINDOW_NONE);
    X11OverlayPanels panels(s.desktop().connection());
    int announcements = 0;
    const auto watch = panels.observeTranslucency([&] { ++announcements; });
    EXPECT_FALSE(panels.translucencyAvailable());

    // Without a compositor a rendered card keeps its rounded corners: what it leaves transparent is cut out of the
    // (opaque) window rather than painted black.
    auto card = panels.createPanel(QRectF(100, 100, 300, 200), WindowLevel::statusAboveStrips);
    QImage content(300, 200, QImage::Format_ARGB32_Premultiplied);
    content.fill(Qt::transparent);
    {
        QPainter p(&content);
        p.setRenderHint(QPainter::Antialiasing);
        p.setBrush(Qt::darkGray);
        p.setPen(Qt::NoPen);
        p.drawRoundedRect(QRectF(0, 0, 300, 200), 18, 18);
    }
    OverlayAppearance look;
    look.fill = Qt::transparent;
    look.content = content;
    card->setAppearance(look);
    card->orderFrontRegardless();
    const xcb_window_t cardWindow = card->windowNumber();
    ASSERT_TRUE(s.waitUntil([&] { return isMapped(cardWindow); }));
    XTestDisplay& x = s.x();
    auto* extents = xcb_shape_query_extents_reply(x.xcb(), xcb_shape_query_extents(x.xcb(), cardWindow), nullptr);
    ASSERT_TRUE(extents);
    EXPECT_TRUE(extents->bounding_shaped);
    std::free(extents);
    auto* inside = xcb_shape_get_rectangles_reply(
        x.xcb(), xcb_shape_get_rectangles(x.xcb(), cardWindow, XCB_SHAPE_SK_BOUNDING), nullptr);
    ASSERT_TRUE(inside);
    bool cornerIn = false, middleIn = false;
    const xcb_rectangle_t* r = xcb_shape_get_rectangles_rectangles(inside);
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(inside); ++i) {
        const QRect rect(r[i].x, r[i].y, r[i].width, r[i].height);
        cornerIn = cornerIn || rect.contains(1, 1);
        middleIn = middleIn || rect.contains(150, 100);
    }
    std::free(inside);
    EXPECT_FALSE(cornerIn);
    EXPECT_TRUE(middleIn);

    // A compositor starts later: announced, and panels made from now on are see-through.
    auto compositor = s.application({QStringLiteral("xcompmgr")});
    ASSERT_TRUE(compositor);
    ASSERT_TRUE(s.waitUntil([&] { return announcements == 1; })) << announcements;
    EXPECT_TRUE(panels.translucencyAvailable());
    // The depth the server made a panel's window with, once the request has reached it from the other connection.
    auto depthOf = [&](xcb_window_t window) {
        std::optional<int> depth;
        s.waitUntil([&] {
            auto* geometry = xcb_get_geometry_reply(x.xcb(), xcb_get_geometry(x.xcb(), window), nullptr);
            if (geometry)
                depth = geometry->depth;
            std::free(geometry);
            return depth.has_value();
        });
        return depth;
    };
    auto dim = panels.createPanel(QRectF(0, 0, 1920, 1080), WindowLevel::status);
    EXPECT_EQ(depthOf(dim->windowNumber()), 32);

    // And when it stops.
    compositor->stop();
    ASSERT_TRUE(s.waitUntil([&] { return announcements == 2; })) << announcements;
    EXPECT_FALSE(panels.translucencyAvailable());
    auto opaque = panels.createPanel(QRectF(0, 0, 100, 100), WindowLevel::status);
    const std::optional<int> opaqueDepth = depthOf(opaque->windowNumber());
    ASSERT_TRUE(opaqueDepth);
    EXPECT_NE(*opaqueDepth, 32);
}
