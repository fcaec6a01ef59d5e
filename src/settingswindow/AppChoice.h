// An application as the settings pages list it for choosing: the key it is stored under and its name.
#pragma once

#include <QList>
#include <QSet>
#include <QString>

#include "switcher/DiscoveredApp.h"

namespace tamsinvale {

struct AppChoice {
    QString id;    // what the setting stores: the bundle identifier (desktop-file id), else the name
    QString name;
    QString path;  // the bundle or desktop entry, for its icon; empty for an app no longer installed
    bool operator==(const AppChoice&) const = default;

    static QString storedKey(const DiscoveredApp& app) { return app.bundleIdentifier.value_or(app.name); }

    // The chosen ones (by stored key, named from the discovered apps when installed, else by their key) and the
    // rest of the discovered apps, each sorted by name.
    static QList<AppChoice> chosen(const QSet<QString>& keys, const QList<DiscoveredApp>& apps);
    static QList<AppChoice> notChosen(const QSet<QString>& keys, const QList<DiscoveredApp>& apps);
};

}  // namespace tamsinvale
