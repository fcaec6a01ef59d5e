// The rotation set resolved from its bookmarks, the due-check on a coarse 5-minute timer, and the change itself.
#include "WallpaperRotator.h"

#include <QFileInfo>
#include <QPointer>
#include <QRandomGenerator>

#include "platform/Logging.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

WallpaperRotator::WallpaperRotator(const Platform& platform, SettingsStore& settings,
                                   std::function<void()> applyAppearance, QObject* parent)
    : QObject(parent), m_platform(platform), m_settings(settings), m_applyAppearance(std::move(applyAppearance))
{
    reloadUrls();
    // The settings window, the command line (through the defaults file) and other copies edit the set too.
    connect(&m_settings, &SettingsStore::wallpaperRotationBookmarksChanged, this, &WallpaperRotator::reloadUrls);
    connect(&m_settings, &SettingsStore::wallpaperRotationHoursChanged, this, &WallpaperRotator::noteActive);
}

WallpaperRotator::~WallpaperRotator()
{
    cancelTask(m_timer);
    stopAccessingAll();
}

const QList<RotationInterval>& WallpaperRotator::intervals()
{
    static const QList<RotationInterval> choices{
        {0, QStringLiteral("Never")},
        {1, QStringLiteral("Every hour")},
        {3, QStringLiteral("Every 3 hours")},
        {12, QStringLiteral("Twice a day")},
        {24, QStringLiteral("Once a day")},
    };
    return choices;
}

QString WallpaperRotator::intervalLabel(int hours)
{
    for (const RotationInterval& choice : intervals())
        if (choice.hours == hours)
            return choice.label;
    // A number of hours set by hand (the command line takes any): said plainly.
    if (hours <= 0)
        return intervals().first().label;
    return QStringLiteral("Every %1 hours").arg(hours);
}

void WallpaperRotator::start()
{
    if (m_timer)
        return;
    checkDue();
    QPointer<WallpaperRotator> self(this);
    m_timer = m_platform.scheduler->repeatWithTolerance(checkInterval, checkTolerance, [self] {
        if (self)
            self->checkDue();
    });
}

bool WallpaperRotator::isActive() const
{
    return m_settings.settings().wallpaperRotationHours >= 1 && m_urls.size() > 1;
}

std::optional<QDateTime> WallpaperRotator::lastChange() const
{
    const auto value = m_platform.defaults->value(keyLastChange);
    if (!value)
        return std::nullopt;
    if (value->metaType() != QMetaType::fromType<QDateTime>() || !value->toDateTime().isValid()) {
        qCWarning(lcWallpapers).noquote() << keyLastChange << "does not hold a date; the rotation takes it as never";
        return std::nullopt;
    }
    return value->toDateTime();
}

void WallpaperRotator::checkDue()
{
    if (!isActive())
        return;
    const QDateTime now = m_platform.scheduler->currentDateTime();
    const std::optional<QDateTime> last = lastChange();
    if (last && *last > now) {
        // The clock was set back (or the date was written by hand): counting from a future date would stop the
        // rotation until then, so the interval starts over from now.
        qCInfo(lcWallpapers).noquote() << "rotation: last change" << last->toString(Qt::ISODate)
                                       << "lies in the future; counting the interval from now";
        m_platform.defaults->setValue(keyLastChange, now);
        return;
    }
    const qint64 interval = qint64(m_settings.settings().wallpaperRotationHours) * 3600;
    if (!last || interval <= last->secsTo(now))
        rotate();
}

bool WallpaperRotator::rotate()
{
    const std::optional<QString> current = currentPicture();
    const QString currentPath = current ? canonical(*current) : QString();
    QStringList candidates;
    for (const QString& url : std::as_const(m_urls))
        if ((currentPath.isEmpty() || canonical(url) != currentPath) && QFileInfo(url).isFile())
            candidates.append(url);
    if (candidates.isEmpty()) {
        qCInfo(lcWallpapers) << "rotation: no other picture of the set is there to change to";
        return false;
    }
    const QString next = candidates.at(int(QRandomGenerator::global()->bounded(qsizetype(candidates.size()))));
    m_settings.set(&Settings::focusDimBackgroundImageBookmark, std::optional<QByteArray>(m_platform.bookmarks->create(next)));
    m_platform.defaults->setValue(keyLastChange, m_platform.scheduler->currentDateTime());
    qCInfo(lcWallpapers).noquote() << "rotation: changed the wallpaper to" << next;
    if (m_applyAppearance)
        m_applyAppearance();
    emit rotated(next);
    return true;
}

void WallpaperRotator::dimmingEnabled(bool hasPictureForAllScreens)
{
    if (!hasPictureForAllScreens && isActive())
        rotate();
    else
        checkDue();
}

bool WallpaperRotator::contains(const QString& path) const { return m_paths.contains(canonical(path)); }

void WallpaperRotator::add(const QString& path)
{
    if (contains(path))
        return;
    QStringList urls = m_urls;
    urls.append(path);
    rewriteSet(urls);
}

void WallpaperRotator::remove(const QString& path)
{
    const QString target = canonical(path);
    QStringList urls;
    for (const QString& url : std::as_const(m_urls))
        if (canonical(url) != target)
            urls.append(url);
    rewriteSet(urls);
}

void WallpaperRotator::setIntervalHours(int hours)
{
    hours = std::max(0, hours);
    if (hours >= 1 && m_urls.isEmpty())
        if (const auto current = currentPicture())
            rewriteSet({*current});
    m_platform.defaults->setValue(keyLastChange, m_platform.scheduler->currentDateTime());
    m_settings.set(&Settings::wallpaperRotationHours, qint64(hours));
}

std::optional<QString> WallpaperRotator::currentPicture() const
{
    const auto& bookmark = m_settings.settings().focusDimBackgroundImageBookmark;
    if (!bookmark || bookmark->isEmpty())
        return std::nullopt;
    return m_platform.bookmarks->resolve(*bookmark);
}

void WallpaperRotator::reloadUrls()
{
    stopAccessingAll();
    m_urls.clear();
    m_paths.clear();
    for (const QByteArray& bookmark : m_settings.settings().wallpaperRotationBookmarks) {
        const auto path = m_platform.bookmarks->resolve(bookmark);
        if (!path)
            continue;  // stays in the settings until the set is next rewritten
        if (m_platform.bookmarks->startAccessing(*path))
            m_accessing.append(*path);
        m_urls.append(*path);
        m_paths.insert(canonical(*path));
    }
    emit urlsChanged();
    noteActive();
}

void WallpaperRotator::rewriteSet(const QStringList& urls)
{
    QList<QByteArray> bookmarks;
    for (const QString& url : urls)
        bookmarks.append(m_platform.bookmarks->create(url));
    // Publishing the new list reloads `urls` and `paths` from it.
    m_settings.set(&Settings::wallpaperRotationBookmarks, bookmarks);
}

void WallpaperRotator::noteActive()
{
    const bool active = isActive();
    if (active == m_wasActive)
        return;
    m_wasActive = active;
    emit activeChanged(active);
}

void WallpaperRotator::stopAccessingAll()
{
    for (const QString& path : std::as_const(m_accessing))
        m_platform.bookmarks->stopAccessing(path);
    m_accessing.clear();
}

QString WallpaperRotator::canonical(const QString& path)
{
    const QFileInfo info(path);
    const QString resolved = info.canonicalFilePath();
    return resolved.isEmpty() ? info.absoluteFilePath() : resolved;
}

}  // namespace tamsinvale
