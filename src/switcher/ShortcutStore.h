// Every key binding of the app switcher (custom shortcuts and discovered bindings), persisted in the defaults
// domain, plus activating what a binding points at (running instance, stored path, bundle identifier, script).
#pragma once

#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QList>
#include <QMap>
#include <QObject>
#include <QUuid>
#include <functional>
#include <optional>

#include "AppInfoReader.h"
#include "AppShortcut.h"
#include "DiscoveredApp.h"
#include "platform/Platform.h"

namespace tamsinvale {

class LaunchOverlayController;

// A discovered binding whose application is no longer installed.
struct OrphanedBinding {
    QString id;
    QString firstKey;
    std::optional<QString> secondKey;
    bool operator==(const OrphanedBinding&) const = default;
};

// The script process last started for a script shortcut.
struct ScriptProcessInfo {
    std::int32_t pid = 0;
    QDateTime launchedAt;
};

class ShortcutStore : public QObject {
    Q_OBJECT
public:
    inline static const QString storageKey = QStringLiteral("tamsinvale.shortcuts.v1");
    inline static const QString discoveredKeysKey = QStringLiteral("tamsinvale.discovered.keys.v1");
    inline static const QString discoveredSecondKeysKey = QStringLiteral("tamsinvale.discovered.secondkeys.v1");

    inline static const QString scriptErrorTitle = QStringLiteral("Unable to Run Python Script");
    inline static const QString noInterpreterMessage = QStringLiteral(
        "Tamsinvale could not locate a python3 interpreter. Install Python 3 or ensure it is available in your "
        "login shell PATH.");

    // Loads at once from `platform.defaults` and follows its changes from then on (bindings edited from the
    // command line or by hand reach a running switcher); the other families are needed only to activate targets.
    explicit ShortcutStore(const Platform& platform, QObject* parent = nullptr);

    // Persistence. `save` writes the three keys as one change.
    void load();
    void save();
    // Loads again after the stored values changed under us (another process, a hand edit); tells observers
    // only when the bindings differ. Our own writes are not such a change.
    void reloadIfChanged();

    const QList<AppShortcut>& shortcuts() const { return m_shortcuts; }
    const QMap<QString, QString>& discoveredKeyMap() const { return m_discoveredKeyMap; }
    const QMap<QString, QString>& discoveredSecondKeyMap() const { return m_discoveredSecondKeyMap; }
    std::optional<AppShortcut> shortcut(const QUuid& id) const;

    // Discovered bindings, looked up by the app's candidates in order.
    std::optional<QString> discoveredKey(const DiscoveredApp& app) const;
    std::optional<QString> discoveredSecondKey(const DiscoveredApp& app) const;
    QList<DiscoveredApp> discoveredApps(const QString& key, const QList<DiscoveredApp>& apps) const;
    void setDiscoveredKey(const std::optional<QString>& key, const DiscoveredApp& app);
    void setDiscoveredSecondKey(const std::optional<QString>& key, const DiscoveredApp& app);
    void resetDiscovered(const DiscoveredApp& app);

    // Custom shortcuts. `addShortcut()` asks the chooser for a file; `addShortcut(path)` takes one directly.
    std::optional<QUuid> addShortcut();
    std::optional<QUuid> addShortcut(const QString& path);
    void setKey(const QUuid& id, const std::optional<QString>& key);
    void setSecondKey(const QUuid& id, const std::optional<QString>& key);
    void remove(const QUuid& id);

    // Whether another binding already uses the sequence (first key, optional second key).
    bool conflict(const QString& firstKey, const std::optional<QString>& secondKey,
                  const std::optional<QUuid>& excludingShortcut,
                  const std::optional<QString>& excludingBindingKey) const;

    QList<OrphanedBinding> orphanedBindings(const QList<DiscoveredApp>& apps) const;
    void removeOrphan(const QString& id);
    // Moves bindings stored under an app's name to its bundle identifier; returns how many apps moved.
    int migrateLegacyDiscoveredBindings(const QList<DiscoveredApp>& apps);

    // Activation (main thread).
    void activate(const AppShortcut& shortcut);
    void activate(const DiscoveredApp& app);
    void runPythonScript(const QString& path, const AppShortcut& shortcut);
    std::optional<QString> resolvePythonInterpreter();
    void showScriptError(const QString& message);
    // Where a shortcut's target is now: its resolved bookmark, else the application installed for its identifier.
    std::optional<QString> targetPath(const AppShortcut& shortcut) const;

    const QHash<QUuid, ScriptProcessInfo>& launchedScripts() const { return m_launchedScripts; }
    const QHash<QUuid, std::int32_t>& scriptProcesses() const { return m_scriptProcesses; }
    std::optional<QString> pythonInterpreterURL() const { return m_pythonInterpreterURL; }
    const std::optional<Environment>& loginShellEnvironment() const { return m_loginShellEnvironment; }

    // Collaborators the app provides; each has a safe default.
    void setLaunchOverlay(LaunchOverlayController* overlay) { m_overlay = overlay; }
    void setFileChooser(std::function<std::optional<QString>(const QString& title)> chooser)
    {
        m_fileChooser = std::move(chooser);
    }
    void setAlertPresenter(std::function<void(const QString& title, const QString& message)> presenter)
    {
        m_alert = std::move(presenter);
    }
    void setIconProvider(std::function<QImage(const QString& path)> provider) { m_iconProvider = std::move(provider); }
    void setPropertyListReader(PropertyListReader reader) { m_plistReader = std::move(reader); }
    void setApplicationDirs(QStringList dirs) { m_applicationDirs = std::move(dirs); }

signals:
    // Any change to the bindings (the object-will-change of the settings views).
    void changed();

private:
    std::optional<QString> bindingKeyFound(const DiscoveredApp& app) const;
    void saveAndNotify();
    bool activateRunningInstance(const std::optional<QString>& bundleIdentifier, const QString& name);
    std::optional<QString> interpreterFromCommand(const QString& program, const QStringList& arguments);
    const Environment& captureLoginShellEnvironment();
    void searchScriptWindow(std::int32_t pid, double launchedAt);
    QImage iconFor(const QString& path) const;

    Platform m_platform;
    QList<AppShortcut> m_shortcuts;
    QMap<QString, QString> m_discoveredKeyMap;
    QMap<QString, QString> m_discoveredSecondKeyMap;
    QHash<QUuid, ScriptProcessInfo> m_launchedScripts;
    QHash<QUuid, std::int32_t> m_scriptProcesses;
    std::optional<QString> m_pythonInterpreterURL;
    std::optional<Environment> m_loginShellEnvironment;
    bool m_saving = false;

    LaunchOverlayController* m_overlay = nullptr;
    std::function<std::optional<QString>(const QString&)> m_fileChooser;
    std::function<void(const QString&, const QString&)> m_alert;
    std::function<QImage(const QString&)> m_iconProvider;
    PropertyListReader m_plistReader;
    QStringList m_applicationDirs;
};

}  // namespace tamsinvale
