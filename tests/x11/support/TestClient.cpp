// Talks to the test-client program over its stdin and stdout.
#include "TestClient.h"

#include "X11TestPaths.h"

namespace tamsinvale::x11test {

namespace {
const auto commandTimeout = std::chrono::milliseconds(10000);
}

QString WindowSpec::argument() const
{
    QStringList parts{QStringLiteral("title=") + title, QStringLiteral("instance=") + instance,
                      QStringLiteral("class=") + windowClass,
                      QStringLiteral("size=%1x%2").arg(width).arg(height), QStringLiteral("pos=%1,%2").arg(x).arg(y),
                      QStringLiteral("type=") + type};
    if (!states.isEmpty())
        parts << QStringLiteral("state=") + states.join(QLatin1Char(','));
    if (transientFor >= 0)
        parts << QStringLiteral("transient=%1").arg(transientFor);
    if (strutTop > 0)
        parts << QStringLiteral("strut-top=%1,%2,%3").arg(strutTop).arg(strutTopStartX).arg(strutTopEndX);
    if (!setPid)
        parts << QStringLiteral("pid=0");
    if (ignoresDelete)
        parts << QStringLiteral("delete=ignore");
    if (!supportsDelete)
        parts << QStringLiteral("delete=unsupported");
    if (desktop >= 0)
        parts << QStringLiteral("desktop=%1").arg(desktop);
    return parts.join(QLatin1Char(';'));
}

std::unique_ptr<TestClient> TestClient::start(const QString& display, const QList<WindowSpec>& windows,
                                              std::chrono::milliseconds timeout)
{
    QStringList argv{QString::fromUtf8(testClientPath)};
    for (const WindowSpec& w : windows)
        argv << QStringLiteral("--window") << w.argument();
    auto client = std::unique_ptr<TestClient>(new TestClient);
    client->m_process = ChildProcess::start(argv, {QStringLiteral("DISPLAY=") + display});
    if (!client->m_process)
        return nullptr;
    for (qsizetype i = 0; i < windows.size(); ++i) {
        const auto line = client->m_process->readLineStartingWith(QStringLiteral("window "), timeout);
        if (!line)
            return nullptr;
        bool ok = false;
        const xcb_window_t id = line->section(QLatin1Char(' '), 2, 2).toUInt(&ok, 16);
        if (!ok)
            return nullptr;
        client->m_windows.append(id);
    }
    if (!client->m_process->readLineStartingWith(QStringLiteral("ready"), timeout))
        return nullptr;
    return client;
}

bool TestClient::closeWindow(int index)
{
    return m_process->writeLine(QStringLiteral("close %1").arg(index))
        && m_process->readLineStartingWith(QStringLiteral("closed"), commandTimeout).has_value();
}

std::optional<xcb_window_t> TestClient::openWindow(const WindowSpec& windowSpec)
{
    if (!m_process->writeLine(QStringLiteral("open ") + windowSpec.argument()))
        return std::nullopt;
    const auto line = m_process->readLineStartingWith(QStringLiteral("window "), commandTimeout);
    if (!line)
        return std::nullopt;
    bool ok = false;
    const xcb_window_t id = line->section(QLatin1Char(' '), 2, 2).toUInt(&ok, 16);
    if (!ok || !m_process->readLineStartingWith(QStringLiteral("ready"), commandTimeout))
        return std::nullopt;
    m_windows.append(id);
    return id;
}

bool TestClient::churn(int count) { return m_process->writeLine(QStringLiteral("churn %1").arg(count)); }

bool TestClient::waitForChurn(std::chrono::milliseconds timeout)
{
    return m_process->readLineStartingWith(QStringLiteral("churned"), timeout).has_value();
}

bool TestClient::quit()
{
    return m_process->writeLine(QStringLiteral("quit")) && m_process->waitForExit(commandTimeout);
}

}  // namespace tamsinvale::x11test
