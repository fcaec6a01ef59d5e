// Icons of listed applications, loaded off the main thread and kept for the life of the process: on demand, one
// load per key, or all at once for a discovery refresh, so that a list shows real icons in its first frame.
#pragma once

#include <QHash>
#include <QImage>
#include <QList>
#include <QObject>
#include <QSet>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "IconProvider.h"

namespace tamsinvale {

class BackgroundQueue;

class AppIconStore : public QObject {
    Q_OBJECT
public:
    // Fetches the image for a file (always some image: a generic one when the file has none); runs on a worker.
    using IconFetcher = std::function<QImage(const QString& path)>;
    // Brings the cached icons of these requests up to date and returns the keys whose image changed. Safe on any
    // thread, also after the store is gone.
    using Preparer = std::function<QSet<QString>(const QList<IconRequest>& requests)>;

    static constexpr int iconSize = 64;

    AppIconStore(IconFetcher fetcher, BackgroundQueue& background, QObject* parent = nullptr);
    AppIconStore(std::shared_ptr<const IconProvider> provider, BackgroundQueue& background, QObject* parent = nullptr);
    ~AppIconStore() override;

    static AppIconStore* shared();
    static void setShared(AppIconStore* store);

    // The cached icon, or nothing while it loads (a load starts when a path is given and none is running).
    std::optional<QImage> icon(const QString& key, const std::optional<QString>& path);
    int version() const { return m_version; }
    bool isLoading(const QString& key) const;
    // Whether the cache holds an image for the key (without starting a load).
    bool contains(const QString& key) const;

    // For a background refresh: loads what changed, where the refresh runs.
    Preparer preparer() const;
    // On the main thread, after a preparation: these keys have new images (bumps the version once).
    void announce(const QSet<QString>& keys);

signals:
    void versionChanged(int version);
    void iconsChanged(const QSet<QString>& keys);

private:
    struct Shared {
        std::mutex lock;
        QHash<QString, QImage> icons;
        QHash<QString, QString> sources;  // what each prepared icon was drawn from
        QSet<QString> inFlight;
    };

    std::shared_ptr<const IconProvider> m_provider;
    BackgroundQueue& m_background;
    // Workers keep the cache alive on their own, and reach the store only through the weak handle.
    std::shared_ptr<Shared> m_shared;
    std::shared_ptr<AppIconStore*> m_self;
    int m_version = 0;
};

}  // namespace tamsinvale
