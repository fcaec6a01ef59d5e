// Service registration, the exported methods, and the `tamsinvale ctl` client.
#include "ControlService.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <cstdio>

#include "TamsinvaleApp.h"
#include "hotkeys/HotKeyManager.h"

namespace tamsinvale {

ControlService::ControlService(TamsinvaleApp& app, QObject* parent) : QObject(parent), m_app(app) {}

ControlService::Claim ControlService::claim()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return Claim::noBus;
    const auto reply = bus.interface()->registerService(ControlBus::serviceName,
                                                        QDBusConnectionInterface::DontQueueService,
                                                        QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered)
        return Claim::alreadyRunning;
    bus.registerObject(ControlBus::objectPath, this, QDBusConnection::ExportAllSlots);
    return Claim::claimed;
}

QString ControlService::Perform(const QString& action, const QString& argument)
{
    const ActionResult result = m_app.performAction(action, argument);
    if (!result.ok && calledFromDBus())
        sendErrorReply(result.failed ? QStringLiteral("org.tamsinvale.Tamsinvale.Error.Failed")
                                     : QStringLiteral("org.tamsinvale.Tamsinvale.Error.InvalidAction"),
                       result.message);
    return result.message;
}

QStringList ControlService::Actions() const { return TamsinvaleApp::actionNames(); }

QStringList ControlService::FailedHotkeys() const { return m_app.hotKeyManager().failedRegistrations(); }

int runControlClient(const QStringList& arguments)
{
    if (arguments.isEmpty() || arguments[0] == QLatin1String("--help") || arguments[0] == QLatin1String("-h")) {
        std::fprintf(arguments.isEmpty() ? stderr : stdout,
                     "usage: tamsinvale ctl ACTION [ARG]\n\n"
                     "Asks the running Tamsinvale to do what a hotkey or menu item does.\n"
                     "actions: %s\n"
                     "  size NAME   applies the window size preset called NAME\n"
                     "  launch-at-login on|off   starts Tamsinvale when you log in, or no longer\n",
                     qUtf8Printable(TamsinvaleApp::actionNames().join(QStringLiteral(", "))));
        return arguments.isEmpty() ? 2 : 0;
    }
    const QString action = arguments[0];
    if (!TamsinvaleApp::actionNames().contains(action)) {
        std::fprintf(stderr, "tamsinvale ctl: unknown action \"%s\"; actions: %s\nusage: tamsinvale ctl ACTION [ARG]\n",
                     qUtf8Printable(action), qUtf8Printable(TamsinvaleApp::actionNames().join(QStringLiteral(", "))));
        return 2;
    }
    if (arguments.size() > 2) {
        std::fprintf(stderr, "tamsinvale ctl: too many arguments\nusage: tamsinvale ctl ACTION [ARG]\n");
        return 2;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        std::fprintf(stderr, "tamsinvale ctl: no D-Bus session bus, so no running Tamsinvale can be reached\n");
        return 3;
    }
    if (!bus.interface()->isServiceRegistered(ControlBus::serviceName).value()) {
        std::fprintf(stderr, "tamsinvale ctl: Tamsinvale is not running\n");
        return 3;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(ControlBus::serviceName, ControlBus::objectPath,
                                                       ControlBus::interfaceName, QStringLiteral("Perform"));
    call << action << (arguments.size() > 1 ? arguments[1] : QString());
    const QDBusMessage reply = bus.call(call, QDBus::Block, 10000);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        std::fprintf(stderr, "tamsinvale ctl: %s\n", qUtf8Printable(reply.errorMessage()));
        return reply.errorName() == QLatin1String("org.tamsinvale.Tamsinvale.Error.InvalidAction") ? 2 : 1;
    }
    const QString note = reply.arguments().value(0).toString();
    if (!note.isEmpty())
        std::fprintf(stderr, "tamsinvale ctl: %s\n", qUtf8Printable(note));
    return 0;
}

}  // namespace tamsinvale
