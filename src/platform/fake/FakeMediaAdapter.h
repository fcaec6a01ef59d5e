// A scripted media remote: answers each command from a table and records the commands in order.
#pragma once

#include <QHash>
#include <QStringList>

#include "platform/MediaAdapter.h"

namespace tamsinvale {

class FakeMediaAdapter : public MediaAdapter {
public:
    // By default "status" answers "playing=0" and every other command succeeds with no output.
    void answer(const QString& command, const MediaAdapterResult& result) { m_answers[command] = result; }
    void setPlaying(bool playing)
    {
        answer(QStringLiteral("status"), MediaAdapterResult::success(playing ? QStringLiteral("playing=1\n")
                                                                             : QStringLiteral("playing=0\n")));
    }

    MediaAdapterResult run(const QString& command) override
    {
        m_commands << command;
        return m_answers.value(command, command == QLatin1String("status")
                                            ? MediaAdapterResult::success(QStringLiteral("playing=0\n"))
                                            : MediaAdapterResult::success(QString()));
    }

    const QStringList& commands() const { return m_commands; }
    int count(const QString& command) const { return int(m_commands.count(command)); }
    void clearCommands() { m_commands.clear(); }

private:
    QHash<QString, MediaAdapterResult> m_answers;
    QStringList m_commands;
};

}  // namespace tamsinvale
