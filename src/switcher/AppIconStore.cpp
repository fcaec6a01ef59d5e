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
        // The lock is taken twice per scan, not twice per entry: this runs in the background's idle scheduling
        // class, and a thread of that class put aside while holding the lock would keep the main thread waiting
        // on it for as long as the machine is busy.
        QHash<QString, QString> knownSources;
        QSet<QString> withIcon;
        {
            std::lock_guard guard(cache->lock);
            knownSources = cache->sources;  // shared, not copied
            for (auto it = cache->icons.cbegin(); it != cache->icons.cend(); ++it)
                withIcon.insert(it.key());
        }
        provider->rescan();
        struct Loaded {
            QString key, source;
            QImage image;
        };
        QList<Loaded> loaded;
        for (const IconRequest& request : requests) {
            const QString source = provider->sourceOf(request, iconSize);
            const auto it = knownSources.constFind(request.key);
            if (it != knownSources.cend() && *it == source && withIcon.contains(request.key))
                continue;
            loaded.append({request.key, source, sized(provider->load(request, iconSize))});
        }
        knownSources.clear();  // so that the inserts below need not copy the shared table
        QSet<QString> changed;
        std::lock_guard guard(cache->lock);
        for (Loaded& icon : loaded) {
            cache->icons.insert(icon.key, std::move(icon.image));
            cache->sources.insert(icon.key, icon.source);
            changed.insert(icon.key);
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
