// The Wallpapers page's widgets; what they show comes from `WallpapersPageModel`, the previews from
// `WallpaperThumbnails`.
#include "WallpapersPage.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShowEvent>

#include "PageWidgets.h"
#include "WallpaperTileGrid.h"
#include "settings/SettingsStore.h"
#include "wallpapers/WallpaperRotator.h"
#include "wallpapers/WallpaperServices.h"
#include "wallpapers/WallpaperThumbnails.h"

namespace tamsinvale {

WallpapersPage::WallpapersPage(const SettingsWindowContext& context, QWidget* parent)
    : QWidget(parent), m_context(context)
{
    QVBoxLayout* layout = PageWidgets::pageLayout(this, QStringLiteral("Wallpapers"));
    WallpaperRotator* rotator = m_context.rotator;

    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Rotation"), this));
    auto* rotationRow = new QHBoxLayout;
    rotationRow->addWidget(new QLabel(QStringLiteral("Change picture"), this));
    m_interval = new QComboBox(this);
    m_interval->setObjectName(QStringLiteral("rotationInterval"));
    m_interval->setMinimumWidth(160);
    m_interval->setEnabled(rotator);
    rotationRow->addWidget(m_interval);
    m_next = new QPushButton(WallpapersPageModel::nextWallpaperText, this);
    m_next->setObjectName(QStringLiteral("nextWallpaper"));
    rotationRow->addWidget(m_next);
    rotationRow->addStretch(1);
    layout->addLayout(rotationRow);
    m_summary = PageWidgets::help(QString(), this);
    m_summary->setObjectName(QStringLiteral("rotationSummary"));
    layout->addWidget(m_summary);
    layout->addWidget(PageWidgets::help(WallpapersPageModel::rotationHelp, this));

    layout->addWidget(PageWidgets::separator(this));
    layout->addWidget(PageWidgets::help(WallpapersPageModel::pickerHelp, this));
    m_blackNote = PageWidgets::help(WallpapersPageModel::blackBackgroundNote, this);
    layout->addWidget(m_blackNote);
    m_empty = new QLabel(WallpapersPageModel::noPicturesText, this);
    m_empty->setWordWrap(true);
    layout->addWidget(m_empty);
    m_groupsLayout = new QVBoxLayout;
    m_groupsLayout->setSpacing(8);
    layout->addLayout(m_groupsLayout);
    layout->addStretch(1);

    if (rotator) {
        connect(m_interval, qOverload<int>(&QComboBox::activated), this, [this, rotator](int index) {
            WallpapersPageModel::setIntervalIndex(*rotator, m_state, index);
        });
        connect(m_next, &QPushButton::clicked, this, [rotator] { rotator->rotate(); });
        connect(rotator, &WallpaperRotator::urlsChanged, this, &WallpapersPage::refresh);
    }
    connect(m_context.settings, &SettingsStore::changed, this, &WallpapersPage::refresh);
    if (WallpaperServices* services = m_context.wallpapers) {
        connect(&services->list(), &WallpaperList::changed, this, [this] {
            m_previews.clear();  // a file may have been replaced
            for (const GroupWidgets& group : std::as_const(m_groups))
                for (WallpaperTileWidget* tile : group.grid->tileWidgets())
                    tile->previewChanged();
            refresh();
        });
        connect(&services->downloader(), &WallpaperDownloader::progressChanged, this, &WallpapersPage::refresh);
        connect(&services->downloader(), &WallpaperDownloader::failedChanged, this, &WallpapersPage::refresh);
    }
    if (m_context.thumbnails)
        connect(m_context.thumbnails, &WallpaperThumbnails::ready, this, &WallpapersPage::previewReady);
    refresh();
}

WallpapersPage::~WallpapersPage() = default;

void WallpapersPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    // Pictures installed or removed while the page was away (the command line downloads too) show up on return.
    if (m_shownBefore && m_context.wallpapers && !event->spontaneous())
        m_context.wallpapers->list().refresh();
    m_shownBefore = true;
}

