// The self-pipe: the handler only writes the signal's number to a pipe, which the event loop reads.
#include "InterruptSignal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace tamsinvale {

namespace {

int pipeEnds[2] = {-1, -1};
struct sigaction previousInterrupt {};
struct sigaction previousTerminate {};

void onSignal(int number)
{
    const unsigned char byte = static_cast<unsigned char>(number);
    const int saved = errno;
    (void)!::write(pipeEnds[1], &byte, 1);
    errno = saved;
}

}  // namespace

InterruptSignal::InterruptSignal(QObject* parent) : QObject(parent)
{
    if (pipeEnds[0] < 0 && ::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &previousInterrupt);
    ::sigaction(SIGTERM, &action, &previousTerminate);
    m_notifier = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &InterruptSignal::readPipe);
}

InterruptSignal::~InterruptSignal()
{
    if (!m_notifier)
        return;
    ::sigaction(SIGINT, &previousInterrupt, nullptr);
    ::sigaction(SIGTERM, &previousTerminate, nullptr);
}

void InterruptSignal::readPipe()
{
    std::array<unsigned char, 16> bytes{};
    const ssize_t count = ::read(pipeEnds[0], bytes.data(), bytes.size());
    if (count <= 0)
        return;
    m_signal = bytes[std::size_t(count - 1)];
    if (!m_raised) {
        m_raised = true;
        emit interrupted();
    }
}

}  // namespace tamsinvale
