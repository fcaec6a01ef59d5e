// Helpers shared by the unit tests.
#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QStringList>
#include <QTemporaryDir>
#include <algorithm>
#include <functional>

namespace tamsinvale::test {

// Runs the Qt event loop until `predicate` holds or the deadline passes; checks before waiting.
inline bool waitUntil(const std::function<bool()>& predicate, int timeoutMs = 5000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!predicate()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

// Collects the lines one log category writes (debug lines included) while alive.
class LogCapture {
public:
    explicit LogCapture(const char* category) : m_category(category)
    {
        s_active = this;
        QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=true").arg(QLatin1String(category)));
        m_previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext& context, const QString& message) {
            if (s_active && context.category && s_active->m_category == context.category)
                s_active->m_lines.append(message);
        });
    }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=false").arg(QLatin1String(m_category.constData())));
        s_active = nullptr;
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const QStringList& lines() const { return m_lines; }
    bool has(const QString& needle) const
    {
        return std::any_of(m_lines.cbegin(), m_lines.cend(), [&](const QString& l) { return l.contains(needle); });
    }
    QString dump() const { return m_lines.join(QLatin1Char('\n')); }

private:
    static inline LogCapture* s_active = nullptr;
    QByteArray m_category;
    QStringList m_lines;
    QtMessageHandler m_previous = nullptr;
};

}  // namespace tamsinvale::test
