#include "WallpaperTileGrid.h"

#include <QCheckBox>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace tamsinvale {

namespace {

constexpr int tileWidth = 176;
constexpr int tileHeight = 160;
constexpr int spacing = 8;
constexpr int margin = 8;  // around the preview inside a tile
constexpr int nameTop = margin + WallpaperTileWidget::previewSize.height() + 4;

void drawBadge(QPainter& p, const QRect& preview, const QString& text, const QColor& background)
{
    const QRect badge(preview.right() - 27, preview.top() + 5, 22, 22);
    p.setPen(Qt::NoPen);
    p.setBrush(background);
    p.drawEllipse(badge);
    p.setPen(Qt::white);
    QFont font = p.font();
    font.setBold(true);
    p.setFont(font);
    p.drawText(badge, Qt::AlignCenter, text);
}

}  // namespace

WallpaperTileWidget::WallpaperTileWidget(QWidget* parent) : QWidget(parent)
{
    setFixedSize(tileWidth, tileHeight);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover, false);
    m_rotate = new QCheckBox(QStringLiteral("Rotate"), this);
    m_rotate->move(margin, nameTop + 20);
    connect(m_rotate, &QCheckBox::toggled, this, [this](bool on) {
        if (onRotate && m_tile.path)
            onRotate(*m_tile.path, on);
    });
}

void WallpaperTileWidget::setTile(const WallpaperTile& tile)
{
    if (tile == m_tile)
        return;
    if (tile.thumbnailSource != m_tile.thumbnailSource) {
        m_preview = QPixmap();
        m_previewFailed = false;
        m_previewAsked = false;
    }
    m_tile = tile;
    setObjectName(QStringLiteral("wallpaper:") + tile.id);
    setAccessibleName(tile.title);
    {
        const QSignalBlocker block(m_rotate);
        m_rotate->setChecked(tile.inRotation);
    }
    m_rotate->setEnabled(tile.canRotate && onRotate);
    setCursor(choosable() ? Qt::PointingHandCursor : Qt::ArrowCursor);
    updateToolTip();
    update();
}

void WallpaperTileWidget::setPreview(const QPixmap& preview, bool failed)
{
    m_preview = preview;
    m_previewFailed = failed;
    m_previewAsked = true;
    update();
}

void WallpaperTileWidget::previewChanged()
{
    m_previewAsked = false;
    update();
}

bool WallpaperTileWidget::choosable() const { return !m_tile.missing && !m_tile.progress && !m_tile.current; }

void WallpaperTileWidget::updateToolTip()
{
    QString text = m_tile.title;
    if (m_tile.current)
        text += QStringLiteral("\nThe picture for all screens");
    if (!m_tile.status.isEmpty())
        text += QLatin1Char('\n') + m_tile.status;
    if (m_tile.failed)
        text += QStringLiteral("\nClick to try again.");
    else if (m_tile.downloadable && !m_tile.progress)
        text += QStringLiteral("\nClick to download it and show it.");
    if (!m_tile.canRotate && !m_tile.missing)
        m_rotate->setToolTip(QStringLiteral("Only pictures that are here can take turns; download it first."));
    else
        m_rotate->setToolTip(QString());
    setToolTip(text);
}

QRect WallpaperTileWidget::previewRect() const { return QRect(QPoint(margin, margin), previewSize); }