QList<WallpaperTileWidget*> WallpapersPage::tiles() const
{
    QList<WallpaperTileWidget*> out;
    for (const GroupWidgets& group : m_groups)
        out << group.grid->tileWidgets();
    return out;
}

QStringList WallpapersPage::groupTitles() const
{
    QStringList out;
    for (const GroupWidgets& group : m_groups)
        out << group.title->text();
    return out;
}

void WallpapersPage::refresh()
{
    const QList<SystemWallpaper> wallpapers =
        m_context.wallpapers ? m_context.wallpapers->list().wallpapers() : QList<SystemWallpaper>();
    m_state = WallpapersPageModel::state(m_context.settings->settings(), wallpapers,
                                         m_context.wallpapers ? &m_context.wallpapers->downloader() : nullptr,
                                         m_context.platform.bookmarks);
    {
        const QSignalBlocker block(m_interval);
        if (m_interval->count() != m_state.intervalLabels.size()
            || [&] {
                   for (int i = 0; i < m_interval->count(); ++i)
                       if (m_interval->itemText(i) != m_state.intervalLabels[i])
                           return true;
                   return false;
               }()) {
            m_interval->clear();
            m_interval->addItems(m_state.intervalLabels);
        }
        m_interval->setCurrentIndex(m_state.intervalIndex);
    }
    m_next->setEnabled(m_state.nextEnabled && m_context.rotator);
    m_summary->setText(m_state.rotationSummary);
    m_blackNote->setVisible(m_state.blackBackground);
    m_empty->setVisible(m_state.groups.isEmpty());

    // Groups come and go rarely (a first picture of a kind, or one chosen from elsewhere); tiles are reused.
    while (m_groups.size() > m_state.groups.size()) {
        GroupWidgets gone = m_groups.takeLast();
        delete gone.title;
        delete gone.grid;
    }
    while (m_groups.size() < m_state.groups.size()) {
        GroupWidgets group;
        group.title = PageWidgets::sectionTitle(QString(), this);
        group.grid = new WallpaperTileGrid(this);
        if (WallpaperServices* services = m_context.wallpapers)
            group.grid->onChoose = [services](const QString& id) { WallpapersPageModel::choose(*services, id); };
        if (WallpaperRotator* rotator = m_context.rotator)
            group.grid->onRotate = [rotator](const QString& path, bool on) {
                WallpapersPageModel::setInRotation(*rotator, path, on);
            };
        group.grid->needPreview = [this](WallpaperTileWidget* tile) { providePreview(tile); };
        m_groupsLayout->addWidget(group.title);
        m_groupsLayout->addWidget(group.grid);
        m_groups.append(group);
    }
    for (qsizetype i = 0; i < m_groups.size(); ++i) {
        m_groups[i].title->setText(m_state.groups[i].title);
        m_groups[i].grid->setTiles(m_state.groups[i].tiles);
    }
}

void WallpapersPage::providePreview(WallpaperTileWidget* tile)
{
    const std::optional<QString> source = tile->tile().thumbnailSource;
    if (!source || !m_context.thumbnails)
        return;
    if (const auto cached = m_previews.constFind(*source); cached != m_previews.constEnd()) {
        tile->setPreview(*cached);
        return;
    }
    if (const std::optional<QImage> image = m_context.thumbnails->thumbnail(*source)) {
        const QPixmap pixmap = QPixmap::fromImage(*image);
        m_previews.insert(*source, pixmap);
        tile->setPreview(pixmap);
    } else if (m_context.thumbnails->hasFailed(*source)) {
        tile->setPreview(QPixmap(), true);
    }
}

void WallpapersPage::previewReady(const QString& source)
{
    for (const GroupWidgets& group : std::as_const(m_groups))
        for (WallpaperTileWidget* tile : group.grid->tileWidgets())
            if (tile->tile().thumbnailSource == source)
                tile->previewChanged();
}

}  // namespace tamsinvale
