// The General page: launch at login, the menu bar icon, the permissions banner while one is missing, the version,
// and the update settings where there is an update framework.
#pragma once

#include <QWidget>

#include "SettingsWindowContext.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

namespace tamsinvale {

class GeneralPage : public QWidget {
    Q_OBJECT
public:
    explicit GeneralPage(const SettingsWindowContext& context, QWidget* parent = nullptr);

    QCheckBox* launchAtLogin() const { return m_launchAtLogin; }
    QComboBox* iconStyle() const { return m_iconStyle; }
    QWidget* permissionsBanner() const { return m_banner; }

private:
    void refresh();

    const SettingsWindowContext& m_context;
    QWidget* m_banner = nullptr;
    QLabel* m_accessibilityText = nullptr;
    QPushButton* m_accessibilityButton = nullptr;
    QLabel* m_screenRecordingText = nullptr;
    QPushButton* m_screenRecordingButton = nullptr;
    QCheckBox* m_launchAtLogin = nullptr;
    QLabel* m_launchAtLoginNote = nullptr;
    QComboBox* m_iconStyle = nullptr;
    QWidget* m_updates = nullptr;
    QCheckBox* m_automaticUpdates = nullptr;
    QPushButton* m_checkNow = nullptr;
    QLabel* m_version = nullptr;
};

}  // namespace tamsinvale
