// Painting of the switcher panel and translation of window key and mouse events into the view's words.
#include "FocusablePanel.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include "AppIconStore.h"
#include "SwitcherView.h"
#include "platform/Logging.h"

namespace tamsinvale {

namespace {

const QColor background(30, 31, 34);
const QColor rowSelected(58, 96, 170);
const QColor secondaryText(160, 162, 168);

// Qt keys that the switcher gives meaning to, as the platform-neutral key codes the handler reads.
std::uint32_t keyCodeFor(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Escape: return SwitcherKeyEvent::escape;
    case Qt::Key_Up: return SwitcherKeyEvent::upArrow;
    case Qt::Key_Down: return SwitcherKeyEvent::downArrow;
    case Qt::Key_Return: return SwitcherKeyEvent::returnKey;
    case Qt::Key_Enter: return SwitcherKeyEvent::keypadEnter;
    case Qt::Key_Backspace: return SwitcherKeyEvent::deleteKey;
    case Qt::Key_Tab: return SwitcherKeyEvent::tab;
    default: return 0xffff;
    }
}

// With Ctrl or Alt still held the text is a control character or nothing; the key itself still names its character.
QString charactersIgnoringModifiers(const QKeyEvent& event)
{
    const QString text = event.text();
    if ((text.isEmpty() || !text.at(0).isPrint()) && event.key() > Qt::Key_Space && event.key() <= Qt::Key_AsciiTilde)
        return QString(QChar(event.key())).toLower();
    return text;
}

void drawKeyCap(QPainter& p, const QRectF& rect, const QString& key, bool highlighted)
{
    QPainterPath cap;
    cap.addRoundedRect(rect, 5, 5);
    p.fillPath(cap, highlighted ? QColor(255, 255, 255, 230) : QColor(255, 255, 255, 38));
    p.setPen(highlighted ? QColor(20, 20, 24) : QColor(235, 235, 240));
    p.drawText(rect, Qt::AlignCenter, key.toUpper());
}

}  // namespace

FocusablePanel::FocusablePanel(AppIconStore* icons) : m_icons(icons)
{
    // Placed by us above everything, and it never takes the focus from the application the user came from.
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint
             | Qt::WindowDoesNotAcceptFocus);
    setTitle(QStringLiteral("Tamsinvale App Switcher"));
    if (m_icons) {
        connect(m_icons, &AppIconStore::iconsChanged, this, &FocusablePanel::iconsChanged);
        // A load on demand (a row whose icon was not prepared) finishing: its row is drawn again.
        connect(m_icons, &AppIconStore::versionChanged, this, [this] { iconsChanged({}); });
    }
}

void FocusablePanel::setView(SwitcherView* view)
{
    for (const QMetaObject::Connection& c : std::as_const(m_viewConnections))
        disconnect(c);
    m_viewConnections.clear();
    m_view = view;
    m_firstVisible = 0;
    m_rowsOnlyDirty.reset();
    if (view) {
        m_viewConnections.append(connect(view, &SwitcherView::rowsChanged, this, &FocusablePanel::rowsChanged));
        m_viewConnections.append(connect(view, &SwitcherView::changed, this, &FocusablePanel::viewChanged));
    }
    invalidate(QRegion(QRect(QPoint(0, 0), size())));
}

void FocusablePanel::prepareFrame()
{
    if (!m_frameValid)
        composeFrame();
}

void FocusablePanel::invalidate(const QRegion& region)
{
    m_frameValid = false;
    m_lastDirty = region;
    if (isVisible())
        update(region);
}

QRect FocusablePanel::rowRect(int index) const
{
    return QRect(6, headerHeight + (index - m_firstVisible) * rowHeight, width() - 12, rowHeight);
}

void FocusablePanel::rowsChanged()
{
    if (!m_view)
        return;
    const SwitcherView::RowChange& change = m_view->lastRowChange();
    if (change.reordered) {
        m_rowsOnlyDirty.reset();
        return;
    }
    // Only the visible rows whose content changed are drawn again.
    QRegion dirty;
    for (int index : change.changedRows) {
        if (index >= m_firstVisible && index < m_firstVisible + maxVisibleRows)
            dirty += rowRect(index);
    }
    m_rowsOnlyDirty = dirty;
}

void FocusablePanel::iconsChanged(const QSet<QString>& keys)
{
    QRegion dirty;
    bool any = false;
    for (auto it = m_rowPictures.begin(); it != m_rowPictures.end();) {
        // An empty set: a load on demand finished; rows still waiting for their icon are drawn again.
        const bool stale = keys.isEmpty() ? it->iconKey.startsWith(QLatin1Char('?')) : keys.contains(it->iconKey);
        if (stale) {
            it = m_rowPictures.erase(it);
            any = true;
        } else {
            ++it;
        }
    }
    if (!any || !m_view)
        return;
    const QList<SwitcherRow>& rows = m_view->rows();
    for (int i = m_firstVisible; i < rows.size() && i < m_firstVisible + maxVisibleRows; ++i)
        dirty += rowRect(i);
    invalidate(dirty);
}

