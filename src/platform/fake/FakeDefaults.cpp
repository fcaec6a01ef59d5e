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

void FakeDefaults::setValue(const QString& key, const QVariant& value)
{
    ++m_writes;
    const auto it = m_values.constFind(key);
    if (it != m_values.cend() && *it == value && it->metaType() == value.metaType())
        return;
    m_values.insert(key, value);
    emit changed();
}

void FakeDefaults::removeValue(const QString& key)
{
    ++m_writes;
    if (m_values.remove(key) > 0)
        emit changed();
}

}  // namespace tamsinvale
