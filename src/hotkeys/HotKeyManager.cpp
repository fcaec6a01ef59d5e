// Registration order, preset identifiers, failure reporting and dispatch of the global hotkeys.
#include "HotKeyManager.h"

#include "platform/Hotkeys.h"
#include "platform/Logging.h"
#include "platform/Scheduler.h"
#include "platform/Workspace.h"
#include "settings/HotKeyKind.h"
#include "settings/SettingsStore.h"
#include "windows/FocusTracker.h"

namespace tamsinvale {

HotKeyManager::HotKeyManager(Hotkeys& backend, Workspace& workspace, FocusTracker& focusTracker, Scheduler& scheduler,
                             QObject* parent)
    : QObject(parent), m_backend(backend), m_workspace(workspace), m_focusTracker(focusTracker), m_scheduler(scheduler)
{
}

HotKeyManager::~HotKeyManager() { unregisterAll(); }

void HotKeyManager::installHandlerIfNeeded()
{
    if (m_handlerInstalled)
        return;
    const int status = m_backend.installHandler();
    if (status != HotkeyStatus::noErr) {
        qCCritical(lcHotkeys, "InstallEventHandler failed: %d", status);
        return;  // tried again on the next applyHotKeys
    }
    // The backend reports presses on the main queue; the dispatch itself runs one turn later, as the
    // system's handler only hops to the main queue and returns at once.
    connect(&m_backend, &Hotkeys::pressed, this, [this](std::uint32_t identifier) {
        m_scheduler.post([this, identifier] { handleHotKey(identifier); });
    });
    connect(&m_backend, &Hotkeys::notDelivered, this, [this](std::uint32_t identifier) {
        const QString name = m_namesByIdentifier.value(identifier);
        if (name.isEmpty() || m_takenRegistrations.contains(name))
            return;
        m_takenRegistrations.append(name);
        emit hotkeyTaken(name);
    });
    m_handlerInstalled = true;
}

void HotKeyManager::suspend()
{
    if (m_suspensions++ == 0) {
        unregisterAll();
        qCInfo(lcHotkeys, "suspended while a hotkey is being recorded");
    }
}

void HotKeyManager::resume()
{
    if (m_suspensions == 0 || --m_suspensions > 0)
        return;
    qCInfo(lcHotkeys, "resumed after recording");
    if (m_lastSettings)
        applyHotKeys(*m_lastSettings);
}

void HotKeyManager::unregisterAll()
{
    for (auto& ref : m_registeredRefs)
        m_backend.unregisterHotKey(*ref);
    m_registeredRefs.clear();
    m_resizePresetIDsByHotKeyID.clear();
}

bool HotKeyManager::registerHotKey(const QString& name, const std::optional<HotKeyConfig>& configured,
                                   const std::optional<HotKeyConfig>& fallback, std::uint32_t identifier,
                                   QStringList& failures)
{
    const std::optional<HotKeyConfig> combination = configured ? configured : fallback;
    if (!combination)
        return false;
    std::unique_ptr<HotkeyRegistration> ref;
    const int status = m_backend.registerHotKey(combination->keyCode, combination->modifiers, identifier, &ref);
    if (status == HotkeyStatus::noErr && ref) {
        m_registeredRefs.push_back(std::move(ref));
        m_namesByIdentifier.insert(identifier, name);
        return true;
    }
    qCCritical(lcHotkeys, "register '%s' failed: %d (keyCode=%u modifiers=%u)", qUtf8Printable(name), status,
               combination->keyCode, combination->modifiers);
    failures.append(name);
    return false;
}

void HotKeyManager::applyHotKeys(const SettingsStore& store)
{
    unregisterAll();
    m_lastSettings = &store;
    if (isSuspended())
        return;
    installHandlerIfNeeded();
    const Settings& s = store.settings();
    QStringList failures;
    // Quick dim, clear inactive screens and insert date are stored and dispatched but deliberately not
    // registered here.
    registerHotKey(registrationName(HotKeyKind::appSwitcher), s.appSwitcherHotKey,
                   defaultCombination(HotKeyKind::appSwitcher), HotKeyIds::appSwitcher, failures);
    registerHotKey(registrationName(HotKeyKind::windowsSwitcher), s.windowsSwitcherHotKey,
                   defaultCombination(HotKeyKind::windowsSwitcher), HotKeyIds::windowsSwitcher, failures);
    registerHotKey(registrationName(HotKeyKind::moveToNextScreen), s.moveToNextScreenHotKey, std::nullopt,
                   HotKeyIds::moveToNextScreen, failures);
    registerHotKey(registrationName(HotKeyKind::snapLeft), s.snapLeftHotKey, defaultCombination(HotKeyKind::snapLeft),
                   HotKeyIds::snapLeft, failures);
    registerHotKey(registrationName(HotKeyKind::snapRight), s.snapRightHotKey,
                   defaultCombination(HotKeyKind::snapRight), HotKeyIds::snapRight, failures);

    // Presets with a hotkey get consecutive identifiers; a failed one still uses up its number.
    std::uint32_t next = resizeHotKeyBaseID;
    for (const WindowSizePreset& preset : s.windowSizePresets) {
        if (!preset.hotKey)
            continue;
        if (registerHotKey(presetRegistrationName(preset.name), preset.hotKey, std::nullopt, next, failures))
            m_resizePresetIDsByHotKeyID.insert(next, preset.id);
        ++next;
    }

    if (failures != m_failedRegistrations) {
        m_failedRegistrations = failures;
        emit failedRegistrationsChanged();
    }
}

void HotKeyManager::handleHotKey(std::uint32_t identifier)
{
    if (identifier >= resizeHotKeyBaseID) {
        const auto it = m_resizePresetIDsByHotKeyID.constFind(identifier);
        if (it != m_resizePresetIDsByHotKeyID.cend() && onResizeHotKeyPressed)
            onResizeHotKeyPressed(*it);
        return;
    }
    const auto kind = hotKeyKindForIdentifier(identifier);
    if (!kind)
        return;
    auto call = [](const std::function<void()>& callback) {
        if (callback)
            callback();
    };
    switch (*kind) {
    case HotKeyKind::appSwitcher: call(onHotKeyPressed); break;
    case HotKeyKind::windowsSwitcher: openWindowSwitcher(); break;
    case HotKeyKind::quickDim: call(onQuickDimHotKeyPressed); break;
    case HotKeyKind::clearInactiveScreens: call(onClearInactiveScreensHotKeyPressed); break;
    case HotKeyKind::moveToNextScreen: call(onMoveToNextScreenHotKeyPressed); break;
    case HotKeyKind::insertDate: call(onInsertDateHotKeyPressed); break;
    case HotKeyKind::snapLeft: call(onSnapLeftHotKeyPressed); break;
    case HotKeyKind::snapRight: call(onSnapRightHotKeyPressed); break;
    case HotKeyKind::windowSizePreset: break;
    }
}

// The window switcher lists the windows of the application the user was in before Tamsinvale came forward.
void HotKeyManager::openWindowSwitcher()
{
    const std::optional<QString> own = m_workspace.ownBundleIdentifier();
    std::optional<RunningApp> target;
    if (const auto last = m_focusTracker.lastNonSelf(); last && last->bundleIdentifier != own) {
        const auto running = m_workspace.runningApplication(last->pid);
        if (running && !running->terminated)
            target = *running;
    }
    if (!target) {
        const auto front = m_workspace.frontmostApplication();
        if (!front || front->bundleIdentifier == own)
            return;
        target = front;
    }
    if (onWindowsHotKeyPressed)
        onWindowsHotKeyPressed(target->pid, target->localizedName);
}

}  // namespace tamsinvale
