// Helpers for the window-management tests: capture of one log category, and rectangles read back from the fake.
#pragma once

#include <QLoggingCategory>
#include <QStringList>

namespace tamsinvale::test {

// Collects the lines of one category ("tamsinvale.resize", "tamsinvale.windows"), debug lines included, while alive.
class WindowCommandsLog {
public:
    explicit WindowCommandsLog(const char* category) : m_category(category)
    {
        s_self = this;
        QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=true").arg(QLatin1String(category)));
        m_previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString& text) {
            if (s_self && context.category && QByteArray(context.category) == s_self->m_category)
                s_self->m_lines.append(QStringLiteral("%1 %2").arg(levelName(type), text));
        });
    }
    ~WindowCommandsLog()
    {
        qInstallMessageHandler(m_previous);
        QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=false").arg(QLatin1String(m_category)));
        s_self = nullptr;
    }
    // Lines as "level text", level one of debug, info, warning, error.
    const QStringList& lines() const { return m_lines; }
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
        default: return QStringLiteral("error");
        }
    }
    static inline WindowCommandsLog* s_self = nullptr;
    const char* m_category;
    QStringList m_lines;
    QtMessageHandler m_previous = nullptr;
};

}  // namespace tamsinvale::test
