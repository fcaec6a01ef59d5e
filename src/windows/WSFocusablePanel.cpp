// Painting of the window switcher panel and translation of its own key and mouse events into the view's words.
#include "WSFocusablePanel.h"

#include <QFontMetricsF>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include "WindowsSwitcherView.h"
#include "switcher/AppIconStore.h"

namespace tamsinvale {

namespace {

const QColor background(30, 31, 34);
const QColor rowSelected(58, 96, 170);
const QColor secondaryText(160, 162, 168);
constexpr int dragThreshold = 4;

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

// Without an icon of its own, a row shows the application's initial on a tile.
void drawInitial(QPainter& p, const QRectF& rect, const QString& appName)
{
    QPainterPath tile;
    tile.addRoundedRect(rect, 7, 7);
    p.fillPath(tile, QColor(255, 255, 255, 30));
    p.save();
    QFont font = p.font();
    font.setPixelSize(15);
    font.setBold(true);
    p.setFont(font);
    p.setPen(QColor(230, 230, 235));
    p.drawText(rect, Qt::AlignCenter, appName.left(1).toUpper());
    p.restore();
}

}  // namespace

WSFocusablePanel::WSFocusablePanel(AppIconStore* icons) : m_icons(icons)
{
    // Placed by us above everything, and it never takes the focus from the application whose windows it lists.
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint
             | Qt::WindowDoesNotAcceptFocus);
    setTitle(windowTitle);
    resize(panelSize);
    if (m_icons)
        connect(m_icons, &AppIconStore::versionChanged, this, [this] { update(); });
}

void WSFocusablePanel::setView(WindowsSwitcherView* view)
{
    disconnect(m_viewConnection);
    m_view = view;
    m_firstVisible = 0;
    if (view)
        m_viewConnection = connect(view, &WindowsSwitcherView::changed, this, &WSFocusablePanel::viewChanged);
    update();
}

void WSFocusablePanel::viewChanged()
{
    if (!m_view)
        return;
    // Keep the selected row in sight.
    if (const auto selected = m_view->selectedIndex()) {
        if (*selected < m_firstVisible)
            m_firstVisible = *selected;
        else if (*selected >= m_firstVisible + visibleRowCount())
            m_firstVisible = *selected - visibleRowCount() + 1;
    } else {
        m_firstVisible = 0;
    }
    update();
}

std::optional<int> WSFocusablePanel::rowAt(const QPoint& point) const
{
    if (!m_view || point.y() < headerHeight || point.y() >= height() - footerHeight)
        return std::nullopt;
    const int index = m_firstVisible + (point.y() - headerHeight) / rowHeight;
    if (index < 0 || index >= m_view->rows().size())
        return std::nullopt;
    return index;
}

void WSFocusablePanel::exposeEvent(QExposeEvent* event)
{
    QRasterWindow::exposeEvent(event);
    if (isExposed())
        emit exposedOnScreen();
}

