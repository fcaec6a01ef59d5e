// Widgets of the inactive apps window, rebuilt from the view whenever it changes.
#include "InactivePanel.h"

#include <QApplication>
#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <QWindow>

#include "InactiveAppsView.h"
#include "switcher/AppIconStore.h"

namespace tamsinvale {

namespace {

const QColor background(30, 31, 34);
const QColor border(255, 255, 255, 50);

const char* panelStyleSheet = R"(
    QWidget#inactiveContent, QScrollArea, QWidget#inactiveRows { background: transparent; }
    QLabel { color: #f0f0f2; }
    QLabel#title { font-weight: bold; font-size: 15px; }
    QLabel#detail, QLabel#caption { color: #a0a2a8; font-size: 11px; }
    QLabel#emptyText { color: #d0d2d8; }
    QPushButton {
        color: #f0f0f2; background: #3a3b40; border: 1px solid #4a4b52; border-radius: 5px; padding: 4px 12px;
    }
    QPushButton:hover { background: #45464c; }
    QPushButton:pressed { background: #2f3034; }
    QPushButton:disabled { color: #7a7c82; background: #303135; }
    QPushButton#quitAll { background: #3a60aa; border-color: #4a70ba; }
    QPushButton#quitAll:disabled { background: #303135; border-color: #4a4b52; }
    QComboBox { color: #f0f0f2; background: #3a3b40; border: 1px solid #4a4b52; border-radius: 5px; padding: 2px 8px; }
    QComboBox QAbstractItemView { color: #f0f0f2; background: #2a2b2f; selection-background-color: #3a60aa; }
)";

// The "checkmark.circle" of the empty state.
QPixmap checkmarkCircle(int size, const QColor& color)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    QPen pen(color, size / 14.0);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    p.setPen(pen);
    const double inset = pen.widthF();
    p.drawEllipse(QRectF(inset, inset, size - 2 * inset, size - 2 * inset));
    QPainterPath check;
    check.moveTo(size * 0.30, size * 0.52);
    check.lineTo(size * 0.44, size * 0.66);
    check.lineTo(size * 0.71, size * 0.37);
    p.drawPath(check);
    return pixmap;
}

// An application without an icon of its own: its initial on a rounded square.
QPixmap initialIcon(const QString& name, int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath square;
    square.addRoundedRect(QRectF(0, 0, size, size), 7, 7);
    p.fillPath(square, QColor(255, 255, 255, 30));
    QFont font = p.font();
    font.setPixelSize(size / 2);
    font.setBold(true);
    p.setFont(font);
    p.setPen(QColor(220, 222, 228));
    p.drawText(QRect(0, 0, size, size), Qt::AlignCenter, name.left(1).toUpper());
    return pixmap;
}

}  // namespace

InactivePanel::InactivePanel(AppIconStore* icons, QWidget* parent) : QWidget(parent), m_icons(icons)
{
    // A frameless floating panel above normal windows. It takes the keyboard when shown, so Escape closes it at
    // once; the controller hands the focus back when it closes.
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    setWindowTitle(windowTitleText);
    setStyleSheet(QLatin1String(panelStyleSheet));
    setFocusPolicy(Qt::ClickFocus);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);

    auto* title = new QLabel(QStringLiteral("Inactive Apps"), this);
    title->setObjectName(QStringLiteral("title"));
    layout->addWidget(title);

    auto* thresholdRow = new QHBoxLayout;
    auto* caption = new QLabel(QStringLiteral("Not used for more than"), this);
    caption->setObjectName(QStringLiteral("caption"));
    m_threshold = new QComboBox(this);
    m_threshold->setFocusPolicy(Qt::ClickFocus);
    thresholdRow->addWidget(caption);
    thresholdRow->addWidget(m_threshold);
    thresholdRow->addStretch(1);
    layout->addLayout(thresholdRow);
    connect(m_threshold, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_updatingMenu && m_view)
            m_view->chooseThreshold(index);
    });

    m_scroll = new QScrollArea(this);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    layout->addWidget(m_scroll, 1);

    m_empty = new QWidget(this);
    auto* emptyLayout = new QVBoxLayout(m_empty);
    emptyLayout->setContentsMargins(0, 18, 0, 18);
    auto* check = new QLabel(m_empty);
    check->setPixmap(checkmarkCircle(40, QColor(120, 200, 140)));
    check->setAlignment(Qt::AlignCenter);
    m_emptyText = new QLabel(m_empty);
    m_emptyText->setObjectName(QStringLiteral("emptyText"));
    m_emptyText->setAlignment(Qt::AlignCenter);
    m_emptyText->setWordWrap(true);
    emptyLayout->addWidget(check);
    emptyLayout->addWidget(m_emptyText);
    layout->addWidget(m_empty);

    auto* footer = new QHBoxLayout;
    m_close = new QPushButton(QStringLiteral("Close"), this);
    m_quitAll = new QPushButton(QStringLiteral("Quit All"), this);
    m_quitAll->setObjectName(QStringLiteral("quitAll"));
    for (QPushButton* b : {m_close, m_quitAll}) {
        b->setFocusPolicy(Qt::ClickFocus);
        b->setAutoDefault(false);
    }
    footer->addWidget(m_close);
    footer->addStretch(1);
    footer->addWidget(m_quitAll);
    layout->addLayout(footer);
    connect(m_close, &QPushButton::clicked, this, &InactivePanel::closeRequested);
    connect(m_quitAll, &QPushButton::clicked, this, [this] {
        if (m_view)
            m_view->quitAll();
    });
    if (m_icons)
        connect(m_icons, &AppIconStore::versionChanged, this, [this] {
            if (m_view)
                rebuild();
        });
    setFixedWidth(panelWidth);
    setView(nullptr);
}

InactivePanel::~InactivePanel() = default;

void InactivePanel::prepareTextDrawing()
{
    QImage scratch(240, 48, QImage::Format_ARGB32_Premultiplied);
    scratch.fill(Qt::transparent);
    QPainter p(&scratch);
    p.setRenderHint(QPainter::Antialiasing);
    const QString sample = QStringLiteral("Inactive Apps Last used 4 days ago Quit All 48 hours");
    QFont font = QApplication::font();
    for (const auto& [pixelSize, bold] : {std::pair{0, false}, std::pair{15, true}, std::pair{11, false}}) {
        QFont f = font;
        if (pixelSize > 0)
            f.setPixelSize(pixelSize);
        f.setBold(bold);
        p.setFont(f);
        p.drawText(QRect(0, 0, 240, 48), Qt::AlignLeft, sample);
    }
    p.end();
    initialIcon(QStringLiteral("A"), iconSize);
}

void InactivePanel::setView(InactiveAppsView* view)
{
    disconnect(m_viewConnection);
    m_view = view;
    if (view)
        m_viewConnection = connect(view, &InactiveAppsView::changed, this, &InactivePanel::rebuild);
    rebuild();
}

InactiveAppsView* InactivePanel::view() const { return m_view; }

QPixmap InactivePanel::iconFor(int index) const
{
    const InactiveAppRow& row = m_view->rows()[index];
    const QString path = row.item.app.bundlePath;
    if (m_icons && !path.isEmpty()) {
        if (const auto image = m_icons->icon(path, path); image && !image->isNull())
            return QPixmap::fromImage(image->scaled(iconSize, iconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    }
    return initialIcon(row.name, iconSize);
}

QWidget* InactivePanel::makeRow(int index)
{
    const InactiveAppRow& row = m_view->rows()[index];
    const std::int32_t pid = row.item.pid();
    auto* widget = new QWidget(m_rowsHost);
    auto* layout = new QHBoxLayout(widget);
    layout->setContentsMargins(2, 4, 2, 4);
    layout->setSpacing(10);
    auto* icon = new QLabel(widget);
    icon->setFixedSize(iconSize, iconSize);
    icon->setPixmap(iconFor(index));
    auto* texts = new QVBoxLayout;
    texts->setSpacing(1);
    auto* name = new QLabel(row.name, widget);
    auto* detail = new QLabel(row.detail, widget);
    detail->setObjectName(QStringLiteral("detail"));
    detail->setWordWrap(true);
    texts->addWidget(name);
    texts->addWidget(detail);
    auto* quit = new QPushButton(QStringLiteral("Quit"), widget);
    quit->setFocusPolicy(Qt::ClickFocus);
    quit->setAutoDefault(false);
    quit->setEnabled(row.canQuit());
    connect(quit, &QPushButton::clicked, this, [this, pid] {
        if (m_view)
            m_view->quit(pid);
    });
    layout->addWidget(icon);
    layout->addLayout(texts, 1);
    layout->addWidget(quit);
    m_rowControls.insert(pid, RowControls{name, detail, quit});
    return widget;
}

void InactivePanel::rebuild()
{
    // Fresh row widgets each time: a handful of rows, and no stale state can survive a change.
    m_rowControls.clear();
    m_rowsHost = new QWidget;
    m_rowsHost->setObjectName(QStringLiteral("inactiveRows"));
    m_rowsLayout = new QVBoxLayout(m_rowsHost);
    m_rowsLayout->setContentsMargins(0, 0, 0, 0);
    m_rowsLayout->setSpacing(2);
    const qsizetype count = m_view ? m_view->rows().size() : 0;
    for (int i = 0; i < count; ++i)
        m_rowsLayout->addWidget(makeRow(i));
    m_rowsLayout->addStretch(1);
    // The old rows go later: this may run inside one of their buttons' click.
    if (QWidget* old = m_scroll->takeWidget())
        old->deleteLater();
    m_scroll->setWidget(m_rowsHost);

    // The menu is refilled only when its choices changed: this may run inside its own selection.
    m_updatingMenu = true;
    QStringList labels;
    if (m_view)
        for (const InactiveThreshold& choice : m_view->thresholdChoices())
            labels << choice.label;
    QStringList shown;
    for (int i = 0; i < m_threshold->count(); ++i)
        shown << m_threshold->itemText(i);
    if (labels != shown) {
        m_threshold->clear();
        m_threshold->addItems(labels);
    }
    if (m_view)
        m_threshold->setCurrentIndex(m_view->thresholdIndex());
    m_updatingMenu = false;

    m_scroll->setVisible(count > 0);
    m_empty->setVisible(m_view && count == 0);
    m_emptyText->setText(m_view ? m_view->emptyText() : QString());
    m_quitAll->setEnabled(m_view && m_view->canQuitAll());
    if (isVisible())
        resize(preferredSize(QSize(panelWidth, 10000)));
    update();
}

QSize InactivePanel::preferredSize(const QSize& available) const
{
    // What the layout asks for, with the list as tall as its rows (up to maxVisibleRows) rather than the scroll
    // area's own guess.
    int height = layout()->sizeHint().height();
    const qsizetype count = m_view ? m_view->rows().size() : 0;
    if (count > 0 && m_rowsHost) {
        const int rows = m_rowsHost->sizeHint().height();
        const int perRow = int(rows / std::max<qsizetype>(count, 1));
        height += std::min(rows, perRow * maxVisibleRows) - m_scroll->sizeHint().height();
    }
    return QSize(std::min(panelWidth, available.width()), std::min(height, available.height()));
}

QPushButton* InactivePanel::quitButton(std::int32_t pid) const { return m_rowControls.value(pid).quit; }

QString InactivePanel::detailText(std::int32_t pid) const
{
    const RowControls c = m_rowControls.value(pid);
    return c.detail ? c.detail->text() : QString();
}

QString InactivePanel::nameText(std::int32_t pid) const
{
    const RowControls c = m_rowControls.value(pid);
    return c.name ? c.name->text() : QString();
}

void InactivePanel::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    // Opaque: without a compositor there is nothing to be translucent over.
    p.fillRect(rect(), background);
    p.setPen(border);
    p.drawRect(QRectF(0.5, 0.5, width() - 1, height() - 1));
    emit painted();
}

void InactivePanel::keyPressEvent(QKeyEvent* event)
{
    // Reached once the panel has the focus (after a click); Shift or any other modifier held does not matter.
    if (event->key() == Qt::Key_Escape) {
        if (m_view)
            m_view->escape();
        else
            emit closeRequested();
        return;
    }
    QWidget::keyPressEvent(event);
}

void InactivePanel::mousePressEvent(QMouseEvent* event)
{
    // Movable by its background, as it has no title bar.
    if (event->button() == Qt::LeftButton && windowHandle() && windowHandle()->startSystemMove())
        return;
    QWidget::mousePressEvent(event);
}

}  // namespace tamsinvale
