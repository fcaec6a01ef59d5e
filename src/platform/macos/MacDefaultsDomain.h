// Main thread: construct and use on the main thread. Changes made in this process are heard through
// NSUserDefaultsDidChangeNotification; changes by another process (the command line) through a poll of the
// persistent domain on a Qt timer, so the main event loop must be running.
// The user's standard defaults domain on macOS (NSUserDefaults), with typed values.
#pragma once

#include <QTimer>
#include <memory>

#include "platform/Defaults.h"

namespace tamsinvale {

class MacDefaultsDomain : public DefaultsDomain {
    Q_OBJECT
public:
    explicit MacDefaultsDomain(QObject* parent = nullptr);
    ~MacDefaultsDomain() override;

    std::optional<QVariant> value(const QString& key) const override;
    // A value that cannot be stored as a property list is refused with a warning; the stored value stays.
    void setValue(const QString& key, const QVariant& value) override;
    void setValues(const QVariantMap& values) override;
    void removeValue(const QString& key) override;
    // The keys of the application's own persistent domain (not the global or registration domains).
    QStringList keys() const override;
    bool synchronize() override;

    // How often the persistent domain is compared with what we last saw, for changes by another process.
    static constexpr int outsideChangePollMs = 2000;

    struct Native;

private:
    // Stores without telling anyone; true when something changed.
    bool store(const QString& key, const QVariant& value);
    void changedHere();
    void pollOutsideChanges();

    std::unique_ptr<Native> m_native;
    int m_batchDepth = 0;
    bool m_changedInBatch = false;
    QTimer m_poll;
};

}  // namespace tamsinvale
