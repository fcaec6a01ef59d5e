// One wallpaper's download as the progress panel shows it: a title, a progress bar and a caption.
#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;

namespace tamsinvale {

class WallpaperDownloader;

class WallpaperDownloadView : public QWidget {
    Q_OBJECT
public:
    WallpaperDownloadView(WallpaperDownloader& downloader, const QString& wallpaperID, QWidget* parent = nullptr);

    const QString& wallpaperID() const { return m_wallpaperID; }
    QString title() const;
    QString caption() const;
    double fraction() const;  // what the bar shows, 0…1

private:
    void render();

    WallpaperDownloader& m_downloader;
    QString m_wallpaperID;
    QLabel* m_title;
    QProgressBar* m_bar;
    QLabel* m_caption;
};

}  // namespace tamsinvale
