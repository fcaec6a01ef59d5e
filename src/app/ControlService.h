// One instance per session and `tamsinvale ctl`: a D-Bus service on the session bus.
#pragma once

#include <QDBusContext>
#include <QObject>
#include <QStringList>

namespace tamsinvale {

class TamsinvaleApp;

namespace ControlBus {
inline const QString serviceName = QStringLiteral("org.tamsinvale.Tamsinvale");
inline const QString objectPath = QStringLiteral("/org/tamsinvale/Tamsinvale");
inline const QString interfaceName = QStringLiteral("org.tamsinvale.Tamsinvale");
}  // namespace ControlBus

// The object exported at ControlBus::objectPath; its slots are the D-Bus methods.
class ControlService : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.tamsinvale.Tamsinvale")
public:
    explicit ControlService(TamsinvaleApp& app, QObject* parent = nullptr);

    enum class Claim { claimed, alreadyRunning, noBus };
    // Takes the session's service name and exports the object; only the first instance gets the name.
    Claim claim();

public slots:
    // Runs an action as its hotkey or menu item would; returns a note, or fails with a D-Bus error.
    QString Perform(const QString& action, const QString& argument);
    QStringList Actions() const;
    // Names of the hotkeys that could not be registered, as the settings window would warn about them.
    QStringList FailedHotkeys() const;

private:
    TamsinvaleApp& m_app;
};

// The client side: `tamsinvale ctl ACTION [ARG]`. Returns the exit code.
int runControlClient(const QStringList& arguments);

}  // namespace tamsinvale
