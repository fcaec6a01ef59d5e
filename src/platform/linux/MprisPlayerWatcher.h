// Watches the MPRIS media players on the session bus to know which one most recently started playing, the
// Linux counterpart of the system's Now Playing application.
#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QMutex>
#include <QObject>
#include <QString>
#include <cstdint>

class QDBusMessage;

namespace tamsinvale {

// Lives on the main thread and follows every player's PlaybackStatus (PropertiesChanged on
// /org/mpris/MediaPlayer2, players coming and going through NameOwnerChanged, and one read of each player
// at start). Each change into "Playing" gives that player a new, higher mark; the Now Playing player is the
// playing one with the highest mark. Marks are read from the media queue's thread.
class MprisPlayerWatcher : public QObject {
    Q_OBJECT
public:
    static inline const QString namePrefix = QStringLiteral("org.mpris.MediaPlayer2.");
    static inline const QString objectPath = QStringLiteral("/org/mpris/MediaPlayer2");
    static inline const QString playerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");

    explicit MprisPlayerWatcher(const QDBusConnection& bus, QObject* parent = nullptr);

    bool isWatching() const { return m_watching; }
    // True once the bus has answered the first listing: from then on no change of any player is missed (the bus
    // handles one connection's messages in order, so our match rules were in place before that answer).
    bool isReady() const { return m_ready; }
    // When the player behind this unique bus name last started playing, as a rising count; 0 when it was
    // never seen starting. Safe from any thread.
    std::uint64_t startedPlayingMark(const QString& uniqueName) const;

signals:
    // A player went into "Playing" (its unique bus name).
    void playbackStarted(const QString& uniqueName);
    void ready();

private slots:
    void propertiesChanged(const QString& interface, const QVariantMap& changed, const QStringList& invalidated,
                           const QDBusMessage& message);
    void nameOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);

private:
    void readStatus(const QString& service);
    void statusSeen(const QString& uniqueName, const QString& status);

    struct Player {
        QString status;
        std::uint64_t mark = 0;
    };
    QDBusConnection m_bus;
    bool m_watching = false;
    bool m_ready = false;
    mutable QMutex m_mutex;
    QHash<QString, Player> m_players;  // by unique bus name
    std::uint64_t m_nextMark = 1;
};

}  // namespace tamsinvale
