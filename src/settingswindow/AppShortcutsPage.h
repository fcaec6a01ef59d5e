// The App Shortcuts page: one or two keys per installed app, custom targets (apps and python scripts), and the
// keys left behind by apps no longer installed.
#pragma once

#include <QList>
#include <QWidget>

#include "AppShortcutsPageModel.h"
#include "SettingsWindowContext.h"

class QGridLayout;
class QLabel;
class QLineEdit;
class QPushButton;

namespace tamsinvale {

class AppShortcutsPage : public QWidget {
    Q_OBJECT
public:
    explicit AppShortcutsPage(const SettingsWindowContext& context, QWidget* parent = nullptr);

    struct RowWidgets {
        ShortcutRow row;
        QLabel* icon = nullptr;
        QLineEdit* firstKey = nullptr;
        QLineEdit* secondKey = nullptr;
        QPushButton* remove = nullptr;  // custom rows and orphans
    };
    const QList<RowWidgets>& appRows() const { return m_appRows; }
    const QList<RowWidgets>& customRows() const { return m_customRows; }
    QLabel* message() const { return m_message; }
    QPushButton* addApp() const { return m_addApp; }
    QPushButton* addScript() const { return m_addScript; }

private:
    void refresh();
    void rebuild();
    void refreshIcons();
    void connectAddButtons();
    RowWidgets makeRow(QGridLayout* grid, int line, const ShortcutRow& row, bool custom);
    void applyKeys(const RowWidgets& widgets, bool custom);
    void showMessage(const std::optional<QString>& text);
    QList<DiscoveredApp> apps() const;

    const SettingsWindowContext& m_context;
    QLabel* m_message = nullptr;
    QWidget* m_appsBox = nullptr;
    QWidget* m_customBox = nullptr;
    QWidget* m_orphansBox = nullptr;
    QLabel* m_noCustom = nullptr;
    QWidget* m_orphansSection = nullptr;
    QPushButton* m_addApp = nullptr;
    QPushButton* m_addScript = nullptr;
    QList<RowWidgets> m_appRows;
    QList<RowWidgets> m_customRows;
    QList<OrphanRow> m_orphans;
};

}  // namespace tamsinvale
