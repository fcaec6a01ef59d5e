// The media commands on Linux, over MPRIS on the session bus: "status", "pause" (the Now Playing player, which
// is remembered) and "play" (the remembered one).
#pragma once

#include <QDBusConnection>
#include <QMutex>
#include <QString>
#include <optional>

#include "platform/MediaAdapter.h"

namespace tamsinvale {

class MprisPlayerWatcher;

class MprisMediaAdapter : public MediaAdapter {
public:
    // One call to a player waits at most this long, so a hung player cannot hold the queue.
    static constexpr int callTimeoutMs = 2000;

    // `watcher` (on the main thread) tells which playing player started most recently.
    MprisMediaAdapter(const QDBusConnection& bus, const MprisPlayerWatcher& watcher);

    // "status": "playing=1" and "player=<bus name>" lines while some player plays, else "playing=0".
    // "pause": pauses the Now Playing player and remembers it. "play": plays the remembered player, if it is
    // still the same process. Runs on the media queue; blocks for the bus calls.
    MediaAdapterResult run(const QString& command) override;

private:
    struct Player {
        QString busName;  // org.mpris.MediaPlayer2.…
        QString owner;    // its unique name: a player restarted under the same name is another player
        QString status;
    };
    struct Players {
        QList<Player> list;
        QString error;
    };
    Players players();
    // The playing player that most recently started playing; ties go to the first bus name in order.
    std::optional<Player> nowPlaying(const QList<Player>& players) const;
    QDBusMessage call(const QString& service, const QString& path, const QString& interface, const QString& method,
                      const QVariantList& arguments = {});
    std::optional<QVariant> property(const QString& service, const QString& name);

    MediaAdapterResult status();
    MediaAdapterResult pause();
    MediaAdapterResult play();

    QDBusConnection m_bus;
    const MprisPlayerWatcher& m_watcher;
    QMutex m_mutex;  // commands never overlap on the queue; this only keeps a stray caller safe
    std::optional<Player> m_pausedByUs;
};

}  // namespace tamsinvale
