// Icons of listed applications, loaded once per key off the main thread and kept for the life of the process.
#pragma once

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace tamsinvale {

class BackgroundQueue;

class AppIconStore : public QObject {
    Q_OBJECT
public:
    // Fetches the image for a file (always some image: a generic one when the file has none); runs on a worker.
    using IconFetcher = std::function<QImage(const QString& path)>;

    static constexpr int iconSize = 64;

    AppIconStore(IconFetcher fetcher, BackgroundQueue& background, QObject* parent = nullptr);
    ~AppIconStore() override;

    static AppIconStore* shared();
    static void setShared(AppIconStore* store);

    // The cached icon, or nothing while it loads (a load starts when a path is given and none is running).
    std::optional<QImage> icon(const QString& key, const std::optional<QString>& path);
    int version() const { return m_version; }
    bool isLoading(const QString& key) const;

signals:
    void versionChanged(int version);

private:
    struct Shared {
        std::mutex lock;
        QHash<QString, QImage> icons;
        QSet<QString> inFlight;
    };

    IconFetcher m_fetcher;
    BackgroundQueue& m_background;
    // Workers keep the cache alive on their own, and reach the store only through the weak handle.
    std::shared_ptr<Shared> m_shared;
    std::shared_ptr<AppIconStore*> m_self;
    int m_version = 0;
};

}  // namespace tamsinvale
