// In-memory defaults that report every change, as the real domain does.
#include "FakeDefaults.h"

namespace tamsinvale {

std::optional<QVariant> FakeDefaults::value(const QString& key) const
{
    const auto it = m_values.constFind(key);
    if (it == m_values.cend())
        return std::nullopt;
    return *it;
}

namespace {
bool sameValue(const QVariantMap& values, const QString& key, const QVariant& value)
{
    const auto it = values.constFind(key);
    return it != values.cend() && *it == value && it->metaType() == value.metaType();
}
}  // namespace

void FakeDefaults::setValue(const QString& key, const QVariant& value)
{
    ++m_writes;
    if (sameValue(m_values, key, value))
        return;
    m_values.insert(key, value);
    ++m_notifications;
    emit changed();
}

void FakeDefaults::setValues(const QVariantMap& values)
{
    ++m_writes;
    bool changedAny = false;
    for (auto it = values.begin(); it != values.end(); ++it) {
        if (sameValue(m_values, it.key(), it.value()))
            continue;
        m_values.insert(it.key(), it.value());
        changedAny = true;
    }
    if (changedAny) {
        ++m_notifications;
        emit changed();
    }
}

void FakeDefaults::removeValue(const QString& key)
{
    ++m_writes;
    if (m_values.remove(key) > 0) {
        ++m_notifications;
        emit changed();
    }
}

}  // namespace tamsinvale
