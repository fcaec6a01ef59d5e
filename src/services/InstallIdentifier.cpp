// The install identifier rule: keep a stored UUID, replace anything else by a new upper-case one.
#include "InstallIdentifier.h"

#include <QRegularExpression>
#include <QUuid>

#include "platform/Defaults.h"

namespace tamsinvale::InstallIdentifier {

namespace {
// The canonical textual form only, in either case: no braces, no missing groups.
bool isUuidText(const QString& text)
{
    static const QRegularExpression form(QStringLiteral(
        "^[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}$"));
    return form.match(text).hasMatch();
}
}  // namespace

QString current(DefaultsDomain& defaults)
{
    const std::optional<QString> stored = defaults.stringValue(defaultsKey);
    if (stored && isUuidText(*stored))
        return *stored;
    const QString fresh = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    defaults.setValue(defaultsKey, fresh);
    return fresh;
}

QList<QVariantMap> feedParameters(DefaultsDomain& defaults)
{
    const QString id = current(defaults);
    return {QVariantMap{{QStringLiteral("key"), QStringLiteral("id")},
                        {QStringLiteral("value"), id},
                        {QStringLiteral("displayKey"), QStringLiteral("Install ID")},
                        {QStringLiteral("displayValue"), id}}};
}

}  // namespace tamsinvale::InstallIdentifier
