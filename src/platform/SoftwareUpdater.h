// The update framework that checks the application's feed (Sparkle on macOS); Linux leaves updates to the
// distribution's packages and has none.
#pragma once

#include <QList>
#include <QObject>
#include <QVariantMap>
#include <functional>

namespace tamsinvale {

class SoftwareUpdater : public QObject {
    Q_OBJECT
public:
    using FeedParameters = std::function<QList<QVariantMap>()>;

    // Starts the updater at once; `feedParameters` is asked for the parameters of every feed request, each a
    // dictionary with "key", "value", "displayKey" and "displayValue".
    virtual void start(FeedParameters feedParameters) = 0;
    virtual bool canCheckForUpdates() const = 0;
    virtual bool automaticallyChecksForUpdates() const = 0;
    virtual void setAutomaticallyChecksForUpdates(bool on) = 0;
    virtual void checkForUpdates() = 0;

signals:
    void canCheckForUpdatesChanged(bool canCheck);
};

}  // namespace tamsinvale
