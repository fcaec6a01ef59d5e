// The user's defaults domain: typed values (bool, integer, real, string, data, date, array, dictionary) under keys.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <optional>

namespace tamsinvale {

// Values are QVariant holding bool, qint64, double, QString, QByteArray, QDateTime, QVariantList or QVariantMap.
class DefaultsDomain : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual std::optional<QVariant> value(const QString& key) const = 0;
    virtual void setValue(const QString& key, const QVariant& value) = 0;
    // Several values as one change: observers hear of it once, after all of them are in place, so that none of
    // them reads a half-written state.
    virtual void setValues(const QVariantMap& values) = 0;
    virtual void removeValue(const QString& key) = 0;
    virtual QStringList keys() const = 0;
    // Writes pending changes to storage now. False when storage could not be written.
    virtual bool synchronize() = 0;

    // Typed readers in the manner of user defaults: a value of another type reads as absent.
    std::optional<bool> boolValue(const QString& key) const;
    std::optional<qint64> integerValue(const QString& key) const;
    std::optional<double> doubleValue(const QString& key) const;
    std::optional<QString> stringValue(const QString& key) const;
    std::optional<QByteArray> dataValue(const QString& key) const;
    std::optional<QVariantList> arrayValue(const QString& key) const;
    std::optional<QVariantMap> dictionaryValue(const QString& key) const;
    std::optional<QStringList> stringArrayValue(const QString& key) const;

signals:
    // Any change: made here, or by another process to the stored domain.
    void changed();
};

}  // namespace tamsinvale
