// The window switcher's panel: draws the view's filter field and rows (icon, title, application name), turns
// clicks into choices and a drag on its background into a move. Keys normally arrive through the keyboard
// capture, so the panel never needs the focus; when the capture is refused they reach it as its own key events.
#pragma once

#include <QPointer>
#include <QRasterWindow>
#include <functional>
#include <optional>

#include "switcher/SwitcherKeyEvent.h"

namespace tamsinvale {

class AppIconStore;
class WindowsSwitcherView;

class WSFocusablePanel : public QRasterWindow {
    Q_OBJECT
public:
    static constexpr QSize panelSize{520, 440};
    static constexpr int headerHeight = 60;
    static constexpr int rowHeight = 44;
    static constexpr int footerHeight = 28;
    inline static const QString windowTitle = QStringLiteral("Tamsinvale Window Switcher");

    explicit WSFocusablePanel(AppIconStore* icons);

    std::function<void()> onEscape;

    void setView(WindowsSwitcherView* view);
    // The row under a point in the panel, if any.
    std::optional<int> rowAt(const QPoint& point) const;
    int firstVisibleRow() const { return m_firstVisible; }
    static int visibleRowCount() { return (panelSize.height() - headerHeight - footerHeight) / rowHeight; }

signals:
    void keyPressed(const tamsinvale::SwitcherKeyEvent& event);
    void exposedOnScreen();

protected:
    void paintEvent(QPaintEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void viewChanged();

    AppIconStore* m_icons;
    QPointer<WindowsSwitcherView> m_view;
    QMetaObject::Connection m_viewConnection;
    int m_firstVisible = 0;
    // A press on the background starts a move; a press on a row is a click unless it moves.
    std::optional<QPoint> m_pressAt;
    QPoint m_pressWindowPosition;
    bool m_dragging = false;
};

}  // namespace tamsinvale