void WSFocusablePanel::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(QRect(QPoint(0, 0), size()), background);
    p.setPen(QColor(255, 255, 255, 50));
    p.drawRect(QRectF(0.5, 0.5, width() - 1, height() - 1));
    if (!m_view)
        return;

    // The filter field, with its placeholder while empty and a caret where typing goes.
    const QRectF field(12, 12, width() - 24, 36);
    QPainterPath fieldPath;
    fieldPath.addRoundedRect(field, 8, 8);
    p.fillPath(fieldPath, QColor(255, 255, 255, 34));
    p.setPen(QColor(90, 140, 230));
    p.drawPath(fieldPath);
    QFont fieldFont = p.font();
    fieldFont.setPixelSize(14);
    p.setFont(fieldFont);
    const QRectF text = field.adjusted(12, 0, -12, 0);
    if (m_view->filter().isEmpty()) {
        p.setPen(secondaryText);
        p.drawText(text.adjusted(4, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, WindowsSwitcherView::placeholder);
    } else {
        p.setPen(Qt::white);
        p.drawText(text, Qt::AlignVCenter | Qt::AlignLeft, m_view->filter());
    }
    const double caretX = text.left() + QFontMetricsF(fieldFont).horizontalAdvance(m_view->filter()) + 1;
    p.fillRect(QRectF(std::min(caretX, text.right()), field.top() + 9, 1.5, field.height() - 18), QColor(220, 225, 235));

    const QList<WindowSwitcherRow> rows = m_view->rows();
    if (rows.isEmpty()) {
        p.setPen(secondaryText);
        p.setFont(fieldFont);
        p.drawText(QRectF(0, headerHeight, width(), rowHeight * 2), Qt::AlignCenter,
                   m_view->filter().isEmpty() ? QStringLiteral("No windows") : QStringLiteral("No matching windows"));
    }
    QFont titleFont = p.font();
    titleFont.setPixelSize(14);
    QFont nameFont = p.font();
    nameFont.setPixelSize(11);
    const QFontMetricsF titleMetrics(titleFont), nameMetrics(nameFont);
    // Title and application name as one block, centred in the row.
    const double block = titleMetrics.height() + nameMetrics.height();
    for (int i = m_firstVisible; i < rows.size() && i < m_firstVisible + visibleRowCount(); ++i) {
        const WindowSwitcherRow& row = rows[i];
        const QRectF r(6, headerHeight + (i - m_firstVisible) * rowHeight, width() - 12, rowHeight);
        if (row.selected) {
            QPainterPath path;
            path.addRoundedRect(r.adjusted(0, 2, 0, -2), 7, 7);
            p.fillPath(path, rowSelected);
        }
        const QRectF iconRect(r.x() + 8, r.y() + 8, 28, 28);
        std::optional<QImage> icon;
        if (m_icons && !row.iconKey.isEmpty())
            icon = m_icons->icon(row.iconKey, row.iconPath);
        if (icon && !icon->isNull())
            p.drawImage(iconRect, *icon);
        else
            drawInitial(p, iconRect, row.appName);
        const double left = r.x() + 46, textWidth = r.width() - 56;
        const QRectF titleRect(left, r.y() + (r.height() - block) / 2, textWidth, titleMetrics.height());
        const QRectF nameRect(left, titleRect.bottom(), textWidth, nameMetrics.height());
        p.setFont(titleFont);
        p.setPen(Qt::white);
        p.drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter,
                   titleMetrics.elidedText(row.title, Qt::ElideMiddle, textWidth));
        p.setFont(nameFont);
        p.setPen(row.selected ? QColor(215, 225, 245) : secondaryText);
        p.drawText(nameRect, Qt::AlignLeft | Qt::AlignVCenter, nameMetrics.elidedText(row.appName, Qt::ElideRight, textWidth));
    }
    QFont footerFont = p.font();
    footerFont.setPixelSize(12);
    p.setFont(footerFont);
    p.setPen(secondaryText);
    const QString count = rows.size() == 1 ? QStringLiteral("1 window") : QStringLiteral("%1 windows").arg(rows.size());
    p.drawText(QRectF(12, height() - footerHeight, width() - 24, footerHeight - 4), Qt::AlignVCenter | Qt::AlignLeft,
               count);
    p.drawText(QRectF(12, height() - footerHeight, width() - 24, footerHeight - 4), Qt::AlignVCenter | Qt::AlignRight,
               QStringLiteral("↑↓ select   ↩ activate   esc close"));
}

void WSFocusablePanel::keyPressEvent(QKeyEvent* event)
{
    // Reached only when the keyboard capture could not be taken and the window has the focus.
    SwitcherKeyEvent key{keyCodeFor(event->key()), event->text(), 0};
    if (key.keyCode == SwitcherKeyEvent::escape && !m_view) {
        if (onEscape)
            onEscape();
        return;
    }
    emit keyPressed(key);
}

void WSFocusablePanel::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_pressAt = event->globalPosition().toPoint();
    m_pressWindowPosition = position();
    m_dragging = false;
}

void WSFocusablePanel::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_pressAt)
        return;
    const QPoint moved = event->globalPosition().toPoint() - *m_pressAt;
    if (!m_dragging && moved.manhattanLength() < dragThreshold)
        return;
    m_dragging = true;
    setPosition(m_pressWindowPosition + moved);
}

void WSFocusablePanel::mouseReleaseEvent(QMouseEvent* event)
{
    const bool click = m_pressAt && !m_dragging;
    m_pressAt.reset();
    m_dragging = false;
    if (!click || !m_view || event->button() != Qt::LeftButton)
        return;
    if (const auto row = rowAt(event->position().toPoint()))
        m_view->choose(*row);
}

}  // namespace tamsinvale