void FocusablePanel::viewChanged()
{
    if (!m_view)
        return;
    if (m_rowsOnlyDirty) {
        const QRegion dirty = *std::exchange(m_rowsOnlyDirty, std::nullopt);
        if (!dirty.isEmpty())
            invalidate(dirty);
        return;
    }
    // Keep the selected row in sight.
    if (const auto selected = m_view->selectedIndex()) {
        if (*selected < m_firstVisible)
            m_firstVisible = *selected;
        else if (*selected >= m_firstVisible + maxVisibleRows)
            m_firstVisible = *selected - maxVisibleRows + 1;
    } else {
        m_firstVisible = 0;
    }
    if (size() != preferredSize(QSize(panelWidth, 10000)) && isVisible())
        resize(preferredSize(QSize(panelWidth, 10000)));
    invalidate(QRegion(QRect(QPoint(0, 0), size())));
}

QSize FocusablePanel::preferredSize(const QSize& available) const
{
    const int rows = m_view ? std::min<int>(int(m_view->rows().size()), maxVisibleRows) : 0;
    const int height = headerHeight + std::max(rows, 1) * rowHeight + footerHeight + 12;
    return QSize(std::min(panelWidth, available.width()), std::min(height, available.height()));
}

std::optional<int> FocusablePanel::rowAt(const QPoint& point) const
{
    if (!m_view || point.y() < headerHeight)
        return std::nullopt;
    const int index = m_firstVisible + (point.y() - headerHeight) / rowHeight;
    if (index < 0 || index >= m_view->rows().size() || index >= m_firstVisible + maxVisibleRows)
        return std::nullopt;
    return index;
}

bool FocusablePanel::event(QEvent* event)
{
    // The server's expose of a showing often comes in after a quick key has closed the panel again; drawing a
    // hidden panel costs milliseconds just when the chosen window is to come forward.
    switch (event->type()) {
    case QEvent::Expose:
    case QEvent::Paint:
    case QEvent::UpdateRequest:
        if (!isVisible())
            return true;
        break;
    default:
        break;
    }
    return QRasterWindow::event(event);
}

void FocusablePanel::exposeEvent(QExposeEvent* event)
{
    QRasterWindow::exposeEvent(event);
    if (isExposed())
        emit exposedOnScreen();
}

