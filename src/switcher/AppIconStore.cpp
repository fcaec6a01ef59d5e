// The icon cache: lookups under the lock, loads outside it, one load per key, a version bump per finished load.
#include "AppIconStore.h"

#include "BackgroundQueue.h"

namespace tamsinvale {

namespace {
AppIconStore* sharedIcons = nullptr;
}

AppIconStore::AppIconStore(IconFetcher fetcher, BackgroundQueue& background, QObject* parent)
    : QObject(parent)
    , m_fetcher(std::move(fetcher))
    , m_background(background)
    , m_shared(std::make_shared<Shared>())
    , m_self(std::make_shared<AppIconStore*>(this))
{
}

AppIconStore::~AppIconStore()
{
    if (sharedIcons == this)
        sharedIcons = nullptr;
}

AppIconStore* AppIconStore::shared() { return sharedIcons; }
void AppIconStore::setShared(AppIconStore* store) { sharedIcons = store; }

bool AppIconStore::isLoading(const QString& key) const
{
    std::lock_guard guard(m_shared->lock);
    return m_shared->inFlight.contains(key);
}

std::optional<QImage> AppIconStore::icon(const QString& key, const std::optional<QString>& path)
{
    {
        std::lock_guard guard(m_shared->lock);
        const auto it = m_shared->icons.constFind(key);
        if (it != m_shared->icons.cend())
            return *it;
        if (!path || m_shared->inFlight.contains(key))
            return std::nullopt;
        m_shared->inFlight.insert(key);
    }
    std::shared_ptr<Shared> cache = m_shared;
    std::weak_ptr<AppIconStore*> weak = m_self;
    IconFetcher fetcher = m_fetcher;
    m_background.run(
        [cache, fetcher, key, file = *path] {
            QImage image = fetcher ? fetcher(file) : QImage();
            if (!image.isNull() && image.size() != QSize(iconSize, iconSize))
                image = image.scaled(iconSize, iconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
            std::lock_guard guard(cache->lock);
            cache->icons.insert(key, image);
            cache->inFlight.remove(key);
        },
        [weak] {
            if (auto self = weak.lock()) {
                AppIconStore* store = *self;
                ++store->m_version;
                emit store->versionChanged(store->m_version);
            }
        });
    return std::nullopt;
}

}  // namespace tamsinvale
