// The General page's widgets; what they show comes from `GeneralPageModel`.
#include "GeneralPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>

#include "GeneralPageModel.h"
#include "PageWidgets.h"
#include "services/LoginItem.h"
#include "services/PermissionsMonitor.h"
#include "services/Updater.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {

QString rowText(const PermissionRow& row)
{
    const QString mark = row.state == PermissionRow::State::granted ? QStringLiteral("✓")
        : row.state == PermissionRow::State::missing                ? QStringLiteral("✗")
                                                                     : QStringLiteral("↻");
    return mark + QStringLiteral("  <b>") + row.title.toHtmlEscaped() + QStringLiteral("</b><br>")
        + (row.note.isEmpty() ? row.explanation : row.note).toHtmlEscaped();
}

}  // namespace

GeneralPage::GeneralPage(const SettingsWindowContext& context, QWidget* parent) : QWidget(parent), m_context(context)
{
    SettingsStore* store = m_context.settings;
    QVBoxLayout* layout = PageWidgets::pageLayout(this, QStringLiteral("General"));

    m_banner = new QWidget(this);
    m_banner->setObjectName(QStringLiteral("permissionsBanner"));
    m_banner->setStyleSheet(QStringLiteral("QWidget#permissionsBanner { background: #fff4e0; border: 1px solid "
                                           "#f0c080; border-radius: 6px; }"));
    auto* banner = new QGridLayout(m_banner);
    banner->addWidget(new QLabel(QStringLiteral("⚠  <b>") + PermissionsBanner::heading.toHtmlEscaped()
                                     + QStringLiteral("</b>"),
                                 m_banner),
                      0, 0, 1, 2);
    m_accessibilityText = new QLabel(m_banner);
    m_accessibilityText->setWordWrap(true);
    m_accessibilityButton = new QPushButton(PermissionsBanner::accessibilityButton, m_banner);
    m_screenRecordingText = new QLabel(m_banner);
    m_screenRecordingText->setWordWrap(true);
    m_screenRecordingButton = new QPushButton(PermissionsBanner::screenRecordingButton, m_banner);
    banner->addWidget(m_accessibilityText, 1, 0);
    banner->addWidget(m_accessibilityButton, 1, 1);
    banner->addWidget(m_screenRecordingText, 2, 0);
    banner->addWidget(m_screenRecordingButton, 2, 1);
    banner->setColumnStretch(0, 1);
    layout->addWidget(m_banner);

    m_launchAtLogin = new QCheckBox(QStringLiteral("Launch at Login"), this);
    layout->addWidget(m_launchAtLogin);
    m_launchAtLoginNote = PageWidgets::help(QString(), this);
    layout->addWidget(m_launchAtLoginNote);

    auto* iconRow = new QHBoxLayout;
    iconRow->addWidget(new QLabel(QStringLiteral("Menu Bar Icon"), this));
    m_iconStyle = new QComboBox(this);
    iconRow->addWidget(m_iconStyle);
    iconRow->addStretch(1);
    layout->addLayout(iconRow);
    layout->addWidget(PageWidgets::help(GeneralPageModel::iconStyleHelp, this));

    m_updates = new QWidget(this);
    auto* updates = new QHBoxLayout(m_updates);
    updates->setContentsMargins(0, 0, 0, 0);
    m_automaticUpdates = new QCheckBox(QStringLiteral("Check for updates automatically"), m_updates);
    m_checkNow = new QPushButton(QStringLiteral("Check for Updates…"), m_updates);
    updates->addWidget(m_automaticUpdates);
    updates->addWidget(m_checkNow);
    updates->addStretch(1);
    layout->addWidget(m_updates);

    layout->addWidget(PageWidgets::separator(this));
    m_version = PageWidgets::help(QString(), this);
    layout->addWidget(m_version);
    layout->addStretch(1);

    connect(m_launchAtLogin, &QCheckBox::toggled, this, [this](bool on) {
        if (m_context.loginItem)
            m_context.loginItem->setEnabled(on);
        refresh();  // a refused change shows the real state again
    });
    connect(m_iconStyle, qOverload<int>(&QComboBox::activated), this, [store](int index) {
        if (index >= 0 && index < int(allMenuBarIconStyles.size()))
            store->set(&Settings::menuBarIconStyle, allMenuBarIconStyles[std::size_t(index)]);
    });
    if (PermissionsMonitor* monitor = m_context.permissions) {
        connect(m_accessibilityButton, &QPushButton::clicked, monitor, &PermissionsMonitor::openAccessibilitySettings);
        connect(m_screenRecordingButton, &QPushButton::clicked, monitor,
                &PermissionsMonitor::openScreenRecordingSettings);
        connect(monitor, &PermissionsMonitor::accessibilityGrantedChanged, this, &GeneralPage::refresh);
        connect(monitor, &PermissionsMonitor::screenRecordingGrantedChanged, this, &GeneralPage::refresh);
    }
    if (Updater* updater = m_context.updater) {
        connect(m_automaticUpdates, &QCheckBox::toggled, updater, &Updater::setAutomaticallyChecksForUpdates);
        connect(m_checkNow, &QPushButton::clicked, updater, &Updater::checkForUpdates);
        connect(updater, &Updater::canCheckForUpdatesChanged, this, &GeneralPage::refresh);
        connect(updater, &Updater::automaticallyChecksForUpdatesChanged, this, &GeneralPage::refresh);
    }
    if (LoginItem* loginItem = m_context.loginItem) {
        connect(loginItem, &LoginItem::isEnabledChanged, this, &GeneralPage::refresh);
        connect(loginItem, &LoginItem::requiresApprovalChanged, this, &GeneralPage::refresh);
    }
    connect(store, &SettingsStore::menuBarIconStyleChanged, this, &GeneralPage::refresh);
    refresh();
}

void GeneralPage::refresh()
{
    const GeneralPageState state = GeneralPageModel::state(m_context.settings->settings(), m_context.loginItem,
                                                           m_context.permissions, m_context.updater, m_context.version);
    m_banner->setVisible(state.banner.visible);
    m_accessibilityText->setText(rowText(state.banner.accessibility));
    m_accessibilityButton->setVisible(state.banner.accessibility.state == PermissionRow::State::missing);
    m_screenRecordingText->setText(rowText(state.banner.screenRecording));
    m_screenRecordingButton->setVisible(state.banner.screenRecording.state == PermissionRow::State::missing);
    {
        const QSignalBlocker b1(m_launchAtLogin), b2(m_iconStyle), b3(m_automaticUpdates);
        m_launchAtLogin->setVisible(state.launchAtLoginAvailable);
        m_launchAtLogin->setChecked(state.launchAtLogin);
        m_iconStyle->clear();
        m_iconStyle->addItems(state.iconStyles);
        m_iconStyle->setCurrentIndex(state.iconStyleIndex);
        m_automaticUpdates->setChecked(state.automaticallyChecksForUpdates);
    }
    m_launchAtLoginNote->setText(state.launchAtLoginNote.value_or(QString()));
    m_launchAtLoginNote->setVisible(state.launchAtLoginNote.has_value());
    m_updates->setVisible(state.updatesAvailable);
    m_checkNow->setEnabled(state.canCheckForUpdates);
    m_version->setText(state.versionText);
}

}  // namespace tamsinvale
