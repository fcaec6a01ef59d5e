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
    void setValues(const QVariantMap& values) override;
    void removeValue(const QString& key) override;
    QStringList keys() const override { return m_values.keys(); }
    bool synchronize() override { return true; }

    const QVariantMap& values() const { return m_values; }
    // Write requests (a batch counts once) and the change notifications sent.
    int writeCount() const { return m_writes; }
    int notificationCount() const { return m_notifications; }

private:
    QVariantMap m_values;
    int m_writes = 0;
    int m_notifications = 0;
};

}  // namespace tamsinvale
