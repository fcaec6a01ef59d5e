// The Window Sizes page: the presets editor (name, width, height, hotkey), with add, remove and reorder.
#pragma once

#include <QList>
#include <QUuid>
#include <QWidget>

#include "SettingsWindowContext.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

namespace tamsinvale {

class WindowSizesPage : public QWidget {
    Q_OBJECT
public:
    explicit WindowSizesPage(const SettingsWindowContext& context, QWidget* parent = nullptr);

    struct RowWidgets {
        QUuid id;
        QWidget* row = nullptr;
        QLineEdit* name = nullptr;
        QLineEdit* width = nullptr;
        QLineEdit* height = nullptr;
        QLabel* widthWarning = nullptr;
        QLabel* heightWarning = nullptr;
        HotkeyCaptureTextField* hotKey = nullptr;
        QPushButton* up = nullptr;
        QPushButton* down = nullptr;
        QPushButton* remove = nullptr;
    };
    const QList<RowWidgets>& rows() const { return m_rows; }
    QPushButton* addButton() const { return m_add; }

private:
    void refresh();
    void rebuildRows();
    RowWidgets makeRow(const QUuid& id);

    const SettingsWindowContext& m_context;
    QVBoxLayout* m_rowsLayout = nullptr;
    QLabel* m_empty = nullptr;
    QPushButton* m_add = nullptr;
    QList<RowWidgets> m_rows;
};

}  // namespace tamsinvale
