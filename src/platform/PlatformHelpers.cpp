// Typed conveniences shared by every backend of the platform interfaces.
#include "Accessibility.h"
#include "Defaults.h"
#include "OverlayPanels.h"
#include "Workspace.h"

#include <QDateTime>

namespace tamsinvale {

std::optional<AXElement> Accessibility::elementAttribute(const AXElement& e, const QString& a) const
{
    const AXResult r = copyAttribute(e, a);
    if (!r.ok() || !r.value.canConvert<AXElement>() || r.value.metaType() != QMetaType::fromType<AXElement>())
        return std::nullopt;
    return r.value.value<AXElement>();
}

std::optional<QString> Accessibility::stringAttribute(const AXElement& e, const QString& a) const
{
    const AXResult r = copyAttribute(e, a);
    if (!r.ok() || r.value.metaType() != QMetaType::fromType<QString>())
        return std::nullopt;
    return r.value.toString();
}

std::optional<bool> Accessibility::boolAttribute(const AXElement& e, const QString& a) const
{
    const AXResult r = copyAttribute(e, a);
    if (!r.ok() || r.value.metaType() != QMetaType::fromType<bool>())
        return std::nullopt;
    return r.value.toBool();
}

std::optional<QPointF> Accessibility::position(const AXElement& e) const
{
    const AXResult r = copyAttribute(e, AXAttr::position);
    if (!r.ok() || r.value.metaType() != QMetaType::fromType<QPointF>())
        return std::nullopt;
    return r.value.toPointF();
}

std::optional<QSizeF> Accessibility::size(const AXElement& e) const
{
    const AXResult r = copyAttribute(e, AXAttr::size);
    if (!r.ok() || r.value.metaType() != QMetaType::fromType<QSizeF>())
        return std::nullopt;
    return r.value.toSizeF();
}

namespace {
template <typename T>
std::optional<T> typed(const std::optional<QVariant>& v)
{
    if (!v || v->metaType() != QMetaType::fromType<T>())
        return std::nullopt;
    return v->value<T>();
}
}  // namespace

std::optional<bool> DefaultsDomain::boolValue(const QString& key) const { return typed<bool>(value(key)); }
std::optional<double> DefaultsDomain::doubleValue(const QString& key) const { return typed<double>(value(key)); }
std::optional<QString> DefaultsDomain::stringValue(const QString& key) const { return typed<QString>(value(key)); }
std::optional<QByteArray> DefaultsDomain::dataValue(const QString& key) const { return typed<QByteArray>(value(key)); }
std::optional<QVariantList> DefaultsDomain::arrayValue(const QString& key) const { return typed<QVariantList>(value(key)); }
std::optional<QVariantMap> DefaultsDomain::dictionaryValue(const QString& key) const { return typed<QVariantMap>(value(key)); }

std::optional<qint64> DefaultsDomain::integerValue(const QString& key) const
{
    const auto v = value(key);
    if (!v)
        return std::nullopt;
    if (v->metaType() == QMetaType::fromType<qint64>())
        return v->value<qint64>();
    // Like user defaults, a real reads as an integer too, truncated.
    if (v->metaType() == QMetaType::fromType<double>()) {
        const double d = v->toDouble();
        if (d >= -9.2e18 && d <= 9.2e18)
            return static_cast<qint64>(d);
    }
    return std::nullopt;
}

std::optional<QStringList> DefaultsDomain::stringArrayValue(const QString& key) const
{
    const auto list = arrayValue(key);
    if (!list)
        return std::nullopt;
    QStringList out;
    for (const QVariant& item : *list) {
        if (item.metaType() != QMetaType::fromType<QString>())
            return std::nullopt;  // user defaults answer nil when any element is not a string
        out.append(item.toString());
    }
    return out;
}

QList<RunningApp> Workspace::runningApplications(const QString& bundleIdentifier) const
{
    QList<RunningApp> out;
    for (const RunningApp& app : runningApplications())
        if (app.bundleIdentifier == bundleIdentifier && !app.terminated)
            out.append(app);
    return out;
}

}  // namespace tamsinvale

#include "Platform.h"

namespace tamsinvale {

namespace {
Platform& platformSlot()
{
    static Platform platform;
    return platform;
}
}  // namespace

Platform& currentPlatform() { return platformSlot(); }
void installPlatform(const Platform& platform) { platformSlot() = platform; }

}  // namespace tamsinvale

namespace tamsinvale {

std::shared_ptr<void> OverlayPanels::observeTranslucency(std::function<void()> onChange)
{
    auto observer = std::make_shared<std::function<void()>>(std::move(onChange));
    m_translucencyObservers.push_back(observer);
    return observer;
}

void OverlayPanels::translucencyChanged()
{
    std::erase_if(m_translucencyObservers, [](const auto& o) { return o.expired(); });
    // A copy: an observer may add or drop observers while it runs.
    const auto observers = m_translucencyObservers;
    for (const auto& weak : observers)
        if (const auto observer = weak.lock())
            (*observer)();
}

}  // namespace tamsinvale
