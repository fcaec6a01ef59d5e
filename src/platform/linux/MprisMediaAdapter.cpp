// MPRIS calls: list the players, read PlaybackStatus and CanPause, and send Pause and Play.
#include "MprisMediaAdapter.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QMutexLocker>
#include <algorithm>

#include "MprisPlayerWatcher.h"

namespace tamsinvale {

namespace {
const QString dbusService = QStringLiteral("org.freedesktop.DBus");
const QString dbusPath = QStringLiteral("/org/freedesktop/DBus");

QString errorText(const QDBusMessage& reply)
{
    return reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage();
}
}  // namespace

MprisMediaAdapter::MprisMediaAdapter(const QDBusConnection& bus, const MprisPlayerWatcher& watcher)
    : m_bus(bus), m_watcher(watcher)
{
}

MediaAdapterResult MprisMediaAdapter::run(const QString& command)
{
    QMutexLocker lock(&m_mutex);
    if (!m_bus.isConnected())
        return MediaAdapterResult::failure(QStringLiteral("no D-Bus session bus to reach media players on"));
    if (command == QLatin1String("status"))
        return status();
    if (command == QLatin1String("pause"))
        return pause();
    if (command == QLatin1String("play"))
        return play();
    return MediaAdapterResult::failure(QStringLiteral("unknown media command \"%1\"").arg(command));
}

QDBusMessage MprisMediaAdapter::call(const QString& service, const QString& path, const QString& interface,
                                     const QString& method, const QVariantList& arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return m_bus.call(message, QDBus::Block, callTimeoutMs);
}

std::optional<QVariant> MprisMediaAdapter::property(const QString& service, const QString& name)
{
    const QDBusMessage reply =
        call(service, MprisPlayerWatcher::objectPath, QStringLiteral("org.freedesktop.DBus.Properties"),
             QStringLiteral("Get"), {MprisPlayerWatcher::playerInterface, name});
    if (reply.type() != QDBusMessage::ReplyMessage)
        return std::nullopt;
    return qvariant_cast<QDBusVariant>(reply.arguments().value(0)).variant();
}

MprisMediaAdapter::Players MprisMediaAdapter::players()
{
    Players out;
    const QDBusMessage names = call(dbusService, dbusPath, dbusService, QStringLiteral("ListNames"));
    if (names.type() != QDBusMessage::ReplyMessage) {
        out.error = QStringLiteral("listing the session bus's names failed: ") + errorText(names);
        return out;
    }
    QStringList busNames = names.arguments().value(0).toStringList();
    busNames.sort();
    for (const QString& busName : busNames) {
        if (!busName.startsWith(MprisPlayerWatcher::namePrefix))
            continue;
        // A player that quits or hangs while we ask is simply not among the players.
        const QDBusMessage owner = call(dbusService, dbusPath, dbusService, QStringLiteral("GetNameOwner"), {busName});
        const std::optional<QVariant> status = property(busName, QStringLiteral("PlaybackStatus"));
        if (owner.type() != QDBusMessage::ReplyMessage || !status)
            continue;
        out.list.append(Player{busName, owner.arguments().value(0).toString(), status->toString()});
    }
    return out;
}

std::optional<MprisMediaAdapter::Player> MprisMediaAdapter::nowPlaying(const QList<Player>& players) const
{
    std::optional<Player> best;
    std::uint64_t bestMark = 0;
    for (const Player& player : players) {
        if (player.status != QLatin1String("Playing"))
            continue;
        const std::uint64_t mark = m_watcher.startedPlayingMark(player.owner);
        if (!best || mark > bestMark) {
            best = player;
            bestMark = mark;
        }
    }
    return best;
}

MediaAdapterResult MprisMediaAdapter::status()
{
    const Players all = players();
    if (!all.error.isEmpty())
        return MediaAdapterResult::failure(all.error);
    const std::optional<Player> playing = nowPlaying(all.list);
    if (!playing)
        return MediaAdapterResult::success(QStringLiteral("playing=0\nplayers=%1\n").arg(all.list.size()));
    return MediaAdapterResult::success(QStringLiteral("playing=1\nplayer=%1\n").arg(playing->busName));
}

MediaAdapterResult MprisMediaAdapter::pause()
{
    const Players all = players();
    if (!all.error.isEmpty())
        return MediaAdapterResult::failure(all.error);
    const std::optional<Player> playing = nowPlaying(all.list);
    if (!playing)
        return MediaAdapterResult::failure(QStringLiteral("no media player is playing"));
    if (const auto canPause = property(playing->busName, QStringLiteral("CanPause")); canPause && !canPause->toBool())
        return MediaAdapterResult::failure(QStringLiteral("%1 cannot be paused").arg(playing->busName));
    const QDBusMessage reply =
        call(playing->busName, MprisPlayerWatcher::objectPath, MprisPlayerWatcher::playerInterface, QStringLiteral("Pause"));
    if (reply.type() != QDBusMessage::ReplyMessage)
        return MediaAdapterResult::failure(
            QStringLiteral("pausing %1 failed: %2").arg(playing->busName, errorText(reply)));
    m_pausedByUs = playing;
    return MediaAdapterResult::success(QStringLiteral("paused=%1\n").arg(playing->busName));
}

MediaAdapterResult MprisMediaAdapter::play()
{
    if (!m_pausedByUs)
        return MediaAdapterResult::failure(QStringLiteral("no media player was paused by Tamsinvale"));
    const Player paused = *m_pausedByUs;
    m_pausedByUs.reset();
    const QDBusMessage owner = call(dbusService, dbusPath, dbusService, QStringLiteral("GetNameOwner"), {paused.busName});
    if (owner.type() != QDBusMessage::ReplyMessage || owner.arguments().value(0).toString() != paused.owner)
        return MediaAdapterResult::failure(QStringLiteral("%1 has quit since it was paused").arg(paused.busName));
    const QDBusMessage reply =
        call(paused.busName, MprisPlayerWatcher::objectPath, MprisPlayerWatcher::playerInterface, QStringLiteral("Play"));
    if (reply.type() != QDBusMessage::ReplyMessage)
        return MediaAdapterResult::failure(QStringLiteral("playing %1 failed: %2").arg(paused.busName, errorText(reply)));
    return MediaAdapterResult::success(QStringLiteral("resumed=%1\n").arg(paused.busName));
}

}  // namespace tamsinvale
