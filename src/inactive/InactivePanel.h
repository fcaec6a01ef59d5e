// The inactive apps window: a floating panel of Qt widgets that draws an InactiveAppsView (threshold menu, one
// row per application with its icon, name, "Last used …" and a Quit button, Quit All) and forwards clicks and
// Escape to it. It floats over every desktop and, shown, leaves the focus where it was until it is clicked.
#pragma once

#include <QHash>
#include <QPointer>
#include <QWidget>
#include <cstdint>

class QComboBox;
class QLabel;
class QPushButton;
class QScrollArea;
class QVBoxLayout;

namespace tamsinvale {

class AppIconStore;
class InactiveAppsView;

class InactivePanel : public QWidget {
    Q_OBJECT
public:
    static constexpr int panelWidth = 460;
    static constexpr int iconSize = 32;
    static constexpr int maxVisibleRows = 8;
    static inline const QString windowTitleText = QStringLiteral("Tamsinvale Inactive Apps");

    // `icons` may be null: rows then show the first letter of the name.
    explicit InactivePanel(AppIconStore* icons, QWidget* parent = nullptr);
    ~InactivePanel() override;

    // Loads what the first text drawn in the process needs (font engines, fallback fonts: a few hundred ms on a
    // busy machine) by drawing the panel's kinds of text once off screen, so that no showing waits for it.
    static void prepareTextDrawing();

    // Installs a view's content; null releases it (the next view gets fresh widgets).
    void setView(InactiveAppsView* view);
    InactiveAppsView* view() const;

    // The size the panel wants for its content, within `available`.
    QSize preferredSize(const QSize& available) const;

    // The controls, for tests that click as a user would.
    QPushButton* quitButton(std::int32_t pid) const;
    QPushButton* quitAllButton() const { return m_quitAll; }
    QPushButton* closeButton() const { return m_close; }
    QComboBox* thresholdMenu() const { return m_threshold; }
    QLabel* emptyLabel() const { return m_emptyText; }
    // The detail line of a row ("Last used 2 days ago" …), empty when there is no such row.
    QString detailText(std::int32_t pid) const;
    QString nameText(std::int32_t pid) const;

signals:
    // After each paint; the first after showing is the window's first paint.
    void painted();
    void closeRequested();

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void rebuild();
    QWidget* makeRow(int index);
    QPixmap iconFor(int index) const;

    AppIconStore* m_icons;
    QPointer<InactiveAppsView> m_view;
    QMetaObject::Connection m_viewConnection;
    QComboBox* m_threshold = nullptr;
    QScrollArea* m_scroll = nullptr;
    QWidget* m_rowsHost = nullptr;
    QVBoxLayout* m_rowsLayout = nullptr;
    QWidget* m_empty = nullptr;
    QLabel* m_emptyText = nullptr;
    QPushButton* m_quitAll = nullptr;
    QPushButton* m_close = nullptr;
    struct RowControls {
        QLabel* name = nullptr;
        QLabel* detail = nullptr;
        QPushButton* quit = nullptr;
    };
    QHash<std::int32_t, RowControls> m_rowControls;
    bool m_updatingMenu = false;
};

}  // namespace tamsinvale
