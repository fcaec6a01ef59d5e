// Log capture for the system services' categories (media, permissions, login), with each line's level.
#pragma once

#include <QLoggingCategory>
#include <QStringList>

namespace tamsinvale::test {

// Collects the lines of one log category while alive, as "level: message" (debug, info, warning, critical).
class CategoryLog {
public:
    explicit CategoryLog(const char* category) : m_category(category)
    {
        s_self = this;
        m_previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString& message) {
            if (s_self && context.category && QByteArray(context.category) == s_self->m_category)
                s_self->m_lines.append(QStringLiteral("%1: %2").arg(levelName(type), message));
        });
    }
    ~CategoryLog()
    {
        qInstallMessageHandler(m_previous);
        s_self = nullptr;
    }
    const QStringList& lines() const { return m_lines; }
    int count(const QString& line) const { return int(m_lines.count(line)); }
    bool has(const QString& line) const { return m_lines.contains(line); }
    void clear() { m_lines.clear(); }
    QString dump() const { return m_lines.join(QLatin1Char('\n')); }

private:
    static QString levelName(QtMsgType type)
    {
        switch (type) {
        case QtDebugMsg: return QStringLiteral("debug");
        case QtInfoMsg: return QStringLiteral("info");
        case QtWarningMsg: return QStringLiteral("warning");
        case QtCriticalMsg: return QStringLiteral("critical");
        case QtFatalMsg: return QStringLiteral("fatal");
        }
        return {};
    }

    static inline CategoryLog* s_self = nullptr;
    QByteArray m_category;
    QStringList m_lines;
    QtMessageHandler m_previous = nullptr;
};

}  // namespace tamsinvale::test
