// The icon cache: lookups under the lock, loads outside it, one load per key, a version bump per finished load or
// per refresh that changed icons.
#include "AppIconStore.h"

#include "BackgroundQueue.h"

namespace tamsinvale {

namespace {

AppIconStore* sharedIcons = nullptr;

QImage sized(QImage image)
{
    if (!image.isNull() && image.size() != QSize(AppIconStore::iconSize, AppIconStore::iconSize))
        image = image.scaled(AppIconStore::iconSize, AppIconStore::iconSize, Qt::KeepAspectRatio,
                             Qt::SmoothTransformation);
    return image;
}

}  // namespace

AppIconStore::AppIconStore(IconFetcher fetcher, BackgroundQueue& background, QObject* parent)
    : AppIconStore(std::make_shared<FunctionIconProvider>(std::move(fetcher)), background, parent)
{
}

AppIconStore::AppIconStore(std::shared_ptr<const IconProvider> provider, BackgroundQueue& background, QObject* parent)
    : QObject(parent)
    , m_provider(std::move(provider))
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

bool AppIconStore::contains(const QString& key) const
{
    std::lock_guard guard(m_shared->lock);
    return m_shared->icons.contains(key);
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
    std::shared_ptr<const IconProvider> provider = m_provider;
    m_background.run(
        [cache, provider, key, file = *path] {
            const QImage image = sized(provider->load(IconRequest{key, file, std::nullopt, {}}, iconSize));
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

AppIconStore::Preparer AppIconStore::preparer() const
{
    return [cache = m_shared, provider = m_provider](const QList<IconRequest>& requests) {
        QSet<QString> changed;
        provider->rescan();
        for (const IconRequest& request : requests) {
            const QString source = provider->sourceOf(request, iconSize);
            {
                std::lock_guard guard(cache->lock);
                const auto it = cache->sources.constFind(request.key);
                if (it != cache->sources.cend() && *it == source && cache->icons.contains(request.key))
                    continue;
            }
            const QImage image = sized(provider->load(request, iconSize));
            std::lock_guard guard(cache->lock);
            cache->icons.insert(request.key, image);
            cache->sources.insert(request.key, source);
            changed.insert(request.key);
        }
        return changed;
    };
}

void AppIconStore::announce(const QSet<QString>& keys)
{
    if (keys.isEmpty())
        return;
    ++m_version;
    emit iconsChanged(keys);
    emit versionChanged(m_version);
}

}  // namespace tamsinvale
