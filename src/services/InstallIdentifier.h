// The per-installation identifier sent with update checks, and the feed parameters that carry it.
#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

namespace tamsinvale {

class DefaultsDomain;

namespace InstallIdentifier {

inline const QString defaultsKey = QStringLiteral("tamsinvale.installID");

// The stored identifier when it is a UUID (8-4-4-4-12 hexadecimal digits), else a fresh random one, stored in
// upper case and returned.
QString current(DefaultsDomain& defaults);

// The update feed's parameter list in Sparkle's form: one dictionary with "key" = "id", "value" = the identifier,
// "displayKey" = "Install ID", "displayValue" = the identifier.
QList<QVariantMap> feedParameters(DefaultsDomain& defaults);

}  // namespace InstallIdentifier

}  // namespace tamsinvale
