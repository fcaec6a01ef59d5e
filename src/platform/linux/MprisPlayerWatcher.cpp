// Following PlaybackStatus of every MPRIS player: signals as they come, plus one asynchronous read per player.
#include "MprisPlayerWatcher.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QMutexLocker>

namespace tamsinvale {

namespace {
const QString dbusService = QStringLiteral("org.freedesktop.DBus");
const QString dbusPath = QStringLiteral("/org/freedesktop/DBus");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString playbackStatus = QStringLiteral("PlaybackStatus");
}  // namespace

MprisPlayerWatcher::MprisPlayerWatcher(const QDBusConnection& bus, QObject* parent) : QObject(parent), m_bus(bus)
{
    if (!m_bus.isConnected())
        return;
    // Any sender: the players are not known in advance, and PropertiesChanged comes from their unique names.
    const bool properties = m_bus.connect(
        QString(), objectPath, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
        SLOT(propertiesChanged(QString, QVariantMap, QStringList, QDBusMessage)));
    const bool owners = m_bus.connect(dbusService, dbusPath, dbusService, QStringLiteral("NameOwnerChanged"), this,
                                      SLOT(nameOwnerChanged(QString, QString, QString)));
    m_watching = properties && owners;

    // Players already running: read each one's state once, without blocking start-up.
    const QDBusMessage list = QDBusMessage::createMethodCall(dbusService, dbusPath, dbusService,
                                                             QStringLiteral("ListNames"));
    auto* pending = new QDBusPendingCallWatcher(m_bus.asyncCall(list), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusMessage reply = call->reply();
        if (reply.type() == QDBusMessage::ReplyMessage)
            for (const QString& name : reply.arguments().value(0).toStringList())
                if (name.startsWith(namePrefix))
                    readStatus(name);
        m_ready = true;
        emit ready();
    });
}

std::uint64_t MprisPlayerWatcher::startedPlayingMark(const QString& uniqueName) const
{
    QMutexLocker lock(&m_mutex);
    return m_players.value(uniqueName).mark;
}

void MprisPlayerWatcher::readStatus(const QString& service)
{
    QDBusMessage get = QDBusMessage::createMethodCall(service, objectPath, propertiesInterface, QStringLiteral("Get"));
    get << playerInterface << playbackStatus;
    auto* pending = new QDBusPendingCallWatcher(m_bus.asyncCall(get), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusMessage reply = call->reply();
        if (reply.type() != QDBusMessage::ReplyMessage)
            return;
        // A reply comes from the player's unique name, which is what the signals carry too.
        statusSeen(reply.service(), qvariant_cast<QDBusVariant>(reply.arguments().value(0)).variant().toString());
    });
}

void MprisPlayerWatcher::propertiesChanged(const QString& interface, const QVariantMap& changed,
                                           const QStringList& invalidated, const QDBusMessage& message)
{
    if (interface != playerInterface)
        return;
    if (changed.contains(playbackStatus))
        statusSeen(message.service(), changed.value(playbackStatus).toString());
    else if (invalidated.contains(playbackStatus))
        readStatus(message.service());
}

void MprisPlayerWatcher::nameOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner)
{
    if (!oldOwner.isEmpty() && newOwner.isEmpty() && (name == oldOwner || name.startsWith(namePrefix))) {
        QMutexLocker lock(&m_mutex);
        m_players.remove(oldOwner);
    }
    // A player that starts already playing sends no change; read it.
    if (!newOwner.isEmpty() && name.startsWith(namePrefix))
        readStatus(name);
}

void MprisPlayerWatcher::statusSeen(const QString& uniqueName, const QString& status)
{
    if (uniqueName.isEmpty())
        return;
    bool started = false;
    {
        QMutexLocker lock(&m_mutex);
        Player& player = m_players[uniqueName];
        started = status == QLatin1String("Playing") && player.status != QLatin1String("Playing");
        if (started)
            player.mark = m_nextMark++;
        player.status = status;
    }
    if (started)
        emit playbackStarted(uniqueName);
}

}  // namespace tamsinvale
