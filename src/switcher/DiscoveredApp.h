// One installed application found on disk: the unit the switcher lists and binds keys to.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace tamsinvale {

struct DiscoveredApp {
    QString id;                               // bundle identifier (desktop-file id on Linux), else the full path
    QString name;
    std::optional<QString> bundleIdentifier;
    QString url;                              // the .app bundle or the .desktop file
    QString icon;                             // the icon the entry names (a desktop entry's Icon), "" for none

    bool operator==(const DiscoveredApp&) const = default;

    // Binding keys a discovered binding may be stored under, in lookup order.
    QStringList bindingKeyCandidates() const
    {
        QStringList out;
        if (bundleIdentifier)
            out.append(*bundleIdentifier);
        out.append(name);
        return out;
    }
    // Where a new binding is stored.
    QString storageBindingKey() const { return bundleIdentifier ? *bundleIdentifier : name; }
};

}  // namespace tamsinvale
