// The Inactive Apps page's widgets; what they show comes from `InactiveAppsPageModel`.
#include "InactiveAppsPage.h"

#include "InactiveAppsPageModel.h"
#include "PageWidgets.h"
#include "settings/SettingsStore.h"
#include "switcher/AppDiscoveryStore.h"

namespace tamsinvale {

InactiveAppsPage::InactiveAppsPage(const SettingsWindowContext& context, QWidget* parent)
    : QWidget(parent), m_context(context)
{
    SettingsStore* store = m_context.settings;
    QVBoxLayout* layout = PageWidgets::pageLayout(this, QStringLiteral("Inactive Apps"));
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(QStringLiteral("Inactive after"), this));
    m_threshold = new QComboBox(this);
    row->addWidget(m_threshold);
    row->addStretch(1);
    layout->addLayout(row);
    layout->addWidget(PageWidgets::help(InactiveAppsPageModel::thresholdHelp, this));

    layout->addWidget(PageWidgets::separator(this));
    layout->addWidget(PageWidgets::sectionTitle(QStringLiteral("Never Listed"), this));
    layout->addWidget(PageWidgets::help(InactiveAppsPageModel::excludedHelp, this));
    m_excluded = std::make_unique<AppListEditor>(this);
    m_excluded->onChange = [store](const QString& key, bool chosen) {
        InactiveAppsPageModel::setExcluded(*store, key, chosen);
    };
    layout->addWidget(m_excluded->widget);
    layout->addStretch(1);

    connect(m_threshold, qOverload<int>(&QComboBox::activated), this, [this, store](int index) {
        InactiveAppsPageModel::setThresholdHours(*store, m_threshold->itemData(index).toDouble());
    });
    connect(store, &SettingsStore::changed, this, &InactiveAppsPage::refresh);
    if (m_context.discovery)
        connect(m_context.discovery, &AppDiscoveryStore::appsChanged, this, &InactiveAppsPage::refresh);
    refresh();
}

InactiveAppsPage::~InactiveAppsPage() = default;

void InactiveAppsPage::refresh()
{
    const InactiveAppsPageState state = InactiveAppsPageModel::state(
        m_context.settings->settings(), m_context.discovery ? m_context.discovery->apps() : QList<DiscoveredApp>());
    {
        const QSignalBlocker block(m_threshold);
        m_threshold->clear();
        for (qsizetype i = 0; i < state.thresholdLabels.size(); ++i)
            m_threshold->addItem(state.thresholdLabels[i], state.thresholdHours[i]);
        m_threshold->setCurrentIndex(state.thresholdIndex);
    }
    m_excluded->show(state.excludedApps, state.excludableApps);
}

}  // namespace tamsinvale
