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
    if (m_icons)
        connect(m_icons, &AppIconStore::versionChanged, this, [this] { update(); });
}

void FocusablePanel::setView(SwitcherView* view)
{
    disconnect(m_viewConnection);
    m_view = view;
    m_firstVisible = 0;
    if (view)
        m_viewConnection = connect(view, &SwitcherView::changed, this, &FocusablePanel::viewChanged);
    update();
}

void FocusablePanel::viewChanged()
{
    if (!m_view)
        return;
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
    update();
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

void FocusablePanel::exposeEvent(QExposeEvent* event)
{
    QRasterWindow::exposeEvent(event);
    if (isExposed())
        emit exposedOnScreen();
}

void FocusablePanel::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(QRect(QPoint(0, 0), size()), background);
    p.setPen(QColor(255, 255, 255, 50));
    p.drawRect(QRectF(0.5, 0.5, width() - 1, height() - 1));
    if (!m_view)
        return;

    // Header: the filter field and, while a sequence is pending, the second-key hint.
    const QRectF field(12, 12, width() - 24, 32);
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

    const QList<SwitcherRow> rows = m_view->rows();
    const std::optional<int> selected = m_view->selectedIndex();
    for (int i = m_firstVisible; i < rows.size() && i < m_firstVisible + maxVisibleRows; ++i) {
        const SwitcherRow& row = rows[i];
        const QRectF r(6, headerHeight + (i - m_firstVisible) * rowHeight, width() - 12, rowHeight);
        const bool isSelected = selected && *selected == i;
        if (isSelected) {
            QPainterPath path;
            path.addRoundedRect(r.adjusted(0, 2, 0, -2), 7, 7);
            p.fillPath(path, rowSelected);
        }
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
            const QString key = row.kind == SwitcherRow::Kind::discovered ? row.app->id : row.shortcut->idText();
            if (const auto icon = m_icons->icon(key, m_view->iconPath(row)); icon && !icon->isNull())
                p.drawImage(iconRect, *icon);
            else
                p.fillRect(iconRect, QColor(255, 255, 255, 20));
        }
        p.setPen(Qt::white);
        const double capsWidth = row.keys.size() * 28.0;
        p.drawText(QRectF(r.x() + 46, r.y(), r.width() - 60 - capsWidth, r.height()),
                   Qt::AlignVCenter | Qt::AlignLeft, row.title());
        for (int k = 0; k < row.keys.size(); ++k) {
            const QRectF cap(r.right() - 8 - (row.keys.size() - k) * 28.0, r.y() + 8, 24, 24);
            drawKeyCap(p, cap, row.keys[k], isSelected);
        }
    }

    p.setPen(secondaryText);
    p.drawText(QRectF(12, height() - footerHeight, width() - 24, footerHeight), Qt::AlignCenter,
               SwitcherView::footerHint);
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
