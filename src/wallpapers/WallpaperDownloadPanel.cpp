#include "WallpaperDownloadPanel.h"

#include <QVBoxLayout>

#include "WallpaperDownloadView.h"
#include "WallpaperDownloader.h"

namespace tamsinvale {

WallpaperDownloadPanel::WallpaperDownloadPanel(WallpaperDownloader& downloader, QObject* parent)
    : QObject(parent), m_downloader(downloader)
{
    connect(&m_downloader, &WallpaperDownloader::installed, this, [this](const QString& id) {
        if (m_view && m_view->wallpaperID() == id)
            close();
    });
}

WallpaperDownloadPanel::~WallpaperDownloadPanel() { delete m_panel; }

void WallpaperDownloadPanel::show(const QString& wallpaperID)
{
    if (!m_panel) {
        m_panel = new QWidget(nullptr, Qt::Tool | Qt::WindowStaysOnTopHint);
        m_panel->setWindowTitle(QStringLiteral("Wallpaper"));
        m_panel->setAttribute(Qt::WA_DeleteOnClose, false);
        new QVBoxLayout(m_panel);
        m_panel->layout()->setContentsMargins(0, 0, 0, 0);
    }
    delete m_view;
    m_view = new WallpaperDownloadView(m_downloader, wallpaperID, m_panel);
    m_panel->layout()->addWidget(m_view);
    m_panel->adjustSize();
    m_panel->show();
    m_panel->raise();
}

void WallpaperDownloadPanel::close()
{
    if (m_panel)
        m_panel->hide();
}

}  // namespace tamsinvale
