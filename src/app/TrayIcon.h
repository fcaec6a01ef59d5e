// The tray icon and its menu: renders the application's menu model and forwards the choices.
#pragma once

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <memory>

namespace tamsinvale {

class TamsinvaleApp;
class SettingsStore;

class TrayIcon : public QObject {
    Q_OBJECT
public:
    TrayIcon(TamsinvaleApp& app, SettingsStore& settings, QObject* parent = nullptr);
    ~TrayIcon() override;

    // False when the desktop has no tray (no StatusNotifier host, no XEmbed tray): hotkeys still work.
    bool isShown() const;
    void showMessage(const QString& title, const QString& text);

private:
    void rebuildMenu();
    void updateIcon();

    TamsinvaleApp& m_app;
    SettingsStore& m_settings;
    std::unique_ptr<QMenu> m_menu;
    QSystemTrayIcon m_tray;
};

}  // namespace tamsinvale
