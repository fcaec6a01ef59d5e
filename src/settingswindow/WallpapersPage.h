// The Wallpapers page: the picker (previews grouped by kind; a click shows the picture, downloading it first when
// needed), the rotation set as a toggle on each picture, the interval and "Next Wallpaper".
#pragma once

#include <QHash>
#include <QList>
#include <QPixmap>
#include <QWidget>

#include "SettingsWindowContext.h"
#include "WallpapersPageModel.h"

class QComboBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace tamsinvale {

class WallpaperTileGrid;
class WallpaperTileWidget;

class WallpapersPage : public QWidget {
    Q_OBJECT
public:
    explicit WallpapersPage(const SettingsWindowContext& context, QWidget* parent = nullptr);
    ~WallpapersPage() override;

    QComboBox* interval() const { return m_interval; }
    QPushButton* nextWallpaper() const { return m_next; }
    // Every tile shown, group by group.
    QList<WallpaperTileWidget*> tiles() const;
    QStringList groupTitles() const;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();
    void providePreview(WallpaperTileWidget* tile);
    void previewReady(const QString& source);

    const SettingsWindowContext& m_context;
    WallpapersPageState m_state;
    QComboBox* m_interval = nullptr;
    QPushButton* m_next = nullptr;
    QLabel* m_summary = nullptr;
    QLabel* m_blackNote = nullptr;
    QLabel* m_empty = nullptr;
    QVBoxLayout* m_groupsLayout = nullptr;
    struct GroupWidgets {
        QLabel* title = nullptr;
        WallpaperTileGrid* grid = nullptr;
    };
    QList<GroupWidgets> m_groups;
    QHash<QString, QPixmap> m_previews;  // by preview source, converted once
    bool m_shownBefore = false;
};

}  // namespace tamsinvale
