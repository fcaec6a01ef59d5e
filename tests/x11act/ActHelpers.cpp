// Keyboard lock states, xdotool and the input client for the act-side X11 tests.
#include "ActHelpers.h"

#include "XTestSession.h"

#include <QDir>

#include <cstdlib>
#include <cstring>

namespace tamsinvale::x11test {

std::uint16_t keyboardState()
{
    XTestDisplay& x = XTestSession::get().x();
    auto* reply = xcb_query_pointer_reply(x.xcb(), xcb_query_pointer(x.xcb(), x.root()), nullptr);
    if (!reply)
        return 0;
    const std::uint16_t mask = reply->mask;
    std::free(reply);
    return mask;
}

std::uint16_t numLockMask()
{
    // Read independently of the code under test: the modifier whose key is Num_Lock, per xmodmap.
    const auto text = runTool({QStringLiteral("xmodmap"), QStringLiteral("-display"), XTestSession::get().display(),
                               QStringLiteral("-pm")});
    if (!text)
        return 0;
    for (const QString& line : text->split(QLatin1Char('\n'))) {
        if (!line.contains(QStringLiteral("Num_Lock")))
            continue;
        const QString name = line.section(QLatin1Char(' '), 0, 0);
        if (name.startsWith(QStringLiteral("mod")))
            return std::uint16_t(1u << (name.mid(3).toInt() + 2));
    }
    return 0;
}

QList<xcb_window_t> rootChildren()
{
    XTestDisplay& x = XTestSession::get().x();
    QList<xcb_window_t> out;
    auto* tree = xcb_query_tree_reply(x.xcb(), xcb_query_tree(x.xcb(), x.root()), nullptr);
    if (!tree)
        return out;
    const xcb_window_t* children = xcb_query_tree_children(tree);
    for (int i = 0; i < xcb_query_tree_children_length(tree); ++i)
        out.append(children[i]);
    std::free(tree);
    return out;
}

bool directlyBelowFrameOf(xcb_window_t panel, xcb_window_t client)
{
    const xcb_window_t frame = XTestSession::get().x().topLevelAncestor(client);
    const QList<xcb_window_t> children = rootChildren();
    const qsizetype at = children.indexOf(panel);
    return frame != XCB_WINDOW_NONE && at >= 0 && at + 1 < children.size() && children[at + 1] == frame;
}

bool isMapped(xcb_window_t window)
{
    XTestDisplay& x = XTestSession::get().x();
    auto* a = xcb_get_window_attributes_reply(x.xcb(), xcb_get_window_attributes(x.xcb(), window), nullptr);
    const bool mapped = a && a->map_state != XCB_MAP_STATE_UNMAPPED;
    std::free(a);
    return mapped;
}

QRect rootGeometry(xcb_window_t window)
{
    XTestDisplay& x = XTestSession::get().x();
    auto* g = xcb_get_geometry_reply(x.xcb(), xcb_get_geometry(x.xcb(), window), nullptr);
    const QRect r = g ? QRect(g->x, g->y, g->width, g->height) : QRect();
    std::free(g);
    return r;
}

std::optional<std::uint32_t> screenPixel(int px, int py)
{
    XTestDisplay& x = XTestSession::get().x();
    auto* image = xcb_get_image_reply(
        x.xcb(), xcb_get_image(x.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, x.root(), std::int16_t(px), std::int16_t(py), 1, 1, ~0u),
        nullptr);
    if (!image)
        return std::nullopt;
    std::optional<std::uint32_t> out;
    if (xcb_get_image_data_length(image) >= 4) {
        std::uint32_t v = 0;
        std::memcpy(&v, xcb_get_image_data(image), 4);
        out = v & 0xffffff;
    }
    std::free(image);
    return out;
}

void screenshot(const QString& name)
{
    const QString dir = qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_ACT_ARTIFACTS));
    QDir().mkpath(dir);
    runTool({QStringLiteral("import"), QStringLiteral("-display"), XTestSession::get().display(), QStringLiteral("-window"),
             QStringLiteral("root"), dir + QLatin1Char('/') + name + QStringLiteral(".png")},
            std::chrono::milliseconds(20000));
}