const QImage& FocusablePanel::rowPicture(int index, bool selected)
{
    const SwitcherRow& row = m_view->rows()[index];
    const QString stamp = row.identity() + QChar(0x1f) + row.title() + QChar(0x1f) + row.keys.join(QChar(0x1e))
        + (selected ? QStringLiteral("\x1f1") : QStringLiteral("\x1f0"));
    if (const auto it = m_rowPictures.constFind(stamp); it != m_rowPictures.cend())
        return it->image;
    // Pictures of rows long scrolled past or since renamed are dropped wholesale now and then.
    if (m_rowPictures.size() > 4 * maxVisibleRows + 8)
        m_rowPictures.clear();

    const qreal ratio = devicePixelRatio();
    const QSize logical(std::max(1, width() - 12), rowHeight);
    QImage image(logical * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r(0, 0, logical.width(), logical.height());
    if (selected) {
        QPainterPath path;
        path.addRoundedRect(r.adjusted(0, 2, 0, -2), 7, 7);
        p.fillPath(path, rowSelected);
    }
    QString iconKey;
    const QRectF iconRect(r.x() + 8, r.y() + 6, 28, 28);
    if (row.kind == SwitcherRow::Kind::settings) {
        QPainterPath square;
        square.addRoundedRect(iconRect, 6, 6);
        p.fillPath(square, QColor(255, 255, 255, 26));
        QFont gear = p.font();
        gear.setPixelSize(14);
        gear.setBold(true);
        p.save();
        p.setFont(gear);
        p.setPen(secondaryText);
        p.drawText(iconRect, Qt::AlignCenter, QString(QChar(0x2699)));
        p.restore();
    } else if (m_icons) {
        iconKey = row.kind == SwitcherRow::Kind::discovered ? row.app->id : row.shortcut->idText();
        const auto icon = m_icons->icon(iconKey, m_view->iconPath(row));
        if (icon && !icon->isNull()) {
            p.setRenderHint(QPainter::SmoothPixmapTransform);
            p.drawImage(iconRect, *icon);
        } else {
            p.fillRect(iconRect, QColor(255, 255, 255, 20));
            iconKey.prepend(QLatin1Char('?'));  // drawn again once the icon is there
        }
    }
    p.setPen(Qt::white);
    const double capsWidth = row.keys.size() * 28.0;
    p.drawText(QRectF(r.x() + 46, r.y(), r.width() - 60 - capsWidth, r.height()), Qt::AlignVCenter | Qt::AlignLeft,
               row.title());
    for (int k = 0; k < row.keys.size(); ++k) {
        const QRectF cap(r.right() - 8 - (row.keys.size() - k) * 28.0, r.y() + 8, 24, 24);
        drawKeyCap(p, cap, row.keys[k], selected);
    }
    p.end();
    ++m_rowsRendered;
    return m_rowPictures.insert(stamp, RowPicture{image, iconKey})->image;
}

FocusablePanel::FrameSignature FocusablePanel::signatureOfFrame(const QSize& frameSize)
{
    FrameSignature signature{frameSize, devicePixelRatio(), {}, {}, false, {}};
    if (!m_view)
        return signature;
    signature.filter = m_view->filter();
    signature.headerHint = m_view->headerHint();
    signature.searchFocused = m_view->searchFocused();
    const QList<SwitcherRow>& rows = m_view->rows();
    const std::optional<int> selected = m_view->selectedIndex();
    for (int i = m_firstVisible; i < rows.size() && i < m_firstVisible + maxVisibleRows; ++i)
        signature.rowImages.append(rowPicture(i, selected && *selected == i).cacheKey());
    return signature;
}

void FocusablePanel::composeFrame()
{
    const qreal ratio = devicePixelRatio();
    const QSize frameSize = size().isEmpty() ? QSize(panelWidth, headerHeight + footerHeight) : size();
    // Most showings open on the same list as an earlier one: that frame is taken again, not drawn.
    const FrameSignature signature = signatureOfFrame(frameSize);
    const bool opening = signature.filter.isEmpty() && signature.headerHint.isEmpty();
    if (opening) {
        for (int i = 0; i < m_openingFrames.size(); ++i) {
            if (m_openingFrames[i].signature == signature) {
                m_openingFrames.move(i, 0);
                m_frame = m_openingFrames.first().image;
                m_frameValid = true;
                return;
            }
        }
    }
    // Never draw into pixels a kept frame shares.
    if (m_frame.size() != frameSize * ratio || m_frame.devicePixelRatio() != ratio || !m_frame.isDetached()) {
        m_frame = QImage(frameSize * ratio, QImage::Format_ARGB32_Premultiplied);
        m_frame.setDevicePixelRatio(ratio);
    }
    QPainter p(&m_frame);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(QRect(QPoint(0, 0), frameSize), background);
    p.setPen(QColor(255, 255, 255, 50));
    p.drawRect(QRectF(0.5, 0.5, frameSize.width() - 1, frameSize.height() - 1));
    if (m_view) {
        // Header: the filter field and, while a sequence is pending, the second-key hint.
        const QRectF field(12, 12, frameSize.width() - 24, 32);
        QPainterPath fieldPath;
        fieldPath.addRoundedRect(field, 7, 7);
        p.fillPath(fieldPath, QColor(255, 255, 255, m_view->searchFocused() ? 40 : 18));
        if (m_view->searchFocused()) {
            p.setPen(QColor(90, 140, 230));
            p.drawPath(fieldPath);
        }
        p.setPen(m_view->filter().isEmpty() ? secondaryText : Qt::white);
        p.drawText(field.adjusted(10, 0, -10, 0), Qt::AlignVCenter | Qt::AlignLeft,
                   m_view->filter().isEmpty() ? QStringLiteral("Filter") : m_view->filter());
        if (!m_view->headerHint().isEmpty()) {
            p.setPen(QColor(240, 200, 90));
            p.drawText(field.adjusted(10, 0, -10, 0), Qt::AlignVCenter | Qt::AlignRight, m_view->headerHint());
        }

        const QList<SwitcherRow>& rows = m_view->rows();
        const std::optional<int> selected = m_view->selectedIndex();
        for (int i = m_firstVisible; i < rows.size() && i < m_firstVisible + maxVisibleRows; ++i)
            p.drawImage(rowRect(i).topLeft(), rowPicture(i, selected && *selected == i));

        p.setPen(secondaryText);
        p.drawText(QRectF(12, frameSize.height() - footerHeight, frameSize.width() - 24, footerHeight),
                   Qt::AlignCenter, SwitcherView::footerHint);
    }
    p.end();
    m_frameValid = true;
    ++m_framesComposed;
    if (opening) {
        m_openingFrames.prepend({signature, m_frame});
        if (m_openingFrames.size() > 2)
            m_openingFrames.removeLast();
    }
}

void FocusablePanel::paintEvent(QPaintEvent*)
{
    if (!m_frameValid || m_frame.size() != size() * devicePixelRatio())
        composeFrame();
    QPainter p(this);
    p.drawImage(QPoint(0, 0), m_frame);
}

void FocusablePanel::keyPressEvent(QKeyEvent* event)
{
    // Reached only when the keyboard capture could not be taken and the window has the focus.
    SwitcherKeyEvent key{keyCodeFor(event->key()), charactersIgnoringModifiers(*event), 0};
    if (key.keyCode == SwitcherKeyEvent::escape && !m_view) {
        if (onEscape)
            onEscape();
        return;
    }
    emit keyPressed(key);
}

void FocusablePanel::mouseReleaseEvent(QMouseEvent* event)
{
    if (!m_view || event->button() != Qt::LeftButton)
        return;
    if (const auto row = rowAt(event->position().toPoint()))
        m_view->choose(*row);
}

}  // namespace tamsinvale
