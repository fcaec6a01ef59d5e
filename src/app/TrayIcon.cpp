// Builds QMenu entries from the menu model; the model decides, the view only draws and forwards.
#include "TrayIcon.h"

#include <QActionGroup>
#include <QGuiApplication>
#include <QIcon>
#include <QScreen>

#include "MenuBarIcon.h"
#include "TamsinvaleApp.h"
#include "platform/Logging.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

TrayIcon::TrayIcon(TamsinvaleApp& app, SettingsStore& settings, QObject* parent)
    : QObject(parent), m_app(app), m_settings(settings), m_menu(std::make_unique<QMenu>())
{
    connect(&m_app, &TamsinvaleApp::menuChanged, this, [this] {
        rebuildMenu();
        updateIcon();
    });
    rebuildMenu();
    updateIcon();
    m_tray.setContextMenu(m_menu.get());
    m_tray.setToolTip(QStringLiteral("Tamsinvale"));
    // A left click opens the same menu, as the macOS menu bar item does.
    connect(&m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            m_menu->popup(QCursor::pos());
    });
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        qCWarning(lcApp) << "no system tray on this desktop: the menu is not shown; hotkeys and `tamsinvale ctl` "
                            "still work";
    m_tray.show();
}

TrayIcon::~TrayIcon() { m_tray.hide(); }

bool TrayIcon::isShown() const { return QSystemTrayIcon::isSystemTrayAvailable() && m_tray.isVisible(); }

void TrayIcon::showMessage(const QString& title, const QString& text)
{
    if (isShown())
        m_tray.showMessage(title, text, QSystemTrayIcon::Warning);
}

void TrayIcon::updateIcon()
{
    const double scale = qGuiApp->primaryScreen() ? qGuiApp->primaryScreen()->devicePixelRatio() : 1.0;
    QIcon icon(QPixmap::fromImage(MenuBarIcon::image(m_settings.settings().menuBarIconStyle, scale)));
    icon.setIsMask(true);  // drawn in black; the desktop tints it to match its panel
    m_tray.setIcon(icon);
}

void TrayIcon::rebuildMenu()
{
    m_menu->clear();
    std::function<void(QMenu*, const QList<MenuItem>&)> fill = [&](QMenu* menu, const QList<MenuItem>& items) {
        QActionGroup* group = nullptr;
        for (const MenuItem& item : items) {
            switch (item.kind) {
            case MenuItem::Kind::separator: menu->addSeparator(); break;
            case MenuItem::Kind::heading: menu->addSection(item.title); break;
            case MenuItem::Kind::submenu: {
                QMenu* sub = menu->addMenu(item.title);
                fill(sub, item.children);
                break;
            }
            case MenuItem::Kind::action:
            case MenuItem::Kind::toggle: {
                QAction* action = menu->addAction(item.title);
                action->setEnabled(item.enabled);
                if (item.kind == MenuItem::Kind::toggle) {
                    action->setCheckable(true);
                    action->setChecked(item.checked);
                }
                if (menu != m_menu.get()) {  // the submenu's choices are exclusive
                    if (!group)
                        group = new QActionGroup(menu);
                    group->addAction(action);
                }
                const MenuCommand command = item.command;
                // Queued, so the menu has closed before the action runs (and may rebuild this menu).
                connect(action, &QAction::triggered, this, [this, command] { m_app.perform(command); },
                        Qt::QueuedConnection);
                break;
            }
            }
        }
    };
    fill(m_menu.get(), m_app.menu());
}

}  // namespace tamsinvale
