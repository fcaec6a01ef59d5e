// The settings window's frame: sidebar, scrolling page area, Escape and Ctrl+W to close.
#include "SettingsWindow.h"

#include <QHBoxLayout>
#include <QHideEvent>
#include <QKeySequence>
#include <QListWidget>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>

#include "AppShortcutsPage.h"
#include "DimmingPage.h"
#include "GeneralPage.h"
#include "HotkeysPage.h"
#include "InactiveAppsPage.h"
#include "WallpapersPage.h"
#include "WindowSizesPage.h"

namespace tamsinvale {

const QString SettingsWindow::windowTitleText = QStringLiteral("Tamsinvale Settings");

SettingsWindow::SettingsWindow(const SettingsWindowContext& context, QWidget* parent)
    : QWidget(parent, Qt::Window), m_context(context)
{
    setWindowTitle(windowTitleText);
    setObjectName(QStringLiteral("settingsWindow"));
    // Fits a 1366 × 768 laptop screen with room for panels; every page scrolls when it needs more.
    resize(860, 600);
    setMinimumSize(640, 420);

    m_sidebar = new QListWidget(this);
    m_sidebar->setObjectName(QStringLiteral("sidebar"));
    m_sidebar->setFixedWidth(170);
    m_sidebar->setFrameShape(QFrame::NoFrame);
    m_sidebar->setStyleSheet(QStringLiteral("QListWidget#sidebar { background: palette(window); padding-top: 8px; }"
                                            "QListWidget#sidebar::item { padding: 6px 10px; }"));
    for (SettingsPage page : allSettingsPages())
        m_sidebar->addItem(settingsPageTitle(page));
    m_stack = new QStackedWidget(this);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_sidebar);
    layout->addWidget(m_stack, 1);

    connect(m_sidebar, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row < allSettingsPages().size())
            showPage(allSettingsPages()[row]);
    });
    for (const QKeySequence& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close)}) {
        auto* shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, &QWidget::hide);
    }
}

void SettingsWindow::focusSidebar()
{
    // Up and down then walk the pages, and Tab goes into the page shown.
    m_sidebar->setFocus(Qt::OtherFocusReason);
}

SettingsWindow::~SettingsWindow() = default;

QWidget* SettingsWindow::page(SettingsPage page)
{
    if (QWidget* built = m_pages.value(page))
        return built;
    auto* scroll = new QScrollArea(m_stack);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setFocusPolicy(Qt::NoFocus);
    // The pictures flow into as many columns as fit: that page never needs to scroll sideways.
    if (page == SettingsPage::wallpapers)
        scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    QWidget* content = buildPage(page);
    content->setObjectName(settingsPageName(page));
    scroll->setWidget(content);
    m_stack->addWidget(scroll);
    m_pages.insert(page, content);
    return content;
}

QWidget* SettingsWindow::buildPage(SettingsPage page)
{
    switch (page) {
    case SettingsPage::dimming: return new DimmingPage(m_context);
    case SettingsPage::wallpapers: return new WallpapersPage(m_context);
    case SettingsPage::hotkeys: return new HotkeysPage(m_context);
    case SettingsPage::appShortcuts: return new AppShortcutsPage(m_context);
    case SettingsPage::windowSizes: return new WindowSizesPage(m_context);
    case SettingsPage::inactiveApps: return new InactiveAppsPage(m_context);
    case SettingsPage::general: return new GeneralPage(m_context);
    }
    return new QWidget;
}

void SettingsWindow::showPage(SettingsPage which)
{
    QWidget* content = page(which);
    m_current = which;
    m_stack->setCurrentWidget(content->parentWidget()->parentWidget());  // the page's scroll area
    const int row = int(allSettingsPages().indexOf(which));
    if (m_sidebar->currentRow() != row) {
        const QSignalBlocker block(m_sidebar);
        m_sidebar->setCurrentRow(row);
    }
}

void SettingsWindow::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    if (!event->spontaneous())
        emit hidden();
}

void SettingsWindow::paintEvent(QPaintEvent* event)
{
    QWidget::paintEvent(event);
    emit painted();
}

}  // namespace tamsinvale
