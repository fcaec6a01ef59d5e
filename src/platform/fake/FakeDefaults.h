// An in-memory defaults domain.
#pragma once

#include <QVariantMap>

#include "platform/Defaults.h"

namespace tamsinvale {

class FakeDefaults : public DefaultsDomain {
    Q_OBJECT
public:
    using DefaultsDomain::DefaultsDomain;

    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void removeValue(const QString& key) override;
    QStringList keys() const override { return m_values.keys(); }
    bool synchronize() override { return true; }

    const QVariantMap& values() const { return m_values; }
    int writeCount() const { return m_writes; }

private:
    QVariantMap m_values;
    int m_writes = 0;
};

}  // namespace tamsinvale
