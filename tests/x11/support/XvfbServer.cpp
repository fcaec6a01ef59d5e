// Starts Xvfb with -displayfd so that a free display is chosen by the server and announced when it is listening.
#include "XvfbServer.h"

namespace tamsinvale::x11test {

std::unique_ptr<XvfbServer> XvfbServer::start(QSize size, std::chrono::milliseconds timeout)
{
    auto server = std::make_unique<XvfbServer>();
    server->m_size = size;
    // -displayfd 1: the server writes the display number to our pipe once it accepts connections.
    // -noreset: the last client leaving (a test's tool) must not reset the server under the next one.
    server->m_process = ChildProcess::start(
        {QStringLiteral("Xvfb"), QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
         QStringLiteral("0"), QStringLiteral("%1x%2x24").arg(size.width()).arg(size.height()),
         QStringLiteral("+extension"), QStringLiteral("RANDR"), QStringLiteral("-nolisten"), QStringLiteral("tcp"),
         QStringLiteral("-noreset")},
        {}, false);
    if (!server->m_process)
        return nullptr;
    const auto line = server->m_process->readLine(timeout);
    bool ok = false;
    const int number = line ? line->trimmed().toInt(&ok) : -1;
    if (!ok || number < 0)
        return nullptr;
    server->m_display = QStringLiteral(":%1").arg(number);
    return server;
}

}  // namespace tamsinvale::x11test
