// The app switcher's panel window: draws the view's rows (icon, name, key caps), the filter field and the hints,
// and forwards clicks and any keys that reach the window itself. Keys normally arrive through the keyboard
// capture, which is why the panel never needs the focus to work.
#pragma once

#include <QPointer>
#include <QRasterWindow>
#include <functional>

#include "SwitcherKeyEvent.h"

namespace tamsinvale {

class AppIconStore;
class SwitcherView;

class FocusablePanel : public QRasterWindow {
    Q_OBJECT
public:
    static constexpr int panelWidth = 520;
    static constexpr int rowHeight = 40;
    static constexpr int headerHeight = 56;
    static constexpr int footerHeight = 34;
    static constexpr int maxVisibleRows = 12;

    explicit FocusablePanel(AppIconStore* icons);

    std::function<void()> onEscape;

    void setView(SwitcherView* view);
    // The panel's size for the list it shows, within the space available.
    QSize preferredSize(const QSize& available) const;
    // The row under a point in the panel, if any.
    std::optional<int> rowAt(const QPoint& point) const;
    int firstVisibleRow() const { return m_firstVisible; }

signals:
    void keyPressed(const tamsinvale::SwitcherKeyEvent& event);
    void exposedOnScreen();

protected:
    void paintEvent(QPaintEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void viewChanged();

    AppIconStore* m_icons;
    QPointer<SwitcherView> m_view;
    QMetaObject::Connection m_viewConnection;
    int m_firstVisible = 0;
};

}  // namespace tamsinvale
