// A small window showing one wallpaper's download; it closes itself once the picture is installed.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

namespace tamsinvale {

class WallpaperDownloader;
class WallpaperDownloadView;

class WallpaperDownloadPanel : public QObject {
    Q_OBJECT
public:
    explicit WallpaperDownloadPanel(WallpaperDownloader& downloader, QObject* parent = nullptr);
    ~WallpaperDownloadPanel() override;

    // Shows the panel for `wallpaperID` (replacing what it showed before) and brings it forward.
    void show(const QString& wallpaperID);
    void close();
    QWidget* panel() const { return m_panel; }
    WallpaperDownloadView* view() const { return m_view; }

private:
    WallpaperDownloader& m_downloader;
    QPointer<QWidget> m_panel;
    WallpaperDownloadView* m_view = nullptr;
};

}  // namespace tamsinvale
