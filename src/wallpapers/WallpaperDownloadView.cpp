#include "WallpaperDownloadView.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

#include "WallpaperDownloader.h"

namespace tamsinvale {

namespace {
constexpr int barSteps = 1000;
}

WallpaperDownloadView::WallpaperDownloadView(WallpaperDownloader& downloader, const QString& wallpaperID,
                                             QWidget* parent)
    : QWidget(parent),
      m_downloader(downloader),
      m_wallpaperID(wallpaperID),
      m_title(new QLabel(this)),
      m_bar(new QProgressBar(this)),
      m_caption(new QLabel(this))
{
    QFont titleFont = m_title->font();
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    m_bar->setRange(0, barSteps);
    m_bar->setTextVisible(false);
    m_caption->setForegroundRole(QPalette::PlaceholderText);  // the secondary text colour
    m_caption->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(8);
    layout->addWidget(m_title);
    layout->addWidget(m_bar);
    layout->addWidget(m_caption);
    setMinimumWidth(320);
    connect(&m_downloader, &WallpaperDownloader::progressChanged, this, [this](const QString& id) {
        if (id == m_wallpaperID)
            render();
    });
    connect(&m_downloader, &WallpaperDownloader::failedChanged, this, [this] { render(); });
    render();
}

QString WallpaperDownloadView::title() const
{
    return m_downloader.failed().contains(m_wallpaperID) ? QStringLiteral("Couldn't download wallpaper")
                                                         : QStringLiteral("Downloading wallpaper");
}

QString WallpaperDownloadView::caption() const
{
    return m_downloader.failed().contains(m_wallpaperID) ? QStringLiteral("Tamsinvale will try again next time it starts.")
                                                         : m_wallpaperID + QStringLiteral(", from Apple");
}

double WallpaperDownloadView::fraction() const { return double(m_bar->value()) / barSteps; }

void WallpaperDownloadView::render()
{
    m_title->setText(title());
    m_caption->setText(caption());
    m_bar->setValue(int(m_downloader.progress().value(m_wallpaperID, 0) * barSteps));
}

}  // namespace tamsinvale