void WallpaperTileWidget::paintEvent(QPaintEvent*)
{
    if (!m_previewAsked && needPreview) {
        m_previewAsked = true;
        needPreview(this);  // may answer at once, from the cache
    }
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRect preview = previewRect();
    QPainterPath clip;
    clip.addRoundedRect(QRectF(preview), 6, 6);

    p.save();
    p.setClipPath(clip);
    if (!m_preview.isNull()) {
        p.drawPixmap(preview, m_preview);
    } else {
        p.fillRect(preview, palette().color(QPalette::Mid));
        p.setPen(palette().color(QPalette::Light));
        QString placeholder;
        if (m_previewFailed || (!m_tile.thumbnailSource && !m_tile.downloadable))
            placeholder = QStringLiteral("No preview");
        else if (!m_tile.thumbnailSource)
            placeholder = QStringLiteral("Not downloaded");
        p.drawText(preview, Qt::AlignCenter, placeholder);
    }
    if (m_tile.missing)
        p.fillRect(preview, QColor(0, 0, 0, 110));
    if (!m_tile.status.isEmpty()) {
        const QRect strip(preview.left(), preview.bottom() - 21, preview.width(), 22);
        p.fillRect(strip, QColor(0, 0, 0, 150));
        p.setPen(Qt::white);
        QFont font = p.font();
        font.setPointSizeF(font.pointSizeF() * 0.85);
        p.setFont(font);
        p.drawText(strip.adjusted(6, 0, -6, 0), Qt::AlignVCenter | Qt::AlignLeft,
                   p.fontMetrics().elidedText(m_tile.status, Qt::ElideRight, strip.width() - 12));
    }
    if (m_tile.progress) {
        const QRect track(preview.left(), preview.bottom() - 3, preview.width(), 4);
        p.fillRect(track, QColor(255, 255, 255, 90));
        p.fillRect(QRect(track.topLeft(), QSize(int(track.width() * std::clamp(*m_tile.progress, 0.0, 1.0)), 4)),
                   palette().color(QPalette::Highlight));
    }
    p.restore();

    p.save();
    if (m_tile.failed)
        drawBadge(p, preview, QStringLiteral("!"), QColor(0xe8, 0x86, 0x0c));
    else if (m_tile.downloadable && !m_tile.progress)
        drawBadge(p, preview, QStringLiteral("↓"), QColor(0, 0, 0, 160));
    if (m_tile.current)
        drawBadge(p, preview.translated(-(preview.width() - 32), 0), QStringLiteral("✓"),
                  palette().color(QPalette::Highlight));
    p.restore();

    if (m_tile.current || m_hover || hasFocus()) {
        QPen pen(m_tile.current ? palette().color(QPalette::Highlight) : palette().color(QPalette::Mid));
        pen.setWidth(m_tile.current ? 3 : 2);
        p.setPen(pen);
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(QRectF(preview).adjusted(-2, -2, 2, 2), 7, 7);
    }

    p.setPen(palette().color(QPalette::WindowText));
    QFont font = p.font();
    font.setBold(m_tile.current);
    p.setFont(font);
    const QRect name(margin, nameTop, previewSize.width(), 18);
    p.drawText(name, Qt::AlignLeft | Qt::AlignVCenter,
               p.fontMetrics().elidedText(m_tile.title, Qt::ElideRight, name.width()));
}

void WallpaperTileWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && previewRect().adjusted(-margin, -margin, margin, 22).contains(
                                                 event->position().toPoint()))
        if (choosable() && onChoose)
            onChoose(m_tile.id);
    QWidget::mouseReleaseEvent(event);
}

void WallpaperTileWidget::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space) {
        if (choosable() && onChoose)
            onChoose(m_tile.id);
        return;
    }
    QWidget::keyPressEvent(event);
}

void WallpaperTileWidget::enterEvent(QEnterEvent*)
{
    m_hover = true;
    update();
}

void WallpaperTileWidget::leaveEvent(QEvent*)
{
    m_hover = false;
    update();
}

WallpaperTileGrid::WallpaperTileGrid(QWidget* parent) : QWidget(parent)
{
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

int WallpaperTileGrid::columnsFor(int width) const { return std::max(1, (width + spacing) / (tileWidth + spacing)); }

int WallpaperTileGrid::heightForWidth(int width) const
{
    const int count = int(m_tiles.size());
    if (count == 0)
        return 0;
    const int rows = (count + columnsFor(width) - 1) / columnsFor(width);
    return rows * tileHeight + (rows - 1) * spacing;
}

QSize WallpaperTileGrid::sizeHint() const
{
    const int width = 4 * tileWidth + 3 * spacing;
    return {width, heightForWidth(width)};
}

QSize WallpaperTileGrid::minimumSizeHint() const { return {tileWidth, m_tiles.isEmpty() ? 0 : tileHeight}; }

void WallpaperTileGrid::setTiles(const QList<WallpaperTile>& tiles)
{
    const bool countChanged = tiles.size() != m_tiles.size();
    while (m_tiles.size() > tiles.size())
        delete m_tiles.takeLast();
    while (m_tiles.size() < tiles.size()) {
        auto* tile = new WallpaperTileWidget(this);
        tile->onChoose = [this](const QString& id) {
            if (onChoose)
                onChoose(id);
        };
        if (onRotate)
            tile->onRotate = [this](const QString& path, bool on) { onRotate(path, on); };
        tile->needPreview = [this](WallpaperTileWidget* t) {
            if (needPreview)
                needPreview(t);
        };
        tile->show();
        m_tiles.append(tile);
    }
    for (qsizetype i = 0; i < tiles.size(); ++i)
        m_tiles[i]->setTile(tiles[i]);
    if (countChanged) {
        placeTiles();
        updateGeometry();
    }
}

void WallpaperTileGrid::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    placeTiles();
}

void WallpaperTileGrid::placeTiles()
{
    const int columns = columnsFor(width());
    for (qsizetype i = 0; i < m_tiles.size(); ++i)
        m_tiles[i]->move(int(i % columns) * (tileWidth + spacing), int(i / columns) * (tileHeight + spacing));
}

}  // namespace tamsinvale
