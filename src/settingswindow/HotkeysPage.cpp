// The Hotkeys page's widgets; what they show comes from `HotkeysPageModel`.
#include "HotkeysPage.h"

#include <QGridLayout>
#include <QLabel>

#include "HotkeysPageModel.h"
#include "PageWidgets.h"
#include "hotkeys/HotKeyManager.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

HotkeysPage::HotkeysPage(const SettingsWindowContext& context, QWidget* parent) : QWidget(parent), m_context(context)
{
    QVBoxLayout* layout = PageWidgets::pageLayout(this, QStringLiteral("Hotkeys"));
    layout->addWidget(PageWidgets::help(HotkeyCaptureTextField::helpText, this));

    m_warning = new QLabel(this);
    m_warning->setObjectName(QStringLiteral("hotkeyWarning"));
    m_warning->setWordWrap(true);
    m_warning->setStyleSheet(QStringLiteral("QLabel#hotkeyWarning { color: #b35c00; background: #fff4e0; "
                                            "border: 1px solid #f0c080; border-radius: 6px; padding: 8px; }"));
    m_warning->setVisible(false);
    layout->addWidget(m_warning);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(8);
    int line = 0;
    for (const HotkeyRow& row : HotkeysPageModel::rows(m_context.settings->settings())) {
        auto* title = new QLabel(row.title, this);
        HotkeyCaptureTextField* field = m_context.makeRecorder(this);
        field->setObjectName(QStringLiteral("recorder-") + row.title);
        field->setAccessibleName(row.title);
        const HotKeyKind kind = row.kind;
        SettingsStore* store = m_context.settings;
        field->onCapture = [store, kind](const HotKeyConfig& config) {
            HotkeysPageModel::setHotKey(*store, kind, config);
        };
        field->onClear = [store, kind] { HotkeysPageModel::setHotKey(*store, kind, std::nullopt); };
        title->setBuddy(field);
        grid->addWidget(title, line, 0);
        grid->addWidget(field, line, 1);
        grid->addWidget(PageWidgets::help(row.defaultHelp, this), line, 2);
        m_recorders.append({kind, field});
        ++line;
    }
    grid->setColumnStretch(2, 1);
    layout->addLayout(grid);
    layout->addStretch(1);

    connect(m_context.settings, &SettingsStore::changed, this, &HotkeysPage::refresh);
    if (m_context.hotKeys)
        connect(m_context.hotKeys, &HotKeyManager::failedRegistrationsChanged, this, &HotkeysPage::refresh);
    refresh();
}

HotkeyCaptureTextField* HotkeysPage::recorder(HotKeyKind kind) const
{
    for (const auto& [k, field] : m_recorders)
        if (k == kind)
            return field;
    return nullptr;
}

void HotkeysPage::refresh()
{
    for (const HotkeyRow& row : HotkeysPageModel::rows(m_context.settings->settings())) {
        HotkeyCaptureTextField* field = recorder(row.kind);
        if (field && !field->isRecording())
            field->setHotKey(row.hotKey);
    }
    const std::optional<QString> warning =
        HotkeysPageModel::failureWarning(m_context.hotKeys ? m_context.hotKeys->failedRegistrations() : QStringList());
    m_warning->setText(QStringLiteral("⚠  ") + warning.value_or(QString()));
    m_warning->setVisible(warning.has_value());
}

}  // namespace tamsinvale
