// The picker's grid of wallpaper tiles: a preview (or a placeholder until it arrives), the picture's name, its
// marks ("↓" to download, the download's progress, a failure, the current picture) and its "Rotate" toggle. Tiles
// flow into as many columns as the width allows; previews are asked for only when a tile is first painted, so the
// pictures scrolled into view come first.
#pragma once

#include <QList>
#include <QPixmap>
#include <QWidget>
#include <functional>

#include "WallpapersPageModel.h"

class QCheckBox;

namespace tamsinvale {

class WallpaperTileWidget : public QWidget {
public:
    static constexpr QSize previewSize{160, 100};

    explicit WallpaperTileWidget(QWidget* parent = nullptr);

    const WallpaperTile& tile() const { return m_tile; }
    void setTile(const WallpaperTile& tile);
    // The preview arrived, or it cannot be made (`failed`).
    void setPreview(const QPixmap& preview, bool failed = false);
    bool hasPreview() const { return !m_preview.isNull(); }
    // The preview will be asked for again at the next paint (it has become ready).
    void previewChanged();
    QCheckBox* rotate() const { return m_rotate; }

    std::function<void(const QString& id)> onChoose;
    std::function<void(const QString& path, bool inRotation)> onRotate;
    // Called while painting a tile whose preview is not known yet; answers through `setPreview`.
    std::function<void(WallpaperTileWidget*)> needPreview;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QRect previewRect() const;
    bool choosable() const;
    void updateToolTip();

    WallpaperTile m_tile;
    QPixmap m_preview;
    bool m_previewFailed = false;
    bool m_previewAsked = false;
    bool m_hover = false;
    QCheckBox* m_rotate = nullptr;
};

class WallpaperTileGrid : public QWidget {
public:
    explicit WallpaperTileGrid(QWidget* parent = nullptr);

    // Shows `tiles`, reusing the tile widgets already there (a tile whose data did not change is not touched).
    void setTiles(const QList<WallpaperTile>& tiles);
    const QList<WallpaperTileWidget*>& tileWidgets() const { return m_tiles; }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    // Given to every tile.
    std::function<void(const QString& id)> onChoose;
    std::function<void(const QString& path, bool inRotation)> onRotate;
    std::function<void(WallpaperTileWidget*)> needPreview;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    int columnsFor(int width) const;
    void placeTiles();

    QList<WallpaperTileWidget*> m_tiles;
};

}  // namespace tamsinvale
