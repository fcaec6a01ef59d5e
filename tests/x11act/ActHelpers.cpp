// Keyboard lock states, xdotool and the input client for the act-side X11 tests.
#include "ActHelpers.h"

#include "XTestSession.h"

#include <cstdlib>

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

bool xdotool(const QStringList& arguments)
{
    int exitCode = -1;
    const auto out = runTool(QStringList{QStringLiteral("env"), QStringLiteral("DISPLAY=") + XTestSession::get().display(),
                                         QStringLiteral("xdotool")}
                                 + arguments,
                             std::chrono::milliseconds(10000), &exitCode);
    return out.has_value() && exitCode == 0;
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
