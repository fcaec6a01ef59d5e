// Drawing of the "windows" picture (a solid front window over the outline of one behind it) and of the
// "line" picture: a tray cannot show text, so " | " becomes a centred vertical bar.
#include "MenuBarIcon.h"

#include <QHash>
#include <QPainter>
#include <QPainterPath>

namespace tamsinvale {

namespace {

constexpr double side = 18.0;

// The picture is specified in an unflipped space (origin bottom-left, y up); QPainter's y goes down.
QRectF flipped(const QRectF& r) { return QRectF(r.x(), side - r.y() - r.height(), r.width(), r.height()); }

QPainterPath roundedSquare(const QRectF& rect, double radius)
{
    QPainterPath path;
    path.addRoundedRect(flipped(rect), radius, radius);
    return path;
}

QImage draw(MenuBarIconStyle style, double scale)
{
    QImage image(qRound(side * scale), qRound(side * scale), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    if (style == MenuBarIconStyle::windows) {
        // 1. The window behind: an outline.
        p.setPen(QPen(Qt::black, 1.8));
        p.setBrush(Qt::NoBrush);
        p.drawPath(roundedSquare(QRectF(5.5, 5.5, 11, 11), 2.6));
        // 2. Cut a gap around where the front window goes.
        p.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::black);
        p.drawPath(roundedSquare(QRectF(1, 1, 11.5, 11.5).adjusted(-1.4, -1.4, 1.4, 1.4), 4.0));
        // 3. The front window, solid.
        p.setCompositionMode(QPainter::CompositionMode_SourceOver);
        p.drawPath(roundedSquare(QRectF(1, 1, 11.5, 11.5), 2.6));
    } else {
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::black);
        p.drawRoundedRect(QRectF(side / 2 - 1.0, 2.0, 2.0, side - 4.0), 1.0, 1.0);
    }
    return image;
}

}  // namespace

QImage MenuBarIcon::image(MenuBarIconStyle style, double scale)
{
    static QHash<QPair<int, int>, QImage> cache;
    const auto key = qMakePair(static_cast<int>(style), qRound(scale * 100));
    auto it = cache.find(key);
    if (it == cache.end())
        it = cache.insert(key, draw(style, scale));
    return *it;
}

}  // namespace tamsinvale