bool xdotool(const QStringList& arguments)
{
    int exitCode = -1;
    const auto out = runTool(QStringList{QStringLiteral("env"), QStringLiteral("DISPLAY=") + XTestSession::get().display(),
                                         QStringLiteral("xdotool")}
                                 + arguments,
                             std::chrono::milliseconds(10000), &exitCode);
    return out.has_value() && exitCode == 0;
}

bool testCanGrab(xcb_keycode_t keycode, std::uint16_t mask)
{
    XTestDisplay& x = XTestSession::get().x();
    const std::uint16_t numLock = numLockMask();
    const std::uint16_t variants[] = {0, XCB_MOD_MASK_LOCK, numLock, std::uint16_t(numLock | XCB_MOD_MASK_LOCK)};
    bool all = true;
    for (const std::uint16_t v : variants) {
        const auto cookie = xcb_grab_key_checked(x.xcb(), 0, x.root(), std::uint16_t(mask | v), keycode,
                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        if (xcb_generic_error_t* error = xcb_request_check(x.xcb(), cookie)) {
            all = false;
            std::free(error);
        }
    }
    for (const std::uint16_t v : variants)
        xcb_ungrab_key(x.xcb(), keycode, x.root(), std::uint16_t(mask | v));
    xcb_flush(x.xcb());
    return all;
}

bool setLock(const char* keysymName, std::uint16_t mask, bool on)
{
    XTestSession& s = XTestSession::get();
    if (bool(keyboardState() & mask) == on)
        return true;
    if (!xdotool({QStringLiteral("key"), QString::fromLatin1(keysymName)}))
        return false;
    return s.waitUntil([&] { return bool(keyboardState() & mask) == on; }, std::chrono::milliseconds(5000));
}

std::unique_ptr<InputClient> InputClient::start(const QString& title, int x, int y, int width, int height)
{
    auto client = std::unique_ptr<InputClient>(new InputClient);
    XTestSession& s = XTestSession::get();
    client->m_process = ChildProcess::start(
        {QStringLiteral(TAMSINVALE_INPUTCLIENT_PATH), title, QString::number(x), QString::number(y),
         QString::number(width), QString::number(height)},
        {QStringLiteral("DISPLAY=") + s.display(), QStringLiteral("QT_QPA_PLATFORM=xcb")});
    if (!client->m_process)
        return nullptr;
    const auto ready = client->m_process->readLineStartingWith(QStringLiteral("ready "), std::chrono::milliseconds(15000));
    if (!ready)
        return nullptr;
    bool ok = false;
    client->m_window = xcb_window_t(ready->section(QLatin1Char(' '), 1, 1).toULong(&ok, 16));
    if (!ok)
        return nullptr;
    // Ready for input once the window manager lists it.
    const bool managed = s.waitUntil([&] {
        return s.x().cardinals(s.x().root(), "_NET_CLIENT_LIST").contains(client->m_window);
    });
    return managed ? std::move(client) : nullptr;
}

std::optional<QString> InputClient::next(const QString& tag, std::chrono::milliseconds timeout)
{
    for (qsizetype i = 0; i < m_pending.size(); ++i)
        if (m_pending[i].startsWith(tag)) {
            const QString line = m_pending.takeAt(i);
            return line.mid(tag.size());
        }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return std::nullopt;
        const auto line = m_process->readLine(left);
        if (!line)
            return std::nullopt;
        if (line->startsWith(tag))
            return line->mid(tag.size());
        m_pending.append(*line);
    }
}

std::optional<QString> InputClient::nextText(std::chrono::milliseconds timeout)
{
    const auto hex = next(QStringLiteral("text "), timeout);
    if (!hex)
        return std::nullopt;
    return QString::fromUtf8(QByteArray::fromHex(hex->toLatin1()));
}

std::optional<QString> InputClient::nextClick(std::chrono::milliseconds timeout) { return next(QStringLiteral("click "), timeout); }

}  // namespace tamsinvale::x11test
