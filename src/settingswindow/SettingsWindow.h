// The settings window: a sidebar of pages beside the page shown; pages are built the first time they are shown.
#pragma once

#include <QMap>
#include <QWidget>

#include "SettingsPage.h"
#include "SettingsWindowContext.h"

class QListWidget;
class QStackedWidget;

namespace tamsinvale {

class SettingsWindow : public QWidget {
    Q_OBJECT
public:
    static const QString windowTitleText;  // "Tamsinvale Settings"

    explicit SettingsWindow(const SettingsWindowContext& context, QWidget* parent = nullptr);
    ~SettingsWindow() override;

    void showPage(SettingsPage page);
    SettingsPage currentPage() const { return m_current; }
    void focusSidebar();
    // The page's widget, built now if it was not yet.
    QWidget* page(SettingsPage page);

signals:
    void hidden();
    void painted();

protected:
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QWidget* buildPage(SettingsPage page);

    const SettingsWindowContext& m_context;
    QListWidget* m_sidebar = nullptr;
    QStackedWidget* m_stack = nullptr;
    QMap<SettingsPage, QWidget*> m_pages;
    SettingsPage m_current = SettingsPage::dimming;
};

}  // namespace tamsinvale
