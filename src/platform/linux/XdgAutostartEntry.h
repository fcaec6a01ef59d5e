// Launch at login on Linux desktops: an XDG autostart entry, $XDG_CONFIG_HOME/autostart/tamsinvale.desktop.
#pragma once

#include <QString>
#include <QStringList>

#include "platform/LoginItemService.h"

namespace tamsinvale {

// Enabled while the entry that takes effect (the user's, or else one of the system's autostart folders of the
// same name) exists and neither hides itself (Hidden=true) nor is switched off (X-GNOME-Autostart-enabled=false).
// Registering writes the user's entry atomically; unregistering removes it, and where a system entry of the same
// name would then start us anyway, leaves a hiding entry instead. Nothing needs the user's approval.
class XdgAutostartEntry : public LoginItemService {
public:
    static inline const QString fileName = QStringLiteral("tamsinvale.desktop");

    // `userDirectory` is where entries are written; `systemDirectories` are only read.
    XdgAutostartEntry(QString userDirectory, QStringList systemDirectories, QString executablePath);
    // The folders of this session: $XDG_CONFIG_HOME/autostart (~/.config/autostart) and each
    // $XDG_CONFIG_DIRS/autostart (/etc/xdg/autostart).
    static XdgAutostartEntry forSession(const QString& executablePath);

    QString path() const;
    LoginItemStatus status() const override;
    LoginItemChange registerApp() override;
    LoginItemChange unregisterApp() override;

    // The entry written for `executablePath`; `hidden` writes the entry that switches a system one off.
    static QString entryText(const QString& executablePath, bool hidden = false);
    // One argument of an Exec line, quoted and escaped as the Desktop Entry format requires.
    static QString execArgument(const QString& argument);

private:
    LoginItemChange write(bool hidden);
    QString systemEntryPath() const;

    QString m_userDirectory;
    QStringList m_systemDirectories;
    QString m_executablePath;
};

}  // namespace tamsinvale
